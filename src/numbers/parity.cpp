// kp160std — parity of integers.
#include "numbers/parity.h"

namespace kp::numbers {

// Negative numbers follow the mathematical rule: -3 is odd, -4 is even.
bool IsEven(ExecContext*, int32_t n) { return (n & 1) == 0; }
bool IsOdd(ExecContext*, int32_t n) { return (n & 1) != 0; }

}  // namespace kp::numbers
