// kp160std — colours: RVB/RGB and its splitters, TSL/HSL, and the three
// Couleur… functions (hue, saturation, lightness of a colour value).
//
// A colour value has red in bits 0-7, green in 8-15, blue in 16-23.
// Thread-safety: pure functions; any thread.
#pragma once

#include <cstdint>

#include "abi/error_ids.h"
#include "kp160std/abi.h"

namespace kp::numbers {

int32_t Rgb(ExecContext* context, int32_t red, int32_t green, int32_t blue);
int32_t RgbRed(ExecContext* context, int32_t colour);
int32_t RgbGreen(ExecContext* context, int32_t colour);
int32_t RgbBlue(ExecContext* context, int32_t colour);

// Hue 0..360, saturation and lightness 0..100; 0 and an error otherwise
// (80202 hue, 80204 saturation, 80203 lightness).
int32_t Hsl(ExecContext* context, int32_t hue, int32_t saturation, int32_t lightness);

int32_t ColorHue(ExecContext* context, int32_t colour);
int32_t ColorSaturation(ExecContext* context, int32_t colour);
int32_t ColorLightness(ExecContext* context, int32_t colour);

struct HslValue {
  int32_t hue = 0;         // 0..359
  int32_t saturation = 0;  // 0..100
  int32_t lightness = 0;   // 0..100
};
// The shared conversion behind the three Couleur… functions.
HslValue ToHsl(uint32_t colour);

constexpr int32_t kErrorHue = kErrBadHue;
constexpr int32_t kErrorLightness = kErrBadLightness;
constexpr int32_t kErrorSaturation = kErrBadSaturation;

}  // namespace kp::numbers
