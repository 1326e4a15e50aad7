// Colours: TSL over arbitrary 32-bit arguments (checks, no overflow), the
// hue/saturation/lightness of arbitrary colour values (ranges), and the
// round trip's bound of two per component.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "numbers/colour.h"
#include "support/fake_context.h"

namespace {

int Worst(uint32_t a, uint32_t b) {
  int w = 0;
  for (int k = 0; k < 3; ++k) {
    const int d = std::abs(static_cast<int>((a >> 8 * k) & 0xff) - static_cast<int>((b >> 8 * k) & 0xff));
    w = d > w ? d : w;
  }
  return w;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 12) return 0;
  int32_t h, s, l;
  std::memcpy(&h, data, 4);
  std::memcpy(&s, data + 4, 4);
  std::memcpy(&l, data + 8, 4);

  kp::test::FakeContext context;
  const int32_t colour = kp::numbers::Hsl(context, h, s, l);
  const bool valid = static_cast<uint32_t>(h) <= 360 && static_cast<uint32_t>(s) <= 100 && static_cast<uint32_t>(l) <= 100;
  if (valid == context.hasError()) __builtin_trap();
  if (!valid && colour != 0) __builtin_trap();
  if (static_cast<uint32_t>(colour) >> 24) __builtin_trap();

  // The same bytes as a colour value, high byte included.
  const auto value = static_cast<uint32_t>(h);
  const kp::numbers::HslValue x = kp::numbers::ToHsl(value);
  if (x.hue < 0 || x.hue > 359 || x.saturation < 0 || x.saturation > 100 || x.lightness < 0 || x.lightness > 100)
    __builtin_trap();

  // A colour that TSL made comes back within two per component.
  if (valid) {
    const kp::numbers::HslValue y = kp::numbers::ToHsl(static_cast<uint32_t>(colour));
    const auto back = static_cast<uint32_t>(kp::numbers::Hsl(nullptr, y.hue, y.saturation, y.lightness));
    if (Worst(static_cast<uint32_t>(colour), back) > 2) __builtin_trap();
  }
  return 0;
}
