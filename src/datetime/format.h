// kp160std — dates, times and durations as text and back (DateVersChaîne,
// ChaîneVersDate, HeureVersChaîne, ChaîneVersDurée, DuréeVersChaîne).
//
// An empty mask means the syntax without a mask.
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::datetime {

// The mask value that asks for the device's own date format.
constexpr std::u16string_view kSystemMask = u"UseSystemMask";
// The duration form fixed by the KL constants: 1 is hundredths, anything
// else milliseconds.
constexpr int32_t kDurationHundredths = 1;

std::u16string DateToString(ExecContext* context, std::u16string_view date, std::u16string_view mask);
std::u16string StringToDate(ExecContext* context, std::u16string_view text, std::u16string_view mask);
std::u16string TimeToString(ExecContext* context, std::u16string_view time, std::u16string_view mask);

Duration StringToDuration(ExecContext* context, std::u16string_view text, int32_t form);
Duration StringToDurationMask(ExecContext* context, std::u16string_view text, std::u16string_view mask);
std::u16string DurationToString(ExecContext* context, int64_t milliseconds, int32_t form);
std::u16string DurationToStringMask(ExecContext* context, int64_t milliseconds, std::u16string_view mask);

// The copy of a ChaîneVersDate mask that the mask engine reads.
std::u16string NormaliseDateMask(std::u16string_view mask);
// ChaîneVersDate's own parser for masks such as "JJ/MM/AAAA".
std::u16string ParseBuiltInMask(std::u16string_view text, std::u16string_view mask);

}  // namespace kp::datetime
