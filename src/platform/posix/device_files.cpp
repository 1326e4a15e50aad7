// kp160std — whole device files for the INI engine, under the device root.
//
// Every name is resolved by handles beneath the root (beneath.h) and every
// operation is done relative to the directory handle found there, so a
// directory swapped for a link meanwhile is never followed out of the root.
//
// A write is a read-modify-write under an exclusive advisory lock (flock) on
// the target itself:
// - the target is opened for reading and writing (created when missing, as
//   "open always" does); a read-only one (no owner write bit, as the
//   attributes show it) gives 5 and is left as it is, whoever runs us;
// - the lock is taken by polling for at most kLockWait; a writer that cannot
//   get it gives 32 (sharing violation);
// - the lock is on the inode, and the name gets a new inode at each write:
//   once locked, the name must still lead to the locked inode, otherwise the
//   write starts over on the file the name now holds;
// - the new content goes to a temporary file in the same directory, created
//   with O_CREAT|O_EXCL|O_NOFOLLOW under an unpredictable name, given the
//   target's mode and attributes, synced, and renamed over the target, so a
//   reader (who takes no lock) sees the old content or the new, never half.
// While a writer holds the lock on the current file no other writer of that
// file is between creating its temporary and renaming it, so any temporary
// of the target then found in the directory belongs to a writer that died:
// it is removed.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/beneath.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/syscalls.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"

namespace kp::platform::reg {

namespace {

using fs::Location;
using fs::UniqueFd;

constexpr auto kLockWait = std::chrono::seconds(3);
// Where the file layer keeps the attributes Windows has and POSIX has not;
// carried over to the rewritten file.
constexpr const char* kAttributeName = "user.kp.attributes";
// Temporaries are "<prefix><target's name>.<16 hex digits>".
constexpr std::string_view kTempPrefix = ".~kp.";
constexpr size_t kTempDigits = 16;

uint32_t ErrnoError(int e) { return e == ELOOP ? win32::kAccessDenied : Win32FromErrno(e); }

bool IsTemporaryOf(std::string_view name, std::string_view leaf) {
  if (name.size() != kTempPrefix.size() + leaf.size() + 1 + kTempDigits) return false;
  if (!name.starts_with(kTempPrefix) || name.substr(kTempPrefix.size(), leaf.size()) != leaf) return false;
  if (name[kTempPrefix.size() + leaf.size()] != '.') return false;
  for (const char c : name.substr(name.size() - kTempDigits))
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  return true;
}

// Drawn from the kernel for every name: nothing to learn from earlier names,
// and no state that a fork would share between parent and child.
std::string TemporaryName(std::string_view leaf) {
  uint64_t bits = 0;
  if (getrandom(&bits, sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
    std::random_device device;
    bits = (static_cast<uint64_t>(device()) << 32) ^ device();
  }
  char digits[kTempDigits + 1];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(bits));
  return std::string(kTempPrefix) + std::string(leaf) + "." + digits;
}

// A readable handle on the directory that `at.dir` (an O_PATH handle) names.
UniqueFd OpenDirectory(const Location& at) {
  return UniqueFd(sys::Sys().openat(at.dir.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

void RemoveStaleTemporaries(int directory, std::string_view leaf) {
  const int fd = fcntl(directory, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return;
  DIR* d = fdopendir(fd);
  if (!d) {
    close(fd);
    return;
  }
  std::vector<std::string> stale;
  while (const dirent* e = readdir(d))
    if (IsTemporaryOf(e->d_name, leaf)) stale.emplace_back(e->d_name);
  closedir(d);
  for (const auto& name : stale) sys::Sys().unlinkat(directory, name.c_str(), 0);
}

bool ReadAll(int fd, off_t size, std::string* bytes) {
  bytes->clear();
  if (size > 0) bytes->reserve(static_cast<size_t>(size));
  char buffer[16384];
  off_t at = 0;
  while (true) {
    const ssize_t n = sys::Sys().pread(fd, buffer, sizeof buffer, at);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    bytes->append(buffer, static_cast<size_t>(n));
    at += n;
  }
}

bool WriteAll(int fd, std::string_view bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = sys::Sys().write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = EIO;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

// The target of a write, opened and exclusively locked, the name still
// leading to it.
struct LockedTarget {
  Location at;
  UniqueFd fd;
  struct stat st {};
};

uint32_t LockTarget(std::string_view path, bool create, LockedTarget* out) {
  const auto deadline = std::chrono::steady_clock::now() + kLockWait;
  auto pause = std::chrono::microseconds(200);
  while (true) {
    LockedTarget t;
    uint32_t rc = fs::LocateBeneath(path, &t.at);
    if (rc != win32::kSuccess) return rc;
    if (t.at.isRoot) return win32::kAccessDenied;
    if (!t.at.exists && !create) return win32::kFileNotFound;
    if (t.at.exists && (!S_ISREG(t.at.st.st_mode) || !(t.at.st.st_mode & S_IWUSR))) return win32::kAccessDenied;
    const int fd = fs::OpenAt(t.at, O_RDWR | O_NONBLOCK | O_NOCTTY | (create ? O_CREAT : 0), 0666);
    if (fd < 0) {
      // Gone or made between the look and the open: look again.
      const int e = errno;
      if ((e == ENOENT || e == EEXIST) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(pause);
        continue;
      }
      return ErrnoError(e);
    }
    t.fd = UniqueFd(fd);
    if (fstat(fd, &t.st) != 0) return ErrnoError(errno);
    if (!S_ISREG(t.st.st_mode) || !(t.st.st_mode & S_IWUSR)) return win32::kAccessDenied;
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK && errno != EINTR) return ErrnoError(errno);
      if (std::chrono::steady_clock::now() >= deadline) return win32::kSharingViolation;
      std::this_thread::sleep_for(pause);
      pause = std::min(pause * 2, std::chrono::microseconds(10000));
    }
    struct stat now {};
    if (fstatat(t.at.dir.get(), t.at.leaf.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 && now.st_dev == t.st.st_dev &&
        now.st_ino == t.st.st_ino) {
      *out = std::move(t);
      return win32::kSuccess;
    }
    // Replaced (or removed) while we waited: the lock is on a file nobody
    // reaches by this name any more.
    if (std::chrono::steady_clock::now() >= deadline) return win32::kSharingViolation;
  }
}

// Writes `bytes` beside the locked target and renames it over the target.
uint32_t Replace(const LockedTarget& target, std::string_view bytes) {
  const UniqueFd directory = OpenDirectory(target.at);
  if (!directory) return ErrnoError(errno);
  const int dir = directory.get();
  RemoveStaleTemporaries(dir, target.at.leaf);
  std::string name;
  UniqueFd temp;
  for (int attempt = 0; attempt < 16 && !temp; ++attempt) {
    name = TemporaryName(target.at.leaf);
    temp = UniqueFd(sys::Sys().openat(dir, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!temp && errno != EEXIST) return ErrnoError(errno);
  }
  if (!temp) return win32::kAccessDenied;
  auto fail = [&](int e) {
    sys::Sys().unlinkat(dir, name.c_str(), 0);
    return ErrnoError(e);
  };
  // The rewritten file is the same file to its users: owner (when we may),
  // mode and the attributes the file layer keeps.
  if (fchown(temp.get(), target.st.st_uid, target.st.st_gid) != 0) {
    // Not ours to give away; the file becomes the writer's, as any rewrite would.
  }
  if (fchmod(temp.get(), target.st.st_mode & 07777) != 0) return fail(errno);
  char attributes[64];
  const ssize_t n = fgetxattr(target.fd.get(), kAttributeName, attributes, sizeof attributes);
  if (n > 0) fsetxattr(temp.get(), kAttributeName, attributes, static_cast<size_t>(n), 0);
  // Synced before the rename, so that after a crash the name holds the old
  // content or the new, never an empty file. The directory is not synced:
  // the rename may then be lost, but nothing is half-written (that sync made
  // each write about 12 % slower).
  if (!WriteAll(temp.get(), bytes) || sys::Sys().fsync(temp.get()) != 0) return fail(errno);
  if (sys::Sys().renameat(dir, name.c_str(), dir, target.at.leaf.c_str()) != 0) return fail(errno);
  return win32::kSuccess;
}

}  // namespace

uint32_t ReadDeviceFile(std::string_view path, std::string* bytes) {
  bytes->clear();
  Location at;
  const uint32_t rc = fs::LocateBeneath(path, &at);
  if (rc != win32::kSuccess) return rc;
  if (!at.exists) return win32::kFileNotFound;
  // A directory, a FIFO, a socket or a device node is no INI file: refused
  // before it is opened, and again after (it may have been swapped in), the
  // open never waiting for a writer.
  if (at.isRoot || !S_ISREG(at.st.st_mode)) return win32::kAccessDenied;
  const UniqueFd fd(fs::OpenAt(at, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!fd) return ErrnoError(errno);
  struct stat st {};
  if (fstat(fd.get(), &st) != 0) return ErrnoError(errno);
  if (!S_ISREG(st.st_mode)) return win32::kAccessDenied;
  if (!ReadAll(fd.get(), st.st_size, bytes)) {
    const int e = errno;
    bytes->clear();
    return ErrnoError(e);
  }
  return win32::kSuccess;
}

uint32_t UpdateDeviceFile(std::string_view path, const std::function<bool(std::string* bytes)>& edit) {
  LockedTarget target;
  uint32_t rc = LockTarget(path, true, &target);
  if (rc != win32::kSuccess) return rc;
  std::string bytes;
  if (!ReadAll(target.fd.get(), target.st.st_size, &bytes)) return ErrnoError(errno);
  if (!edit(&bytes)) return win32::kSuccess;
  return Replace(target, bytes);
}

uint32_t WriteDeviceFile(std::string_view path, std::string_view bytes) {
  return UpdateDeviceFile(path, [&](std::string* content) {
    *content = bytes;
    return true;
  });
}

uint32_t DeleteDeviceFile(std::string_view path) {
  // Under the writers' lock, so a write in progress is not undone by its rename.
  LockedTarget target;
  const uint32_t rc = LockTarget(path, false, &target);
  if (rc != win32::kSuccess) return rc;
  return sys::Sys().unlinkat(target.at.dir.get(), target.at.leaf.c_str(), 0) == 0 ? win32::kSuccess : ErrnoError(errno);
}

int64_t DeviceFileSize(std::string_view path) {
  Location at;
  if (fs::LocateBeneath(path, &at) != win32::kSuccess || !at.exists || at.isRoot || !S_ISREG(at.st.st_mode)) return -1;
  return static_cast<int64_t>(at.st.st_size);
}

}  // namespace kp::platform::reg
