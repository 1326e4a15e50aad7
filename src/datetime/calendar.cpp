// kp160std — the calendar cores.
#include "abi/error_ids.h"
#include "datetime/calendar.h"

#include <cstdio>

#include "abi/error.h"

namespace kp::datetime {
namespace {

constexpr int32_t kDaysBefore[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// The shared formula; `q` is the century figure of the Julian correction,
// which the two cores compute differently.
int64_t Formula(int32_t d, int32_t m, int64_t y, int64_t corr) {
  const int64_t p = y - 1;
  return 365 * p + p / 4 - p / 100 + p / 400 + kDaysBefore[m] + d + (m > 2 && IsLeap(y) ? 1 : 0) + corr - kOrigin;
}

bool InMonth(int32_t d, int32_t m, int64_t y) { return m >= 1 && m <= 12 && d >= 1 && d <= MonthLength(y, m); }

bool EightDigits(std::u16string_view text) {
  if (text.size() != 8) return false;
  for (char16_t c : text)
    if (!IsDigit(c)) return false;
  return true;
}

}  // namespace

bool IsLeap(int64_t y) { return y % 4 == 0 && (y < 1583 || y % 100 != 0 || y % 400 == 0); }

int32_t MonthLength(int64_t y, int32_t m) {
  static constexpr int32_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (m < 1 || m > 12) return 0;
  return m == 2 ? 28 + (IsLeap(y) ? 1 : 0) : kLength[m];
}

bool ParseDate(std::u16string_view text, DateParts& out, ExecContext* report) {
  auto fail = [&](int32_t id, Inserts inserts = {}) {
    if (report) Raise(report, id, inserts);
    return false;
  };
  if (text.size() != 8) return fail(kErrDateLength);
  for (char16_t c : text)
    if (!IsDigit(c)) return fail(kErrDateNotDigits);
  const DateParts d{static_cast<int32_t>(Digits(text.substr(0, 4))), static_cast<int32_t>(Digits(text.substr(4, 2))),
                    static_cast<int32_t>(Digits(text.substr(6, 2)))};
  if (d.year == 0) return fail(kErrYearZero);
  // Kept on purpose: the gap is checked in August, not in October.
  if (d.year == 1582 && d.month == 8 && d.day >= 5 && d.day <= 14) return fail(kErrGregorianGap);
  if (d.month < 1 || d.month > 12) return fail(kErrMonthOutOfRange);
  const int32_t max = d.month == 2 ? 29 : MonthLength(2000, d.month);
  if (d.day < 1 || d.day > max) return fail(kErrDayOutOfRange, {max});
  if (d.month == 2 && d.day == 29 && !IsLeap(d.year)) return fail(kErrNotLeapYear, {d.year});
  out = d;
  return true;
}

std::optional<int64_t> DayNumber(int32_t d, int32_t m, int64_t y) {
  if (y < 0 || !InMonth(d, m, y)) return std::nullopt;
  int64_t corr = 0;
  // Kept on purpose: each field is compared on its own, so 10 November 1582
  // gets no correction while 4 March 1582 does.
  if (y <= 1582 && m <= 11 && d <= 4) {
    const int64_t q = (y - 1500) / 100;
    corr = q / 4 - q + 10;
  }
  return Formula(d, m, y, corr);
}

std::optional<DateParts> DateFromDayNumber(int64_t n) {
  int64_t year = (n + kOrigin) / 365;
  int64_t first = 0;
  for (;;) {
    const auto j = DayNumber(1, 1, year);
    if (!j) return std::nullopt;
    first = *j;
    if (first <= n) break;
    --year;
  }
  // A year beyond four digits has no date string ("%04d" would give 9 or
  // more characters): unconvertible, like a negative year.
  if (year > 9999) return std::nullopt;
  // The Julian correction entered only through 1 January: the month walk
  // below ignores it, so early dates need not round-trip. The walk also
  // stops at December, so an estimate one year short (it happens in the
  // first centuries) leaves a December day above 31.
  int64_t offset = n - first;
  int32_t month = 1;
  while (month < 12 && offset >= MonthLength(year, month)) {
    offset -= MonthLength(year, month);
    ++month;
  }
  return DateParts{static_cast<int32_t>(year), month, static_cast<int32_t>(offset + 1)};
}

int32_t RawWeekdayIndex(int64_t n) {
  // Each term reduced first: the sum cannot overflow, whatever n is.
  return static_cast<int32_t>(((n % 7) + kOrigin % 7 + 7) % 7);
}

int32_t DayOfWeek(int64_t n) {
  const int32_t r = RawWeekdayIndex(n);
  return r == 0 ? 7 : r;
}

bool ParseDateForDifference(std::u16string_view text, DateParts& out) {
  if (!EightDigits(text)) return false;
  const DateParts d{static_cast<int32_t>(Digits(text.substr(0, 4))), static_cast<int32_t>(Digits(text.substr(4, 2))),
                    static_cast<int32_t>(Digits(text.substr(6, 2)))};
  if (d.year < 1) return false;
  // Kept on purpose: this copy forbids November, the main core August.
  if (d.year == 1582 && d.month == 11 && d.day >= 5 && d.day <= 14) return false;
  if (!InMonth(d.day, d.month, d.year)) return false;
  out = d;
  return true;
}

int64_t DifferenceDayNumber(const DateParts& date) {
  int64_t corr = 0;
  if (date.year <= 1582 && date.month <= 11 && date.day <= 4) {
    const int64_t q = date.year / 100;  // kept on purpose: not (y - 1500) / 100
    corr = q / 4 - q + 10;
  }
  return Formula(date.day, date.month, date.year, corr);
}

bool ParseTime(std::u16string_view text, TimeParts& out, ExecContext* report) {
  auto fail = [&](int32_t id, Inserts inserts = {}) {
    if (report) Raise(report, id, inserts);
    return false;
  };
  for (char16_t c : text)
    if (!IsDigit(c)) return fail(kErrTimeNotDigits);
  std::u16string padded(text.substr(0, 9));
  padded.resize(9, u'0');
  TimeParts t;
  t.hours = static_cast<int32_t>(Digits(std::u16string_view(padded).substr(0, 2)));
  t.minutes = static_cast<int32_t>(Digits(std::u16string_view(padded).substr(2, 2)));
  t.seconds = static_cast<int32_t>(Digits(std::u16string_view(padded).substr(4, 2)));
  t.milliseconds = static_cast<int32_t>(Digits(std::u16string_view(padded).substr(6, 3)));
  t.hundredths = t.milliseconds / 10;
  // Seconds are checked first, then minutes, then hours.
  if (t.seconds >= 60) return fail(kErrSecondsOutOfRange, {t.seconds});
  if (t.minutes >= 60) return fail(kErrMinutesOutOfRange, {t.minutes});
  if (t.hours >= 24) return fail(kErrHoursOutOfRange, {t.hours});
  out = t;
  return true;
}

bool ParseTimeForDifference(std::u16string_view text, int32_t& hundredths) {
  std::u16string padded(text.substr(0, 8));
  for (char16_t c : padded)
    if (!IsDigit(c)) return false;
  padded.resize(8, u'0');
  const std::u16string_view v(padded);
  const auto h = static_cast<int32_t>(Digits(v.substr(0, 2)));
  const auto m = static_cast<int32_t>(Digits(v.substr(2, 2)));
  const auto s = static_cast<int32_t>(Digits(v.substr(4, 2)));
  const auto cc = static_cast<int32_t>(Digits(v.substr(6, 2)));
  if (s > 59 || m > 59 || h >= 24) return false;
  hundredths = ((h * 60 + m) * 60 + s) * 100 + cc;
  return true;
}

int32_t TimeToHundredths(const TimeParts& t) {
  return ((t.hours * 60 + t.minutes) * 60 + t.seconds) * 100 + t.hundredths;
}

std::u16string Widen(std::string_view ascii) { return std::u16string(ascii.begin(), ascii.end()); }

std::u16string FormatDate(const DateParts& d) {
  char text[48];
  const int n = std::snprintf(text, sizeof text, "%04d%02d%02d", d.year, d.month, d.day);
  return Widen(std::string_view(text, n > 0 ? static_cast<size_t>(n) : 0));
}

int64_t Digits(std::u16string_view text) {
  int64_t v = 0;
  for (char16_t c : text) v = v * 10 + (c - u'0');
  return v;
}

}  // namespace kp::datetime
