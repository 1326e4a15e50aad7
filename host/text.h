// kp — text conversions of the host: UTF-8 (the terminal), UTF-16 (the
// library) and Windows-1252 (the declaration tables' names).
#pragma once

#include <string>
#include <string_view>

namespace kphost {

std::u16string Utf16(std::string_view utf8);
std::string Utf8(std::u16string_view utf16);
std::string Cp1252ToUtf8(std::string_view cp1252);
// A name folded for look-ups: KL names match whatever the case, accents
// included ("fcrée" finds "fCrée").
std::string FoldName(std::string_view utf8);

}  // namespace kphost
