// kp160std — device names to held locations beneath the device root, and the
// ways the other parts of the file system open what they find there.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/filesystem_internal.h"
#include "platform/posix/fs_names.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

namespace {

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
    // The device has no relative names; refusing them is also the simplest
    // way to stay inside the root.
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

}  // namespace

namespace detail {

bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

bool Locate(std::u16string_view name, Location* out) {
  const auto parts = Split(name);
  if (!parts) return false;
  const uint32_t code = LocateBeneath(*parts, out);
  return code == win32::kSuccess || Fail(code);
}

UniqueFd OpenObject(const Location& at) {
  if (at.isRoot) return UniqueFd(fcntl(at.dir.get(), F_DUPFD_CLOEXEC, 0));
  return OpenObjectAt(at.dir.get(), at.leaf.c_str());
}

UniqueFd OpenObjectAt(int dir, const char* leaf) {
  UniqueFd fd(openat(dir, leaf, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!fd) return fd;
  struct stat st {};
  if (fstat(fd.get(), &st) != 0) return UniqueFd();
  if (S_ISLNK(st.st_mode)) {
    errno = ELOOP;
    return UniqueFd();
  }
  return fd;
}

std::string FdPath(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

int OpenRegular(const Location& at, int flags, mode_t mode) {
  if (at.isRoot) return Fail(win32::kAccessDenied), -1;
  const int fd = OpenAt(at, flags | O_NONBLOCK | O_NOCTTY, mode);
  if (fd < 0) return Fail(errno == EEXIST ? win32::kFileExists : Win32FromErrno(errno)), -1;
  struct stat st {};
  if (fstat(fd, &st) != 0) {
    const int e = errno;
    close(fd);
    return Fail(Win32FromErrno(e)), -1;
  }
  if (!S_ISREG(st.st_mode)) {
    // A directory, a FIFO, a socket or a device: none is a file to read or write here.
    close(fd);
    return Fail(win32::kAccessDenied), -1;
  }
  const int status = fcntl(fd, F_GETFL);
  if (status >= 0) fcntl(fd, F_SETFL, status & ~O_NONBLOCK);
  return fd;
}

}  // namespace detail

std::optional<std::string> DeviceRelativePath(std::u16string_view name) {
  const auto parts = Split(name);
  if (!parts || parts->empty()) return std::nullopt;
  // Missing directories are kept as named: the longest part that can be
  // located gives the names as found on disk, the rest follows as given.
  for (size_t n = parts->size(); n > 0; --n) {
    const std::vector<std::string> head(parts->begin(), parts->begin() + static_cast<std::ptrdiff_t>(n));
    Location at;
    const uint32_t code = LocateBeneath(head, &at);
    if (code == win32::kPathNotFound) continue;
    if (code != win32::kSuccess) return SetLastError(code), std::nullopt;
    if (at.isRoot) return std::nullopt;
    // Beyond an existing name that is not a directory nothing can be made.
    if (n < parts->size() && at.exists && !S_ISDIR(at.st.st_mode)) return SetLastError(win32::kPathNotFound), std::nullopt;
    std::string relative = at.relative;
    for (size_t i = n; i < parts->size(); ++i) relative += "/" + (*parts)[i];
    return relative;
  }
  SetLastError(win32::kPathNotFound);
  return std::nullopt;
}

}  // namespace kp::platform::fs
