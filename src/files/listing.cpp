// kp160std — fRep's enumeration, fRepTaille and the tree walks of
// fListeFichier and fListeRépertoire.
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "abi/error_ids.h"
#include "abi/error.h"
#include "abi/vm.h"
#include "files/fs_layer.h"
#include "files/path_rule.h"
#include "files/paths.h"
#include "files/times.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

// --- fRep: one enumeration per library ------------------------------------
struct DirEnumeration {
  fs::FindHandle find = fs::kInvalidFind;
  bool directories = false;
  ~DirEnumeration() { Close(); }
  void Close() {
    if (find != fs::kInvalidFind) fs::FindClose(find);
    find = fs::kInvalidFind;
  }
};
DirEnumeration& Enumeration() {
  static DirEnumeration state;
  return state;
}

// Whether the directory `d` is one the walk is already inside (a link loop).
bool OnWalk(const std::vector<std::pair<uint64_t, uint64_t>>& inside, const fs::FindData& d) {
  if (d.device == 0 && d.inode == 0) return false;
  for (const auto& id : inside)
    if (id.first == d.device && id.second == d.inode) return true;
  return false;
}

bool Wanted(const fs::FindData& d, bool directories) { return ((d.attributes & fs::kAttrDirectory) != 0) == directories; }

// --- walks -----------------------------------------------------------------
// A listing closed when it goes out of scope.
struct Listing {
  fs::FindHandle h;
  explicit Listing(fs::FindHandle handle) : h(handle) {}
  ~Listing() {
    if (h != fs::kInvalidFind) fs::FindClose(h);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
};

// The entries of `pattern`, whose directory is the one `parent` handed out
// last (kInvalidFind: resolved from the root).
std::vector<fs::FindData> Entries(fs::FindHandle parent, const std::u16string& pattern, uint32_t details) {
  std::vector<fs::FindData> out;
  fs::FindData data;
  const fs::FindHandle h = fs::FindFirstFileBelow(parent, pattern, &data, details);
  if (h == fs::kInvalidFind) return out;
  do out.push_back(std::move(data));
  while (fs::FindNextFile(h, &data));
  fs::FindClose(h);
  return out;
}

std::u16string Ascii(const char* s) { return std::u16string(s, s + std::char_traits<char>::length(s)); }

std::u16string FullInformation(const std::u16string& fullName, const fs::FindData& d) {
  const platform::SystemTime t = LocalFromFileTime(d.times.write);
  char when[32];
  std::snprintf(when, sizeof when, "%04i%02i%02i%02i%02i%02i", t.year, t.month, t.day, t.hour, t.minute, t.second);
  std::u16string letters;
  if (d.attributes & fs::kAttrArchive) letters += u'A';
  if (d.attributes & fs::kAttrDirectory) letters += u'D';
  if (d.attributes & fs::kAttrHidden) letters += u'H';
  if (d.attributes & fs::kAttrReadOnly) letters += u'R';
  if (d.attributes & fs::kAttrSystem) letters += u'S';
  if (d.attributes & fs::kAttrCompressed) letters += u'C';
  return fullName + u"\t" + Ascii(std::to_string(d.size).c_str()) + u"\t" + Ascii(when) + u"\t" + letters;
}

struct Walk {
  ExecContext* context;
  bool directories;  // fListeRépertoire
  int32_t options;
  uintptr_t procedure = 0;
  int32_t userValue = 0;
  std::u16string startDirectory;
  std::u16string previousDirectory;
  bool first = true;
  bool stopped = false;
  int32_t count = 0;
  std::u16string list;
  // The directories the walk is inside (device and inode), from the start
  // down: a link back to one of them is listed but not entered again.
  std::vector<std::pair<uint64_t, uint64_t>> inside;

  bool Report(const std::u16string& dir, const fs::FindData& d) {
    ++count;
    if (!procedure) {
      if (!list.empty()) list += u"\r\n";
      list += (options & frFullInformation) ? FullInformation(dir + d.name, d) : dir + d.name;
      return true;
    }
    int32_t flag = flFile;
    if (first && dir == startDirectory)
      flag = flFirstFile;
    else if (first || dir != previousDirectory)
      flag = flChangeDir;
    first = false;
    previousDirectory = dir;
    const Value args[] = {Value{dir}, Value{d.name}, Value{flag}, Value{userValue}};
    Value result;
    if (!CallProcedure(context, procedure, args, &result)) return false;
    if (const bool* b = std::get_if<bool>(&result)) return *b;
    if (const int32_t* i = std::get_if<int32_t>(&result)) return *i != 0;
    return true;
  }

  // Only what the options read is asked of the file system.
  uint32_t Details(bool forDirectories) const {
    uint32_t details = 0;
    if (options & frFullInformation) details |= fs::kFindAttributes | fs::kFindSizeTimes;
    if (options & frNoHiddenDirectory) details |= fs::kFindAttributes;
    if ((options & frNoHiddenFile) && !forDirectories) details |= fs::kFindAttributes;
    return details;
  }

  // Lists `dir`, which `parent` handed out last (kInvalidFind: the start),
  // and walks down through the handles of the listings.
  void Visit(const std::u16string& dir, std::u16string_view namePattern, fs::FindHandle parent = fs::kInvalidFind) {
    for (const fs::FindData& d : Entries(parent, dir + std::u16string(namePattern), Details(directories))) {
      if (stopped) return;
      const bool isDir = d.attributes & fs::kAttrDirectory;
      if (isDir != directories) continue;
      if (!isDir && (options & frNoHiddenFile) && (d.attributes & fs::kAttrHidden)) continue;
      if (isDir && (options & frNoHiddenDirectory) && (d.attributes & fs::kAttrHidden)) continue;
      if (!Report(dir, d)) stopped = true;
    }
    if (stopped || (options & frNotRecursive)) return;
    fs::FindData d;
    const Listing all(fs::FindFirstFileBelow(parent, dir + u"*.*", &d, Details(true)));
    if (all.h == fs::kInvalidFind) return;
    do {
      if (stopped) return;
      if (!(d.attributes & fs::kAttrDirectory)) continue;
      if ((options & frNoHiddenDirectory) && (d.attributes & fs::kAttrHidden)) continue;
      // No name on the device is longer than 260 characters: nothing below can be named.
      if (dir.size() + d.name.size() + 1 > kMaxPath) continue;
      if (OnWalk(inside, d)) continue;
      const bool known = d.device != 0 || d.inode != 0;
      if (known) inside.emplace_back(d.device, d.inode);
      Visit(dir + d.name + u"\\", namePattern, all.h);
      if (known) inside.pop_back();
    } while (fs::FindNextFile(all.h, &d));
  }
};

bool StartWalk(ExecContext* context, std::u16string_view pattern, Walk* walk, std::u16string_view* namePattern) {
  if (pattern.size() > kMaxPath) {
    Raise(context, kErrPathTooLong, {pattern});
    return false;
  }
  if (!CheckAbsolute(context, pattern)) return false;
  const size_t slash = pattern.find_last_of(u"\\/");
  walk->startDirectory = std::u16string(pattern.substr(0, slash + 1));
  *namePattern = pattern.substr(slash + 1);
  if (namePattern->empty()) *namePattern = u"*.*";
  // The Escape key is read once before the walk; the device here has no
  // keyboard of its own, so frInterruptible never stops a walk.
  return true;
}

std::u16string ListText(ExecContext* context, std::u16string_view pattern, int32_t options, bool directories) {
  Walk walk{context, directories, options};
  std::u16string_view names;
  if (!StartWalk(context, pattern, &walk, &names)) return {};
  walk.Visit(walk.startDirectory, names);
  return walk.list;
}

int32_t ListWith(ExecContext* context, std::u16string_view pattern, std::u16string_view procedure, int32_t userValue,
                 int32_t options, bool directories) {
  Walk walk{context, directories, options};
  std::u16string_view names;
  if (!StartWalk(context, pattern, &walk, &names)) return 0;
  walk.procedure = FindProcedure(context, procedure);
  if (!walk.procedure) return 0;
  walk.userValue = userValue;
  walk.Visit(walk.startDirectory, names);
  return walk.count;
}

// fRepTaille's walk: -1 on failure (the error is recorded). `inside` holds
// the directories the walk is in (see Walk::inside); `parent` handed out
// `dir` last (kInvalidFind: the start).
int64_t SizeOf(ExecContext* context, const std::u16string& dir, int32_t options,
               std::vector<std::pair<uint64_t, uint64_t>>* inside, fs::FindHandle parent) {
  int64_t total = 0;
  fs::FindData d;
  // The sizes, the directory bit and the directories' names are all this
  // walk reads: no order, no file names, no times.
  const fs::FindHandle h = fs::FindFirstFileBelow(parent, dir + u"*", &d, fs::kFindSizeTimes | fs::kFindSizesOnly);
  if (h == fs::kInvalidFind) {
    const uint32_t code = platform::LastError();
    if (code == win32::kFileNotFound || code == win32::kNoMoreFiles) return 0;
    if (options & frIgnoreError) return 0;
    Raise(context, 5261, {dir});
    SetSystemError(context, code);
    return -1;
  }
  std::unique_ptr<void, void (*)(void*)> closer(reinterpret_cast<void*>(h),
                                                [](void* p) { fs::FindClose(reinterpret_cast<fs::FindHandle>(p)); });
  do {
    if (!(d.attributes & fs::kAttrDirectory)) {
      // Kept on purpose: only the low 32 bits of each size count.
      total += static_cast<uint32_t>(d.size);
      continue;
    }
    if (options & frNotRecursive) continue;
    // A directory the walk is already inside would be entered again and
    // again until the name passes 260 characters: it ends the same way now,
    // without taking every path of a loop with several links first.
    if (dir.size() + d.name.size() + 1 > kMaxPath || OnWalk(*inside, d)) {
      Raise(context, kErrPathTooLongWhileWalking, {d.name});
      return -1;
    }
    const bool known = d.device != 0 || d.inode != 0;
    if (known) inside->emplace_back(d.device, d.inode);
    const int64_t sub = SizeOf(context, dir + d.name + u"\\", options, inside, h);
    if (known) inside->pop_back();
    if (sub < 0) return -1;
    total += sub;
  } while (fs::FindNextFile(h, &d));
  const uint32_t code = platform::LastError();
  if (code != win32::kNoMoreFiles && !(options & frIgnoreError)) {
    Raise(context, 5261, {dir});
    SetSystemError(context, code);
    return -1;
  }
  return total;
}

}  // namespace

std::u16string Dir(ExecContext* context, std::u16string_view pattern, int32_t attributes) {
  if (attributes != fPathUnicode && attributes != frFile && attributes != frDirectoryAttr &&
      attributes != fPathUnicode + frFile && attributes != fPathUnicode + frDirectoryAttr) {
    Raise(context, kErrDirAttributesUnsupported, {attributes});
    return {};
  }
  DirEnumeration& e = Enumeration();
  fs::FindData d;
  if (!pattern.empty()) {
    e.Close();
    e.directories = (attributes & 0xFFF) == frDirectoryAttr;
    const std::u16string full = e.directories ? layer::WithSeparator(pattern) + u"*.*" : std::u16string(pattern);
    e.find = fs::FindFirstFile(full, &d);
    if (e.find == fs::kInvalidFind) return {};
    if (Wanted(d, e.directories)) return d.name;
  } else if (e.find == fs::kInvalidFind) {
    Raise(context, kErrDirNoSearchInProgress);
    return {};
  }
  while (fs::FindNextFile(e.find, &d)) {
    if (Wanted(d, e.directories)) return d.name;
  }
  e.Close();
  return {};
}

void EndDirEnumeration() { Enumeration().Close(); }

std::u16string ListFiles(ExecContext* context, std::u16string_view pattern, int32_t options) {
  return ListText(context, pattern, options, false);
}
std::u16string ListDirectories(ExecContext* context, std::u16string_view pattern, int32_t options) {
  return ListText(context, pattern, options, true);
}
int32_t ListFilesWith(ExecContext* context, std::u16string_view pattern, std::u16string_view procedure,
                      int32_t userValue, int32_t options) {
  return ListWith(context, pattern, procedure, userValue, options, false);
}
int32_t ListDirectoriesWith(ExecContext* context, std::u16string_view pattern, std::u16string_view procedure,
                            int32_t userValue, int32_t options) {
  return ListWith(context, pattern, procedure, userValue, options, true);
}

int64_t DirSize(ExecContext* context, std::u16string_view path, int32_t options) {
  if (path.empty()) {
    Raise(context, kErrEmptyName);
    return -1;
  }
  if (path.size() >= kMaxPath) {
    Raise(context, kErrDirSizePathTooLong, {path});
    return -1;
  }
  if (!CheckAbsolute(context, path)) return -1;
  std::vector<std::pair<uint64_t, uint64_t>> inside;
  return SizeOf(context, layer::WithSeparator(path), options, &inside, fs::kInvalidFind);
}

}  // namespace kp::files
