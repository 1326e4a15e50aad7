// kp160std — the system information and power functions of KL:
// SysVersionWindows (and VersionWindows), SysRep, SysEspace, SysNomExe,
// SysMiseEnVeille, SysIMEI, SysNumSérie, SysRepCarteStockage, SysArrête and
// RéseauConnecte.
//
// The device is reached through platform/sysinfo.h (on POSIX, the device
// profile of docs/sysinfo.md), the power settings through the registry seam
// and the named event through platform/named_objects.h. What is here is what
// KL programs see: the version labels, the folder table and its fall-backs,
// the power keys' walk, the lists' layout and the errors. Failures return
// the ordinary failure value (an empty text, 0, -1 or false) with the error
// recorded. Stateless: any thread may call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::system {

// SysVersionWindows kinds.
constexpr int32_t sysVersionName = 0, sysVersionNumber = 1, sysVersionBuild = 2, sysVersionPlatform = 3,
                  sysVersionInfo = 4, sysVersionBitness = 5;
// SysRep's default kind (srWindows) and the number of kinds.
constexpr int32_t srWindows = 1;
constexpr int32_t kFolderKinds = 30;
// SysEspace kinds.
constexpr int32_t sysFreeProgramSpace = 1, sysProgramSpace = 2, sysFreeStorageSpace = 3, sysStorageSpace = 4;
// SysMiseEnVeille power sources, and the time-out that only reads.
constexpr int32_t sysBattery = 1, sysMainsPower = 2;
constexpr int32_t kStandbyReadOnly = -10;

// The registry walk of SysMiseEnVeille, under HKEY_LOCAL_MACHINE.
inline constexpr std::u16string_view kPowerKey = u"SYSTEM\\CurrentControlSet\\Control\\Power";
inline constexpr std::u16string_view kPowerTimeoutsKey = u"SYSTEM\\CurrentControlSet\\Control\\Power\\Timeouts";
inline constexpr std::u16string_view kReloadTimeoutsEvent = u"PowerManager/ReloadActivityTimeouts";

// The label of a version record for kind 0 ("CE 6.5", "CE 6", "CE 5",
// "CE 4", "CE 3", or empty off the CE platform).
std::u16string VersionLabel(uint32_t platformId, uint32_t major, uint32_t minor, uint32_t build);

std::u16string WindowsVersion(ExecContext* context, int32_t kind);
// The folder's path; with `create`, missing directories of it are made.
std::u16string SpecialFolder(ExecContext* context, int32_t kind, bool create);
// The folder identifier the shell is asked for, -1 for a kind out of range.
int32_t FolderIdOf(int32_t kind);
// A 64-bit count of bytes; 0 on failure.
Value Space(ExecContext* context, int32_t kind);
// The path of the module, empty for 0 or a handle that names no module.
std::u16string ModuleFile(ExecContext* context, int32_t module);
// The time-out before the change, in seconds, or -1.
int32_t Standby(ExecContext* context, int32_t powerSource, int32_t timeout);
std::u16string Imei(ExecContext* context);
std::u16string SerialNumber(ExecContext* context);
// The storage cards' directories, one a line ("\Storage Card").
std::u16string StorageCards(ExecContext* context);
// Modes: 1 power off, 2 restart (0, ending the session, where the platform
// offers it).
bool Shutdown(ExecContext* context, int32_t mode);
bool NetworkConnect(ExecContext* context, std::u16string_view local, std::u16string_view remote,
                    std::u16string_view user, std::u16string_view password);

}  // namespace kp::system
