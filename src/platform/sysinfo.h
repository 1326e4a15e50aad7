// kp160std — what the device says about itself: its system version, its
// special folders, memory and storage space, its modules' files, its
// identifiers and storage cards, and the power calls.
//
// On Windows (win32/sysinfo_win32.cpp) every answer is the system's own:
// GetVersionExW, the shell's special-folder service, GlobalMemoryStatusEx,
// the storage of the system drive, GetModuleFileNameW, and the device
// services looked up by name in their libraries ("coredll.dll",
// "cellcore.dll", "note_prj.dll"), whose absence gives an empty answer.
//
// On POSIX (posix/sysinfo.cpp) the device is described by a profile kept in
// the device registry (docs/sysinfo.md lists the keys), filled with the
// defaults of a handheld the first time it is needed and editable as any
// registry key. With KP_SYSINFO=host, or the profile's DWORD
// "AnswerFromHost" set to 1, the version and the device identifier come from
// the host instead (uname, /etc/machine-id). Memory and storage space are
// always the host's (/proc/meminfo, statvfs of the device root): a program
// that checks for room must see the real room.
//
// Calls that fail return their failure value and set the last error
// (platform::LastError) to a Win32 number. Thread-safety: every function may
// be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kp::platform::sys {

// Win32 numbers these calls give that the other seams do not use.
constexpr uint32_t kErrorInvalidData = 13;
constexpr uint32_t kErrorModNotFound = 126;

// The platform families of the version record.
constexpr uint32_t kPlatformWin32Nt = 2;
constexpr uint32_t kPlatformWin32Ce = 3;

// The suite-mask bit of the desktop's home edition.
constexpr uint32_t kSuitePersonal = 0x200;

struct Version {
  uint32_t platformId = 0;
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t build = 0;
  std::u16string servicePack;
  uint32_t suiteMask = 0;
  // A 32-bit process on a 64-bit system.
  bool emulated64 = false;
};
// The version record (GetVersionExW). false with the last error set.
bool GetVersion(Version* version);

// The platform type text (SystemParametersInfoW request 257, at most 64
// characters). false with the last error set; 5 (access denied) is what a
// device that keeps the text to itself answers.
bool GetPlatformType(std::u16string* text);

// The shell's path of a special folder by its identifier; empty when the
// shell has none (the caller's fall-back applies).
std::u16string SpecialFolderPath(int32_t folderId);

// Physical memory in bytes. false with the last error set.
bool GetMemory(uint64_t* available, uint64_t* total);
// The storage that holds the device's files (the object store of a device),
// in bytes: free for the caller, and total. false with the last error set.
bool GetStorage(uint64_t* free, uint64_t* total);

// The file of a loaded module by its handle (as the VM and FindSymbol know
// module handles; 0 is not one). false with 126 for a handle that names no
// module.
bool GetModuleFile(uintptr_t module, std::u16string* path);

// The device identifier's bytes. false with the last error set; an empty
// identifier with true when the device has no identifier service.
bool GetDeviceId(std::vector<uint8_t>* bytes);

// The telephony serial number (IMEI); empty when the device has no cellular
// line or no telephony service.
std::u16string GetImei();

// The storage cards' directories ("\Storage Card"), in the order the
// device lists them; empty when there is none or no card service.
std::vector<std::u16string> GetStorageCards();

// Shutdown modes (the KL constants' values).
constexpr int32_t kShutdownLogoff = 0;
constexpr int32_t kShutdownPowerOff = 1;
constexpr int32_t kShutdownReboot = 2;
// Powers the device off, restarts it or ends the session. false with the
// last error set when the system refuses or cannot (50 for a mode this
// platform does not offer). On POSIX the host's login manager is asked over
// D-Bus, which refuses unless the user is allowed; the POSIX backend never
// ends a session.
bool Shutdown(int32_t mode);

// Tells every top-level window that a system setting changed (message 26);
// nothing on POSIX, which has no windows of its own.
void BroadcastSettingChange();

// Fills the POSIX device profile, when it is missing, with the defaults
// (nothing on Windows). Callers that read the profile's keys through the
// registry themselves call it first.
void EnsureDeviceProfile();

// Connects the network share `remote` as `local` (a drive name, or empty
// for a connection without one). false with the last error set; POSIX has
// no such service (50).
bool ConnectNetworkDrive(const std::u16string& local, const std::u16string& remote, const std::u16string& user,
                         const std::u16string& password);

}  // namespace kp::platform::sys
