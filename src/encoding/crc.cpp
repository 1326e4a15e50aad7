// kp160std — CRC-32 and CRC-16.
#include "encoding/crc.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string>
#include <type_traits>
#include <variant>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KP_CRC32_FOLDING 1
#endif

namespace kp::encoding {
namespace {

// --- CRC-32 -----------------------------------------------------------------
// Table 0 is the usual reflected table of polynomial 0xEDB88320 (0x00000000,
// 0x77073096, 0xEE0E612C, 0x990951BA, ...). Table k gives the effect of a
// byte followed by k zero bytes, which lets the loop take 16 bytes at once.
using Crc32Table = std::array<std::array<uint32_t, 256>, 16>;

constexpr Crc32Table MakeCrc32Tables() {
  Crc32Table t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t r = i;
    for (int k = 0; k < 8; ++k) r = (r >> 1) ^ (0xEDB88320u & (0u - (r & 1u)));
    t[0][i] = r;
  }
  for (size_t k = 1; k < t.size(); ++k)
    for (size_t i = 0; i < 256; ++i) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xff];
  return t;
}

constexpr Crc32Table kCrc32 = MakeCrc32Tables();
static_assert(kCrc32[0][1] == 0x77073096u && kCrc32[0][2] == 0xEE0E612Cu && kCrc32[0][3] == 0x990951BAu);

inline uint32_t Load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
  return v;
}

// `r` is the inverted register.
uint32_t Crc32Register(uint32_t r, const uint8_t* p, size_t n) {
  const auto& t = kCrc32;
  while (n >= 16) {
    const uint32_t a = Load32(p) ^ r, b = Load32(p + 4), c = Load32(p + 8), d = Load32(p + 12);
    r = t[15][a & 0xff] ^ t[14][(a >> 8) & 0xff] ^ t[13][(a >> 16) & 0xff] ^ t[12][a >> 24] ^
        t[11][b & 0xff] ^ t[10][(b >> 8) & 0xff] ^ t[9][(b >> 16) & 0xff] ^ t[8][b >> 24] ^
        t[7][c & 0xff] ^ t[6][(c >> 8) & 0xff] ^ t[5][(c >> 16) & 0xff] ^ t[4][c >> 24] ^
        t[3][d & 0xff] ^ t[2][(d >> 8) & 0xff] ^ t[1][(d >> 16) & 0xff] ^ t[0][d >> 24];
    p += 16;
    n -= 16;
  }
  while (n--) r = t[0][(r ^ *p++) & 0xff] ^ (r >> 8);
  return r;
}

#if KP_CRC32_FOLDING
// Folding with carry-less multiplication: four 128-bit lanes are folded
// forward by 64 bytes at a time, then into one lane, then reduced to 32 bits
// (Barrett). The constants are powers of x modulo the reflected polynomial:
// k1 = x^(4*128+32), k2 = x^(4*128-32), k3 = x^(128+32), k4 = x^(128-32),
// k5 = x^64, and the Barrett pair (polynomial, floor(x^64 / polynomial)).
// Needs at least 64 bytes; consumes a multiple of 16 and returns the
// inverted register.
#define KP_FOLD_TARGET __attribute__((target("pclmul,sse4.1")))

// One 128-bit lane folded forward by k and merged with the next 16 bytes.
KP_FOLD_TARGET inline __m128i Fold16(__m128i acc, __m128i k, __m128i next) {
  const __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
  const __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
  return _mm_xor_si128(_mm_xor_si128(hi, next), lo);
}

KP_FOLD_TARGET inline __m128i Load128(const uint8_t* q) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q)); }

KP_FOLD_TARGET uint32_t FoldRegister(uint32_t r, const uint8_t* p, size_t n) {
  alignas(16) static const uint64_t k1k2[] = {0x0154442bd4, 0x01c6e41596};
  alignas(16) static const uint64_t k3k4[] = {0x01751997d0, 0x00ccaa009e};
  alignas(16) static const uint64_t k5k0[] = {0x0163cd6124, 0x0000000000};
  alignas(16) static const uint64_t poly[] = {0x01db710641, 0x01f7011641};

  __m128i x1 = Load128(p), x2 = Load128(p + 16), x3 = Load128(p + 32), x4 = Load128(p + 48);
  x1 = _mm_xor_si128(x1, _mm_cvtsi32_si128(static_cast<int>(r)));
  __m128i k = _mm_load_si128(reinterpret_cast<const __m128i*>(k1k2));
  p += 64;
  n -= 64;

  while (n >= 64) {
    const __m128i l1 = _mm_clmulepi64_si128(x1, k, 0x00), l2 = _mm_clmulepi64_si128(x2, k, 0x00);
    const __m128i l3 = _mm_clmulepi64_si128(x3, k, 0x00), l4 = _mm_clmulepi64_si128(x4, k, 0x00);
    x1 = _mm_clmulepi64_si128(x1, k, 0x11);
    x2 = _mm_clmulepi64_si128(x2, k, 0x11);
    x3 = _mm_clmulepi64_si128(x3, k, 0x11);
    x4 = _mm_clmulepi64_si128(x4, k, 0x11);
    x1 = _mm_xor_si128(_mm_xor_si128(x1, l1), Load128(p));
    x2 = _mm_xor_si128(_mm_xor_si128(x2, l2), Load128(p + 16));
    x3 = _mm_xor_si128(_mm_xor_si128(x3, l3), Load128(p + 32));
    x4 = _mm_xor_si128(_mm_xor_si128(x4, l4), Load128(p + 48));
    p += 64;
    n -= 64;
  }

  k = _mm_load_si128(reinterpret_cast<const __m128i*>(k3k4));
  x1 = Fold16(x1, k, x2);
  x1 = Fold16(x1, k, x3);
  x1 = Fold16(x1, k, x4);
  while (n >= 16) {
    x1 = Fold16(x1, k, Load128(p));
    p += 16;
    n -= 16;
  }

  // 128 bits to 64.
  const __m128i mask32 = _mm_setr_epi32(~0, 0, ~0, 0);
  x2 = _mm_clmulepi64_si128(x1, k, 0x10);
  x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), x2);
  k = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(k5k0));
  x2 = _mm_srli_si128(x1, 4);
  x1 = _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), k, 0x00);
  x1 = _mm_xor_si128(x1, x2);

  // Barrett reduction to 32 bits.
  k = _mm_load_si128(reinterpret_cast<const __m128i*>(poly));
  x2 = _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), k, 0x10);
  x2 = _mm_clmulepi64_si128(_mm_and_si128(x2, mask32), k, 0x00);
  x1 = _mm_xor_si128(x1, x2);
  return static_cast<uint32_t>(_mm_extract_epi32(x1, 1));
}

bool CpuCanFold() {
  static const bool can = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
  }();
  return can;
}
#endif

constexpr size_t kFoldMinimum = 64;

// --- CRC-16 -----------------------------------------------------------------
using Crc16Table = std::array<uint16_t, 256>;

const Crc16Table& Crc16Lookup() {
  // Built on first use; a function-local static is built exactly once even
  // when two threads race to the first call.
  static const Crc16Table table = [] {
    Crc16Table t{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t v = i << 8, acc = 0;
      for (int k = 0; k < 8; ++k) {
        acc = ((v ^ acc) & 0x8000u) ? (acc << 1) ^ 0x1021u : acc << 1;
        v <<= 1;
      }
      t[i] = static_cast<uint16_t>(acc);
    }
    return t;
  }();
  return table;
}

// Kept on purpose: the byte enters the low end after the table step (the
// augmented form), not the direct table form most CRC-16 code uses.
inline uint16_t Crc16Step(const Crc16Table& t, uint16_t r, uint8_t b) {
  return static_cast<uint16_t>(t[r >> 8] ^ b ^ (r << 8));
}

template <typename T>
std::u16string Decimal(T n) {
  char buf[32];
  const auto end = std::to_chars(buf, buf + sizeof buf, n).ptr;
  return std::u16string(buf, end);
}

// A non-buffer argument is checksummed as its text form.
std::u16string AsText(const Value& v) {
  return std::visit(
      [](const auto& x) -> std::u16string {
        using T = std::decay_t<decltype(x)>;
        if constexpr (std::is_same_v<T, std::monostate>) return {};
        else if constexpr (std::is_same_v<T, bool>) return x ? u"1" : u"0";
        else if constexpr (std::is_same_v<T, std::u16string>) return x;
        else if constexpr (std::is_same_v<T, Bytes>) return {};  // handled by the caller
        else return Decimal(x);
      },
      v);
}

}  // namespace

uint32_t Crc32Tables(uint32_t start, std::span<const uint8_t> data) {
  if (data.empty()) return start;
  return ~Crc32Register(~start, data.data(), data.size());
}

bool Crc32Folding(uint32_t start, std::span<const uint8_t> data, uint32_t* out) {
#if KP_CRC32_FOLDING
  if (!CpuCanFold()) return false;
  if (data.size() < kFoldMinimum) {
    *out = Crc32Tables(start, data);
    return true;
  }
  const size_t folded = data.size() & ~size_t{15};
  uint32_t r = FoldRegister(~start, data.data(), folded);
  r = Crc32Register(r, data.data() + folded, data.size() - folded);
  *out = ~r;
  return true;
#else
  (void)start;
  (void)data;
  (void)out;
  return false;
#endif
}

uint32_t Crc32(uint32_t start, std::span<const uint8_t> data) {
  uint32_t r;
  if (data.size() >= kFoldMinimum && Crc32Folding(start, data, &r)) return r;
  return Crc32Tables(start, data);
}

uint16_t Crc16(std::span<const uint8_t> data) {
  const auto& t = Crc16Lookup();
  uint16_t r = 0;
  for (uint8_t b : data) r = Crc16Step(t, r, b);
  return r;
}

uint16_t Crc16(std::u16string_view text) {
  const auto& t = Crc16Lookup();
  uint16_t r = 0;
  for (char16_t c : text) r = Crc16Step(t, r, static_cast<uint8_t>(c & 0xff));
  return r;
}

int32_t ComputeCrc32(ExecContext*, std::span<const uint8_t> buffer) {
  return static_cast<int32_t>(Crc32(0, buffer));
}

int32_t ComputeCrc32From(ExecContext*, std::span<const uint8_t> buffer, int32_t start) {
  return static_cast<int32_t>(Crc32(static_cast<uint32_t>(start), buffer));
}

int32_t ComputeCrc16(ExecContext*, const VariantArg& value) {
  const Value v = value.Get().value_or(Value{});
  uint16_t r;
  if (const auto* bytes = std::get_if<Bytes>(&v)) {
    r = Crc16(std::span<const uint8_t>(*bytes));
  } else {
    // Only the characters of the text count, not its terminating zero.
    r = Crc16(std::u16string_view(AsText(v)));
  }
  return static_cast<int16_t>(r);  // sign-extended: -32768..32767
}

}  // namespace kp::encoding
