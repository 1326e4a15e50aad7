// kp160std — the ANSI code page of text files: UTF-16 to 8-bit and back.
//
// The code page is Windows-1252 unless KP_CODEPAGE names another (a number
// such as 1251, or 65001 for UTF-8). On POSIX the conversion goes through
// iconv; on Windows through the system's code-page calls. A character the
// code page cannot hold becomes "?"; a byte it does not define becomes
// U+FFFD.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::platform {

constexpr uint32_t kCodePageUtf8 = 65001;

// The current ANSI code page.
uint32_t AnsiCodePage();
std::string ToCodePage(std::u16string_view text, uint32_t codePage);
std::u16string FromCodePage(std::string_view bytes, uint32_t codePage);

inline std::string ToAnsi(std::u16string_view text) { return ToCodePage(text, AnsiCodePage()); }
inline std::u16string FromAnsi(std::string_view bytes) { return FromCodePage(bytes, AnsiCodePage()); }

}  // namespace kp::platform
