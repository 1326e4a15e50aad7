// kp160std — URL encoding and decoding.
#include "encoding/url.h"

#include <array>
#include <cstdint>

namespace kp::encoding {
namespace {

// One entry per low byte: 0 passes unchanged, else the two upper-case hex
// digits to write after "%". Exactly 80 bytes pass: letters, digits and
// ! # $ & ' ( ) * , - . / : ; = ? @ _ (space and controls are encoded).
struct UrlEntry {
  char16_t hi = 0, lo = 0;
};

constexpr std::array<UrlEntry, 256> MakeUrlTable() {
  constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
  constexpr std::u16string_view kKept = u"!#$&'()*,-./:;=?@_";
  std::array<UrlEntry, 256> t{};
  for (uint32_t i = 0; i < 256; ++i) {
    const bool alnum = (i >= 'A' && i <= 'Z') || (i >= 'a' && i <= 'z') || (i >= '0' && i <= '9');
    if (!alnum && kKept.find(static_cast<char16_t>(i)) == std::u16string_view::npos)
      t[i] = {kDigits[i >> 4], kDigits[i & 15]};
  }
  return t;
}

constexpr std::array<UrlEntry, 256> kUrl = MakeUrlTable();

constexpr int CountKept() {
  int n = 0;
  for (const auto& e : kUrl) n += e.hi == 0;
  return n;
}
static_assert(CountKept() == 80);

// "&#8364;" percent-encoded: the euro sign as a character reference.
constexpr std::u16string_view kEuroReference = u"%26%238364%3B";

}  // namespace

bool UrlPassesUnchanged(uint8_t lowByte) { return kUrl[lowByte].hi == 0; }

std::u16string UrlEncode(ExecContext*, std::u16string_view text) {
  size_t size = 0;
  for (char16_t c : text) size += kUrl[c & 0xff].hi ? 3 : 1;
  std::u16string out(size, u'\0');
  char16_t* w = out.data();
  for (char16_t c : text) {
    // Kept on purpose: only the low byte is looked up and written, so a
    // character above U+00FF loses its high byte ("€" U+20AC gives "%AC").
    const UrlEntry& e = kUrl[c & 0xff];
    if (e.hi) {
      *w++ = u'%';
      *w++ = e.hi;
      *w++ = e.lo;
    } else {
      *w++ = c;
    }
  }
  return out;
}

std::u16string UrlDecode(ExecContext*, std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());  // every step consumes at least as much as it writes
  const size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    const char16_t c = text[i];
    if (c == u'%') {
      if (text.substr(i, kEuroReference.size()) == kEuroReference) {
        out.push_back(u'\u20AC');
        i += kEuroReference.size();
        continue;
      }
      if (n - i < 3) return out;  // "%" or "%x" at the end: stop here
      ++i;
      uint32_t value = 0;
      for (int digit = 0; digit < 2; ++digit) {
        while (i < n && text[i] == u'%') ++i;
        // The text's end (or a zero inside it) is its terminating zero: the
        // whole decoding ends, without the half-built character.
        if (i == n || text[i] == 0) return out;
        const char16_t d = text[i++];
        value *= 16;
        // Kept on purpose: every upper-case letter counts ("G" = 16, carried
        // into the higher digit) but among lower-case letters only "a"; any
        // other character adds nothing.
        if (d >= u'0' && d <= u'9')
          value += d - u'0';
        else if (d >= u'A' && d <= u'Z')
          value += d - 55;
        else if (d == u'a')
          value += 10;
      }
      out.push_back(static_cast<char16_t>(value));
    } else if (c == u'+') {
      out.push_back(u' ');
      ++i;
    } else {
      if (c == 0) return out;
      out.push_back(c);
      ++i;
    }
  }
  return out;
}

}  // namespace kp::encoding
