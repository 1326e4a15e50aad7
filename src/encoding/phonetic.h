// kp160std — Phonétique: the Soundex2 code of a name (the French adaptation
// of Soundex), 4 characters, padded with spaces. docs/encoding.md lists the
// rules in order.
//
// Thread-safety: pure functions.
#pragma once

#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::encoding {

// KL function.
std::u16string Phonetic(ExecContext* context, std::u16string_view text);

// The code as ASCII; empty when the text has no letter.
std::string Soundex2(std::u16string_view text);

}  // namespace kp::encoding
