// kp160std — the device prefix on POSIX: one directory that holds the
// device's state (clock offset, file system, registry), like a Wine prefix.
//
// KP_PREFIX names it; otherwise $XDG_DATA_HOME/kp160std/device, or
// ~/.local/share/kp160std/device.
#pragma once

#include <string>

namespace kp::platform {

std::string DeviceDirectory();
// Creates the prefix (and its parents) when missing; false when it cannot.
bool EnsureDeviceDirectory();

}  // namespace kp::platform
