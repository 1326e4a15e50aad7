// kp160std — parity of integers (EstPair/IsEven, EstImpair/IsOdd).
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>

#include "kp160std/abi.h"

namespace kp::numbers {

bool IsEven(ExecContext* context, int32_t n);
bool IsOdd(ExecContext* context, int32_t n);

}  // namespace kp::numbers
