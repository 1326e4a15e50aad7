// kp — the prompt's session: lines gathered into statements and run.
#include "prompt_session.h"

#include <cstdio>

#include "eval.h"
#include "help.h"
#include "script_parser.h"

namespace kphost {

PromptSession::PromptSession(Library& library, std::atomic<bool>* stop)
    : library_(library), interpreter_(library), stop_(stop) {
  interpreter_.trace = [](const std::string& line) { std::printf("%s\n", line.c_str()); };
  interpreter_.onLibraryError = [](const ErrorState& error, const std::string& where) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", where.c_str(), DescribeError(error).c_str());
  };
  interpreter_.stop = stop;
  // Functions that cannot be called here are not offered; constants are,
  // even those this platform lacks (using one says why it fails).
  for (const auto& f : library.functions()) {
    if (!f.available()) continue;
    names_.push_back(f.french);
    names_.push_back(f.english);
  }
  for (const auto& c : library.constants()) {
    names_.push_back(c.french);
    names_.push_back(c.english);
  }
  for (const auto* k : {"IF", "THEN", "ELSE", "END", "WHILE", "FOR", "TO", "STEP", "PROCEDURE", "RETURN", "AND",
                        "OR", "NOT", "True", "False", "SI", "ALORS", "SINON", "FIN", "TANTQUE", "POUR", "RENVOYER",
                        "ET", "OU", "PAS", "Vrai", "Faux", "Trace", "Wait", "Attends"})
    names_.push_back(k);
}

void PromptSession::Help() {
  std::printf(
      "Type a KL statement: a call (DateSys(), EstPair(4)), x = 1 + 2, or a block\n"
      "(IF/SI, WHILE/TANTQUE, FOR/POUR, PROCEDURE) ended by END/FIN. Tab completes\n"
      "names. Results and error records are shown after each statement.\n"
      "  :help NAME  a function or constant    :list [PATTERN]  names and descriptions\n"
      "  :quit   leave (or Ctrl-D)      Ctrl-C   abandon the line, or stop a statement\n"
      "The language: docs/scripts.md.\n");
}


void PromptSession::Reference(const std::string& command) {
  const bool french = library_.program().language().code == KL_LANGUAGE_FRENCH;
  const auto space = command.find(' ');
  const std::string word = command.substr(0, space);
  std::string argument = space == std::string::npos ? "" : command.substr(space + 1);
  argument.erase(0, argument.find_first_not_of(" \t"));
  std::fflush(stdout);
  if (word == ":help") {
    std::string text;
    const bool found = RenderHelp(library_, argument, french, text);
    std::fputs(text.c_str(), found ? stdout : stderr);
  } else {
    const std::string text = RenderList(library_, argument, french);
    if (text.empty()) std::fprintf(stderr, "nothing matches %s\n", argument.c_str());
    std::fputs(text.c_str(), stdout);
  }
  std::fflush(stdout);
}

PromptSession::Fed PromptSession::Feed(const std::string& line) {
  if (chunk_.empty()) {
    const auto first = line.find_first_not_of(" \t");
    const std::string command =
        first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t") + 1 - first);
    if (command == ":quit" || command == ":q") return Fed::Quit;
    if (command == ":help") {
      Help();
      return Fed::Ran;
    }
    if (command.rfind(":help ", 0) == 0 || command == ":list" || command.rfind(":list ", 0) == 0) {
      Reference(command);
      return Fed::Ran;
    }
    if (command.empty()) return Fed::Ran;
  }
  chunk_ += line + "\n";
  Script script;
  try {
    script = Parse(chunk_, "");
  } catch (const ScriptError& e) {
    if (e.incomplete()) return Fed::More;  // more lines to come
    std::fprintf(stderr, "%s\n", e.Describe().c_str());
    chunk_.clear();
    return Fed::Ran;
  }
  chunk_.clear();
  *stop_ = false;
  try {
    const Value v = interpreter_.Run(script);
    std::fflush(stdout);
    if (v.type != KL_T_NONE) std::printf("%s\n", Display(v).c_str());
  } catch (const ScriptError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", e.Describe().c_str());
  }
  std::fflush(stdout);
  return Fed::Ran;
}

}  // namespace kphost
