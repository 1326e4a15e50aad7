// kp160std — zlib compression (see compress.h).
#include "encoding/compress.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "abi/error.h"
#include "encoding/whole_file.h"

namespace kp::encoding {
namespace {

int LevelOf(int32_t method) {
  switch (method) {
    case kCompressNone: return 0;
    case kCompressLzw: return Z_DEFAULT_COMPRESSION;
    case kCompressShortString: return 9;
    default: return -2;
  }
}

bool IsAbsoluteName(std::u16string_view name) {
  return !name.empty() && (name.front() == u'\\' || name.front() == u'/' || name.back() == u':');
}

}  // namespace

std::optional<Bytes> Deflate(std::span<const uint8_t> data, int32_t method) {
  const int level = LevelOf(method);
  if (level == -2) return std::nullopt;
  // zlib counts in uLong, 32 bits on Windows.
  if (data.size() > std::numeric_limits<uint32_t>::max() / 2) throw std::bad_alloc();
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  Bytes out(size);
  // One call over the whole buffer: the result's bound is known beforehand.
  if (compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), level) != Z_OK) throw std::bad_alloc();
  out.resize(size);
  return out;
}

InflateStatus Inflate(std::span<const uint8_t> stream, size_t limit, Bytes* out) {
  out->clear();
  if (stream.empty()) return InflateStatus::kDamaged;
  z_stream z{};
  if (inflateInit(&z) != Z_OK) throw std::bad_alloc();
  z.next_in = const_cast<Bytef*>(stream.data());
  z.avail_in = static_cast<uInt>(std::min<size_t>(stream.size(), std::numeric_limits<uInt>::max()));
  // Deflate rarely does better than 4:1 on real data: a first guess that
  // saves most regrowths without trusting the input.
  out->resize(std::min(limit, std::max<size_t>(stream.size() * 4, 256)));
  InflateStatus status = InflateStatus::kOk;
  size_t produced = 0;
  for (;;) {
    if (produced == out->size()) {
      if (out->size() >= limit) {
        // Full at the limit and the stream not ended: one byte more is too
        // much, unless the stream ends without giving one.
        uint8_t probe;
        int r;
        do {
          z.next_out = &probe;
          z.avail_out = 1;
          r = inflate(&z, Z_NO_FLUSH);
        } while (r == Z_OK && z.avail_out == 1);
        if (z.avail_out == 0)
          status = InflateStatus::kTooLarge;
        else if (r != Z_STREAM_END)
          status = InflateStatus::kDamaged;
        break;
      }
      out->resize(std::min(limit, out->size() * 2));
    }
    z.next_out = out->data() + produced;
    z.avail_out = static_cast<uInt>(std::min<size_t>(out->size() - produced, std::numeric_limits<uInt>::max()));
    const uInt before = z.avail_out;
    const int r = inflate(&z, Z_NO_FLUSH);
    produced += before - z.avail_out;
    if (r == Z_STREAM_END) break;
    if (r == Z_OK) continue;
    if (r == Z_BUF_ERROR && z.avail_out == 0) continue;  // needs more room
    status = InflateStatus::kDamaged;                    // bad data, or the input ended early
    break;
  }
  // Bytes after the stream's end mean this is not one zlib stream.
  const size_t consumed = stream.size() - z.avail_in;
  if (status == InflateStatus::kOk && consumed != stream.size()) status = InflateStatus::kDamaged;
  inflateEnd(&z);
  if (status != InflateStatus::kOk) {
    out->clear();
    return status;
  }
  out->resize(produced);
  return status;
}

Bytes Compress(ExecContext* context, std::span<const uint8_t> data, int32_t method) {
  auto out = Deflate(data, method);
  if (!out) {
    Raise(context, kErrValueOutOfRange, {method});
    return {};
  }
  return std::move(*out);
}

Bytes Uncompress(ExecContext* context, std::span<const uint8_t> stream) {
  Bytes out;
  switch (Inflate(stream, kMaxUncompressed, &out)) {
    case InflateStatus::kOk: return out;
    case InflateStatus::kDamaged: Raise(context, kErrCompressedDataDamaged); break;
    case InflateStatus::kTooLarge: Raise(context, kErrBufferTooSmall); break;
  }
  return {};
}

int16_t CompactFile(std::u16string_view source, std::u16string_view destination) {
  if (!IsAbsoluteName(source) || !IsAbsoluteName(destination)) return -1;
  Bytes data;
  if (!ReadWholeFile(source, &data)) return -2;
  const Bytes packed = *Deflate(data, kCompressLzw);
  if (!ReplaceWholeFile(destination, packed)) return -3;
  if (data.empty()) return 0;
  const uint64_t percent = (uint64_t{packed.size()} * 100 + data.size() - 1) / data.size();
  return static_cast<int16_t>(std::min<uint64_t>(percent, 32767));
}

}  // namespace kp::encoding
