// kp160std — adding files and directories to an archive (see archive.h).
//
// Files are read through the device file system when the archive is written,
// which happens before the call returns; a file that cannot be read fails
// the call and leaves the archive as it was.
#include <zip.h>

#include <algorithm>
#include <vector>

#include "abi/error.h"
#include "archive/archive.h"
#include "archive/common.h"
#include "archive/device_source.h"
#include "archive/table.h"
#include "files/path_rule.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::archive {

namespace fs = platform::fs;

namespace {

std::u16string LastName(std::u16string_view path) {
  std::u16string p(path);
  while (!p.empty() && files::IsSeparator(p.back())) p.pop_back();
  return p.substr(p.find_last_of(u"\\/") + 1);
}

std::u16string Prefixed(std::u16string_view inArchive, std::u16string_view name) {
  const std::u16string prefix = NormaliseEntryName(inArchive);
  const std::u16string rest = NormaliseEntryName(name);
  if (prefix.empty() || rest.empty()) return prefix.empty() ? rest : prefix;
  return prefix + u'/' + rest;
}

// Queues one file under `entry`; the bytes are read at the commit.
int32_t Queue(ExecContext* context, Archive* a, std::u16string_view file, const std::u16string& entry) {
  if (!SafeEntryName(entry)) {
    Raise(context, kErrZipBadEntryName, {entry});
    return kErrZipBadEntryName;
  }
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = FileSource(a->zip, file, &error);
  zip_error_fini(&error);
  if (!source) {
    Raise(context, kErrZipCannotAdd, {file, a->name});
    SetSystemError(context, LastSourceSystemError());
    return kErrZipCannotAdd;
  }
  const int64_t index = zip_file_add(a->zip, ToUtf8(entry).c_str(), source, ZIP_FL_OVERWRITE | ZIP_FL_ENC_UTF_8);
  if (index < 0) {
    zip_source_free(source);
    return RaiseZip(context, kErrZipCannotAdd, file, zip_get_error(a->zip));
  }
  zip_set_file_compression(a->zip, index, ZIP_CM_DEFLATE, 6);
  if (!a->password.empty() && zip_file_set_encryption(a->zip, index, ZIP_EM_AES_256, nullptr) != 0)
    return RaiseZip(context, kErrZipPassword, a->name, zip_get_error(a->zip));
  a->current = entry;
  return 0;
}

int32_t QueueDirectoryEntry(ExecContext* context, Archive* a, const std::u16string& entry) {
  if (entry.empty()) return 0;
  if (!SafeEntryName(entry)) {
    Raise(context, kErrZipBadEntryName, {entry});
    return kErrZipBadEntryName;
  }
  const std::string name = ToUtf8(entry + u'/');
  if (zip_name_locate(a->zip, name.c_str(), 0) >= 0) return 0;
  if (zip_dir_add(a->zip, ToUtf8(entry).c_str(), ZIP_FL_ENC_UTF_8) < 0)
    return RaiseZip(context, kErrZipCannotAdd, entry, zip_get_error(a->zip));
  return 0;
}

// The files below `directory` ("sub/x.txt" relative names), directories
// first in each level, names sorted so that archives come out the same.
int32_t Walk(ExecContext* context, const std::u16string& directory, const std::u16string& relative, bool recursive,
             std::vector<std::pair<std::u16string, bool>>* out, int depth) {
  if (depth > 64) return 0;  // a cycle of links cannot take the walk down forever
  fs::FindData d;
  const std::u16string here = relative.empty() ? directory : directory + u'\\' + relative;
  fs::FindHandle find = fs::FindFirstFile(here + u"\\*", &d, fs::kFindAttributes);
  if (find == fs::kInvalidFind) {
    const uint32_t e = platform::LastError();
    if (e == 2 || e == 18) return 0;  // an empty directory
    Raise(context, kErrZipCannotAdd, {here, std::u16string_view(u"")});
    SetSystemError(context, e);
    return kErrZipCannotAdd;
  }
  std::vector<fs::FindData> items;
  do items.push_back(d);
  while (fs::FindNextFile(find, &d));
  fs::FindClose(find);
  std::sort(items.begin(), items.end(), [](const fs::FindData& x, const fs::FindData& y) { return x.name < y.name; });
  for (const fs::FindData& item : items) {
    const std::u16string name = relative.empty() ? item.name : relative + u'\\' + item.name;
    const bool isDir = (item.attributes & fs::kAttrDirectory) != 0;
    if (isDir && !recursive) continue;
    out->emplace_back(name, isDir);
    if (isDir) {
      if (const int32_t r = Walk(context, directory, name, recursive, out, depth + 1)) return r;
    }
  }
  return 0;
}

bool ValidMode(ExecContext* context, int32_t mode) {
  if (mode >= kPathWhole && mode <= kPathRelative) return true;
  Raise(context, kErrValueOutOfRange);
  return false;
}

}  // namespace

int32_t AddFile(ExecContext* context, std::u16string_view archive, std::u16string_view file, int32_t mode,
                std::u16string_view inArchive) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  if (const int32_t r = CheckPath(context, file)) return r;
  if (!ValidMode(context, mode)) return kErrValueOutOfRange;
  const uint32_t attributes = fs::GetFileAttributes(file);
  if (attributes == fs::kInvalidAttributes || (attributes & fs::kAttrDirectory)) {
    Raise(context, kErrZipCannotAdd, {file, a->name});
    SetSystemError(context, attributes == fs::kInvalidAttributes ? platform::LastError() : 5);
    return kErrZipCannotAdd;
  }
  const std::u16string entry = Prefixed(inArchive, mode == kPathWhole ? std::u16string(file) : LastName(file));
  if (const int32_t r = Queue(context, a, file, entry)) {
    zip_unchange_all(a->zip);
    return r;
  }
  return Commit(context, a);
}

int32_t AddDirectory(ExecContext* context, std::u16string_view archive, std::u16string_view directory,
                     bool recursive, int32_t mode, std::u16string_view inArchive) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  if (const int32_t r = CheckPath(context, directory)) return r;
  if (!ValidMode(context, mode)) return kErrValueOutOfRange;
  std::u16string dir(directory);
  while (dir.size() > 1 && files::IsSeparator(dir.back())) dir.pop_back();
  const uint32_t attributes = fs::GetFileAttributes(dir);
  if (attributes == fs::kInvalidAttributes || !(attributes & fs::kAttrDirectory)) {
    Raise(context, kErrZipCannotAdd, {directory, a->name});
    SetSystemError(context, attributes == fs::kInvalidAttributes ? platform::LastError() : 267);
    return kErrZipCannotAdd;
  }
  // What every name below the directory is put after in the archive.
  std::u16string top;
  if (mode == kPathWhole)
    top = NormaliseEntryName(dir);
  else if (mode == kPathRelative)
    top = LastName(dir);
  top = Prefixed(inArchive, top);

  // The device root walks as "" so that names below it keep one separator.
  const std::u16string base = (dir == u"\\" || dir == u"/") ? std::u16string() : dir;
  std::vector<std::pair<std::u16string, bool>> items;
  if (const int32_t r = Walk(context, base, u"", recursive, &items, 0)) return r;
  int32_t result = QueueDirectoryEntry(context, a, top);
  for (const auto& [relative, isDir] : items) {
    if (result) break;
    // An archive written inside the directory it packs does not take itself in.
    if (!isDir && SamePath(base + u'\\' + relative, a->file)) continue;
    const std::u16string entry = top.empty() ? NormaliseEntryName(relative) : top + u'/' + NormaliseEntryName(relative);
    result = isDir ? QueueDirectoryEntry(context, a, entry) : Queue(context, a, base + u'\\' + relative, entry);
  }
  if (result) {
    zip_unchange_all(a->zip);
    return result;
  }
  return Commit(context, a);
}

int32_t AddFileList(ExecContext* context, std::u16string_view archive, std::u16string_view list) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  int32_t result = 0;
  for (const std::u16string& file : SplitList(list)) {
    int32_t r = CheckPath(context, file);
    if (r == 0) {
      const uint32_t attributes = fs::GetFileAttributes(file);
      if (attributes == fs::kInvalidAttributes || (attributes & fs::kAttrDirectory)) {
        Raise(context, kErrZipCannotAdd, {file, a->name});
        SetSystemError(context, attributes == fs::kInvalidAttributes ? platform::LastError() : 5);
        r = kErrZipCannotAdd;
      } else {
        r = Queue(context, a, file, NormaliseEntryName(file));
      }
    }
    // The files that can be read are added; the call reports the first that could not.
    if (r && !result) result = r;
  }
  const int32_t committed = Commit(context, a);
  return result ? result : committed;
}

}  // namespace kp::archive
