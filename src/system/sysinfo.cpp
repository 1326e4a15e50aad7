// kp160std — the system information and power functions of KL (see
// system/sysinfo.h).
#include "system/sysinfo.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "platform/filesystem.h"
#include "platform/named_objects.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"
#include "platform/win32_errors.h"

namespace kp::system {

namespace sys = platform::sys;
namespace reg = platform::reg;

namespace {

// The first build of the last device generation: 5.2 from it on is "CE 6.5".
constexpr uint32_t kFirstBuild65 = 21043;

std::u16string Ascii(const char* s) { return std::u16string(s, s + std::char_traits<char>::length(s)); }

std::u16string Number(uint32_t n) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%u", n);
  return Ascii(buffer);
}

struct FolderRow {
  int32_t folderId;
  std::u16string_view fallBack;
};
// By kind: the shell's folder identifier, and what to answer when the shell
// gives nothing. The "common" kinds of the first pairs ask for their
// per-user twin's folder: the device has one user.
constexpr FolderRow kFolderTable[kFolderKinds] = {
    {36, u"\\Windows"},        // srSystème
    {36, u"\\Windows"},        // srWindows
    {11, u""},                 // srDémarrer
    {11, u""},                 // srDémarrerCommun
    {2, u""},                  // srProgrammes
    {2, u""},                  // srProgrammesCommun
    {6, u""},                  // srFavoris
    {6, u""},                  // srFavorisCommun
    {7, u""},                  // srDémarrage
    {7, u""},                  // srDémarrageCommun
    {9, u""},                  // srEnvoyerVers
    {16, u""},                 // srBureau
    {16, u""},                 // srBureauCommun
    {48, u""},                 // srOutilsAdmin
    {47, u""},                 // srOutilsAdminCommun
    {26, u""},                 // srAppData
    {35, u""},                 // srAppDataCommun
    {28, u""},                 // srAppDataLocal
    {5, u""},                  // srMesDocuments
    {46, u""},                 // srMesDocumentsCommun
    {39, u""},                 // srMesImages
    {21, u""},                 // srModèles
    {45, u""},                 // srModèlesCommun
    {40, u""},                 // srProfile
    {8, u""},                  // srRécent
    {20, u""},                 // srFontes
    {33, u""},                 // srCookies
    {32, u""},                 // srCacheInternet
    {38, u"\\Program Files"},  // srProgramFiles
    {43, u"\\Program Files"},  // srProgramFilesCommun
};

// Makes every missing directory of an absolute device path.
bool MakeDirectories(const std::u16string& path) {
  constexpr uint32_t kInvalidAttributes = 0xFFFFFFFF, kDirectoryAttribute = 0x10;
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at != path.size() && path[at] != u'\\' && path[at] != u'/') continue;
    const std::u16string part = path.substr(0, at);
    const uint32_t attributes = platform::fs::GetFileAttributes(part);
    if (attributes != kInvalidAttributes) {
      if (!(attributes & kDirectoryAttribute)) {
        platform::SetLastError(win32::kAlreadyExists);
        return false;
      }
      continue;
    }
    if (!platform::fs::CreateDirectory(part)) return false;
  }
  return true;
}

// A DWORD value; a value of another type or size is taken as a damaged
// setting (13), never read as a number.
uint32_t ReadDword(reg::HKey key, std::u16string_view name, uint32_t* value) {
  uint32_t type = 0;
  uint8_t bytes[8] = {};
  uint32_t size = sizeof bytes;
  const uint32_t rc = reg::QueryValue(key, name, &type, bytes, &size);
  if (rc == win32::kMoreData) return sys::kErrorInvalidData;
  if (rc != 0) return rc;
  if (type != reg::kDword || size != sizeof(uint32_t)) return sys::kErrorInvalidData;
  std::memcpy(value, bytes, sizeof *value);
  return 0;
}

int32_t StandbyFailed(ExecContext* context, uint32_t code) {
  SetSystemError(context, code);
  return -1;
}

}  // namespace

std::u16string VersionLabel(uint32_t platformId, uint32_t major, uint32_t minor, uint32_t build) {
  if (platformId != sys::kPlatformWin32Ce) return {};
  if (major < 4) return u"CE 3";
  if (major == 4) return u"CE 4";
  // Kept as the device generations were told apart: beyond 5 the major
  // version is not looked at.
  if (minor == 2 && build >= kFirstBuild65) return u"CE 6.5";
  if (minor < 2) return u"CE 5";
  return u"CE 6";
}

std::u16string WindowsVersion(ExecContext* context, int32_t kind) {
  if (kind < sysVersionName || kind > sysVersionBitness) {
    Raise(context, kErrUnknownWindowsVersionKind, {kind});
    return {};
  }
  if (kind == sysVersionBitness) return u"32";
  if (kind == sysVersionPlatform) {
    std::u16string text;
    if (sys::GetPlatformType(&text)) return text;
    // A device that keeps its type to itself is a smartphone.
    return platform::LastError() == win32::kAccessDenied ? u"Smartphone" : u"";
  }
  sys::Version v;
  if (!sys::GetVersion(&v)) return {};
  switch (kind) {
    case sysVersionName: return VersionLabel(v.platformId, v.major, v.minor, v.build);
    case sysVersionNumber: return Number(v.major) + u"." + Number(v.minor);
    case sysVersionBuild: return Number(v.build);
    default: break;
  }
  std::u16string info = v.servicePack;
  if (v.platformId == sys::kPlatformWin32Nt && v.major >= 5) {
    if (!info.empty()) info += u",";
    info += (v.suiteMask & sys::kSuitePersonal) ? u"Home Edition" : u"Pro";
    if (v.emulated64) info += u",64";
  }
  return info;
}

int32_t FolderIdOf(int32_t kind) { return kind < 0 || kind >= kFolderKinds ? -1 : kFolderTable[kind].folderId; }

std::u16string SpecialFolder(ExecContext* context, int32_t kind, bool create) {
  if (kind < 0 || kind >= kFolderKinds) return {};
  const FolderRow& row = kFolderTable[kind];
  std::u16string path = sys::SpecialFolderPath(row.folderId);
  if (path.empty()) path = row.fallBack;
  if (create && !path.empty() && !MakeDirectories(path)) {
    SetSystemError(context, platform::LastError());
    return {};
  }
  return path;
}

Value Space(ExecContext* context, int32_t kind) {
  uint64_t available = 0, total = 0;
  bool ok = false;
  switch (kind) {
    case sysFreeProgramSpace:
    case sysProgramSpace: ok = sys::GetMemory(&available, &total); break;
    case sysFreeStorageSpace:
    case sysStorageSpace: ok = sys::GetStorage(&available, &total); break;
    default: Raise(context, kErrSysSpaceValueUnsupported, {kind}); return int64_t{0};
  }
  if (!ok) {
    SetSystemError(context, platform::LastError());
    return int64_t{0};
  }
  const uint64_t bytes = kind == sysFreeProgramSpace || kind == sysFreeStorageSpace ? available : total;
  return static_cast<int64_t>(bytes > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : bytes);
}

std::u16string ModuleFile(ExecContext* context, int32_t module) {
  if (module == 0) return {};
  std::u16string path;
  // The VM's integers hold a handle's 32 bits: the seam matches them.
  if (!sys::GetModuleFile(static_cast<uint32_t>(module), &path)) {
    SetSystemError(context, platform::LastError());
    return {};
  }
  return path;
}

int32_t Standby(ExecContext* context, int32_t powerSource, int32_t timeout) {
  if (powerSource != sysBattery && powerSource != sysMainsPower) {
    Raise(context, kErrSysSpaceValueUnsupported, {powerSource});
    return -1;
  }
  if (timeout < 0 && timeout != kStandbyReadOnly) {
    Raise(context, kErrSysSpaceValueUnsupported, {timeout});
    return -1;
  }
  const bool write = timeout != kStandbyReadOnly;
  sys::EnsureDeviceProfile();
  const uint32_t access = write ? reg::kQueryValue | reg::kSetValue : reg::kQueryValue;
  reg::KeyHolder power;
  uint32_t rc = reg::OpenKey(reg::kLocalMachine, kPowerKey, access, power.out());
  if (rc != 0) return StandbyFailed(context, rc);
  uint32_t powerManagerOwns = 0;
  if ((rc = ReadDword(power.get(), u"DisableGwesPowerOff", &powerManagerOwns)) != 0) return StandbyFailed(context, rc);
  // With the power manager in charge its own time-outs count; otherwise the
  // window system's, in the Power key itself.
  reg::KeyHolder timeouts;
  reg::HKey key = power.get();
  std::u16string_view name;
  if (powerManagerOwns) {
    rc = reg::OpenKey(reg::kLocalMachine, kPowerTimeoutsKey, access, timeouts.out());
    if (rc != 0) return StandbyFailed(context, rc);
    key = timeouts.get();
    name = powerSource == sysBattery ? u"BattSuspendTimeout" : u"ACSuspendTimeout";
  } else {
    name = powerSource == sysBattery ? u"BattPowerOff" : u"ExtPowerOff";
  }
  uint32_t previous = 0;
  if ((rc = ReadDword(key, name, &previous)) != 0) return StandbyFailed(context, rc);
  if (write) {
    const uint32_t value = static_cast<uint32_t>(timeout);
    rc = reg::SetValue(key, name, reg::kDword, reinterpret_cast<const uint8_t*>(&value), sizeof value);
    if (rc != 0) return StandbyFailed(context, rc);
    sys::BroadcastSettingChange();
    // The power manager waits on this event to read its time-outs again.
    namespace named = platform::named;
    const named::Handle event = named::CreateEvent(kReloadTimeoutsEvent, false, false);
    if (event == named::kNoHandle) return StandbyFailed(context, platform::LastError());
    const bool set = named::SetEvent(event);
    const uint32_t setError = set ? 0 : platform::LastError();
    named::CloseHandle(event);
    if (!set) return StandbyFailed(context, setError);
  }
  return static_cast<int32_t>(previous);
}

std::u16string Imei(ExecContext*) { return sys::GetImei(); }

std::u16string SerialNumber(ExecContext* context) {
  std::vector<uint8_t> bytes;
  if (!sys::GetDeviceId(&bytes)) {
    RaiseSystem(context, kErrSerialNumberUnavailable, platform::LastError());
    return {};
  }
  std::u16string text;
  for (uint8_t b : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", b);
    text += Ascii(pair);
  }
  return text;
}

std::u16string StorageCards(ExecContext*) {
  std::u16string list;
  for (const auto& card : sys::GetStorageCards()) {
    if (!list.empty()) list += u"\r\n";
    list += card;
  }
  return list;
}

bool Shutdown(ExecContext* context, int32_t mode) {
  if (sys::Shutdown(mode)) return true;
  RaiseSystem(context, kErrShutdownRefused, platform::LastError(), {mode});
  return false;
}

bool NetworkConnect(ExecContext* context, std::u16string_view local, std::u16string_view remote,
                    std::u16string_view user, std::u16string_view password) {
  if (sys::ConnectNetworkDrive(std::u16string(local), std::u16string(remote), std::u16string(user),
                               std::u16string(password)))
    return true;
  SetSystemError(context, platform::LastError());
  return false;
}

}  // namespace kp::system
