// The euro family against Python's decimal module (tests/numbers/
// euro_reference.py, run by the test) over every pair of currencies and many
// amounts, then the per-program settings and bad input.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "abi/error_ids.h"
#include "numbers/euro.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;
using kp::Currency;
using kp::test::FakeContext;

// The reference's output, or empty (and the test skipped) where it cannot run.
std::vector<std::string> RunReference(const char* what) {
  std::vector<std::string> lines;
#ifdef KP_NUMBERS_TEST_DIR
  const std::string command = std::string("python3 '") + KP_NUMBERS_TEST_DIR + "/euro_reference.py' " + what;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return lines;
  std::string line;
  char buffer[4096];
  while (std::fgets(buffer, sizeof buffer, pipe)) {
    line += buffer;
    if (!line.empty() && line.back() == '\n') {
      line.pop_back();
      lines.push_back(line);
      line.clear();
    }
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
#else
  (void)what;
#endif
  return lines;
}

std::u16string Wide(const std::string& s) { return {s.begin(), s.end()}; }

TEST(EuroConversion, EveryPairAgreesWithPythonDecimal) {
  const auto lines = RunReference("conversions");
  if (lines.empty()) GTEST_SKIP() << "python3 and the reference script are needed";
  // Every currency of the reference, and only those, is known here.
  std::map<std::string, int> seen;
  size_t compared = 0, overflows = 0;
  FakeContext ctx;
  for (const auto& line : lines) {
    std::istringstream in(line);
    std::string from, to, expected;
    int64_t value;
    int scale;
    in >> from >> to >> value >> scale;
    ++seen[from];
    const Currency amount{value, static_cast<int16_t>(scale)};
    ctx.clearError();
    const Currency got = ChangeCurrency(ctx, amount, Wide(from), Wide(to));
    const Currency difference = RoundDifference(ctx);
    std::string token;
    in >> token;
    if (token == "overflow") {
      EXPECT_EQ(ctx.errorId(), kp::kErrCurrencyAmountOutOfRange) << line;
      EXPECT_EQ(got.value, 0) << line;
      ++overflows;
      continue;
    }
    int64_t units = std::stoll(token), diffValue;
    int unitScale, diffScale;
    in >> unitScale >> diffValue >> diffScale;
    ASSERT_FALSE(ctx.hasError()) << line;
    EXPECT_EQ(got.value, units) << line;
    EXPECT_EQ(got.scale, unitScale) << line;
    EXPECT_EQ(difference.value, diffValue) << line;
    EXPECT_EQ(difference.scale, diffScale) << line;
    // The one-way functions are the same conversion with the euro at one end.
    if (from == "EUR") {
      const Currency viaToCurrency = ToCurrencyCode(ctx, amount, Wide(to));
      EXPECT_EQ(viaToCurrency.value, units) << line;
    }
    if (to == "EUR") {
      const Currency viaToEuro = ToEuroFrom(ctx, amount, Wide(from));
      EXPECT_EQ(viaToEuro.value, units) << line;
    }
    ++compared;
  }
  EXPECT_EQ(seen.size(), Currencies().size());
  for (const auto& c : Currencies()) EXPECT_TRUE(seen.count(std::string(c.code, c.code + 3))) << "missing a currency";
  EXPECT_GT(compared, 30000u);
  EXPECT_GT(overflows, 0u);  // the reference does reach the edge of 64 bits
  kp::numbers::ForgetCurrencyState(ctx);
}

TEST(EuroConversion, RealAmountsAreTheirShortestDecimal) {
  const auto lines = RunReference("reals");
  if (lines.empty()) GTEST_SKIP() << "python3 and the reference script are needed";
  for (const auto& line : lines) {
    std::istringstream in(line);
    std::string hex;
    int64_t value;
    int scale;
    in >> hex >> value >> scale;
    Currency got;
    ASSERT_TRUE(RealToDecimal(std::strtod(hex.c_str(), nullptr), &got)) << line;
    while (got.scale > 0 && got.value % 10 == 0) {
      got.value /= 10;
      --got.scale;
    }
    while (got.scale < 0) {  // the reference writes whole numbers at scale 0
      got.value *= 10;
      ++got.scale;
    }
    EXPECT_EQ(got.value, value) << line;
    EXPECT_EQ(got.scale, scale) << line;
  }
}

// Worked examples of docs/numbers.md, by hand from the published rates.
TEST(EuroConversion, DocumentedExamples) {
  FakeContext ctx;
  // 100 FRF / 6.55957 = 15.2449...: 15.24 EUR, 0.0049 below the exact value.
  Currency c = ToEuroFrom(ctx, {100, 0}, u"frf");
  EXPECT_EQ(c.value, 1524);
  EXPECT_EQ(c.scale, 2);
  c = RoundDifference(ctx);
  EXPECT_EQ(c.value, -490172);
  EXPECT_EQ(c.scale, 8);
  // 1 FRF to ITL through the euro, never rounded on the way: 295.18... -> 295.
  // Rounding the euro amount to cents first would give 0.15 * 1936.27 = 290.
  EXPECT_EQ(ChangeCurrencyInt(ctx, 1, u"FRF", u"ITL").value, 295);
  // Half away from zero: 0.5 BEF -> 0.5 BEF is rounded to 1 (and -1).
  EXPECT_EQ(ChangeCurrency(ctx, {5, 1}, u"BEF", u"LUF").value, 1);
  EXPECT_EQ(ChangeCurrency(ctx, {-5, 1}, u"BEF", u"LUF").value, -1);
  // A real amount: 0.1 is one tenth, not the binary real just above it.
  EXPECT_EQ(RealToCurrencyCode(ctx, 0.1, u"FRF").value, 66);  // 0.655957
  EXPECT_FALSE(ctx.hasError());
  kp::numbers::ForgetCurrencyState(ctx);
}

TEST(EuroSettings, DefaultsRatesAndNamesPerProgram) {
  FakeContext a, b;
  EXPECT_EQ(DefaultStorageCurrency(a), u"EUR");
  EXPECT_EQ(DefaultDisplayCurrency(a), u"EUR");
  SetDefaultStorageCurrency(a, u"dem");
  SetDefaultDisplayCurrency(a, u"ITL");
  EXPECT_EQ(DefaultStorageCurrency(a), u"DEM");
  EXPECT_EQ(DefaultStorageCurrency(b), u"EUR");  // another program keeps its own
  // 195.583 DEM is 100 EUR; 100 EUR is 193627 ITL.
  EXPECT_EQ(ToEuro(a, {195583, 3}).value, 10000);
  EXPECT_EQ(ToCurrency(a, {100, 0}).value, 193627);
  EXPECT_EQ(ToEuro(b, {195583, 3}).value, 19558);  // b stores euros: 195.583 to cents
  EXPECT_EQ(ToEuro(b, {195583, 3}).scale, 2);

  // An unknown code leaves the default as it was.
  SetDefaultStorageCurrency(a, u"USD");
  EXPECT_EQ(a.errorId(), kp::kErrUnknownCurrency);
  EXPECT_EQ(DefaultStorageCurrency(a), u"DEM");
  a.clearError();

  // Rates: six significant figures, the program's own; the euro's stays 1.
  EXPECT_DOUBLE_EQ(ExchangeRate(a, u"FRF"), 6.55957);
  EXPECT_DOUBLE_EQ(ExchangeRate(a, u"GRD"), 340.75);
  EXPECT_DOUBLE_EQ(SetExchangeRate(a, u"FRF", 6.5595749), 6.55957);
  EXPECT_DOUBLE_EQ(SetExchangeRate(a, u"FRF", 7.1234567), 7.12346);
  EXPECT_DOUBLE_EQ(SetExchangeRate(a, u"FRF", 9.9999951), 10.0);
  EXPECT_DOUBLE_EQ(SetExchangeRate(a, u"FRF", 7), 7.0);
  EXPECT_EQ(ToEuroFrom(a, {70, 0}, u"FRF").value, 1000);
  EXPECT_DOUBLE_EQ(ExchangeRate(b, u"FRF"), 6.55957);
  EXPECT_EQ(SetExchangeRate(a, u"EUR", 2), 0);
  EXPECT_EQ(a.errorId(), kp::kErrEuroRateIsFixed);
  a.clearError();

  // Names.
  EXPECT_EQ(CurrencyNameIn(a, u"NLG", 1), u"florin néerlandais");
  EXPECT_EQ(CurrencyNameIn(a, u"NLG", 2), u"Dutch guilder");
  EXPECT_EQ(CurrencyName(a, u"hrk"), u"kuna croate");  // the context speaks French
  EXPECT_EQ(CurrencyNameIn(a, u"NLG", 3), u"");
  EXPECT_EQ(a.errorId(), kp::kErrUnknownCurrencyNameForm);
  a.clearError();

  // eInitDevise puts everything back.
  EXPECT_TRUE(InitCurrency(a));
  EXPECT_EQ(DefaultStorageCurrency(a), u"EUR");
  EXPECT_EQ(DefaultDisplayCurrency(a), u"EUR");
  EXPECT_DOUBLE_EQ(ExchangeRate(a, u"FRF"), 6.55957);
  EXPECT_EQ(RoundDifference(a).value, 0);
  EXPECT_FALSE(a.hasError());
  ForgetCurrencyState(a);
  ForgetCurrencyState(b);
}

TEST(EuroBadInput, ClearErrorsAndZero) {
  FakeContext ctx;
  ToEuroFrom(ctx, {100, 0}, u"FRF");
  ASSERT_NE(RoundDifference(ctx).value, 0);

  struct Case {
    Currency got;
    int32_t error;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<std::pair<const char*, std::function<Currency()>>> cases = {
      {"unknown code",
       [&] {
         return ToEuroFrom(ctx, {1, 0}, u"XYZ");
       }},
      {"empty code",
       [&] {
         return ToCurrencyCode(ctx, {1, 0}, u"");
       }},
      {"code too long",
       [&] {
         return ChangeCurrency(ctx, {1, 0}, u"FRFF", u"EUR");
       }},
      {"unknown target", [&] { return ChangeCurrencyInt(ctx, 1, u"FRF", u"US$"); }},
      {"NaN", [&] { return RealToEuroFrom(ctx, nan, u"FRF"); }},
      {"infinity", [&] { return RealToCurrencyCode(ctx, -inf, u"FRF"); }},
      {"huge real", [&] { return RealToEuroFrom(ctx, 1e300, u"FRF"); }},
      {"real past 64 bits", [&] { return RealToEuroFrom(ctx, 9.3e18, u"EUR"); }},
      {"negative scale past 64 bits",
       [&] {
         return ChangeCurrency(ctx, {1, -19}, u"EUR", u"EUR");
       }},
      {"result past 64 bits",
       [&] {
         return ChangeCurrency(ctx, {INT64_MAX, 0}, u"EUR", u"ITL");
       }},
      {"lowest value",
       [&] {
         return ChangeCurrency(ctx, {INT64_MIN, 0}, u"EUR", u"ITL");
       }},
  };
  for (auto& [what, call] : cases) {
    ctx.clearError();
    const Currency got = call();
    EXPECT_EQ(got.value, 0) << what;
    EXPECT_TRUE(ctx.errorId() == kp::kErrUnknownCurrency || ctx.errorId() == kp::kErrCurrencyAmountOutOfRange)
        << what << ": " << ctx.errorId();
    EXPECT_EQ(RoundDifference(ctx).value, 0) << what << ": a failure leaves no difference";
  }
  ctx.clearError();
  // Extreme scales that still mean something: far decimals round to 0, a
  // zero with any scale is zero.
  EXPECT_EQ(ChangeCurrency(ctx, {INT64_MAX, 32767}, u"EUR", u"ITL").value, 0);
  EXPECT_EQ(ChangeCurrency(ctx, {0, -32768}, u"EUR", u"ITL").value, 0);
  EXPECT_EQ(ChangeCurrency(ctx, {INT64_MIN, 18}, u"EUR", u"ITL").value, -17859);  // -9.22... EUR
  EXPECT_EQ(ChangeCurrency(ctx, {INT64_MIN, 2}, u"EUR", u"EUR").value, INT64_MIN);  // the lowest cell, unchanged
  EXPECT_EQ(ChangeCurrency(ctx, {INT64_MIN, 3}, u"eur", u"EUR").value, -922337203685477581);
  EXPECT_EQ(RealToEuroFrom(ctx, 5e-324, u"ITL").value, 0);
  EXPECT_FALSE(ctx.hasError());
  // Rates a program may not set.
  for (double rate : {0.0, -1.0, nan, 1e-7, 1e12, inf}) {
    ctx.clearError();
    EXPECT_EQ(SetExchangeRate(ctx, u"FRF", rate), 0) << rate;
    EXPECT_TRUE(ctx.errorId() == kp::kErrExchangeRateNotPositive || ctx.errorId() == kp::kErrExchangeRateOutOfRange)
        << rate;
  }
  ctx.clearError();
  EXPECT_EQ(ExchangeRate(ctx, u"XXX"), 0);
  EXPECT_EQ(ctx.errorId(), kp::kErrUnknownCurrency);
  ForgetCurrencyState(ctx);
}

// The look-up by code against a plain scan of the table, over every
// three-character code made of letters and of the characters next to them
// (and a few beyond ASCII whose low bits are a letter's).
TEST(EuroCodes, LookUpAgreesWithAScanOfTheTable) {
  auto scan = [](std::u16string_view code) -> const CurrencyInfo* {
    if (code.size() != 3) return nullptr;
    for (const CurrencyInfo& c : Currencies()) {
      bool same = true;
      for (size_t i = 0; i < 3; ++i) {
        const char16_t ch = code[i] >= u'a' && code[i] <= u'z' ? code[i] - u'a' + u'A' : code[i];
        same = same && ch == c.code[i];
      }
      if (same) return &c;
    }
    return nullptr;
  };
  std::u16string alphabet = u"@[\\]^_`{|}~\x7F 0?\u00C4\u00E4\u0141\u0161\u0144\u0164\uFF21\uFF41\u2045";
  for (char16_t c = u'A'; c <= u'Z'; ++c) alphabet += {c, static_cast<char16_t>(c + 32)};
  size_t found = 0;
  std::u16string code(3, u' ');
  for (char16_t a : alphabet)
    for (char16_t b : alphabet)
      for (char16_t c : alphabet) {
        code[0] = a, code[1] = b, code[2] = c;
        const CurrencyInfo* got = FindCurrency(code);
        ASSERT_EQ(got, scan(code)) << std::string(code.begin(), code.end());
        found += got != nullptr;
      }
  EXPECT_EQ(found, Currencies().size() * 8);  // each code in its 8 mixes of case
  for (std::u16string_view bad : {u"", u"D", u"DE", u"DEMX", u"EURO"}) EXPECT_EQ(FindCurrency(bad), nullptr);
}

// The per-thread record of the last program: a thread's first call (even
// without a program), programs taking turns, and a forgotten program that
// comes back with its defaults.
TEST(EuroSettings, StateFollowsTheProgramOnEveryThread) {
  Currency fromThread{};
  std::u16string storage;
  std::thread([&] {
    fromThread = ChangeCurrency(nullptr, {195583, 3}, u"DEM", u"EUR");
    storage = DefaultStorageCurrency(nullptr);
  }).join();
  EXPECT_EQ(fromThread.value, 10000);
  EXPECT_EQ(storage, u"EUR");

  FakeContext a, b;
  SetDefaultStorageCurrency(a, u"FRF");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ToEuro(a, {655957, 3}).value, 10000);
    EXPECT_EQ(ToEuro(b, {655957, 3}).value, 65596);
  }
  std::thread([&] { EXPECT_EQ(DefaultStorageCurrency(a), u"FRF"); }).join();
  // Many programs taking turns: some share a slot of the recent table.
  std::vector<std::unique_ptr<FakeContext>> many;
  for (int i = 0; i < 200; ++i) {
    many.push_back(std::make_unique<FakeContext>());
    SetDefaultStorageCurrency(*many.back(), i % 2 ? u"DEM" : u"ITL");
  }
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 200; ++i) ASSERT_EQ(DefaultStorageCurrency(*many[i]), i % 2 ? u"DEM" : u"ITL") << i;
  for (auto& m : many) ForgetCurrencyState(*m);
  ForgetCurrencyState(a);
  EXPECT_EQ(DefaultStorageCurrency(a), u"EUR");
  EXPECT_EQ(ToEuro(b, {655957, 3}).value, 65596);
  ForgetCurrencyState(a);
  ForgetCurrencyState(b);
  ForgetCurrencyState(nullptr);
}

// Programs on several threads at once, each thread switching between two
// of its own (so slots of the recent table change hands), while another
// thread keeps making and forgetting programs: every answer stays its
// program's own.
TEST(EuroSettings, ProgramsOnManyThreadsAtOnce) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::thread churn([&] {
    while (!stop.load()) {
      FakeContext passing;
      SetDefaultStorageCurrency(passing, u"ESP");
      if (DefaultStorageCurrency(passing) != u"ESP") ++wrong;
      ForgetCurrencyState(passing);
    }
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t)
    workers.emplace_back([&, t] {
      FakeContext francs, marks;
      SetDefaultStorageCurrency(francs, u"FRF");
      SetDefaultStorageCurrency(marks, u"DEM");
      for (int i = 0; i < 3000; ++i) {
        const int64_t amount = 1000 * (t + 1) + i;
        // FRF to EUR and DEM to EUR, each from the program's own default.
        if (ToEuro(francs, {amount * 655957, 7}).value != amount || ToEuro(marks, {amount * 195583, 7}).value != amount)
          ++wrong;
      }
      ForgetCurrencyState(francs);
      ForgetCurrencyState(marks);
    });
  for (auto& w : workers) w.join();
  stop = true;
  churn.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
