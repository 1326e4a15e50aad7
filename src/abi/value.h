// kp160std — plain C++ values exchanged between the families and the VM.
//
// Families never see the ABI's cells: they return and take these types, and
// the entry functions (component/frame.h) convert at the boundary.
//
// Thread-safety: plain values; no shared state.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kp {

using Bytes = std::vector<uint8_t>;

// A variant result or argument. monostate stands for "no value".
using Value = std::variant<std::monostate, bool, int32_t, int64_t, double, std::u16string, Bytes>;

// A window or instance handle result (codes 14 and 15).
struct Handle {
  uint32_t value = 0;
};

// Currency result (code 10): an 8-byte value and a signed 16-bit word.
struct Currency {
  int64_t value = 0;
  int16_t scale = 0;
};

// Duration result (code 27): milliseconds.
struct Duration {
  int64_t milliseconds = 0;
};

}  // namespace kp
