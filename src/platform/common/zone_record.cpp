// kp160std — the bias decision of a time-zone record, built by both backends
// (see timezone.h): which of the standard and daylight biases holds at a
// moment, with the zone's current transition rules applied to every year.
#include <array>

#include "platform/timezone.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

bool Leap(int64_t y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

int32_t MonthDays(int64_t y, int32_t m) {
  static constexpr int32_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && Leap(y) ? 29 : kLength[m];
}

// Days from 1 January 1970, proleptic Gregorian.
int64_t CivilDays(int64_t y, int32_t m, int32_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// The day (from 1970) of a transition in year y. The record's fields were
// range-checked by whoever made it; out-of-range ones are clamped.
int64_t TransitionDay(const ZoneTransition& t, int64_t y) {
  const int32_t month = t.month < 1 ? 1 : t.month > 12 ? 12 : t.month;
  switch (t.form) {
    case ZoneTransition::Form::kWeekOfMonth: {
      const int64_t first = CivilDays(y, month, 1);
      const int32_t firstWeekday = static_cast<int32_t>(((first + 4) % 7 + 7) % 7);  // 1 January 1970: Thursday
      const int32_t week = t.week < 1 ? 1 : t.week > 5 ? 5 : t.week;
      int32_t day = 1 + ((t.weekday % 7 + 7) % 7 - firstWeekday + 7) % 7 + 7 * (week - 1);
      while (day > MonthDays(y, month)) day -= 7;
      return first + day - 1;
    }
    case ZoneTransition::Form::kJulianNoLeap: {
      int64_t n = t.day < 1 ? 1 : t.day > 365 ? 365 : t.day;
      if (Leap(y) && n >= 60) ++n;  // 29 February is not counted
      return CivilDays(y, 1, 1) + n - 1;
    }
    case ZoneTransition::Form::kDayOfYear: return CivilDays(y, 1, 1) + (t.day < 0 ? 0 : t.day > 365 ? 365 : t.day);
    case ZoneTransition::Form::kDate: {
      const int32_t length = MonthDays(y, month);
      return CivilDays(y, month, t.day < 1 ? 1 : t.day > length ? length : t.day);
    }
  }
  return CivilDays(y, 1, 1);
}

}  // namespace

int32_t ZoneBiasAt(const ZoneRecord& zone, const SystemTime& t, bool asUniversal) {
  if (!zone.daylight) return zone.bias;
  const int64_t now = CivilDays(t.year, t.month, t.day) * 86400 + (t.hour * 60 + t.minute) * 60 + t.second;
  // Daylight time starts at a standard-time wall clock and ends at a
  // daylight-time one; judged in universal time each is shifted by the bias
  // in force before it. The changes of the year before and after count too,
  // as a rule's time of day may carry it over the turn of the year.
  const int64_t toUniversalStart = asUniversal ? int64_t{zone.bias + zone.standardBias} * 60 : 0;
  const int64_t toUniversalEnd = asUniversal ? int64_t{zone.bias + zone.daylightBias} * 60 : 0;
  bool daylight = false;
  int64_t latest = INT64_MIN;
  for (int64_t y = int64_t{t.year} - 1; y <= int64_t{t.year} + 1; ++y) {
    const int64_t start = TransitionDay(zone.daylightStart, y) * 86400 + zone.daylightStart.seconds + toUniversalStart;
    const int64_t end = TransitionDay(zone.standardStart, y) * 86400 + zone.standardStart.seconds + toUniversalEnd;
    // At the same instant the start wins: "0/0,J365/25" is daylight all year.
    if (end <= now && end > latest) latest = end, daylight = false;
    if (start <= now && start >= latest) latest = start, daylight = true;
  }
  return zone.bias + (daylight ? zone.daylightBias : zone.standardBias);
}

std::optional<int32_t> ZoneBias(const SystemTime& t, bool asUniversal) {
  if (t.year < 1601 || t.month < 1 || t.month > 12 || t.day < 1 || t.day > MonthDays(t.year, t.month) || t.hour > 23 ||
      t.minute > 59 || t.second > 59 || t.milliseconds > 999) {
    SetLastError(win32::kInvalidParameter);
    return std::nullopt;
  }
  const auto zone = CurrentZone();
  if (!zone) return std::nullopt;
  return ZoneBiasAt(*zone, t, asUniversal);
}

}  // namespace kp::platform
