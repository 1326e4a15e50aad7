// kp160std — the archive functions that open, close, read the directory of,
// rename and delete in an archive, and the multi-part ones (see archive.h).
#include "archive/archive.h"

#include <zip.h>

#include <ctime>

#include "abi/error.h"
#include "abi/messages.h"
#include "abi/vm.h"
#include "archive/common.h"
#include "archive/split.h"
#include "archive/table.h"
#include "files/path_rule.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::archive {

namespace fs = platform::fs;

namespace {

std::u16string Number(int64_t n) {
  std::u16string s;
  const bool negative = n < 0;
  uint64_t u = negative ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
  do {
    s.insert(s.begin(), static_cast<char16_t>(u'0' + u % 10));
    u /= 10;
  } while (u);
  if (negative) s.insert(s.begin(), u'-');
  return s;
}

std::u16string Digits(int value, int width) {
  std::u16string s = Number(value);
  while (static_cast<int>(s.size()) < width) s.insert(s.begin(), u'0');
  return s;
}

// "*" any run, "?" one character; "\" and "/" are the same separator.
bool Match(std::u16string_view pattern, std::u16string_view name, bool caseSensitive) {
  auto fold = [&](char16_t c) -> char16_t {
    if (c == u'\\') return u'/';
    if (!caseSensitive && c < 0x80) return static_cast<char16_t>(std::tolower(c));
    return c;
  };
  size_t p = 0, n = 0, star = std::u16string_view::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || fold(pattern[p]) == fold(name[n]))) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      mark = n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

std::u16string TempWorkFile() {
  std::u16string name;
  if (fs::GetTempFileName(fs::GetTempPath(), u"zip", 0, &name) == 0) return {};
  return name;
}

// A multi-part archive's parts joined into a temporary working copy.
int32_t JoinIntoWork(ExecContext* context, Archive* a) {
  a->work = TempWorkFile();
  if (a->work.empty()) {
    Raise(context, kErrZipCannotOpen, {fs::GetTempPath()});
    SetSystemError(context, platform::LastError());
    return kErrZipCannotOpen;
  }
  const int32_t r = MergeParts(context, a->file, a->work);
  if (r != 0) return r;
  const int64_t first = FileLength(PartName(a->file, 1, a->parts));
  const int64_t second = a->parts > 2 ? FileLength(PartName(a->file, 2, a->parts)) : first;
  a->firstPartSize = std::max<int64_t>(first, kMinPartSize);
  a->partSize = std::max<int64_t>(second, kMinPartSize);
  return 0;
}

int32_t Begin(ExecContext* context, std::u16string_view archive, std::u16string_view file) {
  if (!CheckArchiveName(context, archive)) return kErrZipBadArchiveName;
  if (Archives().Find(archive)) {
    Raise(context, kErrZipAlreadyOpen, {archive});
    return kErrZipAlreadyOpen;
  }
  return CheckPath(context, file);
}

int32_t Rename(ExecContext* context, Archive* a, int64_t index, std::u16string_view newName) {
  std::u16string name = EntryName(a, index);
  std::u16string target = NormaliseEntryName(newName);
  if (!newName.empty() && files::IsSeparator(newName.back())) {
    // A directory: the entry moves there and keeps its own name.
    const bool isDir = !name.empty() && name.back() == u'/';
    std::u16string leaf = isDir ? name.substr(0, name.size() - 1) : name;
    leaf = leaf.substr(leaf.find_last_of(u'/') + 1);
    target = NormaliseEntryName(std::u16string(newName) + leaf);
    if (isDir && !target.empty()) target += u'/';
  }
  if (target.empty() || !SafeEntryName(target)) {
    Raise(context, kErrZipBadEntryName, {newName});
    return kErrZipBadEntryName;
  }
  a->current = name;
  if (zip_file_rename(a->zip, index, ToUtf8(target).c_str(), ZIP_FL_ENC_UTF_8) != 0) {
    // Another entry has that name already: the program's mistake, not the disk's.
    const int32_t id = zip_error_code_zip(zip_get_error(a->zip)) == ZIP_ER_EXISTS ? kErrZipBadEntryName
                                                                                  : kErrZipCannotWrite;
    return RaiseZip(context, id, id == kErrZipBadEntryName ? target : a->file, zip_get_error(a->zip));
  }
  return Commit(context, a);
}

std::u16string Info(Archive* a, int64_t index) {
  zip_stat_t st;
  zip_stat_init(&st);
  if (zip_stat_index(a->zip, index, 0, &st) != 0) return {};
  std::u16string out = EntryName(a, index);
  out += u'\t' + Number(static_cast<int64_t>(st.size));
  out += u'\t' + Number(static_cast<int64_t>(st.comp_size));
  std::tm tm{};
  const time_t t = st.mtime;
  if (localtime_r(&t, &tm)) {
    out += u'\t' + Digits(tm.tm_year + 1900, 4) + Digits(tm.tm_mon + 1, 2) + Digits(tm.tm_mday, 2);
    out += u'\t' + Digits(tm.tm_hour, 2) + Digits(tm.tm_min, 2) + Digits(tm.tm_sec, 2) + u"00";
  } else {
    out += u"\t\t";
  }
  static const char16_t kHex[] = u"0123456789ABCDEF";
  std::u16string crc;
  for (int shift = 28; shift >= 0; shift -= 4) crc += kHex[(st.crc >> shift) & 15];
  out += u'\t' + crc;
  out += st.comp_method == ZIP_CM_STORE ? u"\tstore" : st.comp_method == ZIP_CM_DEFLATE ? u"\tdeflate" : u"\tother";
  out += st.encryption_method != ZIP_EM_NONE ? u"\tencrypted" : u"\t";
  return out;
}

}  // namespace

void CloseAllArchives() { Archives().CloseAll(); }

int32_t Create(ExecContext* context, std::u16string_view archive, std::u16string_view file, int32_t partSize) {
  if (const int32_t r = Begin(context, archive, file)) return r;
  if (partSize != 0 && partSize < kMinPartSize) {
    Raise(context, kErrZipBadPartSize, {partSize});
    return kErrZipBadPartSize;
  }
  auto a = std::make_unique<Archive>();
  a->name = archive;
  a->file = file;
  if (partSize > 0) {
    a->work = TempWorkFile();
    a->partSize = a->firstPartSize = partSize;
  }
  if (const int32_t r = OpenZip(context, a.get(), ZIP_CREATE | ZIP_TRUNCATE)) return r;
  // The empty archive is on disk when the call returns.
  if (zip_close(a->zip) != 0) {
    const int32_t r = RaiseZip(context, kErrZipCannotWrite, a->file, zip_get_error(a->zip));
    zip_discard(a->zip);
    a->zip = nullptr;
    return r;
  }
  a->zip = nullptr;
  if (!a->work.empty()) {
    for (int32_t k = 1; fs::GetFileAttributes(PartName(a->file, k, k + 1)) != fs::kInvalidAttributes; ++k)
      fs::DeleteFile(PartName(a->file, k, k + 1));
    if (const int32_t r = SplitInPlace(context, a.get())) return r;
  }
  if (const int32_t r = OpenZip(context, a.get(), 0)) return r;
  Archives().Add(std::move(a));
  return 0;
}

int32_t Open(ExecContext* context, std::u16string_view archive, std::u16string_view file,
             std::u16string_view password) {
  if (const int32_t r = Begin(context, archive, file)) return r;
  auto a = std::make_unique<Archive>();
  a->name = archive;
  a->file = file;
  a->password = ToUtf8(password);
  if (fs::GetFileAttributes(file) == fs::kInvalidAttributes) {
    Raise(context, kErrZipCannotOpen, {file});
    SetSystemError(context, platform::LastError());
    return kErrZipCannotOpen;
  }
  a->parts = CountParts(file);
  if (a->parts > 1) {
    if (const int32_t r = JoinIntoWork(context, a.get())) return r;
  }
  if (const int32_t r = OpenZip(context, a.get(), 0)) return r;
  Archives().Add(std::move(a));
  return 0;
}

int32_t Close(ExecContext* context, std::u16string_view archive) {
  if (!Lookup(context, archive)) return kErrZipNotOpen;
  // Every change was written by the call that made it: nothing is pending.
  Archives().Remove(archive);
  return 0;
}

int32_t DeleteFile(ExecContext* context, std::u16string_view archive, std::u16string_view name) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  const int64_t i = EntryByName(context, a, name);
  if (i < 0) return kErrZipEntryNotFound;
  a->current = EntryName(a, i);
  zip_delete(a->zip, i);
  return Commit(context, a);
}

int32_t DeleteFileAt(ExecContext* context, std::u16string_view archive, int32_t index) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  const int64_t i = EntryByIndex(context, a, index);
  if (i < 0) return kErrZipBadIndex;
  a->current = EntryName(a, i);
  zip_delete(a->zip, i);
  return Commit(context, a);
}

int32_t DeleteFileList(ExecContext* context, std::u16string_view archive, std::u16string_view list) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  int32_t result = 0;
  for (const std::u16string& name : SplitList(list)) {
    const int64_t i = EntryByName(context, a, name);
    if (i < 0) {
      if (!result) result = kErrZipEntryNotFound;
      continue;
    }
    a->current = EntryName(a, i);
    zip_delete(a->zip, i);
  }
  const int32_t committed = Commit(context, a);
  return result ? result : committed;
}

int32_t DeleteAll(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  for (int64_t i = 0; i < count; ++i) zip_delete(a->zip, i);
  return Commit(context, a);
}

int32_t ChangePath(ExecContext* context, std::u16string_view archive, std::u16string_view name,
                   std::u16string_view newName) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  const int64_t i = EntryByName(context, a, name);
  return i < 0 ? kErrZipEntryNotFound : Rename(context, a, i, newName);
}

int32_t ChangePathAt(ExecContext* context, std::u16string_view archive, int32_t index, std::u16string_view newName) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  const int64_t i = EntryByIndex(context, a, index);
  return i < 0 ? kErrZipBadIndex : Rename(context, a, i, newName);
}

int32_t FileCount(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  return a ? static_cast<int32_t>(zip_get_num_entries(a->zip, 0)) : -1;
}

std::u16string ListFiles(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  if (!a) return {};
  std::u16string out;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  for (int64_t i = 0; i < count; ++i) {
    if (i) out += u"\r\n";
    out += EntryName(a, i);
  }
  return out;
}

std::u16string InfoFile(ExecContext* context, std::u16string_view archive, std::u16string_view name) {
  Archive* a = Lookup(context, archive);
  if (!a) return {};
  const int64_t i = EntryByName(context, a, name);
  return i < 0 ? std::u16string() : Info(a, i);
}

std::u16string InfoFileAt(ExecContext* context, std::u16string_view archive, int32_t index) {
  Archive* a = Lookup(context, archive);
  if (!a) return {};
  const int64_t i = EntryByIndex(context, a, index);
  return i < 0 ? std::u16string() : Info(a, i);
}

int32_t FindFile(ExecContext* context, std::u16string_view archive, std::u16string_view pattern, int32_t start,
                 bool caseSensitive) {
  Archive* a = Lookup(context, archive);
  if (!a) return -1;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  const bool whole = pattern.find_first_of(u"\\/") != std::u16string_view::npos;
  for (int64_t i = std::max(start, 1) - 1; i < count; ++i) {
    std::u16string name = EntryName(a, i);
    if (!whole) {
      // A pattern without a separator is matched against the last name of the path.
      if (!name.empty() && name.back() == u'/') name.pop_back();
      name = name.substr(name.find_last_of(u'/') + 1);
    }
    if (Match(pattern, name, caseSensitive)) return static_cast<int32_t>(i + 1);
  }
  return 0;
}

std::u16string ExtractPath(ExecContext* context, std::u16string_view archive, std::u16string_view name) {
  Archive* a = Lookup(context, archive);
  if (!a) return {};
  const int64_t i = EntryByName(context, a, name);
  return i < 0 ? std::u16string() : DirectoryPart(EntryName(a, i));
}

std::u16string ExtractPathAt(ExecContext* context, std::u16string_view archive, int32_t index) {
  Archive* a = Lookup(context, archive);
  if (!a) return {};
  const int64_t i = EntryByIndex(context, a, index);
  return i < 0 ? std::u16string() : DirectoryPart(EntryName(a, i));
}

namespace {
int64_t EntrySize(Archive* a, int64_t index, bool compressed) {
  zip_stat_t st;
  zip_stat_init(&st);
  if (zip_stat_index(a->zip, index, 0, &st) != 0) return -1;
  return static_cast<int64_t>(compressed ? st.comp_size : st.size);
}
}  // namespace

int64_t FileSize(ExecContext* context, std::u16string_view archive, std::u16string_view name, bool compressed) {
  Archive* a = Lookup(context, archive);
  if (!a) return -1;
  const int64_t i = EntryByName(context, a, name);
  return i < 0 ? -1 : EntrySize(a, i, compressed);
}

int64_t FileSizeAt(ExecContext* context, std::u16string_view archive, int32_t index, bool compressed) {
  Archive* a = Lookup(context, archive);
  if (!a) return -1;
  const int64_t i = EntryByIndex(context, a, index);
  return i < 0 ? -1 : EntrySize(a, i, compressed);
}

int64_t Size(ExecContext* context, std::u16string_view archive, bool compressed) {
  Archive* a = Lookup(context, archive);
  if (!a) return -1;
  int64_t total = 0;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  for (int64_t i = 0; i < count; ++i) total += std::max<int64_t>(EntrySize(a, i, compressed), 0);
  return total;
}

std::u16string MessageError(ExecContext* context, int32_t code) {
  if (code == 0) return MessageText(814);
  std::u16string text = ErrorMessageText(code);
  if (text.empty()) {
    Raise(context, kErrValueOutOfRange);
    return {};
  }
  return WithoutInserts(text);
}

std::u16string CurrentFile(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  return a ? a->current : std::u16string();
}

// --- multi-part -------------------------------------------------------------

int32_t PartCount(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  return a ? a->parts : -1;
}

bool IsMulti(ExecContext* context, std::u16string_view archive) {
  Archive* a = Lookup(context, archive);
  return a && a->parts > 1;
}

int32_t PartsNeeded(ExecContext* context, std::u16string_view archive, int32_t partSize, int32_t firstPartSize) {
  Archive* a = Lookup(context, archive);
  if (!a) return -1;
  int32_t parts = 0;
  if (SplitFile(context, a->Backing(), a->file, partSize, firstPartSize > 0 ? firstPartSize : partSize, true,
                &parts) != 0)
    return -1;
  return parts;
}

int32_t Split(ExecContext* context, std::u16string_view archive, int32_t partSize, std::u16string_view destination,
              std::u16string_view partName, int32_t firstPartSize, std::u16string_view procedure, int32_t userValue) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  if (!destination.empty()) {
    if (const int32_t r = CheckPath(context, destination)) return r;
  }
  const int64_t first = firstPartSize > 0 ? firstPartSize : partSize;
  if (partSize < kMinPartSize || first < kMinPartSize) {
    Raise(context, kErrZipBadPartSize, {static_cast<int32_t>(std::min<int64_t>(partSize, first))});
    return kErrZipBadPartSize;
  }
  // The parts' names: "<destination>\<part name>.z01" ... "<part name>.zip".
  const size_t sep = a->file.find_last_of(u"\\/");
  std::u16string dir = destination.empty() ? a->file.substr(0, sep) : std::u16string(destination);
  while (!dir.empty() && files::IsSeparator(dir.back())) dir.pop_back();
  std::u16string base = partName.empty() ? a->file.substr(sep + 1) : std::u16string(partName);
  if (base.empty() || base.find_first_of(u"\\/") != std::u16string::npos) {
    Raise(context, kErrZipBadEntryName, {partName});
    return kErrZipBadEntryName;
  }
  const size_t dot = base.find_last_of(u'.');
  if (dot == std::u16string::npos || dot == 0) base += u".zip";
  const std::u16string last = dir + u"\\" + base;
  if (const int32_t r = CheckPath(context, last)) return r;

  PartCallback callback;
  uintptr_t proc = 0;
  if (!procedure.empty()) {
    proc = FindProcedure(context, procedure);
    if (!proc) {
      Raise(context, kErrProcedureNotFound, {procedure});
      return kErrProcedureNotFound;
    }
    callback = [&](const std::u16string& part, int32_t number) {
      const Value args[] = {Value{part}, Value{number}, Value{userValue}};
      Value result;
      if (!CallProcedure(context, proc, args, &result)) return false;
      if (const bool* b = std::get_if<bool>(&result)) return *b;
      if (const int32_t* i = std::get_if<int32_t>(&result)) return *i != 0;
      return true;
    };
  }

  const bool inPlace = SamePath(last, a->file);
  if (!inPlace) {
    int32_t parts = 0;
    return SplitFile(context, a->Backing(), last, partSize, first, false, &parts, callback);
  }
  // The archive itself becomes the parts: it is worked on as a joined copy.
  zip_discard(a->zip);
  a->zip = nullptr;
  if (a->work.empty()) {
    a->work = TempWorkFile();
    if (a->work.empty() || !fs::CopyFile(a->file, a->work, false)) {
      Raise(context, kErrZipCannotWrite, {a->work, std::u16string_view(u"")});
      SetSystemError(context, platform::LastError());
      a->work.clear();
      const int32_t reopened = OpenZip(context, a, 0);
      return reopened ? reopened : kErrZipCannotWrite;
    }
  }
  int32_t parts = 0;
  int32_t r = SplitFile(context, a->work, a->file, partSize, first, false, &parts, callback);
  if (r == 0) {
    a->parts = parts;
    a->partSize = partSize;
    a->firstPartSize = first;
  }
  const int32_t reopened = OpenZip(context, a, 0);
  return r ? r : reopened;
}

int32_t Merge(ExecContext* context, std::u16string_view archive, std::u16string_view destination) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  if (!destination.empty()) {
    if (const int32_t r = CheckPath(context, destination)) return r;
  }
  const std::u16string target = destination.empty() ? a->file : std::u16string(destination);
  if (a->parts <= 1) {
    // Already one file: a copy when another name is asked for.
    if (SamePath(target, a->Backing())) return 0;
    if (!fs::CopyFile(a->Backing(), target, false)) {
      Raise(context, kErrZipCannotWrite, {target, std::u16string_view(u"")});
      SetSystemError(context, platform::LastError());
      return kErrZipCannotWrite;
    }
    return 0;
  }
  const bool inPlace = SamePath(target, a->file);
  zip_discard(a->zip);
  a->zip = nullptr;
  const int32_t r = MergeParts(context, a->file, target);
  if (r == 0 && inPlace) {
    fs::DeleteFile(a->work);
    a->work.clear();
    a->parts = 1;
    a->partSize = a->firstPartSize = 0;
  }
  const int32_t reopened = OpenZip(context, a, 0);
  return r ? r : reopened;
}

}  // namespace kp::archive
