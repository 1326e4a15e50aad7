// kp160std — names taken apart and tested; copy, move, delete; directories
// made and removed; the parent directory.
#include <vector>

#include "abi/error_ids.h"
#include "abi/error.h"
#include "files/fs_layer.h"
#include "files/path_rule.h"
#include "files/paths.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

struct Split {
  std::u16string_view drive, directory, name, extension;
};

// The usual split: "X:" drive, directory up to its last separator, name,
// extension from the last dot of the name.
Split SplitPath(std::u16string_view path) {
  Split s;
  if (path.size() >= 2 && path[1] == u':') {
    s.drive = path.substr(0, 2);
    path.remove_prefix(2);
  }
  const size_t slash = path.find_last_of(u"\\/");
  if (slash != std::u16string_view::npos) {
    s.directory = path.substr(0, slash + 1);
    path.remove_prefix(slash + 1);
  }
  const size_t dot = path.rfind(u'.');
  if (dot != std::u16string_view::npos) {
    s.extension = path.substr(dot);
    path = path.substr(0, dot);
  }
  s.name = path;
  return s;
}

std::u16string_view LeafOf(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/");
  return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

std::u16string_view DirectoryOf(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/");
  return slash == std::u16string_view::npos ? std::u16string_view() : path.substr(0, slash + 1);
}

// Creates every missing level of `path` (which ends with a separator).
bool MakeLevels(ExecContext* context, std::u16string_view path) {
  if (layer::IsDirectory(layer::Attributes(path))) return true;
  for (size_t i = 1; i <= path.size(); ++i) {
    if (i < path.size() && !IsSeparator(path[i])) continue;
    const std::u16string_view level = path.substr(0, i);
    if (level.empty() || IsSeparator(level.back())) continue;
    if (layer::IsDirectory(layer::Attributes(level))) continue;
    if (!layer::CreateDirectory(context, level)) return false;
  }
  return true;
}

bool RemoveTree(ExecContext* context, const std::u16string& dir, bool recursive, bool readOnlyToo) {
  if (recursive) {
    std::vector<fs::FindData> entries;
    fs::FindData data;
    const fs::FindHandle h = fs::FindFirstFile(dir + u"\\*", &data);
    if (h != fs::kInvalidFind) {
      do entries.push_back(data);
      while (fs::FindNextFile(h, &data));
      fs::FindClose(h);
    }
    for (const fs::FindData& e : entries) {
      const std::u16string full = dir + u"\\" + e.name;
      if (e.attributes & fs::kAttrDirectory) {
        if (!RemoveTree(context, full, true, readOnlyToo)) return false;
        continue;
      }
      if (readOnlyToo && (e.attributes & fs::kAttrReadOnly)) fs::SetFileAttributes(full, fs::kAttrNormal);
      if (!fs::DeleteFile(full)) return false;
    }
  }
  return fs::RemoveDirectory(dir);
}

// fSupprime with frVersCorbeille: what the shell's delete operation takes,
// a name or a pattern naming files and directories alike (directories go
// with their content). The device has no recycle bin here: everything is
// deleted outright. Read-only files go only with frLectureSeule, as in the
// plain forms. A pattern that names nothing fails (2).
bool DeleteAsShell(ExecContext* context, std::u16string_view name, bool readOnlyToo) {
  std::vector<std::u16string> named;
  if (HasWildcards(name)) {
    const std::u16string dir(DirectoryOf(name));
    fs::FindData data;
    const fs::FindHandle h = fs::FindFirstFile(name, &data, 0);
    if (h == fs::kInvalidFind) {
      layer::RecordLast(context);
      return false;
    }
    do named.push_back(dir + data.name);
    while (fs::FindNextFile(h, &data));
    fs::FindClose(h);
  } else {
    named.emplace_back(name);
  }
  for (std::u16string& entry : named) {
    const uint32_t a = layer::Attributes(entry);
    if (a == fs::kInvalidAttributes) {
      layer::RecordLast(context);
      return false;
    }
    if (layer::IsDirectory(a)) {
      while (entry.size() > 1 && IsSeparator(entry.back())) entry.pop_back();
      if (!RemoveTree(context, entry, true, readOnlyToo)) {
        layer::RecordLast(context);
        return false;
      }
      continue;
    }
    if (readOnlyToo) fs::SetFileAttributes(entry, fs::kAttrNormal);
    if (!layer::Delete(context, entry)) return false;
  }
  return true;
}

std::vector<std::u16string> Components(std::u16string_view path) {
  std::vector<std::u16string> parts;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = path.size();
    const std::u16string_view part = path.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == u".") continue;
    if (part == u"..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    parts.emplace_back(part);
  }
  return parts;
}

}  // namespace

std::u16string ExtractPath(ExecContext* context, std::u16string_view path, int32_t parts) {
  if (parts & ~(fDrive | fDirectory | fFileName | fExtension)) {
    Raise(context, kErrUnknownPathPart, {parts});
    return {};
  }
  if (path.size() > kMaxPath) {
    Raise(context, kErrPathTooLong, {path});
    return {};
  }
  const Split s = SplitPath(path);
  std::u16string out;
  // Always in this order, whatever the order of the flags.
  if (parts & fDrive) out += s.drive;
  if (parts & fDirectory) out += s.directory;
  if (parts & fFileName) out += s.name;
  if (parts & fExtension) out += s.extension;
  return out;
}

bool FileExists(ExecContext* context, std::u16string_view name) {
  if (name.empty() || !CheckName(context, name)) return false;
  return layer::IsFile(layer::Attributes(name));
}

bool DirectoryExists(ExecContext* context, std::u16string_view name) {
  if (name.empty() || !CheckName(context, name)) return false;
  return layer::IsDirectory(layer::Attributes(name));
}

int64_t FileSize(ExecContext* context, std::u16string_view name) {
  if (name.empty() || !CheckName(context, name)) return -1;
  if (!layer::IsFile(layer::Attributes(name))) {
    const uint32_t code = platform::LastError();
    Raise(context, kErrFileNotFound, {name});
    SetSystemError(context, code);
    return -1;
  }
  fs::FindData data;
  const fs::FindHandle h = fs::FindFirstFile(name, &data);
  if (h == fs::kInvalidFind) {
    layer::RecordLast(context);
    return -1;
  }
  fs::FindClose(h);
  return data.size;
}

bool CopyFile(ExecContext* context, std::u16string_view source, std::u16string_view destination, int32_t options) {
  if (source.empty() || destination.empty()) {
    Raise(context, kErrEmptyName);
    return false;
  }
  if (HasWildcards(destination)) {
    Raise(context, kErrWildcardInCopyDestination, {destination});
    return false;
  }
  if (!CheckName(context, source) || !CheckLength(context, destination)) return false;
  const bool wild = HasWildcards(source);
  const uint32_t a = wild ? fs::kInvalidAttributes : layer::Attributes(source);
  if (!wild && a == fs::kInvalidAttributes) {
    Raise(context, kErrFileNotFound, {source});
    return false;
  }
  if (wild || layer::IsDirectory(a)) {
    Raise(context, kErrCopyFailed, {source, destination});
    return false;
  }
  std::u16string target;
  const std::u16string_view leaf = LeafOf(source);
  if (IsSeparator(destination.back()))
    target = std::u16string(destination) + std::u16string(leaf);
  else if (layer::IsDirectory(layer::Attributes(destination)))
    target = std::u16string(destination) + u"\\" + std::u16string(leaf);
  else
    target = destination;
  if (!CheckLength(context, target)) return false;
  if (!MakeLevels(context, DirectoryOf(target))) return false;
  if (fs::CopyFile(source, target, false)) return true;
  uint32_t code = platform::LastError();
  if (code == win32::kAccessDenied) {
    // A read-only target is made writable and the copy tried once more.
    fs::SetFileAttributes(target, fs::kAttrNormal);
    if (fs::CopyFile(source, target, false)) return true;
    code = platform::LastError();
  }
  Raise(context, kErrCopyFailed, {target, source});
  SetSystemError(context, code);
  return false;
}

bool Rename(ExecContext* context, std::u16string_view from, std::u16string_view to) {
  if (from.empty() || to.empty()) {
    Raise(context, kErrEmptyName);
    return false;
  }
  if (!CheckName(context, from) || !CheckName(context, to)) return false;
  return layer::Move(context, from, to);
}

bool Delete(ExecContext* context, std::u16string_view name, int32_t options) {
  if (name.empty()) {
    Raise(context, kErrEmptyName);
    return false;
  }
  if (!CheckName(context, name)) return false;
  const bool readOnlyToo = options & frReadOnly;
  if (options & frToRecycleBin) return DeleteAsShell(context, name, readOnlyToo);
  if (!HasWildcards(name)) {
    if (readOnlyToo) fs::SetFileAttributes(name, fs::kAttrNormal);
    return layer::Delete(context, name);
  }
  const std::u16string dir(DirectoryOf(name));
  std::vector<std::u16string> found;
  fs::FindData data;
  const fs::FindHandle h = fs::FindFirstFile(name, &data);
  if (h == fs::kInvalidFind) {
    layer::RecordLast(context);
    return false;
  }
  do {
    if (!(data.attributes & fs::kAttrDirectory)) found.push_back(dir + data.name);
  } while (fs::FindNextFile(h, &data));
  fs::FindClose(h);
  for (const std::u16string& file : found) {
    if (readOnlyToo) fs::SetFileAttributes(file, fs::kAttrNormal);
    if (!layer::Delete(context, file)) return false;
  }
  return true;
}

bool MakeDir(ExecContext* context, std::u16string_view path) {
  if (!CheckName(context, path)) return false;
  return MakeLevels(context, layer::WithSeparator(path));
}

int32_t MakeDir55(ExecContext* context, std::u16string_view path) { return MakeDir(context, path) ? 0 : -1; }

bool RemoveDir(ExecContext* context, std::u16string_view path, int32_t options) {
  if (options & ~(frRecursive | frReadOnly)) {
    Raise(context, kErrRemoveDirBadOption, {options});
    return false;
  }
  std::u16string dir(path.substr(0, path.find(u'*')));
  if (!CheckLength(context, dir)) return false;
  if (dir.empty() || !layer::IsDirectory(layer::Attributes(dir))) {
    Raise(context, kErrDirectoryNotFound, {dir});
    return false;
  }
  while (dir.size() > 1 && IsSeparator(dir.back())) dir.pop_back();
  if (!RemoveTree(context, dir, options & frRecursive, options & frReadOnly)) {
    const uint32_t code = platform::LastError();
    Raise(context, kErrCannotRemoveDirectory, {dir});
    SetSystemError(context, code);
    return false;
  }
  return true;
}

std::u16string ParentDir(ExecContext* context, std::u16string_view path, int32_t option) {
  if (!CheckName(context, path)) return {};
  const std::vector<std::u16string> given = Components(path);
  std::vector<std::u16string> parent = Components(layer::WithSeparator(path) + u"..");
  std::u16string out;
  for (const auto& p : parent) out += u"\\" + p;
  if (out.empty()) out = u"\\";
  if (out.size() > kMaxPath) out.resize(kMaxPath);
  if (option & fRelativePath) return given.size() == parent.size() ? u"." : u"..";
  return out;
}

std::u16string DirChecked(ExecContext* context, std::u16string_view pattern, int32_t attributes) {
  // Dir refuses attributes it does not accept first (80053); with accepted
  // ones a new pattern is held to the path rule before any search starts.
  const bool accepted = attributes == fPathUnicode || (attributes | fPathUnicode) == fPathUnicode + frFile ||
                        (attributes | fPathUnicode) == fPathUnicode + frDirectoryAttr;
  if (accepted && !pattern.empty() && !CheckName(context, pattern)) return {};
  return Dir(context, pattern, attributes);
}

std::u16string Picker(ExecContext* context) {
  RecordSystemError(context, win32::kCallNotImplemented);
  return {};
}

}  // namespace kp::files
