// kp160std — the desktop, in Win32 terms: the screen (size, depth, count,
// metrics, orientation), top-level windows (find by title, the active one,
// title, show state, validity), the keyboard's state and synthetic keyboard
// and mouse input.
//
// Calls follow the Win32 API they are named after: a failure returns the
// failure value and sets the thread's last error (platform::LastError) to a
// Win32 number: 1400 for a handle that names no window, 87 for an argument
// out of range, kNoDisplay when there is no display to talk to.
//
// On POSIX (posix/display_x11.cpp) the desktop is the X display named by
// $DISPLAY, opened by the first call that needs it and kept for the life of
// the process; window handles are X window identifiers, which fit the 32-bit
// handle. Input goes through XTest, orientation through RandR. An X error
// never ends the process: the backend's error handler turns it into the Win32
// code of the failing call. On Windows (win32/display_win32.cpp) the calls go
// to the real API.
//
// Thread-safety: every function may be called from any thread; the X backend
// serialises its calls on one lock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::platform::display {

using Window = uint32_t;
constexpr Window kNoWindow = 0;

// ERROR_DEVICE_NOT_CONNECTED: no display could be opened.
constexpr uint32_t kNoDisplay = 1167;

// True when a display can be reached (opening it on first use).
bool Available();

// --- the screen -------------------------------------------------------------
// GetSystemMetrics for the indices this desktop can answer (screen and
// virtual-screen sizes, monitors, mouse buttons, borders, ...). 0 with the
// last error 87 for an index it does not know, kNoDisplay without a display.
int32_t GetSystemMetrics(int32_t index);
constexpr int32_t kSmCxScreen = 0;
constexpr int32_t kSmCyScreen = 1;
constexpr int32_t kSmCMonitors = 80;

// Bits per pixel of the screen (GetDeviceCaps BITSPIXEL); 0 on failure.
int32_t ColorDepth();

// The orientation as the handheld's display driver numbers it: 0, 1 (90
// degrees), 2 (180), 4 (270).
constexpr int32_t kOrient0 = 0, kOrient90 = 1, kOrient180 = 2, kOrient270 = 4;
// false with the last error set when the orientation cannot be read.
bool GetOrientation(int32_t* orientation);
// Whether the display would accept the orientation (the test flag of
// ChangeDisplaySettingsEx): true when it would.
bool TestOrientation(int32_t orientation);
// Applies it; false with the last error set.
bool SetOrientation(int32_t orientation);

// --- windows ----------------------------------------------------------------
// The first window whose title is `title` (exact, case-sensitive, as
// FindWindow); kNoWindow with the last error 1400 when there is none.
Window FindWindow(std::u16string_view title);
// The window that has the keyboard (GetForegroundWindow); kNoWindow when none.
Window GetActiveWindow();
// Raises the window and gives it the focus; false with the last error set.
bool SetForegroundWindow(Window window);
bool IsWindow(Window window);
bool GetWindowText(Window window, std::u16string* title);
bool SetWindowText(Window window, std::u16string_view title);
// ShowWindow: nonzero when the window was visible before. Modes 0 (hide) to
// 11 (force minimise) as Win32 numbers them; 0 with the last error 87 for
// another mode, 1400 for a handle that names no window.
int32_t ShowWindow(Window window, int32_t mode);
// Asks the window to paint itself again at once (RedrawWindow with
// invalidate and update-now; an exposure of the whole window on X).
bool RedrawWindow(Window window);
// Client coordinates to screen coordinates; false with the last error set.
bool ClientToScreen(Window window, int32_t* x, int32_t* y);
// The instance (module) a window belongs to; 0 with the last error set. On X
// there are no module instances: the answer is the owner's process id, as
// the window announces it (_NET_WM_PID), 0 when it does not.
uint32_t WindowInstance(Window window);
// The calling program's own instance: its module handle on Windows, its
// process id on POSIX (the same numbering as WindowInstance).
uint32_t OwnInstance();

// --- keyboard and mouse -----------------------------------------------------
// GetAsyncKeyState: the high bit (the value negative) while the key is down.
// 0 with the last error 87 for a virtual key outside 0-255.
int16_t GetAsyncKeyState(int32_t virtualKey);
// VkKeyScan: virtual key in the low byte, shift state (1 Shift, 2 Ctrl,
// 4 Alt) in the high byte, -1 when no key types the character.
int16_t VkKeyScan(char16_t c);

// One synthetic input record, laid out as the platform's record reads
// (keyboard: vk, scan, flags; mouse: x and y normalised to 0..65535, flags),
// with `time` already absolute (a tick count) or 0.
struct Input {
  uint32_t type = 1;  // 0 mouse, 1 keyboard
  uint16_t vk = 0;
  uint16_t scan = 0;
  int32_t x = 0;
  int32_t y = 0;
  uint32_t flags = 0;
  uint32_t time = 0;
};
// SendInput with one record: true when it was inserted; false with the last
// error set (5 when the desktop refuses synthetic input).
bool SendInput(const Input& input);
// Dispatches every message pending for the calling thread (its own windows
// answer before another window is brought forward). Nothing to do on X,
// where the library owns no window.
void PumpMessages();
// Waits up to `milliseconds` for the target to have handled what was sent
// (the X server to have processed every request; on Windows the message
// pump of the calling thread). True when something was handled before the
// time ran out.
bool WaitForInputIdle(uint32_t milliseconds);

// --- text -------------------------------------------------------------------
// A font as "name[,size]": a family name and a size in pixels (the em
// height), as "DejaVu Sans,12". An empty text, an empty name or no size take
// the default's part.
constexpr std::u16string_view kDefaultFontName = u"Tahoma";
constexpr int32_t kDefaultFontSize = 12;
// The size of `text` on one line in that font, in pixels, as
// GetTextExtentPoint32 gives it: the sum of the advances (with the font's
// kerning) and the font's height (ascent plus descent). POSIX sums unhinted
// advances and rounds once, as a layout with sub-pixel positions does. On POSIX the font is
// the one fontconfig matches for the name, measured with FreeType; a name
// fontconfig does not know gets its substitute, as any X program gets it.
// false with the last error set (87 for a size outside 1-1000).
bool MeasureText(std::u16string_view text, std::u16string_view font, int32_t* width, int32_t* height);

}  // namespace kp::platform::display
