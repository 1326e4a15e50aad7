// CRC-32 beside zlib's crc32 (the anchor), URL encoding and decoding;
// compression, encryption and binary differences beside their anchors.
#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <zlib.h>

#include <cstring>

#include <random>
#include <string>
#include <vector>

#include "encoding/binary_diff.h"
#include "encoding/compress.h"
#include "encoding/crc.h"
#include "encoding/crypt.h"
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

// --- compression, encryption, binary differences ------------------------------
// Each beside its anchor: zlib's compress2 at the same level, libgcrypt's
// raw AES-256-GCM call, a plain copy of the same bytes.

// Half text-like, half random: deflate has work on both kinds.
std::vector<uint8_t> Mixed(size_t n) {
  std::mt19937 rng(3);
  const char* words[] = {"alpha ", "beta ", "gamma ", "delta\r\n", "epsilon "};
  std::vector<uint8_t> v;
  while (v.size() < n / 2) {
    const char* w = words[rng() % 5];
    v.insert(v.end(), w, w + std::strlen(w));
  }
  while (v.size() < n) v.push_back(static_cast<uint8_t>(rng()));
  v.resize(n);
  return v;
}

void BM_Compress2_Zlib(benchmark::State& state) {
  const auto data = Mixed(1 << 20);
  std::vector<uint8_t> out(compressBound(static_cast<uLong>(data.size())));
  for (auto _ : state) {
    uLongf size = static_cast<uLongf>(out.size());
    compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), Z_DEFAULT_COMPRESSION);
    benchmark::DoNotOptimize(size);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

void BM_Compress(benchmark::State& state) {
  const auto data = Mixed(1 << 20);
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::Compress(nullptr, data, kp::encoding::kCompressLzw));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

BENCHMARK(BM_Compress2_Zlib)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Compress)->Unit(benchmark::kMillisecond);

void BM_AesGcm_Gcrypt(benchmark::State& state) {
  const auto data = Bytes(1 << 20);
  std::vector<uint8_t> out(data.size() + 16);
  const uint8_t key[32] = {1};
  const uint8_t nonce[12] = {2};
  kp::encoding::AesGcmSeal(key, nonce, {}, {});  // libgcrypt initialised outside the loop
  for (auto _ : state) {
    gcry_cipher_hd_t h;
    gcry_cipher_open(&h, GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_GCM, 0);
    gcry_cipher_setkey(h, key, 32);
    gcry_cipher_setiv(h, nonce, 12);
    gcry_cipher_encrypt(h, out.data(), data.size(), data.data(), data.size());
    gcry_cipher_gettag(h, out.data() + data.size(), 16);
    gcry_cipher_close(h);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

// Crypte's work after the key derivation: the container around the cipher.
void BM_CrypteSealWithKey(benchmark::State& state) {
  const auto data = Bytes(1 << 20);
  const uint8_t key[32] = {1};
  const uint8_t salt[16] = {3};
  for (auto _ : state)
    benchmark::DoNotOptimize(kp::encoding::SealWithKey(data, 0, key, salt, kp::encoding::kFastIterations));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

// The key derivation alone, at each method's count.
void BM_CrypteKeyDerivation(benchmark::State& state) {
  const uint8_t salt[16] = {3};
  uint8_t key[32];
  for (auto _ : state) kp::encoding::DeriveKey("password", salt, static_cast<uint32_t>(state.range(0)), key);
}

BENCHMARK(BM_AesGcm_Gcrypt)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrypteSealWithKey)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrypteKeyDerivation)
    ->Arg(kp::encoding::kFastIterations)
    ->Arg(kp::encoding::kSecureIterations)
    ->Unit(benchmark::kMillisecond);

std::pair<std::vector<uint8_t>, std::vector<uint8_t>> OnePercentChanged() {
  auto a = Bytes(1 << 20);
  auto b = a;
  std::mt19937 rng(4);
  for (size_t i = 0; i < b.size() / 100; ++i) b[rng() % b.size()] ^= 0x5a;
  return {a, b};
}

void BM_Copy_1MiB(benchmark::State& state) {
  const auto [a, b] = OnePercentChanged();
  for (auto _ : state) {
    std::vector<uint8_t> copy(b);
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(b.size()));
}

void BM_DiffCreate(benchmark::State& state) {
  const auto [a, b] = OnePercentChanged();
  size_t size = 0;
  for (auto _ : state) {
    const auto patch = kp::encoding::MakePatch(a, b, state.range(0) != 0);
    size = patch.size();
    benchmark::DoNotOptimize(patch.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(b.size()));
  state.counters["patch_bytes"] = static_cast<double>(size);
}

void BM_DiffApply(benchmark::State& state) {
  const auto [a, b] = OnePercentChanged();
  const auto patch = kp::encoding::MakePatch(a, b, false);
  kp::Bytes out;
  for (auto _ : state) benchmark::DoNotOptimize(kp::encoding::ApplyPatch(a, patch, &out));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(b.size()));
}

BENCHMARK(BM_Copy_1MiB)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DiffCreate)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DiffApply)->Unit(benchmark::kMillisecond);

}  // namespace
