// kp160std — the device's file system on POSIX (see platform/filesystem.h).
//
// Every name is resolved component by component from the device root: an
// exact name first, then a case-insensitive match in the directory; a
// symbolic link is followed only when its target stays inside the root.
// "." and ".." are refused (3): the device's file system has no relative
// names, and refusing them is the simplest way to stay inside the root. The
// final open uses O_NOFOLLOW, so a link swapped in after the check is not
// followed either.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/device.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/fs_names.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

namespace {

constexpr const char* kAttributeName = "user.kp.attributes";
constexpr uint32_t kKeptBits = kAttrHidden | kAttrSystem | kAttrArchive;


bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

bool NativeRoot() {
  const char* v = std::getenv("KP_NATIVE_ROOT");
  return v && std::strcmp(v, "1") == 0;
}

// The real path of the device root, made when missing; empty when it cannot be.
// The answer is kept for the prefix it was made for: one stat confirms it.
// Unconfirmed, the kept answer is returned as it is; the caller must then
// confirm it itself before trusting a failure (see Resolve).
std::string RootReal(bool confirm = true) {
  static std::mutex mutex;
  static std::string cachedFor, cachedRoot;
  const std::string key = NativeRoot() ? std::string("/") : DeviceDirectory() + "/fs";
  {
    std::lock_guard<std::mutex> lock(mutex);
    struct stat st {};
    if (key == cachedFor &&
        (!confirm || (stat(cachedRoot.c_str(), &st) == 0 && S_ISDIR(st.st_mode))))
      return cachedRoot;
  }
  std::string root = "/";
  if (!NativeRoot()) {
    if (!EnsureDeviceDirectory()) return {};
    root = DeviceDirectory() + "/fs";
    if (mkdir(root.c_str(), 0700) != 0 && errno != EEXIST) return {};
  }
  char buffer[PATH_MAX];
  if (!realpath(root.c_str(), buffer)) return {};
  std::lock_guard<std::mutex> lock(mutex);
  cachedFor = key;
  cachedRoot = buffer;
  return cachedRoot;
}

bool Inside(const std::string& path, const std::string& root) {
  if (root == "/") return true;
  return path == root || (path.size() > root.size() && path.compare(0, root.size(), root) == 0 &&
                          path[root.size()] == '/');
}

std::string Join(const std::string& dir, const std::string& name) { return dir == "/" ? "/" + name : dir + "/" + name; }

struct Resolved {
  std::string host;  // the host path (of the parent + name when missing)
  std::string root;  // the root's real path the walk started from
  bool exists = false;
  bool isRoot = false;
  struct stat st {};
};

// Splits a device path into its UTF-8 names; nullopt (with the Win32 error
// set) for a relative name, "." or "..", a NUL or a lone surrogate.
std::optional<std::vector<std::string>> Split(std::u16string_view name) {
  if (name.empty() || (name.front() != u'\\' && name.front() != u'/')) {
    SetLastError(name.empty() ? win32::kPathNotFound : win32::kInvalidName);
    return std::nullopt;
  }
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= name.size()) {
    size_t end = name.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = name.size();
    const std::u16string_view part = name.substr(start, end - start);
    start = end + 1;
    if (part.empty()) continue;
    if (part == u"." || part == u"..") {
      SetLastError(win32::kPathNotFound);
      return std::nullopt;
    }
    std::string utf8;
    if (!names::ToUtf8(part, &utf8)) {
      SetLastError(win32::kInvalidName);
      return std::nullopt;
    }
    parts.push_back(std::move(utf8));
  }
  return parts;
}

// Looks `name` up in `dir` without regard to case; empty when absent.
std::string FindFolded(const std::string& dir, const std::string& name) {
  DIR* d = opendir(dir.c_str());
  if (!d) return {};
  const std::u16string wanted = names::Fold(names::FromUtf8(name));
  std::string found;
  while (dirent* e = readdir(d)) {
    if (names::Fold(names::FromUtf8(e->d_name)) == wanted) {
      found = e->d_name;
      break;
    }
  }
  closedir(d);
  return found;
}

// Resolves a device path inside the root; false with the Win32 error set.
// With `missingParents` a missing directory ends the walk: the rest of the
// names are taken as they are (nothing below a missing name can be a link).
bool Resolve(std::u16string_view name, Resolved* out, bool missingParents = false) {
  const auto parts = Split(name);
  if (!parts) return false;
  // The kept root is confirmed only when the first name cannot be found:
  // finding it proves the root is still a directory, so the usual call makes
  // no stat of the root. A failure confirms the root (making it again when it
  // was removed, as before) and starts the walk over.
  bool confirmed = parts->empty();
  std::string root = RootReal(confirmed);
  if (root.empty()) return Fail(win32::kPathNotFound);
  std::string current = root;
  *out = Resolved{};
  out->root = root;
  if (parts->empty()) {
    out->host = root;
    out->isRoot = true;
    out->exists = stat(root.c_str(), &out->st) == 0;
    return true;
  }
  for (size_t i = 0; i < parts->size(); ++i) {
    const bool last = i + 1 == parts->size();
    std::string candidate = Join(current, (*parts)[i]);
    struct stat st {};
    if (lstat(candidate.c_str(), &st) != 0) {
      if (!confirmed && i == 0) {
        confirmed = true;
        root = RootReal(true);
        if (root.empty()) return Fail(win32::kPathNotFound);
        current = root;
        out->root = root;
        --i;  // i is 0 here: the loop's increment brings it back to 0
        continue;
      }
      if (errno != ENOENT) return Fail(errno == ENOTDIR ? win32::kPathNotFound : Win32FromErrno(errno));
      const std::string folded = FindFolded(current, (*parts)[i]);
      if (folded.empty()) {
        if (!last && !missingParents) return Fail(win32::kPathNotFound);
        for (size_t j = i + 1; j < parts->size(); ++j) candidate = Join(candidate, (*parts)[j]);
        out->host = candidate;
        return true;
      }
      candidate = Join(current, folded);
      if (lstat(candidate.c_str(), &st) != 0) return Fail(Win32FromErrno(errno));
    }
    if (S_ISLNK(st.st_mode)) {
      char buffer[PATH_MAX];
      // A dangling link is refused too: creating through it could land anywhere.
      if (!realpath(candidate.c_str(), buffer) || !Inside(buffer, root)) return Fail(win32::kAccessDenied);
      candidate = buffer;
      if (stat(candidate.c_str(), &st) != 0) return Fail(Win32FromErrno(errno));
    }
    if (!last && !S_ISDIR(st.st_mode)) return Fail(win32::kPathNotFound);
    current = candidate;
    if (last) {
      out->host = current;
      out->exists = true;
      out->st = st;
    }
  }
  return true;
}

uint32_t ReadKeptBits(const std::string& host, bool isDir, const std::string& leaf) {
  char value[16] = {};
  const ssize_t n = getxattr(host.c_str(), kAttributeName, value, sizeof value - 1);
  if (n > 0) return static_cast<uint32_t>(std::strtoul(value, nullptr, 10)) & kKeptBits;
  // Nothing kept: what Windows shows for a file just written.
  uint32_t bits = isDir ? 0 : kAttrArchive;
  if (n < 0 && errno == ENOTSUP && !leaf.empty() && leaf[0] == '.') bits |= kAttrHidden;
  return bits;
}

std::string Leaf(const std::string& host) {
  const size_t slash = host.rfind('/');
  return slash == std::string::npos ? host : host.substr(slash + 1);
}

uint32_t AttributesOf(const std::string& host, const struct stat& st) {
  const bool dir = S_ISDIR(st.st_mode);
  uint32_t a = ReadKeptBits(host, dir, Leaf(host));
  if (dir) a |= kAttrDirectory;
  if (!(st.st_mode & S_IWUSR)) a |= kAttrReadOnly;
  if (a == 0) a = kAttrNormal;
  return a;
}

int64_t ToFileTime(const timespec& t) {
  // 100 ns units between 1601-01-01 and 1970-01-01.
  constexpr int64_t kEpoch = 116444736000000000LL;
  return kEpoch + static_cast<int64_t>(t.tv_sec) * 10000000 + t.tv_nsec / 100;
}

timespec FromFileTime(int64_t ft) {
  constexpr int64_t kEpoch = 116444736000000000LL;
  const int64_t units = ft - kEpoch;
  timespec t{};
  t.tv_sec = static_cast<time_t>(units / 10000000);
  t.tv_nsec = static_cast<long>((units % 10000000) * 100);
  if (t.tv_nsec < 0) {
    t.tv_nsec += 1000000000;
    t.tv_sec -= 1;
  }
  return t;
}

FileTimes TimesOf(const struct stat& st) {
  FileTimes t;
  t.write = ToFileTime(st.st_mtim);
  t.access = ToFileTime(st.st_atim);
  t.creation = ToFileTime(st.st_ctim);  // POSIX keeps no creation time; the change time stands in
  return t;
}

bool ReadOnly(const struct stat& st) { return !(st.st_mode & S_IWUSR); }

bool WildMatch(std::u16string_view pattern, std::u16string_view name) {
  size_t p = 0, n = 0, star = std::u16string_view::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
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

struct FindState {
  std::vector<FindData> entries;
  size_t next = 0;
};

// The content-change counters: one per open file (device and inode), shared
// by every descriptor this layer opened on it.
using Counter = std::atomic<uint64_t>;
using FileKey = std::pair<dev_t, ino_t>;
struct OpenFile {
  FileKey key{};
  std::shared_ptr<Counter> changes;
};
struct ChangeTable {
  std::mutex mutex;
  std::vector<OpenFile> byDescriptor;
  std::map<FileKey, std::weak_ptr<Counter>> byFile;
};
// A namespace-scope object is made when the library loads, before the handle
// table (made on first use), so it is destroyed after it: the handle table
// still untracks its streams when it closes them at unload. Destroying it at
// all keeps an unloaded library from leaking it.
ChangeTable gChanges;
ChangeTable& Changes() { return gChanges; }

void Track(int fd, bool truncated) {
  struct stat st {};
  if (fd < 0 || fstat(fd, &st) != 0) return;
  ChangeTable& t = Changes();
  std::lock_guard<std::mutex> lock(t.mutex);
  const FileKey key{st.st_dev, st.st_ino};
  std::shared_ptr<Counter> counter = t.byFile[key].lock();
  if (!counter) {
    counter = std::make_shared<Counter>(0);
    t.byFile[key] = counter;
  }
  if (truncated) counter->fetch_add(1, std::memory_order_relaxed);
  if (t.byDescriptor.size() <= static_cast<size_t>(fd)) t.byDescriptor.resize(static_cast<size_t>(fd) + 1);
  t.byDescriptor[static_cast<size_t>(fd)] = OpenFile{key, std::move(counter)};
}

void Untrack(int fd) {
  ChangeTable& t = Changes();
  std::lock_guard<std::mutex> lock(t.mutex);
  if (fd < 0 || static_cast<size_t>(fd) >= t.byDescriptor.size()) return;
  OpenFile& f = t.byDescriptor[static_cast<size_t>(fd)];
  if (!f.changes) return;
  f.changes.reset();
  const auto it = t.byFile.find(f.key);
  if (it != t.byFile.end() && it->second.expired()) t.byFile.erase(it);
}

void Changed(int fd) {
  ChangeTable& t = Changes();
  std::lock_guard<std::mutex> lock(t.mutex);
  if (fd >= 0 && static_cast<size_t>(fd) < t.byDescriptor.size() && t.byDescriptor[static_cast<size_t>(fd)].changes)
    t.byDescriptor[static_cast<size_t>(fd)].changes->fetch_add(1, std::memory_order_relaxed);
}

void Changed(const struct stat& st) {
  ChangeTable& t = Changes();
  std::lock_guard<std::mutex> lock(t.mutex);
  const auto it = t.byFile.find(FileKey{st.st_dev, st.st_ino});
  if (it == t.byFile.end()) return;
  if (const auto counter = it->second.lock()) counter->fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

namespace names {

bool ToUtf8(std::u16string_view name, std::string* out) {
  for (size_t i = 0; i < name.size(); ++i) {
    uint32_t c = name[i];
    if (c == 0) return false;
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < name.size() && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (name[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      return false;
    }
    if (c < 0x80) {
      *out += static_cast<char>(c);
    } else if (c < 0x800) {
      *out += static_cast<char>(0xC0 | (c >> 6));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      *out += static_cast<char>(0xE0 | (c >> 12));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      *out += static_cast<char>(0xF0 | (c >> 18));
      *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

std::u16string FromUtf8(std::string_view s) {
  std::u16string out;
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<uint8_t>(s[i]);
    uint32_t c = 0xFFFD;
    size_t len = 1;
    if (b < 0x80) {
      c = b;
    } else if ((b & 0xE0) == 0xC0 && i + 1 < s.size()) {
      c = ((b & 0x1F) << 6) | (s[i + 1] & 0x3F);
      len = 2;
    } else if ((b & 0xF0) == 0xE0 && i + 2 < s.size()) {
      c = ((b & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
      len = 3;
    } else if ((b & 0xF8) == 0xF0 && i + 3 < s.size()) {
      c = ((b & 0x07) << 18) | ((s[i + 1] & 0x3F) << 12) | ((s[i + 2] & 0x3F) << 6) | (s[i + 3] & 0x3F);
      len = 4;
    }
    i += len;
    if (c >= 0x10000) {
      c -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (c >> 10));
      out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
  }
  return out;
}

std::u16string Fold(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) {
    if (c >= u'a' && c <= u'z') {
      c = static_cast<char16_t>(c - 32);
    } else if (c >= 0xE0 && c <= 0xFE && c != 0xF7) {
      c = static_cast<char16_t>(c - 32);
    } else if (c == 0xFF) {
      c = 0x178;
    } else if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x131 && c != 0x138 && c != 0x149 && c != 0x17F) {
      // Latin Extended-A pairs: upper case even below 0x138, odd from 0x139 to 0x148 and from 0x179.
      if ((c < 0x138 && (c & 1)) || (c > 0x138 && c < 0x149 && !(c & 1)) ||
          (c > 0x149 && c < 0x178 && (c & 1)) || (c > 0x178 && !(c & 1)))
        c = static_cast<char16_t>(c - 1);
    } else if (c >= 0x430 && c <= 0x44F) {
      c = static_cast<char16_t>(c - 32);
    } else if (c >= 0x450 && c <= 0x45F) {
      c = static_cast<char16_t>(c - 80);
    } else if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) {
      c = static_cast<char16_t>(c - 32);
    }
  }
  return out;
}

bool Match(std::u16string_view pattern, std::u16string_view name) {
  const std::u16string p = Fold(pattern), n = Fold(name);
  if (WildMatch(p, n)) return true;
  // "*.*" and "x.*" also take names without an extension, as on the device.
  return p.size() >= 2 && p.ends_with(u".*") && n.find(u'.') == std::u16string::npos &&
         WildMatch(std::u16string_view(p).substr(0, p.size() - 2), n);
}

}  // namespace names

FileHandle CreateFile(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition,
                      uint32_t flags, bool* created) {
  if (created) *created = false;
  Resolved r;
  if (!Resolve(name, &r)) return kInvalidFile;
  if (disposition < kCreateNew || disposition > kTruncateExisting) return Fail(win32::kInvalidParameter), kInvalidFile;
  if (r.exists && (S_ISDIR(r.st.st_mode) || r.isRoot)) return Fail(win32::kAccessDenied), kInvalidFile;
  const bool write = access & kGenericWrite;
  if (r.exists && ReadOnly(r.st) &&
      (write || disposition == kCreateAlways || disposition == kTruncateExisting))
    return Fail(win32::kAccessDenied), kInvalidFile;
  int mode = (access & kGenericRead) && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  mode |= O_CLOEXEC | O_NOFOLLOW;
  switch (disposition) {
    case kCreateNew:
      if (r.exists) return Fail(win32::kFileExists), kInvalidFile;
      mode |= O_CREAT | O_EXCL;
      break;
    case kCreateAlways:
      mode |= O_CREAT | O_TRUNC;
      break;
    case kOpenExisting:
      if (!r.exists) return Fail(win32::kFileNotFound), kInvalidFile;
      break;
    case kOpenAlways:
      mode |= O_CREAT;
      break;
    case kTruncateExisting:
      if (!r.exists) return Fail(win32::kFileNotFound), kInvalidFile;
      mode |= O_TRUNC;
      break;
  }
  // Truncation needs write access on POSIX; the Win32 call asks for it too.
  if ((mode & O_TRUNC) && (mode & O_ACCMODE) == O_RDONLY) mode = (mode & ~O_ACCMODE) | O_RDWR;
  const int fd = open(r.host.c_str(), mode, 0666);
  if (fd < 0) return Fail(errno == EEXIST ? win32::kFileExists : Win32FromErrno(errno)), kInvalidFile;
  Track(fd, r.exists && (mode & O_TRUNC));
  if (created) *created = !r.exists;
  SetLastError(r.exists && (disposition == kCreateAlways || disposition == kOpenAlways) ? win32::kAlreadyExists
                                                                                          : win32::kSuccess);
  return fd;
}

bool ReadFile(FileHandle file, void* buffer, uint32_t count, uint32_t* read) {
  if (read) *read = 0;
  uint32_t done = 0;
  while (done < count) {
    const ssize_t n = ::read(static_cast<int>(file), static_cast<char*>(buffer) + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    // Win32 reads of a handle opened for writing only fail with 5, as do reads of a directory.
    if (n < 0) return Fail(errno == EISDIR || errno == EBADF ? win32::kAccessDenied : Win32FromErrno(errno));
    if (n == 0) break;
    done += static_cast<uint32_t>(n);
  }
  if (read) *read = done;
  return true;
}

bool WriteFile(FileHandle file, const void* buffer, uint32_t count, uint32_t* written) {
  if (written) *written = 0;
  uint32_t done = 0;
  int error = 0;
  while (done < count) {
    const ssize_t n = ::write(static_cast<int>(file), static_cast<const char*>(buffer) + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = errno;
      break;
    }
    done += static_cast<uint32_t>(n);
  }
  // Counted once the bytes are in: a reader refilling meanwhile still looks again.
  if (done > 0) Changed(static_cast<int>(file));
  if (written) *written = done;
  if (done < count) return Fail(error == EBADF ? win32::kAccessDenied : Win32FromErrno(error));
  return true;
}

bool SetFilePointer(FileHandle file, int64_t distance, uint32_t origin, int64_t* position) {
  if (origin > 2) return Fail(win32::kInvalidParameter);
  const int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : SEEK_END;
  const off_t base = lseek(static_cast<int>(file), 0, whence);
  if (base < 0) return Fail(Win32FromErrno(errno));
  if (distance < 0 && -distance > base) return Fail(win32::kNegativeSeek);
  const off_t at = lseek(static_cast<int>(file), static_cast<off_t>(distance), whence);
  if (at < 0) return Fail(Win32FromErrno(errno));
  if (position) *position = at;
  return true;
}

bool SetEndOfFile(FileHandle file) {
  const off_t at = lseek(static_cast<int>(file), 0, SEEK_CUR);
  if (at < 0) return Fail(Win32FromErrno(errno));
  if (ftruncate(static_cast<int>(file), at) != 0) return Fail(errno == EINVAL || errno == EBADF ? win32::kAccessDenied : Win32FromErrno(errno));
  Changed(static_cast<int>(file));
  return true;
}

int64_t GetFileSize(FileHandle file) {
  struct stat st {};
  if (fstat(static_cast<int>(file), &st) != 0) return Fail(Win32FromErrno(errno)), -1;
  return st.st_size;
}

bool CloseHandle(FileHandle file) {
  if (file < 0) return Fail(win32::kInvalidHandle);
  Untrack(static_cast<int>(file));
  return close(static_cast<int>(file)) == 0 ? true : Fail(Win32FromErrno(errno));
}

std::shared_ptr<const std::atomic<uint64_t>> ContentChanges(FileHandle file) {
  ChangeTable& t = Changes();
  std::lock_guard<std::mutex> lock(t.mutex);
  if (file < 0 || static_cast<size_t>(file) >= t.byDescriptor.size()) return nullptr;
  return t.byDescriptor[static_cast<size_t>(file)].changes;
}

uint32_t GetFileAttributes(std::u16string_view name) {
  Resolved r;
  if (!Resolve(name, &r)) return kInvalidAttributes;
  if (!r.exists) return Fail(win32::kFileNotFound), kInvalidAttributes;
  return AttributesOf(r.host, r.st);
}

bool SetFileAttributes(std::u16string_view name, uint32_t attributes) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  const mode_t writable = r.st.st_mode | S_IWUSR;
  const mode_t readonly = r.st.st_mode & ~(S_IWUSR | S_IWGRP | S_IWOTH);
  const bool wantReadOnly = attributes & kAttrReadOnly;
  // The attribute is set while the file is writable: a user attribute needs write permission.
  if (!wantReadOnly && chmod(r.host.c_str(), writable & 07777) != 0) return Fail(Win32FromErrno(errno));
  const std::string value = std::to_string(attributes & kKeptBits);
  if (setxattr(r.host.c_str(), kAttributeName, value.data(), value.size(), 0) != 0 && errno != ENOTSUP)
    return Fail(Win32FromErrno(errno));
  if (wantReadOnly && chmod(r.host.c_str(), readonly & 07777) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool GetFileTimes(std::u16string_view name, FileTimes* times) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  *times = TimesOf(r.st);
  return true;
}

bool SetFileTimes(std::u16string_view name, const FileTimes& times) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  // The host keeps no creation time that could be set.
  if (times.creation) return Fail(win32::kNotSupported);
  timespec t[2];
  t[0] = times.access ? FromFileTime(times.access) : timespec{0, UTIME_OMIT};
  t[1] = times.write ? FromFileTime(times.write) : timespec{0, UTIME_OMIT};
  if (utimensat(AT_FDCWD, r.host.c_str(), t, 0) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool CopyFile(std::u16string_view source, std::u16string_view target, bool failIfExists) {
  Resolved from, to;
  if (!Resolve(source, &from)) return false;
  if (!from.exists) return Fail(win32::kFileNotFound);
  if (S_ISDIR(from.st.st_mode)) return Fail(win32::kAccessDenied);
  if (!Resolve(target, &to)) return false;
  if (to.exists) {
    if (failIfExists) return Fail(win32::kFileExists);
    if (S_ISDIR(to.st.st_mode) || ReadOnly(to.st)) return Fail(win32::kAccessDenied);
    if (to.st.st_ino == from.st.st_ino && to.st.st_dev == from.st.st_dev) return Fail(win32::kSharingViolation);
  }
  const int in = open(from.host.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (in < 0) return Fail(Win32FromErrno(errno));
  const int out = open(to.host.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (out < 0) {
    const int e = errno;
    close(in);
    return Fail(Win32FromErrno(e));
  }
  char buffer[65536];
  bool ok = true;
  while (ok) {
    uint32_t got = 0;
    if (!ReadFile(in, buffer, sizeof buffer, &got)) ok = false;
    if (!ok || got == 0) break;
    if (!WriteFile(out, buffer, got, nullptr)) ok = false;
  }
  const uint32_t error = ok ? 0 : LastError();
  close(in);
  close(out);
  if (to.exists) Changed(to.st);
  if (!ok) return Fail(error);
  // The copy keeps the source's attributes and last-write time, as the system's copy does.
  const timespec t[2] = {timespec{0, UTIME_NOW}, from.st.st_mtim};
  utimensat(AT_FDCWD, to.host.c_str(), t, 0);
  char value[16] = {};
  const ssize_t n = getxattr(from.host.c_str(), kAttributeName, value, sizeof value - 1);
  if (n > 0) setxattr(to.host.c_str(), kAttributeName, value, static_cast<size_t>(n), 0);
  if (ReadOnly(from.st)) chmod(to.host.c_str(), from.st.st_mode & 07555);
  SetLastError(win32::kSuccess);
  return true;
}

bool MoveFile(std::u16string_view source, std::u16string_view target) {
  Resolved from, to;
  if (!Resolve(source, &from)) return false;
  if (!from.exists || from.isRoot) return Fail(from.isRoot ? win32::kAccessDenied : win32::kFileNotFound);
  if (!Resolve(target, &to)) return false;
  if (to.exists) {
    const bool same = to.st.st_ino == from.st.st_ino && to.st.st_dev == from.st.st_dev;
    if (!same) return Fail(win32::kAlreadyExists);
    // A change of case only: rename to the name as given.
    const size_t cut = to.host.rfind('/');
    const std::u16string_view leaf = target.substr(target.find_last_of(u"\\/") + 1);
    std::string utf8;
    names::ToUtf8(leaf, &utf8);
    to.host = to.host.substr(0, cut + 1) + utf8;
  }
  if (rename(from.host.c_str(), to.host.c_str()) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool DeleteFile(std::u16string_view name) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  if (S_ISDIR(r.st.st_mode) || ReadOnly(r.st)) return Fail(win32::kAccessDenied);
  if (unlink(r.host.c_str()) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool CreateDirectory(std::u16string_view name) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (r.exists) return Fail(win32::kAlreadyExists);
  if (mkdir(r.host.c_str(), 0777) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool RemoveDirectory(std::u16string_view name) {
  Resolved r;
  if (!Resolve(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  if (r.isRoot) return Fail(win32::kAccessDenied);
  if (!S_ISDIR(r.st.st_mode)) return Fail(win32::kDirectory);
  if (rmdir(r.host.c_str()) != 0) return Fail(errno == EEXIST ? win32::kDirNotEmpty : Win32FromErrno(errno));
  return true;
}

FindHandle FindFirstFile(std::u16string_view pattern, FindData* data, uint32_t details) {
  const size_t cut = pattern.find_last_of(u"\\/");
  if (cut == std::u16string_view::npos) return Fail(win32::kInvalidName), kInvalidFind;
  const std::u16string_view leaf = pattern.substr(cut + 1);
  Resolved dir;
  if (!Resolve(cut == 0 ? pattern.substr(0, 1) : pattern.substr(0, cut), &dir)) return kInvalidFind;
  if (!dir.exists || !S_ISDIR(dir.st.st_mode)) return Fail(win32::kPathNotFound), kInvalidFind;
  if (leaf.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  const std::string root = RootReal();
  auto state = std::make_unique<FindState>();
  DIR* d = opendir(dir.host.c_str());
  if (!d) return Fail(Win32FromErrno(errno)), kInvalidFind;
  const int dfd = dirfd(d);
  // "*" and "*.*" take every name: no need to fold each one.
  const bool everything = leaf == u"*" || leaf == u"*.*";
  while (dirent* e = readdir(d)) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    std::u16string entry = names::FromUtf8(e->d_name);
    if (!everything && !names::Match(leaf, entry)) continue;
    struct stat st {};
    bool haveStat = false;
    std::string host;
    // The entry's type from the listing spares a stat when nothing else is read.
    const bool plain = e->d_type == DT_DIR || e->d_type == DT_REG;
    if (!plain || details != 0) {
      if (fstatat(dfd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      haveStat = true;
    }
    if (haveStat && S_ISLNK(st.st_mode)) {
      char buffer[PATH_MAX];
      host = Join(dir.host, e->d_name);
      // A link that leads outside the device is not part of the device: not listed.
      if (!realpath(host.c_str(), buffer) || !Inside(buffer, root) || stat(buffer, &st) != 0) continue;
      host = buffer;
    }
    const bool isDir = haveStat ? S_ISDIR(st.st_mode) : e->d_type == DT_DIR;
    FindData f;
    f.name = std::move(entry);
    if (details & kFindAttributes) {
      if (host.empty()) host = Join(dir.host, e->d_name);
      f.attributes = AttributesOf(host, st);
    } else {
      f.attributes = isDir ? kAttrDirectory : kAttrNormal;
    }
    if (details & kFindSizeTimes) {
      f.size = isDir ? 0 : st.st_size;
      f.times = TimesOf(st);
    }
    state->entries.push_back(std::move(f));
  }
  closedir(d);
  if (state->entries.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  std::sort(state->entries.begin(), state->entries.end(),
            [](const FindData& a, const FindData& b) { return a.name < b.name; });
  *data = state->entries[0];
  state->next = 1;
  SetLastError(win32::kSuccess);
  return reinterpret_cast<FindHandle>(state.release());
}

bool FindNextFile(FindHandle find, FindData* data) {
  if (find == kInvalidFind || find == 0) return Fail(win32::kInvalidHandle);
  auto* state = reinterpret_cast<FindState*>(find);
  if (state->next >= state->entries.size()) return Fail(win32::kNoMoreFiles);
  *data = state->entries[state->next++];
  return true;
}

void FindClose(FindHandle find) {
  if (find != kInvalidFind && find != 0) delete reinterpret_cast<FindState*>(find);
}

std::u16string GetTempPath() {
  if (NativeRoot()) return u"/tmp/";
  CreateDirectory(u"\\Temp");
  return u"\\Temp\\";
}

uint32_t GetTempFileName(std::u16string_view directory, std::u16string_view prefix, uint32_t unique,
                         std::u16string* name) {
  std::u16string base(directory);
  if (base.empty() || (base.back() != u'\\' && base.back() != u'/')) base += u'\\';
  base += prefix.substr(0, 3);
  auto make = [&](uint32_t n) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "%X", n & 0xFFFF);
    std::u16string full = base;
    for (const char* p = hex; *p; ++p) full += static_cast<char16_t>(*p);
    return full + u".tmp";
  };
  if (unique != 0) {
    *name = make(unique);
    return unique & 0xFFFF;
  }
  // A process-wide counter keeps two calls apart even when the first name was deleted again.
  static std::atomic<uint32_t> calls{0};
  const auto start = static_cast<uint32_t>(
      ((static_cast<uint64_t>(time(nullptr)) ^ (getpid() << 4)) + calls.fetch_add(1) * 7919) & 0xFFFF);
  for (uint32_t i = 0; i < 0x10000; ++i) {
    const uint32_t n = ((start + i) & 0xFFFF) ? (start + i) & 0xFFFF : 1;
    const std::u16string candidate = make(n);
    const FileHandle f = CreateFile(candidate, kGenericWrite, 0, kCreateNew, 0);
    if (f != kInvalidFile) {
      CloseHandle(f);
      *name = candidate;
      SetLastError(win32::kSuccess);
      return n;
    }
    if (LastError() != win32::kFileExists) return 0;
  }
  SetLastError(win32::kFileExists);
  return 0;
}

bool MemoryReadable(const void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  std::vector<char> copy(std::min<size_t>(count, 65536));
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(copy.size(), count - done);
    iovec local{copy.data(), n};
    iovec remote{const_cast<char*>(static_cast<const char*>(address) + done), n};
    if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    done += n;
  }
  return true;
}

bool MemoryWritable(void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  std::vector<char> copy(std::min<size_t>(count, 65536));
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(copy.size(), count - done);
    iovec local{copy.data(), n};
    iovec remote{static_cast<char*>(address) + done, n};
    // Read the bytes and write them back: the memory keeps its content.
    if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    if (process_vm_writev(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    done += n;
  }
  return true;
}

std::optional<std::string> DeviceRelativePath(std::u16string_view name) {
  Resolved r;
  if (!Resolve(name, &r, true) || r.isRoot) return std::nullopt;
  if (r.root == "/") return r.host.substr(1);
  return r.host.substr(r.root.size() + 1);
}

}  // namespace kp::platform::fs
