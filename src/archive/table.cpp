// kp160std — the table of open archives and the helpers the archive
// functions share (see table.h).
#include "archive/table.h"

#include <algorithm>

#include "abi/error.h"
#include "archive/device_source.h"
#include "archive/split.h"
#include "encoding/utf8.h"
#include "platform/filesystem.h"

namespace kp::archive {

namespace {

std::u16string Key(std::u16string_view name) {
  std::u16string key(name);
  for (char16_t& c : key) {
    if (c < 0x80) c = static_cast<char16_t>(std::tolower(c));
  }
  return key;
}

char16_t Fold(char16_t c) {
  if (c == u'\\') return u'/';
  return c < 0x80 ? static_cast<char16_t>(std::tolower(c)) : c;
}

}  // namespace

Archive::~Archive() {
  if (zip) zip_discard(zip);
  if (!work.empty()) platform::fs::DeleteFile(work);
}

Archive* ArchiveTable::Find(std::u16string_view name) const {
  auto it = archives_.find(Key(name));
  return it == archives_.end() ? nullptr : it->second.get();
}

Archive* ArchiveTable::Add(std::unique_ptr<Archive> archive) {
  Archive* a = archive.get();
  archives_[Key(a->name)] = std::move(archive);
  return a;
}

std::unique_ptr<Archive> ArchiveTable::Remove(std::u16string_view name) {
  auto it = archives_.find(Key(name));
  if (it == archives_.end()) return nullptr;
  std::unique_ptr<Archive> a = std::move(it->second);
  archives_.erase(it);
  return a;
}

void ArchiveTable::CloseAll() { archives_.clear(); }

ArchiveTable& Archives() {
  // The device's own state is made first, so that at unload it is torn down
  // after the table, whose archives still close files and remove their
  // working copies through it.
  static const bool deviceReady = (platform::fs::GetFileAttributes(u"\\"), true);
  static ArchiveTable table;
  (void)deviceReady;
  return table;
}

std::string ToUtf8(std::u16string_view text) { return encoding::ToUtf8(text); }

std::u16string FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    uint32_t c = 0xFFFD;
    size_t n = 1;
    if (b < 0x80) {
      c = b;
    } else if ((b >> 5) == 6) {
      n = 2;
      c = b & 0x1F;
    } else if ((b >> 4) == 14) {
      n = 3;
      c = b & 0x0F;
    } else if ((b >> 3) == 30) {
      n = 4;
      c = b & 0x07;
    }
    if (n > 1) {
      if (i + n > text.size()) {
        c = 0xFFFD;
        n = 1;
      } else {
        for (size_t k = 1; k < n; ++k) {
          const auto t = static_cast<unsigned char>(text[i + k]);
          if ((t >> 6) != 2) {
            c = 0xFFFD;
            n = k;
            break;
          }
          c = (c << 6) | (t & 0x3F);
        }
      }
    }
    if (c >= 0x10000 && c <= 0x10FFFF) {
      c -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (c >> 10));
      out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      out += static_cast<char16_t>(c > 0x10FFFF ? 0xFFFD : c);
    }
    i += n;
  }
  return out;
}

bool CheckArchiveName(ExecContext* context, std::u16string_view name) {
  if (name.empty() || name.size() > 260) {
    Raise(context, kErrZipBadArchiveName);
    return false;
  }
  return true;
}

Archive* Lookup(ExecContext* context, std::u16string_view name) {
  if (!CheckArchiveName(context, name)) return nullptr;
  Archive* a = Archives().Find(name);
  if (!a) Raise(context, kErrZipNotOpen, {name});
  return a;
}

int32_t RaiseZip(ExecContext* context, int32_t errorId, std::u16string_view what, zip_error_t* error) {
  const std::u16string reason = error ? FromUtf8(zip_error_strerror(error)) : u"";
  Raise(context, errorId, {what, reason});
  if (const uint32_t sys = LastSourceSystemError(); sys != 0 && error && zip_error_system_type(error) != ZIP_ET_NONE)
    SetSystemError(context, sys);
  return errorId;
}

int32_t OpenZip(ExecContext* context, Archive* archive, int flags) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = ArchiveSource(archive->Backing(), archive->prefix, &error);
  zip_t* zip = source ? zip_open_from_source(source, flags, &error) : nullptr;
  if (!zip) {
    if (source) zip_source_free(source);
    const int code = zip_error_code_zip(&error);
    const bool system = code == ZIP_ER_OPEN || code == ZIP_ER_READ || code == ZIP_ER_SEEK || code == ZIP_ER_NOENT;
    int32_t id;
    if (system) {
      Raise(context, kErrZipCannotOpen, {archive->file});
      if (LastSourceSystemError() != 0) SetSystemError(context, LastSourceSystemError());
      id = kErrZipCannotOpen;
    } else {
      id = RaiseZip(context, kErrZipNotAnArchive, archive->file, &error);
    }
    zip_error_fini(&error);
    return id;
  }
  zip_error_fini(&error);
  if (!archive->password.empty()) zip_set_default_password(zip, archive->password.c_str());
  archive->zip = zip;
  return 0;
}

int32_t Commit(ExecContext* context, Archive* archive) {
  int32_t result = 0;
  if (zip_close(archive->zip) != 0) {
    result = RaiseZip(context, kErrZipCannotWrite, archive->file, zip_get_error(archive->zip));
    zip_discard(archive->zip);
  }
  archive->zip = nullptr;
  if (result == 0 && !archive->work.empty()) {
    result = SplitInPlace(context, archive);
  }
  // Opened again whatever happened: after a failed write, on the file as it
  // was before the call.
  const int32_t reopened = OpenZip(context, archive, 0);
  return result ? result : reopened;
}

int64_t EntryByIndex(ExecContext* context, Archive* archive, int32_t index) {
  const int64_t count = zip_get_num_entries(archive->zip, 0);
  if (index < 1 || index > count) {
    Raise(context, kErrZipBadIndex, {index, archive->name, static_cast<int32_t>(count)});
    return -1;
  }
  return index - 1;
}

std::u16string EntryName(Archive* archive, zip_uint64_t index) {
  const char* name = zip_get_name(archive->zip, index, ZIP_FL_ENC_GUESS);
  return name ? FromUtf8(name) : std::u16string();
}

int64_t EntryByName(ExecContext* context, Archive* archive, std::u16string_view name) {
  const std::string utf8 = ToUtf8(name);
  const int64_t exact = zip_name_locate(archive->zip, utf8.c_str(), ZIP_FL_ENC_GUESS);
  if (exact >= 0) return exact;
  const int64_t count = zip_get_num_entries(archive->zip, 0);
  for (int64_t i = 0; i < count; ++i) {
    const std::u16string entry = EntryName(archive, i);
    if (entry.size() == name.size() &&
        std::equal(entry.begin(), entry.end(), name.begin(), [](char16_t a, char16_t b) { return Fold(a) == Fold(b); }))
      return i;
  }
  Raise(context, kErrZipEntryNotFound, {archive->name, name});
  return -1;
}

}  // namespace kp::archive
