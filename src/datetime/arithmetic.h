// kp160std — computing with dates: differences, week numbers, Easter, age and
// the universal/local conversions (DateDifférence, NuméroDeSemaine, Pâques,
// Age, DateHeureUTCVersLocale, ...).
//
// The differences use the second calendar core on purpose (see
// datetime/calendar.h).
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/error_ids.h"
#include "kp160std/abi.h"

namespace kp::datetime {

// Error number of Age for an invalid birth date, raised after the date's own.
constexpr int32_t kAgeInvalidParameter = kErrBadBirthDate;

int32_t DateDifference(ExecContext* context, std::u16string_view date1, std::u16string_view date2);
int32_t TimeDifference(ExecContext* context, std::u16string_view time1, std::u16string_view time2);
std::u16string DateTimeDifference(ExecContext* context, std::u16string_view first, std::u16string_view second);

int32_t WeekNumber(ExecContext* context, std::u16string_view date);
int32_t IntegerToWeekNumber(ExecContext* context, int32_t n);
int32_t DateToWeekNumber(ExecContext* context, std::u16string_view date);

std::u16string Easter(ExecContext* context, int32_t year);
std::u16string EasterOfText(ExecContext* context, std::u16string_view text);

// An empty reference means today's local date.
std::u16string Age(ExecContext* context, std::u16string_view birth, std::u16string_view reference);

// The VM's 8-byte date-time: day (8 bits), month (8 bits), year (16 bits),
// milliseconds since midnight (32 bits, unsigned), low byte first.
struct PackedDateTime {
  uint8_t day = 0;
  uint8_t month = 0;
  uint16_t year = 0;
  uint32_t milliseconds = 0;
};
PackedDateTime Unpack(int64_t value);
int64_t Pack(const PackedDateTime& value);

std::u16string DateTimeUTCToLocal(ExecContext* context, int64_t packed);
std::u16string DateTimeLocalToUTC(ExecContext* context, int64_t packed);

}  // namespace kp::datetime
