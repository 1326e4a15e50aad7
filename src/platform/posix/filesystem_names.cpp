// kp160std — names on the POSIX device file system: UTF-16 device names to
// UTF-8 host names and back, case folding and wildcard matching (see fs_names.h).
#include <cstdint>
#include <string>

#include "platform/posix/fs_names.h"

namespace kp::platform::fs::names {

namespace {

bool WildMatch(std::u16string_view pattern, std::u16string_view name) {
  size_t p = 0, n = 0, star = std::u16string_view::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      mark = n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

}  // namespace

bool ToUtf8(std::u16string_view name, std::string* out) {
  for (size_t i = 0; i < name.size(); ++i) {
    uint32_t c = name[i];
    if (c == 0) return false;
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < name.size() && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (name[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      return false;
    }
    if (c < 0x80) {
      *out += static_cast<char>(c);
    } else if (c < 0x800) {
      *out += static_cast<char>(0xC0 | (c >> 6));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      *out += static_cast<char>(0xE0 | (c >> 12));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      *out += static_cast<char>(0xF0 | (c >> 18));
      *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

std::u16string FromUtf8(std::string_view s) {
  std::u16string out;
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<uint8_t>(s[i]);
    uint32_t c = 0xFFFD;
    size_t len = 1;
    if (b < 0x80) {
      c = b;
    } else if ((b & 0xE0) == 0xC0 && i + 1 < s.size()) {
      c = ((b & 0x1F) << 6) | (s[i + 1] & 0x3F);
      len = 2;
    } else if ((b & 0xF0) == 0xE0 && i + 2 < s.size()) {
      c = ((b & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
      len = 3;
    } else if ((b & 0xF8) == 0xF0 && i + 3 < s.size()) {
      c = ((b & 0x07) << 18) | ((s[i + 1] & 0x3F) << 12) | ((s[i + 2] & 0x3F) << 6) | (s[i + 3] & 0x3F);
      len = 4;
    }
    i += len;
    if (c >= 0x10000) {
      c -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (c >> 10));
      out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
  }
  return out;
}

std::u16string Fold(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) {
    if (c >= u'a' && c <= u'z') {
      c = static_cast<char16_t>(c - 32);
    } else if (c >= 0xE0 && c <= 0xFE && c != 0xF7) {
      c = static_cast<char16_t>(c - 32);
    } else if (c == 0xFF) {
      c = 0x178;
    } else if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x131 && c != 0x138 && c != 0x149 && c != 0x17F) {
      // Latin Extended-A pairs: upper case even below 0x138, odd from 0x139 to 0x148 and from 0x179.
      if ((c < 0x138 && (c & 1)) || (c > 0x138 && c < 0x149 && !(c & 1)) ||
          (c > 0x149 && c < 0x178 && (c & 1)) || (c > 0x178 && !(c & 1)))
        c = static_cast<char16_t>(c - 1);
    } else if (c >= 0x430 && c <= 0x44F) {
      c = static_cast<char16_t>(c - 32);
    } else if (c >= 0x450 && c <= 0x45F) {
      c = static_cast<char16_t>(c - 80);
    } else if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) {
      c = static_cast<char16_t>(c - 32);
    }
  }
  return out;
}

bool Match(std::u16string_view pattern, std::u16string_view name) {
  const std::u16string p = Fold(pattern), n = Fold(name);
  if (WildMatch(p, n)) return true;
  // "*.*" and "x.*" also take names without an extension, as on the device.
  return p.size() >= 2 && p.ends_with(u".*") && n.find(u'.') == std::u16string::npos &&
         WildMatch(std::u16string_view(p).substr(0, p.size() - 2), n);
}

}  // namespace kp::platform::fs::names
