// kp160std — the device prefix on POSIX: one directory that holds the
// device's state (clock offset, file system, registry), like a Wine prefix.
//
// KP_PREFIX names it; otherwise $XDG_DATA_HOME/kp160std/device, or
// $HOME/.local/share/kp160std/device (each variable only when it holds an
// absolute path), or, with neither, <TMPDIR or /tmp>/kp160std-<uid>/device,
// where kp160std-<uid> is made with mode 0700 and must be a directory of the
// user's own that no one else can enter. A prefix owned by another user is
// refused.
//
// Thread-safety: any thread; the prefix is read once and kept.
#pragma once

#include <string>

namespace kp::platform {

std::string DeviceDirectory();
// Creates the prefix (and its parents) when missing; false when it cannot,
// or when the prefix (or the per-user directory) fails the checks above.
bool EnsureDeviceDirectory();

}  // namespace kp::platform
