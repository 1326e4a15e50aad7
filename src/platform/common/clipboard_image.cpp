// kp160std — image sizes from file headers (see clipboard_image.h).
#include "platform/common/clipboard_image.h"

#include <cstdlib>

namespace kp::platform::clipboard {
namespace {

uint32_t Byte(std::string_view b, size_t i) { return static_cast<uint8_t>(b[i]); }
uint32_t Be16(std::string_view b, size_t i) { return Byte(b, i) << 8 | Byte(b, i + 1); }
uint32_t Be32(std::string_view b, size_t i) { return Be16(b, i) << 16 | Be16(b, i + 2); }
uint32_t Le16(std::string_view b, size_t i) { return Byte(b, i) | Byte(b, i + 1) << 8; }
uint32_t Le32(std::string_view b, size_t i) { return Le16(b, i) | Le16(b, i + 2) << 16; }

bool Accept(int64_t w, int64_t h, int32_t* width, int32_t* height) {
  if (w <= 0 || h <= 0 || w > INT32_MAX || h > INT32_MAX) return false;
  *width = static_cast<int32_t>(w);
  *height = static_cast<int32_t>(h);
  return true;
}

// JPEG: the first start-of-frame marker (C0-CF but C4, C8 and CC) holds the
// size; the segments before it are skipped by their lengths.
bool Jpeg(std::string_view b, int32_t* width, int32_t* height) {
  size_t i = 2;
  while (i + 4 <= b.size()) {
    if (Byte(b, i) != 0xFF) return false;
    const uint32_t marker = Byte(b, i + 1);
    if (marker == 0xFF) {  // fill byte
      ++i;
      continue;
    }
    if (marker == 0xD8 || (marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) {
      i += 2;
      continue;
    }
    const uint32_t length = Be16(b, i + 2);
    if (length < 2) return false;
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
      if (i + 9 > b.size()) return false;
      return Accept(Be16(b, i + 7), Be16(b, i + 5), width, height);
    }
    i += 2 + length;
  }
  return false;
}

}  // namespace

bool ReadDibSize(std::string_view b, int32_t* width, int32_t* height) {
  if (b.size() < 12) return false;
  if (Le32(b, 0) == 12) return Accept(Le16(b, 4), Le16(b, 6), width, height);  // OS/2 core header
  // A negative height marks a top-down bitmap.
  const int64_t h = static_cast<int32_t>(Le32(b, 8));
  return Accept(static_cast<int32_t>(Le32(b, 4)), h < 0 ? -h : h, width, height);
}

bool ReadImageSize(std::string_view b, int32_t* width, int32_t* height) {
  if (b.size() >= 24 && b.substr(0, 8) == "\x89PNG\r\n\x1a\n" && b.substr(12, 4) == "IHDR")
    return Accept(Be32(b, 16), Be32(b, 20), width, height);
  if (b.size() >= 26 && b.substr(0, 2) == "BM") return ReadDibSize(b.substr(14), width, height);
  if (b.size() >= 10 && (b.substr(0, 6) == "GIF87a" || b.substr(0, 6) == "GIF89a"))
    return Accept(Le16(b, 6), Le16(b, 8), width, height);
  if (b.size() >= 4 && Byte(b, 0) == 0xFF && Byte(b, 1) == 0xD8) return Jpeg(b, width, height);
  return false;
}

}  // namespace kp::platform::clipboard
