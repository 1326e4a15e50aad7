// kp160std — colours.
#include "numbers/colour.h"

#include <algorithm>

#include "abi/error.h"

namespace kp::numbers {
namespace {

// Half away from zero.
int32_t Round(double x) { return static_cast<int32_t>(x >= 0 ? x + 0.5 : x - 0.5); }

int32_t Percent(double x) { return std::clamp(Round(x * 100), 0, 100); }

// One channel of TSL for hue h (degrees, shifted by ±120 by the caller).
uint32_t Channel(double m1, double m2, int32_t h) {
  if (h > 360)
    h -= 360;
  else if (h < 0)
    h += 360;
  double v;
  if (h < 60)
    v = m1 + (m2 - m1) * h / 60;
  else if (h < 180)
    v = m2;
  else if (h < 240)
    v = m1 + (m2 - m1) * (240 - h) / 60;
  else
    v = m1;
  // Kept on purpose: truncated, not rounded like the reverse direction, so a
  // round trip may lose one in a component.
  return static_cast<uint32_t>(static_cast<int64_t>(v * 255)) & 0xffu;
}

}  // namespace

int32_t Rgb(ExecContext*, int32_t red, int32_t green, int32_t blue) {
  // Kept on purpose: no masking, a component out of 0..255 spills into its
  // neighbour (red 256 is green 1). Wrapping 32-bit arithmetic.
  const uint32_t v = static_cast<uint32_t>(red) +
                     (static_cast<uint32_t>(green) + static_cast<uint32_t>(blue) * 256u) * 256u;
  return static_cast<int32_t>(v);
}

int32_t RgbRed(ExecContext*, int32_t colour) { return colour & 0xff; }
int32_t RgbGreen(ExecContext*, int32_t colour) { return (colour >> 8) & 0xff; }
int32_t RgbBlue(ExecContext*, int32_t colour) { return (colour >> 16) & 0xff; }

HslValue ToHsl(uint32_t colour) {
  constexpr double kInv255 = 0.00392156862745098;
  const double r = (colour & 0xff) * kInv255;
  const double g = ((colour >> 8) & 0xff) * kInv255;
  const double b = ((colour >> 16) & 0xff) * kInv255;
  const double max = std::max({r, g, b});
  const double min = std::min({r, g, b});
  const double l = (max + min) / 2;
  HslValue out;
  out.lightness = Percent(l);
  if (max == min) return out;

  const double d = max - min;
  const double s = l <= 0.5 ? d / (max + min) : d / (2 - max - min);
  const double rc = (max - r) / d, gc = (max - g) / d, bc = (max - b) / d;
  double h;
  if (r == max)
    h = (bc + 6 - gc) * 60;
  else if (g == max)
    h = (rc + 2 - bc) * 60;
  else
    h = (gc + 4 - rc) * 60;
  if (h < 0) h += 360;
  out.hue = Round(h) % 360;
  out.saturation = Percent(s);
  return out;
}

int32_t ColorHue(ExecContext*, int32_t colour) { return ToHsl(static_cast<uint32_t>(colour)).hue; }
int32_t ColorSaturation(ExecContext*, int32_t colour) { return ToHsl(static_cast<uint32_t>(colour)).saturation; }
int32_t ColorLightness(ExecContext*, int32_t colour) { return ToHsl(static_cast<uint32_t>(colour)).lightness; }

int32_t Hsl(ExecContext* context, int32_t hue, int32_t saturation, int32_t lightness) {
  // Compared as unsigned, so negative values fail too.
  if (static_cast<uint32_t>(hue) > 360) {
    Raise(context, kErrorHue, {hue});
    return 0;
  }
  if (static_cast<uint32_t>(saturation) > 100) {
    Raise(context, kErrorSaturation, {saturation});
    return 0;
  }
  if (static_cast<uint32_t>(lightness) > 100) {
    Raise(context, kErrorLightness, {lightness});
    return 0;
  }
  uint32_t red, green, blue;
  if (saturation == 0) {
    red = green = blue = static_cast<uint32_t>(lightness) * 255 / 100;
  } else {
    const double l = lightness * 0.01, s = saturation * 0.01;
    const double m2 = l <= 0.5 ? l * (1 + s) : l + s - l * s;
    const double m1 = 2 * l - m2;
    red = Channel(m1, m2, hue + 120);
    green = Channel(m1, m2, hue);
    blue = Channel(m1, m2, hue - 120);
  }
  return static_cast<int32_t>(red | green << 8 | blue << 16);
}

}  // namespace kp::numbers
