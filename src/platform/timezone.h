// kp160std — time-zone and locale calls of the date functions.
//
// The universal/local conversions ask for the zone's bias at one moment; the
// names-in-letters and the "UseSystemMask" date format ask for the device's
// own names and short date format. posix/timezone.cpp answers from the C
// library (host TZ and LC_TIME/LANG locale), win32/timezone.cpp from
// GetTimeZoneInformation, GetDateFormatW and GetLocaleInfoW.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace kp::platform {

// The bias in minutes (Win32's sign: universal = local + bias) in force at a
// moment, judged as universal time when `asUniversal`, else as local time:
// the zone's base bias plus its standard or daylight bias. nullopt (last
// error set) when the zone cannot be read or the moment is not a date.
std::optional<int32_t> ZoneBias(const SystemTime& moment, bool asUniversal);

// The device's names in its own language: weekday 0 = Sunday .. 6, month
// 1 .. 12. Empty when the device has none.
std::u16string LocaleDayName(int32_t weekday);
std::u16string LocaleMonthName(int32_t month);

// The device's short date format written in the mask tokens of the date
// functions ("JJ/MM/AAAA"); empty when the device has none.
std::u16string SystemDateMask();

}  // namespace kp::platform
