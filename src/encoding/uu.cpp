// kp160std — UU encoding and decoding (see uu.h for the format).
#include "encoding/uu.h"

#include <algorithm>

#include "abi/error.h"

namespace kp::encoding {
namespace {

constexpr size_t kLineBytes = 45;

// Zero is written "`" (as sharutils and binascii.b2a_uu(backtick=True) do),
// every other 6-bit value as itself plus 32.
char Enc(uint32_t v) { return v ? static_cast<char>((v & 63) + 32) : '`'; }

// -1 for a character outside the alphabet; space and "`" both read as zero.
int Dec(char16_t c) {
  if (c == u'`') return 0;
  if (c < 32 || c > 96) return -1;
  return (c - 32) & 63;
}

bool StartsWith(std::u16string_view line, std::u16string_view prefix) {
  return line.substr(0, prefix.size()) == prefix;
}

}  // namespace

std::string UuEncodeBody(std::span<const uint8_t> data) {
  std::string out;
  out.reserve((data.size() + kLineBytes - 1) / kLineBytes * 62 + 2);
  for (size_t at = 0; at < data.size(); at += kLineBytes) {
    const size_t n = std::min(kLineBytes, data.size() - at);
    out.push_back(Enc(static_cast<uint32_t>(n)));
    for (size_t i = 0; i < n; i += 3) {
      // The last group is padded with zero bytes, as both references do.
      const uint32_t b0 = data[at + i];
      const uint32_t b1 = i + 1 < n ? data[at + i + 1] : 0;
      const uint32_t b2 = i + 2 < n ? data[at + i + 2] : 0;
      out.push_back(Enc(b0 >> 2));
      out.push_back(Enc(((b0 << 4) | (b1 >> 4)) & 63));
      out.push_back(Enc(((b1 << 2) | (b2 >> 6)) & 63));
      out.push_back(Enc(b2 & 63));
    }
    out.push_back('\n');
  }
  out += "`\n";
  return out;
}

std::optional<Bytes> UuDecodeBody(std::u16string_view text) {
  Bytes out;
  out.reserve(text.size() / 4 * 3);
  size_t at = 0;
  bool first = true, sawData = false, ended = false;
  while (at < text.size()) {
    size_t end = text.find(u'\n', at);
    if (end == std::u16string_view::npos) end = text.size();
    std::u16string_view line = text.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == u'\r') line.remove_suffix(1);
    if (first) {
      first = false;
      if (StartsWith(line, u"begin ")) continue;  // the header's mode and name are not needed
    }
    if (line.empty()) {
      if (sawData) break;  // an empty line (the encoder of old wrote no "`") ends the body
      continue;
    }
    if (line == u"end") {
      ended = true;
      break;
    }
    const int n = Dec(line[0]);
    if (n < 0) return std::nullopt;
    if (n == 0) {  // the zero-length line ends the body
      ended = true;
      break;
    }
    sawData = true;
    const size_t groups = (static_cast<size_t>(n) + 2) / 3;
    // Trailing characters beyond the groups are tolerated (some encoders
    // add a check character or spaces); missing ones are not.
    if (line.size() < 1 + 4 * groups) return std::nullopt;
    for (size_t g = 0; g < groups; ++g) {
      int v[4];
      for (int k = 0; k < 4; ++k)
        if ((v[k] = Dec(line[1 + 4 * g + k])) < 0) return std::nullopt;
      const uint8_t bytes[3] = {static_cast<uint8_t>(v[0] << 2 | v[1] >> 4),
                                static_cast<uint8_t>(v[1] << 4 | v[2] >> 2), static_cast<uint8_t>(v[2] << 6 | v[3])};
      const size_t take = std::min<size_t>(3, static_cast<size_t>(n) - 3 * g);
      out.insert(out.end(), bytes, bytes + take);
    }
  }
  // A text without a single line of the body (empty, or a header alone)
  // is not uuencoded, though the encoding of nothing ("`") is.
  if (!sawData && !ended) return std::nullopt;
  return out;
}

std::u16string UUEncode(ExecContext*, std::span<const uint8_t> data) {
  const std::string body = UuEncodeBody(data);
  return std::u16string(body.begin(), body.end());
}

Bytes UUDecode(ExecContext* context, std::u16string_view text) {
  auto bytes = UuDecodeBody(text);
  if (!bytes) {
    Raise(context, kErrNotUuEncoded);
    return {};
  }
  return std::move(*bytes);
}

}  // namespace kp::encoding
