// The two calendar cores, the conversions of day numbers and time strings,
// and the Gregorian range checked day by day against std::chrono.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "datetime/arithmetic.h"
#include "datetime/calendar.h"
#include "datetime/names.h"
#include "datetime/values.h"
#include "support/fake_context.h"

namespace kp::datetime {
namespace {

using namespace std::chrono;
using test::FakeContext;

int64_t N(int d, int m, int y) { return DayNumber(d, m, y).value(); }

int32_t Chrono(int y, unsigned m, unsigned d) {
  const sys_days origin{year{1800} / January / 1};
  return static_cast<int32_t>((sys_days{year{y} / month{m} / day{d}} - origin).count()) + 1;
}

TEST(DateCore, GregorianRangeAgreesWithChronoEveryDay) {
  const sys_days first{year{1583} / January / 1};
  const sys_days last{year{9999} / December / 31};
  const sys_days origin{year{1800} / January / 1};
  int failures = 0;
  for (sys_days sd = first; sd <= last && failures < 5; sd += days{1}) {
    const year_month_day ymd{sd};
    const int y = static_cast<int>(ymd.year());
    const int m = static_cast<int>(static_cast<unsigned>(ymd.month()));
    const int d = static_cast<int>(static_cast<unsigned>(ymd.day()));
    const int32_t expected = static_cast<int32_t>((sd - origin).count()) + 1;
    const auto n = DayNumber(d, m, y);
    const int32_t iso = static_cast<int32_t>(weekday{sd}.iso_encoding());
    const auto back = DateFromDayNumber(expected);
    const bool ok = n && *n == expected && DayOfWeek(expected) == iso && back && back->year == y &&
                    back->month == m && back->day == d;
    if (!ok) {
      ++failures;
      ADD_FAILURE() << y << "-" << m << "-" << d << " expected " << expected << " got " << n.value_or(-999999);
    }
  }
  EXPECT_EQ(failures, 0);
}

// The weekday of any integer, even far below the origin and at the ends of
// both integer widths, against the floor remainder computed in 128 bits.
TEST(DateCore, WeekdayOfAnyInteger) {
  const int64_t samples[] = {
      INT64_MIN, INT64_MIN + 1, INT32_MIN, INT32_MIN + 1, -657078,  -657072, -657071, -657070, -1, 0, 1,
      2,         INT32_MAX - 1, INT32_MAX, INT64_MAX - 6, INT64_MAX};
  for (const int64_t n : samples) {
    const auto r = static_cast<int32_t>((((static_cast<__int128>(n) + 657071) % 7) + 7) % 7);
    EXPECT_EQ(RawWeekdayIndex(n), r) << n;
    EXPECT_EQ(DayOfWeek(n), r == 0 ? 7 : r) << n;
  }
  // Through the KL functions, whose integer is 32 bits wide.
  FakeContext c;
  EXPECT_EQ(IntegerToDay(c, INT32_MIN), 7);
  EXPECT_EQ(IntegerToDay(c, INT32_MAX), 3);
  EXPECT_EQ(IntegerToDay(c, -657072), 6);
  EXPECT_FALSE(c.hasError());
}

TEST(DateCore, OriginAndNegativeDayNumbers) {
  FakeContext c;
  EXPECT_EQ(DateToInteger(c, u"18000101", 0), 1);
  EXPECT_EQ(DateToInteger(c, u"17991231", 0), 0);
  EXPECT_EQ(DateToInteger(c, u"17991230", 0), -1);
  EXPECT_EQ(IntegerToDay(c, 1), 3);  // a Wednesday
  EXPECT_EQ(IntegerToDate(c, 0, {}), u"17991231");
  EXPECT_EQ(IntegerToDate(c, -364, {}), u"17990101");
  EXPECT_EQ(IntegerToDate(c, -365, {}), u"17981231");
  // 1 January of year 1: -657070, plus the Julian correction with q = -14
  // truncated toward zero (q / 4 = -3, not -4): 21.
  EXPECT_EQ(DateToInteger(c, u"00010101", 0), -657070 + 21);
  EXPECT_FALSE(c.hasError());
}

TEST(DateCore, ReformBoundaryOfTheMainCore) {
  // Julian 4 October 1582 is followed by Gregorian 15 October.
  EXPECT_EQ(N(15, 10, 1582) - N(4, 10, 1582), 1);
  EXPECT_EQ(N(15, 10, 1582), Chrono(1582, 10, 15));
  // The correction tests each field alone: the 4th of a month up to November
  // is corrected, the 5th is not, December never is.
  EXPECT_EQ(N(5, 3, 1582) - N(4, 3, 1582), 1 - 10);
  EXPECT_EQ(N(4, 12, 1582), Chrono(1582, 12, 4));
  // Julian leap rule before 1583.
  EXPECT_TRUE(IsLeap(1500));
  EXPECT_FALSE(IsLeap(1700));
  EXPECT_TRUE(IsLeap(2000));
  EXPECT_FALSE(DayNumber(1, 1, -1).has_value());
  EXPECT_FALSE(DayNumber(29, 2, 1900).has_value());
}

TEST(DateCore, EarlyDatesDoNotRoundTrip) {
  FakeContext c;
  // The year estimate lands one year short and the month walk stops in
  // December: 1 January of year 1 comes back as 30 December of year 0.
  EXPECT_EQ(IntegerToDate(c, DateToInteger(c, u"00010101", 0), {}), u"00001230");
  // Far enough back the walk reaches a negative year: unconvertible.
  EXPECT_EQ(IntegerToDate(c, -700000, {}), u"");
  EXPECT_EQ(c.errorId(), 80132);
}

TEST(DateCore, SecondCoreDiffersOnPurpose) {
  DateParts d;
  // Its gap is in November, the main core's in August.
  EXPECT_FALSE(ParseDateForDifference(u"15821110", d));
  EXPECT_TRUE(ParseDateForDifference(u"15820810", d));
  EXPECT_FALSE(ParseDate(u"15820810", d, nullptr));
  EXPECT_TRUE(ParseDate(u"15821110", d, nullptr));
  EXPECT_FALSE(ParseDateForDifference(u"00000101", d));
  // q = y / 100 (15 in 1582) gives a correction of -2 where the main core
  // gives 10.
  ASSERT_TRUE(ParseDateForDifference(u"15821004", d));
  EXPECT_EQ(DifferenceDayNumber(d), Chrono(1582, 10, 4) - 2);
  ASSERT_TRUE(ParseDateForDifference(u"20240301", d));
  EXPECT_EQ(DifferenceDayNumber(d), Chrono(2024, 3, 1));
}

TEST(DateValues, ValidityErrorsInOrder) {
  struct Case {
    const char16_t* text;
    int32_t error;
  } cases[] = {{u"2004011", 80121}, {u"200401011", 80121}, {u"2004A101", 80122}, {u"00000101", 80123},
               {u"15820810", 80124}, {u"20241301", 80125}, {u"20240132", 80126}, {u"20240431", 80126},
               {u"19000229", 80127}, {u"00000010", 80123}};
  for (const auto& k : cases) {
    FakeContext c;
    EXPECT_EQ(DateToInteger(c, k.text, 0), -1) << test::Utf8(k.text);
    EXPECT_EQ(c.errorId(), k.error) << test::Utf8(k.text);
    EXPECT_FALSE(DateValid(c, k.text));
  }
  FakeContext c;
  for (const char16_t* ok : {u"20000229", u"15000229", u"15821010", u"99991231"}) {
    EXPECT_TRUE(DateValid(c, ok)) << test::Utf8(ok);
    EXPECT_GE(DateToInteger(c, ok, 0), -657070);
  }
  EXPECT_FALSE(c.hasError());
}

// DateVersEntier's quick path for Gregorian dates against the general core,
// valid or not: the same number, or the same error.
TEST(DateValues, QuickPathAgreesWithTheCore) {
  int failures = 0;
  for (int y = 1570; y <= 9999 && failures < 5; y += y < 2100 ? 1 : 97) {
    for (int m = 0; m <= 13; ++m) {
      for (int d = 0; d <= 32; ++d) {
        char text[16];
        std::snprintf(text, sizeof text, "%04d%02d%02d", y, m, d);
        const std::u16string date(text, text + 8);
        FakeContext quick, core;
        const int32_t n = DateToInteger(quick, date, 0);
        const int32_t expected = DateDayNumber(core, date).value_or(-1);
        if (n != expected || quick.errorId() != core.errorId()) {
          ADD_FAILURE() << text << ": " << n << " (error " << quick.errorId() << "), the core gives " << expected
                        << " (error " << core.errorId() << ")";
          ++failures;
        }
      }
    }
  }
}

TEST(DateValues, DayOfYearAndParts) {
  FakeContext c;
  EXPECT_EQ(DateToInteger(c, u"20240101", 1), 1);
  EXPECT_EQ(DateToInteger(c, u"20241231", 1), 366);
  EXPECT_EQ(DateToInteger(c, u"20231231", 7), 365);
  EXPECT_EQ(IntegerToDate(c, 1, u"m"), u"01");
  EXPECT_EQ(IntegerToDate(c, 1, u"Y"), u"1800");
  EXPECT_EQ(IntegerToDate(c, 31, u"day"), u"31");
  EXPECT_EQ(IntegerToDate(c, 1, u"x"), u"18000101");
  EXPECT_EQ(DateToDay(c, u"20240315"), 5);  // a Friday
}

// The functions built on DateVersEntier give their own failure value on an
// invalid date, with the date's error; day -1 itself is a date.
TEST(DateValues, CompositionsFailOnAnInvalidDate) {
  struct Case {
    const char* what;
    int32_t error;
    bool (*failed)(ExecContext*);
  } cases[] = {
      {"week of \"\"", 80121, [](ExecContext* c) { return DateToWeekNumber(c, u"") == -1; }},
      {"day of \"2024\"", 80121, [](ExecContext* c) { return DateToDay(c, u"2024") == -1; }},
      {"day name of \"2024\"", 80121, [](ExecContext* c) { return DateToDayInAlpha(c, u"2024").empty(); }},
      {"month name of \"x\"", 80121, [](ExecContext* c) { return DateToMonthInAlpha(c, u"x").empty(); }},
      {"week of 29 February 1900", 80127, [](ExecContext* c) { return DateToWeekNumber(c, u"19000229") == -1; }},
      {"day of 30 February", 80126, [](ExecContext* c) { return DateToDay(c, u"20240230") == -1; }},
  };
  for (const auto& k : cases) {
    FakeContext c;
    EXPECT_TRUE(k.failed(c)) << k.what;
    EXPECT_EQ(c.errorId(), k.error) << k.what;
  }
  FakeContext c;
  EXPECT_EQ(DateToDay(c, u"17991230"), 1);  // day -1, a Monday
  EXPECT_EQ(DateToDayInAlpha(c, u"17991230"), u"lundi");
  EXPECT_EQ(DateToMonthInAlpha(c, u"17991230"), u"décembre");
  EXPECT_EQ(DateToWeekNumber(c, u"17991230"), 53);
  EXPECT_FALSE(c.hasError());
}

// The last day with a four-digit year is 31 December 9999; past it a day
// number is unconvertible for every function that needs its date.
TEST(DateValues, YearsBeyondFourDigitsAreUnconvertible) {
  FakeContext c;
  EXPECT_EQ(IntegerToDate(c, 2994988, {}), u"99991231");
  EXPECT_EQ(IntegerToDate(c, 2994988, u"A"), u"9999");
  EXPECT_EQ(IntegerToWeekNumber(c, 2994988), 52);
  EXPECT_FALSE(c.hasError());
  for (const int32_t n : {2994989, 3000000, 365 * 100000, INT32_MAX}) {
    FakeContext e;
    EXPECT_EQ(IntegerToDate(e, n, {}), u"") << n;
    EXPECT_EQ(e.errorId(), 80132) << n;
    FakeContext part;
    EXPECT_EQ(IntegerToDate(part, n, u"j"), u"") << n;
    EXPECT_EQ(part.errorId(), 80132) << n;
    FakeContext week;
    EXPECT_EQ(IntegerToWeekNumber(week, n), -1) << n;
    EXPECT_EQ(week.errorId(), 80132) << n;
    EXPECT_EQ(IntegerToMonthInAlpha(c, n), u"") << n;
  }
  EXPECT_FALSE(c.hasError());
}

TEST(TimeValues, ParsingRules) {
  FakeContext c;
  EXPECT_EQ(TimeToInteger(c, u""), 0);
  EXPECT_EQ(TimeToInteger(c, u"1230"), 4500000);
  EXPECT_EQ(TimeToInteger(c, u"23595999"), 8639999);
  EXPECT_EQ(TimeToInteger(c, u"235959999"), 8639999);  // milliseconds truncated to hundredths
  EXPECT_EQ(TimeToInteger(c, u"1200000001234"), 4320000);  // beyond the 9th: ignored
  EXPECT_FALSE(c.hasError());
  struct Case {
    const char16_t* text;
    int32_t error;
  } cases[] = {{u"12:30", 80128}, {u"1200000001a", 80128}, {u"999960", 80129},
               {u"126000", 80130}, {u"24000000", 80131}};
  for (const auto& k : cases) {
    FakeContext e;
    EXPECT_EQ(TimeToInteger(e, k.text), -1);
    EXPECT_EQ(e.errorId(), k.error) << test::Utf8(k.text);
    EXPECT_FALSE(TimeValid(e, k.text));
  }
  FakeContext e;
  EXPECT_FALSE(TimeValid(e, u"24"));
  EXPECT_FALSE(e.hasError());
}

TEST(TimeValues, IntegerToTimeKeepsHoursAbove24) {
  FakeContext c;
  EXPECT_EQ(IntegerToTime(c, 4500000), u"12300000");
  EXPECT_EQ(IntegerToTime(c, 8640000), u"24000000");
  EXPECT_EQ(IntegerToTime(c, 36000099), u"100000099");
  EXPECT_EQ(IntegerToTime(c, 8639999), u"23595999");
  EXPECT_EQ(IntegerToTime(c, -1), u"");
  EXPECT_EQ(c.errorId(), 80120);
}

}  // namespace
}  // namespace kp::datetime
