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
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_VARIANT>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT, KL_T_VARIANT>()};

// RegistreEcrit/RegistrySetValue
inline constexpr KLSyntax kRegistrySetValue[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_REAL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_CURRENCY>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_REAL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_CURRENCY>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_BOOL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_BOOL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_VARIANT, KL_T_TEXT_CELL>()};

// RegistrePremièreSousClé/RegistryFirstSubKey
inline constexpr KLSyntax kRegistryFirstSubKey[] = {
    Unavailable<KL_T_TEXT>(),
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// RegistreCléSuivante/RegistryNextKey
inline constexpr KLSyntax kRegistryNextKey[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// RegistreSupprimeClé/RegistryDeleteKey
inline constexpr KLSyntax kRegistryDeleteKey[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// RegistreCréeClé/RegistryCreateKey
inline constexpr KLSyntax kRegistryCreateKey[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// RegistreExiste/RegistryExist
inline constexpr KLSyntax kRegistryExist[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// INIEcrit/INIWrite
// signature chosen here: the integer forms take an integer value, then an integer key
inline constexpr KLSyntax kINIWrite[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// INILit/INIRead
inline constexpr KLSyntax kINIRead[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// RegistreSupprimeValeur/RegistryDeleteValue
inline constexpr KLSyntax kRegistryDeleteValue[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// RegistreListeValeur/RegistryListValue
inline constexpr KLSyntax kRegistryListValue[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_BOOL>()};

// RegistreCherche/RegistrySeek
inline constexpr KLSyntax kRegistrySeek[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>()};

// InitParamètre/InitParameter
inline constexpr KLSyntax kInitParameter[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>(),
    Unavailable<KL_T_TEXT, KL_T_INT, KL_T_TEXT_CELL>()};

// SauveParamètre/SaveParameter
inline constexpr KLSyntax kSaveParameter[] = {
    Unavailable<KL_T_NONE, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// ChargeParamètre/LoadParameter
inline constexpr KLSyntax kLoadParameter[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_VARIANT>()};

// SupprimeParamètre/DeleteParameter
inline constexpr KLSyntax kDeleteParameter[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL>(),
    Unavailable<KL_T_BOOL, KL_T_VARIANT>()};

// RegistreTypeValeur/RegistryValueType
inline constexpr KLSyntax kRegistryValueType[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

}  // namespace kp::syn
