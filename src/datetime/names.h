// kp160std — names of weekdays and months in letters, from the running
// program's language object (its lists, or the device's own names when its
// switch says so), else the VM's messages, else the library's own French or
// English tables. Looked up on every call: the language may change between
// calls.
//
// Thread-safety: read-only tables; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "kp160std/abi.h"

namespace kp::datetime {

// `weekday`: 0 = Sunday .. 6 = Saturday (the raw index of a day number);
// `month`: 1 .. 12. Out of range gives the empty text.
std::u16string DayName(ExecContext* context, int32_t weekday);
std::u16string MonthName(ExecContext* context, int32_t month);
std::u16string ShortDayName(ExecContext* context, int32_t weekday);
std::u16string ShortMonthName(ExecContext* context, int32_t month);

// EntierVersJourEnLettre, DateVersJourEnLettre, EntierVersMoisEnLettre,
// DateVersMoisEnLettre.
std::u16string IntegerToDayInAlpha(ExecContext* context, int32_t n);
std::u16string DateToDayInAlpha(ExecContext* context, std::u16string_view date);
std::u16string IntegerToMonthInAlpha(ExecContext* context, int32_t n);
std::u16string DateToMonthInAlpha(ExecContext* context, std::u16string_view date);

}  // namespace kp::datetime
