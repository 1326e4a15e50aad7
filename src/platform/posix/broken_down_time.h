// kp160std — a SystemTime from and to seconds since 1970 on the proleptic
// Gregorian calendar, with no time zone: the callers apply the zone's bias.
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace kp::platform {

inline bool IsGregorianLeap(int64_t y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

inline int32_t MonthLength(int64_t y, int32_t m) {
  static constexpr int32_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsGregorianLeap(y) ? 29 : kLength[m];
}

// Seconds since 1970-01-01 00:00 of the moment's fields (milliseconds apart).
inline int64_t ToSeconds(const SystemTime& t) {
  int64_t y = t.year;
  const int32_t m = t.month;
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + t.day - 1;
  const int64_t days = era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
  return days * 86400 + (t.hour * 60 + t.minute) * 60 + t.second;
}

// The fields of a moment in seconds since 1970 (milliseconds left at 0).
inline SystemTime FromSeconds(int64_t seconds) {
  int64_t days = seconds / 86400;
  int64_t rest = seconds % 86400;
  if (rest < 0) rest += 86400, --days;
  const int64_t z = days + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  SystemTime t;
  t.year = static_cast<uint16_t>(yoe + era * 400 + (m <= 2 ? 1 : 0));
  t.month = static_cast<uint16_t>(m);
  t.day = static_cast<uint16_t>(d);
  t.dayOfWeek = static_cast<uint16_t>(((days + 4) % 7 + 7) % 7);  // 1 January 1970: Thursday
  t.hour = static_cast<uint16_t>(rest / 3600);
  t.minute = static_cast<uint16_t>(rest % 3600 / 60);
  t.second = static_cast<uint16_t>(rest % 60);
  return t;
}

}  // namespace kp::platform
