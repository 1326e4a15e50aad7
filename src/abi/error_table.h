// kp160std — gstErrorDef: what each error identifier means to the error
// record (message text, debug code, severity).
//
// Thread-safety: read-only after static initialisation; any thread.
#pragma once

#include <cstdint>

namespace kp {

constexpr int kErrorDefRows = 302;

enum ErrorDefColumn { kErrorId = 0, kErrorText = 1, kErrorDebugCode = 2, kErrorSeverity = 3 };

// Severity that means "no error": a row with it clears the record.
constexpr uint32_t kNoErrorLevel = 1;

// The row of `errorId`, searched from the top as the table is not sorted;
// null when there is none.
const uint32_t* FindErrorDef(int32_t errorId);

}  // namespace kp

// Four words per row: identifier, message number (0: none), debug code,
// severity.
extern const uint32_t gstErrorDef[kp::kErrorDefRows][4];
