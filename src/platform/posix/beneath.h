// kp160std — resolution of device names beneath the device root, by handles.
//
// A device name is walked one name at a time from a directory handle of the
// root: each directory is opened relative to the one before it, with
// O_NOFOLLOW, and held open; nothing is ever handed back to the kernel as a
// string to walk again. A second process that swaps a directory for a link
// after a check therefore changes nothing for this walk: the walk holds the
// directory it checked, and a link found where a directory was is read and
// judged like any other link.
//
// The model ("beneath", as openat2's RESOLVE_BENEATH):
// - a symbolic link inside the root is followed when the place it names is
//   inside the root too: a relative target is taken from the link's own
//   directory ("..", never above the root), an absolute one must start with
//   the root's host path;
// - a link that leads outside, that dangles, or that takes more than 40
//   links to resolve is refused with 5 (access denied);
// - the final operation is done relative to the parent's handle (openat,
//   unlinkat, renameat, mkdirat, fstatat ...) with the leaf name found here,
//   never following a link at the leaf: a link swapped in there after the
//   walk makes the operation fail (ELOOP), it is not followed.
//
// The root is <prefix>/fs (see device.h), or the host's "/" when
// KP_NATIVE_ROOT=1.
//
// Thread-safety: every function may be called from any thread; the root's
// handle is shared and never closed while the library is loaded.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kp::platform::fs {

// An owned descriptor, closed when dropped; or the root's shared handle,
// borrowed (kept open by `keep` while this holds it, never closed here), so
// that a walk that starts at the root costs no dup and no close.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(int fd, std::shared_ptr<const void> keep) : fd_(fd), keep_(std::move(keep)) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.fd_), keep_(std::move(other.keep_)) { other.fd_ = -1; }
  UniqueFd& operator=(UniqueFd&& other) noexcept;
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd();

  int get() const { return fd_; }
  // The descriptor, now the caller's to close (a copy of a borrowed one).
  int release();
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
  std::shared_ptr<const void> keep_;
};

// Where a device name lands.
struct Location {
  UniqueFd dir;             // the directory that holds the leaf (O_PATH); the root's parent is never opened
  std::string leaf;         // the leaf's name in `dir` as found on disk (as given when missing); empty for the root
  std::string relative;     // the names walked from the root, "/"-joined, as found on disk (leaf included)
  bool exists = false;
  bool isRoot = false;
  struct stat st {};        // the object's status when it exists (after links inside the root)
};

// Resolves UTF-8 names (none empty, ".", ".." or holding '/') beneath the
// root. A missing leaf is a success with exists false; a missing directory
// before it is 3 (path not found). Returns 0 or a Win32 error.
uint32_t LocateBeneath(const std::vector<std::string>& names, Location* out);

// The same for a "/"-separated path relative to the root, as Location's
// `relative` gives it.
uint32_t LocateBeneath(std::string_view relative, Location* out);

// Opens the leaf for an operation that needs a real descriptor: O_NOFOLLOW
// and O_CLOEXEC are added to `flags`. -1 with errno set on failure.
int OpenAt(const Location& at, int flags, mode_t mode = 0);

// Whether the root is the host's "/" (KP_NATIVE_ROOT=1).
bool NativeRoot();

// The root's host path, as links are judged against (empty when the root cannot be made).
std::string RootHostPath();

}  // namespace kp::platform::fs
