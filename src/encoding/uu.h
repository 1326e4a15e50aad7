// kp160std — UUEncode/UUDecode: the classic uuencode body.
//
// UUEncode writes the lines that sharutils' uuencode puts between its
// "begin" and "end" lines: 45 bytes per line, a length character, 4
// characters per 3 bytes, "`" for the value zero, "\n" after each line, and
// the empty line "`\n" last. UUDecode reads that body, with or without the
// "begin"/"end" lines, with "\n" or "\r\n", with space or "`" for zero.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::encoding {

// KL functions.
std::u16string UUEncode(ExecContext* context, std::span<const uint8_t> data);
Bytes UUDecode(ExecContext* context, std::u16string_view text);

// The body as ASCII; the decoded bytes or nullopt when the text is not a
// uuencode body.
std::string UuEncodeBody(std::span<const uint8_t> data);
std::optional<Bytes> UuDecodeBody(std::u16string_view text);

}  // namespace kp::encoding
