// kp160std — syntaxes of the encoding functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

  // Phonétique/Phonetic
inline constexpr KLSyntax kPhonetic[] = {
    Unavailable<KL_T_NONE>()};
  // sCalculeCrc16/sComputeCrc16
inline constexpr KLSyntax ksComputeCrc16[] = {
    Unavailable<KL_T_NONE>()};
  // Crypte/Crypt
inline constexpr KLSyntax kCrypt[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Décrypte/Uncrypt
inline constexpr KLSyntax kUncrypt[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // VérifieExpressionRégulière/MatchRegularExpression
inline constexpr KLSyntax kMatchRegularExpression[] = {
    Unavailable<KL_T_NONE>()};
  // Compresse/Compress
inline constexpr KLSyntax kCompress[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Décompresse/Uncompress
inline constexpr KLSyntax kUncompress[] = {
    Unavailable<KL_T_NONE>()};
  // URLEncode/URLEncode
inline constexpr KLSyntax kURLEncode[] = {
    Unavailable<KL_T_NONE>()};
  // URLDécode/URLDecode
inline constexpr KLSyntax kURLDecode[] = {
    Unavailable<KL_T_NONE>()};
  // sCalculeCrc32/sComputeCrc32
inline constexpr KLSyntax ksComputeCrc32[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // diffCrée/diffCreate
inline constexpr KLSyntax kdiffCreate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // diffApplique/diffApply
inline constexpr KLSyntax kdiffApply[] = {
    Unavailable<KL_T_NONE>()};
  // DonneGUID/GetGUID
inline constexpr KLSyntax kGetGUID[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // UUEncode/UUEncode
inline constexpr KLSyntax kUUEncode[] = {
    Unavailable<KL_T_NONE>()};
  // UUDécode/UUDecode
inline constexpr KLSyntax kUUDecode[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
