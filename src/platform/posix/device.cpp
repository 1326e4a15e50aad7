// kp160std — the device prefix on POSIX.
#include "platform/posix/device.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

namespace kp::platform {

std::string DeviceDirectory() {
  if (const char* prefix = std::getenv("KP_PREFIX"); prefix && *prefix) return prefix;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data) return std::string(data) + "/kp160std/device";
  if (const char* home = std::getenv("HOME"); home && *home) return std::string(home) + "/.local/share/kp160std/device";
  return "/tmp/kp160std-device";
}

bool EnsureDeviceDirectory() {
  const std::string dir = DeviceDirectory();
  for (size_t i = 1; i <= dir.size(); ++i) {
    if (i == dir.size() || dir[i] == '/') {
      const std::string part = dir.substr(0, i);
      if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
  }
  struct stat st {};
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace kp::platform
