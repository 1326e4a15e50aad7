// kp160std — the desktop on Windows (see platform/display.h): the real API.
//
// ChangeDisplaySettingsEx is looked up by name ("coredll.dll" on a device,
// "user32.dll" on the desktop), so that a system without it still loads the
// library and only the orientation calls fail. The handheld's orientation
// numbers (0, 1, 2, 4) are the desktop's 0, 1, 2, 3.
#include "platform/win32/windows_api.h"

#include <string>

#include "platform/display.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::platform::display {
namespace {

HWND H(Window w) { return reinterpret_cast<HWND>(static_cast<uintptr_t>(w)); }
Window W(HWND h) { return static_cast<Window>(reinterpret_cast<uintptr_t>(h)); }

const wchar_t* Wide(std::u16string_view s, std::wstring* keep) {
  keep->assign(s.begin(), s.end());
  return keep->c_str();
}

using ChangeDisplaySettingsExFn = LONG(WINAPI*)(LPCWSTR, DEVMODEW*, HWND, DWORD, LPVOID);

ChangeDisplaySettingsExFn ChangeSettings() {
  static const ChangeDisplaySettingsExFn fn = [] {
    HMODULE m = GetModuleHandleW(L"coredll.dll");
    if (!m) m = GetModuleHandleW(L"user32.dll");
    FARPROC p = m ? GetProcAddress(m, "ChangeDisplaySettingsExW") : nullptr;
    if (!p && m) p = GetProcAddress(m, "ChangeDisplaySettingsEx");
    return reinterpret_cast<ChangeDisplaySettingsExFn>(reinterpret_cast<void*>(p));
  }();
  return fn;
}

int DesktopOrientation(int32_t orientation) {
  switch (orientation) {
    case kOrient0: return DMDO_DEFAULT;
    case kOrient90: return DMDO_90;
    case kOrient180: return DMDO_180;
    case kOrient270: return DMDO_270;
    default: return -1;
  }
}

// The current mode with the orientation asked for (width and height swapped
// when the turn is a quarter).
bool ModeFor(int32_t orientation, DEVMODEW* mode) {
  const int wanted = DesktopOrientation(orientation);
  if (wanted < 0) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  ZeroMemory(mode, sizeof *mode);
  mode->dmSize = sizeof *mode;
  if (!EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, mode)) return false;
  const bool quarter = (int(mode->dmDisplayOrientation) & 1) != (wanted & 1);
  if (quarter) std::swap(mode->dmPelsWidth, mode->dmPelsHeight);
  mode->dmDisplayOrientation = DWORD(wanted);
  mode->dmFields = DM_DISPLAYORIENTATION | DM_PELSWIDTH | DM_PELSHEIGHT;
  return true;
}

}  // namespace

bool Available() { return GetDesktopWindow() != nullptr; }

int32_t GetSystemMetrics(int32_t index) {
  // Indices Windows knows; another one answers 0 without telling why.
  if (index < 0 || (index > 99 && index < 0x1000) || index > 0x2011) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  return ::GetSystemMetrics(index);
}

int32_t ColorDepth() {
  HDC dc = GetDC(nullptr);
  if (!dc) return 0;
  const int bits = GetDeviceCaps(dc, BITSPIXEL) * GetDeviceCaps(dc, PLANES);
  ReleaseDC(nullptr, dc);
  return bits;
}

bool GetOrientation(int32_t* orientation) {
  DEVMODEW mode{};
  mode.dmSize = sizeof mode;
  if (!EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode)) {
    SetLastError(win32::kNotSupported);
    return false;
  }
  static constexpr int32_t kCe[] = {kOrient0, kOrient90, kOrient180, kOrient270};
  *orientation = kCe[mode.dmDisplayOrientation & 3];
  return true;
}

bool TestOrientation(int32_t orientation) {
  const auto change = ChangeSettings();
  DEVMODEW mode;
  if (!change) {
    SetLastError(win32::kCallNotImplemented);
    return false;
  }
  if (!ModeFor(orientation, &mode)) return false;
  if (change(nullptr, &mode, nullptr, CDS_TEST, nullptr) == DISP_CHANGE_SUCCESSFUL) return true;
  SetLastError(win32::kNotSupported);
  return false;
}

bool SetOrientation(int32_t orientation) {
  const auto change = ChangeSettings();
  DEVMODEW mode;
  if (!change) {
    SetLastError(win32::kCallNotImplemented);
    return false;
  }
  if (!ModeFor(orientation, &mode)) return false;
  if (change(nullptr, &mode, nullptr, 0, nullptr) == DISP_CHANGE_SUCCESSFUL) return true;
  SetLastError(win32::kNotSupported);
  return false;
}

Window FindWindow(std::u16string_view title) {
  std::wstring keep;
  HWND h = FindWindowW(nullptr, Wide(title, &keep));
  if (!h) SetLastError(win32::kInvalidWindowHandle);
  return W(h);
}

Window GetActiveWindow() { return W(GetForegroundWindow()); }

bool SetForegroundWindow(Window window) {
  if (!::IsWindow(H(window))) {
    SetLastError(win32::kInvalidWindowHandle);
    return false;
  }
  if (!::SetForegroundWindow(H(window))) return false;
  SetFocus(H(window));
  return true;
}

bool IsWindow(Window window) {
  if (::IsWindow(H(window))) return true;
  SetLastError(win32::kInvalidWindowHandle);
  return false;
}

bool GetWindowText(Window window, std::u16string* title) {
  if (!IsWindow(window)) return false;
  const int length = GetWindowTextLengthW(H(window));
  std::wstring text(size_t(length) + 1, L'\0');
  const int got = GetWindowTextW(H(window), text.data(), length + 1);
  title->assign(text.begin(), text.begin() + got);
  return true;
}

bool SetWindowText(Window window, std::u16string_view title) {
  if (!IsWindow(window)) return false;
  std::wstring keep;
  return SetWindowTextW(H(window), Wide(title, &keep)) != 0;
}

int32_t ShowWindow(Window window, int32_t mode) {
  if (mode < 0 || mode > 11) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  if (!IsWindow(window)) return 0;
  return ::ShowWindow(H(window), mode);
}

bool RedrawWindow(Window window) {
  if (!IsWindow(window)) return false;
  return ::RedrawWindow(H(window), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN) != 0;
}

bool ClientToScreen(Window window, int32_t* x, int32_t* y) {
  if (!IsWindow(window)) return false;
  POINT p{LONG(*x), LONG(*y)};
  if (!::ClientToScreen(H(window), &p)) return false;
  *x = p.x;
  *y = p.y;
  return true;
}

uint32_t WindowInstance(Window window) {
  if (!IsWindow(window)) return 0;
  return uint32_t(GetWindowLongPtrW(H(window), GWLP_HINSTANCE));
}

uint32_t OwnInstance() { return uint32_t(reinterpret_cast<uintptr_t>(GetModuleHandleW(nullptr))); }

int16_t GetAsyncKeyState(int32_t virtualKey) {
  if (virtualKey < 0 || virtualKey > 255) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  return ::GetAsyncKeyState(virtualKey);
}

int16_t VkKeyScan(char16_t c) { return VkKeyScanW(wchar_t(c)); }

bool SendInput(const Input& input) {
  INPUT record{};
  record.type = input.type;
  if (input.type == INPUT_KEYBOARD) {
    record.ki.wVk = input.vk;
    record.ki.wScan = input.scan;
    // The handheld's character flags (8 down, 10 up) are the desktop's
    // KEYEVENTF_UNICODE (4), with KEYEVENTF_KEYUP (2) for the up.
    DWORD flags = input.flags;
    if (flags & 8) flags = KEYEVENTF_UNICODE | (flags & KEYEVENTF_KEYUP);
    record.ki.dwFlags = flags;
    record.ki.time = input.time;
  } else if (input.type == INPUT_MOUSE) {
    record.mi.dx = input.x;
    record.mi.dy = input.y;
    record.mi.dwFlags = input.flags;
    record.mi.time = input.time;
  } else {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  return ::SendInput(1, &record, sizeof record) == 1;
}

void PumpMessages() {
  MSG msg;
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
}

bool WaitForInputIdle(uint32_t milliseconds) {
  // Let the target react: wait for input or messages, dispatch what came
  // (stopping at a paint message), at most ten rounds.
  DWORD wait = MsgWaitForMultipleObjectsEx(0, nullptr, milliseconds, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  bool handled = false;
  for (int round = 0; round < 10 && wait != WAIT_TIMEOUT; ++round) {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
      handled = true;
      TranslateMessage(&msg);
      DispatchMessageW(&msg);
      if (msg.message == WM_PAINT) break;
    }
    wait = MsgWaitForMultipleObjectsEx(0, nullptr, 1000, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  }
  return handled;
}

bool MeasureText(std::u16string_view text, std::u16string_view font, int32_t* width, int32_t* height) {
  std::u16string name(kDefaultFontName);
  int32_t size = kDefaultFontSize;
  const size_t comma = font.find(u',');
  std::u16string_view n = font.substr(0, comma);
  while (!n.empty() && n.front() == u' ') n.remove_prefix(1);
  while (!n.empty() && n.back() == u' ') n.remove_suffix(1);
  if (!n.empty()) name.assign(n);
  if (comma != std::u16string_view::npos) {
    std::u16string_view z = font.substr(comma + 1);
    while (!z.empty() && z.front() == u' ') z.remove_prefix(1);
    while (!z.empty() && z.back() == u' ') z.remove_suffix(1);
    if (!z.empty()) {
      size = 0;
      for (char16_t c : z) {
        if (c < u'0' || c > u'9' || size > 100000) {
          SetLastError(win32::kInvalidParameter);
          return false;
        }
        size = size * 10 + (c - u'0');
      }
    }
  }
  if (size < 1 || size > 1000 || name.size() >= LF_FACESIZE) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  HDC dc = GetDC(nullptr);
  if (!dc) return false;
  std::wstring face(name.begin(), name.end());
  // A negative height asks for the em height in pixels, as the POSIX side measures.
  HFONT f = CreateFontW(-size, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                        CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH, face.c_str());
  bool ok = false;
  if (f) {
    HGDIOBJ old = SelectObject(dc, f);
    SIZE extent{};
    std::wstring keep(text.begin(), text.end());
    ok = GetTextExtentPoint32W(dc, keep.c_str(), int(keep.size()), &extent) != 0;
    if (ok) {
      *width = extent.cx;
      *height = extent.cy;
    }
    SelectObject(dc, old);
    DeleteObject(f);
  }
  ReleaseDC(nullptr, dc);
  return ok;
}

}  // namespace kp::platform::display
