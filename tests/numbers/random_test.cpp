#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <vector>

#include "numbers/random.h"
#include "platform/platform.h"
#include "platform/random.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;
using kp::platform::Rand;
using kp::platform::Srand;

int32_t AsInt(const kp::Value& v) { return std::get<int32_t>(v); }

// The classic C runtime's sequence after srand(1), as published.
TEST(RuntimeGenerator, KnownSequence) {
  Srand(1);
  const int32_t expected[] = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464};
  for (int32_t e : expected) EXPECT_EQ(Rand(), e);
}

// The generator's i-th value (1-based) after srand(seed), computed apart
// from the library.
int32_t NthValue(uint32_t seed, int i) {
  uint32_t state = seed;
  int32_t v = 0;
  for (int k = 0; k < i; ++k) {
    state = state * 214013u + 2531011u;
    v = (state >> 16) & 0x7fff;
  }
  return v;
}

TEST(InitRandom, SeedReplaysFromTheSecondValue) {
  std::vector<int32_t> first, second;
  InitRandomSeed(nullptr, 7);
  for (int i = 0; i < 20; ++i) first.push_back(AsInt(RandomUpTo(nullptr, 1000000)));
  InitRandomSeed(nullptr, 7);
  for (int i = 0; i < 20; ++i) second.push_back(AsInt(RandomUpTo(nullptr, 1000000)));
  EXPECT_EQ(first, second);
  InitRandomSeed(nullptr, 7);
  EXPECT_EQ(Rand(), NthValue(7, 2));
  InitRandomSeed(nullptr, -1);  // seeds as unsigned
  EXPECT_EQ(Rand(), NthValue(0xffffffffu, 2));
}

// Without a seed: the seed is (draw(10) + 1) * t, where draw(10) comes from
// the state before re-seeding and t is a tick read after the counter moved.
TEST(InitRandom, SeedFromTicksAndPreviousState) {
  Srand(12345);
  const int32_t factor = ScaledDraw(NthValue(12345, 1), 10) + 1;
  Srand(12345);
  const uint32_t before = kp::platform::TickCount();
  InitRandom(nullptr);
  const uint32_t after = kp::platform::TickCount();
  const int32_t next = Rand();
  bool found = false;
  for (uint32_t t = before + 1; t - before <= after - before && !found; ++t)
    found = NthValue(static_cast<uint32_t>(factor) * t, 1) == next;
  EXPECT_TRUE(found) << "no tick in (" << before << ", " << after << "] explains the seed";
}

// Every generator value scales into [0, n - 1], on both sides of the switch
// to 64-bit products at 65536, without wrapping.
TEST(ScaledDraw, StaysInRangeOnBothPaths) {
  for (int32_t n : {1, 2, 10, 32768, 65535, 65536, 100000, 1 << 24, INT_MAX}) {
    int32_t previous = 0;
    for (int32_t r = 0; r <= 32767; ++r) {
      const int32_t d = ScaledDraw(r, n);
      ASSERT_GE(d, previous) << n;  // monotonic: scaling, not a remainder
      ASSERT_LT(d, n) << n << " r=" << r;
      previous = d;
    }
    EXPECT_EQ(ScaledDraw(0, n), 0);
  }
  EXPECT_EQ(ScaledDraw(32767, 65535), 65533);
  EXPECT_EQ(ScaledDraw(32767, 100000), 99996);
}

TEST(Random, UpToN) {
  kp::test::FakeContext ctx;
  InitRandomSeed(nullptr, 3);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(AsInt(RandomUpTo(ctx, 1)), 1);
  std::set<int32_t> seen;
  for (int i = 0; i < 2000; ++i) {
    const int32_t v = AsInt(RandomUpTo(ctx, 6));
    ASSERT_GE(v, 1);
    ASSERT_LE(v, 6);
    seen.insert(v);
  }
  EXPECT_EQ(seen.size(), 6u);
  for (int32_t n : {65535, 100000, INT_MAX})
    for (int i = 0; i < 2000; ++i) {
      const int32_t v = AsInt(RandomUpTo(ctx, n));
      ASSERT_GE(v, 1);
      ASSERT_LE(v, n);
    }
  EXPECT_FALSE(ctx.hasError());

  for (int32_t bad : {0, -5, INT_MIN}) {
    kp::test::FakeContext c;
    EXPECT_EQ(RandomUpTo(c, bad), kp::Value(int32_t{0}));
    EXPECT_EQ(c.errorId(), kErrorRandomBound);
  }
}

TEST(Random, Between) {
  kp::test::FakeContext ctx;
  InitRandomSeed(nullptr, 11);
  EXPECT_EQ(AsInt(RandomBetween(ctx, 5, 5)), 5);
  std::set<int32_t> seen;
  for (int i = 0; i < 2000; ++i) {
    const int32_t v = AsInt(RandomBetween(ctx, -3, 3));
    ASSERT_GE(v, -3);
    ASSERT_LE(v, 3);
    seen.insert(v);
  }
  EXPECT_EQ(seen.size(), 7u);
  for (int i = 0; i < 2000; ++i) {
    const int32_t v = AsInt(RandomBetween(ctx, -1000000000, 1000000000));  // span below 2^31: exact
    ASSERT_GE(v, -1000000000);
    ASSERT_LE(v, 1000000000);
  }
  EXPECT_FALSE(ctx.hasError());
  // A span of 2^32 - 1 wraps to 2 possible values (documented, as on the
  // device).
  for (int i = 0; i < 50; ++i) {
    const int32_t v = AsInt(RandomBetween(ctx, INT_MIN, INT_MAX));
    ASSERT_TRUE(v == INT_MIN || v == INT_MIN + 1) << v;
  }

  kp::test::FakeContext bad;
  EXPECT_EQ(RandomBetween(bad, 6, 5), kp::Value(int32_t{0}));
  EXPECT_EQ(bad.errorId(), kErrorRandomBounds);
}

uint32_t SeedWhoseSecondValueIs(int32_t wanted) {
  for (uint32_t s = 0;; ++s)
    if (NthValue(s, 2) == wanted) return s;
}

TEST(Random, RealCoversBothEnds) {
  InitRandomSeed(nullptr, static_cast<int32_t>(SeedWhoseSecondValueIs(32767)));
  EXPECT_EQ(std::get<double>(Random(nullptr)), 1.0);
  InitRandomSeed(nullptr, static_cast<int32_t>(SeedWhoseSecondValueIs(0)));
  EXPECT_EQ(std::get<double>(Random(nullptr)), 0.0);
  InitRandomSeed(nullptr, 1);
  EXPECT_DOUBLE_EQ(std::get<double>(Random(nullptr)), 18467 / 32767.0);
}

}  // namespace
