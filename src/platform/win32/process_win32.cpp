// kp160std — processes on Windows (see platform/process.h): the real API.
//
// The snapshot functions are looked up at run time, never linked: from
// "TOOLHELP.DLL" on a device (Unicode names without the W, snapshots closed
// by CloseToolhelp32Snapshot), else from kernel32 on the desktop (the W
// names, closed by CloseHandle). A system without them still loads the
// library; only the snapshots fail. PSAPI is loaded the same way when the
// system is of the NT family. Every library loaded here is released before
// the call returns.
#include "platform/win32/windows_api.h"

#include <shellapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/process.h"
#include "platform/win32_errors.h"

namespace kp::platform::proc {

namespace {

// Snapshot flags: processes (without the heap lists a device would add),
// modules.
constexpr DWORD kDeviceSnapProcesses = 0x40000002;
constexpr DWORD kSnapProcesses = 0x00000002;
constexpr DWORD kSnapModules = 0x00000008;
// The most modules asked of PSAPI.
constexpr DWORD kMaxModules = 200;

const wchar_t* W(std::u16string_view s, std::wstring* keep) {
  keep->assign(s.begin(), s.end());
  return keep->c_str();
}
std::u16string U(const wchar_t* s) {
  return s ? std::u16string(reinterpret_cast<const char16_t*>(s)) : std::u16string();
}

bool EndsWithExe(const std::u16string& path) {
  if (path.size() < 4) return false;
  const std::u16string tail = path.substr(path.size() - 4);
  return tail[0] == u'.' && (tail[1] | 0x20) == u'e' && (tail[2] | 0x20) == u'x' && (tail[3] | 0x20) == u'e';
}

// The tool-help functions of this system, for the time of one call.
class ToolHelp {
 public:
  ToolHelp() {
    library_ = ::LoadLibraryW(L"toolhelp.dll");
    if (library_) {
      device_ = true;
      Bind(library_, "Process32First", "Process32Next", "Module32First", "Module32Next");
      close_ = reinterpret_cast<CloseFn>(Find(library_, "CloseToolhelp32Snapshot"));
    } else {
      kernel_ = ::GetModuleHandleW(L"kernel32.dll");
      if (kernel_) Bind(kernel_, "Process32FirstW", "Process32NextW", "Module32FirstW", "Module32NextW");
    }
    create_ = reinterpret_cast<CreateFn>(Find(device_ ? library_ : kernel_, "CreateToolhelp32Snapshot"));
  }
  ~ToolHelp() {
    if (library_) ::FreeLibrary(library_);
  }
  ToolHelp(const ToolHelp&) = delete;
  ToolHelp& operator=(const ToolHelp&) = delete;

  bool Processes(std::vector<ProcessEntry>* out, bool onlyExe) {
    if (!create_ || !processFirst_ || !processNext_) return Fail(win32::kCallNotImplemented);
    const HANDLE snapshot = create_(device_ ? kDeviceSnapProcesses : kSnapProcesses, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return false;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = processFirst_(snapshot, &entry); more; more = processNext_(snapshot, &entry)) {
      ProcessEntry p;
      p.path = U(entry.szExeFile);
      p.processId = entry.th32ProcessID;
      p.parentId = entry.th32ParentProcessID;
      if (!onlyExe || EndsWithExe(p.path)) out->push_back(std::move(p));
      entry.dwSize = sizeof entry;
    }
    Close(snapshot);
    return true;
  }

  bool Modules(uint32_t processId, std::vector<ModuleEntry>* out) {
    if (!create_ || !moduleFirst_ || !moduleNext_) return Fail(win32::kCallNotImplemented);
    const HANDLE snapshot = create_(kSnapModules, processId);
    if (snapshot == INVALID_HANDLE_VALUE) return false;
    MODULEENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = moduleFirst_(snapshot, &entry); more; more = moduleNext_(snapshot, &entry)) {
      out->push_back({U(entry.szModule), U(entry.szExePath)});
      entry.dwSize = sizeof entry;
    }
    Close(snapshot);
    return true;
  }

 private:
  using CreateFn = HANDLE(WINAPI*)(DWORD, DWORD);
  using ProcessFn = BOOL(WINAPI*)(HANDLE, PROCESSENTRY32W*);
  using ModuleFn = BOOL(WINAPI*)(HANDLE, MODULEENTRY32W*);
  using CloseFn = BOOL(WINAPI*)(HANDLE);

  static void* Find(HMODULE module, const char* name) {
    return module ? reinterpret_cast<void*>(::GetProcAddress(module, name)) : nullptr;
  }
  void Bind(HMODULE module, const char* pf, const char* pn, const char* mf, const char* mn) {
    processFirst_ = reinterpret_cast<ProcessFn>(Find(module, pf));
    processNext_ = reinterpret_cast<ProcessFn>(Find(module, pn));
    moduleFirst_ = reinterpret_cast<ModuleFn>(Find(module, mf));
    moduleNext_ = reinterpret_cast<ModuleFn>(Find(module, mn));
  }
  void Close(HANDLE snapshot) {
    if (device_) {
      if (close_) close_(snapshot);
    } else {
      ::CloseHandle(snapshot);
    }
  }
  static bool Fail(uint32_t code) {
    ::SetLastError(code);
    return false;
  }

  HMODULE library_ = nullptr;  // toolhelp.dll, owned
  HMODULE kernel_ = nullptr;   // not owned
  bool device_ = false;
  CreateFn create_ = nullptr;
  ProcessFn processFirst_ = nullptr, processNext_ = nullptr;
  ModuleFn moduleFirst_ = nullptr, moduleNext_ = nullptr;
  CloseFn close_ = nullptr;
};

HANDLE H(ProcessHandle p) { return reinterpret_cast<HANDLE>(p); }

}  // namespace

bool CreateProcess(std::u16string_view program, std::u16string_view commandLine, const std::vector<std::u16string>&,
                   Started* started) {
  // The desktop reads the program's own name as the first word of the
  // command line (a device does not): it is put there, quoted.
  std::wstring app, line = L"\"";
  line.append(program.begin(), program.end());
  line += L"\"";
  if (!commandLine.empty() && commandLine.front() != u' ') line += L' ';
  line.append(commandLine.begin(), commandLine.end());
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(W(program, &app), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
    return false;
  ::CloseHandle(pi.hThread);
  if (started) {
    started->process = reinterpret_cast<ProcessHandle>(pi.hProcess);
    started->processId = pi.dwProcessId;
    started->threadId = pi.dwThreadId;
  } else {
    ::CloseHandle(pi.hProcess);
  }
  return true;
}

uint32_t WaitForProcess(ProcessHandle process, uint32_t milliseconds) {
  return ::WaitForSingleObject(H(process), milliseconds);
}

bool GetExitCodeProcess(ProcessHandle process, uint32_t* code) {
  DWORD c = 0;
  if (!::GetExitCodeProcess(H(process), &c)) return false;
  *code = c;
  return true;
}

ProcessHandle OpenProcess(uint32_t access, uint32_t processId) {
  return reinterpret_cast<ProcessHandle>(::OpenProcess(access, FALSE, processId));
}

bool TerminateProcess(ProcessHandle process, uint32_t exitCode) {
  // Never the VM itself nor the system's own processes, as on POSIX: the
  // program that wants to end ends on its own.
  const DWORD id = ::GetProcessId(H(process));
  if (id != 0 && (id == ::GetCurrentProcessId() || id <= 4)) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return false;
  }
  return ::TerminateProcess(H(process), exitCode) != 0;
}

void CloseProcess(ProcessHandle process) {
  if (process) ::CloseHandle(H(process));
}

bool ProcessSnapshot(std::vector<ProcessEntry>* processes, bool) {
  processes->clear();
  ToolHelp tools;
  return tools.Processes(processes, true);
}

bool ModuleSnapshot(uint32_t processId, std::vector<ModuleEntry>* modules) {
  modules->clear();
  ToolHelp tools;
  return tools.Modules(processId, modules);
}

bool EnumProcessModules(ProcessHandle process, std::vector<std::u16string>* paths) {
  paths->clear();
  const HMODULE psapi = ::LoadLibraryW(L"psapi.dll");
  if (!psapi) return false;
  using EnumFn = BOOL(WINAPI*)(HANDLE, HMODULE*, DWORD, DWORD*);
  using NameFn = DWORD(WINAPI*)(HANDLE, HMODULE, wchar_t*, DWORD);
  const auto enumerate =
      reinterpret_cast<EnumFn>(reinterpret_cast<void*>(::GetProcAddress(psapi, "EnumProcessModules")));
  const auto name = reinterpret_cast<NameFn>(reinterpret_cast<void*>(::GetProcAddress(psapi, "GetModuleFileNameExW")));
  bool ok = false;
  if (enumerate && name) {
    HMODULE modules[kMaxModules];
    DWORD needed = 0;
    if (enumerate(H(process), modules, sizeof modules, &needed)) {
      ok = true;
      const DWORD count = std::min<DWORD>(needed / sizeof(HMODULE), kMaxModules);
      for (DWORD i = 0; i < count; ++i) {
        wchar_t file[MAX_PATH];
        if (name(H(process), modules[i], file, MAX_PATH)) paths->push_back(U(file));
      }
    }
  } else {
    ::SetLastError(win32::kCallNotImplemented);
  }
  const DWORD error = ::GetLastError();
  ::FreeLibrary(psapi);
  ::SetLastError(error);
  return ok;
}

bool ModulesByEnumeration() {
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof info;
  return ::GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

uint32_t CurrentProcessId() { return ::GetCurrentProcessId(); }

uint32_t ParentProcessId() {
  std::vector<ProcessEntry> all;
  ToolHelp tools;
  if (!tools.Processes(&all, false)) return 0;
  const DWORD self = ::GetCurrentProcessId();
  for (const auto& p : all)
    if (p.processId == self) return p.parentId;
  return 0;
}

uint32_t CurrentThreadId() { return ::GetCurrentThreadId(); }

std::u16string OwnModuleFile() {
  wchar_t file[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, file, MAX_PATH);
  return U(file);
}

std::u16string OwnCommandLine() { return U(::GetCommandLineW()); }

std::u16string UpdaterDirectory() {
  std::u16string own = OwnModuleFile();
  const size_t slash = own.find_last_of(u"\\/");
  return slash == own.npos ? std::u16string() : own.substr(0, slash);
}

bool PumpPaintMessage() {
  MSG message;
  if (!::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) return false;
  if (message.message == WM_PAINT) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  return true;
}

void Sleep(uint32_t milliseconds) { ::Sleep(milliseconds); }

uint32_t ShellExecute(std::u16string_view file, std::u16string_view verb, std::u16string_view directory) {
  std::wstring f, v, d;
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  info.fMask = SEE_MASK_FLAG_NO_UI;
  info.lpFile = W(file, &f);
  info.lpVerb = verb.empty() ? nullptr : W(verb, &v);
  info.lpDirectory = directory.empty() ? nullptr : W(directory, &d);
  info.nShow = SW_SHOWNORMAL;
  ::ShellExecuteExW(&info);
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(info.hInstApp));
}

}  // namespace kp::platform::proc
