// kp160std — the device's number separators, for the number formatting
// functions.
//
// POSIX: the C library's LC_NUMERIC locale named by the environment (LC_ALL,
// LC_NUMERIC, LANG), read once per process. Windows: GetLocaleInfoW's
// LOCALE_SDECIMAL and LOCALE_STHOUSAND of the user's locale, read at every
// call (the user may change them while a program runs).
//
// Thread-safety: any thread.
#pragma once

#include <string>

namespace kp::platform {

struct NumberSeparators {
  std::u16string decimal;    // never empty: "." when the device names none
  std::u16string thousands;  // may be empty (the C locale groups nothing)
};

NumberSeparators DeviceNumberSeparators();

}  // namespace kp::platform
