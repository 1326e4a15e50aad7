// kp — the one error of KL scripts: where (file, line, column) and what.
// The lexer and parser raise it for the text, the interpreter for a running
// statement; either way the script stops and the message says where.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kphost {

struct ScriptPosition {
  int line = 1;
  int column = 1;
};

class ScriptError : public std::runtime_error {
 public:
  ScriptError(std::string file, ScriptPosition at, std::string message, bool incomplete = false)
      : std::runtime_error(message), file_(std::move(file)), at_(at), incomplete_(incomplete) {}

  const std::string& file() const { return file_; }
  ScriptPosition at() const { return at_; }
  // The text ended where more was expected: the prompt asks for another line.
  bool incomplete() const { return incomplete_; }
  // "file:line:column: message", then the line of text with a caret under
  // the column (when the text is known), then the calls it went through.
  // Without a file (one line typed or given to `kp eval`) "column C:
  // message", with the line when it is not the first.
  std::string Describe() const;
  // The first line of Describe(): where and what, without the quoted text.
  std::string Summary() const;
  // Keeps the line the error is on, out of the whole text, for Describe();
  // a line already kept stays.
  void Quote(std::string_view source);
  // The quoted line and the caret line under it, each ending in '\n'; empty
  // when no text was quoted or its line is blank.
  std::string Excerpt() const;
  // The procedure calls the error went through, innermost first.
  std::vector<std::string> trail;

 private:
  std::string file_;
  ScriptPosition at_;
  bool incomplete_;
  std::string line_;  // the text of the line at_ is on, when quoted
  bool quoted_ = false;
};

std::string DescribePosition(const std::string& file, ScriptPosition at);

}  // namespace kphost
