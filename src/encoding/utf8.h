// kp160std — UTF-16 to UTF-8 for the libraries that read UTF-8 (passwords
// for the key derivation, regular expressions and their subjects). A lone
// surrogate becomes U+FFFD, as on every platform.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::encoding {

std::string ToUtf8(std::u16string_view text);

}  // namespace kp::encoding
