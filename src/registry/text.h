// kp160std — small text helpers of the registry family: KL values turned into
// text, integers and bytes; letters and digits; the ANSI code page used by
// INI files.
//
// The ANSI code page is Windows-1252, fixed here until a shared code-page
// layer exists; characters it cannot hold become "?", as the platform's
// best-fit conversion does for most of them.
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/value.h"

namespace kp::registry {

std::u16string ToText(const Value& value);
// Decimal text is read with an optional sign, stopping at the first
// non-digit; reals are truncated; anything else is 0.
int64_t ToInteger(const Value& value);
// The value's bytes as held: texts without terminator, numbers little-endian.
Bytes RawBytes(const Value& value);

bool IsLetterOrDigit(char16_t c);

// Case-insensitive search of `needle` in `haystack`; with `wholeWord` the
// match may not touch a letter or digit on either side.
bool ContainsFolded(std::u16string_view haystack, std::u16string_view needle, bool wholeWord);


std::u16string Ascii(std::string_view text);

}  // namespace kp::registry
