// kp160std — computing with dates.
#include "abi/error_ids.h"
#include "datetime/arithmetic.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "abi/error.h"
#include "datetime/calendar.h"
#include "datetime/clock.h"
#include "datetime/values.h"
#include "platform/timezone.h"

namespace kp::datetime {
namespace {

std::u16string Text(const char* text, int n) { return Widen(std::string_view(text, n > 0 ? static_cast<size_t>(n) : 0)); }

// A date-time string: 8 date characters, then up to 8 time characters.
bool ParseDateTime(std::u16string_view text, double& hundredths) {
  if (text.size() < 8) return false;
  DateParts d;
  int32_t t = 0;
  if (!ParseDateForDifference(text.substr(0, 8), d) || !ParseTimeForDifference(text.substr(8), t)) return false;
  hundredths = static_cast<double>(DifferenceDayNumber(d)) * kHundredthsPerDay + t;
  return true;
}

int32_t Week(int32_t n, int32_t year) {
  const auto j = static_cast<int32_t>(*DayNumber(1, 1, year));
  const int32_t w = DayOfWeek(j);
  const int32_t into = n - j;
  if (w <= 4) return (into + w - 1) / 7 + 1;
  // Kept on purpose: the days before week 1 give 0, not the last week of the
  // year before (and late December never becomes week 1).
  if (into < 8 - w) return 0;
  return (into + w - 8) / 7 + 1;
}

// 100-nanosecond units since 1 January 1601, as SystemTimeToFileTime gives.
constexpr int64_t kTicksPerMinute = 600000000;
constexpr int64_t kTicksPerMs = 10000;
constexpr int64_t kDaysTo1601 = 584388;  // 0001-01-01 .. 1601-01-01, proleptic Gregorian

int64_t CivilDays(int64_t y, int32_t m, int32_t d) {  // days since 0001-01-01, proleptic Gregorian
  static constexpr int32_t kBefore[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  const int64_t p = y - 1;
  const bool leap = y % 4 == 0 && (y % 100 != 0 || y % 400 == 0);
  return 365 * p + p / 4 - p / 100 + p / 400 + kBefore[m] + (m > 2 && leap ? 1 : 0) + d - 1;
}

bool ToFileTime(const platform::SystemTime& t, int64_t& ticks) {
  static constexpr int32_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (t.year < 1601 || t.year > 30827 || t.month < 1 || t.month > 12 || t.day < 1) return false;
  const bool leap = t.year % 4 == 0 && (t.year % 100 != 0 || t.year % 400 == 0);
  if (t.day > kLength[t.month] + (t.month == 2 && leap ? 1 : 0)) return false;
  if (t.hour > 23 || t.minute > 59 || t.second > 59 || t.milliseconds > 999) return false;
  const int64_t days = CivilDays(t.year, t.month, t.day) - kDaysTo1601;
  const int64_t ms = ((t.hour * 60 + t.minute) * 60 + t.second) * int64_t{1000} + t.milliseconds;
  ticks = days * 86400000 * kTicksPerMs + ms * kTicksPerMs;
  return true;
}

bool FromFileTime(int64_t ticks, platform::SystemTime& t) {
  if (ticks < 0) return false;
  const int64_t ms = ticks / kTicksPerMs;
  int64_t days = ms / 86400000 + kDaysTo1601;
  int64_t rest = ms % 86400000;
  // Civil from days since 0001-01-01.
  int64_t y = days / 366 + 1;
  while (CivilDays(y + 1, 1, 1) <= days) ++y;
  int32_t m = 1;
  while (m < 12 && CivilDays(y, m + 1, 1) <= days) ++m;
  if (y > 30827) return false;
  t.year = static_cast<uint16_t>(y);
  t.month = static_cast<uint16_t>(m);
  t.day = static_cast<uint16_t>(days - CivilDays(y, m, 1) + 1);
  t.hour = static_cast<uint16_t>(rest / 3600000);
  t.minute = static_cast<uint16_t>(rest % 3600000 / 60000);
  t.second = static_cast<uint16_t>(rest % 60000 / 1000);
  t.milliseconds = static_cast<uint16_t>(rest % 1000);
  return true;
}

std::u16string Convert(ExecContext* context, int64_t packed, bool toLocal) {
  const PackedDateTime v = Unpack(packed);
  platform::SystemTime t;
  t.year = v.year;
  t.month = v.month;
  t.day = v.day;
  t.hour = static_cast<uint16_t>(v.milliseconds / 3600000);
  t.minute = static_cast<uint16_t>(v.milliseconds % 3600000 / 60000);
  t.second = static_cast<uint16_t>(v.milliseconds % 60000 / 1000);
  t.milliseconds = static_cast<uint16_t>(v.milliseconds % 1000);
  int64_t ticks = 0;
  std::u16string result;
  if (v.milliseconds < 86400000 && ToFileTime(t, ticks)) {
    if (const auto bias = platform::ZoneBias(t, toLocal)) {
      // Win32's sign: universal = local + bias.
      ticks += (toLocal ? -1 : 1) * static_cast<int64_t>(*bias) * kTicksPerMinute;
      platform::SystemTime out;
      if (FromFileTime(ticks, out)) {
        char text[40];
        const int n = std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d%03d", out.year, out.month, out.day,
                                    out.hour, out.minute, out.second, out.milliseconds);
        result = Text(text, n);
      }
    }
  }
  if (result.empty()) Raise(context, kErrUtcConversion);
  return result;
}

}  // namespace

int32_t DateDifference(ExecContext* context, std::u16string_view date1, std::u16string_view date2) {
  DateParts a, b;
  if (!ParseDateForDifference(date1, a) || !ParseDateForDifference(date2, b)) {
    Raise(context, kErrDifferenceBadDate);
    return -1;
  }
  return static_cast<int32_t>(DifferenceDayNumber(b) - DifferenceDayNumber(a));
}

int32_t TimeDifference(ExecContext* context, std::u16string_view time1, std::u16string_view time2) {
  int32_t a = 0, b = 0;
  if (!ParseTimeForDifference(time1, a) || !ParseTimeForDifference(time2, b)) {
    Raise(context, kErrDifferenceBadTime);
    return -1;
  }
  return b - a;
}

std::u16string DateTimeDifference(ExecContext* context, std::u16string_view first, std::u16string_view second) {
  double a = 0, b = 0;
  if (!ParseDateTime(first, a) || !ParseDateTime(second, b)) {
    Raise(context, kErrDifferenceBadDate);
    return {};
  }
  const double delta = b - a;
  // Exact: every value is an integer far below 2^53.
  auto rest = static_cast<int64_t>(std::fabs(delta));
  const auto days = static_cast<int32_t>(rest / kHundredthsPerDay);
  rest %= kHundredthsPerDay;
  const auto hours = static_cast<int32_t>(rest / 360000);
  rest %= 360000;
  const auto minutes = static_cast<int32_t>(rest / 6000);
  rest %= 6000;
  char format[64];
  std::snprintf(format, sizeof format, "%%s%%0%dd%%0%dd%%0%dd%%0%dd%%0%dd", 7, 2, 2, 2, 2);
  char text[64];
  const int n = std::snprintf(text, sizeof text, format, delta < 0 ? "-" : "+", days, hours, minutes,
                              static_cast<int32_t>(rest / 100), static_cast<int32_t>(rest % 100));
  return Text(text, n);
}

int32_t WeekNumber(ExecContext* context, std::u16string_view date) {
  DateParts d;
  if (!ParseDate(date, d, context)) return -1;
  return Week(static_cast<int32_t>(*DayNumber(d.day, d.month, d.year)), d.year);
}

int32_t IntegerToWeekNumber(ExecContext* context, int32_t n) {
  const auto d = DateFromDayNumber(n);
  if (!d) {
    Raise(context, kErrIntegerNotDate, {n});
    return -1;
  }
  return Week(n, d->year);
}

int32_t DateToWeekNumber(ExecContext* context, std::u16string_view date) {
  const auto n = DateDayNumber(context, date);
  return n ? IntegerToWeekNumber(context, *n) : -1;
}

std::u16string Easter(ExecContext*, int32_t year) {
  if (year < 1583 || year > 9999) return {};
  // 5,700,000 years are whole cycles of the computus: the result is the same
  // and every intermediate value stays positive.
  const int64_t y = year + int64_t{5700000};
  const int64_t a = y % 19, b = y / 100, c = y % 100, d = b / 4, e = b % 4;
  const int64_t f = (b + 8) / 25, g = (b - f + 1) / 3;
  const int64_t h = (19 * a + b - d - g + 15) % 30;
  const int64_t i = c / 4, k = c % 4;
  const int64_t l = (32 + 2 * e + 2 * i - h - k) % 7;
  const int64_t m = (a + 11 * h + 22 * l) / 451;
  const int64_t t = h + l - 7 * m + 114;
  return FormatDate({year, static_cast<int32_t>(t / 31), static_cast<int32_t>(t % 31 + 1)});
}

std::u16string EasterOfText(ExecContext* context, std::u16string_view text) {
  // The first four characters are the year, read as a C runtime would:
  // spaces, a sign, then digits up to the first other character.
  const auto head = text.substr(0, 4);
  size_t i = 0;
  while (i < head.size() && head[i] == u' ') ++i;
  bool negative = false;
  if (i < head.size() && (head[i] == u'-' || head[i] == u'+')) negative = head[i++] == u'-';
  int32_t year = 0;
  for (; i < head.size() && IsDigit(head[i]); ++i) year = year * 10 + (head[i] - u'0');
  return Easter(context, negative ? -year : year);
}

std::u16string Age(ExecContext* context, std::u16string_view birth, std::u16string_view reference) {
  DateParts b, r;
  if (!ParseDate(birth, b, context)) {
    Raise(context, kAgeInvalidParameter, {birth});
    return {};
  }
  if (reference.empty()) {
    const auto today = platform::GetLocalTime();
    r = {today.year, today.month, today.day};
  } else if (!ParseDate(reference, r, nullptr)) {
    return {};
  }
  if (r.year < b.year || (r.year == b.year && (r.month < b.month || (r.month == b.month && r.day < b.day)))) return {};
  int32_t years = r.year - b.year, months = 0, days = 0;
  if (r.month < b.month) {
    months = r.month - b.month + 12;
    --years;
  } else {
    months = r.month - b.month;
  }
  if (r.day < b.day) {
    const int32_t p = r.month == 1 ? 12 : r.month - 1;
    const int32_t length = p == 2 ? (IsLeap(r.year) ? 29 : 28) : MonthLength(2001, p);
    const int32_t t = length - b.day;
    // Kept on purpose: a birth day that month p lacks counts as dr - 1 days.
    days = t >= 0 ? r.day + t : r.day - 1;
    if (months == 0) {
      months = 11;
      --years;
    } else {
      --months;
    }
  } else {
    days = r.day - b.day;
  }
  if (years > 9999 || months >= 12 || days >= 31) return {};
  char text[32];
  return Text(text, std::snprintf(text, sizeof text, "%04d%02d%02d", years, months, days));
}

PackedDateTime Unpack(int64_t value) {
  uint8_t bytes[8];
  const auto u = static_cast<uint64_t>(value);
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(u >> (8 * i));
  PackedDateTime v;
  v.day = bytes[0];
  v.month = bytes[1];
  v.year = static_cast<uint16_t>(bytes[2] | bytes[3] << 8);
  v.milliseconds = static_cast<uint32_t>(bytes[4] | bytes[5] << 8 | bytes[6] << 16) | static_cast<uint32_t>(bytes[7]) << 24;
  return v;
}

int64_t Pack(const PackedDateTime& v) {
  const uint64_t u = uint64_t{v.day} | uint64_t{v.month} << 8 | uint64_t{v.year} << 16 | uint64_t{v.milliseconds} << 32;
  return static_cast<int64_t>(u);
}

std::u16string DateTimeUTCToLocal(ExecContext* context, int64_t packed) { return Convert(context, packed, true); }
std::u16string DateTimeLocalToUTC(ExecContext* context, int64_t packed) { return Convert(context, packed, false); }

}  // namespace kp::datetime
