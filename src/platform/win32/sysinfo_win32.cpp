// kp160std — the device's self-description on Windows (see
// platform/sysinfo.h): the real calls. Every service a device may lack is
// looked up by name in its library ("coredll.dll", "cellcore.dll",
// "note_prj.dll", and the desktop's own where a device has none), so that its
// absence gives an empty answer rather than a library that does not load.
// Every library loaded here is released before the call returns.
#include "platform/win32/windows_api.h"

#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"
#include "platform/win32/device_win32.h"
#include "platform/win32_errors.h"

namespace kp::platform::sys {

namespace {

// A library loaded for one call.
class Library {
 public:
  explicit Library(const wchar_t* name) : module_(::LoadLibraryW(name)) {}
  ~Library() {
    if (module_) ::FreeLibrary(module_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  explicit operator bool() const { return module_ != nullptr; }
  template <typename Fn>
  Fn Find(const char* name) const {
    return module_ ? reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(module_, name))) : nullptr;
  }

 private:
  HMODULE module_;
};

bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

std::u16string U16(const wchar_t* s) {
  std::u16string out;
  if (s)
    for (; *s; ++s) out.push_back(static_cast<char16_t>(*s));
  return out;
}

std::wstring W(const std::u16string& s) { return std::wstring(s.begin(), s.end()); }

// The system parameter request of the platform type text.
constexpr UINT kGetPlatformType = 257;
constexpr UINT kPlatformTypeChars = 64;

// KernelIoControl requests: the device identifier and a restart.
constexpr DWORD kIoctlHalGetDeviceId = 0x01010054;
constexpr DWORD kIoctlHalReboot = 0x0101003C;
// SetSystemPowerState's states and its force flag.
constexpr DWORD kPowerStateSuspend = 0x00200000;
constexpr DWORD kPowerStateReset = 0x00800000;
constexpr DWORD kPowerForce = 0x00001000;

using KernelIoControlFn = BOOL(WINAPI*)(DWORD, void*, DWORD, void*, DWORD, DWORD*);

}  // namespace

bool GetVersion(Version* version) {
  *version = Version{};
  OSVERSIONINFOEXW info{};
  info.dwOSVersionInfoSize = sizeof info;
  if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) {
    // A system that knows only the short record.
    info.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
    if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) return Fail(::GetLastError());
  }
  version->platformId = info.dwPlatformId;
  version->major = info.dwMajorVersion;
  version->minor = info.dwMinorVersion;
  version->build = info.dwBuildNumber;
  version->servicePack = U16(info.szCSDVersion);
  version->suiteMask = info.wSuiteMask;
  using IsWow64Fn = BOOL(WINAPI*)(HANDLE, BOOL*);
  const Library kernel(L"kernel32.dll");
  if (const auto isWow64 = kernel.Find<IsWow64Fn>("IsWow64Process")) {
    BOOL emulated = FALSE;
    if (isWow64(::GetCurrentProcess(), &emulated)) version->emulated64 = emulated != FALSE;
  }
  return true;
}

bool GetPlatformType(std::u16string* text) {
  text->clear();
  wchar_t buffer[kPlatformTypeChars] = {};
  if (!::SystemParametersInfoW(kGetPlatformType, kPlatformTypeChars, buffer, 0)) return Fail(::GetLastError());
  buffer[kPlatformTypeChars - 1] = 0;
  *text = U16(buffer);
  return true;
}

std::u16string SpecialFolderPath(int32_t folderId) {
  using ShellFolderFn = BOOL(WINAPI*)(HWND, wchar_t*, int, BOOL);
  // A device's shell lives in coredll; the desktop's in shell32.
  for (const wchar_t* name : {L"coredll.dll", L"shell32.dll"}) {
    const Library library(name);
    const auto get = library.Find<ShellFolderFn>("SHGetSpecialFolderPathW");
    if (!get) continue;
    wchar_t path[MAX_PATH + 1] = {};
    if (!get(nullptr, path, folderId, FALSE)) return {};
    path[MAX_PATH - 1] = 0;
    return U16(path);
  }
  return {};
}

bool GetMemory(uint64_t* available, uint64_t* total) {
  *available = *total = 0;
  using StatusExFn = BOOL(WINAPI*)(MEMORYSTATUSEX*);
  const Library kernel(L"kernel32.dll");
  if (const auto statusEx = kernel.Find<StatusExFn>("GlobalMemoryStatusEx")) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!statusEx(&status)) return Fail(::GetLastError());
    *available = status.ullAvailPhys;
    *total = status.ullTotalPhys;
    return true;
  }
  MEMORYSTATUS status{};
  status.dwLength = sizeof status;
  ::GlobalMemoryStatus(&status);
  *available = status.dwAvailPhys;
  *total = status.dwTotalPhys;
  return true;
}

bool GetStorage(uint64_t* free, uint64_t* total) {
  *free = *total = 0;
  // A device's object store.
  struct StoreInformation {
    DWORD storeSize;
    DWORD freeSize;
  };
  using StoreFn = BOOL(WINAPI*)(StoreInformation*);
  {
    const Library core(L"coredll.dll");
    if (const auto store = core.Find<StoreFn>("GetStoreInformation")) {
      StoreInformation info{};
      if (!store(&info)) return Fail(::GetLastError());
      *free = info.freeSize;
      *total = info.storeSize;
      return true;
    }
  }
  // The desktop: the drive the system lives on.
  wchar_t directory[MAX_PATH + 1] = {};
  const UINT n = ::GetWindowsDirectoryW(directory, MAX_PATH);
  if (n == 0 || n > MAX_PATH) return Fail(::GetLastError());
  std::wstring root(directory, directory + (n >= 3 ? 3 : n));
  ULARGE_INTEGER callerFree{}, size{}, allFree{};
  if (!::GetDiskFreeSpaceExW(root.c_str(), &callerFree, &size, &allFree)) return Fail(::GetLastError());
  *free = callerFree.QuadPart;
  *total = size.QuadPart;
  return true;
}

bool GetModuleFile(uintptr_t module, std::u16string* path) {
  path->clear();
  if (module == 0) return Fail(kErrorModNotFound);
  wchar_t file[MAX_PATH + 1] = {};
  const DWORD n = ::GetModuleFileNameW(reinterpret_cast<HMODULE>(module), file, MAX_PATH);
  if (n == 0) return Fail(::GetLastError());
  file[MAX_PATH] = 0;
  *path = U16(file);
  return true;
}

bool GetDeviceId(std::vector<uint8_t>* bytes) {
  bytes->clear();
  const Library core(L"coredll.dll");
  const auto control = core.Find<KernelIoControlFn>("KernelIoControl");
  if (!control) return true;  // no identifier service: an empty answer
  // The record: its size, then where the preset and the platform parts of
  // the identifier lie in it and their lengths.
  struct DeviceIdHeader {
    DWORD size;
    DWORD presetOffset;
    DWORD presetBytes;
    DWORD platformOffset;
    DWORD platformBytes;
  };
  DeviceIdHeader header{sizeof(DeviceIdHeader), 0, 0, 0, 0};
  DWORD returned = 0;
  std::vector<uint8_t> buffer(sizeof header);
  std::memcpy(buffer.data(), &header, sizeof header);
  if (!control(kIoctlHalGetDeviceId, nullptr, 0, buffer.data(), static_cast<DWORD>(buffer.size()), &returned)) {
    const DWORD error = ::GetLastError();
    std::memcpy(&header, buffer.data(), sizeof header);
    constexpr DWORD kMaxRecord = 4096;
    if (error != win32::kInsufficientBuffer || header.size <= sizeof header || header.size > kMaxRecord)
      return Fail(error);
    buffer.assign(header.size, 0);
    std::memcpy(buffer.data(), &header, sizeof header);
    if (!control(kIoctlHalGetDeviceId, nullptr, 0, buffer.data(), static_cast<DWORD>(buffer.size()), &returned))
      return Fail(::GetLastError());
  }
  std::memcpy(&header, buffer.data(), sizeof header);
  auto append = [&](DWORD offset, DWORD count) {
    if (offset > buffer.size() || count > buffer.size() - offset) return false;
    bytes->insert(bytes->end(), buffer.begin() + offset, buffer.begin() + offset + count);
    return true;
  };
  if (!append(header.presetOffset, header.presetBytes) || !append(header.platformOffset, header.platformBytes)) {
    bytes->clear();
    return Fail(kErrorInvalidData);
  }
  return true;
}

std::u16string GetImei() {
  // Telephony records, as far as these calls read them.
  struct LineInitializeExParams {
    DWORD totalSize, neededSize, usedSize, options;
    HANDLE event;
    DWORD completionKey;
  };
  struct LineGeneralInfo {
    DWORD totalSize, neededSize, usedSize;
    DWORD manufacturerSize, manufacturerOffset, modelSize, modelOffset, revisionSize, revisionOffset;
    DWORD serialNumberSize, serialNumberOffset, subscriberNumberSize, subscriberNumberOffset;
  };
  using HLineApp = DWORD;
  using HLine = DWORD;
  using InitializeFn =
      LONG(WINAPI*)(HLineApp*, HINSTANCE, void*, const wchar_t*, DWORD*, DWORD*, LineInitializeExParams*);
  using NegotiateApiFn = LONG(WINAPI*)(HLineApp, DWORD, DWORD, DWORD, DWORD*, void*);
  using OpenFn = LONG(WINAPI*)(HLineApp, DWORD, HLine*, DWORD, DWORD, DWORD_PTR, DWORD, DWORD, void*);
  using NegotiateExtFn = LONG(WINAPI*)(HLineApp, DWORD, DWORD, DWORD, DWORD, DWORD*);
  using GeneralInfoFn = LONG(WINAPI*)(HLine, LineGeneralInfo*);
  using CloseFn = LONG(WINAPI*)(HLine);
  using ShutdownFn = LONG(WINAPI*)(HLineApp);
  constexpr DWORD kUseEvent = 3;  // completions through an event, no window
  constexpr DWORD kApiVersion = 0x00020000;
  constexpr DWORD kExtVersion = 0x00010000;
  constexpr DWORD kPrivilegeNone = 1;
  constexpr DWORD kMediaInteractiveVoice = 4;

  const Library cell(L"cellcore.dll");
  const auto generalInfo = cell.Find<GeneralInfoFn>("lineGetGeneralInfo");
  if (!generalInfo) return {};
  // The telephony calls live in coredll on a device, in cellcore beside it
  // on some.
  const Library core(L"coredll.dll");
  auto find = [&](const char* name) -> void* {
    void* f = core.Find<void*>(name);
    return f ? f : cell.Find<void*>(name);
  };
  const auto initialize = reinterpret_cast<InitializeFn>(find("lineInitializeEx"));
  const auto negotiateApi = reinterpret_cast<NegotiateApiFn>(find("lineNegotiateAPIVersion"));
  const auto open = reinterpret_cast<OpenFn>(find("lineOpen"));
  const auto negotiateExt = reinterpret_cast<NegotiateExtFn>(find("lineNegotiateExtVersion"));
  const auto close = reinterpret_cast<CloseFn>(find("lineClose"));
  const auto shutdown = reinterpret_cast<ShutdownFn>(find("lineShutdown"));
  if (!initialize || !negotiateApi || !open || !negotiateExt || !close || !shutdown) return {};

  HLineApp app = 0;
  DWORD devices = 0, apiVersion = kApiVersion;
  LineInitializeExParams params{};
  params.totalSize = sizeof params;
  params.options = kUseEvent;
  if (initialize(&app, ::GetModuleHandleW(nullptr), nullptr, L"IMEIApp", &devices, &apiVersion, &params) != 0)
    return {};
  std::u16string imei;
  for (DWORD device = 0; device < devices && imei.empty(); ++device) {
    DWORD version = 0;
    uint8_t extensionId[16] = {};
    if (negotiateApi(app, device, kApiVersion, kApiVersion, &version, extensionId) != 0) continue;
    // The extension version first: the line is opened with it.
    DWORD extVersion = 0;
    if (negotiateExt(app, device, version, kExtVersion, kExtVersion, &extVersion) != 0) continue;
    HLine line = 0;
    if (open(app, device, &line, version, extVersion, 0, kPrivilegeNone, kMediaInteractiveVoice, nullptr) != 0)
      continue;
    std::vector<uint8_t> buffer(1024);
    auto* info = reinterpret_cast<LineGeneralInfo*>(buffer.data());
    info->totalSize = static_cast<DWORD>(buffer.size());
    LONG rc = generalInfo(line, info);
    constexpr DWORD kMaxInfo = 65536;
    if (rc == 0 && info->neededSize > info->totalSize && info->neededSize <= kMaxInfo) {
      buffer.assign(info->neededSize, 0);
      info = reinterpret_cast<LineGeneralInfo*>(buffer.data());
      info->totalSize = static_cast<DWORD>(buffer.size());
      rc = generalInfo(line, info);
    }
    if (rc == 0 && info->serialNumberSize > 0 && info->serialNumberOffset <= buffer.size() &&
        info->serialNumberSize <= buffer.size() - info->serialNumberOffset) {
      const auto* text = reinterpret_cast<const char16_t*>(buffer.data() + info->serialNumberOffset);
      imei.assign(text, info->serialNumberSize / sizeof(char16_t));
      const size_t end = imei.find(u'\0');
      if (end != std::u16string::npos) imei.resize(end);
    }
    close(line);
  }
  shutdown(app);
  return imei;
}

std::vector<std::u16string> GetStorageCards() {
  std::vector<std::u16string> cards;
  using FirstFn = HANDLE(WINAPI*)(WIN32_FIND_DATAW*);
  using NextFn = BOOL(WINAPI*)(HANDLE, WIN32_FIND_DATAW*);
  const Library project(L"note_prj.dll");
  const auto first = project.Find<FirstFn>("FindFirstFlashCard");
  const auto next = project.Find<NextFn>("FindNextFlashCard");
  if (!first || !next) return cards;
  WIN32_FIND_DATAW data{};
  const HANDLE find = first(&data);
  if (find == INVALID_HANDLE_VALUE) return cards;
  do {
    // The object store itself is listed with an empty name.
    if (data.cFileName[0]) cards.push_back(u"\\" + U16(data.cFileName));
  } while (next(find, &data));
  ::FindClose(find);
  return cards;
}

bool Shutdown(int32_t mode) {
  using PowerOffFn = void(WINAPI*)();
  using PowerStateFn = DWORD(WINAPI*)(const wchar_t*, DWORD, DWORD);
  if (mode != kShutdownLogoff && mode != kShutdownPowerOff && mode != kShutdownReboot)
    return Fail(win32::kNotSupported);
  const Library core(L"coredll.dll");
  if (core) {
    // A device: no session to end; off is the window system's power-off
    // (or a forced suspend), a restart goes through the power manager or
    // the kernel.
    if (mode == kShutdownLogoff) return Fail(win32::kNotSupported);
    const auto state = core.Find<PowerStateFn>("SetSystemPowerState");
    if (mode == kShutdownPowerOff) {
      if (const auto off = core.Find<PowerOffFn>("GwesPowerOffSystem")) {
        off();
        return true;
      }
      if (!state) return Fail(win32::kNotSupported);
      const DWORD rc = state(nullptr, kPowerStateSuspend, kPowerForce);
      return rc == 0 ? true : Fail(rc);
    }
    if (state && state(nullptr, kPowerStateReset, kPowerForce) == 0) return true;
    const auto control = core.Find<KernelIoControlFn>("KernelIoControl");
    if (!control) return Fail(win32::kNotSupported);
    DWORD returned = 0;
    return control(kIoctlHalReboot, nullptr, 0, nullptr, 0, &returned) ? true : Fail(::GetLastError());
  }
  // The desktop: the system refuses unless the process holds the shutdown
  // privilege (1314), which is never taken here.
  using ExitFn = BOOL(WINAPI*)(UINT, DWORD);
  const Library user(L"user32.dll");
  const auto exitWindows = user.Find<ExitFn>("ExitWindowsEx");
  if (!exitWindows) return Fail(win32::kNotSupported);
  constexpr UINT kLogoff = 0, kReboot = 2, kPowerOff = 8;
  const UINT how = mode == kShutdownLogoff ? kLogoff : mode == kShutdownReboot ? kReboot : kPowerOff;
  return exitWindows(how, 0) ? true : Fail(::GetLastError());
}

void BroadcastSettingChange() {
  using SendFn = LRESULT(WINAPI*)(HWND, UINT, WPARAM, LPARAM, UINT, UINT, DWORD_PTR*);
  constexpr UINT kSettingChange = 26;
  constexpr UINT kAbortIfHung = 2, kTimeoutMs = 1000;
  const Library user(L"user32.dll");
  // A window that hangs must not hang the program: the broadcast gives up
  // on it.
  if (const auto send = user.Find<SendFn>("SendMessageTimeoutW")) {
    DWORD_PTR ignored = 0;
    send(HWND_BROADCAST, kSettingChange, 0, 0, kAbortIfHung, kTimeoutMs, &ignored);
  }
}

// With a device prefix the registry is the device's own, made empty: it
// gets the power settings a Pocket PC starts with, as on POSIX (GWES powers
// off after 3 minutes on battery and 5 on external power; the power
// manager's time-outs beside them). Without one the machine's keys are read
// as they are.
void EnsureDeviceProfile() {
  if (win32dev::FilePrefix().empty()) return;
  struct PowerDefault {
    std::u16string_view key, name;
    uint32_t value;
  };
  constexpr std::u16string_view kPower = u"SYSTEM\\CurrentControlSet\\Control\\Power";
  constexpr std::u16string_view kTimeouts = u"SYSTEM\\CurrentControlSet\\Control\\Power\\Timeouts";
  constexpr PowerDefault kDefaults[] = {
      {kPower, u"DisableGwesPowerOff", 0},     {kPower, u"BattPowerOff", 180},
      {kPower, u"ExtPowerOff", 300},           {kTimeouts, u"BattSuspendTimeout", 180},
      {kTimeouts, u"ACSuspendTimeout", 300},
  };
  for (std::u16string_view path : {kPower, kTimeouts}) {
    reg::KeyHolder key;
    uint32_t disposition = 0;
    if (reg::CreateKey(reg::kLocalMachine, path, reg::kAllAccess, key.out(), &disposition) != 0 ||
        disposition != reg::kCreatedNewKey)
      continue;
    for (const PowerDefault& d : kDefaults)
      if (d.key == path)
        reg::SetValue(key.get(), d.name, reg::kDword, reinterpret_cast<const uint8_t*>(&d.value), sizeof d.value);
  }
}

bool ConnectNetworkDrive(const std::u16string& local, const std::u16string& remote, const std::u16string& user,
                         const std::u16string& password) {
  // The network resource record of WNetAddConnection2W.
  struct NetResource {
    DWORD scope, type, displayType, usage;
    wchar_t* localName;
    wchar_t* remoteName;
    wchar_t* comment;
    wchar_t* provider;
  };
  using AddFn = DWORD(WINAPI*)(NetResource*, const wchar_t*, const wchar_t*, DWORD);
  constexpr DWORD kResourceTypeDisk = 1;
  AddFn add = nullptr;
  const Library core(L"coredll.dll");
  const Library mpr(L"mpr.dll");
  add = core.Find<AddFn>("WNetAddConnection2W");
  if (!add) add = mpr.Find<AddFn>("WNetAddConnection2W");
  if (!add) return Fail(win32::kNotSupported);
  std::wstring localName = W(local), remoteName = W(remote), userName = W(user), pass = W(password);
  NetResource resource{};
  resource.type = kResourceTypeDisk;
  resource.localName = local.empty() ? nullptr : localName.data();
  resource.remoteName = remoteName.data();
  const DWORD rc =
      add(&resource, password.empty() ? nullptr : pass.c_str(), user.empty() ? nullptr : userName.c_str(), 0);
  return rc == 0 ? true : Fail(rc);
}

}  // namespace kp::platform::sys
