// kp160std — the notification icon on Windows: Shell_NotifyIconW, with a
// hidden window of ours that receives the icon's mouse messages, created and
// served by a thread of its own. The icon is added again when the shell
// restarts (the "TaskbarCreated" message). A PNG image is made into an icon
// by the system (CreateIconFromResourceEx takes PNG data, Vista and later).
#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/platform.h"
#include "platform/tray.h"

namespace kp::platform::tray {
namespace {

constexpr uint32_t kNoTray = 1168;
constexpr uint32_t kInvalidData = 13;
constexpr UINT kCallback = WM_APP + 1;
constexpr UINT kApply = WM_APP + 2;
constexpr UINT kIconId = 1;
using NotifyFn = BOOL(WINAPI*)(DWORD, NOTIFYICONDATAW*);

HICON MakeIcon(const Image& image) {
  if (!image.png.empty()) {
    // At the size the shell draws notification icons: the system scales once.
    return ::CreateIconFromResourceEx(const_cast<BYTE*>(image.png.data()), static_cast<DWORD>(image.png.size()), TRUE,
                                      0x00030000, ::GetSystemMetrics(SM_CXSMICON), ::GetSystemMetrics(SM_CYSMICON),
                                      LR_DEFAULTCOLOR);
  }
  if (image.width <= 0 || image.height <= 0 || image.argb.size() != size_t(image.width) * size_t(image.height))
    return nullptr;
  BITMAPV5HEADER h{};
  h.bV5Size = sizeof h;
  h.bV5Width = image.width;
  h.bV5Height = -image.height;  // from the top
  h.bV5Planes = 1;
  h.bV5BitCount = 32;
  h.bV5Compression = BI_BITFIELDS;
  h.bV5RedMask = 0x00ff0000;
  h.bV5GreenMask = 0x0000ff00;
  h.bV5BlueMask = 0x000000ff;
  h.bV5AlphaMask = 0xff000000;
  void* bits = nullptr;
  HDC screen = ::GetDC(nullptr);
  HBITMAP colour = ::CreateDIBSection(screen, reinterpret_cast<BITMAPINFO*>(&h), DIB_RGB_COLORS, &bits, nullptr, 0);
  ::ReleaseDC(nullptr, screen);
  if (!colour) return nullptr;
  std::copy(image.argb.begin(), image.argb.end(), static_cast<uint32_t*>(bits));
  HBITMAP mask = ::CreateBitmap(image.width, image.height, 1, 1, nullptr);
  ICONINFO info{TRUE, 0, 0, mask, colour};
  HICON icon = ::CreateIconIndirect(&info);
  ::DeleteObject(mask);
  ::DeleteObject(colour);
  return icon;
}

class Win32Icon final : public Icon {
 public:
  ~Win32Icon() override { Stop(); }

  bool Start(const Image& image, std::u16string_view tooltip, Handler handler) {
    shell_ = ::LoadLibraryW(L"shell32.dll");
    notify_ = shell_
                  ? reinterpret_cast<NotifyFn>(reinterpret_cast<void*>(::GetProcAddress(shell_, "Shell_NotifyIconW")))
                  : nullptr;
    if (!notify_) {
      SetLastError(kNoTray);
      return false;
    }
    handler_ = std::move(handler);
    icon_ = MakeIcon(image);
    if (!icon_) {
      SetLastError(kInvalidData);
      return false;
    }
    tip_.assign(tooltip.begin(), tooltip.end());
    thread_ = std::thread([this] { Serve(); });
    std::unique_lock hold(lock_);
    started_.wait(hold, [this] { return ready_; });
    if (!ok_) {
      hold.unlock();
      thread_.join();
      SetLastError(error_);
      return false;
    }
    return true;
  }

  void Change(const Image* image, const std::u16string* tooltip) override {
    {
      std::lock_guard hold(lock_);
      if (image) pendingImage_ = std::make_unique<Image>(*image);
      if (tooltip) pendingTip_ = std::make_unique<std::wstring>(tooltip->begin(), tooltip->end());
    }
    ::PostMessageW(window_, kApply, 0, 0);
  }

  void Stop() {
    if (thread_.joinable()) {
      ::PostMessageW(window_, WM_CLOSE, 0, 0);
      thread_.join();
    }
    if (icon_) ::DestroyIcon(icon_);
    icon_ = nullptr;
    if (shell_) ::FreeLibrary(shell_);
    shell_ = nullptr;
  }

  // The shell going away is not the end: the icon is added again when it
  // comes back.
  bool Broken() const override { return false; }
  uint64_t Window() const override { return reinterpret_cast<uintptr_t>(window_); }

 private:
  bool Notify(DWORD message) {
    NOTIFYICONDATAW data{};
    data.cbSize = sizeof data;
    data.hWnd = window_;
    data.uID = kIconId;
    data.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP;
    data.uCallbackMessage = kCallback;
    data.hIcon = icon_;
    const size_t n = std::min(tip_.size(), std::size(data.szTip) - 1);
    std::copy_n(tip_.begin(), n, data.szTip);
    return notify_(message, &data) != FALSE;
  }

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM w, LPARAM l) {
    auto* self = reinterpret_cast<Win32Icon*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self) {
      if (message == kCallback) {
        self->OnMouse(static_cast<UINT>(l));
        return 0;
      }
      if (message == kApply) {
        self->Apply();
        return 0;
      }
      if (message == self->taskbarCreated_) {
        self->Notify(NIM_ADD);
        return 0;
      }
      if (message == WM_CLOSE) {
        self->Notify(NIM_DELETE);
        ::DestroyWindow(window);
        return 0;
      }
      if (message == WM_DESTROY) {
        ::PostQuitMessage(0);
        return 0;
      }
    }
    return ::DefWindowProcW(window, message, w, l);
  }

  void OnMouse(UINT message) {
    switch (message) {
      case WM_LBUTTONUP:
        // A double click is down, up, double click, up: the second release
        // is part of the double click, as on X11, not a click of its own.
        if (!afterDouble_) handler_(kLeftClick);
        afterDouble_ = false;
        break;
      case WM_RBUTTONUP: handler_(kRightClick); break;
      case WM_LBUTTONDBLCLK:
        afterDouble_ = true;
        handler_(kDoubleClick);
        break;
      case WM_MBUTTONUP: handler_(kMiddleClick); break;
      case WM_MOUSEMOVE: {
        // The shell repeats it while the pointer moves: one a second at most.
        const auto now = std::chrono::steady_clock::now();
        if (now - lastOver_ > std::chrono::seconds(1)) {
          lastOver_ = now;
          handler_(kPointerOver);
        }
        break;
      }
      default: break;
    }
  }

  void Apply() {
    std::unique_ptr<Image> image;
    std::unique_ptr<std::wstring> tip;
    {
      std::lock_guard hold(lock_);
      image.swap(pendingImage_);
      tip.swap(pendingTip_);
    }
    if (image) {
      if (HICON made = MakeIcon(*image)) {
        if (icon_) ::DestroyIcon(icon_);
        icon_ = made;
      }
    }
    if (tip) tip_ = *tip;
    Notify(NIM_MODIFY);
  }

  void Serve() {
    // The class belongs to the module this code is in (the DLL, or a test
    // program), and is unregistered when the window is gone: a class left
    // registered would keep this procedure's address after the DLL is
    // unloaded, and a DLL loaded again elsewhere would find it.
    HINSTANCE instance = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&Procedure), &instance);
    WNDCLASSW wc{};
    wc.style = CS_DBLCLKS;
    wc.lpfnWndProc = Procedure;
    wc.hInstance = instance;
    wc.lpszClassName = kClass;
    ::RegisterClassW(&wc);
    taskbarCreated_ = ::RegisterWindowMessageW(L"TaskbarCreated");
    // A top-level window, hidden: a message-only one would miss the
    // TaskbarCreated broadcast. Without a desktop (Wine without a display)
    // none can be made, and there is no notification area either.
    window_ = ::CreateWindowExW(0, kClass, L"", 0, 0, 0, 0, 0, nullptr, nullptr, instance, nullptr);
    bool ok = window_ != nullptr;
    uint32_t error = ok ? 0 : ::GetLastError();
    if (!ok && error == 0) error = kNoTray;
    if (ok) {
      ::SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
      ok = Notify(NIM_ADD);
      if (!ok) {
        error = kNoTray;
        ::DestroyWindow(window_);
        window_ = nullptr;
      }
    }
    {
      std::lock_guard hold(lock_);
      ok_ = ok;
      error_ = error;
      ready_ = true;
    }
    started_.notify_all();
    if (ok) {
      MSG message;
      while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
      }
    }
    ::UnregisterClassW(kClass, instance);
  }

  static constexpr const wchar_t* kClass = L"kp160std.NotifyIcon";

  HMODULE shell_ = nullptr;
  NotifyFn notify_ = nullptr;
  HWND window_ = nullptr;
  HICON icon_ = nullptr;
  UINT taskbarCreated_ = 0;
  std::wstring tip_;
  Handler handler_;
  std::thread thread_;
  std::mutex lock_;
  std::condition_variable started_;
  bool ready_ = false, ok_ = false;
  uint32_t error_ = 0;
  std::unique_ptr<Image> pendingImage_;
  std::unique_ptr<std::wstring> pendingTip_;
  std::chrono::steady_clock::time_point lastOver_{};
  bool afterDouble_ = false;
};

}  // namespace

std::unique_ptr<Icon> Show(const Image& image, std::u16string_view tooltip, Handler handler) {
  auto icon = std::make_unique<Win32Icon>();
  if (!icon->Start(image, tooltip, std::move(handler))) return nullptr;
  return icon;
}

}  // namespace kp::platform::tray
