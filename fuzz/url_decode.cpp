// URL decoding of arbitrary UTF-16 text (the input's bytes taken in pairs):
// never reads past the text, never grows it, and undoes URLEncode for the
// texts that encode without loss.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "encoding/url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * 2);

  const std::u16string decoded = kp::encoding::UrlDecode(nullptr, text);
  if (decoded.size() > text.size()) __builtin_trap();

  bool lossless = true;
  for (char16_t c : text)
    if (c == 0 || (c > 0xff && !kp::encoding::UrlPassesUnchanged(static_cast<uint8_t>(c)))) lossless = false;
  const std::u16string encoded = kp::encoding::UrlEncode(nullptr, text);
  if (encoded.size() < text.size() || encoded.size() > 3 * text.size()) __builtin_trap();
  if (lossless && kp::encoding::UrlDecode(nullptr, encoded) != text) __builtin_trap();
  return 0;
}
