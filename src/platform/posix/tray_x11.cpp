// kp160std — the notification icon on X11: a window docked into the
// freedesktop system tray (XEmbed), on a connection of its own served by one
// thread. The program's thread hands changes over through a pipe that wakes
// the thread; only that thread touches the connection once it runs.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/codepage.h"
#include "platform/platform.h"
#include "platform/posix/x11_errors.h"
#include "platform/tray.h"
#include "platform/win32_errors.h"

namespace kp::platform::tray {
namespace {

constexpr uint32_t kNoDisplay = 1167;
constexpr uint32_t kNoTray = 1168;
constexpr long kRequestDock = 0;
constexpr long kXEmbedMapped = 1;
constexpr auto kDoubleClickTime = std::chrono::milliseconds(400);
constexpr auto kTipDelay = std::chrono::milliseconds(500);

std::string Utf8(std::u16string_view text) { return ToCodePage(text, kCodePageUtf8); }

// Back to UTF-16 for the core font's 16-bit drawing: the BMP only, a
// character beyond it shown as U+FFFD.
std::u16string Utf16(const std::string& text) {
  std::u16string out = FromCodePage(text, kCodePageUtf8);
  for (size_t i = 0; i < out.size(); ++i)
    if (out[i] >= 0xd800 && out[i] < 0xe000) {
      const bool pair = out[i] < 0xdc00 && i + 1 < out.size() && out[i + 1] >= 0xdc00 && out[i + 1] < 0xe000;
      out.replace(i, pair ? 2 : 1, 1, u'\ufffd');
    }
  return out;
}

// X errors on our connection (a tray that goes away while we talk to it)
// must not end the process: the shared handlers (platform/posix/x11_errors.h)
// drop them, and mark the connection dead when it breaks.
void IgnoreXError(void*, const XErrorEvent&) {}

// Box-filtered scale of the image into w x h, kept square and centred;
// premultiplied on the way so that transparent pixels do not darken edges.
std::vector<uint32_t> Scale(const Image& image, int w, int h) {
  std::vector<uint32_t> out(static_cast<size_t>(w) * h, 0);
  if (image.width <= 0 || image.height <= 0) return out;
  const int side = std::min(w, h);
  const double sx = static_cast<double>(image.width) / side, sy = static_cast<double>(image.height) / side;
  const int ox = (w - side) / 2, oy = (h - side) / 2;
  for (int y = 0; y < side; ++y) {
    const int y0 = static_cast<int>(y * sy), y1 = std::max(y0 + 1, static_cast<int>((y + 1) * sy));
    for (int x = 0; x < side; ++x) {
      const int x0 = static_cast<int>(x * sx), x1 = std::max(x0 + 1, static_cast<int>((x + 1) * sx));
      uint64_t a = 0, r = 0, g = 0, b = 0, n = 0;
      for (int yy = y0; yy < y1 && yy < image.height; ++yy)
        for (int xx = x0; xx < x1 && xx < image.width; ++xx) {
          const uint32_t p = image.argb[static_cast<size_t>(yy) * image.width + xx];
          const uint32_t pa = p >> 24;
          a += pa, r += (p >> 16 & 0xff) * pa, g += (p >> 8 & 0xff) * pa, b += (p & 0xff) * pa, ++n;
        }
      if (!n || !a) continue;
      out[static_cast<size_t>(y + oy) * w + x + ox] = static_cast<uint32_t>(a / n) << 24 |
                                                      static_cast<uint32_t>(r / a) << 16 |
                                                      static_cast<uint32_t>(g / a) << 8 | static_cast<uint32_t>(b / a);
    }
  }
  return out;
}

int Shift(unsigned long mask) {
  int s = 0;
  while (mask && !(mask & 1)) mask >>= 1, ++s;
  return s;
}

class X11Icon final : public Icon {
 public:
  ~X11Icon() override { Stop(); }

  bool Start(const Image& image, std::u16string_view tooltip, Handler handler) {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
      SetLastError(kNoDisplay);
      return false;
    }
    d_ = XOpenDisplay(name);
    if (!d_) {
      SetLastError(kNoDisplay);
      return false;
    }
    x11::Watch(d_, {this, IgnoreXError, [](void* self) { static_cast<X11Icon*>(self)->dead_ = true; }});
    const int screen = DefaultScreen(d_);
    root_ = RootWindow(d_, screen);
    selection_ = XInternAtom(d_, ("_NET_SYSTEM_TRAY_S" + std::to_string(screen)).c_str(), False);
    opcode_ = XInternAtom(d_, "_NET_SYSTEM_TRAY_OPCODE", False);
    manager_atom_ = XInternAtom(d_, "MANAGER", False);
    utf8_ = XInternAtom(d_, "UTF8_STRING", False);
    net_name_ = XInternAtom(d_, "_NET_WM_NAME", False);
    xembed_info_ = XInternAtom(d_, "_XEMBED_INFO", False);
    XGrabServer(d_);  // the owner cannot go between the look-up and the watch
    manager_ = XGetSelectionOwner(d_, selection_);
    if (manager_) XSelectInput(d_, manager_, StructureNotifyMask);
    XUngrabServer(d_);
    XSelectInput(d_, root_, StructureNotifyMask);  // MANAGER: a tray that starts later
    if (!manager_) {
      Close();
      SetLastError(kNoTray);
      return false;
    }
    image_ = image;
    handler_ = std::move(handler);
    XSetWindowAttributes a{};
    a.background_pixmap = ParentRelative;
    a.event_mask = ExposureMask | StructureNotifyMask | ButtonPressMask | EnterWindowMask | LeaveWindowMask;
    window_ = XCreateWindow(d_, root_, 0, 0, 22, 22, 0, CopyFromParent, InputOutput, CopyFromParent,
                            CWBackPixmap | CWEventMask, &a);
    XClassHint hint{const_cast<char*>("kp"), const_cast<char*>("kp")};
    XSetClassHint(d_, window_, &hint);
    // Trays that size icons by their hints (trayer among them) otherwise
    // give a window of one pixel.
    XSizeHints size{};
    size.flags = PMinSize | PBaseSize;
    size.min_width = size.min_height = 16;
    size.base_width = size.base_height = 22;
    XSetWMNormalHints(d_, window_, &size);
    const long info[2] = {0, kXEmbedMapped};
    XChangeProperty(d_, window_, xembed_info_, xembed_info_, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(info), 2);
    SetName(Utf8(tooltip));
    Dock();
    XSync(d_, False);
    // Not blocking: a thread that is gone (its server died) must not let
    // the program's writes fill the pipe and hang.
    if (pipe2(wake_, O_NONBLOCK | O_CLOEXEC) != 0) {
      Close();
      SetLastError(win32::kNotEnoughMemory);
      return false;
    }
    thread_ = std::thread([this] { Serve(); });
    return true;
  }

  void Change(const Image* image, const std::u16string* tooltip) override {
    {
      std::lock_guard hold(pending_lock_);
      if (image) pending_image_ = *image;
      if (tooltip) pending_tip_ = Utf8(*tooltip);
    }
    Wake();
  }

  void Stop() {
    if (thread_.joinable()) {
      stop_ = true;
      Wake();
      thread_.join();
    }
    Close();
  }

  uint64_t Window() const override { return window_; }
  bool Broken() const override { return dead_; }

 private:
  void Wake() {
    const char c = 0;
    if (wake_[1] >= 0) (void)!write(wake_[1], &c, 1);
  }

  void Close() {
    if (d_) {
      if (font_) XFreeFont(d_, font_);
      if (window_) XDestroyWindow(d_, window_);
      x11::Close(d_, this);
      font_ = nullptr;
      d_ = nullptr;
    }
    for (int& fd : wake_) {
      if (fd >= 0) close(fd);
      fd = -1;
    }
  }

  void SetName(const std::string& name) {
    tip_ = name;
    if (tip_window_) HideTip();
    XChangeProperty(d_, window_, net_name_, utf8_, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(name.data()), static_cast<int>(name.size()));
    // WM_NAME in the locale's encoding is not ours to guess: it gets the
    // same UTF-8 bytes, typed as such.
    XChangeProperty(d_, window_, XA_WM_NAME, utf8_, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(name.data()), static_cast<int>(name.size()));
  }

  void Dock() {
    if (!manager_) return;
    XEvent e{};
    e.xclient.type = ClientMessage;
    e.xclient.window = manager_;
    e.xclient.message_type = opcode_;
    e.xclient.format = 32;
    e.xclient.data.l[0] = CurrentTime;
    e.xclient.data.l[1] = kRequestDock;
    e.xclient.data.l[2] = static_cast<long>(window_);
    XSendEvent(d_, manager_, False, NoEventMask, &e);
  }

  void Draw() {
    XWindowAttributes wa;
    if (!XGetWindowAttributes(d_, window_, &wa) || wa.width <= 0 || wa.height <= 0) return;
    const int w = wa.width, h = wa.height;
    XClearWindow(d_, window_);
    if (wa.visual->c_class != TrueColor || (wa.depth != 24 && wa.depth != 32)) return;
    const std::vector<uint32_t> pixels = Scale(image_, w, h);
    XImage* xi = XCreateImage(d_, wa.visual, wa.depth, ZPixmap, 0, nullptr, w, h, 32, 0);
    if (!xi) return;
    xi->data = static_cast<char*>(std::calloc(static_cast<size_t>(xi->bytes_per_line) * h, 1));
    // The drawn pixels are those at least half opaque; the others show the
    // tray behind through the clip mask (a parent-relative background cannot
    // be blended with).
    const size_t maskStride = (w + 7) / 8;
    std::vector<char> mask(maskStride * h, 0);
    const int rs = Shift(wa.visual->red_mask), gs = Shift(wa.visual->green_mask), bs = Shift(wa.visual->blue_mask);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const uint32_t p = pixels[static_cast<size_t>(y) * w + x];
        if ((p >> 24) < 128) continue;
        mask[y * maskStride + x / 8] |= static_cast<char>(1 << (x % 8));
        const unsigned long pixel = (static_cast<unsigned long>(p >> 16 & 0xff) << rs & wa.visual->red_mask) |
                                    (static_cast<unsigned long>(p >> 8 & 0xff) << gs & wa.visual->green_mask) |
                                    (static_cast<unsigned long>(p & 0xff) << bs & wa.visual->blue_mask);
        XPutPixel(xi, x, y, pixel);
      }
    const Pixmap clip = XCreateBitmapFromData(d_, window_, mask.data(), w, h);
    GC gc = XCreateGC(d_, window_, 0, nullptr);
    XSetClipMask(d_, gc, clip);
    XPutImage(d_, window_, gc, xi, 0, 0, 0, 0, w, h);
    XFreeGC(d_, gc);
    XFreePixmap(d_, clip);
    XDestroyImage(xi);
  }

  // The tooltip: a small window of its own under (or over) the icon, shown
  // when the pointer has rested on the icon, in a core font that covers
  // Unicode where the server has one.
  void ShowTip() {
    if (tip_.empty()) return;
    if (!font_) {
      font_ = XLoadQueryFont(d_, "-misc-fixed-medium-r-semicondensed--13-*-*-*-*-*-iso10646-1");
      if (!font_) font_ = XLoadQueryFont(d_, "fixed");
      if (!font_) return;
    }
    tip_chars_.clear();
    for (char16_t c : Utf16(tip_))
      tip_chars_.push_back(XChar2b{static_cast<unsigned char>(c >> 8), static_cast<unsigned char>(c & 0xff)});
    const int pad = 3;
    const int w = XTextWidth16(font_, tip_chars_.data(), static_cast<int>(tip_chars_.size())) + 2 * pad;
    const int h = font_->ascent + font_->descent + 2 * pad;
    int x = 0, y = 0;
    ::Window child;
    XWindowAttributes icon;
    if (!XGetWindowAttributes(d_, window_, &icon) || !XTranslateCoordinates(d_, window_, root_, 0, 0, &x, &y, &child))
      return;
    const int screenW = DisplayWidth(d_, DefaultScreen(d_)), screenH = DisplayHeight(d_, DefaultScreen(d_));
    y = y + icon.height + h + 2 <= screenH ? y + icon.height + 2 : y - h - 2;
    x = std::max(0, std::min(x, screenW - w));
    if (!tip_window_) {
      XSetWindowAttributes a{};
      a.override_redirect = True;
      a.background_pixel = 0xffffe1;
      a.border_pixel = BlackPixel(d_, DefaultScreen(d_));
      a.event_mask = ExposureMask;
      tip_window_ = XCreateWindow(d_, root_, x, y, w, h, 1, CopyFromParent, InputOutput, CopyFromParent,
                                  CWOverrideRedirect | CWBackPixel | CWBorderPixel | CWEventMask, &a);
      XClassHint hint{const_cast<char*>("kp-tooltip"), const_cast<char*>("kp")};
      XSetClassHint(d_, tip_window_, &hint);
    } else {
      XMoveResizeWindow(d_, tip_window_, x, y, w, h);
    }
    XMapRaised(d_, tip_window_);
  }

  void DrawTip() {
    if (!font_) return;
    GC gc = XCreateGC(d_, tip_window_, 0, nullptr);
    XSetFont(d_, gc, font_->fid);
    XSetForeground(d_, gc, BlackPixel(d_, DefaultScreen(d_)));
    XDrawString16(d_, tip_window_, gc, 3, 3 + font_->ascent, tip_chars_.data(), static_cast<int>(tip_chars_.size()));
    XFreeGC(d_, gc);
  }

  void HideTip() {
    tip_due_.reset();
    if (tip_window_) XUnmapWindow(d_, tip_window_);
  }

  void Handle(const XEvent& e) {
    switch (e.type) {
      case Expose:
        if (e.xexpose.window == window_ && e.xexpose.count == 0) Draw();
        if (tip_window_ && e.xexpose.window == tip_window_ && e.xexpose.count == 0) DrawTip();
        break;
      case ConfigureNotify:
        if (e.xconfigure.window == window_) Draw();
        break;
      case ButtonPress: {
        if (e.xbutton.window != window_) break;
        HideTip();
        if (e.xbutton.button == Button1) {
          const auto now = std::chrono::steady_clock::now();
          const bool twice = last_left_ && now - *last_left_ < kDoubleClickTime;
          last_left_ = twice ? std::nullopt : std::optional(now);
          handler_(twice ? kDoubleClick : kLeftClick);
        } else if (e.xbutton.button == Button3) {
          handler_(kRightClick);
        } else if (e.xbutton.button == Button2) {
          handler_(kMiddleClick);
        }
        break;
      }
      case EnterNotify:
        if (e.xcrossing.window != window_) break;
        tip_due_ = std::chrono::steady_clock::now() + kTipDelay;
        handler_(kPointerOver);
        break;
      case LeaveNotify:
        if (e.xcrossing.window == window_) HideTip();
        break;
      case ReparentNotify:
        // Handed back to the root by a tray that went away: hidden until a
        // tray takes it again, not left as a stray square on the desktop.
        if (e.xreparent.window == window_ && e.xreparent.parent == root_) {
          HideTip();
          XUnmapWindow(d_, window_);
        }
        break;
      case DestroyNotify:
        if (manager_ && e.xdestroywindow.window == manager_) manager_ = 0;  // the tray went away
        break;
      case ClientMessage:
        if (e.xclient.window == root_ && e.xclient.message_type == manager_atom_ &&
            static_cast<Atom>(e.xclient.data.l[1]) == selection_) {
          manager_ = static_cast<::Window>(e.xclient.data.l[2]);
          XSelectInput(d_, manager_, StructureNotifyMask);
          Dock();
        }
        break;
      default: break;
    }
  }

  void Serve() {
    const int fd = ConnectionNumber(d_);
    while (!stop_ && !dead_) {
      while (!dead_ && XPending(d_)) {
        XEvent e;
        XNextEvent(d_, &e);
        Handle(e);
      }
      if (dead_) break;
      XFlush(d_);
      int timeout = -1;
      if (tip_due_) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(*tip_due_ - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
          tip_due_.reset();
          ShowTip();
          continue;
        }
        timeout = static_cast<int>(left.count()) + 1;
      }
      pollfd fds[2] = {{fd, POLLIN, 0}, {wake_[0], POLLIN, 0}};
      if (poll(fds, 2, timeout) <= 0) continue;
      if (fds[1].revents & POLLIN) {
        char buffer[64];
        (void)!read(wake_[0], buffer, sizeof buffer);
        std::optional<Image> image;
        std::optional<std::string> tip;
        {
          std::lock_guard hold(pending_lock_);
          image.swap(pending_image_);
          tip.swap(pending_tip_);
        }
        if (image) {
          image_ = std::move(*image);
          Draw();
        }
        if (tip) SetName(*tip);
      }
    }
  }

  ::Display* d_ = nullptr;
  ::Window root_ = 0, window_ = 0, manager_ = 0;
  Atom selection_ = 0, opcode_ = 0, manager_atom_ = 0, utf8_ = 0, net_name_ = 0, xembed_info_ = 0;
  Image image_;
  Handler handler_;
  std::optional<std::chrono::steady_clock::time_point> last_left_;
  std::string tip_;  // UTF-8
  std::vector<XChar2b> tip_chars_;
  std::optional<std::chrono::steady_clock::time_point> tip_due_;
  ::Window tip_window_ = 0;
  XFontStruct* font_ = nullptr;
  int wake_[2] = {-1, -1};
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> dead_{false};
  std::mutex pending_lock_;
  std::optional<Image> pending_image_;
  std::optional<std::string> pending_tip_;
};

}  // namespace

std::unique_ptr<Icon> Show(const Image& image, std::u16string_view tooltip, Handler handler) {
  auto icon = std::make_unique<X11Icon>();
  if (!icon->Start(image, tooltip, std::move(handler))) return nullptr;
  return icon;
}

}  // namespace kp::platform::tray
