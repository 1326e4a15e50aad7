// kp160std — syntaxes of the numbers functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "numbers/colour.h"
#include "numbers/parity.h"
#include "numbers/random.h"

namespace kp::syn {

  // Hasard/Random: (), (n), (a, b); every result a variant.
inline constexpr KLSyntax kRandom[] = {
    Syntax<numbers::Random, KL_T_VARIANT>(),
    Syntax<numbers::RandomUpTo, KL_T_VARIANT, KL_T_INT>(),
    Syntax<numbers::RandomBetween, KL_T_VARIANT, KL_T_INT | KL_T_FLAG_8000, KL_T_INT | KL_T_FLAG_8000>()};
  // InitHasard/InitRandom: (), (seed).
inline constexpr KLSyntax kInitRandom[] = {
    Syntax<numbers::InitRandom, KL_T_NONE>(),
    Syntax<numbers::InitRandomSeed, KL_T_NONE, KL_T_INT>()};
  // RVB/RGB
inline constexpr KLSyntax kRGB[] = {
    Syntax<numbers::Rgb, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};
  // EstPair/IsEven
inline constexpr KLSyntax kIsEven[] = {
    Syntax<numbers::IsEven, KL_T_BOOL, KL_T_INT>()};
  // EstImpair/IsOdd
inline constexpr KLSyntax kIsOdd[] = {
    Syntax<numbers::IsOdd, KL_T_BOOL, KL_T_INT>()};
  // TSL/HSL
inline constexpr KLSyntax kHSL[] = {
    Syntax<numbers::Hsl, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};
  // CouleurTeinte/ColorHue
inline constexpr KLSyntax kColorHue[] = {
    Syntax<numbers::ColorHue, KL_T_INT, KL_T_INT>()};
  // CouleurSaturation/ColorSaturation
inline constexpr KLSyntax kColorSaturation[] = {
    Syntax<numbers::ColorSaturation, KL_T_INT, KL_T_INT>()};
  // CouleurLuminosité/ColorLightness
inline constexpr KLSyntax kColorLightness[] = {
    Syntax<numbers::ColorLightness, KL_T_INT, KL_T_INT>()};
  // RVBBleu/RGBBlue
inline constexpr KLSyntax kRGBBlue[] = {
    Syntax<numbers::RgbBlue, KL_T_INT, KL_T_INT>()};
  // RVBRouge/RGBRed
inline constexpr KLSyntax kRGBRed[] = {
    Syntax<numbers::RgbRed, KL_T_INT, KL_T_INT>()};
  // RVBVert/RGBGreen
inline constexpr KLSyntax kRGBGreen[] = {
    Syntax<numbers::RgbGreen, KL_T_INT, KL_T_INT>()};
}  // namespace kp::syn
