// kp160std — extracting files from an archive (see archive.h).
//
// Whatever the archive holds, nothing is written outside the destination: an
// entry with an absolute name, a drive, a ".." part or a symbolic link is
// refused and reported, and the others are extracted. An entry that claims
// more than kMaxEntrySize bytes, or that would grow more than kMaxRatio times
// past kRatioFloor bytes, is refused before anything is written, and no entry
// is let write more bytes than it declared. Each file is written beside its
// target and takes its place once complete.
#include <zip.h>

#include <vector>

#include "abi/error.h"
#include "archive/archive.h"
#include "archive/common.h"
#include "archive/table.h"
#include "files/path_rule.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::archive {

namespace fs = platform::fs;

namespace {

constexpr int64_t kUnixEpochAsFileTime = 116444736000000000LL;
constexpr uint32_t kUnixFileType = 0170000;
constexpr uint32_t kUnixSymlink = 0120000;

bool IsSymlink(Archive* a, int64_t index) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(a->zip, index, 0, &system, &attributes) != 0) return false;
  return system == ZIP_OPSYS_UNIX && ((attributes >> 16) & kUnixFileType) == kUnixSymlink;
}

std::u16string SizeText(int64_t bytes) {
  std::u16string s;
  for (int64_t n = bytes; n > 0 || s.empty(); n /= 10) s.insert(s.begin(), static_cast<char16_t>(u'0' + n % 10));
  return s;
}

int32_t RaiseExtract(ExecContext* context, std::u16string_view entry, std::u16string_view target, uint32_t system) {
  Raise(context, kErrZipCannotExtract, {entry, target});
  if (system) SetSystemError(context, system);
  return kErrZipCannotExtract;
}

// Creates the directories of `path` that lie below `root` (root itself must exist).
bool MakeDirectories(std::u16string_view root, std::u16string_view path) {
  for (size_t i = root.size() + 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == u'\\') {
      const std::u16string_view dir = path.substr(0, i);
      if (!fs::CreateDirectory(dir)) {
        const uint32_t e = platform::LastError();
        if (e != 183 && e != 80) return false;
        if (!(fs::GetFileAttributes(dir) & fs::kAttrDirectory)) {
          platform::SetLastError(267);
          return false;
        }
      }
    }
  }
  return true;
}

int32_t WriteEntry(ExecContext* context, Archive* a, int64_t index, const std::u16string& entry,
                   const zip_stat_t& st, const std::u16string& target) {
  const std::u16string temp = target + u".kp.tmp";
  fs::FileHandle out = fs::CreateFile(temp, fs::kGenericWrite, 0, fs::kCreateAlways, 0);
  if (out == fs::kInvalidFile) return RaiseExtract(context, entry, target, platform::LastError());
  zip_file_t* in = zip_fopen_index(a->zip, index, 0);
  int32_t result = 0;
  if (!in) {
    const int code = zip_error_code_zip(zip_get_error(a->zip));
    result = (code == ZIP_ER_NOPASSWD || code == ZIP_ER_WRONGPASSWD)
                 ? RaiseZip(context, kErrZipPassword, entry, zip_get_error(a->zip))
                 : RaiseZip(context, kErrZipCannotReadEntry, entry, zip_get_error(a->zip));
  } else {
    std::vector<uint8_t> buffer(1 << 20);
    uint64_t total = 0;
    for (;;) {
      const int64_t n = zip_fread(in, buffer.data(), buffer.size());
      if (n < 0) {
        const int code = zip_error_code_zip(zip_file_get_error(in));
        result = code == ZIP_ER_WRONGPASSWD ? RaiseZip(context, kErrZipPassword, entry, zip_file_get_error(in))
                                            : RaiseZip(context, kErrZipCannotReadEntry, entry, zip_file_get_error(in));
        break;
      }
      if (n == 0) break;
      total += static_cast<uint64_t>(n);
      if (total > st.size) {
        // More bytes than the entry declared: a forged header.
        Raise(context, kErrZipLimitExceeded, {entry, SizeText(static_cast<int64_t>(st.size))});
        result = kErrZipLimitExceeded;
        break;
      }
      uint32_t written = 0;
      if (!fs::WriteFile(out, buffer.data(), static_cast<uint32_t>(n), &written) || written != n) {
        result = RaiseExtract(context, entry, target, platform::LastError());
        break;
      }
    }
    zip_fclose(in);
  }
  if (!fs::CloseHandle(out) && !result) result = RaiseExtract(context, entry, target, platform::LastError());
  if (!result && !fs::ReplaceFile(temp, target)) result = RaiseExtract(context, entry, target, platform::LastError());
  if (result) {
    fs::DeleteFile(temp);
    return result;
  }
  if (st.valid & ZIP_STAT_MTIME) {
    fs::FileTimes times;
    times.write = static_cast<int64_t>(st.mtime) * 10000000 + kUnixEpochAsFileTime;
    fs::SetFileTimes(target, times);
  }
  return 0;
}

// Extracts entry `index` below `destination` ("" for the device root).
int32_t ExtractEntry(ExecContext* context, Archive* a, int64_t index, const std::u16string& destination) {
  const std::u16string entry = EntryName(a, index);
  a->current = entry;
  const bool isDir = !entry.empty() && entry.back() == u'/';
  const std::u16string name = isDir ? entry.substr(0, entry.size() - 1) : entry;
  if (!SafeEntryName(name) || IsSymlink(a, index)) {
    Raise(context, kErrZipUnsafeEntry, {entry});
    return kErrZipUnsafeEntry;
  }
  zip_stat_t st;
  zip_stat_init(&st);
  if (zip_stat_index(a->zip, index, 0, &st) != 0)
    return RaiseZip(context, kErrZipCannotReadEntry, entry, zip_get_error(a->zip));
  const int64_t size = static_cast<int64_t>(st.size);
  if (size > kMaxEntrySize || size < 0) {
    Raise(context, kErrZipLimitExceeded, {entry, SizeText(kMaxEntrySize)});
    return kErrZipLimitExceeded;
  }
  if (size > kRatioFloor && (st.comp_size == 0 || static_cast<int64_t>(st.size / st.comp_size) > kMaxRatio)) {
    Raise(context, kErrZipLimitExceeded, {entry, SizeText(kMaxRatio) + u":1"});
    return kErrZipLimitExceeded;
  }
  std::u16string target = destination;
  for (char16_t c : name) target += c == u'/' ? u'\\' : c;
  if (target.size() > files::kMaxPath) {
    Raise(context, kErrPathTooLong);
    return kErrPathTooLong;
  }
  const size_t lastSep = isDir ? target.size() : target.find_last_of(u'\\');
  if (!MakeDirectories(destination, std::u16string_view(target).substr(0, lastSep)))
    return RaiseExtract(context, entry, target, platform::LastError());
  return isDir ? 0 : WriteEntry(context, a, index, entry, st, target);
}

// The destination with "\" after it, checked: "\" (the device root) when none.
int32_t Destination(ExecContext* context, std::u16string_view destination, std::u16string* out) {
  *out = u"\\";
  if (destination.empty()) return 0;
  if (const int32_t r = CheckPath(context, destination)) return r;
  std::u16string d(destination);
  while (!d.empty() && files::IsSeparator(d.back())) d.pop_back();
  if (!d.empty()) {
    const uint32_t attributes = fs::GetFileAttributes(d);
    if (attributes == fs::kInvalidAttributes || !(attributes & fs::kAttrDirectory)) {
      const uint32_t e = attributes == fs::kInvalidAttributes ? platform::LastError() : 267;
      Raise(context, kErrZipCannotExtract, {std::u16string_view(u"*"), destination});
      SetSystemError(context, e);
      return kErrZipCannotExtract;
    }
  }
  *out = d + u'\\';
  return 0;
}

}  // namespace

int32_t ExtractFile(ExecContext* context, std::u16string_view archive, std::u16string_view name,
                    std::u16string_view destination) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  std::u16string dest;
  if (const int32_t r = Destination(context, destination, &dest)) return r;
  const int64_t i = EntryByName(context, a, name);
  if (i < 0) return kErrZipEntryNotFound;
  return ExtractEntry(context, a, i, dest);
}

int32_t ExtractFileAt(ExecContext* context, std::u16string_view archive, int32_t index,
                      std::u16string_view destination) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  std::u16string dest;
  if (const int32_t r = Destination(context, destination, &dest)) return r;
  const int64_t i = EntryByIndex(context, a, index);
  if (i < 0) return kErrZipBadIndex;
  return ExtractEntry(context, a, i, dest);
}

int32_t ExtractAll(ExecContext* context, std::u16string_view archive, std::u16string_view destination) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  std::u16string dest;
  if (const int32_t r = Destination(context, destination, &dest)) return r;
  int32_t first = 0;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  for (int64_t i = 0; i < count; ++i) {
    const int32_t r = ExtractEntry(context, a, i, dest);
    if (!r) continue;
    if (!first) first = r;
    // A refused entry does not stop the others; a failing destination does.
    if (r != kErrZipUnsafeEntry && r != kErrZipLimitExceeded) break;
  }
  return first;
}

}  // namespace kp::archive
