// The time-zone record of the universal/local conversions: the POSIX TZ rule
// parser, TZif files, and the conversions in real zones, where the zone's
// current rule applies to every year. The reference for a year Y is the C
// library's own answer for Y + 400 (same calendar, beyond the zone's
// history, where it applies the rule of the file's footer too).
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "datetime/arithmetic.h"
#include "platform/timezone.h"
#include "support/deadline.h"
#include "support/fake_context.h"

namespace kp::datetime {
namespace {

using platform::ParsePosixZoneRule;
using platform::ParseTzif;
using platform::ZoneTransition;
using test::FakeContext;

class Zone : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* tz = std::getenv("TZ");
    saved_ = tz ? std::optional<std::string>(tz) : std::nullopt;
  }
  void TearDown() override {
    if (saved_)
      setenv("TZ", saved_->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }
  static void Use(const std::string& tz) {
    setenv("TZ", tz.c_str(), 1);
    tzset();
  }
  static int64_t At(int y, int mo, int d, int h, int mi, int s = 0, int ms = 0) {
    return Pack({static_cast<uint8_t>(d), static_cast<uint8_t>(mo), static_cast<uint16_t>(y),
                 static_cast<uint32_t>(((h * 60 + mi) * 60 + s) * 1000 + ms)});
  }
  // A file of this test's own directory.
  std::string Write(const std::string& name, const std::string& bytes) {
    if (dir_.empty()) {
      dir_ = std::filesystem::temp_directory_path() / ("kp-zone-" + std::to_string(::getpid()));
      std::filesystem::create_directories(dir_);
    }
    const std::string path = (dir_ / name).string();
    FILE* f = std::fopen(path.c_str(), "wb");
    EXPECT_NE(f, nullptr) << path;
    if (!f) return path;
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
    EXPECT_EQ(std::fclose(f), 0);
    return path;
  }
  std::optional<std::string> saved_;
  std::filesystem::path dir_;
};

TEST(ZoneRule, FormsOfThePosixRule) {
  const auto ny = ParsePosixZoneRule("EST5EDT,M3.2.0,M11.1.0");
  ASSERT_TRUE(ny);
  EXPECT_EQ(ny->bias, 300);
  EXPECT_EQ(ny->daylightBias, -60);
  EXPECT_TRUE(ny->daylight);
  EXPECT_EQ(ny->daylightStart.form, ZoneTransition::Form::kWeekOfMonth);
  EXPECT_EQ(ny->daylightStart.month, 3);
  EXPECT_EQ(ny->daylightStart.week, 2);
  EXPECT_EQ(ny->daylightStart.weekday, 0);
  EXPECT_EQ(ny->daylightStart.seconds, 7200);
  EXPECT_EQ(ny->standardStart.month, 11);

  const auto india = ParsePosixZoneRule("<+0530>-5:30");
  ASSERT_TRUE(india);
  EXPECT_EQ(india->bias, -330);
  EXPECT_FALSE(india->daylight);

  // Times of day beyond one day and negative ones; the two day forms.
  const auto nuuk = ParsePosixZoneRule("<-02>2<-01>,M3.5.0/-1,M10.5.0/0");
  ASSERT_TRUE(nuuk);
  EXPECT_EQ(nuuk->daylightStart.seconds, -3600);
  EXPECT_EQ(nuuk->standardStart.seconds, 0);
  const auto allYear = ParsePosixZoneRule("EST5EDT,0/0,J365/25");
  ASSERT_TRUE(allYear);
  EXPECT_EQ(allYear->daylightStart.form, ZoneTransition::Form::kDayOfYear);
  EXPECT_EQ(allYear->standardStart.form, ZoneTransition::Form::kJulianNoLeap);
  EXPECT_EQ(allYear->standardStart.day, 365);
  EXPECT_EQ(allYear->standardStart.seconds, 25 * 3600);
  // An explicit daylight offset, and a daylight name without rules.
  EXPECT_EQ(ParsePosixZoneRule("AAA3BBB1:30,M3.2.0,M11.1.0")->daylightBias, -90);
  const auto bare = ParsePosixZoneRule("EST5EDT");
  ASSERT_TRUE(bare);
  EXPECT_EQ(bare->standardStart.month, 11);

  for (const char* bad : {"", "E5", "EST", "EST5EDT,M3.2.0", "EST5EDT,M13.1.0,M11.1.0", "EST5EDT,M3.6.0,M11.1.0",
                          "EST5EDT,M3.2.7,M11.1.0", "EST5EDT,J0,J365", "EST5EDT,0,366", "EST25", "<AB>5", "<ABC5",
                          "EST5EDT,M3.2.0,M11.1.0x", "EST5EDT,M3.2.0/168,M11.1.0", "EST5:60"})
    EXPECT_FALSE(ParsePosixZoneRule(bad)) << bad;
}

// A TZif file of version 2 with one (historical) transition and a footer,
// or of version 1 (no footer) whose last transition gives the offset.
std::string Tzif(char version, int32_t lastOffset, const std::string& footer) {
  auto be32 = [](uint32_t v) {
    return std::string{static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
                       static_cast<char>(v)};
  };
  auto header = [&](char v) {
    // isut, isstd, leap, transitions, types, chars
    return std::string("TZif") + v + std::string(15, '\0') + be32(0) + be32(0) + be32(0) + be32(1) + be32(2) + be32(4);
  };
  const std::string types = be32(static_cast<uint32_t>(-18000)) + std::string{0, 0} +
                            be32(static_cast<uint32_t>(lastOffset)) + std::string{0, 0} + std::string("LMT", 4);
  std::string file = header(version) + be32(0x80000000u) + std::string(1, 1) + types;
  if (version == '\0') return file;
  return file + header(version) + std::string(4, '\xff') + be32(0x80000000u) + std::string(1, 1) + types + "\n" +
         footer + "\n";
}

TEST(ZoneRule, TzifFooterOrLastOffset) {
  const auto v2 = ParseTzif(Tzif('2', -14400, "EST5EDT,M3.2.0,M11.1.0"));
  ASSERT_TRUE(v2);
  EXPECT_EQ(v2->bias, 300);
  EXPECT_TRUE(v2->daylight);
  const auto v1 = ParseTzif(Tzif('\0', 19800, ""));
  ASSERT_TRUE(v1);
  EXPECT_EQ(v1->bias, -330);
  EXPECT_FALSE(v1->daylight);
  // An empty footer: no rule, the last offset stays.
  EXPECT_EQ(ParseTzif(Tzif('2', 3600, ""))->bias, -60);
  // Cut anywhere, or a bad footer: not a zone.
  const std::string whole = Tzif('2', 0, "CET-1CEST,M3.5.0,M10.5.0/3");
  for (size_t n = 0; n < whole.size(); ++n) EXPECT_FALSE(ParseTzif(whole.substr(0, n))) << n;
  EXPECT_FALSE(ParseTzif(Tzif('2', 0, "CET-1CEST,M3.5.0")));
  EXPECT_FALSE(ParseTzif(Tzif('\0', 200000, "")));  // beyond the format's offsets
}

// The issue's own case: 20 March 2006 fell before the day the US rule of
// that year started daylight time, but the current rule has it.
TEST_F(Zone, CurrentRuleAppliesToPastYears) {
  FakeContext c;
  Use("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320080000000");
  EXPECT_EQ(DateTimeLocalToUTC(c, At(2006, 3, 20, 8, 0)), u"20060320120000000");
  // A zone file is read for its footer, not its transitions.
  Use(":" + Write("ny", Tzif('2', -14400, "EST5EDT,M3.2.0,M11.1.0")));
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320080000000");
  Use(":" + Write("india", Tzif('\0', 19800, "")));
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320173000000");
  // A file that is no zone, or no file and no rule: universal time.
  Use(":" + Write("junk", "TZif2 and nothing else"));
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320120000000");
  Use("No/Such_Zone");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320120000000");
  EXPECT_FALSE(c.hasError());
  if (std::filesystem::exists("/usr/share/zoneinfo/America/New_York")) {
    Use("America/New_York");
    EXPECT_EQ(DateTimeUTCToLocal(c, At(2006, 3, 20, 12, 0)), u"20060320080000000");
  }
}

// A $TZ naming a FIFO is no zone file: universal time, without waiting for
// a writer.
TEST_F(Zone, FifoIsNoZoneFile) {
  const std::string fifo = Write("fifo-base", "") + "-fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  // Not Use(): the C library's tzset() itself would wait on the FIFO.
  setenv("TZ", (":" + fifo).c_str(), 1);
  FakeContext c;
  const auto local = test::WithinSeconds(5, "reading a FIFO as a zone", [&] {
    return DateTimeUTCToLocal(c, At(2024, 7, 1, 12, 0));
  });
  EXPECT_EQ(local, u"20240701120000000");
}

TEST_F(Zone, DaylightAllYearAndAcrossTheNewYear) {
  FakeContext c;
  Use("EST5EDT,0/0,J365/25");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 1, 1, 4, 30)), u"20240101003000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2023, 7, 1, 12, 0)), u"20230701080000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 12, 31, 23, 0)), u"20241231190000000");
  // Southern hemisphere: daylight from October to April.
  Use("AEST-10AEDT,M10.1.0,M4.1.0/3");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2023, 12, 31, 14, 0)), u"20240101010000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 7, 1, 0, 0)), u"20240701100000000");
  // Negative daylight saving: winter is the "daylight" time.
  Use("IST-1GMT0,M10.5.0,M3.5.0/1");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 1, 15, 12, 0)), u"20240115120000000");
  EXPECT_EQ(DateTimeUTCToLocal(c, At(2024, 7, 15, 12, 0)), u"20240715130000000");
  EXPECT_FALSE(c.hasError());
}

// Python's zoneinfo (history where there is one), for instants that the
// zones' current rules govern: 2024 and 2040.
TEST_F(Zone, AgreesWithPythonZoneinfo) {
  struct Case {
    const char* zone;
    int y, mo, d, h, mi;
    const char16_t* local;
  } cases[] = {
      {"America/New_York", 2024, 3, 10, 6, 59, u"20240310015900000"},
      {"America/New_York", 2024, 3, 10, 7, 0, u"20240310030000000"},
      {"America/New_York", 2040, 11, 4, 5, 30, u"20401104013000000"},
      {"America/New_York", 2040, 11, 4, 6, 30, u"20401104013000000"},
      {"Europe/Paris", 2024, 10, 27, 0, 59, u"20241027025900000"},
      {"Europe/Paris", 2024, 10, 27, 1, 0, u"20241027020000000"},
      {"Australia/Sydney", 2024, 4, 6, 15, 59, u"20240407025900000"},
      {"Australia/Sydney", 2024, 4, 6, 16, 0, u"20240407020000000"},
      {"Australia/Sydney", 2040, 10, 6, 16, 0, u"20401007030000000"},
      {"Europe/Dublin", 2024, 1, 15, 12, 0, u"20240115120000000"},
      {"Europe/Dublin", 2024, 7, 15, 12, 0, u"20240715130000000"},
      {"Asia/Kolkata", 2040, 6, 1, 20, 0, u"20400602013000000"},
  };
  FakeContext c;
  for (const auto& k : cases) {
    if (!std::filesystem::exists(std::string("/usr/share/zoneinfo/") + k.zone)) continue;
    Use(k.zone);
    EXPECT_EQ(DateTimeUTCToLocal(c, At(k.y, k.mo, k.d, k.h, k.mi)), k.local) << k.zone << " " << k.y;
  }
  EXPECT_FALSE(c.hasError());
}

// Every 97 hours and 17 minutes (so every hour of the day comes round) from
// 1700 to 2100 in real zones, both ways, against the C library 400 years on.
TEST_F(Zone, EveryYearLikeTheRuleOfTheFooter) {
  constexpr int64_t k400Years = int64_t{146097} * 86400;
  int compared = 0;
  for (const char* name : {"America/New_York", "Europe/Paris", "Australia/Sydney", "Europe/Dublin", "Asia/Kolkata",
                           "America/Nuuk", "Pacific/Auckland"}) {
    if (!std::filesystem::exists(std::string("/usr/share/zoneinfo/") + name)) continue;
    Use(name);
    FakeContext c;
    int failures = 0;
    // 1700-01-01 .. 2100-01-01 in seconds from 1970.
    for (int64_t u = -8520336000; u < 4102444800 && failures < 5; u += 97 * 3600 + 17 * 60) {
      const time_t later = static_cast<time_t>(u + k400Years);
      tm utc{}, local{}, before{}, after{};
      gmtime_r(&later, &utc);
      localtime_r(&later, &local);
      char expected[80];
      std::snprintf(expected, sizeof expected, "%04d%02d%02d%02d%02d%02d000", local.tm_year + 1900 - 400,
                    local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
      const int64_t in = At(utc.tm_year + 1900 - 400, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
      const std::u16string got = DateTimeUTCToLocal(c, in);
      if (got != std::u16string(expected, expected + 17)) {
        ++failures;
        ADD_FAILURE() << name << " " << expected << " got " << test::Utf8(got);
        continue;
      }
      ++compared;
      // Back to universal time, away from the hours a change makes twice.
      const time_t early = later - 3600, late = later + 3600;
      localtime_r(&early, &before);
      localtime_r(&late, &after);
      if (before.tm_gmtoff != local.tm_gmtoff || after.tm_gmtoff != local.tm_gmtoff) continue;
      const int64_t back =
          At(local.tm_year + 1900 - 400, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
      char universal[80];
      std::snprintf(universal, sizeof universal, "%04d%02d%02d%02d%02d%02d000", utc.tm_year + 1900 - 400,
                    utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
      if (DateTimeLocalToUTC(c, back) != std::u16string(universal, universal + 17)) {
        ++failures;
        ADD_FAILURE() << name << " back from " << expected;
      }
    }
    EXPECT_FALSE(c.hasError());
  }
  if (compared == 0) GTEST_SKIP() << "no zone files in /usr/share/zoneinfo";
}

}  // namespace
}  // namespace kp::datetime
