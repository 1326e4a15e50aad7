// kp160std — no shell links on POSIX: the shortcut functions write the
// device's text form.
#include "platform/shell_link.h"

#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::platform {

bool CreateShellLink(std::u16string_view, const ShellLink&) {
  SetLastError(kp::win32::kNotSupported);
  return false;
}

}  // namespace kp::platform
