// UUDécode of arbitrary text (the input's bytes taken as characters): never
// reads past the text, never makes more than 3 bytes per 4 characters, and
// whatever decodes is given back by encoding it again and decoding that.
#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/uu.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text(data, data + size);
  const auto decoded = kp::encoding::UuDecodeBody(text);
  if (!decoded) return 0;
  if (decoded->size() > size) __builtin_trap();
  const std::string again = kp::encoding::UuEncodeBody(*decoded);
  const auto back = kp::encoding::UuDecodeBody(std::u16string(again.begin(), again.end()));
  if (!back || *back != *decoded) __builtin_trap();
  return 0;
}
