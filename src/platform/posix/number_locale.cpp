// kp160std — the device's number separators on POSIX: the environment's
// LC_NUMERIC locale (RADIXCHAR, THOUSEP), decoded from UTF-8.
#include "platform/number_locale.h"

#include <langinfo.h>
#include <locale.h>

#include <string_view>

namespace kp::platform {
namespace {

// Separators are one or two characters; a malformed UTF-8 byte is taken as
// Latin-1, which is right for the 8-bit locales.
std::u16string Decode(const char* text) {
  std::u16string out;
  if (!text) return out;
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  while (*s) {
    char32_t c = *s++;
    int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (more) {
      char32_t v = c & (more == 3 ? 0x07 : more == 2 ? 0x0F : 0x1F);
      const unsigned char* p = s;
      int left = more;
      for (; left > 0 && (*p & 0xC0) == 0x80; --left) v = (v << 6) | (*p++ & 0x3F);
      if (left == 0) c = v, s = p;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

NumberSeparators Read() {
  NumberSeparators out;
  locale_t l = newlocale(LC_NUMERIC_MASK, "", static_cast<locale_t>(0));
  if (l) {
    out.decimal = Decode(nl_langinfo_l(RADIXCHAR, l));
    out.thousands = Decode(nl_langinfo_l(THOUSEP, l));
    freelocale(l);
  }
  if (out.decimal.empty()) out.decimal = u".";
  return out;
}

}  // namespace

NumberSeparators DeviceNumberSeparators() {
  static const NumberSeparators separators = Read();
  return separators;
}

}  // namespace kp::platform
