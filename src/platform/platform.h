// kp160std — the seam to the operating system.
//
// The only code that touches the operating system is behind this header:
// posix/ for Linux and other POSIX systems, win32/ for Windows. Both speak
// Win32 semantics and Win32 error numbers (win32_errors.h), because those are
// the numbers KL programs see and test. A call that fails sets the
// thread's last error, as on Windows, and returns its failure value.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::platform {

// --- errors ---------------------------------------------------------------
uint32_t LastError();
void SetLastError(uint32_t code);
// The system's text for a Win32 error code in the given language (12 French,
// anything else English); empty when the system has none.
std::u16string SystemErrorText(uint32_t code, int32_t languageCode);

// --- modules --------------------------------------------------------------
// An export of a loaded module (a handle as the VM passes it); null when the
// module or the export is missing.
void* FindSymbol(uintptr_t module, const char* name);

// --- clock ----------------------------------------------------------------
struct SystemTime {
  uint16_t year = 0;
  uint16_t month = 0;  // 1..12
  uint16_t dayOfWeek = 0;  // 0 = Sunday, as the system gives it
  uint16_t day = 0;
  uint16_t hour = 0;
  uint16_t minute = 0;
  uint16_t second = 0;
  uint16_t milliseconds = 0;
};

// The device's local time. On POSIX the device clock is the host clock plus
// an offset kept in the device prefix, so that setting it needs no privilege.
SystemTime GetLocalTime();
bool SetLocalTime(const SystemTime& time);
// Milliseconds since an arbitrary start, wrapping at 2^32.
uint32_t TickCount();

}  // namespace kp::platform
