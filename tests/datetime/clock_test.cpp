// The device clock: the tick anchor of the time of day, the service
// question, and setting the date and time through the device prefix.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "datetime/calendar.h"
#include "datetime/clock.h"
#include "support/fake_context.h"
#include "support/temp_dir.h"

namespace kp::datetime {
namespace {

using test::FakeContext;

TEST(TimeClock, AnchorInterpolatesAndReanchors) {
  ResetClockAnchor();
  EXPECT_EQ(InterpolatedMilliseconds(1000000, 50), 1000000);  // first call anchors
  // The clock still says the same second, the ticks moved: interpolated.
  EXPECT_EQ(InterpolatedMilliseconds(1000000, 50 + 740), 1000740);
  EXPECT_EQ(InterpolatedMilliseconds(1001000, 50 + 1990), 1001990);
  // Drift above 2 s (the clock was set): back to the clock.
  EXPECT_EQ(InterpolatedMilliseconds(5000000, 50 + 3000), 5000000);
  EXPECT_EQ(InterpolatedMilliseconds(5000000, 50 + 3100), 5000100);
  // The tick counter wraps at 2^32 without a jump.
  ResetClockAnchor();
  EXPECT_EQ(InterpolatedMilliseconds(2000000, 0xFFFFFF00u), 2000000);
  EXPECT_EQ(InterpolatedMilliseconds(2000000, 0x00000100u), 2000512);
  // Past midnight: re-anchored on the clock.
  ResetClockAnchor();
  EXPECT_EQ(InterpolatedMilliseconds(86399000, 0), 86399000);
  EXPECT_EQ(InterpolatedMilliseconds(500, 1500), 500);
  EXPECT_EQ(InterpolatedMilliseconds(600, 1600), 600);
  ResetClockAnchor();
}

class DateClock : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* prefix = std::getenv("KP_PREFIX");
    saved_ = prefix ? prefix : "";
    ASSERT_TRUE(dir_.ok());
    setenv("KP_PREFIX", dir_.path().c_str(), 1);
  }
  void TearDown() override {
    if (saved_.empty()) unsetenv("KP_PREFIX");
    else setenv("KP_PREFIX", saved_.c_str(), 1);
  }
  std::string saved_;
  test::TempDir dir_{"kp-dt-clock"};  // a new name for each test
};

TEST_F(DateClock, SetAndReadTheDate) {
  FakeContext c;
  ASSERT_TRUE(SetSystemDate(c, u"20300101"));
  EXPECT_EQ(SystemDate(c), u"20300101");
  ASSERT_TRUE(SetSystemDate(c, u"20000229"));
  EXPECT_EQ(SystemDate(c), u"20000229");
  EXPECT_FALSE(c.hasError());
  EXPECT_FALSE(SetSystemDate(c, u"20010229"));
  EXPECT_EQ(c.errorId(), 80127);
  EXPECT_EQ(SystemDate(c), u"20000229");
}

// A date the device's clock cannot hold (before 1601, or past 30827) is
// refused with the platform's 87, and the clock stays as it was.
TEST_F(DateClock, DatesBeforeTheClockBeginsAreRefused) {
  FakeContext c;
  ASSERT_TRUE(SetSystemDate(c, u"20300615"));
  for (const char16_t* date : {u"15000229", u"16001231", u"00010101"}) {
    c.clearError();
    EXPECT_FALSE(SetSystemDate(c, date)) << test::Utf8(date);
    EXPECT_EQ(c.systemError(), 87u) << test::Utf8(date);
    EXPECT_EQ(c.errorId(), 0);
    EXPECT_EQ(SystemDate(c), u"20300615");
  }
  c.clearError();
  EXPECT_TRUE(SetSystemDate(c, u"16010101"));
  EXPECT_EQ(SystemDate(c), u"16010101");
  EXPECT_EQ(c.systemError(), 0u);
}

TEST_F(DateClock, SetAndReadTheTime) {
  FakeContext c;
  ASSERT_TRUE(SetSystemTime(c, u"10300000"));
  const std::u16string now = SystemTime(c);
  ASSERT_EQ(now.size(), 8u);
  // Within a few seconds of what was set; the anchor follows the change.
  EXPECT_EQ(now.substr(0, 4), u"1030");
  EXPECT_LT(Digits(std::u16string_view(now).substr(4, 2)), 5);
  // A bad time is refused without an error of its own.
  EXPECT_FALSE(SetSystemTime(c, u"12:00"));
  EXPECT_FALSE(c.hasError());
}

TEST_F(DateClock, ServiceQuestionGatesTheTime) {
  FakeContext c;
  c.serviceAnswer = 0;
  EXPECT_EQ(SystemTime(c), u"");
  EXPECT_FALSE(c.hasError());
  c.serviceAnswer = 1;
  EXPECT_EQ(SystemTime(c).size(), 8u);
}

}  // namespace
}  // namespace kp::datetime
