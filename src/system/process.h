// kp160std — the process functions of KL: LanceAppli (and DDELance, which
// starts a program the same way), LanceAppliAssociée, ExeLancé, ExeTermine,
// ExeListeProcessus, ExeListeDLL and ExeDonnePID.
//
// The operating system is reached through platform/process.h; what is here is
// the behaviour KL programs see: the command-line split, the absolute-path
// rule, the wait modes and their loop, the shell's codes turned into errors,
// names compared without their directory, and the lists' layout. Failures
// return the ordinary failure value (0, -1, false or an empty text) with the
// error recorded.
//
// Thread-safety: used from the thread that runs the KL program.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::system {

// Window modes (accepted and ignored: the process starts without start-up
// information), wait modes, list columns and identifier kinds.
constexpr int32_t exeInactive = 0, exeActive = 1, exeMaximize = 2;
constexpr int32_t exeDontWait = 0, exeWait = 1, exeReturnValue = 2, exePID = 3;
constexpr int32_t exeShortName = 0, exeLongName = 1, exeMemory = 4, exeMaxMemory = 5, exeParentPID = 6;
constexpr int32_t exeTID = 7;

// The longest command line LanceAppli takes, in characters: Windows's own
// limit for a process's command line. A longer one starts nothing (80400
// with system error 206), as does a program path beyond 260 characters.
constexpr size_t kMaxCommandLine = 32767;
constexpr size_t kMaxProgramPath = 260;

// The command line's two parts, as LanceAppli reads them.
struct CommandLineParts {
  std::u16string program;
  std::u16string parameters;
};
CommandLineParts SplitCommandLine(std::u16string_view commandLine);

// 0 on failure; wait mode 2 the exit code, 3 the identifier, others 1.
int32_t Run(ExecContext* context, std::u16string_view commandLine, int32_t windowMode, int32_t waitMode);

// `verb` empty: "open", then no verb when that fails.
bool ShellExecute(ExecContext* context, std::u16string_view file, std::u16string_view verb);
// The error a shell execution code gives (0 for none).
int32_t ShellErrorOf(uint32_t code);

// The number of running processes of the running program's file; -1 when no
// snapshot can be taken.
int32_t CountRunning(ExecContext* context);
int32_t CountRunning(ExecContext* context, std::u16string_view name);
bool IsRunning(ExecContext* context, int32_t processId);

bool Terminate(ExecContext* context, int32_t processId);
bool Terminate(ExecContext* context, std::u16string_view name);

// Columns as given; the list stops at the first omitted one (the syntaxes
// pass only those given), and at five.
std::u16string ListProcesses(ExecContext* context, std::span<const int32_t> columns);

// The modules of a process (the running one by default), by the platform's
// way; `byEnumeration` picks one for tests.
std::u16string ListModules(ExecContext* context);
std::u16string ListModules(ExecContext* context, int32_t processId);
std::u16string ListModules(ExecContext* context, int32_t processId, bool byEnumeration);

int32_t GetPID(ExecContext* context, int32_t kind);

}  // namespace kp::system
