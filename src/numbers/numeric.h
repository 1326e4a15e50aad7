// kp160std — Min, Max and EstNumérique/IsNumeric: numbers given as reals,
// as variants holding integers or reals, or as numeric texts.
//
// A numeric text (ParseNumericText) is, with nothing else around it:
//   [spaces] [+|-] digits [sep [digits]] [exponent] [spaces]
//   [spaces] [+|-] sep digits [exponent] [spaces]
// where spaces are blanks and tabs, sep is "." or "," (either, whatever the
// device's locale; at most one, and no thousands separator), the digits
// ASCII, and the exponent e or E, an optional sign and at least one digit.
// Its value must be a finite real: "1e400" is not numeric, "1e-400" is 0.
// The empty text, "inf", "nan" and "0x1F" are not numeric.
//
// Thread-safety: pure functions; any thread.
#pragma once

#include <optional>
#include <string_view>

#include "abi/value.h"
#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp::numbers {

// The value of a numeric text; nullopt when the text is not one.
std::optional<double> ParseNumericText(std::u16string_view text);

// Integers (32 or 64 bits) and finite reals are numeric; texts by
// ParseNumericText; booleans, buffers and no value are not.
bool IsNumericValue(const Value& value);
bool IsNumeric(ExecContext* context, VariantArg value);

// The larger (smaller) of two reals; the first when they are equal. NaN on
// either side: 0 with error 80242.
double Max(ExecContext* context, double a, double b);
double Min(ExecContext* context, double a, double b);

// The largest (smallest) of a variant: a number is itself; a text is a list
// of numeric texts separated by tabs or line breaks ("\t", "\r\n", "\n").
// Failure value 0: error 80240 for an element (or a text) that is not
// numeric, 80244 for a boolean, a buffer or no value, 80242 for NaN. 64-bit
// integers beyond 2^53 come back rounded to the nearest real.
double MaxOf(ExecContext* context, const Value& values);
double MinOf(ExecContext* context, const Value& values);
double MaxOfArg(ExecContext* context, VariantArg values);
double MinOfArg(ExecContext* context, VariantArg values);

}  // namespace kp::numbers
