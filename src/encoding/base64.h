// kp160std — Base64 (RFC 4648, standard alphabet, "=" padding), the text
// form of encrypted data.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "abi/value.h"

namespace kp::encoding {

// One line, no line breaks.
std::string Base64Encode(std::span<const uint8_t> data);
// Spaces, tabs and line breaks are skipped; the padding is required; any
// other character outside the alphabet gives nullopt.
std::optional<Bytes> Base64Decode(std::u16string_view text);

}  // namespace kp::encoding
