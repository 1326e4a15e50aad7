// kp160std — attributes and times on the POSIX device file system.
//
// Read-only is the owner's write permission; hidden, system and archive live
// in the extended attribute "user.kp.attributes" (a decimal number). Both
// are read and changed on a descriptor of the object the walk found (see
// OpenObject), never on a path: a link swapped in at the leaf is refused,
// never followed out of the root.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/filesystem_internal.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

using detail::Fail;

namespace {

constexpr const char* kAttributeName = "user.kp.attributes";
constexpr uint32_t kKeptBits = kAttrHidden | kAttrSystem | kAttrArchive;
// 100 ns units between 1601-01-01 and 1970-01-01.
constexpr int64_t kEpoch = 116444736000000000LL;

}  // namespace

namespace detail {

std::string KeptAttributeText(int fd) {
  if (fd < 0) return {};
  char value[16] = {};
  const ssize_t n = getxattr(FdPath(fd).c_str(), kAttributeName, value, sizeof value - 1);
  return n > 0 ? std::string(value, static_cast<size_t>(n)) : std::string();
}

bool KeepAttributeText(int fd, const std::string& text) {
  return setxattr(FdPath(fd).c_str(), kAttributeName, text.data(), text.size(), 0) == 0;
}

uint32_t AttributesOf(int fd, const std::string& leaf, const struct stat& st) {
  const bool dir = S_ISDIR(st.st_mode);
  uint32_t a = 0;
  char value[16] = {};
  const ssize_t n = fd < 0 ? -1 : getxattr(FdPath(fd).c_str(), kAttributeName, value, sizeof value - 1);
  if (n > 0) {
    a = static_cast<uint32_t>(std::strtoul(value, nullptr, 10)) & kKeptBits;
  } else {
    // Nothing kept: what Windows shows for a file just written.
    a = dir ? 0 : kAttrArchive;
    if (n < 0 && errno == ENOTSUP && !leaf.empty() && leaf[0] == '.') a |= kAttrHidden;
  }
  if (dir) a |= kAttrDirectory;
  if (ReadOnly(st)) a |= kAttrReadOnly;
  if (a == 0) a = kAttrNormal;
  return a;
}

bool ReadOnly(const struct stat& st) { return !(st.st_mode & S_IWUSR); }

int64_t ToFileTime(const timespec& t) {
  return kEpoch + static_cast<int64_t>(t.tv_sec) * 10000000 + t.tv_nsec / 100;
}

timespec FromFileTime(int64_t ft) {
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

}  // namespace detail

uint32_t GetFileAttributes(std::u16string_view name) {
  Location r;
  if (!detail::Locate(name, &r)) return kInvalidAttributes;
  if (!r.exists) return Fail(win32::kFileNotFound), kInvalidAttributes;
  const UniqueFd object = detail::OpenObject(r);
  return detail::AttributesOf(object.get(), r.leaf, r.st);
}

bool SetFileAttributes(std::u16string_view name, uint32_t attributes) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  const UniqueFd object = detail::OpenObject(r);
  struct stat st {};
  if (!object || fstat(object.get(), &st) != 0) return Fail(Win32FromErrno(errno));
  const std::string path = detail::FdPath(object.get());
  const mode_t writable = st.st_mode | S_IWUSR;
  const mode_t readonly = st.st_mode & ~(S_IWUSR | S_IWGRP | S_IWOTH);
  const bool wantReadOnly = attributes & kAttrReadOnly;
  // The attribute is set while the file is writable: a user attribute needs write permission.
  if (!wantReadOnly && chmod(path.c_str(), writable & 07777) != 0) return Fail(Win32FromErrno(errno));
  if (!detail::KeepAttributeText(object.get(), std::to_string(attributes & kKeptBits)) && errno != ENOTSUP)
    return Fail(Win32FromErrno(errno));
  if (wantReadOnly && chmod(path.c_str(), readonly & 07777) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool GetFileTimes(std::u16string_view name, FileTimes* times) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  *times = detail::TimesOf(r.st);
  return true;
}

bool SetFileTimes(std::u16string_view name, const FileTimes& times) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  // The host keeps no creation time that could be set.
  if (times.creation) return Fail(win32::kNotSupported);
  timespec t[2];
  t[0] = times.access ? detail::FromFileTime(times.access) : timespec{0, UTIME_OMIT};
  t[1] = times.write ? detail::FromFileTime(times.write) : timespec{0, UTIME_OMIT};
  const UniqueFd object = detail::OpenObject(r);
  if (!object) return Fail(Win32FromErrno(errno));
  if (utimensat(AT_FDCWD, detail::FdPath(object.get()).c_str(), t, 0) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

}  // namespace kp::platform::fs
