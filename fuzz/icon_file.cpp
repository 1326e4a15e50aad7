// The notification icon's file reader on arbitrary bytes (as a .png and as
// an .ico): never reads past the input, and an image it returns has the
// pixels its size says, within the size limit.
#include <cstddef>
#include <cstdint>
#include <span>

#include "desktop/icon_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> bytes(data, size);
  for (const auto& image : {kp::desktop::DecodeIcon(bytes), kp::desktop::DecodePng(bytes)}) {
    if (!image) continue;
    if (image->width <= 0 || image->height <= 0 || image->width > kp::desktop::kMaxIconSide ||
        image->height > kp::desktop::kMaxIconSide)
      __builtin_trap();
    if (image->argb.size() != static_cast<size_t>(image->width) * image->height) __builtin_trap();
  }
  return 0;
}
