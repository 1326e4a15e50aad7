// kp160std — resolution of device names beneath the device root, by handles
// (see beneath.h for the model).
#include "platform/posix/beneath.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#include "platform/posix/device.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/syscalls.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0 && !keep_) close(fd_);
    fd_ = other.fd_;
    keep_ = std::move(other.keep_);
    other.fd_ = -1;
  }
  return *this;
}

UniqueFd::~UniqueFd() {
  if (fd_ >= 0 && !keep_) close(fd_);
}

int UniqueFd::release() {
  const int fd = keep_ && fd_ >= 0 ? fcntl(fd_, F_DUPFD_CLOEXEC, 0) : fd_;
  fd_ = -1;
  keep_.reset();
  return fd;
}

namespace {

// More links than this in one resolution is a loop, as the kernel's own limit says.
constexpr int kMaxLinks = 40;

// The root's O_PATH handle, closed when the last walk that holds it ends.
struct RootHandle {
  int fd;
  explicit RootHandle(int f) : fd(f) {}
  ~RootHandle() { close(fd); }
  RootHandle(const RootHandle&) = delete;
  RootHandle& operator=(const RootHandle&) = delete;
};

// The root: one handle per prefix, made when missing. Guards every field.
struct RootState {
  std::mutex mutex;
  std::string key;                     // the prefix the handle was opened for ("/" in native mode)
  std::shared_ptr<RootHandle> handle;  // replaced, never closed, while walks may hold it
  std::string lexical;                 // the root's host path as configured
  std::string real;                    // the same with every link resolved
};
RootState gRoot;

// Opens (making it when missing) the root for the current prefix. Holds gRoot.mutex.
bool OpenRootLocked(const std::string& key) {
  std::string path = "/";
  if (!NativeRoot()) {
    if (!EnsureDeviceDirectory()) return false;
    path = key;
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  const int fd = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[PATH_MAX];
  if (!realpath(path.c_str(), buffer)) {
    close(fd);
    return false;
  }
  // A walk still holding the old handle keeps it open until it ends.
  try {
    gRoot.handle = std::make_shared<RootHandle>(fd);
  } catch (...) {
    close(fd);
    throw;
  }
  gRoot.key = key;
  gRoot.lexical = path;
  gRoot.real = buffer;
  return true;
}

// A handle of the root for one walk, with the host paths links are judged
// against. With `confirm`, the kept handle is checked to still be the
// directory at the root's path (it may have been removed and made again).
UniqueFd HoldRoot(bool confirm, std::string* lexical, std::string* real) {
  const std::string key = NativeRoot() ? std::string("/") : DeviceDirectory() + "/fs";
  std::lock_guard<std::mutex> lock(gRoot.mutex);
  bool fresh = gRoot.handle && gRoot.key == key;
  if (fresh && confirm) {
    struct stat kept {}, now {};
    fresh = fstat(gRoot.handle->fd, &kept) == 0 && stat(gRoot.lexical.c_str(), &now) == 0 && S_ISDIR(now.st_mode) &&
            kept.st_dev == now.st_dev && kept.st_ino == now.st_ino;
  }
  if (!fresh && !OpenRootLocked(key)) return UniqueFd();
  *lexical = gRoot.lexical;
  *real = gRoot.real;
  // Borrowed, not duplicated: a shared count instead of two system calls.
  return UniqueFd(gRoot.handle->fd, gRoot.handle);
}

// `target` with the root's host path taken off its front; false when it does not start with it.
bool StripRoot(const std::string& target, const std::string& root, std::string* rest) {
  if (root == "/") {
    *rest = target.substr(1);
    return true;
  }
  if (target.compare(0, root.size(), root) != 0) return false;
  if (target.size() == root.size()) {
    rest->clear();
    return true;
  }
  if (target[root.size()] != '/') return false;
  *rest = target.substr(root.size() + 1);
  return true;
}

// The name in `dir` equal to `name` without regard to case; empty when none.
std::string FindFolded(int dir, const std::string& name) {
  const int fd = openat(dir, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return {};
  DIR* d = fdopendir(fd);
  if (!d) {
    close(fd);
    return {};
  }
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

bool ReadLink(int dir, const std::string& name, std::string* target) {
  std::string buffer(256, '\0');
  while (true) {
    const ssize_t n = readlinkat(dir, name.c_str(), buffer.data(), buffer.size());
    if (n < 0) return false;
    if (static_cast<size_t>(n) < buffer.size()) {
      buffer.resize(static_cast<size_t>(n));
      *target = std::move(buffer);
      return true;
    }
    if (buffer.size() >= 65536) return false;
    buffer.resize(buffer.size() * 2);
  }
}

// A name still to walk; `fromLink` when it comes from a link's target.
struct Pending {
  std::string name;
  bool fromLink = false;
};

void PushFront(std::deque<Pending>* pending, std::string_view path) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    parts.emplace_back(path.substr(start, end - start));
    start = end + 1;
  }
  for (auto it = parts.rbegin(); it != parts.rend(); ++it) pending->push_front(Pending{std::move(*it), true});
}

struct Frame {
  UniqueFd fd;
  std::string name;
};

std::string JoinNames(const std::vector<Frame>& stack, const std::string& leaf) {
  std::string out;
  for (size_t i = 1; i < stack.size(); ++i) out += stack[i].name + "/";
  if (!leaf.empty()) return out + leaf;
  if (!out.empty()) out.pop_back();
  return out;
}

}  // namespace

uint32_t LocateBeneath(const std::vector<std::string>& names, Location* out) {
  *out = Location{};
  std::string lexical, real;
  // The kept root is confirmed only when the first name cannot be found:
  // finding it proves the root is still there, so the usual call makes no
  // extra stat.
  bool confirmed = names.empty();
  UniqueFd root = HoldRoot(confirmed, &lexical, &real);
  if (!root) return win32::kPathNotFound;
  std::vector<Frame> stack;
  stack.push_back(Frame{std::move(root), {}});
  std::deque<Pending> pending;
  for (const std::string& name : names) pending.push_back(Pending{name, false});
  int links = 0;
  bool fromNames = true;  // the first name is still the caller's own
  while (!pending.empty()) {
    std::string name = std::move(pending.front().name);
    const bool fromLink = pending.front().fromLink;
    pending.pop_front();
    // Empty names, "." and ".." can only come from a link's target here.
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      if (stack.size() == 1) return win32::kAccessDenied;
      stack.pop_back();
      continue;
    }
    const bool last = pending.empty();
    const int top = stack.back().fd.get();
    struct stat st {};
    if (fstatat(top, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) return errno == ENOTDIR ? win32::kPathNotFound : Win32FromErrno(errno);
      if (!confirmed && fromNames && stack.size() == 1) {
        // Start over from a confirmed root: it may have been removed and made again.
        confirmed = true;
        UniqueFd again = HoldRoot(true, &lexical, &real);
        if (!again) return win32::kPathNotFound;
        stack.back().fd = std::move(again);
        pending.push_front(Pending{std::move(name), false});
        continue;
      }
      std::string folded = FindFolded(top, name);
      if (folded.empty()) {
        // A dangling link is refused: creating through it could land anywhere.
        if (fromLink) return win32::kAccessDenied;
        if (!last) return win32::kPathNotFound;
        out->relative = JoinNames(stack, name);
        out->leaf = std::move(name);
        out->dir = std::move(stack.back().fd);
        return win32::kSuccess;
      }
      name = std::move(folded);
      if (fstatat(top, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return Win32FromErrno(errno);
    }
    fromNames = false;
    if (S_ISLNK(st.st_mode)) {
      std::string target, rest;
      if (++links > kMaxLinks || !ReadLink(top, name, &target) || target.empty()) return win32::kAccessDenied;
      if (target[0] == '/') {
        if (!StripRoot(target, real, &rest) && !StripRoot(target, lexical, &rest)) return win32::kAccessDenied;
        stack.resize(1);
        PushFront(&pending, rest);
      } else {
        PushFront(&pending, target);
      }
      continue;
    }
    if (last) {
      out->relative = JoinNames(stack, name);
      out->leaf = std::move(name);
      out->dir = std::move(stack.back().fd);
      out->exists = true;
      out->st = st;
      return win32::kSuccess;
    }
    if (!S_ISDIR(st.st_mode)) return win32::kPathNotFound;
    const int fd = openat(top, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
      // Replaced since the stat (by a link, a file, or nothing): look at the name again.
      if ((errno == ELOOP || errno == ENOTDIR || errno == ENOENT) && ++links <= kMaxLinks) {
        pending.push_front(Pending{std::move(name), fromLink});
        continue;
      }
      return errno == ELOOP ? win32::kAccessDenied : Win32FromErrno(errno);
    }
    stack.push_back(Frame{UniqueFd(fd), std::move(name)});
  }
  // The walk ended on a directory (no names, or a link's target ending in "/", "." or "..").
  Frame self = std::move(stack.back());
  stack.pop_back();
  if (fstat(self.fd.get(), &out->st) != 0) return Win32FromErrno(errno);
  out->exists = true;
  if (stack.empty()) {
    out->isRoot = true;
    out->dir = std::move(self.fd);
    return win32::kSuccess;
  }
  out->relative = JoinNames(stack, self.name);
  out->leaf = std::move(self.name);
  out->dir = std::move(stack.back().fd);
  return win32::kSuccess;
}

uint32_t LocateBeneath(std::string_view relative, Location* out) {
  std::vector<std::string> names;
  size_t start = 0;
  while (start < relative.size()) {
    size_t end = relative.find('/', start);
    if (end == std::string_view::npos) end = relative.size();
    const std::string_view name = relative.substr(start, end - start);
    start = end + 1;
    if (name.empty()) continue;
    if (name == "." || name == "..") return win32::kPathNotFound;
    names.emplace_back(name);
  }
  return LocateBeneath(names, out);
}

int OpenAt(const Location& at, int flags, mode_t mode) {
  if (at.isRoot) return sys::Sys().openat(at.dir.get(), ".", flags | O_CLOEXEC, mode);
  return sys::Sys().openat(at.dir.get(), at.leaf.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode);
}

bool NativeRoot() {
  const char* v = std::getenv("KP_NATIVE_ROOT");
  return v && std::strcmp(v, "1") == 0;
}

std::string RootHostPath() {
  std::string lexical, real;
  const UniqueFd root = HoldRoot(false, &lexical, &real);
  return root ? real : std::string();
}

}  // namespace kp::platform::fs
