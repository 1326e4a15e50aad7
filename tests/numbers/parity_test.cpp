#include <gtest/gtest.h>

#include <climits>

#include "numbers/parity.h"

namespace {

TEST(Parity, NegativeAndExtremeValues) {
  // Two's complement edges: a "% 2 == 1" implementation gets -3 wrong.
  for (int32_t n : {0, 2, -2, -4, INT_MIN}) {
    EXPECT_TRUE(kp::numbers::IsEven(nullptr, n)) << n;
    EXPECT_FALSE(kp::numbers::IsOdd(nullptr, n)) << n;
  }
  for (int32_t n : {1, -1, -3, INT_MAX}) {
    EXPECT_FALSE(kp::numbers::IsEven(nullptr, n)) << n;
    EXPECT_TRUE(kp::numbers::IsOdd(nullptr, n)) << n;
  }
}

}  // namespace
