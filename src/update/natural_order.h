// kp160std — the natural order of version texts: runs of decimal digits
// compared by value ("1.9" before "1.10"), other characters one by one
// without regard to case, a text before any longer text it begins.
//
// Thread-safety: pure.
#pragma once

#include <string_view>

namespace kp::update {

// Negative, zero or positive as `a` sorts before, with or after `b`.
int CompareNatural(std::u16string_view a, std::u16string_view b);

}  // namespace kp::update
