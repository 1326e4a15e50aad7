// kp160std — the Win32 backend: the device is the machine itself.
#include <windows.h>

#include <string>

#include "platform/platform.h"

namespace kp::platform {

uint32_t LastError() { return ::GetLastError(); }
void SetLastError(uint32_t code) { ::SetLastError(code); }

std::u16string SystemErrorText(uint32_t code, int32_t languageCode) {
  const DWORD language = languageCode == 12 ? MAKELANGID(LANG_FRENCH, SUBLANG_DEFAULT) : MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT);
  wchar_t* text = nullptr;
  DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr, code, language, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  if (n == 0)
    n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  if (n == 0 || !text) return {};
  std::u16string out(reinterpret_cast<const char16_t*>(text), n);
  LocalFree(text);
  while (!out.empty() && (out.back() == u'\n' || out.back() == u'\r')) out.pop_back();
  return out;
}

void* FindSymbol(uintptr_t module, const char* name) {
  if (!module || !name) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

SystemTime GetLocalTime() {
  SYSTEMTIME st;
  ::GetLocalTime(&st);
  return {st.wYear, st.wMonth, st.wDayOfWeek, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds};
}

bool SetLocalTime(const SystemTime& t) {
  SYSTEMTIME st{t.year, t.month, t.dayOfWeek, t.day, t.hour, t.minute, t.second, t.milliseconds};
  return ::SetLocalTime(&st) != 0;
}

uint32_t TickCount() { return ::GetTickCount(); }

}  // namespace kp::platform
