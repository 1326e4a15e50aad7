// kp160std — a Windows command line split into arguments as the Windows C
// runtime splits it, so that a KL program's command line means the same
// thing when the program is started on POSIX with an argument vector.
//
// Thread-safety: pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kp::system {

// The arguments of `line` (parameters only, no program name first):
// - spaces and tabs outside quotes separate arguments;
// - a double quote opens or closes a quoted part, which may sit inside an
//   argument ("a"b is ab); inside a quoted part, "" is a literal quote and the
//   part goes on;
// - 2n backslashes before a quote give n backslashes and the quote acts as
//   above; 2n+1 give n backslashes and a literal quote;
// - backslashes anywhere else are literal;
// - an unclosed quote runs to the end; "" alone is an empty argument.
std::vector<std::u16string> SplitWindowsArguments(std::u16string_view line);

// A whole command line: the program name first, read by the runtime's own
// rule for it (backslashes are literal, quotes only switch blanks off, the
// name ends at a space or tab outside quotes), then the arguments.
std::vector<std::u16string> SplitWindowsCommandLine(std::u16string_view line);

}  // namespace kp::system
