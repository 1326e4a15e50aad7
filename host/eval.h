// kp — one-line KL expressions: nested calls by French or English name, text
// in double quotes ("" for a quote inside), integers, buffers written x"0A1B",
// True/False (Vrai/Faux), KL constants by either name, and `name = EXPR` to
// keep a value for the later expressions of the same run.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "vm.h"

namespace kphost {

struct Outcome {
  Value value;
  ErrorState error;      // the library's error record, when a call left one
  std::string failure;   // the host's own complaint (syntax, unknown name, ...)
  bool ok() const { return failure.empty(); }
};

class Evaluator {
 public:
  explicit Evaluator(Library& library) : library_(library) {}
  Outcome Evaluate(std::string_view line);
  const std::map<std::string, Value>& names() const { return names_; }

 private:
  Library& library_;
  std::map<std::string, Value> names_;  // folded names
};

// The value as a person reads it: True/False, numbers, the text itself, a
// buffer in hexadecimal.
std::string Display(const Value& value);
// {"type": …, "value": …, "error": …}: the stable machine form.
std::string Json(const Outcome& outcome);

}  // namespace kphost
