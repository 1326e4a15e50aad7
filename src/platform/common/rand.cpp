// kp160std — the runtime generator, built by both backends (see random.h), so
// that a seed gives the same sequence everywhere.
#include <atomic>

#include "platform/random.h"

namespace kp::platform {
namespace {

std::atomic<uint32_t> gRandState{1};

}  // namespace

int32_t Rand() {
  // A load and a store rather than a compare-exchange loop: the runtime's
  // generator was unlocked, and a lost update between threads is harmless.
  const uint32_t next = gRandState.load(std::memory_order_relaxed) * 214013u + 2531011u;
  gRandState.store(next, std::memory_order_relaxed);
  return static_cast<int32_t>((next >> 16) & 0x7fffu);
}

void Srand(uint32_t seed) { gRandState.store(seed, std::memory_order_relaxed); }

}  // namespace kp::platform
