// kp160std — the registry functions of KL (RegistreLit, RegistreEcrit, ...).
//
// Each function splits its key path (registry/keypath.h), opens the key with
// the narrowest access it needs, does one operation and closes the key before
// returning: no handle outlives a call. Reads and enumerations never raise
// errors (a missing key or value is an empty result); writes, creation and
// deletion raise 80291, 80292, 80293 or 80295 as each function says.
//
// Values are addressed by name (empty: the default value) or by index,
// counted from 1 in enumeration order, index 0 meaning the default value.
//
// Thread-safety: as the platform's registry; no state of its own.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "abi/error_ids.h"
#include "abi/value.h"
#include "kp160std/abi.h"
#include "platform/registry.h"

namespace kp::registry {

// Error identifiers of the family.
constexpr int32_t kErrCannotCreate = kErrRegistryCannotCreate;  // key cannot be created, value cannot be deleted
constexpr int32_t kErrEmptyKey = kErrRegistryEmptyKeyPath;      // empty key path to RegistreSupprimeClé
constexpr int32_t kErrCannotWrite = kErrRegistryCannotWrite;   // key cannot be opened, value cannot be written
constexpr int32_t kErrUnknownType = kErrRegistryUnknownValueType;   // unknown type name of a typed write

// The type's name ("REG_SZ", ...); empty for the codes that have none.
std::u16string_view TypeName(uint32_t type);

// RegistreLit. `success` (may be null) receives whether the registry call
// succeeded.
Value QueryValue(ExecContext* context, std::u16string_view key, std::u16string_view name, bool* success = nullptr);
Value QueryValueAt(ExecContext* context, std::u16string_view key, int32_t index, bool* success = nullptr);
// The KL value for a stored type and its bytes, as RegistreLit builds it.
Value ValueFromData(uint32_t type, std::span<const uint8_t> data);

// RegistreEcrit: the bytes each syntax writes, then the write itself.
Bytes TextBytes(std::u16string_view text, bool withTerminator);
Bytes DwordBytes(int32_t value);
Bytes RealBytes(double value);
Bytes CurrencyBytes(int64_t value, int16_t scale);
bool SetValue(ExecContext* context, std::u16string_view key, std::u16string_view name, uint32_t type,
              std::span<const uint8_t> data);
bool SetValueAt(ExecContext* context, std::u16string_view key, int32_t index, uint32_t type,
                std::span<const uint8_t> data);
// RegistreEcrit with a plain KL value (registry/write.cpp). A text written by
// name carries its terminating zero, one written by index does not; a boolean
// is a DWORD of 0 or 1; a real and a currency are stored as binary bytes.
bool SetText(ExecContext* context, std::u16string_view key, std::u16string_view name, std::u16string_view text);
bool SetTextAt(ExecContext* context, std::u16string_view key, int32_t index, std::u16string_view text);
bool SetInteger(ExecContext* context, std::u16string_view key, std::u16string_view name, int32_t value);
bool SetIntegerAt(ExecContext* context, std::u16string_view key, int32_t index, int32_t value);
bool SetReal(ExecContext* context, std::u16string_view key, std::u16string_view name, double value);
bool SetRealAt(ExecContext* context, std::u16string_view key, int32_t index, double value);
bool SetCurrency(ExecContext* context, std::u16string_view key, std::u16string_view name, Currency value);
bool SetCurrencyAt(ExecContext* context, std::u16string_view key, int32_t index, Currency value);
bool SetBoolean(ExecContext* context, std::u16string_view key, std::u16string_view name, bool value);
bool SetBooleanAt(ExecContext* context, std::u16string_view key, int32_t index, bool value);
// Syntaxes 5 and 10: `size` bytes at a memory address of the running program.
bool SetMemory(ExecContext* context, std::u16string_view key, std::u16string_view name, int32_t address,
               int32_t size);
bool SetMemoryAt(ExecContext* context, std::u16string_view key, int32_t index, int32_t address, int32_t size);
// Syntaxes 13 and 14: the value converted for the named type.
bool SetTypedValue(ExecContext* context, std::u16string_view key, std::u16string_view name, const Value& value,
                   std::u16string_view typeName);
bool SetTypedValueAt(ExecContext* context, std::u16string_view key, int32_t index, const Value& value,
                     std::u16string_view typeName);

// RegistrePremièreSousClé, RegistreCléSuivante: full paths, empty when none.
std::u16string FirstSubKey(ExecContext* context, std::u16string_view key);
std::u16string NextKey(ExecContext* context, std::u16string_view key);

bool DeleteKey(ExecContext* context, std::u16string_view key);
bool CreateKey(ExecContext* context, std::u16string_view key);
bool KeyExists(ExecContext* context, std::u16string_view key);
bool ValueExists(ExecContext* context, std::u16string_view key, std::u16string_view name);
bool ValueExistsAt(ExecContext* context, std::u16string_view key, int32_t index);
bool DeleteValue(ExecContext* context, std::u16string_view key, std::u16string_view name);
std::u16string ListValues(ExecContext* context, std::u16string_view key, bool withTypes);
std::u16string ValueType(ExecContext* context, std::u16string_view key, std::u16string_view name);
std::u16string ValueTypeAt(ExecContext* context, std::u16string_view key, int32_t index);

// RegistreCherche: see docs/registry.md for the result format and how a
// previous result resumes the search.
constexpr int32_t kSeekSubKeyNames = 1;
constexpr int32_t kSeekValueNames = 2;
constexpr int32_t kSeekValueContents = 4;
constexpr int32_t kSeekDescend = 8;
constexpr int32_t kSeekWholeWord = 16;
constexpr int32_t kSeekDefault = 15;
std::u16string Seek(ExecContext* context, std::u16string_view start, std::u16string_view searched,
                    int32_t options = kSeekDefault);

}  // namespace kp::registry
