// kp — the tokenizer of KL text (see script_lexer.h).
#include "script_lexer.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "text.h"

namespace kphost {
namespace {

bool Digit(char c) { return c >= '0' && c <= '9'; }
bool HexDigit(char c) { return Digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool NameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
// '.' belongs to names: some KL names are written "Type.Member".
bool NameChar(char c) { return NameStart(c) || Digit(c) || c == '.'; }
int HexValue(char c) { return Digit(c) ? c - '0' : (c | 0x20) - 'a' + 10; }

class Lexer {
 public:
  Lexer(std::string_view s, const std::string& file) : s_(s), file_(file) {}

  std::vector<Token> Run() {
    std::vector<Token> out;
    for (;;) {
      SkipBlanks();
      Token t;
      t.at = Here();
      if (pos_ >= s_.size()) {
        t.kind = Token::End;
        out.push_back(std::move(t));
        return out;
      }
      const char c = s_[pos_];
      if (c == '\n') {
        Advance();
        // Inside parentheses a line end is a blank, so a call or an
        // expression can be spread over lines, and the text ending there
        // asks for more rather than failing.
        if (parens_ > 0) continue;
        t.kind = Token::LineEnd;
        // One token for a run of blank lines keeps the parser simple.
        if (out.empty() || out.back().kind != Token::LineEnd) out.push_back(std::move(t));
        continue;
      }
      if ((c == 'x' || c == 'X') && Peek(1) == '"') {
        Advance();
        t.kind = Token::Literal;
        t.value = Buffer(t.at);
      } else if (NameStart(c)) {
        t.kind = Token::Name;
        const size_t start = pos_;
        while (pos_ < s_.size() && NameChar(s_[pos_])) Advance();
        t.text = std::string(s_.substr(start, pos_ - start));
        t.folded = FoldName(t.text);
      } else if (Digit(c)) {
        t.kind = Token::Literal;
        t.value = Number(t.at);
      } else if (c == '"') {
        t.kind = Token::Literal;
        t.value = Text(t.at);
      } else {
        t.kind = Token::Symbol;
        t.text = Symbol(t.at);
        if (t.text == "(") ++parens_;
        if (t.text == ")" && parens_ > 0) --parens_;
      }
      out.push_back(std::move(t));
    }
  }

 private:
  char Peek(size_t ahead = 0) const { return pos_ + ahead < s_.size() ? s_[pos_ + ahead] : '\0'; }
  ScriptPosition Here() const { return {line_, column_}; }
  void Advance() {
    const char c = s_[pos_++];
    if (c == '\n') {
      ++line_;
      column_ = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column_;  // columns count characters, not UTF-8 bytes
    }
  }
  [[noreturn]] void Fail(ScriptPosition at, const std::string& what, bool incomplete = false) const {
    throw ScriptError(file_, at, what, incomplete);
  }

  void SkipBlanks() {
    for (;;) {
      const char c = Peek();
      if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
        Advance();
      } else if (c == '/' && Peek(1) == '/') {
        while (pos_ < s_.size() && s_[pos_] != '\n') Advance();
      } else if (pos_ == 0 && s_.substr(0, 3) == "\xEF\xBB\xBF") {
        pos_ = 3;  // a UTF-8 byte-order mark, as Windows editors write
      } else {
        return;
      }
    }
  }

  Value Number(ScriptPosition at) {
    const size_t start = pos_;
    if (Peek() == '0' && (Peek(1) == 'x' || Peek(1) == 'X')) {
      Advance();
      Advance();
      const size_t digits = pos_;
      while (HexDigit(Peek())) Advance();
      if (pos_ == digits) Fail(at, "hexadecimal digits are expected after 0x");
      if (NameChar(Peek())) Fail(Here(), "a number runs into a name");
      const std::string text(s_.substr(digits, pos_ - digits));
      errno = 0;
      const unsigned long long n = std::strtoull(text.c_str(), nullptr, 16);
      if (errno == ERANGE || n > static_cast<unsigned long long>(INT64_MAX))
        Fail(at, "the number 0x" + text + " does not fit in 64 bits");
      if (n > INT32_MAX && n <= UINT32_MAX) return Value{KL_T_INT, static_cast<int32_t>(static_cast<uint32_t>(n))};
      return Value::Int(static_cast<int64_t>(n));
    }
    while (Digit(Peek())) Advance();
    if (Peek() == '.' && Digit(Peek(1))) {
      Advance();
      while (Digit(Peek())) Advance();
      if (NameChar(Peek())) Fail(Here(), "a number runs into a name");
      return Value::Real(std::strtod(std::string(s_.substr(start, pos_ - start)).c_str(), nullptr));
    }
    if (NameChar(Peek())) Fail(Here(), "a number runs into a name");
    const std::string text(s_.substr(start, pos_ - start));
    errno = 0;
    const long long n = std::strtoll(text.c_str(), nullptr, 10);
    if (errno == ERANGE) Fail(at, "the number " + text + " does not fit in 64 bits");
    return Value::Int(n);
  }

  Value Text(ScriptPosition at) {
    Advance();  // opening quote
    std::string raw;
    for (;;) {
      if (pos_ >= s_.size() || s_[pos_] == '\n') Fail(at, "a text is not closed on its line");
      const char c = s_[pos_];
      Advance();
      if (c == '"') {
        if (Peek() != '"') break;
        Advance();
      }
      raw += c;
    }
    return Value::Text(Utf16(raw));
  }

  Value Buffer(ScriptPosition at) {
    Advance();  // opening quote
    std::vector<uint8_t> bytes;
    int high = -1;
    for (;;) {
      if (pos_ >= s_.size() || s_[pos_] == '\n') Fail(at, "a buffer is not closed on its line");
      const char c = s_[pos_];
      if (c == '"') break;
      if (c != ' ' && c != '\t') {
        if (!HexDigit(c)) Fail(Here(), "a buffer holds only hexadecimal digits");
        if (high < 0) {
          high = HexValue(c);
        } else {
          bytes.push_back(static_cast<uint8_t>(high << 4 | HexValue(c)));
          high = -1;
        }
      }
      Advance();
    }
    if (high >= 0) Fail(at, "a buffer needs two hexadecimal digits per byte");
    Advance();
    return Value::Buffer(std::move(bytes));
  }

  std::string Symbol(ScriptPosition at) {
    const char c = Peek();
    const char next = Peek(1);
    if ((c == '<' && (next == '>' || next == '=')) || (c == '>' && next == '=')) {
      Advance();
      Advance();
      return std::string{c, next};
    }
    static const std::string_view kSingle = "(),;=<>+-*/%";
    if (kSingle.find(c) == std::string_view::npos) {
      std::string shown(1, c);
      if (static_cast<unsigned char>(c) < 0x20) shown = "\\x" + std::string{"0123456789ABCDEF"[(c >> 4) & 15], "0123456789ABCDEF"[c & 15]};
      Fail(at, "unexpected '" + shown + "'");
    }
    Advance();
    return std::string(1, c);
  }

  std::string_view s_;
  const std::string& file_;
  size_t pos_ = 0;
  int line_ = 1;
  int column_ = 1;
  int parens_ = 0;  // open parentheses
};

}  // namespace

std::vector<Token> Lex(std::string_view source, const std::string& file) { return Lexer(source, file).Run(); }

std::string DescribePosition(const std::string& file, ScriptPosition at) {
  if (!file.empty()) return file + ":" + std::to_string(at.line) + ":" + std::to_string(at.column);
  return (at.line > 1 ? "line " + std::to_string(at.line) + ", " : std::string()) + "column " +
         std::to_string(at.column);
}

std::string ScriptError::Summary() const { return DescribePosition(file_, at_) + ": " + what(); }

void ScriptError::Quote(std::string_view source) {
  if (quoted_) return;
  quoted_ = true;
  size_t start = 0;
  for (int line = 1; line < at_.line; ++line) {
    start = source.find('\n', start);
    if (start == std::string_view::npos) return;
    ++start;
  }
  const size_t end = source.find('\n', start);
  line_ = std::string(source.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
  if (!line_.empty() && line_.back() == '\r') line_.pop_back();
  // The byte-order mark is not shown, and takes no column (SkipBlanks).
  if (start == 0 && line_.rfind("\xEF\xBB\xBF", 0) == 0) line_.erase(0, 3);
}

std::string ScriptError::Excerpt() const {
  // The line without its indentation, the caret under the column's
  // character: columns count characters, so UTF-8 continuation bytes do not
  // move it, and a tab before the column stays a tab under it.
  const size_t first = line_.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  std::string caret;
  int column = 1;
  for (size_t i = 0; i < line_.size() && column < at_.column; ++i) {
    const unsigned char c = static_cast<unsigned char>(line_[i]);
    if ((c & 0xC0) == 0x80) continue;
    ++column;
    if (i >= first) caret += c == '\t' ? '\t' : ' ';
  }
  return "    " + line_.substr(first) + "\n    " + caret + "^\n";
}

std::string ScriptError::Describe() const {
  std::string out = Summary();
  const std::string excerpt = Excerpt();
  if (!excerpt.empty()) out += "\n" + excerpt.substr(0, excerpt.size() - 1);
  for (const auto& step : trail) out += "\n  " + step;
  return out;
}

}  // namespace kphost
