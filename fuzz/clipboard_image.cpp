// The clipboard's image-header reader on arbitrary bytes: never reads past
// them, gives only positive sizes, and a size once read does not change when
// more bytes follow (the header decides it).
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/common/clipboard_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  int32_t w = 0, h = 0;
  if (!kp::platform::clipboard::ReadImageSize(bytes, &w, &h)) return 0;
  if (w <= 0 || h <= 0) __builtin_trap();
  int32_t w2 = 0, h2 = 0;
  if (!kp::platform::clipboard::ReadImageSize(bytes + std::string(64, '\xFF'), &w2, &h2) || w2 != w || h2 != h)
    __builtin_trap();
  return 0;
}
