// NumériqueVersChaîne beside snprintf with the same format in the same run
// (the anchor), for the common masks and the shortest form; TailleVersChaîne
// beside snprintf of its "%.1f".
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "numbers/number_format.h"
#include "numbers/size_text.h"

namespace {

std::vector<double> Values() {
  std::mt19937_64 rng(3);
  std::vector<double> v(1024);
  for (auto& x : v) x = std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
  return v;
}

// The masks, as KL and as C writes them.
constexpr const char* kMasksC[] = {"%.2f", "%12.3e", "%g", "%d", "Total: %+10.2f EUR"};
constexpr const char16_t* kMasks[] = {u"%.2f", u"%12.3e", u"%g", u"%d", u"Total: %+10.2f EUR"};

void BM_Snprintf(benchmark::State& state) {
  const auto values = Values();
  const char* mask = kMasksC[state.range(0)];
  const bool integer = state.range(0) == 3;
  char buf[128];
  size_t i = 0;
  for (auto _ : state) {
    const double v = values[i++ & 1023];
    const int n = integer ? std::snprintf(buf, sizeof buf, mask, static_cast<long long>(v))
                          : std::snprintf(buf, sizeof buf, mask, v);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buf);
  }
  state.SetLabel(mask);
}

// The KL function as an entry function calls it: parse the mask, read the
// device's separators, format, hand a new text back.
void BM_NumToString(benchmark::State& state) {
  const auto values = Values();
  const char16_t* mask = kMasks[state.range(0)];
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kp::numbers::NumToStringMask(nullptr, values[i++ & 1023], mask));
  state.SetLabel(kMasksC[state.range(0)]);
}

BENCHMARK(BM_Snprintf)->DenseRange(0, 4);
BENCHMARK(BM_NumToString)->DenseRange(0, 4);

void BM_Snprintf_Shortest(benchmark::State& state) {
  const auto values = Values();
  char buf[64];
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%.17g", values[i++ & 1023]));
    benchmark::DoNotOptimize(buf);
  }
}

void BM_NumToString_Shortest(benchmark::State& state) {
  const auto values = Values();
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kp::numbers::NumToString(nullptr, values[i++ & 1023]));
}

BENCHMARK(BM_Snprintf_Shortest);
BENCHMARK(BM_NumToString_Shortest);

void BM_Snprintf_Size(benchmark::State& state) {
  std::mt19937_64 rng(4);
  std::vector<int64_t> sizes(1024);
  for (auto& s : sizes) s = static_cast<int64_t>(rng() >> (rng() % 60));
  char buf[64];
  size_t i = 0;
  for (auto _ : state) {
    const int64_t s = sizes[i++ & 1023];
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%.1f KB", static_cast<double>(s) / 1024));
    benchmark::DoNotOptimize(buf);
  }
}

void BM_LengthToString(benchmark::State& state) {
  std::mt19937_64 rng(4);
  std::vector<int64_t> sizes(1024);
  for (auto& s : sizes) s = static_cast<int64_t>(rng() >> (rng() % 60));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kp::numbers::LengthToString(nullptr, sizes[i++ & 1023]));
}

BENCHMARK(BM_Snprintf_Size);
BENCHMARK(BM_LengthToString);

}  // namespace
