// kp160std — device paths of INI files, until the files family's path layer
// exists (this helper is meant to move there).
//
// A device path is absolute: it starts with "\" or "/" ("\Windows\win.ini",
// "/x/y.ini"). It becomes the path relative to the device root that the
// platform's device-file calls take: names joined by "/", in UTF-8. "." and
// ".." components are refused, so no path leaves the device root; so are
// relative paths, NUL characters and the root itself.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kp::registry {

std::optional<std::string> DeviceRelativePath(std::u16string_view path);

// Whether the device would read the text as an absolute path.
bool IsAbsoluteDevicePath(std::u16string_view path);

}  // namespace kp::registry
