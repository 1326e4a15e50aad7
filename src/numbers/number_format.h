// kp160std — NumériqueVersChaîne/NumToString: a real as text, by a
// printf-like mask, with the device's decimal and thousands separators.
//
// The mask is read by a parser of its own (ParseNumberMask): literal text,
// "%%" for a percent sign, and exactly one conversion
//   % [flags] [width] [.precision] [h|hh|l|ll|L] (d|i|f|F|e|E|g|G)
// flags '-' '+' ' ' '0' '#' as in C, and '\'' to group the integer digits by
// three with the device's thousands separator. Width and precision are at
// most three digits each. The digits themselves are exact (std::to_chars),
// so every mask that C's printf shares gives printf's text, the separators
// apart. docs/numbers.md has the whole grammar and its choices.
//
// Thread-safety: pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::numbers {

// The separators a formatted number uses: the device's, or a test's.
struct Separators {
  std::u16string_view decimal = u".";
  std::u16string_view thousands = u",";
};

struct NumberMask {
  std::u16string prefix;   // literal text before the conversion, "%%" undone
  std::u16string suffix;   // literal text after it
  bool left = false;       // '-'
  bool plus = false;       // '+'
  bool space = false;      // ' '
  bool zero = false;       // '0'
  bool alternate = false;  // '#'
  bool group = false;      // '\''
  int32_t width = 0;
  int32_t precision = -1;  // -1: none written
  char conversion = 'g';   // d i f F e E g G
};

struct MaskParse {
  std::optional<NumberMask> mask;  // nullopt: not a mask
  size_t errorAt = 0;              // 0-based position of the first fault
};

// The largest width or precision a mask may write.
inline constexpr int32_t kMaxMaskField = 999;

MaskParse ParseNumberMask(std::u16string_view text);

// Appends `value` (finite) formatted by `mask` to `out`.
void AppendFormatted(const NumberMask& mask, double value, const Separators& separators, std::u16string& out);

// The shortest text that reads back as the same real: plain digits for
// magnitudes from 1e-5 to below 1e15, d.ddde±XX outside; zero of either sign
// is "0". `value` finite.
std::u16string ShortestText(double value, std::u16string_view decimal);

// The device's separators (the thousands one has a fallback: "," or, when the
// decimal separator is ",", "."). The strings live as long as the process
// on POSIX; on Windows until the next call on the same thread.
Separators DeviceSeparators();

// The KL function. NaN or an infinity: "" with error 80242; a bad mask: ""
// with error 80241 (the mask and the 1-based position of the fault). An
// empty mask is the one-argument syntax.
std::u16string NumToString(ExecContext* context, double value);
std::u16string NumToStringMask(ExecContext* context, double value, std::u16string_view mask);
// The same with given separators (tests and the benchmark).
std::u16string NumToStringWith(ExecContext* context, double value, std::u16string_view mask,
                               const Separators& separators);

}  // namespace kp::numbers
