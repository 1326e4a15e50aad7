// kp160std — reading and setting the device clock (DateSys, DateDuJour,
// HeureSys, Maintenant).
//
// The time of day is interpolated to the millisecond from the tick counter
// with one process-wide anchor, updated without a lock: concurrent callers
// may both re-anchor, which is harmless.
//
// Thread-safety: any thread; the device clock is the platform's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"
#include "platform/platform.h"

namespace kp::datetime {

// VM service question asked before the time of day is read.
constexpr int32_t kClockServiceQuestion = 9;

// Today's local date as "AAAAMMJJ".
std::u16string SystemDate(ExecContext* context);
bool SetSystemDate(ExecContext* context, std::u16string_view date);
// "HHMMSSCC"; the empty text when the VM answers 0 to service question 9.
std::u16string SystemTime(ExecContext* context);
bool SetSystemTime(ExecContext* context, std::u16string_view time);

// The interpolation step on its own, for tests: milliseconds since midnight
// from a clock reading (`now`, ms since midnight) and a tick count.
int64_t InterpolatedMilliseconds(int64_t now, uint32_t tick);
void ResetClockAnchor();

}  // namespace kp::datetime
