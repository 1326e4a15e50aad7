// kp160std — date strings, day numbers, time strings and time integers.
#include "abi/error_ids.h"
#include "datetime/values.h"

#include <cstdio>

#include "abi/error.h"
#include "datetime/calendar.h"

namespace kp::datetime {

std::optional<int32_t> DateDayNumber(ExecContext* context, std::u16string_view date) {
  DateParts d;
  if (!ParseDate(date, d, context)) return std::nullopt;
  return static_cast<int32_t>(*DayNumber(d.day, d.month, d.year));
}

namespace {

// The day number of a Gregorian date after 1582 in one pass, or -1 for
// anything else (bad text, or a date that needs the Julian rules): the
// common case without the general core's checks and 64-bit divisions. It
// gives what DayNumber gives for the dates it accepts.
int32_t GregorianDayNumber(std::u16string_view date) {
  if (date.size() != 8) return -1;
  uint32_t v[8];
  for (size_t i = 0; i < 8; ++i) {
    v[i] = static_cast<uint32_t>(date[i]) - u'0';
    if (v[i] > 9) return -1;
  }
  const uint32_t y = ((v[0] * 10 + v[1]) * 10 + v[2]) * 10 + v[3];
  const uint32_t m = v[4] * 10 + v[5];
  const uint32_t d = v[6] * 10 + v[7];
  if (y <= 1582 || m < 1 || m > 12 || d < 1) return -1;
  static constexpr uint8_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  static constexpr uint16_t kBefore[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  const bool leap = y % 4 == 0 && (y % 100 != 0 || y % 400 == 0);
  if (d > kLength[m] + (m == 2 && leap ? 1u : 0u)) return -1;
  const uint32_t p = y - 1;
  const uint32_t n = 365 * p + p / 4 - p / 100 + p / 400 + kBefore[m] + d + (m > 2 && leap ? 1u : 0u);
  return static_cast<int32_t>(n - static_cast<uint32_t>(kOrigin));
}

}  // namespace

int32_t DateToInteger(ExecContext* context, std::u16string_view date, int32_t dayOfYear) {
  if (dayOfYear == 0) {
    if (const int32_t n = GregorianDayNumber(date); n != -1) return n;
  }
  DateParts d;
  if (!ParseDate(date, d, context)) return -1;
  const int64_t n = *DayNumber(d.day, d.month, d.year);
  if (dayOfYear != 0) return static_cast<int32_t>(n - *DayNumber(1, 1, d.year) + 1);
  return static_cast<int32_t>(n);
}

std::u16string IntegerToDate(ExecContext* context, int32_t n, std::u16string_view part) {
  const auto d = DateFromDayNumber(n);
  if (!d) {
    Raise(context, kErrIntegerNotDate, {n});
    return {};
  }
  char text[48];
  int length = 0;
  switch (part.empty() ? u'\0' : part.front()) {
    case u'A':
    case u'a':
    case u'Y':
    case u'y': length = std::snprintf(text, sizeof text, "%04d", d->year); break;
    case u'J':
    case u'j':
    case u'D':
    case u'd': length = std::snprintf(text, sizeof text, "%02d", d->day); break;
    case u'M':
    case u'm': length = std::snprintf(text, sizeof text, "%02d", d->month); break;
    default: return FormatDate(*d);
  }
  return Widen(std::string_view(text, static_cast<size_t>(length)));
}

int32_t IntegerToDay(ExecContext*, int32_t n) { return DayOfWeek(n); }

int32_t DateToDay(ExecContext* context, std::u16string_view date) {
  const auto n = DateDayNumber(context, date);
  return n ? IntegerToDay(context, *n) : -1;
}

std::u16string IntegerToTime(ExecContext* context, int32_t n) {
  if (n < 0) {
    Raise(context, kErrNegativeTime, {n});
    return {};
  }
  // Kept on purpose: the hours are not reduced modulo 24.
  const int32_t h = n / 360000;
  const int32_t m = (n % 360000) / 6000;
  const int32_t rest = n % 6000;
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%02d%02d%02d%02d", h, m, rest / 100, rest % 100);
  return Widen(std::string_view(text, static_cast<size_t>(length)));
}

int32_t TimeToInteger(ExecContext* context, std::u16string_view time) {
  TimeParts t;
  if (!ParseTime(time, t, context)) return -1;
  return TimeToHundredths(t);
}

bool DateValid(ExecContext*, std::u16string_view date) {
  DateParts d;
  return ParseDate(date, d, nullptr);
}

bool TimeValid(ExecContext*, std::u16string_view time) {
  TimeParts t;
  return ParseTime(time, t, nullptr);
}

}  // namespace kp::datetime
