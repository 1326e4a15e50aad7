// kp160std — TailleVersChaîne/LengthToString: a byte count as a readable
// size, "1.5 KB" or "1,5 Ko".
//
// Base 1024 with the units of the program's language: bytes, KB, MB, GB,
// TB, PB, EB in English; octets, Ko, Mo, Go, To, Po, Eo in French. The unit
// is the largest whose value is at least 1; below 1024 the exact count is
// shown ("1 byte", "0 bytes"; "0 octet", "1 octet", "2 octets"). Above, the
// value is rounded to a tenth, halves up, in exact integer arithmetic, and a
// ".0" is dropped: 1536 is "1.5 KB", 1024 "1 KB"; a value that rounds to
// 1024 moves to the next unit ("1 MB", never "1024 KB"). The decimal
// separator is the device's. With a mask (the grammar of NumériqueVersChaîne)
// the value in its unit is formatted by the mask, the unit chosen from the
// size alone. A negative size: "" with error 80243.
//
// Thread-safety: pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"
#include "numbers/number_format.h"

namespace kp::numbers {

// `size` >= 0.
std::u16string SizeText(int64_t size, bool french, std::u16string_view decimal);

// The KL function, in the program's language with the device's separators.
std::u16string LengthToString(ExecContext* context, int64_t size);
std::u16string LengthToStringMask(ExecContext* context, int64_t size, std::u16string_view mask);
// The same with a given language and separators (tests, the benchmark).
std::u16string LengthToStringWith(ExecContext* context, int64_t size, std::u16string_view mask, bool french,
                                  const Separators& separators);

}  // namespace kp::numbers
