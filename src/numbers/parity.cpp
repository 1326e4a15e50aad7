// kp160std — parity of integers.
#include "numbers/parity.h"

namespace kp::numbers {

// Even when n equals (n / 2) * 2 with the division truncated toward zero, so
// negative numbers follow the same rule: -3 is odd, -4 is even. On two's
// complement that is the lowest bit.
bool IsEven(ExecContext*, int32_t n) { return (n & 1) == 0; }
bool IsOdd(ExecContext*, int32_t n) { return (n & 1) != 0; }

}  // namespace kp::numbers
