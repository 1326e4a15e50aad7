// kp160std — syntaxes of the numbers functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"
#include "numbers/parity.h"

namespace kp::syn {

  // Hasard/Random
inline constexpr KLSyntax kRandom[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // InitHasard/InitRandom
inline constexpr KLSyntax kInitRandom[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RVB/RGB
inline constexpr KLSyntax kRGB[] = {
    Unavailable<KL_T_NONE>()};
  // eTauxDeChange/eExchangeRate
inline constexpr KLSyntax keExchangeRate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eVersEuro/eToEuro
inline constexpr KLSyntax keToEuro[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eVersDevise/eToCurrency
inline constexpr KLSyntax keToCurrency[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eChangeDevise/eChangeCurrency
inline constexpr KLSyntax keChangeCurrency[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eDeviseMemParDéfaut/eDefaultMemCurrency
inline constexpr KLSyntax keDefaultMemCurrency[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eDeviseAffParDéfaut/eDefaultViewCurrency
inline constexpr KLSyntax keDefaultViewCurrency[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eNomDevise/eCurrencyName
inline constexpr KLSyntax keCurrencyName[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // eInitDevise/eInitCurrency
inline constexpr KLSyntax keInitCurrency[] = {
    Unavailable<KL_T_NONE>()};
  // eDifférenceArrondi/eRoundDifference
inline constexpr KLSyntax keRoundDifference[] = {
    Unavailable<KL_T_NONE>()};
  // EstPair/IsEven
inline constexpr KLSyntax kIsEven[] = {
    Syntax<numbers::IsEven, KL_T_BOOL, KL_T_INT>()};
  // EstImpair/IsOdd
inline constexpr KLSyntax kIsOdd[] = {
    Syntax<numbers::IsOdd, KL_T_BOOL, KL_T_INT>()};
  // NumériqueVersChaîne/NumToString
inline constexpr KLSyntax kNumToString[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Max/Max
inline constexpr KLSyntax kMax[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Min/Min
inline constexpr KLSyntax kMin[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // EstNumérique/IsNumeric
inline constexpr KLSyntax kIsNumeric[] = {
    Unavailable<KL_T_NONE>()};
  // TSL/HSL
inline constexpr KLSyntax kHSL[] = {
    Unavailable<KL_T_NONE>()};
  // CouleurTeinte/ColorHue
inline constexpr KLSyntax kColorHue[] = {
    Unavailable<KL_T_NONE>()};
  // CouleurSaturation/ColorSaturation
inline constexpr KLSyntax kColorSaturation[] = {
    Unavailable<KL_T_NONE>()};
  // CouleurLuminosité/ColorLightness
inline constexpr KLSyntax kColorLightness[] = {
    Unavailable<KL_T_NONE>()};
  // RVBBleu/RGBBlue
inline constexpr KLSyntax kRGBBlue[] = {
    Unavailable<KL_T_NONE>()};
  // RVBRouge/RGBRed
inline constexpr KLSyntax kRGBRed[] = {
    Unavailable<KL_T_NONE>()};
  // RVBVert/RGBGreen
inline constexpr KLSyntax kRGBGreen[] = {
    Unavailable<KL_T_NONE>()};
  // TailleVersChaîne/LengthToString
inline constexpr KLSyntax kLengthToString[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // TableVersTexte/TableToText
inline constexpr KLSyntax kTableToText[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // TableVersPressePapier/TableToClipboard
inline constexpr KLSyntax kTableToClipboard[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
