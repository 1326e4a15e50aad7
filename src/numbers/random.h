// kp160std — Hasard/Random and InitHasard/InitRandom: draws from the
// platform's runtime generator (platform/random.h), scaled to a range.
//
// Thread-safety: the generator is process-wide and unlocked; draws from
// several threads interleave.
#pragma once

#include <cstdint>

#include "abi/error_ids.h"
#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::numbers {

// A real in [0, 1] (both ends possible).
Value Random(ExecContext* context);
// An integer in [1, n]; error 80260 and 0 when n < 1.
Value RandomUpTo(ExecContext* context, int32_t n);
// An integer in [a, b]; error 80210 and 0 when a > b (never swapped).
Value RandomBetween(ExecContext* context, int32_t a, int32_t b);

// Seeds from the tick counter and the generator's own previous state.
void InitRandom(ExecContext* context);
// Seeds with `seed` and throws the first value away.
void InitRandomSeed(ExecContext* context, int32_t seed);

// The scaling of one generator value r (0..32767) to [0, n - 1], n >= 1.
int32_t ScaledDraw(int32_t r, int32_t n);

constexpr int32_t kErrorRandomBound = kErrRandomBelowOne;
constexpr int32_t kErrorRandomBounds = kErrBoundsReversed;

}  // namespace kp::numbers
