// The date conversions beside anchors in the same run: std::chrono's civil
// calendar for day numbers, snprintf for masked formatting, the C library's
// localtime_r for universal to local time, and clock_gettime + localtime_r +
// snprintf for the device clock (DateSys, HeureSys/Maintenant). The
// library's figures include its validity checks and UTF-16 results; the
// clock's include the device offset, shared with other processes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "datetime/arithmetic.h"
#include "datetime/calendar.h"
#include "datetime/clock.h"
#include "datetime/format.h"
#include "datetime/values.h"
#include "kp160std/abi.h"

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

// Universal to local time in a zone with daylight saving, instants spread
// over 2024 (the zone record is read once and cached).
void UTCToLocal(benchmark::State& state) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  std::vector<int64_t> moments;
  for (int i = 0; i < kCount; ++i) {
    const auto d = year_month_day{sys_days{year{2024} / January / 1} + days{i * 367 % 366}};
    moments.push_back(kp::datetime::Pack({static_cast<uint8_t>(static_cast<unsigned>(d.day())),
                                          static_cast<uint8_t>(static_cast<unsigned>(d.month())), 2024,
                                          static_cast<uint32_t>(i * 84331 % 86400000)}));
  }
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kp::datetime::DateTimeUTCToLocal(nullptr, moments[i++ & (kCount - 1)]));
}
BENCHMARK(UTCToLocal);

void UTCToLocal_AnchorLocaltime(benchmark::State& state) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  std::vector<time_t> moments;
  for (int i = 0; i < kCount; ++i) moments.push_back(1704067200 + static_cast<time_t>(i) * 30817);
  size_t i = 0;
  for (auto _ : state) {
    tm local{};
    localtime_r(&moments[i++ & (kCount - 1)], &local);
    char text[40];
    const int n = std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d%03d", local.tm_year + 1900,
                                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, 0);
    benchmark::DoNotOptimize(Widen(text, n));
  }
}
BENCHMARK(UTCToLocal_AnchorLocaltime);

// The device clock: DateSys() and HeureSys() (Maintenant() is the same
// function), each beside the plain C way to the same text.
// The clock's map lives in the device prefix: one of the run's own unless a
// prefix is already chosen (the registry benchmarks make theirs).
void ClockPrefix() {
  static const bool chosen = [] {
    const char* prefix = std::getenv("KP_PREFIX");
    if (prefix && *prefix) return true;
    static char pattern[] = "/tmp/kp-bench-clock-XXXXXX";
    return mkdtemp(pattern) && setenv("KP_PREFIX", pattern, 1) == 0;
  }();
  if (!chosen) std::abort();
}

void SystemDate(benchmark::State& state) {
  ClockPrefix();
  for (auto _ : state) benchmark::DoNotOptimize(kp::datetime::SystemDate(nullptr));
}
BENCHMARK(SystemDate);

void SystemDate_AnchorClockGettime(benchmark::State& state) {
  for (auto _ : state) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%04d%02d%02d", local.tm_year + 1900, local.tm_mon + 1,
                                local.tm_mday);
    benchmark::DoNotOptimize(Widen(text, n));
  }
}
BENCHMARK(SystemDate_AnchorClockGettime);

// A VM that lets the program read the clock (service question 9).
ExecContext* ClockContext() {
  static const ExecContextOps ops = [] {
    ExecContextOps o{};
    o.QueryService = [](ExecContext*, int32_t) -> int32_t { return 1; };
    return o;
  }();
  static ExecContext context{&ops, nullptr};
  return &context;
}

void SystemTime(benchmark::State& state) {
  ClockPrefix();
  ExecContext* context = ClockContext();
  for (auto _ : state) {
    auto text = kp::datetime::SystemTime(context);
    if (text.size() != 8) state.SkipWithError("no time");
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(SystemTime);

void SystemTime_AnchorClockGettime(benchmark::State& state) {
  for (auto _ : state) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%02d%02d%02d%02d", local.tm_hour, local.tm_min, local.tm_sec,
                                static_cast<int>(now.tv_nsec / 10000000));
    benchmark::DoNotOptimize(Widen(text, n));
  }
}
BENCHMARK(SystemTime_AnchorClockGettime);

}  // namespace
