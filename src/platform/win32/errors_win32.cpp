// kp160std — last error and system error texts on Windows: the thread's own
// last error and FormatMessageW's texts.
#include "platform/win32/windows_api.h"

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

}  // namespace kp::platform
