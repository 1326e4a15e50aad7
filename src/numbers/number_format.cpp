// kp160std — NumériqueVersChaîne/NumToString: the mask parser and the
// formatter.
#include "numbers/number_format.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "platform/number_locale.h"

namespace kp::numbers {
namespace {

// %.999f of the largest real: 309 integer digits, the point, 999 decimals.
constexpr size_t kDigitBuffer = 1400;

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// A width or a precision; false past three digits (pos then at the fourth).
bool ReadField(std::u16string_view text, size_t& pos, int32_t& out) {
  const size_t start = pos;
  int32_t v = 0;
  while (pos < text.size() && IsDigit(text[pos])) {
    if (pos - start == 3) return false;
    v = v * 10 + (text[pos] - u'0');
    ++pos;
  }
  out = v;
  return true;
}

// The digits of a non-negative finite value by a C conversion; returns the
// end. `precision` is as C takes it (never -1 here).
char* Digits(char* buf, double magnitude, std::chars_format form, int32_t precision) {
  return std::to_chars(buf, buf + kDigitBuffer, magnitude, form, precision).ptr;
}

// "%#.Pg": %g that keeps its trailing zeros and always shows the point.
char* AlternateGeneral(char* buf, double magnitude, int32_t precision) {
  const int32_t p = precision < 0 ? 6 : precision == 0 ? 1 : precision;
  char* end = Digits(buf, magnitude, std::chars_format::scientific, p - 1);
  const char* e = static_cast<const char*>(std::memchr(buf, 'e', static_cast<size_t>(end - buf)));
  int32_t exponent = 0;
  std::from_chars(e + (e[1] == '+' ? 2 : 1), end, exponent);
  if (p > exponent && exponent >= -4) end = Digits(buf, magnitude, std::chars_format::fixed, p - 1 - exponent);
  if (!std::memchr(buf, '.', static_cast<size_t>(end - buf))) {
    // The point goes after the integer digits: before the exponent, or last.
    char* at = buf;
    while (at < end && *at != 'e') ++at;
    std::memmove(at + 1, at, static_cast<size_t>(end - at));
    *at = '.';
    ++end;
  }
  return end;
}

void AppendAscii(std::u16string& out, const char* from, const char* to) {
  for (; from < to; ++from) out.push_back(static_cast<char16_t>(*from));
}

}  // namespace

MaskParse ParseNumberMask(std::u16string_view text) {
  NumberMask mask;
  bool have = false;
  size_t i = 0;
  while (i < text.size()) {
    const char16_t c = text[i];
    if (c != u'%') {
      (have ? mask.suffix : mask.prefix).push_back(c);
      ++i;
      continue;
    }
    if (i + 1 < text.size() && text[i + 1] == u'%') {
      (have ? mask.suffix : mask.prefix).push_back(u'%');
      i += 2;
      continue;
    }
    if (have) return {std::nullopt, i};  // a number has one conversion
    ++i;
    for (; i < text.size(); ++i) {
      const char16_t f = text[i];
      if (f == u'-')
        mask.left = true;
      else if (f == u'+')
        mask.plus = true;
      else if (f == u' ')
        mask.space = true;
      else if (f == u'0')
        mask.zero = true;
      else if (f == u'#')
        mask.alternate = true;
      else if (f == u'\'')
        mask.group = true;
      else
        break;
    }
    if (!ReadField(text, i, mask.width)) return {std::nullopt, i};
    if (i < text.size() && text[i] == u'.') {
      ++i;
      if (!ReadField(text, i, mask.precision)) return {std::nullopt, i};  // "%.f" is precision 0, as in C
    }
    // C's length modifiers mean nothing for one real: read and ignored.
    if (i < text.size() && (text[i] == u'h' || text[i] == u'l')) {
      const char16_t l = text[i++];
      if (i < text.size() && text[i] == l) ++i;
    } else if (i < text.size() && text[i] == u'L') {
      ++i;
    }
    if (i >= text.size()) return {std::nullopt, i};
    switch (text[i]) {
      case u'd':
      case u'i':
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G': mask.conversion = static_cast<char>(text[i]); break;
      default: return {std::nullopt, i};
    }
    ++i;
    have = true;
  }
  if (!have) return {std::nullopt, text.size()};
  return {std::move(mask), 0};
}

void AppendFormatted(const NumberMask& mask, double value, const Separators& separators, std::u16string& out) {
  char buf[kDigitBuffer];
  char* end = buf;
  bool negative = std::signbit(value);
  double magnitude = std::fabs(value);
  const bool integer = mask.conversion == 'd' || mask.conversion == 'i';
  int32_t leadingZeros = 0;  // %.Nd's minimum digit count
  switch (mask.conversion) {
    case 'd':
    case 'i':
      // Halves away from zero. Not std::round: mingw-w64's adds 0.5 first,
      // which takes 0.49999999999999994 to 1. The fraction m - trunc(m) is exact.
      {
        const double whole = std::trunc(magnitude);
        magnitude = magnitude - whole >= 0.5 ? whole + 1 : whole;
      }
      if (magnitude == 0) negative = false;
      if (mask.precision == 0 && magnitude == 0) break;  // C: "%.0d" of zero writes no digit
      // Below 2^63 the integer conversion is the same digits, faster.
      end = magnitude < 9.2e18 ? std::to_chars(buf, buf + kDigitBuffer, static_cast<uint64_t>(magnitude)).ptr
                               : Digits(buf, magnitude, std::chars_format::fixed, 0);
      leadingZeros = std::max<int32_t>(0, mask.precision - static_cast<int32_t>(end - buf));
      break;
    case 'f':
    case 'F':
      end = Digits(buf, magnitude, std::chars_format::fixed, mask.precision < 0 ? 6 : mask.precision);
      if (mask.alternate && mask.precision == 0) *end++ = '.';
      break;
    case 'e':
    case 'E':
      end = Digits(buf, magnitude, std::chars_format::scientific, mask.precision < 0 ? 6 : mask.precision);
      if (mask.alternate && mask.precision == 0) {
        std::memmove(buf + 2, buf + 1, static_cast<size_t>(end - buf - 1));
        buf[1] = '.';
        ++end;
      }
      break;
    default:  // g, G
      end = mask.alternate ? AlternateGeneral(buf, magnitude, mask.precision)
                           : Digits(buf, magnitude, std::chars_format::general,
                                    mask.precision < 0    ? 6
                                    : mask.precision == 0 ? 1
                                                          : mask.precision);
  }
  if (mask.conversion == 'E' || mask.conversion == 'G')
    for (char* p = buf; p < end; ++p)
      if (*p == 'e') *p = 'E';

  const char* intEnd = buf;
  while (intEnd < end && *intEnd >= '0' && *intEnd <= '9') ++intEnd;
  const bool point = intEnd < end && *intEnd == '.';
  const size_t intDigits = static_cast<size_t>(leadingZeros) + static_cast<size_t>(intEnd - buf);
  const bool group = mask.group && intDigits > 3;
  const size_t separatorsLength = group ? (intDigits - 1) / 3 * separators.thousands.size() : 0;
  const char16_t sign = negative ? u'-' : mask.plus ? u'+' : mask.space ? u' ' : 0;
  const size_t length = (sign ? 1 : 0) + intDigits + separatorsLength + static_cast<size_t>(end - intEnd) +
                        (point ? separators.decimal.size() - 1 : 0);
  const size_t pad = mask.width > 0 && static_cast<size_t>(mask.width) > length ? mask.width - length : 0;
  // C ignores '0' with '-', and with a precision on an integer conversion.
  const bool zeroPad = mask.zero && !mask.left && !(integer && mask.precision >= 0);

  out.reserve(out.size() + mask.prefix.size() + length + pad + mask.suffix.size());
  out += mask.prefix;
  if (!mask.left && !zeroPad) out.append(pad, u' ');
  if (sign) out.push_back(sign);
  if (zeroPad) out.append(pad, u'0');  // padding zeros are never grouped
  size_t k = 0;
  auto digit = [&](char16_t d) {
    if (group && k > 0 && (intDigits - k) % 3 == 0) out += separators.thousands;
    out.push_back(d);
    ++k;
  };
  for (int32_t z = 0; z < leadingZeros; ++z) digit(u'0');
  for (const char* p = buf; p < intEnd; ++p) digit(static_cast<char16_t>(*p));
  if (point) {
    out += separators.decimal;
    AppendAscii(out, intEnd + 1, end);
  } else {
    AppendAscii(out, intEnd, end);
  }
  if (mask.left) out.append(pad, u' ');
  out += mask.suffix;
}

std::u16string ShortestText(double value, std::u16string_view decimal) {
  if (value == 0) return u"0";
  char buf[64];
  const char* end = std::to_chars(buf, buf + sizeof buf, std::fabs(value), std::chars_format::scientific).ptr;
  // buf: d[.ddd]e±XX
  char digits[32];
  size_t n = 0;
  const char* p = buf;
  for (; *p != 'e'; ++p)
    if (*p != '.') digits[n++] = *p;
  int32_t exponent = 0;
  std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);

  std::u16string out;
  out.reserve(32);
  if (value < 0) out.push_back(u'-');
  if (exponent >= -5 && exponent < 15) {
    if (exponent >= 0) {
      for (size_t i = 0; i <= static_cast<size_t>(exponent); ++i) out.push_back(i < n ? digits[i] : u'0');
      if (n > static_cast<size_t>(exponent) + 1) {
        out += decimal;
        for (size_t i = static_cast<size_t>(exponent) + 1; i < n; ++i) out.push_back(digits[i]);
      }
    } else {
      out.push_back(u'0');
      out += decimal;
      out.append(static_cast<size_t>(-exponent - 1), u'0');
      for (size_t i = 0; i < n; ++i) out.push_back(digits[i]);
    }
  } else {
    out.push_back(digits[0]);
    if (n > 1) {
      out += decimal;
      for (size_t i = 1; i < n; ++i) out.push_back(digits[i]);
    }
    AppendAscii(out, p, end);  // "e+20", "e-07": C's exponent form
  }
  return out;
}

Separators DeviceSeparators() {
  thread_local platform::NumberSeparators device;
  device = platform::DeviceNumberSeparators();
  Separators s{device.decimal, device.thousands};
  // The C locale groups nothing; a grouping asked for still shows.
  if (s.thousands.empty()) s.thousands = s.decimal == u"," ? u"." : u",";
  return s;
}

std::u16string NumToStringWith(ExecContext* context, double value, std::u16string_view mask,
                               const Separators& separators) {
  if (!std::isfinite(value)) {
    Raise(context, kErrNumberNotFinite);
    return {};
  }
  if (mask.empty()) return ShortestText(value, separators.decimal);
  const MaskParse parsed = ParseNumberMask(mask);
  if (!parsed.mask) {
    // A long mask is cut in the message; the position still counts in the whole.
    const std::u16string shown = mask.size() > 80 ? std::u16string(mask.substr(0, 80)) + u"…" : std::u16string(mask);
    Raise(context, kErrBadNumberMask, {shown, static_cast<int32_t>(parsed.errorAt + 1)});
    return {};
  }
  std::u16string out;
  AppendFormatted(*parsed.mask, value, separators, out);
  return out;
}

std::u16string NumToString(ExecContext* context, double value) {
  return NumToStringWith(context, value, {}, DeviceSeparators());
}

std::u16string NumToStringMask(ExecContext* context, double value, std::u16string_view mask) {
  return NumToStringWith(context, value, mask, DeviceSeparators());
}

}  // namespace kp::numbers
