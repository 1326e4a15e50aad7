// Date-string and time-string parsers: the validity rules of both calendar
// cores, the two time rules, the built-in "JJ/MM/AAAA" parser and the
// difference functions. Invariants: a valid date converts to a day number
// that converts back to the same date (from 1583 on) and a valid time gives
// a time integer below one day.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "datetime/arithmetic.h"
#include "datetime/calendar.h"
#include "datetime/format.h"
#include "datetime/values.h"

using namespace kp::datetime;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text;
  for (size_t i = 0; i + 1 < size; i += 2) text.push_back(static_cast<char16_t>(data[i] | data[i + 1] << 8));
  // Byte-wise as well, so that plain ASCII inputs reach the digit paths.
  const std::u16string ascii(data, data + size);
  for (const std::u16string* t : {static_cast<const std::u16string*>(&text), &ascii}) {
    DateParts d;
    if (ParseDate(*t, d, nullptr)) {
      const auto n = DayNumber(d.day, d.month, d.year);
      if (!n) std::abort();
      if (d.year >= 1583 && IntegerToDate(nullptr, static_cast<int32_t>(*n), {}) != *t) std::abort();
    }
    ParseDateForDifference(*t, d);
    TimeParts tp;
    if (ParseTime(*t, tp, nullptr) && TimeToHundredths(tp) >= 8640000) std::abort();
    int32_t h = 0;
    if (ParseTimeForDifference(*t, h) && (h < 0 || h >= 8640000)) std::abort();
    const auto half = t->size() / 2;
    const std::u16string_view v(*t);
    DateTimeDifference(nullptr, v.substr(0, half), v.substr(half));
    DateDifference(nullptr, v.substr(0, half), v.substr(half));
    ParseBuiltInMask(v.substr(0, half), v.substr(half));
    StringToDate(nullptr, *t, {});
    TimeToString(nullptr, v.substr(0, half), v.substr(half));
    Age(nullptr, v.substr(0, half), v.substr(half));
    EasterOfText(nullptr, *t);
  }
  return 0;
}
