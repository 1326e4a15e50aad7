// CRC-32 beside zlib's crc32 (the anchor), and URL encoding and decoding.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "encoding/crc.h"
#include "encoding/url.h"

namespace {

std::vector<uint8_t> Bytes(size_t n) {
  std::mt19937 rng(1);
  std::vector<uint8_t> v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

void BM_Crc32_Zlib(benchmark::State& state) {
  const auto data = Bytes(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, data.data(), static_cast<uInt>(data.size())));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Crc32(benchmark::State& state) {
  const auto data = Bytes(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::ComputeCrc32(nullptr, data));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Crc32_Tables(benchmark::State& state) {
  const auto data = Bytes(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::Crc32Tables(0, data));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Crc32_Zlib)->Arg(4096)->Arg(1 << 20);
BENCHMARK(BM_Crc32)->Arg(4096)->Arg(1 << 20);
BENCHMARK(BM_Crc32_Tables)->Arg(4096)->Arg(1 << 20);

// Typical query text: mostly letters, some spaces and punctuation, some
// accented letters.
std::u16string QueryText(size_t n) {
  const std::u16string alphabet = u"abcdefghij KLMNOP=&?/ é+%ü";
  std::mt19937 rng(2);
  std::u16string s(n, u' ');
  for (auto& c : s) c = alphabet[rng() % alphabet.size()];
  return s;
}

void BM_UrlEncode(benchmark::State& state) {
  const std::u16string text = QueryText(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::UrlEncode(nullptr, text));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);  // UTF-16 input bytes
}

void BM_UrlDecode(benchmark::State& state) {
  const std::u16string text = kp::encoding::UrlEncode(nullptr, QueryText(static_cast<size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::UrlDecode(nullptr, text));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()) * 2);
}

BENCHMARK(BM_UrlEncode)->Arg(4096)->Arg(1 << 20);
BENCHMARK(BM_UrlDecode)->Arg(4096)->Arg(1 << 20);

}  // namespace
