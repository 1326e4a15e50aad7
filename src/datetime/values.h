// kp160std — conversions between date strings, day numbers, time strings and
// time integers (DateVersEntier, EntierVersDate, HeureVersEntier, ...).
//
// Plain functions with the ExecContext first; each reports into its error
// record and returns its failure value (-1, "" or false).
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::datetime {

int32_t DateToInteger(ExecContext* context, std::u16string_view date, int32_t dayOfYear);
// The day number of a date string; nullopt, with the date's error reported,
// when it is not a valid date. The DateVers... functions built on
// DateVersEntier start here, so that an invalid date gives their own failure
// value (day -1 is a date, 30 December 1799).
std::optional<int32_t> DateDayNumber(ExecContext* context, std::u16string_view date);
std::u16string IntegerToDate(ExecContext* context, int32_t n, std::u16string_view part);
int32_t IntegerToDay(ExecContext* context, int32_t n);
int32_t DateToDay(ExecContext* context, std::u16string_view date);
std::u16string IntegerToTime(ExecContext* context, int32_t n);
int32_t TimeToInteger(ExecContext* context, std::u16string_view time);
bool DateValid(ExecContext* context, std::u16string_view date);
bool TimeValid(ExecContext* context, std::u16string_view time);

}  // namespace kp::datetime
