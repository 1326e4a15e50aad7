// kp160std — names on the POSIX device file system: UTF-16 device names to
// UTF-8 host names and back, case folding and wildcard matching as the
// device does them.
//
// Thread-safety: pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace kp::platform::fs::names {

// false for a NUL or a lone surrogate: such a name names no file.
bool ToUtf8(std::u16string_view name, std::string* out);
std::u16string FromUtf8(std::string_view name);
// Simple upper-case folding: ASCII, Latin-1, Latin Extended-A, Greek, Cyrillic.
std::u16string Fold(std::u16string_view name);
// "*" and "?" without regard to case; a pattern ending ".*" also takes names
// without a dot ("*.*" is everything).
bool Match(std::u16string_view pattern, std::u16string_view name);

}  // namespace kp::platform::fs::names
