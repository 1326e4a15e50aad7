// kp160std — whole files for the encoding functions that take file names
// (fCrypte/fDécrypte, diffCrée, the nfCompacte export), through the device
// file system.
//
// A result is never left half-written: the bytes go to a temporary file
// beside the destination, which replaces the destination only once complete.
//
// Thread-safety: any thread; two calls writing the same destination race.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "abi/value.h"

namespace kp::encoding {

// The largest file these functions read into memory (the buffers' own limit
// is far below the address space of the device).
constexpr int64_t kMaxWholeFile = int64_t{256} << 20;

// False with the platform's last error set (8, not enough memory, for a file
// above kMaxWholeFile).
bool ReadWholeFile(std::u16string_view name, Bytes* out);
// False with the platform's last error set; the destination is then as it
// was and no temporary file remains.
bool ReplaceWholeFile(std::u16string_view name, std::span<const uint8_t> bytes);

}  // namespace kp::encoding
