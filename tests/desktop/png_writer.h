// PNG files written byte by byte for the icon tests: the chunks with their
// CRCs and the compressed rows, so that a test can make any kind of PNG,
// sound or broken, without the decoder under test.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>

namespace kp::test::png {

inline void Put32(std::string* s, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) *s += static_cast<char>(v >> shift);
}

inline void Chunk(std::string* png, const char* type, const std::string& data) {
  Put32(png, static_cast<uint32_t>(data.size()));
  const std::string body = std::string(type, 4) + data;
  *png += body;
  Put32(png,
        static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()))));
}

inline std::string Deflate(const std::string& raw) {
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(raw.data()),
           static_cast<uLong>(raw.size()));
  out.resize(size);
  return out;
}

// The signature and the header chunk of a `w` x `h` image.
inline std::string Start(uint32_t w, uint32_t h, int depth, int colour, bool interlace = false) {
  std::string png("\x89PNG\r\n\x1a\n", 8), ihdr;
  Put32(&ihdr, w);
  Put32(&ihdr, h);
  ihdr += {static_cast<char>(depth), static_cast<char>(colour), 0, 0, static_cast<char>(interlace ? 1 : 0)};
  Chunk(&png, "IHDR", ihdr);
  return png;
}

// `png` ended: `raw` (the rows with their filter bytes) deflated into the
// data chunk, then the end chunk.
inline std::string Finish(std::string png, const std::string& raw) {
  Chunk(&png, "IDAT", Deflate(raw));
  Chunk(&png, "IEND", "");
  return png;
}

}  // namespace kp::test::png
