// kp160std — the program's notification icon, in the platform's notification
// area.
//
// X11: the freedesktop system-tray protocol. The icon is a window of a
// connection of its own, docked into the owner of _NET_SYSTEM_TRAY_S<screen>
// (SYSTEM_TRAY_REQUEST_DOCK, then XEmbed); a thread serves that connection:
// it draws the image at the size the tray gives, reports the clicks, and
// docks the icon again into a tray that starts after it. The tooltip is the
// window's name (WM_NAME and _NET_WM_NAME), which tray hosts show.
// Windows: Shell_NotifyIconW with a hidden message window served by a thread
// of its own.
//
// Thread-safety: Add, Modify and Remove may be called from any thread, one
// at a time; the handler runs on the icon's thread and must not call them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kp::platform::tray {

// Pixels 0xAARRGGBB, not premultiplied, row after row from the top.
struct Image {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> argb;
};

enum Event : int32_t { kLeftClick = 0, kRightClick = 1, kDoubleClick = 2, kMiddleClick = 3, kPointerOver = 4 };
constexpr int32_t kEventCount = 5;
using Handler = std::function<void(Event)>;

// Shows the icon; false with the last error: 1167 without a display, 1168
// when no notification area runs, 87 for an empty image.
bool Add(const Image& image, std::u16string_view tooltip, Handler handler);
// Changes what is given (null leaves it); false with 1168 without an icon.
bool Modify(const Image* image, const std::u16string* tooltip);
// Removes the icon; false with 1168 without one.
bool Remove();
// The window of the icon (an X window id, or the message window's handle);
// 0 without an icon.
uint64_t IconWindow();

}  // namespace kp::platform::tray
