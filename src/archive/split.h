// kp160std — multi-part zip archives in the standard split form: the parts
// "name.z01", "name.z02", ... and the last one "name.zip", as `zip -s` makes
// them and `zip -s 0` puts them back together.
//
// libzip reads and writes single archives only, so cutting and joining work
// on the archive's own records: the entries' bytes are copied as they are,
// and only the fields that say where things lie (disk numbers and offsets of
// the central directory, its end record and the ZIP64 records) are written
// anew. No header is cut across two parts; entry data may be. A part is at
// least 65536 bytes, as for `zip -s`.
//
// Thread-safety: no state; any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::archive {

struct Archive;

constexpr int64_t kMinPartSize = 65536;

// Part `number` (1 for the first) of an archive of `count` parts whose last
// part is `last` ("\d\a.zip"): "\d\a.z01" ... and `last` itself.
std::u16string PartName(std::u16string_view last, int32_t number, int32_t count);
// How many parts the archive whose last part is `last` has: 1, plus the
// "z01", "z02", ... beside it.
int32_t CountParts(std::u16string_view last);

// Called after each part is written with its name and number; false stops
// the cut (the parts already made are removed).
using PartCallback = std::function<bool(const std::u16string& part, int32_t number)>;

// Cuts the single archive `source` into parts whose last is `last`. The first
// part holds at most `firstPartSize` bytes, the others `partSize`. An archive
// that fits in the first part is written as a plain archive named `last`.
// Parts of an earlier, longer cut beside `last` are removed. With `dryRun`
// nothing is written and `parts` tells how many there would be. 0, or the
// error id recorded.
int32_t SplitFile(ExecContext* context, std::u16string_view source, std::u16string_view last, int64_t partSize,
                  int64_t firstPartSize, bool dryRun, int32_t* parts, const PartCallback& callback = {});

// Joins the parts whose last is `last` into the single archive `target`
// (which may be `last` itself; then the other parts are removed). 0, or the
// error id recorded.
int32_t MergeParts(ExecContext* context, std::u16string_view last, std::u16string_view target);

// A multi-part archive after a change: its working copy cut again into the
// parts, with the part sizes it had.
int32_t SplitInPlace(ExecContext* context, Archive* archive);

}  // namespace kp::archive
