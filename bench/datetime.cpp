// The date conversions beside anchors in the same run: std::chrono's civil
// calendar for day numbers, snprintf for masked formatting. The library's
// figures include its validity checks and UTF-16 results.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "datetime/calendar.h"
#include "datetime/format.h"
#include "datetime/values.h"

namespace {

using namespace std::chrono;

constexpr int kCount = 1024;

// Day numbers spread over 1900..2100 and their date strings.
const std::vector<int32_t>& Numbers() {
  static const std::vector<int32_t> numbers = [] {
    std::vector<int32_t> v;
    for (int i = 0; i < kCount; ++i) v.push_back(36525 + i * 71);
    return v;
  }();
  return numbers;
}

const std::vector<std::u16string>& Dates() {
  static const std::vector<std::u16string> dates = [] {
    std::vector<std::u16string> v;
    for (int32_t n : Numbers()) v.push_back(kp::datetime::IntegerToDate(nullptr, n, {}));
    return v;
  }();
  return dates;
}

const sys_days kOrigin{year{1800} / January / 1};

year_month_day ParseAnchor(const std::u16string& s) {
  auto num = [&](size_t at, size_t n) {
    int v = 0;
    for (size_t i = at; i < at + n; ++i) v = v * 10 + (s[i] - u'0');
    return v;
  };
  return year{num(0, 4)} / month{static_cast<unsigned>(num(4, 2))} / day{static_cast<unsigned>(num(6, 2))};
}

std::u16string Widen(const char* text, int n) { return std::u16string(text, text + n); }

void DateToInteger(benchmark::State& state) {
  const auto& dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kp::datetime::DateToInteger(nullptr, dates[i++ & (kCount - 1)], 0));
  }
}
BENCHMARK(DateToInteger);

void DateToInteger_AnchorChrono(benchmark::State& state) {
  const auto& dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    const year_month_day ymd = ParseAnchor(dates[i++ & (kCount - 1)]);
    int32_t n = ymd.ok() ? static_cast<int32_t>((sys_days{ymd} - kOrigin).count()) + 1 : -1;
    benchmark::DoNotOptimize(n);
  }
}
BENCHMARK(DateToInteger_AnchorChrono);

void IntegerToDate(benchmark::State& state) {
  const auto& numbers = Numbers();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kp::datetime::IntegerToDate(nullptr, numbers[i++ & (kCount - 1)], {}));
  }
}
BENCHMARK(IntegerToDate);

void IntegerToDate_AnchorChronoSnprintf(benchmark::State& state) {
  const auto& numbers = Numbers();
  size_t i = 0;
  for (auto _ : state) {
    const year_month_day ymd{kOrigin + days{numbers[i++ & (kCount - 1)] - 1}};
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%04d%02u%02u", static_cast<int>(ymd.year()),
                                static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()));
    benchmark::DoNotOptimize(Widen(text, n));
  }
}
BENCHMARK(IntegerToDate_AnchorChronoSnprintf);

void DateToStringMask(benchmark::State& state) {
  const auto& dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kp::datetime::DateToString(nullptr, dates[i++ & (kCount - 1)], u"JJ/MM/AAAA"));
  }
}
BENCHMARK(DateToStringMask);

void DateToStringMask_AnchorSnprintf(benchmark::State& state) {
  const auto& dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    const year_month_day ymd = ParseAnchor(dates[i++ & (kCount - 1)]);
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%02u/%02u/%04d", static_cast<unsigned>(ymd.day()),
                                static_cast<unsigned>(ymd.month()), static_cast<int>(ymd.year()));
    benchmark::DoNotOptimize(Widen(text, n));
  }
}
BENCHMARK(DateToStringMask_AnchorSnprintf);

void DateToStringMaskNames(benchmark::State& state) {
  const auto& dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        kp::datetime::DateToString(nullptr, dates[i++ & (kCount - 1)], u"JJJJ JJ MMMM AAAA"));
  }
}
BENCHMARK(DateToStringMaskNames);

}  // namespace
