// kp160std — reading /proc for the POSIX processes: the helpers that both
// the process calls (process.cpp) and the snapshots (process_snapshot.cpp)
// use. Internal to src/platform/posix.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/errno_map.h"

namespace kp::platform::proc {

inline bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

inline bool FailErrno(int error) { return Fail(Win32FromErrno(error)); }

// The whole of a (/proc) file; false with errno set.
bool ReadWhole(const std::string& path, std::string* out);

// The fields of /proc/<pid>/stat after the command's closing parenthesis:
// [0] state, [1] parent, ..., [49] exit code.
std::vector<std::string_view> StatFields(const std::string& stat);

// The leading decimal digits of `s`.
uint32_t ToNumber(std::string_view s);

// The target of a symbolic link; empty when it cannot be read.
std::string ReadLink(const std::string& path);

// Host paths as a snapshot shows them: device paths beneath the device root.
class PathShower {
 public:
  PathShower();
  std::u16string Show(const std::string& host) const;

 private:
  std::string root_;
};

// The executable and the mapped code files of a process, the executable
// first; false with the last error set when /proc refuses.
bool ModulePaths(pid_t pid, std::vector<std::string>* paths);

}  // namespace kp::platform::proc
