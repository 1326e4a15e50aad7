#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "abi/error_ids.h"
#include "component/tables.h"
#include "numbers/numeric.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;
using kp::Value;
using kp::test::Utf8;

constexpr double kNo = 0;  // the value column of a text that is not numeric

struct Case {
  const char16_t* text;
  bool numeric;
  double value;
};

// Every text with its answer written out; the value is checked too.
constexpr Case kTexts[] = {
    // plain integers
    {u"0", true, 0},
    {u"1", true, 1},
    {u"7", true, 7},
    {u"42", true, 42},
    {u"007", true, 7},
    {u"1000", true, 1000},
    {u"123456789", true, 123456789},
    {u"2147483647", true, 2147483647.0},
    {u"2147483648", true, 2147483648.0},
    {u"9007199254740993", true, 9007199254740992.0},
    {u"18446744073709551616", true, 18446744073709551616.0},
    {u"00000", true, 0},
    // signs
    {u"+1", true, 1},
    {u"-1", true, -1},
    {u"+0", true, 0},
    {u"-0", true, 0},
    {u"-42", true, -42},
    {u"+42", true, 42},
    {u"--1", false, kNo},
    {u"++1", false, kNo},
    {u"+-1", false, kNo},
    {u"-+1", false, kNo},
    {u"-", false, kNo},
    {u"+", false, kNo},
    {u"1-", false, kNo},
    {u"1+", false, kNo},
    {u"- 1", false, kNo},
    {u"+ 1", false, kNo},
    {u"1-2", false, kNo},
    {u"\u22121", false, kNo},
    {u"\u20131", false, kNo},
    // the point as separator
    {u"1.5", true, 1.5},
    {u"0.5", true, 0.5},
    {u".5", true, 0.5},
    {u"5.", true, 5},
    {u"-.5", true, -0.5},
    {u"+.5", true, 0.5},
    {u"-5.", true, -5},
    {u"3.14159", true, 3.14159},
    {u"0.000001", true, 0.000001},
    {u"100.000", true, 100},
    {u".", false, kNo},
    {u"-.", false, kNo},
    {u"+.", false, kNo},
    {u"1.2.3", false, kNo},
    {u"1..2", false, kNo},
    {u"..1", false, kNo},
    {u"1.5.", false, kNo},
    // the comma as separator, whatever the locale
    {u"1,5", true, 1.5},
    {u",5", true, 0.5},
    {u"5,", true, 5},
    {u"-1,25", true, -1.25},
    {u"0,1", true, 0.1},
    {u",", false, kNo},
    {u"1,2,3", false, kNo},
    {u"1,5.2", false, kNo},
    {u"1.5,2", false, kNo},
    {u"1,000", true, 1},
    {u"1,000,000", false, kNo},
    {u"1.000.000", false, kNo},
    {u"1.000,5", false, kNo},
    {u"1,000.5", false, kNo},
    // no thousands separator of any kind
    {u"1 000", false, kNo},
    {u"1\u00a0000", false, kNo},
    {u"1\u202f000", false, kNo},
    {u"1'000", false, kNo},
    {u"1_000", false, kNo},
    // exponents
    {u"1e5", true, 1e5},
    {u"1E5", true, 1e5},
    {u"1e+5", true, 1e5},
    {u"1e-5", true, 1e-5},
    {u"1E-5", true, 1e-5},
    {u"2.5e3", true, 2500},
    {u"2,5e3", true, 2500},
    {u".5e1", true, 5},
    {u"5.e1", true, 50},
    {u"-1.5e-3", true, -0.0015},
    {u"+1.5E+3", true, 1500},
    {u"1e0", true, 1},
    {u"1e00", true, 1},
    {u"1e308", true, 1e308},
    {u"1.7976931348623157e308", true, 1.7976931348623157e308},
    {u"1e309", false, kNo},
    {u"1e400", false, kNo},
    {u"-1e400", false, kNo},
    {u"1e99999999999999999999", false, kNo},
    {u"1e-400", true, 0},
    {u"-1e-400", true, 0},
    {u"1e-99999999999999999999", true, 0},
    {u"0e999999", true, 0},
    {u"4.9e-324", true, 4.9e-324},
    {u"2.2250738585072014e-308", true, 2.2250738585072014e-308},
    {u"e5", false, kNo},
    {u"E5", false, kNo},
    {u"1e", false, kNo},
    {u"1E", false, kNo},
    {u"1e+", false, kNo},
    {u"1e-", false, kNo},
    {u"1e1.5", false, kNo},
    {u"1e1,5", false, kNo},
    {u"1e5e5", false, kNo},
    {u"1ee5", false, kNo},
    {u"1e 5", false, kNo},
    {u"1 e5", false, kNo},
    {u".e5", false, kNo},
    {u"1d5", false, kNo},
    {u"1D5", false, kNo},
    {u"1e+-5", false, kNo},
    {u"-e5", false, kNo},
    // spaces and tabs around, never inside
    {u" 1", true, 1},
    {u"1 ", true, 1},
    {u"  1  ", true, 1},
    {u"\t1", true, 1},
    {u"1\t", true, 1},
    {u" \t -1.5 \t ", true, -1.5},
    {u" +2 ", true, 2},
    {u" 1e3 ", true, 1000},
    {u"1 2", false, kNo},
    {u"1. 5", false, kNo},
    {u"1 .5", false, kNo},
    {u"- 1.5", false, kNo},
    {u"\n1", false, kNo},
    {u"1\n", false, kNo},
    {u"\r1", false, kNo},
    {u"1\r\n", false, kNo},
    {u"\u00a01", false, kNo},
    {u"1\u00a0", false, kNo},
    {u"\u30001", false, kNo},
    {u"\v1", false, kNo},
    {u"\f1", false, kNo},
    // empty and blank texts
    {u"", false, kNo},
    {u" ", false, kNo},
    {u"  ", false, kNo},
    {u"\t", false, kNo},
    {u" \t ", false, kNo},
    // words that other readers take for numbers
    {u"inf", false, kNo},
    {u"INF", false, kNo},
    {u"-inf", false, kNo},
    {u"infinity", false, kNo},
    {u"Infinity", false, kNo},
    {u"nan", false, kNo},
    {u"NaN", false, kNo},
    {u"-nan", false, kNo},
    {u"nan(1)", false, kNo},
    {u"0x1F", false, kNo},
    {u"0X1F", false, kNo},
    {u"0x", false, kNo},
    {u"0x1p3", false, kNo},
    {u"0b101", false, kNo},
    {u"0o17", false, kNo},
    {u"&H1F", false, kNo},
    {u"1F", false, kNo},
    {u"FF", false, kNo},
    {u"True", false, kNo},
    {u"Vrai", false, kNo},
    {u"False", false, kNo},
    {u"one", false, kNo},
    {u"un", false, kNo},
    // currency signs, percents, units
    {u"$1", false, kNo},
    {u"1$", false, kNo},
    {u"1€", false, kNo},
    {u"€1", false, kNo},
    {u"1 €", false, kNo},
    {u"10%", false, kNo},
    {u"%10", false, kNo},
    {u"1kg", false, kNo},
    {u"1.5 KB", false, kNo},
    {u"1f", false, kNo},
    {u"1L", false, kNo},
    {u"1u", false, kNo},
    // digits of other scripts, fullwidth, superscripts, fractions
    {u"\u0661", false, kNo},
    {u"\u0967", false, kNo},
    {u"\uff11", false, kNo},
    {u"\u00b2", false, kNo},
    {u"\u00bd", false, kNo},
    {u"\u2155", false, kNo},
    {u"\u2160", false, kNo},
    {u"1\uff10", false, kNo},
    // other punctuation
    {u"(1)", false, kNo},
    {u"[1]", false, kNo},
    {u"\"1\"", false, kNo},
    {u"'1'", false, kNo},
    {u"1/2", false, kNo},
    {u"1:30", false, kNo},
    {u"1;2", false, kNo},
    {u"1\t2", false, kNo},
    {u"#1", false, kNo},
    {u"1#", false, kNo},
    {u"1*", false, kNo},
    {u"=1", false, kNo},
    {u"1=", false, kNo},
    {u"1.5a", false, kNo},
    {u"a1.5", false, kNo},
    // long texts
    {u"0000000000000000000000000000000000000000000000000001", true, 1},
    {u"0.0000000000000000000000000000000000000000000000000001", true, 1e-52},
    {u"1000000000000000000000000000000000000000000000000000", true, 1e51},
    {u"3.14159265358979323846264338327950288419716939937510", true, 3.14159265358979323846},
    {u"123456789012345678901234567890e-20", true, 1234567890.1234567890},
    {u"0.00000000000000000000000000000000000000000000000000e5", true, 0},
    // small and odd numbers
    {u"1e-5", true, 0.00001},
    {u"0.1", true, 0.1},
    {u"0.2", true, 0.2},
    {u"0.3", true, 0.3},
    {u"-0.0", true, 0},
    {u"+0.0", true, 0},
    {u"0.", true, 0},
    {u".0", true, 0},
    {u"-.0", true, 0},
    {u"9.999999999999999e22", true, 9.999999999999999e22},
    {u"1e23", true, 1e23},
    {u"8.5", true, 8.5},
    {u"-8.5", true, -8.5},
    {u"12,75", true, 12.75},
    {u"-0,001", true, -0.001},
    {u"65536", true, 65536},
    {u"-2147483648", true, -2147483648.0},
    {u"-9223372036854775808", true, -9223372036854775808.0},
    {u"1.0e1", true, 10},
    {u"01.10", true, 1.1},
    {u"00.001", true, 0.001},
    {u"10e-1", true, 1},
    {u"5e-1", true, 0.5},
    {u"12345.6789", true, 12345.6789},
    {u"-12345,6789", true, -12345.6789},
    // more separators and signs together
    {u"-1.", true, -1},
    {u"+1.", true, 1},
    {u"-1,", true, -1},
    {u"+,5", true, 0.5},
    {u"-,5", true, -0.5},
    {u"-,5e1", true, -5},
    {u"1.e1", true, 10},
    {u"1,e1", true, 10},
    {u",e1", false, kNo},
    {u"-,", false, kNo},
    {u"+,", false, kNo},
    {u",,", false, kNo},
    {u".,", false, kNo},
    {u"1.,", false, kNo},
    {u"1,.", false, kNo},
    {u".1.", false, kNo},
    {u",1,", false, kNo},
    {u"1.5-", false, kNo},
    {u"1.5+", false, kNo},
    {u"-1.5e", false, kNo},
    {u"-1.5e-", false, kNo},
    {u"-1.5e-0", true, -1.5},
    {u"-1.5e+00", true, -1.5},
    {u"1e-0", true, 1},
    {u"1E+0", true, 1},
    {u"1e01", true, 10},
    {u"1e-01", true, 0.1},
    {u"0.1e1", true, 1},
    {u"0,1E1", true, 1},
    {u"100e-2", true, 1},
    {u"12e3", true, 12000},
    {u"-12E-3", true, -0.012},
    {u"1e15", true, 1e15},
    {u"1e16", true, 1e16},
    {u"1e22", true, 1e22},
    {u"1e-7", true, 1e-7},
    {u"1e-323", true, 1e-323},
    {u"1e-324", true, 0},
    {u"2e-324", true, 0},
    {u"3e-324", true, 5e-324},
    {u"1.8e308", false, kNo},
    {u"1.7976931348623158e308", true, 1.7976931348623157e308},
    {u"-1.8e308", false, kNo},
    {u"179769313486231570000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
     u"000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
     u"000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000",
     true, 1.7976931348623157e308},  // 309 digits
    {u"1000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
     u"0000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
     u"00000000000000000000000000000000000000000000000000000000000000000000000000000000000000",
     false, kNo},  // 310 digits
    // blanks in every place
    {u"\t\t", false, kNo},
    {u" -", false, kNo},
    {u" . ", false, kNo},
    {u" , ", false, kNo},
    {u" e ", false, kNo},
    {u"\t+0\t", true, 0},
    {u" .5 ", true, 0.5},
    {u" 5, ", true, 5},
    {u"1 .", false, kNo},
    {u"1 ,5", false, kNo},
    {u"1, 5", false, kNo},
    {u"1e5 5", false, kNo},
    {u"1 e", false, kNo},
    {u"1e- 5", false, kNo},
    {u"- .5", false, kNo},
    {u"+ .5", false, kNo},
    {u"\u20031", false, kNo},
    {u"1\u2003", false, kNo},
    {u"\u200b1", false, kNo},
    {u"\ufeff1", false, kNo},
    // letters next to digits
    {u"1a", false, kNo},
    {u"a1", false, kNo},
    {u"1.5e5a", false, kNo},
    {u"1x", false, kNo},
    {u"x1", false, kNo},
    {u"1e5x", false, kNo},
    {u"1.2f", false, kNo},
    {u"1.2d", false, kNo},
    {u"1_5", false, kNo},
    {u"1\u00b75", false, kNo},
    {u"1\u066b5", false, kNo},
    {u"1\uff0e5", false, kNo},
    {u"\uff0d1", false, kNo},
    {u"\ufe631", false, kNo},
    {u"Inf", false, kNo},
    {u"+inf", false, kNo},
    {u"+nan", false, kNo},
    {u"NAN", false, kNo},
    {u"1.#INF", false, kNo},
    {u"1.#QNAN", false, kNo},
    {u"e", false, kNo},
    {u"E", false, kNo},
    {u"0x10", false, kNo},
    {u"0e", false, kNo},
    {u"00e00", true, 0},
    {u"-00.00e-00", true, 0},
};

TEST(NumericText, TableOfTexts) {
  EXPECT_GE(std::size(kTexts), 300u);
  for (const Case& c : kTexts) {
    const std::u16string_view text = c.text;
    const auto value = ParseNumericText(text);
    EXPECT_EQ(value.has_value(), c.numeric) << Utf8(text);
    if (value && c.numeric) {
      EXPECT_EQ(*value, c.value) << Utf8(text);
    }
    EXPECT_EQ(IsNumericValue(Value{std::u16string(text)}), c.numeric) << Utf8(text);
  }
}

TEST(NumericText, EmbeddedNulIsNotNumeric) {
  EXPECT_FALSE(ParseNumericText(std::u16string_view(u"1\0", 2)));
  EXPECT_FALSE(
      ParseNumericText(std::u16string_view(u"\0"
                                           u"1",
                                           2)));
}

TEST(NumericText, SignOfZeroKept) {
  EXPECT_TRUE(std::signbit(*ParseNumericText(u"-0")));
  EXPECT_TRUE(std::signbit(*ParseNumericText(u"-1e-400")));
  EXPECT_FALSE(std::signbit(*ParseNumericText(u"0")));
}

TEST(IsNumeric, VariantKinds) {
  EXPECT_TRUE(IsNumericValue(Value{int32_t{-5}}));
  EXPECT_TRUE(IsNumericValue(Value{int64_t{1} << 60}));
  EXPECT_TRUE(IsNumericValue(Value{2.5}));
  EXPECT_FALSE(IsNumericValue(Value{std::numeric_limits<double>::quiet_NaN()}));
  EXPECT_FALSE(IsNumericValue(Value{std::numeric_limits<double>::infinity()}));
  EXPECT_FALSE(IsNumericValue(Value{true}));
  EXPECT_FALSE(IsNumericValue(Value{kp::Bytes{'1'}}));
  EXPECT_FALSE(IsNumericValue(Value{}));
}

TEST(MinMax, TwoReals) {
  kp::test::FakeContext context;
  EXPECT_EQ(Max(context, 3, 7.5), 7.5);
  EXPECT_EQ(Min(context, 3, 7.5), 3);
  EXPECT_EQ(Max(context, -1e308, -1.5e308), -1e308);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Max(context, inf, 1), inf);
  EXPECT_EQ(Min(context, -inf, 1), -inf);
  // Equal values: the first one, which shows with zeros of both signs.
  EXPECT_TRUE(std::signbit(Max(context, -0.0, 0.0)));
  EXPECT_FALSE(std::signbit(Min(context, 0.0, -0.0)));
  EXPECT_FALSE(context.hasError());
}

TEST(MinMax, NaNFails) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (auto f : {&Max, &Min}) {
    kp::test::FakeContext context;
    EXPECT_EQ(f(context, nan, 1), 0);
    EXPECT_EQ(context.errorId(), kp::kErrNumberNotFinite);
    context.clearError();
    EXPECT_EQ(f(context, 1, nan), 0);
    EXPECT_EQ(context.errorId(), kp::kErrNumberNotFinite);
  }
}

TEST(MinMax, ListsInAText) {
  kp::test::FakeContext context;
  EXPECT_EQ(MaxOf(context, Value{std::u16string(u"3\t-2\t9,5")}), 9.5);
  EXPECT_EQ(MinOf(context, Value{std::u16string(u"3\t-2\t9,5")}), -2);
  EXPECT_EQ(MaxOf(context, Value{std::u16string(u"1\r\n 5 \r\n2")}), 5);
  EXPECT_EQ(MinOf(context, Value{std::u16string(u"4\n1e-3\r7")}), 0.001);
  EXPECT_EQ(MaxOf(context, Value{std::u16string(u"-4")}), -4);
  EXPECT_EQ(MaxOf(context, Value{int32_t{12}}), 12);
  EXPECT_EQ(MinOf(context, Value{int64_t{1} << 40}), 1099511627776.0);
  EXPECT_EQ(MinOf(context, Value{0.25}), 0.25);
  EXPECT_FALSE(context.hasError());
}

TEST(MinMax, BadListsFail) {
  struct Bad {
    Value value;
    int32_t error;
    const char* shown;  // the element named in the message
  };
  const Bad cases[] = {
      {Value{std::u16string(u"")}, kp::kErrNotNumericText, "<>"},
      {Value{std::u16string(u"1\t\t2")}, kp::kErrNotNumericText, "<>"},
      {Value{std::u16string(u"1\r\n")}, kp::kErrNotNumericText, "<>"},  // no trailing separator in a list
      {Value{std::u16string(u"1;2")}, kp::kErrNotNumericText, "<1;2>"},
      {Value{std::u16string(u"3\tx\t4")}, kp::kErrNotNumericText, "<x>"},
      {Value{std::u16string(u"1e999")}, kp::kErrNotNumericText, "<1e999>"},
      {Value{true}, kp::kErrNotANumberValue, ""},
      {Value{kp::Bytes{1, 2}}, kp::kErrNotANumberValue, ""},
      {Value{}, kp::kErrNotANumberValue, ""},
      {Value{std::numeric_limits<double>::quiet_NaN()}, kp::kErrNumberNotFinite, ""},
  };
  for (const Bad& b : cases) {
    for (auto f : {&MaxOf, &MinOf}) {
      kp::test::FakeContext context;
      EXPECT_EQ(f(context, b.value), 0);
      EXPECT_EQ(context.errorId(), b.error);
      EXPECT_NE(Utf8(context.message()).find(b.shown), std::string::npos) << Utf8(context.message());
    }
  }
}

// The rows as the VM sees them: every syntax implemented, the declared
// result types kept; ZigouigouiARoulette keeps its null entry (docs say why).
TEST(NumberTextRows, EntriesAndResultTypes) {
  struct Row {
    const char* english;
    uint32_t syntaxes;
    uint32_t result;
  };
  const Row rows[] = {{"Min", 2, KL_T_REAL},
                      {"Max", 2, KL_T_REAL},
                      {"IsNumeric", 1, KL_T_BOOL},
                      {"NumToString", 2, KL_T_TEXT},
                      {"LengthToString", 2, KL_T_TEXT},
                      {"ZigouigouiARoulette", 1, KL_T_TEXT}};
  const KLFunctionRow* table = kp::FunctionTable();
  for (const Row& r : rows) {
    const KLFunctionRow* row = nullptr;
    for (uint32_t i = 0; i < KL_FUNCTION_COUNT; ++i)
      if (std::strcmp(table[i].englishName, r.english) == 0) row = &table[i];
    ASSERT_NE(row, nullptr) << r.english;
    ASSERT_EQ(row->identifier >> 24, r.syntaxes) << r.english;
    for (uint32_t s = 0; s < r.syntaxes; ++s) {
      EXPECT_EQ(row->syntaxes[s].descriptor[0], r.result) << r.english;
      EXPECT_EQ(row->syntaxes[s].entry == nullptr, std::strcmp(r.english, "ZigouigouiARoulette") == 0) << r.english;
    }
  }
}

}  // namespace
