#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "encoding/crc.h"
#include "support/random_bytes.h"

namespace {

using kp::encoding::Crc16;
using kp::encoding::Crc32;
using kp::test::RandomBytes;

uint32_t Zlib(uint32_t start, std::span<const uint8_t> data) {
  return static_cast<uint32_t>(crc32(start, data.data(), static_cast<uInt>(data.size())));
}

std::span<const uint8_t> Span(std::string_view s) { return {reinterpret_cast<const uint8_t*>(s.data()), s.size()}; }

TEST(Crc32, CheckValueAndEmptyBuffer) {
  EXPECT_EQ(kp::encoding::ComputeCrc32(nullptr, Span("123456789")), -873187034);  // 0xCBF43926
  EXPECT_EQ(kp::encoding::ComputeCrc32From(nullptr, {}, 1234), 1234);
  EXPECT_EQ(kp::encoding::ComputeCrc32(nullptr, {}), 0);
}

// Every path against zlib, over lengths that cross the 16-byte and 64-byte
// steps and misaligned starts.
TEST(Crc32, AllPathsMatchZlib) {
  std::mt19937 rng(12345);
  const auto data = RandomBytes(rng, 1 << 20);
  const bool folding = [] {
    uint32_t r;
    return kp::encoding::Crc32Folding(0, {}, &r);
  }();
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 300; ++n) lengths.push_back(n);
  for (size_t n : {1023u, 4096u, 4097u, 65599u}) lengths.push_back(n);
  for (size_t n : lengths) {
    for (size_t offset : {0u, 1u, 7u}) {
      const auto piece = std::span<const uint8_t>(data).subspan(offset, n);
      const uint32_t start = static_cast<uint32_t>(rng());
      const uint32_t expected = Zlib(start, piece);
      ASSERT_EQ(Crc32(start, piece), expected) << n << "+" << offset;
      ASSERT_EQ(kp::encoding::Crc32Tables(start, piece), expected) << n << "+" << offset;
      if (folding) {
        uint32_t r = 0;
        ASSERT_TRUE(kp::encoding::Crc32Folding(start, piece, &r));
        ASSERT_EQ(r, expected) << n << "+" << offset;
      }
    }
  }
  EXPECT_EQ(Crc32(0, data), Zlib(0, data));
  if (!folding) GTEST_LOG_(INFO) << "no carry-less multiplication on this CPU: folding path not tested";
}

TEST(Crc32, ContinuationEqualsWhole) {
  std::mt19937 rng(99);
  for (int round = 0; round < 200; ++round) {
    const auto data = RandomBytes(rng, rng() % 5000);
    const size_t cut1 = data.empty() ? 0 : rng() % (data.size() + 1);
    const size_t cut2 = cut1 + (data.size() == cut1 ? 0 : rng() % (data.size() - cut1 + 1));
    const std::span<const uint8_t> all(data);
    int32_t running = kp::encoding::ComputeCrc32(nullptr, all.first(cut1));
    running = kp::encoding::ComputeCrc32From(nullptr, all.subspan(cut1, cut2 - cut1), running);
    running = kp::encoding::ComputeCrc32From(nullptr, all.subspan(cut2), running);
    ASSERT_EQ(static_cast<uint32_t>(running), Zlib(0, all)) << data.size() << " cut at " << cut1 << "," << cut2;
  }
}

// The augmented CRC as a shift register, bit by bit: each message bit enters
// the low end; the polynomial is applied when a one leaves the top.
uint16_t Crc16Bitwise(std::span<const uint8_t> data) {
  uint32_t reg = 0;
  for (uint8_t b : data) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool top = reg & 0x8000;
      reg = ((reg << 1) | ((b >> bit) & 1)) & 0xffff;
      if (top) reg ^= 0x1021;
    }
  }
  return static_cast<uint16_t>(reg);
}

TEST(Crc16, MatchesBitwiseShiftRegister) {
  std::mt19937 rng(7);
  for (int round = 0; round < 500; ++round) {
    const auto data = RandomBytes(rng, rng() % 300);
    ASSERT_EQ(Crc16(std::span<const uint8_t>(data)), Crc16Bitwise(data)) << data.size();
  }
}

// Augmenting the message with two zero bytes turns this register into the
// XMODEM CRC, whose check value is published.
TEST(Crc16, AugmentedWithTwoZerosIsXmodem) {
  const std::string msg("123456789\0\0", 11);
  EXPECT_EQ(Crc16(Span(msg)), 0x31C3);
  EXPECT_EQ(Crc16(Span("")), 0);
}

struct FakeVariant {
  KLVariant base;
  KLValue value;
};

int32_t KL_CALL GetValue(const KLVariant* self, KLValue* out) {
  *out = reinterpret_cast<const FakeVariant*>(self)->value;
  return 1;
}
const KLVariantOps kVariantOps{nullptr, &GetValue, nullptr};

int32_t Crc16Of(KLValue v) {
  FakeVariant fv{{&kVariantOps}, v};
  return kp::encoding::ComputeCrc16(nullptr, kp::VariantArg(&fv.base));
}

TEST(Crc16, ArgumentKindsAndSignExtension) {
  const std::u16string text = u"\u4131\u0032\u0033";  // low bytes "123"
  KLValue t{KL_T_TEXT, static_cast<uint32_t>(text.size())};
  t.u.text = text.c_str();
  const int32_t expected = static_cast<int16_t>(Crc16(Span("123")));
  EXPECT_EQ(Crc16Of(t), expected) << "a code unit counts by its low byte only";

  KLValue n{KL_T_INT, 0};
  n.u.i32 = 123;
  EXPECT_EQ(Crc16Of(n), expected) << "a number is checksummed as its text";

  // A buffer whose CRC has bit 15 set comes back negative.
  std::mt19937 rng(3);
  std::vector<uint8_t> bytes;
  do bytes = RandomBytes(rng, 8);
  while (!(Crc16(std::span<const uint8_t>(bytes)) & 0x8000));
  KLValue b{KL_T_BUFFER, static_cast<uint32_t>(bytes.size())};
  b.u.bytes = bytes.data();
  const int32_t r = Crc16Of(b);
  EXPECT_LT(r, 0);
  EXPECT_EQ(static_cast<uint16_t>(r), Crc16(std::span<const uint8_t>(bytes)));
}

}  // namespace
