// kp160std — the calendar cores shared by every date function.
//
// A date travels as "AAAAMMJJ", a time as "HHMMSSCC", a date as a day number
// (day 1 = 1 January 1800) and a time of day as hundredths since midnight.
// Two calendar cores live here on purpose: the main one used by every date
// function, and a second copy used only by the difference functions, which
// differs in its forbidden gap and its Julian correction. Do not merge them.
//
// Functions taking an ExecContext* report into its error record when it is
// non-null and stay silent otherwise.
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::datetime {

// Days from the calendar origin to 31 December 1799.
constexpr int64_t kOrigin = 657071;
constexpr int32_t kHundredthsPerDay = 8640000;

struct DateParts {
  int32_t year = 0;
  int32_t month = 0;
  int32_t day = 0;
};

struct TimeParts {
  int32_t hours = 0;
  int32_t minutes = 0;
  int32_t seconds = 0;
  int32_t hundredths = 0;
  int32_t milliseconds = 0;
};

// Julian rule up to 1582, Gregorian from 1583.
bool IsLeap(int64_t year);
int32_t MonthLength(int64_t year, int32_t month);

// --- the main core --------------------------------------------------------
// Validity of a date string, reporting 80121..80127 when `report` is given.
bool ParseDate(std::u16string_view text, DateParts& out, ExecContext* report);
// Day number; nullopt when y < 0 or the day does not exist in the month.
std::optional<int64_t> DayNumber(int32_t day, int32_t month, int64_t year);
// The inverse; nullopt when the walk back reaches a negative year or the
// year is above 9999.
std::optional<DateParts> DateFromDayNumber(int64_t n);
// 1 = Monday .. 7 = Sunday, for any integer.
int32_t DayOfWeek(int64_t n);
// (n + origin) mod 7, the remainder taken non-negative: 0 = Sunday ..
// 6 = Saturday, for any integer.
int32_t RawWeekdayIndex(int64_t n);

// --- the second core (difference functions only) --------------------------
bool ParseDateForDifference(std::u16string_view text, DateParts& out);
int64_t DifferenceDayNumber(const DateParts& date);

// --- times ----------------------------------------------------------------
// The 9-character rule (HHMMSSmmm), reporting 80128..80131 when asked.
bool ParseTime(std::u16string_view text, TimeParts& out, ExecContext* report);
// The 8-character rule of the difference functions (HHMMSSCC), never reports.
bool ParseTimeForDifference(std::u16string_view text, int32_t& hundredths);
int32_t TimeToHundredths(const TimeParts& t);

// --- text helpers ---------------------------------------------------------
std::u16string Widen(std::string_view ascii);
std::u16string FormatDate(const DateParts& d);  // "%04d%02d%02d"
inline bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
// Value of a run of digits (no sign, no check).
int64_t Digits(std::u16string_view text);

}  // namespace kp::datetime
