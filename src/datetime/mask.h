// kp160std — the display-mask engine: dates and durations to text and back.
//
// A mask is literal text with tokens (upper-case letters; see
// docs/datetime.md for the full list):
//   dates      JJ/DD  JJJ/DDD  JJJJ/DDDD  (Jjj, Jjjj: capitalised name)
//              MM  MMM  MMMM  (Mmm, Mmmm)   AA/YY  AAAA/YYYY
//              and, in the device's own formats only, J/D and M (one or
//              two digits); elsewhere a lone letter is text
//   durations  J.. D.. (days)  H.. (hours)  M.. (minutes)  S.. (seconds)
//              CC (hundredths)  LLL (milliseconds)
// Text between single quotes is literal. Names come from the language object
// of the context (datetime/names.h) and are looked up only when a name token
// is used.
//
// Thread-safety: pure apart from those look-ups; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "datetime/calendar.h"
#include "kp160std/abi.h"

namespace kp::datetime {

// `deviceFormat`: the mask is the device's date format (SystemDateMask),
// whose single letters are fields too.
std::u16string FormatDateMask(ExecContext* context, const DateParts& date, std::u16string_view mask,
                              bool deviceFormat = false);
// The date read from `text`; nullopt when the text does not follow the mask
// or the date it gives does not exist.
std::optional<DateParts> ParseDateMask(ExecContext* context, std::u16string_view text, std::u16string_view mask,
                                       bool deviceFormat = false);

std::u16string FormatDurationMask(int64_t milliseconds, std::u16string_view mask);
std::optional<int64_t> ParseDurationMask(std::u16string_view text, std::u16string_view mask);

}  // namespace kp::datetime
