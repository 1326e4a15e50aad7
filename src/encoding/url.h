// kp160std — URLEncode/URLEncode and URLDécode/URLDecode: percent-encoding
// of UTF-16 text, with the quirks KL programs rely on.
//
// Thread-safety: pure functions; any thread.
#pragma once

#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::encoding {

std::u16string UrlEncode(ExecContext* context, std::u16string_view text);
std::u16string UrlDecode(ExecContext* context, std::u16string_view text);

// True for the 80 characters (by low byte) that URLEncode copies unchanged.
bool UrlPassesUnchanged(uint8_t lowByte);

}  // namespace kp::encoding
