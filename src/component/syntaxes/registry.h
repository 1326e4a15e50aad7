// kp160std — syntaxes of the registry functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

  // RegistreLit/RegistryQueryValue
inline constexpr KLSyntax kRegistryQueryValue[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistreEcrit/RegistrySetValue
inline constexpr KLSyntax kRegistrySetValue[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistrePremièreSousClé/RegistryFirstSubKey
inline constexpr KLSyntax kRegistryFirstSubKey[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistreCléSuivante/RegistryNextKey
inline constexpr KLSyntax kRegistryNextKey[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreSupprimeClé/RegistryDeleteKey
inline constexpr KLSyntax kRegistryDeleteKey[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreCréeClé/RegistryCreateKey
inline constexpr KLSyntax kRegistryCreateKey[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreExiste/RegistryExist
inline constexpr KLSyntax kRegistryExist[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // INIEcrit/INIWrite
inline constexpr KLSyntax kINIWrite[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // INILit/INIRead
inline constexpr KLSyntax kINIRead[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistreSupprimeValeur/RegistryDeleteValue
inline constexpr KLSyntax kRegistryDeleteValue[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreListeValeur/RegistryListValue
inline constexpr KLSyntax kRegistryListValue[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistreCherche/RegistrySeek
inline constexpr KLSyntax kRegistrySeek[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // InitParamètre/InitParameter
inline constexpr KLSyntax kInitParameter[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SauveParamètre/SaveParameter
inline constexpr KLSyntax kSaveParameter[] = {
    Unavailable<KL_T_NONE>()};
  // ChargeParamètre/LoadParameter
inline constexpr KLSyntax kLoadParameter[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SupprimeParamètre/DeleteParameter
inline constexpr KLSyntax kDeleteParameter[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // RegistreTypeValeur/RegistryValueType
inline constexpr KLSyntax kRegistryValueType[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
