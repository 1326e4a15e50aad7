// kp — one-line KL expressions: nested calls by French or English name, text
// in double quotes ("" for a quote inside), integers, buffers written x"0A1B",
// True/False (Vrai/Faux), KL constants by either name, and `name = EXPR` to
// keep a value for the later expressions of the same run. A line is a small
// KL script (script_parser.h): operators work, and so does `a; b`.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "script_eval.h"
#include "vm.h"

namespace kphost {

struct Outcome {
  Value value;
  ErrorState error;      // the library's error record, when a call left one
  std::string failure;   // the host's own complaint (syntax, unknown name, ...)
  std::string excerpt;   // the expression with a caret under the failure's column, when there is one
  bool ok() const { return failure.empty(); }
};

class Evaluator {
 public:
  explicit Evaluator(Library& library);
  Outcome Evaluate(std::string_view line);
  const std::map<std::string, Value>& names() { return interpreter_.globals(); }

 private:
  Interpreter interpreter_;
  Outcome* current_ = nullptr;
};

// The value as a person reads it: True/False, numbers (a real always with a
// '.', e or the name of its special value, and as few digits as read back
// the same), the text itself, a buffer in hexadecimal.
std::string Display(const Value& value);
// "error N (level L): message", and the system error on a second line when
// there is one: the error record as kp prints it.
std::string DescribeError(const ErrorState& error);
// {"type": …, "value": …, "error": …}: the stable machine form.
std::string Json(const Outcome& outcome);

}  // namespace kphost
