// kp160std — text helpers of the registry family.
#include "registry/text.h"

#include <charconv>
#include <cstring>

#include "platform/registry.h"

namespace kp::registry {

namespace {


}  // namespace

std::u16string Ascii(std::string_view text) { return std::u16string(text.begin(), text.end()); }

std::u16string ToText(const Value& value) {
  char buffer[64];
  if (auto* t = std::get_if<std::u16string>(&value)) return *t;
  if (auto* b = std::get_if<bool>(&value)) return *b ? u"1" : u"0";
  if (auto* i = std::get_if<int32_t>(&value)) return Ascii({buffer, std::to_chars(buffer, buffer + 64, *i).ptr});
  if (auto* l = std::get_if<int64_t>(&value)) return Ascii({buffer, std::to_chars(buffer, buffer + 64, *l).ptr});
  if (auto* d = std::get_if<double>(&value)) return Ascii({buffer, std::to_chars(buffer, buffer + 64, *d).ptr});
  if (auto* bytes = std::get_if<Bytes>(&value)) return std::u16string(bytes->begin(), bytes->end());
  return {};
}

int64_t ToInteger(const Value& value) {
  if (auto* b = std::get_if<bool>(&value)) return *b ? 1 : 0;
  if (auto* i = std::get_if<int32_t>(&value)) return *i;
  if (auto* l = std::get_if<int64_t>(&value)) return *l;
  if (auto* d = std::get_if<double>(&value)) return *d != *d || *d > 9.2e18 || *d < -9.2e18 ? 0 : static_cast<int64_t>(*d);
  if (auto* t = std::get_if<std::u16string>(&value)) {
    size_t i = 0;
    while (i < t->size() && ((*t)[i] == u' ' || (*t)[i] == u'\t')) ++i;
    bool negative = false;
    if (i < t->size() && ((*t)[i] == u'-' || (*t)[i] == u'+')) negative = (*t)[i++] == u'-';
    uint64_t n = 0;
    for (; i < t->size() && (*t)[i] >= u'0' && (*t)[i] <= u'9'; ++i) n = n * 10 + ((*t)[i] - u'0');
    return negative ? -static_cast<int64_t>(n) : static_cast<int64_t>(n);
  }
  return 0;
}

Bytes RawBytes(const Value& value) {
  auto bytesOf = [](const void* p, size_t n) {
    Bytes out(n);
    if (n) std::memcpy(out.data(), p, n);
    return out;
  };
  if (auto* b = std::get_if<bool>(&value)) {
    const int32_t v = *b ? 1 : 0;
    return bytesOf(&v, 4);
  }
  if (auto* i = std::get_if<int32_t>(&value)) return bytesOf(i, 4);
  if (auto* l = std::get_if<int64_t>(&value)) return bytesOf(l, 8);
  if (auto* d = std::get_if<double>(&value)) return bytesOf(d, 8);
  if (auto* t = std::get_if<std::u16string>(&value)) return bytesOf(t->data(), t->size() * 2);
  if (auto* bytes = std::get_if<Bytes>(&value)) return *bytes;
  return {};
}

bool IsLetterOrDigit(char16_t c) {
  if ((c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z')) return true;
  if (c < 0xC0) return c == 0xAA || c == 0xB5 || c == 0xBA;
  if (c == 0xD7 || c == 0xF7) return false;
  return c <= 0x24F || (c >= 0x370 && c <= 0x3FF && c != 0x37E && c != 0x387) || (c >= 0x400 && c <= 0x52F);
}

bool ContainsFolded(std::u16string_view haystack, std::u16string_view needle, bool wholeWord) {
  if (needle.empty() || needle.size() > haystack.size()) return false;
  const std::u16string h = platform::reg::FoldName(haystack);
  const std::u16string n = platform::reg::FoldName(needle);
  for (size_t at = h.find(n); at != std::u16string::npos; at = h.find(n, at + 1)) {
    if (!wholeWord) return true;
    const bool before = at > 0 && IsLetterOrDigit(haystack[at - 1]);
    const bool after = at + n.size() < h.size() && IsLetterOrDigit(haystack[at + n.size()]);
    if (!before && !after) return true;
  }
  return false;
}

}  // namespace kp::registry
