// kp160std — persistent parameters: InitParamètre, SauveParamètre,
// ChargeParamètre, SupprimeParamètre.
//
// One CParameterStore exists per running program, keyed by its ExecContext.
// It is made on the first use of any of the four functions and shared by
// reference count; ReleaseParameterStore drops the program's reference when
// the program's context ends (the VM's end-of-program path calls it; every
// store left is freed when the library is unloaded). A store keeps either a
// registry key (mode 0: HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE + key path)
// or an INI file (mode 3), resolved once per setting before first use.
//
// Parameter names: "." and "/" count as "\"; the text before the last "\" is
// the section (a sub-key, or an INI section with "\", space, "-" and tab
// turned into "_", "Global" when empty), the rest the value name.
//
// Thread-safety: the table of stores is locked; one store is used by its own
// program's thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "abi/error_ids.h"
#include "abi/value.h"
#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp::registry {

constexpr int32_t kParamRegistry = 0;
constexpr int32_t kParamIni = 3;
constexpr int32_t kErrUnknownMode = kErrUnknownParameterMode;
constexpr int32_t kErrEmptyParameterName = kErrDeleteEmptyParameterName;
constexpr int32_t kWarnLargeIniFile = kErrWarningLargeIni;

// The INI forms of values and section names.
std::u16string EncodeIniValue(std::u16string_view value);
std::u16string DecodeIniValue(std::u16string_view value);
std::u16string IniSectionName(std::u16string_view section);
// Splits a parameter name into its section and value name.
void SplitParameterName(std::u16string_view name, std::u16string* section, std::u16string* valueName);

// The store's state, for tests and the trace.
struct ParameterSetting {
  int32_t mode = kParamRegistry;
  bool opened = false;
  uintptr_t root = 0;
  std::u16string keyPath;
  std::u16string iniPath;
};
ParameterSetting CurrentParameterSetting(ExecContext* context);
void ReleaseParameterStore(ExecContext* context);

// InitParamètre: the previous setting as "mode\tlocation"; empty for an
// unknown mode (error 80700).
std::u16string InitParameter(ExecContext* context, int32_t mode, std::optional<std::u16string_view> location);
void SaveParameter(ExecContext* context, std::u16string_view name, std::u16string_view value);
Value LoadParameter(ExecContext* context, std::u16string_view name, const std::optional<Value>& fallback);
bool DeleteParameter(ExecContext* context, std::u16string_view name);
bool DeleteAllParameters(ExecContext* context);
// The parameters saved for an object: its value (as the VM's object service
// gives it) names the section.
bool DeleteObjectParameters(ExecContext* context, const VariantArg& object);

}  // namespace kp::registry
