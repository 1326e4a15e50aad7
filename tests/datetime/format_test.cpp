// Dates, times and durations as text: the mask engine both ways, the
// built-in parser, the time-mask replacements and the duration strings.
#include <gtest/gtest.h>

#include "datetime/format.h"
#include "datetime/mask.h"
#include "datetime/names.h"
#include "support/fake_context.h"

namespace kp::datetime {
namespace {

using test::FakeContext;

void English(FakeContext& c) {
  static const char16_t* days[7] = {u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday", u"Sunday"};
  static const char16_t* months[12] = {u"January", u"February", u"March",     u"April",   u"May",      u"June",
                                       u"July",    u"August",   u"September", u"October", u"November", u"December"};
  c.language = KLLanguage{};
  c.language.code = 9;
  for (int i = 0; i < 7; ++i) c.language.dayNames[i] = days[i];
  for (int i = 0; i < 12; ++i) c.language.monthNames[i] = months[i];
}

TEST(DateFormat, WithoutMask) {
  FakeContext c;
  EXPECT_EQ(DateToString(c, u"20240315", {}), u"15/03/2024");
  EXPECT_EQ(DateToString(c, u"", {}), u"");
  EXPECT_FALSE(c.hasError());
  EXPECT_EQ(DateToString(c, u"20240230", {}), u"");
  EXPECT_EQ(c.errorId(), 80126);
}

TEST(MaskEngine, FormatsDates) {
  FakeContext c;
  const DateParts d{2024, 3, 5};
  EXPECT_EQ(FormatDateMask(c, d, u"JJ/MM/AAAA"), u"05/03/2024");
  EXPECT_EQ(FormatDateMask(c, d, u"JJJJ JJ MMMM AAAA"), u"mardi 05 mars 2024");
  EXPECT_EQ(FormatDateMask(c, d, u"Jjjj JJ Mmmm"), u"Mardi 05 Mars");
  EXPECT_EQ(FormatDateMask(c, {2024, 7, 14}, u"JJJ JJ MMM"), u"dim. 14 juil.");
  EXPECT_EQ(FormatDateMask(c, d, u"'Le' JJ 'de' MMMM"), u"Le 05 de mars");
  EXPECT_EQ(FormatDateMask(c, d, u"AAAAMMJJ"), u"20240305");
  English(c);
  EXPECT_EQ(FormatDateMask(c, d, u"DDDD, MMMM DD, YYYY"), u"Tuesday, March 05, 2024");
  EXPECT_EQ(FormatDateMask(c, d, u"DDD MMM"), u"Tue Mar");  // library's table: no short list given
}

// Only the tokens are tokens: a lone J, D or M (or A, Y) is text, so words
// in a mask stay as they are.
TEST(MaskEngine, LettersOutsideTokensAreText) {
  FakeContext c;
  EXPECT_EQ(DateToString(c, u"20240305", u"Date: JJ/MM/AAAA"), u"Date: 05/03/2024");
  EXPECT_EQ(DateToString(c, u"20240305", u"Jour J du Mois M, JJ/MM"), u"Jour J du Mois M, 05/03");
  EXPECT_EQ(DateToString(c, u"20240305", u"MMMM: Mars, Day DD"), u"mars: Mars, Day 05");
  const auto d = ParseDateMask(c, u"Date: 05/03/2024", u"Date: JJ/MM/AAAA");
  ASSERT_TRUE(d);
  EXPECT_EQ(FormatDate(*d), u"20240305");
  EXPECT_FALSE(ParseDateMask(c, u"Date: 5/3/2024", u"Date: J/M/AAAA"));
  // The device's own formats keep their single letters.
  EXPECT_EQ(FormatDateMask(c, {2024, 3, 5}, u"J/M/YY", true), u"5/3/24");
  EXPECT_EQ(FormatDateMask(c, {2024, 3, 5}, u"J/M/YY"), u"J/M/24");
  EXPECT_FALSE(c.hasError());
}

TEST(MaskEngine, ParsesDates) {
  FakeContext c;
  auto parse = [&](std::u16string_view text, std::u16string_view mask) {
    const auto d = ParseDateMask(c, text, mask);
    return d ? FormatDate(*d) : std::u16string(u"-");
  };
  EXPECT_EQ(parse(u"05/03/2024", u"JJ/MM/AAAA"), u"20240305");
  EXPECT_EQ(parse(u"05-03-2024", u"JJ/MM/AAAA"), u"20240305");  // any separator for any other
  EXPECT_EQ(parse(u"05032024", u"JJMMAAAA"), u"20240305");
  EXPECT_EQ(parse(u"01/03/50", u"JJ/MM/AA"), u"20500301");
  EXPECT_EQ(parse(u"01/03/51", u"JJ/MM/AA"), u"19510301");
  EXPECT_EQ(parse(u"Mardi 05 MARS 2024", u"JJJJ JJ MMMM AAAA"), u"20240305");
  EXPECT_EQ(parse(u"14 juil. 2024", u"JJ MMM AAAA"), u"20240714");
  EXPECT_EQ(parse(u"14 juin 2024", u"JJ MMM AAAA"), u"20240614");
  EXPECT_EQ(parse(u"14 juillet 2024", u"JJ MMMM AAAA"), u"20240714");
  // The device's formats: a single letter is one or two digits, two when
  // another number follows at once.
  auto device = [&](std::u16string_view text, std::u16string_view mask) {
    const auto d = ParseDateMask(c, text, mask, true);
    return d ? FormatDate(*d) : std::u16string(u"-");
  };
  EXPECT_EQ(device(u"5-3-2024", u"J/M/AAAA"), u"20240305");
  EXPECT_EQ(device(u"05032024", u"JMAAAA"), u"20240305");
  EXPECT_EQ(device(u"1/3/51", u"J/M/AA"), u"19510301");
  // Refusals: a date that does not exist, text that does not follow.
  EXPECT_EQ(parse(u"31/02/2024", u"JJ/MM/AAAA"), u"-");
  EXPECT_EQ(parse(u"05/03", u"JJ/MM/AAAA"), u"-");
  EXPECT_EQ(parse(u"05/03/2024x", u"JJ/MM/AAAA"), u"-");
  EXPECT_EQ(parse(u"05 brumaire 2024", u"JJ MMMM AAAA"), u"-");
  EXPECT_EQ(parse(u"05/03/2024", u"JJ/MM"), u"-");  // no year
}

TEST(MaskEngine, DateRoundTripsThroughEveryMask) {
  FakeContext c;
  for (const char16_t* mask : {u"JJ/MM/AAAA", u"JJ MM AA", u"JJJJ JJ MMMM AAAA", u"Jjj JJ Mmm YYYY", u"AAAA-MM-JJ"}) {
    for (DateParts d : {DateParts{2024, 2, 29}, DateParts{1999, 12, 31}, DateParts{2030, 8, 1}}) {
      const auto text = FormatDateMask(c, d, mask);
      const auto back = ParseDateMask(c, text, mask);
      ASSERT_TRUE(back) << test::Utf8(text);
      EXPECT_EQ(FormatDate(*back), FormatDate(d)) << test::Utf8(mask);
    }
  }
}

TEST(DateFormat, StringToDate) {
  FakeContext c;
  EXPECT_EQ(StringToDate(c, u"15/03/2024", {}), u"20240315");
  EXPECT_EQ(StringToDate(c, u"", u"JJ/MM/AAAA"), u"");
  // The built-in parser copies characters and never checks the date.
  EXPECT_EQ(StringToDate(c, u"31/02/2024", {}), u"20240231");
  EXPECT_EQ(StringToDate(c, u"00/03/2024", {}), u"");
  EXPECT_EQ(ParseBuiltInMask(u"15/03/24", u"jj/mm/aa"), u"20240315");
  EXPECT_EQ(ParseBuiltInMask(u"15/03/99", u"DD/MM/YY"), u"19990315");
  EXPECT_EQ(ParseBuiltInMask(u"15/03", u"JJ/MM/AAAA"), u"");
  // Masks in lower case are normalised before the engine reads them.
  EXPECT_EQ(StringToDate(c, u"15/03/2024", u"jj/mm/aaaa"), u"20240315");
  EXPECT_EQ(StringToDate(c, u"15 mars 24", u"jj mmmm aa"), u"20240315");
  EXPECT_FALSE(c.hasError());
}

TEST(DateFormat, MaskNormalisationOrder) {
  EXPECT_EQ(NormaliseDateMask(u"jj/mm/aaaa"), u"JJ/MM/AAAA");
  EXPECT_EQ(NormaliseDateMask(u"dd mmmm yyyy"), u"DD MMMM YYYY");
  // "Jjj" and "Mm" protect the lower-case pairs.
  EXPECT_EQ(NormaliseDateMask(u"Jjjj jj"), u"Jjjj jj");
  EXPECT_EQ(NormaliseDateMask(u"Mmmm mm jj"), u"Mmmm mm JJ");
  EXPECT_EQ(NormaliseDateMask(u"aaa"), u"AAa");
}

TEST(TimeFormat, Replacements) {
  FakeContext c;
  EXPECT_EQ(TimeToString(c, u"13054599", {}), u"13:05:45:99");
  EXPECT_EQ(TimeToString(c, u"13054599", u"H:MM AP"), u"1:05 PM");
  EXPECT_EQ(TimeToString(c, u"00300000", u"HH:MM AP"), u"12:30 AM");
  EXPECT_EQ(TimeToString(c, u"12000000", u"HH AP (AM)"), u"12 PM (PM)");
  EXPECT_EQ(TimeToString(c, u"13054599", u"HH:MM:SS.CC"), u"13:05:45.99");
  // "AP" goes first: in "APMM" the M of "AM" and the next M make the minutes.
  EXPECT_EQ(TimeToString(c, u"09050000", u"APMM"), u"A05M");
  EXPECT_FALSE(c.hasError());
  EXPECT_EQ(TimeToString(c, u"2500", u"HH"), u"");
  EXPECT_EQ(c.errorId(), 80131);
}

TEST(DurationText, FixedForms) {
  FakeContext c;
  EXPECT_EQ(DurationToString(c, -1500, 0), u"-0000001500");
  EXPECT_EQ(DurationToString(c, 1500, 1), u"0000001500");
  EXPECT_EQ(DurationToString(c, 1050, 1), u"000000150");  // the remainder, not hundredths
  EXPECT_EQ(DurationToString(c, 90061001, 0), u"1010101001");
  EXPECT_EQ(DurationToString(c, INT64_MIN, 0), u"-106751991167071255808");
  EXPECT_EQ(StringToDuration(c, u"-0000001500", 0).milliseconds, -1500);
  EXPECT_EQ(StringToDuration(c, u"+0000001500", 0).milliseconds, 1500);
  EXPECT_EQ(StringToDuration(c, u"123", 0).milliseconds, 0);
  EXPECT_EQ(StringToDuration(c, u"000000150", 1).milliseconds, 1500);
  EXPECT_EQ(StringToDuration(c, u"000000150", 0).milliseconds, 0);  // too short for milliseconds
  EXPECT_EQ(StringToDuration(c, u"0009900000", 0).milliseconds, 99 * 60000);  // fields not range-checked
  EXPECT_EQ(StringToDuration(c, u"123010101001", 0).milliseconds, 123 * 86400000LL + 3661001);
  for (int64_t v : {0LL, 1LL, -1LL, 86399999LL, 86400000LL, -987654321012LL})
    EXPECT_EQ(StringToDuration(c, DurationToString(c, v, 0), 0).milliseconds, v);
  EXPECT_FALSE(c.hasError());
}

TEST(DurationText, Masks) {
  EXPECT_EQ(FormatDurationMask(90061001, u"J HH:MM:SS.LLL"), u"1 01:01:01.001");
  EXPECT_EQ(FormatDurationMask(90061001, u"HH:MM"), u"25:01");  // the largest unit carries the rest
  EXPECT_EQ(FormatDurationMask(-1500, u"SS,CC 's'"), u"-01,50 s");
  EXPECT_EQ(FormatDurationMask(1500, u"M:SS"), u"0:01");
  EXPECT_EQ(FormatDurationMask(61234, u"SS.LLL"), u"61.234");
  EXPECT_EQ(FormatDurationMask(61234, u"M:SS,CC"), u"1:01,23");
  EXPECT_EQ(ParseDurationMask(u"1 01:01:01.001", u"J HH:MM:SS.LLL"), 90061001);
  EXPECT_EQ(ParseDurationMask(u"25:01", u"HH:MM"), 90060000);
  EXPECT_EQ(ParseDurationMask(u"-01,50 s", u"SS,CC 's'"), -1500);
  EXPECT_EQ(ParseDurationMask(u"123456", u"HHMMSS"), 12 * 3600000 + 34 * 60000 + 56000);
  EXPECT_FALSE(ParseDurationMask(u"12h", u"HH:MM"));
  EXPECT_FALSE(ParseDurationMask(u"12:30:00", u"HH:MM"));
  FakeContext c;
  EXPECT_EQ(StringToDurationMask(c, u"bad", u"HH:MM").milliseconds, 0);
  EXPECT_EQ(DurationToStringMask(c, 61000, u"MM:SS"), u"01:01");
}

TEST(DateNames, SourcesAndRawIndex) {
  FakeContext c;
  EXPECT_EQ(IntegerToDayInAlpha(c, 1), u"mercredi");
  EXPECT_EQ(IntegerToDayInAlpha(c, 5), u"dimanche");
  EXPECT_EQ(IntegerToMonthInAlpha(c, 1), u"janvier");
  EXPECT_EQ(DateToMonthInAlpha(c, u"20240815"), u"août");
  EXPECT_EQ(DateToDayInAlpha(c, u"20240315"), u"vendredi");
  // Any integer gives a name, below the origin and at both ends too.
  EXPECT_EQ(IntegerToDayInAlpha(c, -657072), u"samedi");
  EXPECT_EQ(IntegerToDayInAlpha(c, INT32_MIN), u"dimanche");
  EXPECT_EQ(IntegerToDayInAlpha(c, INT32_MAX), u"mercredi");
  English(c);
  EXPECT_EQ(IntegerToDayInAlpha(c, 1), u"Wednesday");
  // Without lists: the VM's messages, else the library's table.
  c.language = KLLanguage{};
  c.language.code = 9;
  EXPECT_FALSE(IntegerToDayInAlpha(c, 1).empty());
  EXPECT_EQ(MonthName(c, 2), u"February");
  EXPECT_EQ(MonthName(c, 13), u"");
  // The system's names: whatever the host locale says, never empty.
  c.language.useSystemNames = 1;
  EXPECT_FALSE(MonthName(c, 3).empty());
  EXPECT_FALSE(DayName(c, 0).empty());
}

}  // namespace
}  // namespace kp::datetime
