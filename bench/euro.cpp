// The euro family beside its anchor: eChangeDevise (DEM to FRF, through the
// euro, with the program's settings, the code look-ups and the rounding
// difference) and its exact core, against the same conversion written as
// plain integer arithmetic (one 128-bit product and division, rounded half
// away from zero) in the same run.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "numbers/euro.h"

namespace {

// Amounts in pfennigs, varied so that no result can be folded away.
std::array<int64_t, 256> Amounts() {
  std::array<int64_t, 256> out{};
  uint64_t x = 88172645463325252ull;
  for (auto& a : out) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    a = static_cast<int64_t>(x % 100000000000ull) - 50000000000;
  }
  return out;
}
const std::array<int64_t, 256> kAmounts = Amounts();

// The anchor: amount (cents of DEM) * 6.55957 / 1.95583, in cents of FRF.
int64_t PlainDemToFrf(int64_t cents) {
  const __int128 num = static_cast<__int128>(cents) * 655957;
  const __int128 den = 195583;
  const __int128 magnitude = num < 0 ? -num : num;
  __int128 q = magnitude / den;
  if (2 * (magnitude % den) >= den) ++q;
  return static_cast<int64_t>(num < 0 ? -q : q);
}

void BM_EuroPlainIntegerAnchor(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PlainDemToFrf(kAmounts[i++ & 255]));
  }
}
BENCHMARK(BM_EuroPlainIntegerAnchor);

// The anchor checked: the rates as constants change nothing (the same with
// rates read at run time), but 64-bit arithmetic alone is faster. It is
// exact only while the product fits 64 bits (every amount here does; a
// cell's whole range needs the 128 bits above), so it is the stricter
// reference, not the anchor.
volatile int64_t gDemDigits = 195583, gFrfDigits = 655957;

int64_t Plain64(int64_t cents, int64_t to, int64_t from) {
  int64_t num;
  if (__builtin_mul_overflow(cents, to, &num)) return 0;
  const uint64_t m = num < 0 ? 0 - static_cast<uint64_t>(num) : static_cast<uint64_t>(num);
  const auto d = static_cast<uint64_t>(from);
  uint64_t q = m / d;
  if (2 * (m % d) >= d) ++q;
  return num < 0 ? -static_cast<int64_t>(q) : static_cast<int64_t>(q);
}

void BM_EuroPlain64BitsRuntimeRates(benchmark::State& state) {
  const int64_t to = gFrfDigits, from = gDemDigits;
  for (int64_t a : kAmounts)
    if (Plain64(a, to, from) != PlainDemToFrf(a)) {
      state.SkipWithError("the 64-bit reference and the anchor disagree");
      return;
    }
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Plain64(kAmounts[i++ & 255], to, from));
  }
}
BENCHMARK(BM_EuroPlain64BitsRuntimeRates);

void BM_EuroConvertCore(benchmark::State& state) {
  size_t i = 0;
  const kp::numbers::EuroRate dem{195583, 5}, frf{655957, 5};
  kp::Currency result, difference;
  for (auto _ : state) {
    kp::numbers::ConvertThroughEuro({kAmounts[i++ & 255], 2}, dem, frf, 2, &result, &difference);
    benchmark::DoNotOptimize(result);
    benchmark::DoNotOptimize(difference);
  }
}
BENCHMARK(BM_EuroConvertCore);

void BM_EuroChangeCurrency(benchmark::State& state) {
  for (int64_t a : kAmounts)
    if (kp::numbers::ChangeCurrency(nullptr, {a, 2}, u"DEM", u"FRF").value != PlainDemToFrf(a)) {
      state.SkipWithError("the conversion and its anchor disagree");
      return;
    }
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kp::numbers::ChangeCurrency(nullptr, {kAmounts[i++ & 255], 2}, u"DEM", u"FRF"));
  }
}
BENCHMARK(BM_EuroChangeCurrency);

}  // namespace
