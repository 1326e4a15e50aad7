// kp160std — natural order (see the header).
#include "update/natural_order.h"

namespace kp::update {

namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Letters fold to lower case: ASCII and Latin-1.
char16_t Fold(char16_t c) {
  if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) return static_cast<char16_t>(c + 32);
  return c;
}

}  // namespace

int CompareNatural(std::u16string_view a, std::u16string_view b) {
  size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (IsDigit(a[i]) && IsDigit(b[j])) {
      // By value, whatever the length: leading zeros skipped, then the
      // longer run is the greater, then the first differing digit decides.
      size_t ei = i, ej = j;
      while (ei < a.size() && IsDigit(a[ei])) ++ei;
      while (ej < b.size() && IsDigit(b[ej])) ++ej;
      size_t si = i, sj = j;
      while (si + 1 < ei && a[si] == u'0') ++si;
      while (sj + 1 < ej && b[sj] == u'0') ++sj;
      if (ei - si != ej - sj) return ei - si < ej - sj ? -1 : 1;
      for (; si < ei; ++si, ++sj)
        if (a[si] != b[sj]) return a[si] < b[sj] ? -1 : 1;
      i = ei, j = ej;
      continue;
    }
    const char16_t x = Fold(a[i]), y = Fold(b[j]);
    if (x != y) return x < y ? -1 : 1;
    ++i, ++j;
  }
  // One text is the beginning of the other (or both ended): the shorter first.
  const bool aLeft = i < a.size(), bLeft = j < b.size();
  return aLeft == bLeft ? 0 : (aLeft ? 1 : -1);
}

}  // namespace kp::update
