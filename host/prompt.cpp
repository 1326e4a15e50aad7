// kp — the interactive prompt (see prompt.h).
#include "prompt.h"

#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "eval.h"
#include "script_eval.h"
#include "script_parser.h"
#include "text.h"

namespace kphost {
namespace {

constexpr const char* kPrompt = "kp> ";
constexpr const char* kMore = "..> ";

// Readline's hooks are plain functions: the session they serve.
Interpreter* gInterpreter = nullptr;
Library* gLibrary = nullptr;
std::atomic<bool> gStop{false};
volatile sig_atomic_t gReading = 0;
volatile sig_atomic_t gAbandoned = 0;
std::vector<std::string> gNames;

void OnInterrupt(int) {
  if (!gReading) {
    gStop = true;  // the running statement stops at its next safe point
    return;
  }
  // Abandon the line (and any block begun on earlier lines) and start over;
  // what readline documents for an application that handles SIGINT itself.
  gAbandoned = 1;
  if (write(STDOUT_FILENO, "\n", 1) < 0) return;
  rl_on_new_line();
  rl_replace_line("", 0);
  rl_set_prompt(kPrompt);
  rl_redisplay();
}

// Readline calls this while it waits for a key: the time for posted calls.
int WhileWaiting() {
  if (!gLibrary || !gLibrary->program().HasPosted()) return 0;
  std::printf("\n");
  try {
    gLibrary->program().RunPosted();
  } catch (const ScriptError& e) {
    std::fprintf(stderr, "%s\n", e.Describe().c_str());
  }
  std::fflush(stdout);
  rl_on_new_line();
  rl_redisplay();
  return 0;
}

char* NextName(const char* text, int state) {
  static size_t index;
  static std::string folded;
  if (state == 0) {
    index = 0;
    folded = FoldName(text);
    std::set<std::string> names(gNames.begin(), gNames.end());
    for (const auto& [name, proc] : gInterpreter->procedures()) names.insert(proc->name);
    for (const auto& [name, value] : gInterpreter->globals()) names.insert(name);
    gNames.assign(names.begin(), names.end());
  }
  while (index < gNames.size()) {
    const std::string& name = gNames[index++];
    if (FoldName(name).compare(0, folded.size(), folded) == 0) return strdup(name.c_str());
  }
  return nullptr;
}

char** Complete(const char* text, int, int) {
  rl_attempted_completion_over = 1;  // names only, never file names
  return rl_completion_matches(text, NextName);
}

std::string HistoryFile() {
  if (const char* f = std::getenv("KP_HISTORY"); f && *f) return f;
  const char* home = std::getenv("HOME");
  return home && *home ? std::string(home) + "/.kp_history" : std::string();
}

void Help() {
  std::printf(
      "Type a KL statement: a call (DateSys(), EstPair(4)), x = 1 + 2, or a block\n"
      "(IF/SI, WHILE/TANTQUE, FOR/POUR, PROCEDURE) ended by END/FIN. Tab completes\n"
      "names. Results and error records are shown after each statement.\n"
      "  :quit   leave (or Ctrl-D)      Ctrl-C   abandon the line, or stop a statement\n"
      "The language: docs/scripts.md.\n");
}

}  // namespace

int Prompt(Library& library) {
  Interpreter interpreter(library);
  interpreter.trace = [](const std::string& line) { std::printf("%s\n", line.c_str()); };
  interpreter.onLibraryError = [](const ErrorState& error, const std::string& where) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", where.c_str(), DescribeError(error).c_str());
  };
  interpreter.stop = &gStop;
  gInterpreter = &interpreter;
  gLibrary = &library;
  gNames.clear();
  for (const auto& f : library.functions()) {
    gNames.push_back(f.french);
    gNames.push_back(f.english);
  }
  for (const auto* k : {"IF", "THEN", "ELSE", "END", "WHILE", "FOR", "TO", "STEP", "PROCEDURE", "RETURN", "AND",
                        "OR", "NOT", "True", "False", "SI", "ALORS", "SINON", "FIN", "TANTQUE", "POUR", "RENVOYER",
                        "ET", "OU", "PAS", "Vrai", "Faux", "Trace", "Wait", "Attends"})
    gNames.push_back(k);

  rl_readline_name = "kp";
  rl_attempted_completion_function = Complete;
  rl_event_hook = WhileWaiting;
  rl_set_keyboard_input_timeout(50000);  // the hook's period, in microseconds
  rl_catch_signals = 0;
  struct sigaction action{};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  struct sigaction previous{};
  sigaction(SIGINT, &action, &previous);

  const std::string history = HistoryFile();
  stifle_history(1000);
  if (!history.empty()) read_history(history.c_str());

  std::printf("kp: KL prompt, %zu library functions. :help for help, Ctrl-D to leave.\n", library.functions().size());
  std::string chunk;
  for (;;) {
    gReading = 1;
    char* raw = readline(chunk.empty() ? kPrompt : kMore);
    gReading = 0;
    if (gAbandoned) {
      chunk.clear();
      gAbandoned = 0;
    }
    if (!raw) {
      std::printf("\n");
      break;
    }
    std::string line(raw);
    std::free(raw);
    if (line.find_first_not_of(" \t") != std::string::npos) add_history(line.c_str());
    if (chunk.empty()) {
      const auto first = line.find_first_not_of(" \t");
      const std::string command = first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t") + 1 - first);
      if (command == ":quit" || command == ":q") break;
      if (command == ":help") {
        Help();
        continue;
      }
      if (command.empty()) continue;
    }
    chunk += line + "\n";
    Script script;
    try {
      script = Parse(chunk, "");
    } catch (const ScriptError& e) {
      if (e.incomplete()) continue;  // more lines to come
      std::fprintf(stderr, "%s\n", e.Describe().c_str());
      chunk.clear();
      continue;
    }
    chunk.clear();
    gStop = false;
    try {
      const Value v = interpreter.Run(script);
      std::fflush(stdout);
      if (v.type != KL_T_NONE) std::printf("%s\n", Display(v).c_str());
    } catch (const ScriptError& e) {
      std::fflush(stdout);
      std::fprintf(stderr, "%s\n", e.Describe().c_str());
    }
    std::fflush(stdout);
  }
  if (!history.empty()) write_history(history.c_str());
  sigaction(SIGINT, &previous, nullptr);
  gInterpreter = nullptr;
  gLibrary = nullptr;
  return 0;
}

}  // namespace kphost
