// kp — what the operators of KL scripts do to values.
//
// Integers (8, 9 and the integer-like 14, 15, 27) compute in 64 bits and
// fail on overflow; a result that fits 32 bits is an integer (8), else an
// 8-byte integer (9). A real on either side makes the result real. `/` always
// gives a real; `%` takes integers (the sign of the left one). `+` with a
// text on either side joins the two as displayed; buffers join buffers.
// Comparisons take two numbers, two texts (by UTF-16 unit), two buffers or,
// for = and <>, two booleans. AND, OR, NOT and conditions take booleans.
#pragma once

#include <stdexcept>
#include <string>

#include "script_parser.h"
#include "vm.h"

namespace kphost {

// What a script can get wrong with values; the interpreter adds the place.
struct ValueError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

Value ApplyUnary(Op op, const Value& v);
// Not for AND and OR, which the interpreter short-circuits.
Value ApplyBinary(Op op, const Value& left, const Value& right);
bool Truth(const Value& v, const char* what);  // a boolean, or ValueError naming `what`
bool IsInteger(const Value& v);
// "integer", "text", … as a person reads a type in an error message.
std::string KindName(const Value& v);

}  // namespace kphost
