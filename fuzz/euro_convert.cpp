// The euro conversion's exact core on arbitrary amounts, scales, reals and
// currency pairs: it never traps, a success is within half a unit of the
// exact value (the rounding difference says so) and converting a real is
// the same as converting its shortest decimal.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "numbers/euro.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 20) return 0;
  int64_t value;
  int16_t scale;
  double real;
  std::memcpy(&value, data, 8);
  std::memcpy(&scale, data + 8, 2);
  std::memcpy(&real, data + 10, 8);
  const auto currencies = kp::numbers::Currencies();
  const auto& from = currencies[data[18] % currencies.size()];
  const auto& to = currencies[data[19] % currencies.size()];
  kp::Currency result, difference;
  using kp::numbers::ConversionStatus;
  if (kp::numbers::ConvertThroughEuro({value, scale}, from.rate, to.rate, to.decimals, &result, &difference) ==
      ConversionStatus::Ok) {
    if (result.scale != to.decimals || difference.scale != to.decimals + 6) __builtin_trap();
    if (difference.value > 500000 || difference.value < -500000) __builtin_trap();
  }
  kp::Currency decimal;
  if (kp::numbers::RealToDecimal(real, &decimal)) {
    if (!std::isfinite(real)) __builtin_trap();
    if (decimal.scale < 0 || decimal.scale > 18) __builtin_trap();
  } else if (std::isfinite(real) && std::fabs(real) < 1e18) {
    __builtin_trap();
  }
  return 0;
}
