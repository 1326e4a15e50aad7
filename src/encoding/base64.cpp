// kp160std — Base64 (see base64.h).
#include "encoding/base64.h"

namespace kp::encoding {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Value(char16_t c) {
  if (c >= u'A' && c <= u'Z') return c - u'A';
  if (c >= u'a' && c <= u'z') return c - u'a' + 26;
  if (c >= u'0' && c <= u'9') return c - u'0' + 52;
  if (c == u'+') return 62;
  if (c == u'/') return 63;
  return -1;
}

}  // namespace

std::string Base64Encode(std::span<const uint8_t> data) {
  std::string out;
  out.reserve((data.size() + 2) / 3 * 4);
  size_t i = 0;
  for (; i + 3 <= data.size(); i += 3) {
    const uint32_t v = uint32_t{data[i]} << 16 | uint32_t{data[i + 1]} << 8 | data[i + 2];
    out += {kAlphabet[v >> 18], kAlphabet[v >> 12 & 63], kAlphabet[v >> 6 & 63], kAlphabet[v & 63]};
  }
  if (i + 1 == data.size()) {
    const uint32_t v = uint32_t{data[i]} << 16;
    out += {kAlphabet[v >> 18], kAlphabet[v >> 12 & 63], '=', '='};
  } else if (i + 2 == data.size()) {
    const uint32_t v = uint32_t{data[i]} << 16 | uint32_t{data[i + 1]} << 8;
    out += {kAlphabet[v >> 18], kAlphabet[v >> 12 & 63], kAlphabet[v >> 6 & 63], '='};
  }
  return out;
}

std::optional<Bytes> Base64Decode(std::u16string_view text) {
  Bytes out;
  out.reserve(text.size() / 4 * 3);
  uint32_t group = 0;
  int count = 0, padding = 0;
  for (char16_t c : text) {
    if (c == u' ' || c == u'\t' || c == u'\r' || c == u'\n') continue;
    if (c == u'=') {
      // Padding only completes a group of two or three characters.
      if (count + padding < 2 || count + padding >= 4) return std::nullopt;
      ++padding;
      if (count + padding == 4) {
        if (count == 2) {
          out.push_back(static_cast<uint8_t>(group >> 4));
        } else {
          out.push_back(static_cast<uint8_t>(group >> 10));
          out.push_back(static_cast<uint8_t>(group >> 2));
        }
        count = 0;
        padding = -1;  // the end: nothing but spaces may follow
      }
      continue;
    }
    const int v = Value(c);
    if (v < 0 || padding != 0) return std::nullopt;
    group = group << 6 | static_cast<uint32_t>(v);
    if (++count == 4) {
      out.push_back(static_cast<uint8_t>(group >> 16));
      out.push_back(static_cast<uint8_t>(group >> 8));
      out.push_back(static_cast<uint8_t>(group));
      count = 0;
      group = 0;
    }
  }
  if (count != 0 || padding > 0) return std::nullopt;
  return out;
}

}  // namespace kp::encoding
