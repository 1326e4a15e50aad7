// kp160std — random numbers.
#include "numbers/random.h"

#include <algorithm>

#include "abi/error.h"
#include "platform/platform.h"
#include "platform/random.h"

namespace kp::numbers {
namespace {

int32_t Draw(int32_t n) { return ScaledDraw(platform::Rand(), n); }

}  // namespace

int32_t ScaledDraw(int32_t r, int32_t n) {
  // Scaling rather than a remainder keeps small ranges unbiased. Below 65536
  // the product fits in 31 bits; above, it is formed in 64 bits. The 32-bit
  // product only wraps for the negative n that a span of 2^31 or more gives
  // (see RandomBetween); it wraps as the device did, without undefined
  // behaviour.
  if (n < 0x10000) {
    const auto product = static_cast<int32_t>(static_cast<uint32_t>(r) * static_cast<uint32_t>(n));
    return product / 32768;
  }
  return static_cast<int32_t>(static_cast<int64_t>(r) * n / 32768);
}

Value Random(ExecContext*) {
  return platform::Rand() * 3.051850947599719e-5;  // r / 32767: 0.0 and 1.0 both occur
}

Value RandomUpTo(ExecContext* context, int32_t n) {
  if (n < 1) {
    Raise(context, kErrorRandomBound, {n});
    return int32_t{0};
  }
  return Draw(n) + 1;
}

Value RandomBetween(ExecContext* context, int32_t a, int32_t b) {
  if (a > b) {
    // Kept on purpose: the bounds are not swapped.
    Raise(context, kErrorRandomBounds, {a, b});
    return int32_t{0};
  }
  // The span is an unsigned 32-bit difference whose absolute value is taken
  // as a signed number: exact for spans below 2^31. Wider spans (a below
  // -2^30 and b above, roughly) wrap, as they did on the device; kept on
  // purpose rather than silently changing the distribution of such calls.
  const auto span = static_cast<int32_t>(static_cast<uint32_t>(b) - static_cast<uint32_t>(a));
  const uint32_t magnitude = span < 0 ? 0u - static_cast<uint32_t>(span) : static_cast<uint32_t>(span);
  const auto n = static_cast<int32_t>(magnitude + 1u);
  return static_cast<int32_t>(static_cast<uint32_t>(Draw(n)) + static_cast<uint32_t>(std::min(a, b)));
}

void InitRandom(ExecContext*) {
  // Wait for the tick counter to move so that two calls in the same tick
  // still differ, then mix in a draw from the generator's current state
  // (taken before re-seeding, on purpose).
  const uint32_t before = platform::TickCount();
  while (platform::TickCount() == before) {
  }
  const uint32_t t = platform::TickCount();
  platform::Srand(static_cast<uint32_t>(Draw(10) + 1) * t);
}

void InitRandomSeed(ExecContext*, int32_t seed) {
  platform::Srand(static_cast<uint32_t>(seed));
  // Kept on purpose: programs replaying a sequence from a seed expect its
  // second value first.
  (void)platform::Rand();
}

}  // namespace kp::numbers
