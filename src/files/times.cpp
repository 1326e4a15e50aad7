// kp160std — file times and local time.
#include "files/times.h"

#include "platform/timezone.h"

namespace kp::files {

namespace {

constexpr int64_t kUnixEpochSeconds = 11644473600LL;  // 1601-01-01 to 1970-01-01

void Civil(int64_t seconds, platform::SystemTime* t) {
  int64_t days = seconds / 86400, rem = seconds % 86400;
  if (rem < 0) {
    rem += 86400;
    --days;
  }
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  t->year = static_cast<uint16_t>(yoe + era * 400 + (m <= 2));
  t->month = static_cast<uint16_t>(m);
  t->day = static_cast<uint16_t>(doy - (153 * mp + 2) / 5 + 1);
  t->hour = static_cast<uint16_t>(rem / 3600);
  t->minute = static_cast<uint16_t>(rem / 60 % 60);
  t->second = static_cast<uint16_t>(rem % 60);
  t->dayOfWeek = static_cast<uint16_t>(((days - 719468) % 7 + 11) % 7);  // 1970-01-01 was a Thursday
}

int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

}  // namespace

platform::SystemTime LocalFromFileTime(int64_t fileTime) {
  int64_t seconds = fileTime / 10000000 - kUnixEpochSeconds;
  platform::SystemTime t;
  Civil(seconds, &t);
  if (const auto bias = platform::ZoneBias(t, true)) seconds -= static_cast<int64_t>(*bias) * 60;
  Civil(seconds, &t);
  t.milliseconds = static_cast<uint16_t>(fileTime / 10000 % 1000);
  return t;
}

std::optional<int64_t> FileTimeFromLocal(const platform::SystemTime& t) {
  static constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (t.year < 1601 || t.month < 1 || t.month > 12 || t.day < 1 || t.day > kDays[t.month - 1] || t.hour > 23 ||
      t.minute > 59 || t.second > 59 || t.milliseconds > 999)
    return std::nullopt;
  const bool leap = (t.year % 4 == 0 && t.year % 100 != 0) || t.year % 400 == 0;
  if (t.month == 2 && t.day == 29 && !leap) return std::nullopt;
  int64_t seconds = DaysFromCivil(t.year, t.month, t.day) * 86400 + t.hour * 3600 + t.minute * 60 + t.second;
  if (const auto bias = platform::ZoneBias(t, false)) seconds += static_cast<int64_t>(*bias) * 60;
  return (seconds + kUnixEpochSeconds) * 10000000 + static_cast<int64_t>(t.milliseconds) * 10000;
}

}  // namespace kp::files
