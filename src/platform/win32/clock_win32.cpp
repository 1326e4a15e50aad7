// kp160std — the device clock on Windows.
//
// As on POSIX, the device clock is the system clock plus an offset in
// milliseconds kept in the device directory, so that a KL program (or a
// test) sets the date and time without privileges and without moving the
// machine's clock. KP_REAL_CLOCK=1 makes SetLocalTime set the machine's
// clock instead (it needs the privilege to change the system time).
#include "platform/win32/windows_api.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/platform.h"
#include "platform/win32/device_win32.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

std::wstring OffsetPath() { return win32dev::StateDirectory() + L"\\clock-offset"; }

int64_t ReadOffset() {
  FILE* f = _wfopen(OffsetPath().c_str(), L"r");
  if (!f) return 0;
  long long v = 0;
  if (std::fscanf(f, "%lld", &v) != 1) v = 0;
  std::fclose(f);
  return v;
}

bool WriteOffset(int64_t offset) {
  const std::wstring path = OffsetPath();
  const std::wstring temp = path + L".tmp." + std::to_wstring(GetCurrentProcessId());
  FILE* f = _wfopen(temp.c_str(), L"w");
  if (!f) return false;
  const bool ok = std::fprintf(f, "%lld\n", static_cast<long long>(offset)) > 0;
  if (std::fclose(f) != 0 || !ok) {
    DeleteFileW(temp.c_str());
    return false;
  }
  return MoveFileExW(temp.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;  // whole for readers
}

bool RealClock() {
  const char* v = std::getenv("KP_REAL_CLOCK");
  return v && v[0] == '1';
}

// 100-nanosecond units since 1601, universal time.
int64_t HostFileTime() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>((static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime);
}

}  // namespace

SystemTime GetLocalTime() {
  const int64_t ticks = HostFileTime() + ReadOffset() * 10000;
  FILETIME universal{static_cast<DWORD>(ticks), static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32)};
  SYSTEMTIME utc, st;
  if (!FileTimeToSystemTime(&universal, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &st))
    ::GetLocalTime(&st);
  return {st.wYear, st.wMonth, st.wDayOfWeek, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds};
}

bool SetLocalTime(const SystemTime& t) {
  SYSTEMTIME st{t.year, t.month, t.dayOfWeek, t.day, t.hour, t.minute, t.second, t.milliseconds};
  if (RealClock()) return ::SetLocalTime(&st) != 0;
  // What SetLocalTime refuses (no such date, before 1601) is refused alike.
  SYSTEMTIME utc;
  FILETIME wanted;
  if (t.milliseconds > 999 || !TzSpecificLocalTimeToSystemTime(nullptr, &st, &utc) ||
      !SystemTimeToFileTime(&utc, &wanted)) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  const int64_t target = static_cast<int64_t>((static_cast<uint64_t>(wanted.dwHighDateTime) << 32) | wanted.dwLowDateTime);
  // Rounded up to the millisecond: a read right after the change never gives
  // a time before the one set (10:30:00 read back as 10:29:59.999).
  const int64_t ticks = target - HostFileTime();
  const int64_t offset = ticks / 10000 + (ticks % 10000 > 0 ? 1 : 0);
  if (!win32dev::EnsureStateDirectory() || !WriteOffset(offset)) {
    SetLastError(win32::kAccessDenied);
    return false;
  }
  return true;
}

uint32_t TickCount() { return ::GetTickCount(); }

}  // namespace kp::platform
