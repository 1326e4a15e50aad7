// The number-mask parser and formatter, NumériqueVersChaîne's shortest form,
// the numeric-text reader and TailleVersChaîne. The first 8 bytes are a real
// (and a size), the rest the mask, byte by byte. Invariants: a mask that
// parses formats like C's snprintf with the same conversion (the point as
// separator, no grouping, glibc's "%#g" carry apart); the shortest form of a
// real reads back as that real; a numeric text's value is finite.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "numbers/number_format.h"
#include "numbers/numeric.h"
#include "numbers/size_text.h"

using namespace kp::numbers;

namespace {

std::string CMask(const NumberMask& m) {
  std::string s = "%";
  if (m.left) s += '-';
  if (m.plus) s += '+';
  if (m.space) s += ' ';
  if (m.zero) s += '0';
  if (m.alternate) s += '#';
  if (m.width) s += std::to_string(m.width);
  if (m.precision >= 0) s += "." + std::to_string(m.precision);
  if (m.conversion == 'd' || m.conversion == 'i') s += "ll";
  s += m.conversion;
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint64_t bits = 0;
  std::memcpy(&bits, data, size < 8 ? size : 8);
  double value;
  std::memcpy(&value, &bits, sizeof value);
  const std::u16string mask(data + (size < 8 ? size : 8), data + size);
  const Separators point{u".", u","};

  const MaskParse parsed = ParseNumberMask(mask);
  std::u16string out = NumToStringWith(nullptr, value, mask, point);
  if (parsed.mask && std::isfinite(value)) {
    const NumberMask& m = *parsed.mask;
    const bool integer = m.conversion == 'd' || m.conversion == 'i';
    const bool carry = m.alternate && (m.conversion == 'g' || m.conversion == 'G');
    if (!carry && !(integer && std::fabs(value) > 9e18)) {
      NumberMask bare = m;
      bare.prefix.clear();
      bare.suffix.clear();
      bare.group = false;
      std::u16string mine;
      AppendFormatted(bare, value, point, mine);
      static char c[4096];
      if (integer)
        std::snprintf(c, sizeof c, CMask(bare).c_str(), static_cast<long long>(std::llround(value)));
      else
        std::snprintf(c, sizeof c, CMask(bare).c_str(), value);
      if (mine != std::u16string(c, c + std::strlen(c))) std::abort();
    }
    if (out.size() < m.prefix.size() + m.suffix.size()) std::abort();
  } else if (!out.empty() && (!std::isfinite(value) || !mask.empty())) {
    std::abort();  // a failure gives the empty text
  }

  if (std::isfinite(value)) {
    const std::u16string shortest = ShortestText(value, u".");
    const auto back = ParseNumericText(shortest);
    if (!back || (*back != value && !(value == 0 && *back == 0))) std::abort();
  }
  if (const auto v = ParseNumericText(mask); v && !std::isfinite(*v)) std::abort();
  MaxOf(nullptr, kp::Value{mask});
  LengthToStringWith(nullptr, static_cast<int64_t>(bits), mask.substr(0, 16), false, point);
  return 0;
}
