// kp160std — the program's notification icon, in the platform's notification
// area: only what the system does. Which icon is shown, when it is shown
// again and which click runs what are the desktop family's (desktop/tray.h).
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
// Thread-safety: an Icon's Change may be called from any thread, one at a
// time; the handler runs on the icon's thread and must not destroy the Icon.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kp::platform::tray {

// Pixels 0xAARRGGBB, not premultiplied, row after row from the top. Where
// the build has no PNG decoder (Windows) a PNG image is handed on as the
// file's bytes in `png`, for the system to decode; `argb` is then empty and
// the size is the file's.
struct Image {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> argb;
  std::vector<uint8_t> png;
};

enum Event : int32_t { kLeftClick = 0, kRightClick = 1, kDoubleClick = 2, kMiddleClick = 3, kPointerOver = 4 };
constexpr int32_t kEventCount = 5;
using Handler = std::function<void(Event)>;

// One icon shown; destroying it removes the icon and waits for its thread.
class Icon {
 public:
  virtual ~Icon() = default;
  // Hands a new image and/or tooltip (null leaves it) to the icon's thread.
  virtual void Change(const Image* image, const std::u16string* tooltip) = 0;
  // Its display server went away: the icon can no longer be shown.
  virtual bool Broken() const = 0;
  // The window of the icon (an X window id, or the message window's handle).
  virtual uint64_t Window() const = 0;
};

// Shows an icon (the image not empty); null with the last error: 1167
// without a display, 1168 when no notification area runs.
std::unique_ptr<Icon> Show(const Image& image, std::u16string_view tooltip, Handler handler);

}  // namespace kp::platform::tray
