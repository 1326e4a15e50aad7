// kp160std — VérifieExpressionRégulière: whether a whole text matches a
// regular expression, in RE2's dialect (no back-references or look-around,
// so every match runs in time linear in the text, with bounded memory and
// no recursion on the stack). Texts and expressions are matched as UTF-8.
//
// Not on Windows: Debian has no Windows build of RE2 (the syntax is declared
// without an entry there).
//
// Thread-safety: any thread; each thread keeps its own last compiled
// expression.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::encoding {

// The memory RE2 may use for one expression; a larger one is refused as
// invalid rather than matched slowly.
constexpr int64_t kRegexMemory = int64_t{8} << 20;

// KL function: false with error 80081 (and RE2's reason) for an invalid
// expression.
bool MatchRegularExpression(ExecContext* context, std::u16string_view text, std::u16string_view expression);

// true/false, or nullopt with the reason for an invalid expression.
std::optional<bool> FullMatch(std::u16string_view text, std::u16string_view expression, std::string* error);

}  // namespace kp::encoding
