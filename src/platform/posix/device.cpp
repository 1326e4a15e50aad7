// kp160std — the device prefix on POSIX (see device.h): where it is, and the
// checks that keep it the user's own.
#include "platform/posix/device.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace kp::platform {

namespace {

// A variable's value when it names an absolute directory; empty otherwise
// (a relative one would depend on the working directory).
std::string AbsoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value && value[0] == '/' ? std::string(value) : std::string();
}

// The per-user directory used when neither XDG_DATA_HOME nor HOME is set:
// in TMPDIR or /tmp, named after the user, never shared with another.
std::string PerUserBase() {
  std::string temporary = AbsoluteFromEnvironment("TMPDIR");
  if (temporary.empty()) temporary = "/tmp";
  return temporary + "/kp160std-" + std::to_string(geteuid());
}

bool UsesPerUserBase() {
  const char* prefix = std::getenv("KP_PREFIX");
  return !(prefix && *prefix) && AbsoluteFromEnvironment("XDG_DATA_HOME").empty() &&
         AbsoluteFromEnvironment("HOME").empty();
}

// The per-user base is made with mode 0700; one found in place must be a
// directory (not a link) of this user that no one else may enter: in a
// shared /tmp another user could have made it first, to read or plant files.
bool MakePerUserBase() {
  const std::string base = PerUserBase();
  if (mkdir(base.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat st {};
  return lstat(base.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid() &&
         (st.st_mode & 077) == 0;
}

}  // namespace

std::string DeviceDirectory() {
  if (const char* prefix = std::getenv("KP_PREFIX"); prefix && *prefix) return prefix;
  if (const std::string data = AbsoluteFromEnvironment("XDG_DATA_HOME"); !data.empty())
    return data + "/kp160std/device";
  if (const std::string home = AbsoluteFromEnvironment("HOME"); !home.empty())
    return home + "/.local/share/kp160std/device";
  return PerUserBase() + "/device";
}

bool EnsureDeviceDirectory() {
  if (UsesPerUserBase() && !MakePerUserBase()) return false;
  const std::string dir = DeviceDirectory();
  for (size_t i = 1; i <= dir.size(); ++i) {
    if (i == dir.size() || dir[i] == '/') {
      const std::string part = dir.substr(0, i);
      if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
  }
  // A prefix of another user's is refused: its owner could change what the
  // device holds, or swap its directories, under our feet.
  struct stat st {};
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid();
}

}  // namespace kp::platform
