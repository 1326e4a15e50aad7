// kp160std — device paths of INI files.
#include "registry/device_path.h"

namespace kp::registry {

namespace {

bool AppendUtf8(std::u16string_view name, std::string* out) {
  for (size_t i = 0; i < name.size(); ++i) {
    uint32_t c = name[i];
    if (c == 0) return false;
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < name.size() && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (name[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      return false;  // a lone surrogate names no file
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

}  // namespace

bool IsAbsoluteDevicePath(std::u16string_view path) {
  return !path.empty() && (path.front() == u'\\' || path.front() == u'/' || path.back() == u':');
}

std::optional<std::string> DeviceRelativePath(std::u16string_view path) {
  if (path.empty() || (path.front() != u'\\' && path.front() != u'/')) return std::nullopt;
  std::string out;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = path.size();
    const std::u16string_view name = path.substr(start, end - start);
    start = end + 1;
    if (name.empty()) continue;
    if (name == u"." || name == u"..") return std::nullopt;
    if (!out.empty()) out += '/';
    if (!AppendUtf8(name, &out)) return std::nullopt;
  }
  if (out.empty()) return std::nullopt;
  return out;
}

}  // namespace kp::registry
