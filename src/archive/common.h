// kp160std — small helpers of the archive functions: device names, names
// inside an archive, lists given as text.
//
// Thread-safety: no state; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kp160std/abi.h"

namespace kp::archive {

// The path rule of every file name (absolute, at most 260 characters): 0, or
// the error id recorded (80600 or 80058).
int32_t CheckPath(ExecContext* context, std::u16string_view name);
// The size of a device file; -1 when it cannot be read.
int64_t FileLength(std::u16string_view name);
// The same file named twice ("\" and "/" alike, case ignored, as the device does).
bool SamePath(std::u16string_view a, std::u16string_view b);

// A name for the archive: "/" separators, no leading separator, no "." part.
std::u16string NormaliseEntryName(std::u16string_view name);
// A name that stays below the directory it is extracted into: not absolute,
// no drive, no ".." part, no empty or control characters.
bool SafeEntryName(std::u16string_view name);
// The directory part of an entry name with "\" separators ("a\b" for "a/b/c.txt").
std::u16string DirectoryPart(std::u16string_view entry);

// A list of names, one a line ("\r\n", "\n" or tab separated); empty lines skipped.
std::vector<std::u16string> SplitList(std::u16string_view list);

// A message text with its insert markers taken out ("<%1!s!>" reads "<...>").
std::u16string WithoutInserts(std::u16string_view text);

}  // namespace kp::archive
