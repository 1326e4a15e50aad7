// kp160std — the rule every file and directory name obeys: the device has no
// current directory, so a name must begin with "\" or "/", or end with ":"
// (a device such as a port). Names are limited to 260 characters.
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <string_view>

#include "kp160std/abi.h"

namespace kp::files {

constexpr size_t kMaxPath = 260;

inline bool IsAbsolute(std::u16string_view name) {
  return !name.empty() && (name.front() == u'\\' || name.front() == u'/' || name.back() == u':');
}
inline bool HasWildcards(std::u16string_view name) { return name.find_first_of(u"*?") != std::u16string_view::npos; }
inline bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

// False, with error 80600 naming the name, when it is not absolute.
bool CheckAbsolute(ExecContext* context, std::u16string_view name);
// False, with the platform's error 206 (name too long) recorded as a system
// error, for a name of more than 260 characters: the device's own calls
// refuse such names, so no function may act on part of one first.
bool CheckLength(ExecContext* context, std::u16string_view name);
// The rule every function that takes a file or directory name applies
// before anything else: absolute (80600), then not too long (206).
inline bool CheckName(ExecContext* context, std::u16string_view name) {
  return CheckAbsolute(context, name) && CheckLength(context, name);
}

// Records the platform's code as the current error: the "system error kind"
// of the file functions (level 3, the system's text, no message of our own).
void RecordSystemError(ExecContext* context, uint32_t code);

}  // namespace kp::files
