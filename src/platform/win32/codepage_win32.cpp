// kp160std — the ANSI code page on Windows: the system's conversions.
#include "platform/win32/windows_api.h"

#include <cstdlib>
#include <string>

#include "platform/codepage.h"

namespace kp::platform {

uint32_t AnsiCodePage() {
  if (const char* v = std::getenv("KP_CODEPAGE"); v && *v) {
    const unsigned long n = std::strtoul(v, nullptr, 10);
    if (n > 0 && n < 65536) return static_cast<uint32_t>(n);
  }
  return ::GetACP();
}

std::string ToCodePage(std::u16string_view text, uint32_t codePage) {
  if (text.empty()) return {};
  const auto* w = reinterpret_cast<const wchar_t*>(text.data());
  const int n = WideCharToMultiByte(codePage, 0, w, static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(n > 0 ? n : 0), '\0');
  if (n > 0) WideCharToMultiByte(codePage, 0, w, static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
  return out;
}

std::u16string FromCodePage(std::string_view bytes, uint32_t codePage) {
  if (bytes.empty()) return {};
  const int n = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  std::u16string out(static_cast<size_t>(n > 0 ? n : 0), u'\0');
  if (n > 0)
    MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()),
                        reinterpret_cast<wchar_t*>(out.data()), n);
  // Windows-1252 leaves five bytes undefined and the system gives them as the
  // C1 controls of the same number; they read as U+FFFD, as on POSIX. One byte
  // is one unit in this code page, so the positions match.
  if (codePage == 1252 && out.size() == bytes.size())
    for (char16_t& c : out)
      if (c == 0x81 || c == 0x8D || c == 0x8F || c == 0x90 || c == 0x9D) c = u'\uFFFD';
  return out;
}

}  // namespace kp::platform
