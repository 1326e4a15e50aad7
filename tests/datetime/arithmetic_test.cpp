// Differences, week numbers (against an ISO-week reference from
// std::chrono), Easter (against Lichtenberg's form of Gauss's computus), age
// and the universal/local conversions in two zones across daylight saving.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include "datetime/arithmetic.h"
#include "datetime/calendar.h"
#include "datetime/values.h"
#include "support/fake_context.h"

namespace kp::datetime {
namespace {

using namespace std::chrono;
using test::FakeContext;

TEST(DateDifference, DaysTimesAndDateTimes) {
  FakeContext c;
  EXPECT_EQ(DateDifference(c, u"20240101", u"20240301"), 60);
  EXPECT_EQ(DateDifference(c, u"20240301", u"20240101"), -60);
  // The second core: its own correction makes the reform 13 days wide.
  EXPECT_EQ(DateDifference(c, u"15821004", u"15821015"), 13);
  EXPECT_EQ(TimeDifference(c, u"1200", u"13000000"), 360000);
  EXPECT_EQ(TimeDifference(c, u"23595999", u""), -8639999);
  EXPECT_EQ(TimeDifference(c, u"12000000xyz", u"12000001"), 1);  // only 8 characters read
  EXPECT_EQ(DateTimeDifference(c, u"2024010112000000", u"2024010200000000"), u"+000000012000000");
  EXPECT_EQ(DateTimeDifference(c, u"2024010200000000", u"2024010112000000"), u"-000000012000000");
  EXPECT_EQ(DateTimeDifference(c, u"20240101", u"2024010100000001"), u"+000000000000001");
  EXPECT_EQ(DateTimeDifference(c, u"18000101", u"99991231235959"), u"+299498723595900");
  EXPECT_FALSE(c.hasError());
}

TEST(DateDifference, Errors) {
  struct Case {
    int32_t error;
    bool (*call)(ExecContext*);
  } cases[] = {
      {80134, [](ExecContext* c) { return DateDifference(c, u"15821110", u"20240101") == -1; }},
      {80134, [](ExecContext* c) { return DateDifference(c, u"2024010", u"20240101") == -1; }},
      {80135, [](ExecContext* c) { return TimeDifference(c, u"12:00", u"13000000") == -1; }},
      {80135, [](ExecContext* c) { return TimeDifference(c, u"1260", u"") == -1; }},
      {80134, [](ExecContext* c) { return DateTimeDifference(c, u"2024011", u"20240101").empty(); }},
      {80134, [](ExecContext* c) { return DateTimeDifference(c, u"2024010124", u"20240101").empty(); }},
  };
  for (const auto& k : cases) {
    FakeContext c;
    EXPECT_TRUE(k.call(c));
    EXPECT_EQ(c.errorId(), k.error);
  }
}

// ISO 8601 week and week-year of a day.
std::pair<int, int> IsoWeek(sys_days sd) {
  const sys_days thursday = sd - days{weekday{sd}.iso_encoding() - 1} + days{3};
  const int isoYear = static_cast<int>(year_month_day{thursday}.year());
  return {isoYear, static_cast<int>((thursday - sys_days{year{isoYear} / January / 1}).count() / 7 + 1)};
}

TEST(WeekNumber, IsoExceptAtTheYearEnds) {
  FakeContext c;
  EXPECT_EQ(WeekNumber(c, u"20081231"), 53);
  EXPECT_EQ(WeekNumber(c, u"20100101"), 0);
  EXPECT_EQ(WeekNumber(c, u"20100104"), 1);
  EXPECT_EQ(DateToWeekNumber(c, u"20240315"), 11);
  const sys_days origin{year{1800} / January / 1};
  int failures = 0;
  for (sys_days sd{year{1900} / January / 1}; sd <= sys_days{year{2100} / December / 31} && failures < 5;
       sd += days{1}) {
    const int y = static_cast<int>(year_month_day{sd}.year());
    const auto [isoYear, isoWeek] = IsoWeek(sd);
    int expected = isoWeek;
    if (isoYear < y) expected = 0;  // no carrying back into last year
    if (isoYear > y) expected = IsoWeek(sd - days{7}).second + 1;  // nor forward into week 1
    const int32_t n = static_cast<int32_t>((sd - origin).count()) + 1;
    if (IntegerToWeekNumber(c, n) != expected) {
      ++failures;
      ADD_FAILURE() << "day " << n << " expected " << expected;
    }
  }
  EXPECT_FALSE(c.hasError());
  EXPECT_EQ(WeekNumber(c, u"20240230"), -1);
  EXPECT_EQ(c.errorId(), 80126);
  FakeContext e;
  EXPECT_EQ(IntegerToWeekNumber(e, -800000), -1);
  EXPECT_EQ(e.errorId(), 80132);
}

// Lichtenberg's form of Gauss's Easter formula: day of March (may be > 31).
int GaussEasterMarchDay(int y) {
  const int k = y / 100, m = 15 + (3 * k + 3) / 4 - (8 * k + 13) / 25, s = 2 - (3 * k + 3) / 4;
  const int a = y % 19, d = (19 * a + m) % 30, r = (d + a / 11) / 29, og = 21 + d - r;
  const int sz = 7 - (y + y / 4 + s) % 7, oe = 7 - (og - sz) % 7;
  return og + oe;
}

TEST(Easter, KnownDatesAndIndependentComputus) {
  FakeContext c;
  EXPECT_EQ(Easter(c, 2024), u"20240331");
  EXPECT_EQ(Easter(c, 1583), u"15830410");
  EXPECT_EQ(Easter(c, 1818), u"18180322");
  EXPECT_EQ(Easter(c, 2038), u"20380425");
  EXPECT_EQ(Easter(c, 1582), u"");
  EXPECT_EQ(Easter(c, 10000), u"");
  EXPECT_EQ(EasterOfText(c, u"20241225"), u"20240331");
  EXPECT_EQ(EasterOfText(c, u"2024"), u"20240331");
  EXPECT_EQ(EasterOfText(c, u"abcd"), u"");
  EXPECT_FALSE(c.hasError());
  for (int y = 1583; y <= 9999; ++y) {
    const int md = GaussEasterMarchDay(y);
    const DateParts expected = md > 31 ? DateParts{y, 4, md - 31} : DateParts{y, 3, md};
    ASSERT_EQ(Easter(c, y), FormatDate(expected)) << y;
  }
}

TEST(Age, YearsMonthsDays) {
  FakeContext c;
  EXPECT_EQ(Age(c, u"20000229", u"20010228"), u"00001130");
  EXPECT_EQ(Age(c, u"19800615", u"20240615"), u"00440000");
  EXPECT_EQ(Age(c, u"19800615", u"20240614"), u"00431130");
  // February lacks the 31st: dr - 1 days.
  EXPECT_EQ(Age(c, u"20240131", u"20240301"), u"00000100");
  EXPECT_EQ(Age(c, u"20230128", u"20230301"), u"00000101");
  EXPECT_EQ(Age(c, u"20240128", u"20240301"), u"00000102");
  EXPECT_EQ(Age(c, u"20240315", u"20240314"), u"");
  EXPECT_EQ(Age(c, u"20240315", u"2024031"), u"");
  EXPECT_FALSE(c.hasError());
  // An empty reference is today: a birth in the future gives nothing.
  EXPECT_EQ(Age(c, u"99991231", {}), u"");
  EXPECT_EQ(Age(c, u"18000101", {}).size(), 8u);
  EXPECT_EQ(Age(c, u"20240230", u"20250101"), u"");
  EXPECT_EQ(c.errorId(), kAgeInvalidParameter);
}

class DateTimeZone : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* tz = std::getenv("TZ");
    saved_ = tz ? std::optional<std::string>(tz) : std::nullopt;
  }
  void TearDown() override {
    if (saved_) setenv("TZ", saved_->c_str(), 1);
    else unsetenv("TZ");
    tzset();
  }
  static void Zone(const char* rule) {
    setenv("TZ", rule, 1);
    tzset();
  }
  static int64_t At(int y, int mo, int d, int h, int mi, int s = 0, int ms = 0) {
    return Pack({static_cast<uint8_t>(d), static_cast<uint8_t>(mo), static_cast<uint16_t>(y),
                 static_cast<uint32_t>(((h * 60 + mi) * 60 + s) * 1000 + ms)});
  }
  std::optional<std::string> saved_;
};

TEST_F(DateTimeZone, CentralEuropeAcrossBothChanges) {
  Zone("CET-1CEST,M3.5.0,M10.5.0/3");
  FakeContext c;
  // Spring 2024: 01:00 universal on 31 March.
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 3, 31, 0, 59, 59, 999)), u"20240331015959999");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 3, 31, 1, 0)), u"20240331030000000");
  EXPECT_EQ(DateTimeLocalToUTC(c, At(2024, 3, 31, 1, 30)), u"20240331003000000");
  EXPECT_EQ(DateTimeLocalToUTC(c, At(2024, 3, 31, 3, 30)), u"20240331013000000");
  // Autumn: 01:00 universal on 27 October.
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 10, 27, 0, 30)), u"20241027023000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 10, 27, 1, 30)), u"20241027023000000");
  // Across midnight and the year.
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2023, 12, 31, 23, 30)), u"20240101003000000");
  EXPECT_FALSE(c.hasError());
}

TEST_F(DateTimeZone, NewYorkAndFailures) {
  Zone("EST5EDT,M3.2.0,M11.1.0");
  FakeContext c;
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 3, 10, 6, 30)), u"20240310013000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 3, 10, 7, 30)), u"20240310033000000");
  EXPECT_EQ(DateTimeLocalToUTC(c, At(2024, 7, 4, 12, 0)), u"20240704160000000");
  EXPECT_EQ(DateTimeLocalToUTC(c, At(2024, 1, 1, 0, 0)), u"20240101050000000");
  EXPECT_FALSE(c.hasError());
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 2, 30, 0, 0)), u"");
  EXPECT_EQ(c.errorId(), 80051);
  FakeContext e;
  EXPECT_EQ(DateTimeLocalToUTC(e, Pack({1, 1, 2024, 86400000})), u"");
  EXPECT_EQ(e.errorId(), 80051);
}

TEST(DateTimeZonePacking, ByteOrder) {
  const PackedDateTime v = Unpack(0x0036EE80'07E80C1FLL);
  EXPECT_EQ(v.day, 31);
  EXPECT_EQ(v.month, 12);
  EXPECT_EQ(v.year, 2024);
  EXPECT_EQ(v.milliseconds, 3600000u);
  EXPECT_EQ(Pack(v), 0x0036EE80'07E80C1FLL);
}

}  // namespace
}  // namespace kp::datetime
