// kp160std — Compresse/Décompresse and the nfCompacte export: zlib streams
// (RFC 1950: a 2-byte header, deflate data, the Adler-32 of the original).
//
// The method picks the deflate level: compresseAucun 0 (stored blocks, still
// a zlib stream), compresseLZW 1 (the default level 6, the name kept for the
// programs that ask for it), compresseChaîneCourte 2 (level 9, for short
// texts where every byte counts). Décompresse needs no method: every stream
// says how to read it. It refuses results above kMaxUncompressed (a
// decompression bomb gets an error, not the machine's memory).
//
// Thread-safety: pure functions, except CompactFile, which reads and writes
// files.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::encoding {

constexpr int32_t kCompressNone = 0;
constexpr int32_t kCompressLzw = 1;
constexpr int32_t kCompressShortString = 2;
constexpr size_t kMaxUncompressed = size_t{256} << 20;

// KL functions.
Bytes Compress(ExecContext* context, std::span<const uint8_t> data, int32_t method);
Bytes Uncompress(ExecContext* context, std::span<const uint8_t> stream);

// The zlib stream of `data` at a method's level; nullopt for an unknown method.
std::optional<Bytes> Deflate(std::span<const uint8_t> data, int32_t method);
enum class InflateStatus { kOk, kDamaged, kTooLarge };
// The data of one complete zlib stream (nothing may follow it), at most
// `limit` bytes.
InflateStatus Inflate(std::span<const uint8_t> stream, size_t limit, Bytes* out);

// The nfCompacte export: the source file's zlib stream (default level)
// written to the destination. The compressed size as a percentage of the
// original (rounded up, 0 for an empty file, at most 32767); -1 when a name
// is missing or not absolute, -2 when the source cannot be read, -3 when the
// destination cannot be written.
int16_t CompactFile(std::u16string_view source, std::u16string_view destination);

}  // namespace kp::encoding
