// kp160std — the path rule.
#include "abi/error_ids.h"
#include "files/path_rule.h"

#include "abi/error.h"
#include "abi/vm.h"
#include "platform/win32_errors.h"

namespace kp::files {

bool CheckAbsolute(ExecContext* context, std::u16string_view name) {
  if (IsAbsolute(name)) return true;
  Raise(context, kErrPathNotAbsolute, {name});
  return false;
}

bool CheckLength(ExecContext* context, std::u16string_view name) {
  if (name.size() <= kMaxPath) return true;
  RecordSystemError(context, win32::kFilenameExcedRange);
  return false;
}

void RecordSystemError(ExecContext* context, uint32_t code) {
  CXError* record = ErrorRecord(context);
  Stamp(record);
  SetLevel(record, 3);
  SetSystemError(record, code);
}

}  // namespace kp::files
