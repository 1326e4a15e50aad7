// kp160std — whole device files for the INI engine, under <prefix>/fs/.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/posix/device.h"
#include "platform/posix/errno_map.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"

namespace kp::platform::reg {

namespace {

std::string HostPath(std::string_view path) { return DeviceDirectory() + "/fs/" + std::string(path); }


bool MakeParents(const std::string& file) {
  for (size_t i = 1; i < file.size(); ++i) {
    if (file[i] != '/') continue;
    if (mkdir(file.substr(0, i).c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return true;
}

}  // namespace

uint32_t ReadDeviceFile(std::string_view path, std::string* bytes) {
  const int fd = open(HostPath(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Win32FromErrno(errno);
  bytes->clear();
  // A regular file is read into the size fstat gives, so no last read() is
  // spent finding the end; one that shrinks meanwhile stops at its end, one
  // that grows is read as it was. Anything else is read until read() says
  // the end.
  struct stat st {};
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
    const size_t size = static_cast<size_t>(st.st_size);
    bytes->resize(size);
    size_t done = 0;
    while (done < size) {
      const ssize_t n = read(fd, bytes->data() + done, size - done);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) {
        const int e = errno;
        close(fd);
        bytes->resize(done);
        return Win32FromErrno(e);
      }
      if (n == 0) break;
      done += static_cast<size_t>(n);
    }
    bytes->resize(done);
    close(fd);
    return win32::kSuccess;
  }
  char buffer[16384];
  while (true) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int e = errno;
      close(fd);
      return Win32FromErrno(e);
    }
    if (n == 0) break;
    bytes->append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  return win32::kSuccess;
}

uint32_t WriteDeviceFile(std::string_view path, std::string_view bytes) {
  if (!EnsureDeviceDirectory()) return win32::kPathNotFound;
  const std::string target = HostPath(path);
  if (!MakeParents(target)) return Win32FromErrno(errno);
  // Written beside the target and renamed over it, so that a reader in another
  // process sees the old content or the new one, never a half of each.
  const std::string temporary = target + ".kp" + std::to_string(getpid()) + "~";
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return Win32FromErrno(errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int e = errno;
      close(fd);
      unlink(temporary.c_str());
      return Win32FromErrno(e);
    }
    done += static_cast<size_t>(n);
  }
  if (close(fd) != 0 || rename(temporary.c_str(), target.c_str()) != 0) {
    const int e = errno;
    unlink(temporary.c_str());
    return Win32FromErrno(e);
  }
  return win32::kSuccess;
}

uint32_t DeleteDeviceFile(std::string_view path) {
  return unlink(HostPath(path).c_str()) == 0 ? win32::kSuccess : Win32FromErrno(errno);
}

int64_t DeviceFileSize(std::string_view path) {
  struct stat st {};
  if (stat(HostPath(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  return static_cast<int64_t>(st.st_size);
}

}  // namespace kp::platform::reg
