// kp160std — time-zone and locale calls of the date functions.
//
// The universal/local conversions (and, on POSIX, the device clock) use one
// time-zone record: a base bias, a standard and a daylight bias, and the two
// transition rules of the zone as it is now, applied to every year, not the
// zone's history. win32/timezone.cpp reads it with GetTimeZoneInformation;
// posix/timezone.cpp derives it from the zone's POSIX TZ rule (the footer of
// the TZif file that $TZ or /etc/localtime names, or $TZ itself). The bias
// decision is common/zone_record.cpp, the same for both.
//
// The names-in-letters and the "UseSystemMask" date format ask for the
// device's own names and short date format: the C library's LC_TIME locale on
// POSIX, GetDateFormatW and GetLocaleInfoW on Windows.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace kp::platform {

// The day of a zone's change of time in a given year, and the time of day of
// the change in the wall clock in force just before it.
struct ZoneTransition {
  enum class Form : uint8_t {
    kWeekOfMonth,   // the `week`-th (5: the last) `weekday` (0 = Sunday) of `month`
    kJulianNoLeap,  // day `day`, 1..365, 29 February never counted ("Jn")
    kDayOfYear,     // day `day`, 0..365 from 1 January, 29 February counted ("n")
    kDate,          // day `day` of `month` (the last day when the month is shorter)
  };
  Form form = Form::kWeekOfMonth;
  int32_t month = 1;
  int32_t week = 1;
  int32_t weekday = 0;
  int32_t day = 1;
  int32_t seconds = 7200;  // may lie outside one day: -167 h .. 167 h
};

// Biases in minutes with Win32's sign: universal = local + bias.
struct ZoneRecord {
  int32_t bias = 0;
  int32_t standardBias = 0;      // added to `bias` in standard time
  int32_t daylightBias = 0;      // added to `bias` in daylight time
  bool daylight = false;         // false: the zone has no daylight rule
  ZoneTransition daylightStart;  // judged in standard time
  ZoneTransition standardStart;  // judged in daylight time
};

// The zone of the device now. nullopt (last error set) when it cannot be read.
std::optional<ZoneRecord> CurrentZone();

// The bias of `zone` at a moment judged as universal time when `asUniversal`,
// else as local time: the base bias plus the standard or daylight one. The
// moment is a valid date of the proleptic Gregorian calendar.
int32_t ZoneBiasAt(const ZoneRecord& zone, const SystemTime& moment, bool asUniversal);

// The same for the zone of the device. nullopt (last error set) when the
// zone cannot be read or the moment is not a date from 1601 on.
std::optional<int32_t> ZoneBias(const SystemTime& moment, bool asUniversal);

// POSIX backend only (exposed for tests and fuzzing): a POSIX TZ rule such
// as "EST5EDT,M3.2.0,M11.1.0" or "<+0330>-3:30", and a whole TZif file (its
// footer rule; a file without one keeps the offset of its last transition).
// nullopt when the text is not one.
std::optional<ZoneRecord> ParsePosixZoneRule(std::string_view rule);
std::optional<ZoneRecord> ParseTzif(std::string_view file);

// The device's names in its own language: weekday 0 = Sunday .. 6, month
// 1 .. 12. Empty when the device has none.
std::u16string LocaleDayName(int32_t weekday);
std::u16string LocaleMonthName(int32_t month);

// The device's short date format written in the mask tokens of the date
// functions ("JJ/MM/AAAA"); empty when the device has none.
std::u16string SystemDateMask();

}  // namespace kp::platform
