// kp160std — copy, move and delete files, make and remove directories on the
// POSIX device file system.
//
// Each call resolves its names beneath the root (beneath.h) and acts on the
// held parent with the leaf: openat, renameat, unlinkat, mkdirat. None of
// these follows a link at the leaf, so a link swapped in after the walk is
// moved or deleted itself (it is inside the root) or makes the call fail;
// what it points to is never touched. A copy reads regular files only.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/filesystem_internal.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/syscalls.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

using detail::Fail;

namespace {

bool SameFile(const struct stat& a, const struct stat& b) { return a.st_ino == b.st_ino && a.st_dev == b.st_dev; }

}  // namespace

bool CopyFile(std::u16string_view source, std::u16string_view target, bool failIfExists) {
  Location from, to;
  if (!detail::Locate(source, &from)) return false;
  if (!from.exists) return Fail(win32::kFileNotFound);
  if (from.isRoot || !S_ISREG(from.st.st_mode)) return Fail(win32::kAccessDenied);
  if (!detail::Locate(target, &to)) return false;
  if (to.exists) {
    if (failIfExists) return Fail(win32::kFileExists);
    if (to.isRoot || !S_ISREG(to.st.st_mode) || detail::ReadOnly(to.st)) return Fail(win32::kAccessDenied);
    if (SameFile(to.st, from.st)) return Fail(win32::kSharingViolation);
  }
  const UniqueFd in(detail::OpenRegular(from, O_RDONLY));
  if (!in) return false;
  // The target is rewritten in place (a reader holding it open sees the copy)
  // but only once the room for the whole copy is reserved, so that a full
  // disk leaves its old bytes whole; a target made here is removed again.
  const UniqueFd out(detail::OpenRegular(to, O_WRONLY | O_CREAT | (failIfExists || !to.exists ? O_EXCL : 0), 0666));
  if (!out) return false;
  struct stat st {};
  if (fstat(in.get(), &st) != 0) st = from.st;
  char buffer[65536];
  int64_t copied = 0;
  bool ok = ReserveSpace(out.get(), st.st_size);
  while (ok) {
    uint32_t got = 0;
    if (!ReadFile(in.get(), buffer, sizeof buffer, &got)) ok = false;
    if (!ok || got == 0) break;
    if (!WriteFile(out.get(), buffer, got, nullptr)) ok = false;
    copied += got;
  }
  if (ok && sys::Sys().ftruncate(out.get(), static_cast<off_t>(copied)) != 0) ok = Fail(Win32FromErrno(errno));
  if (!ok) {
    const uint32_t error = LastError();
    if (!to.exists) sys::Sys().unlinkat(to.dir.get(), to.leaf.c_str(), 0);
    return Fail(error);
  }
  // The copy keeps the source's attributes and last-write time, as the system's copy does.
  const timespec t[2] = {timespec{0, UTIME_NOW}, st.st_mtim};
  futimens(out.get(), t);
  const std::string kept = detail::KeptAttributeText(in.get());
  if (!kept.empty()) detail::KeepAttributeText(out.get(), kept);
  if (detail::ReadOnly(st)) fchmod(out.get(), st.st_mode & 07555);
  SetLastError(win32::kSuccess);
  return true;
}

bool MoveFile(std::u16string_view source, std::u16string_view target) {
  Location from, to;
  if (!detail::Locate(source, &from)) return false;
  if (!from.exists || from.isRoot) return Fail(from.isRoot ? win32::kAccessDenied : win32::kFileNotFound);
  if (!detail::Locate(target, &to)) return false;
  if (to.isRoot) return Fail(win32::kAlreadyExists);
  if (to.exists) {
    if (!SameFile(to.st, from.st)) return Fail(win32::kAlreadyExists);
    // A change of case only: rename to the name as given.
    std::string utf8;
    names::ToUtf8(target.substr(target.find_last_of(u"\\/") + 1), &utf8);
    to.leaf = std::move(utf8);
    if (sys::Sys().renameat(from.dir.get(), from.leaf.c_str(), to.dir.get(), to.leaf.c_str()) != 0)
      return Fail(Win32FromErrno(errno));
    return true;
  }
  // The target must still be free when the rename happens, not only when it was looked at.
  if (sys::Sys().renameat2(from.dir.get(), from.leaf.c_str(), to.dir.get(), to.leaf.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return Fail(Win32FromErrno(errno));
  // A file system without RENAME_NOREPLACE: the check above stands alone.
  if (sys::Sys().renameat(from.dir.get(), from.leaf.c_str(), to.dir.get(), to.leaf.c_str()) != 0)
    return Fail(Win32FromErrno(errno));
  return true;
}

bool ReplaceFile(std::u16string_view source, std::u16string_view target) {
  Location from, to;
  if (!detail::Locate(source, &from)) return false;
  if (!from.exists || from.isRoot) return Fail(from.isRoot ? win32::kAccessDenied : win32::kFileNotFound);
  if (!detail::Locate(target, &to)) return false;
  if (to.isRoot || (to.exists && S_ISDIR(to.st.st_mode))) return Fail(win32::kAccessDenied);
  if (sys::Sys().renameat(from.dir.get(), from.leaf.c_str(), to.dir.get(), to.leaf.c_str()) != 0)
    return Fail(Win32FromErrno(errno));
  return true;
}

bool DeleteFile(std::u16string_view name) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  if (r.isRoot || S_ISDIR(r.st.st_mode) || detail::ReadOnly(r.st)) return Fail(win32::kAccessDenied);
  if (sys::Sys().unlinkat(r.dir.get(), r.leaf.c_str(), 0) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool CreateDirectory(std::u16string_view name) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (r.exists) return Fail(win32::kAlreadyExists);
  if (sys::Sys().mkdirat(r.dir.get(), r.leaf.c_str(), 0777) != 0) return Fail(Win32FromErrno(errno));
  return true;
}

bool RemoveDirectory(std::u16string_view name) {
  Location r;
  if (!detail::Locate(name, &r)) return false;
  if (!r.exists) return Fail(win32::kFileNotFound);
  if (r.isRoot) return Fail(win32::kAccessDenied);
  if (!S_ISDIR(r.st.st_mode)) return Fail(win32::kDirectory);
  if (sys::Sys().unlinkat(r.dir.get(), r.leaf.c_str(), AT_REMOVEDIR) != 0)
    return Fail(errno == EEXIST ? win32::kDirNotEmpty : Win32FromErrno(errno));
  return true;
}

}  // namespace kp::platform::fs
