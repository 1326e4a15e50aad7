// kp160std — the clipboard on Windows (see platform/clipboard.h): the real
// API with no owner window, Unicode text (CF_UNICODETEXT) only.
//
// Another program may hold the clipboard open for a moment: opening is
// tried a few times before it fails with the system's error.
#include "platform/win32/windows_api.h"

#include <cstring>
#include <string>
#include <string_view>

#include "platform/clipboard.h"
#include "platform/common/clipboard_image.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::platform::clipboard {
namespace {

class Open {
 public:
  Open() {
    for (int attempt = 0; attempt < 10 && !ok_; ++attempt) {
      ok_ = OpenClipboard(nullptr) != 0;
      if (!ok_) Sleep(10);
    }
  }
  ~Open() {
    if (ok_) {
      const DWORD error = GetLastError();  // closing must not hide the call's error
      CloseClipboard();
      ::SetLastError(error);
    }
  }
  Open(const Open&) = delete;
  Open& operator=(const Open&) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
};

// Empties the clipboard and hands it `size` bytes (at least one zero
// character) as Unicode text.
bool Put(const void* data, size_t size) {
  const size_t room = size < 2 ? 2 : size;
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, room);
  if (!block) return false;
  void* p = GlobalLock(block);
  if (!p) {
    GlobalFree(block);
    return false;
  }
  if (size) std::memcpy(p, data, size);
  GlobalUnlock(block);
  Open open;
  if (!open.ok() || !EmptyClipboard() || !SetClipboardData(CF_UNICODETEXT, block)) {
    const DWORD error = GetLastError();
    GlobalFree(block);  // still ours: the clipboard did not take it
    ::SetLastError(error ? error : win32::kGenFailure);
    return false;
  }
  return true;
}

}  // namespace

bool GetText(std::u16string* text) {
  text->clear();
  if (!IsClipboardFormatAvailable(CF_UNICODETEXT)) return true;
  Open open;
  if (!open.ok()) return false;
  HANDLE data = GetClipboardData(CF_UNICODETEXT);
  if (!data) return false;
  const auto* p = static_cast<const char16_t*>(GlobalLock(data));
  if (!p) return false;
  // The text ends at its zero, and never past the block.
  const size_t units = GlobalSize(data) / sizeof(char16_t);
  size_t n = 0;
  while (n < units && p[n]) ++n;
  text->assign(p, n);
  GlobalUnlock(data);
  return true;
}

bool SetText(std::u16string_view text) {
  const std::u16string terminated(text);
  return Put(terminated.c_str(), (terminated.size() + 1) * sizeof(char16_t));
}

bool SetBytes(std::span<const uint8_t> bytes) { return Put(bytes.data(), bytes.size()); }

bool HasFormat(int32_t format) {
  ::SetLastError(0);
  return format > 0 && IsClipboardFormatAvailable(static_cast<UINT>(format));
}

bool ImageSize(int32_t* width, int32_t* height) {
  *width = *height = 0;
  if (!IsClipboardFormatAvailable(CF_DIB)) return true;
  Open open;
  if (!open.ok()) return false;
  HANDLE data = GetClipboardData(CF_DIB);
  if (!data) return false;
  const auto* p = static_cast<const uint8_t*>(GlobalLock(data));
  if (!p) return false;
  ReadDibSize(std::string_view(reinterpret_cast<const char*>(p), GlobalSize(data)), width, height);
  GlobalUnlock(data);
  return true;
}

// Windows' own clipboard has no transfer to time.
void SetTimeout(uint32_t) {}

}  // namespace kp::platform::clipboard
