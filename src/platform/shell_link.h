// kp160std — the platform's own shortcut file, where it has one.
//
// Windows writes a shell link (IShellLinkW saved through IPersistFile). POSIX
// has no such format: CreateShellLink fails there with 50 (not supported)
// and the caller writes the device's text form instead.
//
// Thread-safety: any thread (Windows initialises COM for the call).
#pragma once

#include <cstdint>
#include <string_view>

namespace kp::platform {

struct ShellLink {
  std::u16string_view target;
  std::u16string_view arguments;
  std::u16string_view workingDirectory;
  std::u16string_view iconFile;
  int32_t iconIndex = 0;
};

// Writes `path` (which must not exist); false with the last error set.
bool CreateShellLink(std::u16string_view path, const ShellLink& link);

}  // namespace kp::platform
