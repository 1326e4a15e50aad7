// kp160std — RegistreEcrit with a plain KL value: which type and bytes each
// kind of value is stored as, by name and by index.
#include "registry/registry.h"

namespace kp::registry {

namespace reg = platform::reg;

// Kept on purpose: a text written by name carries its terminating zero, one
// written by index does not. Programs that read the raw size of such values
// see the difference, so the two syntaxes keep storing them so.
bool SetText(ExecContext* context, std::u16string_view key, std::u16string_view name, std::u16string_view text) {
  return SetValue(context, key, name, reg::kSz, TextBytes(text, true));
}
bool SetTextAt(ExecContext* context, std::u16string_view key, int32_t index, std::u16string_view text) {
  return SetValueAt(context, key, index, reg::kSz, TextBytes(text, false));
}

bool SetInteger(ExecContext* context, std::u16string_view key, std::u16string_view name, int32_t value) {
  return SetValue(context, key, name, reg::kDword, DwordBytes(value));
}
bool SetIntegerAt(ExecContext* context, std::u16string_view key, int32_t index, int32_t value) {
  return SetValueAt(context, key, index, reg::kDword, DwordBytes(value));
}

// A real and a currency have no registry type of their own: their bytes go in
// as binary and come back as a buffer.
bool SetReal(ExecContext* context, std::u16string_view key, std::u16string_view name, double value) {
  return SetValue(context, key, name, reg::kBinary, RealBytes(value));
}
bool SetRealAt(ExecContext* context, std::u16string_view key, int32_t index, double value) {
  return SetValueAt(context, key, index, reg::kBinary, RealBytes(value));
}

bool SetCurrency(ExecContext* context, std::u16string_view key, std::u16string_view name, Currency value) {
  return SetValue(context, key, name, reg::kBinary, CurrencyBytes(value.value, value.scale));
}
bool SetCurrencyAt(ExecContext* context, std::u16string_view key, int32_t index, Currency value) {
  return SetValueAt(context, key, index, reg::kBinary, CurrencyBytes(value.value, value.scale));
}

bool SetBoolean(ExecContext* context, std::u16string_view key, std::u16string_view name, bool value) {
  return SetValue(context, key, name, reg::kDword, DwordBytes(value ? 1 : 0));
}
bool SetBooleanAt(ExecContext* context, std::u16string_view key, int32_t index, bool value) {
  return SetValueAt(context, key, index, reg::kDword, DwordBytes(value ? 1 : 0));
}

}  // namespace kp::registry
