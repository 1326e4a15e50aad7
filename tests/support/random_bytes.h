// Random bytes for the tests that compare an implementation with a reference
// over many inputs (the generator is seeded by the test, so a failure repeats).
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace kp::test {

inline std::vector<uint8_t> RandomBytes(std::mt19937& rng, size_t n) {
  std::vector<uint8_t> v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

}  // namespace kp::test
