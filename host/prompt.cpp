// kp — the interactive prompt on POSIX: GNU readline for editing, history and
// completion of names, SIGINT to abandon a line or stop a statement, and the
// posted calls run while readline waits for a key.
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

#include "prompt_session.h"
#include "text.h"

namespace kphost {
namespace {

// Readline's hooks are plain functions: the session they serve.
PromptSession* gSession = nullptr;
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
  rl_set_prompt(PromptSession::kPrompt);
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
    std::set<std::string> names(gSession->names().begin(), gSession->names().end());
    for (const auto& [name, proc] : gSession->interpreter().procedures()) names.insert(proc->name);
    for (const auto& [name, value] : gSession->interpreter().globals()) names.insert(name);
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

}  // namespace

int Prompt(Library& library) {
  PromptSession session(library, &gStop);
  gSession = &session;
  gLibrary = &library;
  gNames.clear();

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
  for (;;) {
    gReading = 1;
    char* raw = readline(session.Continuing() ? PromptSession::kMore : PromptSession::kPrompt);
    gReading = 0;
    if (gAbandoned) {
      session.Abandon();
      gAbandoned = 0;
    }
    if (!raw) {
      std::printf("\n");
      break;
    }
    std::string line(raw);
    std::free(raw);
    if (line.find_first_not_of(" \t") != std::string::npos) add_history(line.c_str());
    if (session.Feed(line) == PromptSession::Fed::Quit) break;
  }
  if (!history.empty()) write_history(history.c_str());
  sigaction(SIGINT, &previous, nullptr);
  gSession = nullptr;
  gLibrary = nullptr;
  return 0;
}

}  // namespace kphost
