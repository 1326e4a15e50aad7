// kp160std — the message formatter: the system's "format a message from a
// string with an argument array", with its insert and escape syntax.
//
//   %1 .. %99        insert n, printed as a text (as "%n!s!")
//   %n!spec!         insert n through a printf-like spec: flags "-+ #0",
//                    width, ".precision", size prefixes (h l ll I I32 I64 w)
//                    and one type letter of d i u x X o c C s S p
//   %0               ends the output (no line break added)
//   %% %! %. %space  the character itself; %t a tab, %r a carriage return,
//                    %n (the letter) "\r\n"
//   %<anything else> the character itself, without the "%"
//
// Where this differs from the system, on purpose:
//   - an insert that was not given leaves its marker in the output exactly as
//     written ("%3!u!" stays "%3!u!"): the system would read past the
//     argument array;
//   - a "%" at the very end stays a "%";
//   - a number given for a text spec prints in decimal, a text given for a
//     number spec prints as the text: the system would dereference or print
//     a pointer;
//   - widths and precisions above kMaxFieldWidth are cut to it, and "*" is
//     not supported (the marker is left as written).
// Formatting fails only on a spec that is never closed by "!".
//
// Numbers follow the argument-array convention: without a 64-bit size
// prefix, d i u x X o c read the low 32 bits of the insert.
//
// Thread-safety: pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kp::platform {

struct FormatArgument {
  bool isText = false;
  uint64_t number = 0;
  std::u16string_view text;
};

constexpr int kMaxFieldWidth = 1024;

// The formatted text; nullopt when `text` is malformed.
std::optional<std::u16string> FormatMessageFromString(std::u16string_view text,
                                                       std::span<const FormatArgument> arguments);

}  // namespace kp::platform
