// kp160std — regular expressions through RE2 (see regex.h).
#include "encoding/regex.h"

#ifndef _WIN32

#include <re2/re2.h>

#include <memory>

#include "abi/error.h"
#include "encoding/utf8.h"

namespace kp::encoding {
namespace {

// Programs check many texts against one expression: the last one compiled
// on this thread is kept.
struct Compiled {
  std::u16string expression;
  std::unique_ptr<RE2> re;
};

const RE2& Compile(std::u16string_view expression) {
  thread_local Compiled last;
  if (!last.re || last.expression != expression) {
    RE2::Options options;
    options.set_encoding(RE2::Options::EncodingUTF8);
    options.set_log_errors(false);
    options.set_max_mem(kRegexMemory);
    last.re.reset();
    last.re = std::make_unique<RE2>(ToUtf8(expression), options);
    last.expression = expression;
  }
  return *last.re;
}

}  // namespace

std::optional<bool> FullMatch(std::u16string_view text, std::u16string_view expression, std::string* error) {
  const RE2& re = Compile(expression);
  if (!re.ok()) {
    *error = re.error();
    return std::nullopt;
  }
  return RE2::FullMatch(ToUtf8(text), re);
}

bool MatchRegularExpression(ExecContext* context, std::u16string_view text, std::u16string_view expression) {
  std::string error;
  const auto matched = FullMatch(text, expression, &error);
  if (!matched) {
    Raise(context, kErrBadRegularExpression, {std::u16string(error.begin(), error.end())});
    return false;
  }
  return *matched;
}

}  // namespace kp::encoding

#endif  // _WIN32
