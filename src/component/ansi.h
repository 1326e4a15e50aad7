// kp160std — Windows-1252 names for the declaration tables, made at compile
// time from the UTF-8 source text.
//
//   KP_ANSI("Pâques")  ->  const char* to "P\xe2ques"
//
// The names only use Latin letters and French accents, which Windows-1252
// places at the same numbers as Unicode (U+00A0..U+00FF); anything else fails
// to compile.
//
// Thread-safety: compile-time only.
#pragma once

#include <array>
#include <cstddef>

namespace kp::ansi {

template <std::size_t N>
struct Utf8 {
  char text[N]{};
  constexpr Utf8(const char (&s)[N]) {
    for (std::size_t i = 0; i < N; ++i) text[i] = s[i];
  }
};

template <std::size_t N>
constexpr std::array<char, N> ToAnsi(const char (&s)[N]) {
  std::array<char, N> out{};
  std::size_t o = 0;
  for (std::size_t i = 0; i + 1 < N;) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      out[o++] = static_cast<char>(c);
      i += 1;
    } else if ((c & 0xE0) == 0xC0 && i + 1 < N) {
      const unsigned cp = ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(s[i + 1]) & 0x3Fu);
      if (cp < 0xA0 || cp > 0xFF) throw "name outside the Latin-1 part of Windows-1252";
      out[o++] = static_cast<char>(cp);
      i += 2;
    } else {
      throw "name outside the Latin-1 part of Windows-1252";
    }
  }
  return out;
}

template <Utf8 S>
inline constexpr auto kText = ToAnsi(S.text);

}  // namespace kp::ansi

#define KP_ANSI(s) (::kp::ansi::kText<::kp::ansi::Utf8(s)>.data())
