// kp160std — the process functions of KL (see system/process.h).
#include "system/process.h"

#include <algorithm>
#include <vector>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "abi/state.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "system/command_line.h"

namespace kp::system {

namespace proc = platform::proc;

namespace {

// The most columns a process line holds: a sixth column argument is taken
// and ignored, on purpose.
constexpr size_t kMaxColumns = 5;
// Shell execution codes: above this one is a success.
constexpr uint32_t kShellSuccessAbove = 32;
// TerminateProcess's exit code for a process ended from here.
constexpr uint32_t kTerminatedExitCode = 0xFFFFFFFFu;
// The wait loop's slice on the process, in milliseconds.
constexpr uint32_t kWaitSlice = 10;
constexpr uint32_t kIdleSleep = 1;

std::u16string SystemText(uint32_t code) { return platform::SystemErrorText(code, State().languageCode); }

bool IsAbsolute(std::u16string_view name) {
  return !name.empty() && (name.front() == u'\\' || name.front() == u'/' || name.back() == u':');
}

bool SameFolded(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (platform::reg::FoldChar(a[i]) != platform::reg::FoldChar(b[i])) return false;
  return true;
}

// A name's file name (without extension) and extension (with its dot); the
// directory is left out, since it is never compared.
struct NameParts {
  std::u16string_view file;
  std::u16string_view extension;
};
NameParts SplitName(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/:");
  const std::u16string_view leaf = slash == std::u16string_view::npos ? path : path.substr(slash + 1);
  const size_t dot = leaf.rfind(u'.');
  if (dot == std::u16string_view::npos) return {leaf, {}};
  return {leaf.substr(0, dot), leaf.substr(dot)};
}

// Whether a process's path names the program `wanted` asks for: same file
// name, and same extension when `wanted` has one.
bool Matches(const NameParts& wanted, std::u16string_view path) {
  const NameParts p = SplitName(path);
  return SameFolded(wanted.file, p.file) && (wanted.extension.empty() || SameFolded(wanted.extension, p.extension));
}

bool Snapshot(ExecContext* context, std::vector<proc::ProcessEntry>* processes, bool withParents) {
  if (proc::ProcessSnapshot(processes, withParents)) return true;
  Raise(context, kErrProcessListUnavailable);
  return false;
}

// Ends one open process as ExeTermine does: only while it runs; the result
// is the success of the last call made.
bool EndOpened(ExecContext* context, proc::ProcessHandle process) {
  uint32_t code = 0;
  if (!proc::GetExitCodeProcess(process, &code)) {
    SetSystemError(context, platform::LastError());
    return false;
  }
  if (code != proc::kStillActive) return true;
  if (proc::TerminateProcess(process, kTerminatedExitCode)) return true;
  SetSystemError(context, platform::LastError());
  return false;
}

void AppendDecimal(std::u16string* out, uint32_t n) {
  char16_t digits[10];
  size_t count = 0;
  do {
    digits[count++] = static_cast<char16_t>(u'0' + n % 10);
    n /= 10;
  } while (n);
  while (count) out->push_back(digits[--count]);
}

}  // namespace

CommandLineParts SplitCommandLine(std::u16string_view line) {
  const size_t end = !line.empty() && line.front() == u'"' ? line.find(u'"', 1) : line.find(u' ');
  CommandLineParts parts;
  if (end == std::u16string_view::npos) {
    parts.program = line;
    return parts;
  }
  std::u16string_view program = line.substr(0, end);
  if (!program.empty() && program.front() == u'"') program.remove_prefix(1);
  if (!program.empty() && program.back() == u'"') program.remove_suffix(1);
  parts.program = program;
  parts.parameters = line.substr(end + 1);
  return parts;
}

int32_t Run(ExecContext* context, std::u16string_view commandLine, int32_t windowMode, int32_t waitMode) {
  // The window mode is accepted and ignored: no start-up information.
  const CommandLineParts parts = SplitCommandLine(commandLine);
  if (commandLine.size() > kMaxCommandLine || parts.program.size() > kMaxProgramPath) {
    RaiseSystem(context, kErrCannotStartProgram, win32::kFilenameExcedRange,
                {parts.program.substr(0, kMaxProgramPath), SystemText(win32::kFilenameExcedRange)});
    return 0;
  }
  if (!IsAbsolute(parts.program)) {
    Raise(context, kErrPathNotAbsolute, {parts.program});
    return 0;
  }
  proc::Started started;
  if (!proc::CreateProcess(parts.program, parts.parameters, SplitWindowsArguments(parts.parameters), &started)) {
    const uint32_t code = platform::LastError();
    RaiseSystem(context, kErrCannotStartProgram, code, {parts.program, SystemText(code)});
    return 0;
  }
  uint32_t exitCode = proc::kStillActive;
  if (waitMode == exeWait || waitMode == exeReturnValue) {
    while (exitCode == proc::kStillActive) {
      if (proc::WaitForProcess(started.process, kWaitSlice) != proc::kWaitTimeout &&
          !proc::GetExitCodeProcess(started.process, &exitCode))
        break;  // the process cannot be read any more: waiting on would never end
      if (!proc::PumpPaintMessage()) proc::Sleep(kIdleSleep);
    }
  }
  proc::CloseProcess(started.process);
  if (waitMode == exeReturnValue) return static_cast<int32_t>(exitCode);
  if (waitMode == exePID) return static_cast<int32_t>(started.processId);
  return 1;
}

int32_t ShellErrorOf(uint32_t code) {
  switch (code) {
    case 2:
    case 3:
    case 32: return kErrExecutableNotFound;
    case 5: return kErrExecutableAccessDenied;
    case 8: return kErrNoMemoryToStart;
    case 11: return kErrNotExecutable;
    case 26: return kErrStartSharingViolation;
    case 27:
    case 31: return kErrNoAssociation;
    case 28:
    case 29:
    case 30: return kErrDdeFailed;
    default: return 0;
  }
}

bool ShellExecute(ExecContext* context, std::u16string_view file, std::u16string_view verb) {
  if (file.empty()) return false;
  std::u16string_view directory;
  if (const size_t slash = file.find_last_of(u"\\/"); slash != std::u16string_view::npos)
    directory = file.substr(0, slash == 0 ? 1 : slash);
  uint32_t code;
  if (!verb.empty()) {
    code = proc::ShellExecute(file, verb, directory);
  } else {
    code = proc::ShellExecute(file, u"open", directory);
    if (code <= kShellSuccessAbove) code = proc::ShellExecute(file, {}, directory);
  }
  if (code > kShellSuccessAbove) return true;
  if (const int32_t error = ShellErrorOf(code)) Raise(context, error);
  return false;
}

int32_t CountRunning(ExecContext* context) { return CountRunning(context, proc::OwnModuleFile()); }

int32_t CountRunning(ExecContext* context, std::u16string_view name) {
  std::vector<proc::ProcessEntry> processes;
  if (!Snapshot(context, &processes, false)) return -1;
  const NameParts wanted = SplitName(name);
  return static_cast<int32_t>(
      std::count_if(processes.begin(), processes.end(), [&](const auto& p) { return Matches(wanted, p.path); }));
}

bool IsRunning(ExecContext* context, int32_t processId) {
  const proc::ProcessHandle process =
      proc::OpenProcess(proc::kProcessQueryInformation, static_cast<uint32_t>(processId));
  if (process == proc::kNoProcess) {
    const uint32_t code = platform::LastError();
    if (code != win32::kInvalidParameter) RaiseSystem(context, kErrStartSharingViolation, code);
    return false;
  }
  uint32_t exitCode = 0;
  const bool running = proc::GetExitCodeProcess(process, &exitCode) && exitCode == proc::kStillActive;
  proc::CloseProcess(process);
  return running;
}

bool Terminate(ExecContext* context, int32_t processId) {
  const proc::ProcessHandle process =
      proc::OpenProcess(proc::kProcessTerminate | proc::kProcessQueryInformation, static_cast<uint32_t>(processId));
  if (process == proc::kNoProcess) {
    RaiseSystem(context, kErrCannotOpenProcess, platform::LastError());
    return false;
  }
  const bool ended = EndOpened(context, process);
  proc::CloseProcess(process);
  return ended;
}

bool Terminate(ExecContext* context, std::u16string_view name) {
  std::vector<proc::ProcessEntry> processes;
  if (!Snapshot(context, &processes, false)) return false;
  const NameParts wanted = SplitName(name);
  bool any = false;
  for (const auto& p : processes) {
    if (!Matches(wanted, p.path)) continue;
    const proc::ProcessHandle process =
        proc::OpenProcess(proc::kProcessTerminate | proc::kProcessQueryInformation, p.processId);
    if (process == proc::kNoProcess) {
      SetSystemError(context, platform::LastError());
      continue;
    }
    any = EndOpened(context, process) || any;
    proc::CloseProcess(process);
  }
  return any;
}

std::u16string ListProcesses(ExecContext* context, std::span<const int32_t> columns) {
  static constexpr int32_t kDefaultColumn[] = {exeShortName};
  if (columns.empty()) columns = kDefaultColumn;
  columns = columns.first(std::min(columns.size(), kMaxColumns));
  const bool parents = std::find(columns.begin(), columns.end(), exeParentPID) != columns.end();
  std::vector<proc::ProcessEntry> processes;
  if (!Snapshot(context, &processes, parents)) return {};
  std::u16string out;
  for (size_t i = 0; i < processes.size(); ++i) {
    const auto& p = processes[i];
    if (i) out += u"\r\n";
    for (size_t c = 0; c < columns.size(); ++c) {
      if (c) out += u'\t';
      switch (columns[c]) {
        case exeShortName: {
          const size_t slash = p.path.find_last_of(u"\\/");
          out += slash == std::u16string::npos ? std::u16string_view(p.path)
                                               : std::u16string_view(p.path).substr(slash + 1);
          break;
        }
        case exeLongName: {
          std::u16string_view path = p.path;
          if (path.find(u"\\??\\") != std::u16string_view::npos) path.remove_prefix(std::min<size_t>(4, path.size()));
          out += path;
          break;
        }
        case exePID: AppendDecimal(&out, p.processId); break;
        case exeParentPID: AppendDecimal(&out, p.parentId); break;
        default: break;  // the memory columns and any other code: empty
      }
    }
  }
  return out;
}

std::u16string ListModules(ExecContext* context) {
  return ListModules(context, static_cast<int32_t>(proc::CurrentProcessId()));
}

std::u16string ListModules(ExecContext* context, int32_t processId) {
  return ListModules(context, processId, proc::ModulesByEnumeration());
}

std::u16string ListModules(ExecContext* context, int32_t processId, bool byEnumeration) {
  std::u16string out;
  auto add = [&out](std::u16string_view line) {
    if (!out.empty()) out += u"\r\n";
    out += line;
  };
  if (byEnumeration) {
    const proc::ProcessHandle process =
        proc::OpenProcess(proc::kProcessQueryInformation | proc::kProcessVmRead, static_cast<uint32_t>(processId));
    if (process == proc::kNoProcess) {
      RaiseSystem(context, kErrCannotOpenProcess, platform::LastError());
      return {};
    }
    std::vector<std::u16string> paths;
    const bool listed = proc::EnumProcessModules(process, &paths);
    proc::CloseProcess(process);
    if (!listed) return {};
    for (size_t i = 1; i < paths.size(); ++i) add(paths[i]);  // the first is the executable
    return out;
  }
  std::vector<proc::ModuleEntry> modules;
  if (!proc::ModuleSnapshot(static_cast<uint32_t>(processId), &modules)) return {};
  // The executable is the first module; where executables carry no ".EXE"
  // (POSIX) it is left out by its place.
  for (const auto& m : modules)
    if (!SameFolded(SplitName(m.name).extension, u".EXE") && m.path != modules.front().path) add(m.name);
  return out;
}

int32_t GetPID(ExecContext* context, int32_t kind) {
  switch (kind) {
    case exePID: return static_cast<int32_t>(proc::CurrentProcessId());
    case exeParentPID: return static_cast<int32_t>(proc::ParentProcessId());
    case exeTID: return static_cast<int32_t>(proc::CurrentThreadId());
    default: Raise(context, kErrUnknownIdentifierKind, {kind}); return 0;
  }
}

}  // namespace kp::system
