// The portable 128-bit integer of the 32-bit build, checked against the
// compiler's __int128 on random and edge operands: every operation the euro
// family uses, and the overflow answer of the checked multiplication.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "numbers/int128.h"

#ifdef __SIZEOF_INT128__
namespace kp::numbers {
namespace {

using P = PortableInt128;
using B = __int128;

P FromBuiltin(B v) {
  return P(static_cast<int64_t>(static_cast<uint64_t>(v >> 64))) * P(uint64_t{1} << 32) * P(uint64_t{1} << 32) +
         P(static_cast<uint64_t>(v));
}
bool Same(P p, B b) { return p == FromBuiltin(b); }

std::vector<B> Operands() {
  const B max = static_cast<B>(~static_cast<unsigned __int128>(0) >> 1);
  std::vector<B> out = {0, 1, -1, 2, -2, 10, -10, INT64_MAX, INT64_MIN, static_cast<B>(UINT64_MAX),
                        -static_cast<B>(UINT64_MAX), max, -max, -max - 1, max / 3, -(max / 7)};
  std::mt19937_64 random(20261125);
  for (int i = 0; i < 400; ++i) {
    const int bits = static_cast<int>(random() % 127) + 1;
    B v = static_cast<B>((static_cast<unsigned __int128>(random()) << 64 | random()) >> (128 - bits));
    out.push_back(random() % 2 ? -v : v);
  }
  return out;
}

TEST(PortableInt128, AgreesWithTheCompilersType) {
  const auto values = Operands();
  for (size_t i = 0; i < values.size(); ++i) {
    for (size_t j = i % 7; j < values.size(); j += 7) {
      const B a = values[i], b = values[j];
      const P pa = FromBuiltin(a), pb = FromBuiltin(b);
      SCOPED_TRACE(testing::Message() << i << " " << j);
      ASSERT_TRUE(Same(pa + pb, static_cast<B>(static_cast<unsigned __int128>(a) + static_cast<unsigned __int128>(b))));
      ASSERT_TRUE(Same(pa - pb, static_cast<B>(static_cast<unsigned __int128>(a) - static_cast<unsigned __int128>(b))));
      ASSERT_TRUE(Same(pa * pb, static_cast<B>(static_cast<unsigned __int128>(a) * static_cast<unsigned __int128>(b))));
      ASSERT_EQ(pa < pb, a < b);
      ASSERT_EQ(pa == pb, a == b);
      ASSERT_EQ(pa >= pb, a >= b);
      B product = 0;
      P checked;
      ASSERT_EQ(MulOverflow(pa, pb, &checked), __builtin_mul_overflow(a, b, &product));
      ASSERT_TRUE(Same(checked, product));
      if (b != 0 && !(b == -1 && a == values[13])) {  // the most negative / -1 overflows
        ASSERT_TRUE(Same(pa / pb, a / b));
        ASSERT_TRUE(Same(pa % pb, a % b));
      }
    }
  }
}

TEST(PortableInt128, ConvertsToAndFromTheBuiltInIntegers) {
  EXPECT_EQ(static_cast<int64_t>(P(INT64_MIN)), INT64_MIN);
  EXPECT_EQ(static_cast<uint64_t>(P(UINT64_MAX)), UINT64_MAX);
  EXPECT_TRUE(P(-1) < P(0));
  EXPECT_TRUE(P(UINT64_MAX) > P(INT64_MAX));  // zero-extended, not sign-extended
  P v = 41;
  EXPECT_EQ(static_cast<int>(++v), 42);
}

}  // namespace
}  // namespace kp::numbers
#endif
