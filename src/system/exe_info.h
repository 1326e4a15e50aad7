// kp160std — ExeInfo: what a KL program learns about an executable file (its
// path, directory, kind and version resource).
//
// Thread-safety: no state; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::system {

// `keyword` is one of the eight keywords in either language (compared after
// "é" becomes "E" and the whole is upper-cased), or else the name of a string
// of the version resource. `file` is a device path (at most 260 characters);
// the running program's own file when it is omitted. Every failure gives the
// empty text, without an error.
std::u16string ExeInfo(ExecContext* context, std::u16string_view keyword, std::optional<std::u16string_view> file);

// The keyword's row (1 to 8), or 0 when it names none.
int ExeInfoKeyword(std::u16string_view keyword);

// The directory part as ExeInfo("REPERTOIRE") answers it: before the last
// separator, else up to and including a drive's ":", else empty.
std::u16string DirectoryOf(std::u16string_view path);

}  // namespace kp::system
