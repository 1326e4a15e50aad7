// kp — the tokens of KL text, shared by `kp eval` and scripts.
//
// Names (letters, digits, '_', '.', any non-ASCII letter; not starting with
// a digit), integers (decimal, or 0x hexadecimal where up to 0xFFFFFFFF is a
// 32-bit pattern, as colours are written), reals (digits '.' digits), texts
// in double quotes ("" for a quote inside, on one line), buffers x"0A 1B",
// the symbols ( ) , ; = <> < <= > >= + - * / %, line ends (none inside
// parentheses: there a line end is a blank), and // comments.
// Keywords are names: the parser gives them their meaning.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "script_error.h"
#include "vm.h"

namespace kphost {

struct Token {
  enum Kind { Name, Literal, Symbol, LineEnd, End } kind = End;
  std::string text;  // the name or the symbol as written
  std::string folded;  // Name: FoldName(text), for keywords and look-ups
  Value value;       // Literal
  ScriptPosition at;
};

// Throws ScriptError at the first character that makes no token.
std::vector<Token> Lex(std::string_view source, const std::string& file);

}  // namespace kphost
