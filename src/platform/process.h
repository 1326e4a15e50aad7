// kp160std — processes, in Win32 terms: start one, wait for it, read its exit
// code, open one by identifier, end it, and take snapshots of the running
// processes and of one process's modules.
//
// Calls follow the Win32 API they are named after: a failure returns the
// failure value and sets the thread's last error (platform::LastError) to a
// Win32 number (2 file not found, 5 access denied, 87 no such process, ...).
//
// On POSIX (posix/process.cpp) a program path is a device path, resolved
// beneath the device root as every file name is (platform/filesystem.h); the
// child is started with posix_spawn, without a shell, with the arguments the
// caller has already split. Process handles hold a pidfd, so a recycled
// identifier never reaches a stranger. Children started here are reaped as
// soon as they end; their exit codes are kept for the handles and the
// identifiers that still name them, as Windows keeps an ended process object.
// Snapshots are read from /proc. On Windows (win32/process_win32.cpp) the
// calls go to the real API, the snapshots to Toolhelp looked up by name.
//
// Thread-safety: every function may be called from any thread; a handle is
// used by one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kp::platform::proc {

using ProcessHandle = intptr_t;
constexpr ProcessHandle kNoProcess = 0;

// The exit code of a process that is still running.
constexpr uint32_t kStillActive = 259;
// WaitForSingleObject's answers.
constexpr uint32_t kWaitObject0 = 0;
constexpr uint32_t kWaitTimeout = 258;
constexpr uint32_t kWaitFailed = 0xFFFFFFFFu;
// Access rights of OpenProcess.
constexpr uint32_t kProcessTerminate = 0x0001;
constexpr uint32_t kProcessVmRead = 0x0010;
constexpr uint32_t kProcessQueryInformation = 0x0400;

struct Started {
  ProcessHandle process = kNoProcess;
  uint32_t processId = 0;
  uint32_t threadId = 0;
};

// Starts `program` (an absolute device path). Windows hands `commandLine` to
// CreateProcessW as it is; POSIX gives the child the program's host path as
// argv[0] and `arguments` after it (the caller splits the command line, so
// that both backends see the same words). No inheritance, no flags, the
// caller's environment, no working directory. false with the last error set.
bool CreateProcess(std::u16string_view program, std::u16string_view commandLine,
                   const std::vector<std::u16string>& arguments, Started* started);

// kWaitObject0 when the process has ended, kWaitTimeout after `milliseconds`.
uint32_t WaitForProcess(ProcessHandle process, uint32_t milliseconds);
// kStillActive while the process runs.
bool GetExitCodeProcess(ProcessHandle process, uint32_t* code);
// kNoProcess on failure: 87 for an identifier that names no process (0
// included), 5 when the caller may not have the access asked for.
ProcessHandle OpenProcess(uint32_t access, uint32_t processId);
bool TerminateProcess(ProcessHandle process, uint32_t exitCode);
void CloseProcess(ProcessHandle process);

// One running process as a snapshot reports it. `path` is the executable's
// file: on POSIX a device path ("\bin\sleep") when it lies beneath the device
// root, else the host path as it is ("/usr/bin/sleep").
struct ProcessEntry {
  std::u16string path;
  uint32_t processId = 0;
  uint32_t parentId = 0;
};
// Every process of "the .EXE kind" (see docs/system.md): on Windows, those
// whose file ends ".EXE"; on POSIX, every process with an executable file
// that this process may read the link of (kernel threads have none). false
// with the last error set when no snapshot can be taken. Without
// `withParents`, parentId may stay 0 (POSIX then spares a read per process).
bool ProcessSnapshot(std::vector<ProcessEntry>* processes, bool withParents = true);

// The modules of a process, in two ways as Windows offers them.
//
// Toolhelp: every module's file name and path, the executable included, as a
// module snapshot gives them. false when no snapshot can be taken.
struct ModuleEntry {
  std::u16string name;  // file name only
  std::u16string path;
};
bool ModuleSnapshot(uint32_t processId, std::vector<ModuleEntry>* modules);
// PSAPI: the full file names of an open process's modules, the executable
// first. false with the last error set.
bool EnumProcessModules(ProcessHandle process, std::vector<std::u16string>* paths);
// Which of the two the platform offers for listing a process's modules: the
// desktop family lists through EnumProcessModules, a device through the
// snapshot. POSIX answers as the desktop.
bool ModulesByEnumeration();

// The running process and thread.
uint32_t CurrentProcessId();
uint32_t ParentProcessId();
uint32_t CurrentThreadId();
// The file of the running program (the process's executable, as a snapshot
// shows it).
std::u16string OwnModuleFile();
// The running process's whole command line as Windows would hold it (POSIX:
// its arguments, each quoted the way the Windows runtime splits them back).
std::u16string OwnCommandLine();
// Where the application updater is installed: beside the running program's
// file, as on the device, unless KP_UPDATER_DIR names a device directory
// (POSIX; the host's setting, see docs/update.md).
std::u16string UpdaterDirectory();

// One message of the calling thread's queue: a paint message is served, any
// other dropped. false when the queue was empty. POSIX has no message queue
// of its own: the host's window, if any, is the host's affair, so this
// always answers false.
bool PumpPaintMessage();
void Sleep(uint32_t milliseconds);

// ShellExecuteEx: the code Windows gives (above 32 on success, else the
// error code of the old ShellExecute: 2 file not found, 31 no association,
// ...). `verb` empty: no verb; `directory` empty: none. POSIX has no
// associations: a program file is started as CreateProcess would (42), a
// missing file gives 2, any other file 31.
uint32_t ShellExecute(std::u16string_view file, std::u16string_view verb, std::u16string_view directory);

}  // namespace kp::platform::proc
