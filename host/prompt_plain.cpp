// kp — the interactive prompt where GNU readline is absent (Windows): a plain
// line reader. No editing beyond the console's own, no history file, no
// completion; posted calls run before each line is read. Ctrl-C stops the
// running statement (the console's control handler sets the stop flag).
#define NOMINMAX
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <iostream>
#include <string>

#include "prompt.h"
#include "prompt_session.h"

namespace kphost {
namespace {

std::atomic<bool> gStop{false};

BOOL WINAPI OnControl(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  gStop = true;  // the running statement stops at its next safe point
  return TRUE;
}

}  // namespace

int Prompt(Library& library) {
  PromptSession session(library, &gStop);
  SetConsoleCtrlHandler(&OnControl, TRUE);
  std::printf("kp: KL prompt, %zu library functions. :help for help, Ctrl-Z to leave.\n", library.functions().size());
  std::string line;
  for (;;) {
    try {
      library.program().RunPosted();
    } catch (const ScriptError& e) {
      std::fprintf(stderr, "%s\n", e.Describe().c_str());
    }
    std::fputs(session.Continuing() ? PromptSession::kMore : PromptSession::kPrompt, stdout);
    std::fflush(stdout);
    if (!std::getline(std::cin, line)) {
      std::printf("\n");
      break;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (session.Feed(line) == PromptSession::Fed::Quit) break;
  }
  SetConsoleCtrlHandler(&OnControl, FALSE);
  return 0;
}

}  // namespace kphost
