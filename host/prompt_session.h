// kp — what both prompts share (the readline one on POSIX, the plain line
// reader on Windows): the help text, the names offered for completion, and
// one typed line fed to the session, which runs a statement once it is
// complete and keeps the lines of an unfinished block.
//
// Not thread-safe: one prompt drives one session.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "script_eval.h"
#include "vm.h"

namespace kphost {

class PromptSession {
 public:
  // `stop` is set from outside (Ctrl-C) to stop the running statement.
  PromptSession(Library& library, std::atomic<bool>* stop);

  enum class Fed { Ran, More, Quit };
  // Runs the line, or keeps it when the statement goes on (Fed::More).
  Fed Feed(const std::string& line);
  // Forgets an unfinished block (Ctrl-C while typing).
  void Abandon() { chunk_.clear(); }
  bool Continuing() const { return !chunk_.empty(); }

  Interpreter& interpreter() { return interpreter_; }
  // Names in both languages of the functions callable here and of the
  // constants, and the keywords: what completion offers.
  const std::vector<std::string>& names() const { return names_; }

  static void Help();
  static constexpr const char* kPrompt = "kp> ";
  static constexpr const char* kMore = "..> ";

 private:
  // :help NAME and :list [PATTERN], in the prompt's language.
  void Reference(const std::string& command);

  Library& library_;
  Interpreter interpreter_;
  std::atomic<bool>* stop_;
  std::vector<std::string> names_;
  std::string chunk_;
};

}  // namespace kphost
