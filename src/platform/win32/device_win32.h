// kp160std — the device directory on Windows, where the backend keeps the
// device's own state (the clock offset) and, with KP_PREFIX, the device's
// files: the same prefix option as on POSIX, so that tests and users can
// sandbox a program.
//
// KP_PREFIX names it (a Windows path, or a POSIX path under Wine); otherwise
// %LOCALAPPDATA%\kp160std\device. Without KP_PREFIX the device's files are
// the machine's own: "\My Documents\a.txt" is on the current drive.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <string>
#include <string_view>

namespace kp::platform::win32dev {

// The prefix that device paths are put under; empty without KP_PREFIX.
std::wstring FilePrefix();
// The directory of the device's state (created on demand by Ensure...).
std::wstring StateDirectory();
bool EnsureStateDirectory();
// A device path as the system sees it: with a prefix, "\X" becomes
// "<prefix>\fs\X", as on POSIX; separators become backslashes.
std::wstring SystemPath(std::u16string_view name);
// The converse, for names the system makes (temporary files): a path under
// "<prefix>\fs" becomes the device path; any other is kept.
std::u16string DevicePath(std::wstring_view systemPath);

}  // namespace kp::platform::win32dev
