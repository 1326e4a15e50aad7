// kp — pieces of an ExecContext that the host's Program and the unit tests'
// stand-in context both need: the names of the language object and the copy
// of a project answer into the caller's buffer. Header-only, so that the unit
// tests, which do not link the host, share them rather than repeat them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "kp160std/abi.h"

namespace kphost {

inline constexpr const char16_t* kDaysFr[7] = {u"lundi",    u"mardi",  u"mercredi", u"jeudi",
                                               u"vendredi", u"samedi", u"dimanche"};
inline constexpr const char16_t* kDaysEn[7] = {u"Monday", u"Tuesday",  u"Wednesday", u"Thursday",
                                               u"Friday", u"Saturday", u"Sunday"};
inline constexpr const char16_t* kMonthsFr[12] = {u"janvier",   u"février", u"mars",     u"avril",
                                                  u"mai",       u"juin",    u"juillet",  u"août",
                                                  u"septembre", u"octobre", u"novembre", u"décembre"};
inline constexpr const char16_t* kMonthsEn[12] = {u"January",   u"February", u"March",    u"April",
                                                  u"May",       u"June",     u"July",     u"August",
                                                  u"September", u"October",  u"November", u"December"};

// Copies `answer` into `buffer` of `capacity` characters, cut to fit and
// terminated; the number of characters copied (0 without room).
inline uint32_t CopyProjectAnswer(std::u16string_view answer, kl_char* buffer, uint32_t capacity) {
  if (!buffer || capacity == 0) return 0;
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(answer.size()), capacity - 1);
  std::memcpy(buffer, answer.data(), n * sizeof(kl_char));
  buffer[n] = 0;
  return n;
}

}  // namespace kphost
