// kp160std — the message formatter, built by both backends.
//
// Kept on purpose on Windows too: FormatMessageW with an argument array reads
// past the end of the array when a text names an insert that was not given,
// so both backends use this formatter and format alike, missing inserts
// included.
#include "platform/format_message.h"

#include <algorithm>

namespace kp::platform {
namespace {

struct Spec {
  bool left = false, plus = false, space = false, alternate = false, zero = false;
  int width = 0;
  int precision = -1;  // -1: not given
  int bits = 32;       // of the number read from the insert
  char16_t type = u's';
};

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

int ReadNumber(std::u16string_view s, size_t& i) {
  int n = 0;
  while (i < s.size() && IsDigit(s[i])) {
    n = std::min(n * 10 + (s[i] - u'0'), kMaxFieldWidth);
    ++i;
  }
  return n;
}

// A spec between the exclamation marks; false when it is not one we print.
bool ParseSpec(std::u16string_view s, Spec& spec) {
  size_t i = 0;
  for (; i < s.size(); ++i) {
    const char16_t c = s[i];
    if (c == u'-') spec.left = true;
    else if (c == u'+') spec.plus = true;
    else if (c == u' ') spec.space = true;
    else if (c == u'#') spec.alternate = true;
    else if (c == u'0') spec.zero = true;
    else break;
  }
  spec.width = ReadNumber(s, i);
  if (i < s.size() && s[i] == u'.') {
    ++i;
    spec.precision = ReadNumber(s, i);
  }
  auto starts = [&](std::u16string_view p) { return s.substr(i, p.size()) == p; };
  if (starts(u"I64") || starts(u"ll")) {
    spec.bits = 64;
    i += starts(u"ll") ? 2 : 3;
  } else if (starts(u"I32")) {
    i += 3;
  } else if (starts(u"I")) {
    spec.bits = sizeof(void*) * 8;
    i += 1;
  } else if (starts(u"h")) {
    spec.bits = 16;
    i += 1;
  } else if (starts(u"l") || starts(u"w")) {
    i += 1;
  }
  if (i + 1 != s.size()) return false;  // no type letter, or something after it
  spec.type = s[i];
  return std::u16string_view(u"diuxXocCsSp").find(spec.type) != std::u16string_view::npos;
}

void Pad(std::u16string& out, int count, char16_t c) {
  if (count > 0) out.append(static_cast<size_t>(count), c);
}

void PutField(std::u16string& out, const Spec& spec, std::u16string_view prefix, std::u16string_view body,
              bool zeroPadAllowed) {
  const int length = static_cast<int>(prefix.size() + body.size());
  const int fill = std::min(spec.width, kMaxFieldWidth) - length;
  if (spec.left) {
    out += prefix;
    out += body;
    Pad(out, fill, u' ');
  } else if (spec.zero && zeroPadAllowed) {
    out += prefix;
    Pad(out, fill, u'0');
    out += body;
  } else {
    Pad(out, fill, u' ');
    out += prefix;
    out += body;
  }
}

void PutText(std::u16string& out, const Spec& spec, std::u16string_view text) {
  if (spec.precision >= 0 && text.size() > static_cast<size_t>(spec.precision)) text = text.substr(0, spec.precision);
  PutField(out, spec, {}, text, false);
}

std::u16string Digits(uint64_t n, unsigned base, bool upper) {
  const char16_t* digits = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
  std::u16string s;
  do {
    s.insert(s.begin(), digits[n % base]);
    n /= base;
  } while (n);
  return s;
}

void PutNumber(std::u16string& out, const Spec& spec, uint64_t raw) {
  const unsigned bits = spec.type == u'p' ? sizeof(void*) * 8 : spec.bits;
  const uint64_t mask = bits >= 64 ? ~0ull : (1ull << bits) - 1;
  uint64_t magnitude = raw & mask;
  bool negative = false;
  if (spec.type == u'd' || spec.type == u'i') {
    const uint64_t signBit = 1ull << (bits - 1);
    if (magnitude & signBit) {
      negative = true;
      magnitude = (~magnitude + 1) & mask;
    }
  }
  if (spec.type == u'c' || spec.type == u'C') {
    const char16_t c = static_cast<char16_t>(raw & 0xFFFF);
    PutField(out, spec, {}, c ? std::u16string_view(&c, 1) : std::u16string_view(), false);
    return;
  }
  std::u16string prefix;
  std::u16string body;
  switch (spec.type) {
    case u'x': body = Digits(magnitude, 16, false); break;
    case u'X': body = Digits(magnitude, 16, true); break;
    case u'o': body = Digits(magnitude, 8, false); break;
    case u'p': body = Digits(magnitude, 16, true); break;
    default: body = Digits(magnitude, 10, false); break;
  }
  if (spec.type == u'p') {
    // pointers print at their full width, as the system shows them
    const size_t width = sizeof(void*) * 2;
    if (body.size() < width) body.insert(0, width - body.size(), u'0');
  } else if (spec.precision >= 0) {
    if (spec.precision == 0 && magnitude == 0) body.clear();
    const size_t precision = static_cast<size_t>(std::min(spec.precision, kMaxFieldWidth));
    if (body.size() < precision) body.insert(0, precision - body.size(), u'0');
  }
  if (negative) prefix = u"-";
  else if ((spec.type == u'd' || spec.type == u'i') && spec.plus) prefix = u"+";
  else if ((spec.type == u'd' || spec.type == u'i') && spec.space) prefix = u" ";
  if (spec.alternate && magnitude != 0) {
    if (spec.type == u'x') prefix += u"0x";
    else if (spec.type == u'X') prefix += u"0X";
    else if (spec.type == u'o' && body.front() != u'0') prefix += u"0";
  }
  PutField(out, spec, prefix, body, spec.precision < 0);
}

std::u16string SignedDecimal(uint64_t n) {
  const auto v = static_cast<int64_t>(n);
  if (v >= 0) return Digits(n, 10, false);
  return u"-" + Digits(0 - n, 10, false);
}

// false: leave the marker as written.
bool PutInsert(std::u16string& out, std::u16string_view specText, const FormatArgument& argument) {
  Spec spec;
  if (!ParseSpec(specText, spec)) return false;
  const bool textSpec = spec.type == u's' || spec.type == u'S';
  if (argument.isText) PutText(out, spec, argument.text);
  else if (textSpec) PutText(out, spec, SignedDecimal(argument.number));
  else PutNumber(out, spec, argument.number);
  return true;
}

}  // namespace

std::optional<std::u16string> FormatMessageFromString(std::u16string_view text,
                                                       std::span<const FormatArgument> arguments) {
  std::u16string out;
  out.reserve(text.size() + 16 * arguments.size());
  size_t i = 0;
  while (i < text.size()) {
    const char16_t c = text[i];
    if (c != u'%') {
      out += c;
      ++i;
      continue;
    }
    if (i + 1 == text.size()) {  // a lone "%" at the very end
      out += c;
      break;
    }
    const char16_t d = text[i + 1];
    if (d == u'0') return out;
    if (d >= u'1' && d <= u'9') {
      const size_t start = i;
      size_t j = i + 2;
      size_t number = d - u'0';
      if (j < text.size() && IsDigit(text[j])) number = number * 10 + (text[j++] - u'0');
      std::u16string_view spec = u"s";
      if (j < text.size() && text[j] == u'!') {
        const size_t close = text.find(u'!', j + 1);
        if (close == std::u16string_view::npos) return std::nullopt;
        spec = text.substr(j + 1, close - j - 1);
        j = close + 1;
      }
      if (number > arguments.size() || !PutInsert(out, spec, arguments[number - 1]))
        out += text.substr(start, j - start);
      i = j;
      continue;
    }
    switch (d) {
      case u't': out += u'\t'; break;
      case u'r': out += u'\r'; break;
      case u'n': out += u"\r\n"; break;
      default: out += d; break;  // "%%", "%!", "%.", "% " and any other letter
    }
    i += 2;
  }
  return out;
}

}  // namespace kp::platform
