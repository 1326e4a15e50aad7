// kp160std — the device's number separators on Windows: GetLocaleInfoW of
// the user's locale.
#include "platform/win32/windows_api.h"

#include <string>

#include "platform/number_locale.h"

namespace kp::platform {
namespace {

std::u16string LocaleText(LCTYPE what) {
  wchar_t buffer[8];
  const int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, what, buffer, 8);
  if (n <= 1) return {};
  return std::u16string(reinterpret_cast<const char16_t*>(buffer), static_cast<size_t>(n - 1));
}

}  // namespace

NumberSeparators DeviceNumberSeparators() {
  NumberSeparators out;
  out.decimal = LocaleText(LOCALE_SDECIMAL);
  out.thousands = LocaleText(LOCALE_STHOUSAND);
  if (out.decimal.empty()) out.decimal = u".";
  return out;
}

}  // namespace kp::platform
