// kp160std — diffCrée/diffApplique: binary differences between two buffers
// (or two files), as a patch buffer that turns the first into the second.
//
// The patch (numbers little-endian, "varint" = 7 bits a byte, low first,
// high bit = more follows):
//   offset 0  4 bytes  magic "KPDF"
//          4  1 byte   version, 1
//          5  1 byte   flags: bit 0 = the instructions are a zlib stream
//          6  2 bytes  0 (reserved)
//          8  4 bytes  size of the original
//         12  4 bytes  CRC-32 of the original
//         16  4 bytes  size of the result
//         20  4 bytes  CRC-32 of the result
//         24  ...      instructions, up to the end:
//                       0, varint n, n bytes  -> add these bytes
//                       1, varint d, varint n -> copy n bytes of the original
//                          from (end of the previous copy + zigzag(d))
// Applying checks the original's size and CRC before anything (a patch made
// for another original is refused), and the result's after.
//
// Thread-safety: pure functions, except the file form, which reads files.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::encoding {

// diffCrée options (diffBinaire, diffTexte, diffPourcentageMax, diffFichierOTL).
constexpr int32_t kDiffBinary = 1;
constexpr int32_t kDiffText = 2;
constexpr int32_t kDiffMax = 4;
constexpr int32_t kDiffFileOtl = 8;

// KL functions.
Bytes DiffCreate(ExecContext* context, std::span<const uint8_t> original, std::span<const uint8_t> result,
                 int32_t options);
Bytes DiffCreateFiles(ExecContext* context, std::u16string_view original, std::u16string_view result);
Bytes DiffApply(ExecContext* context, std::span<const uint8_t> original, std::span<const uint8_t> patch);

// The patch alone; `compressed` deflates the instructions.
Bytes MakePatch(std::span<const uint8_t> original, std::span<const uint8_t> result, bool compressed);
enum class PatchStatus { kOk, kWrongOriginal, kDamaged };
PatchStatus ApplyPatch(std::span<const uint8_t> original, std::span<const uint8_t> patch, Bytes* result);

}  // namespace kp::encoding
