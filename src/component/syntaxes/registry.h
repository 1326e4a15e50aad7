// kp160std — syntaxes of the registry functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "registry/ini.h"
#include "registry/parameters.h"
#include "registry/registry.h"
#include "registry/text.h"

namespace kp::syn {

namespace regsyn {
using TextV = std::u16string_view;

inline Value ReadReporting(ExecContext* c, TextV key, TextV name, const VariantArg& ok) {
  bool success = false;
  Value v = registry::QueryValue(c, key, name, &success);
  AssignReference(c, ok, Value{success});
  return v;
}
inline Value ReadAtReporting(ExecContext* c, TextV key, int32_t index, const VariantArg& ok) {
  bool success = false;
  Value v = registry::QueryValueAt(c, key, index, &success);
  AssignReference(c, ok, Value{success});
  return v;
}
inline Value VariantValue(const VariantArg& v) { return v.Get().value_or(Value{}); }
}  // namespace regsyn

// RegistreLit/RegistryQueryValue
inline constexpr KLSyntax kRegistryQueryValue[] = {
    Syntax<[](ExecContext* c, regsyn::TextV k, regsyn::TextV n) { return registry::QueryValue(c, k, n); },
           KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<regsyn::ReadReporting, KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_VARIANT>(),
    Syntax<[](ExecContext* c, regsyn::TextV k, int32_t i) { return registry::QueryValueAt(c, k, i); },
           KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<regsyn::ReadAtReporting, KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT, KL_T_VARIANT>()};

// RegistreEcrit/RegistrySetValue
inline constexpr KLSyntax kRegistrySetValue[] = {
    Syntax<registry::SetText, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<registry::SetInteger, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<registry::SetReal, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_REAL>(),
    Syntax<registry::SetCurrency, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_CURRENCY>(),
    Syntax<registry::SetMemory, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<registry::SetTextAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<registry::SetIntegerAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<registry::SetRealAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_REAL>(),
    Syntax<registry::SetCurrencyAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_CURRENCY>(),
    Syntax<registry::SetMemoryAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT, KL_T_INT>(),
    Syntax<registry::SetBoolean, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_BOOL>(),
    Syntax<registry::SetBooleanAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_BOOL>(),
    Syntax<[](ExecContext* c, regsyn::TextV k, regsyn::TextV n, VariantArg v, regsyn::TextV type) {
      return registry::SetTypedValue(c, k, n, regsyn::VariantValue(v), type);
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV k, int32_t i, VariantArg v, regsyn::TextV type) {
      return registry::SetTypedValueAt(c, k, i, regsyn::VariantValue(v), type);
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_VARIANT, KL_T_TEXT_CELL>()};

// RegistrePremièreSousClé/RegistryFirstSubKey
inline constexpr KLSyntax kRegistryFirstSubKey[] = {
    Syntax<[](ExecContext* c) { return registry::FirstSubKey(c, {}); }, KL_T_TEXT>(),
    Syntax<registry::FirstSubKey, KL_T_TEXT, KL_T_TEXT_CELL>()};

// RegistreCléSuivante/RegistryNextKey
inline constexpr KLSyntax kRegistryNextKey[] = {
    Syntax<registry::NextKey, KL_T_TEXT, KL_T_TEXT_CELL>()};

// RegistreSupprimeClé/RegistryDeleteKey
inline constexpr KLSyntax kRegistryDeleteKey[] = {
    Syntax<registry::DeleteKey, KL_T_BOOL, KL_T_TEXT_CELL>()};

// RegistreCréeClé/RegistryCreateKey
inline constexpr KLSyntax kRegistryCreateKey[] = {
    Syntax<registry::CreateKey, KL_T_BOOL, KL_T_TEXT_CELL>()};

// RegistreExiste/RegistryExist
inline constexpr KLSyntax kRegistryExist[] = {
    Syntax<registry::KeyExists, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<registry::ValueExists, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<registry::ValueExistsAt, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// INIEcrit/INIWrite
// signature chosen here: the integer forms take an integer value, then an integer key
inline constexpr KLSyntax kINIWrite[] = {
    Syntax<[](ExecContext* c, regsyn::TextV s) { return registry::IniWriteFunction(c, s, {}, {}, {}); },
           KL_T_BOOL, KL_T_TEXT_CELL>(),
    // A key without a value deletes the entry.
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k) { return registry::IniWriteFunction(c, s, k, {}, {}); },
           KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k, regsyn::TextV v) {
      return registry::IniWriteFunction(c, s, k, v, {});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k, regsyn::TextV v, regsyn::TextV f) {
      return registry::IniWriteFunction(c, s, k, v, f);
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k, int32_t v) {
      return registry::IniWriteFunction(c, s, k, registry::ToText(Value{v}), {});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k, int32_t v, regsyn::TextV f) {
      return registry::IniWriteFunction(c, s, k, registry::ToText(Value{v}), f);
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, int32_t k, regsyn::TextV v) {
      return registry::IniWriteFunction(c, s, registry::ToText(Value{k}), v, {});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, int32_t k, regsyn::TextV v, regsyn::TextV f) {
      return registry::IniWriteFunction(c, s, registry::ToText(Value{k}), v, f);
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// INILit/INIRead
inline constexpr KLSyntax kINIRead[] = {
    Syntax<[](ExecContext* c, regsyn::TextV s) { return registry::IniReadFunction(c, s, {}, {}, {}); },
           KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k) { return registry::IniReadFunction(c, s, k, {}, {}); },
           KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV s, regsyn::TextV k, regsyn::TextV d) {
      return registry::IniReadFunction(c, s, k, d, {});
    }, KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<registry::IniReadFunction, KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// RegistreSupprimeValeur/RegistryDeleteValue
inline constexpr KLSyntax kRegistryDeleteValue[] = {
    Syntax<registry::DeleteValue, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// RegistreListeValeur/RegistryListValue
inline constexpr KLSyntax kRegistryListValue[] = {
    Syntax<[](ExecContext* c, regsyn::TextV k) { return registry::ListValues(c, k, false); }, KL_T_TEXT,
           KL_T_TEXT_CELL>(),
    Syntax<registry::ListValues, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_BOOL>()};

// RegistreCherche/RegistrySeek
inline constexpr KLSyntax kRegistrySeek[] = {
    Syntax<[](ExecContext* c, regsyn::TextV start, regsyn::TextV text) { return registry::Seek(c, start, text); },
           KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<registry::Seek, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>()};

// InitParamètre/InitParameter
inline constexpr KLSyntax kInitParameter[] = {
    Syntax<[](ExecContext* c, int32_t mode) { return registry::InitParameter(c, mode, std::nullopt); }, KL_T_TEXT,
           KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t mode, regsyn::TextV where) { return registry::InitParameter(c, mode, where); },
           KL_T_TEXT, KL_T_INT, KL_T_TEXT_CELL>()};

// SauveParamètre/SaveParameter
inline constexpr KLSyntax kSaveParameter[] = {
    Syntax<registry::SaveParameter, KL_T_NONE, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// ChargeParamètre/LoadParameter
inline constexpr KLSyntax kLoadParameter[] = {
    Syntax<[](ExecContext* c, regsyn::TextV name) { return registry::LoadParameter(c, name, std::nullopt); },
           KL_T_VARIANT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, regsyn::TextV name, VariantArg fallback) {
      return registry::LoadParameter(c, name, regsyn::VariantValue(fallback));
    }, KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_VARIANT>()};

// SupprimeParamètre/DeleteParameter
inline constexpr KLSyntax kDeleteParameter[] = {
    Syntax<registry::DeleteParameter, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<registry::DeleteAllParameters, KL_T_BOOL>(),
    Syntax<[](ExecContext* c, VariantArg object) { return registry::DeleteObjectParameters(c, object); }, KL_T_BOOL,
           KL_T_VARIANT>()};

// RegistreTypeValeur/RegistryValueType
inline constexpr KLSyntax kRegistryValueType[] = {
    Syntax<registry::ValueType, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<registry::ValueTypeAt, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

}  // namespace kp::syn
