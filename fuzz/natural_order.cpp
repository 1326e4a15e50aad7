// The natural order of version texts on arbitrary UTF-16 pairs (the input cut
// in two halves): antisymmetric, every text equal to itself and to its
// upper-cased ASCII form, and a text never after a longer one it begins.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "update/natural_order.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * 2);
  const std::u16string a = text.substr(0, text.size() / 2), b = text.substr(text.size() / 2);
  using kp::update::CompareNatural;
  const int ab = CompareNatural(a, b), ba = CompareNatural(b, a);
  if ((ab > 0) != (ba < 0) || (ab == 0) != (ba == 0)) __builtin_trap();
  if (CompareNatural(a, a) != 0) __builtin_trap();
  std::u16string upper = a;
  for (auto& c : upper)
    if (c >= u'a' && c <= u'z') c -= 32;
  if (CompareNatural(a, upper) != 0) __builtin_trap();
  if (CompareNatural(a, a + b) > 0) __builtin_trap();
  return 0;
}
