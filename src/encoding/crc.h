// kp160std — checksums: sCalculeCrc32/sComputeCrc32 (the IEEE 802.3 CRC-32)
// and sCalculeCrc16/sComputeCrc16 (the augmented CCITT CRC-16).
//
// Thread-safety: all functions may be called from any thread. The CRC-16
// table is built once on first use (a function-local static).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp::encoding {

// KL functions.
int32_t ComputeCrc32(ExecContext* context, std::span<const uint8_t> buffer);
int32_t ComputeCrc32From(ExecContext* context, std::span<const uint8_t> buffer, int32_t start);
int32_t ComputeCrc16(ExecContext* context, const VariantArg& value);

// The CRC-32 of `data` continued from a previous result (0 to start afresh).
// Picks the fastest path the CPU offers; every path gives the same result.
uint32_t Crc32(uint32_t start, std::span<const uint8_t> data);
// The table-driven path alone (slicing by 16), and the carry-less
// multiplication path alone (false when the CPU has no such instruction).
// Exposed for tests and benchmarks.
uint32_t Crc32Tables(uint32_t start, std::span<const uint8_t> data);
bool Crc32Folding(uint32_t start, std::span<const uint8_t> data, uint32_t* out);

// The 16-bit register after the augmented CRC-16 of bytes, or of UTF-16 code
// units taken by their low byte.
uint16_t Crc16(std::span<const uint8_t> data);
uint16_t Crc16(std::u16string_view text);

}  // namespace kp::encoding
