// kp — the VM's side of the error record: its texts live on the C heap and
// change only through the record's own operations, which the library calls.
// Shared by the host's Program and the unit tests' stand-in context.
#pragma once

#include <string>

#include "kp160std/abi.h"

namespace kphost {

// A fresh record: level 1, no error, no texts.
void InitErrorRecord(CXError& record);
// Back to fresh, keeping the module and version stamp.
void ClearErrorRecord(CXError& record);
// Frees every text, the stamp included.
void FreeErrorRecord(CXError& record);

std::u16string ErrorText(const KLErrorText& field);

}  // namespace kphost
