// The notification icon's Win32 backend under Wine (or Windows): the icon
// the family adds is asked for through Shell_NotifyIconW, its pixels are read
// from the screen in Wine's tray, the callback messages a click makes are
// sent to its window, and the window's end is checked. Without a desktop
// (Wine with no display, as in WindowsUnitTests) only the refusal, the bad
// input and the PNG reader run; ctest's WindowsTrayTests runs the rest under
// an Xvfb of its own.
#include <windows.h>

#include <shellapi.h>

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "abi/error_ids.h"
#include "desktop/icon_file.h"
#include "desktop/tray.h"
#include "files/files_fixture.h"
#include "desktop/png_writer.h"
#include "support/deadline.h"

namespace kp::desktop {
namespace {

// The message the backend gives the shell for the icon's mouse events.
constexpr UINT kCallback = WM_APP + 1;

using test::png::Chunk;

// An 8-bit RGBA PNG of one opaque colour 0xRRGGBB; `pixels` replaces the
// compressed rows (for a file whose chunks are sound but whose data is not).
std::string SolidPng(uint32_t side, uint32_t rgb, const std::string* pixels = nullptr) {
  std::string png = test::png::Start(side, side, 8, 6), raw;
  for (uint32_t y = 0; y < side; ++y) {
    raw += '\0';
    for (uint32_t x = 0; x < side; ++x)
      raw += {static_cast<char>(rgb >> 16), static_cast<char>(rgb >> 8), static_cast<char>(rgb), '\xff'};
  }
  if (!pixels) return test::png::Finish(png, raw);
  Chunk(&png, "IDAT", *pixels);
  Chunk(&png, "IEND", "");
  return png;
}

// A PNG of `side` x `side` pixels all `pixel` (its bytes at the depth and
// colour type), unfiltered; interlaced (Adam7) when asked, for whole-byte
// pixels.
std::string KindOfPng(uint32_t side, int depth, int colour, const std::string& pixel, const std::string& extra = "",
                      bool interlace = false) {
  const std::string png = test::png::Start(side, side, depth, colour, interlace) + extra;
  std::string raw;
  // A row of `n` pixels: sub-byte pixels repeat the one byte given.
  const auto row = [&](uint32_t n) {
    std::string line(1, '\0');
    if (depth < 8)
      line += std::string((n * depth + 7) / 8, pixel[0]);
    else
      for (uint32_t x = 0; x < n; ++x) line += pixel;
    return line;
  };
  if (!interlace) {
    for (uint32_t y = 0; y < side; ++y) raw += row(side);
  } else {
    const uint32_t passes[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                   {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    for (const auto& p : passes) {
      const uint32_t columns = side > p[0] ? (side - p[0] + p[2] - 1) / p[2] : 0;
      for (uint32_t y = p[1]; y < side && columns; y += p[3]) raw += row(columns);
    }
  }
  return test::png::Finish(png, raw);
}

// An .ico whose one entry is `png`, of `side` pixels.
std::string IcoOfPng(uint32_t side, const std::string& png) {
  std::string ico("\0\0\1\0\1\0", 6);
  ico += {static_cast<char>(side), static_cast<char>(side), 0, 0, 1, 0, 32, 0};
  for (uint32_t v : {static_cast<uint32_t>(png.size()), 22u})
    for (int i = 0; i < 4; ++i) ico += static_cast<char>(v >> (8 * i));
  return ico + png;
}

// An .ico of one 32-bit BMP entry of one opaque colour 0xRRGGBB.
std::string SolidIco(uint32_t side, uint32_t rgb) {
  auto le32 = [](std::string* s, uint32_t v) {
    for (int i = 0; i < 4; ++i) *s += static_cast<char>(v >> (8 * i));
  };
  std::string bmp;
  le32(&bmp, 40);
  le32(&bmp, side);
  le32(&bmp, side * 2);  // colour rows, then the mask's
  bmp += std::string("\x01\0\x20\0", 4);
  bmp += std::string(24, '\0');
  for (uint32_t i = 0; i < side * side; ++i) le32(&bmp, 0xff000000u | rgb);
  bmp += std::string(side * ((side + 31) / 32 * 4), '\0');  // the AND mask: all shown
  std::string ico("\0\0\1\0\1\0", 6);
  ico += {static_cast<char>(side), static_cast<char>(side), 0, 0, 1, 0, 32, 0};
  le32(&ico, static_cast<uint32_t>(bmp.size()));
  le32(&ico, 22);
  return ico + bmp;
}

bool WaitFor(const std::function<bool()>& condition, int tenths = 50) {
  for (int i = 0; i < 2 * tenths; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return condition();
}

// Whether a notification area takes icons: one of the test's own, without
// an image, added once and kept while the tests run. Headless Wine has a
// Shell_TrayWnd whose Shell_NotifyIconW fails; and with the X11 driver,
// Wine's tray takes 2 s to remove its last icon (it hides its window and
// waits for a window manager there is none of), which the kept icon spares
// every deletion.
bool ShellHasTray() {
  static const bool has = [] {
    const HWND keeper = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    NOTIFYICONDATAW data{};
    data.cbSize = sizeof data;
    data.hWnd = keeper;
    data.uID = 99;
    return keeper && ::Shell_NotifyIconW(NIM_ADD, &data) != FALSE;
  }();
  return has;
}

// Whether the shell holds an icon of `window` (the backend's id is 1): a
// change of nothing succeeds only for an icon it has.
bool ShellHolds(HWND window) {
  NOTIFYICONDATAW data{};
  data.cbSize = sizeof data;
  data.hWnd = window;
  data.uID = 1;
  return ::Shell_NotifyIconW(NIM_MODIFY, &data) != FALSE;
}

// Wine's X11 driver shows the icons, with no tray host on the display, in a
// window of its own, one child window per icon shown.
std::vector<HWND> WineTrayIcons() {
  std::vector<HWND> icons;
  if (const HWND tray = ::FindWindowW(L"__winex11_standalone_tray", nullptr))
    for (HWND icon = nullptr; (icon = ::FindWindowExW(tray, icon, L"__winex11_tray_icon", nullptr));)
      icons.push_back(icon);
  return icons;
}

// How many pixels of a colour 0xRRGGBB that `match` takes the screen shows
// in `icon`; -1 when they cannot be read.
int PixelsIn(HWND icon, const std::function<bool(uint32_t)>& match) {
  RECT r;
  if (!::GetWindowRect(icon, &r)) return -1;
  const int w = r.right - r.left, h = r.bottom - r.top;
  if (w <= 0 || h <= 0) return -1;
  BITMAPINFOHEADER header{};
  header.biSize = sizeof header;
  header.biWidth = w;
  header.biHeight = -h;
  header.biPlanes = 1;
  header.biBitCount = 32;
  void* bits = nullptr;
  HDC screen = ::GetDC(nullptr);
  HDC memory = ::CreateCompatibleDC(screen);
  HBITMAP bitmap =
      ::CreateDIBSection(screen, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS, &bits, nullptr, 0);
  int count = -1;
  if (bitmap) {
    HGDIOBJ old = ::SelectObject(memory, bitmap);
    if (::BitBlt(memory, 0, 0, w, h, screen, r.left, r.top, SRCCOPY)) {
      ::GdiFlush();
      count = 0;
      for (int i = 0; i < w * h; ++i) count += match(static_cast<const uint32_t*>(bits)[i] & 0xffffff);
    }
    ::SelectObject(memory, old);
    ::DeleteObject(bitmap);
  }
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);
  return count;
}

int PixelsIn(HWND icon, uint32_t rgb) {
  return PixelsIn(icon, [rgb](uint32_t pixel) { return pixel == rgb; });
}

// The same in all of Wine's tray icons; -1 without any.
int PixelsInTray(const std::function<bool(uint32_t)>& match) {
  int total = -1;
  for (HWND icon : WineTrayIcons()) total = std::max(total, 0) + std::max(PixelsIn(icon, match), 0);
  return total;
}
int PixelsInTray(uint32_t rgb) {
  return PixelsInTray([rgb](uint32_t pixel) { return pixel == rgb; });
}

// A context whose posted procedures run at once on the posting thread (the
// icon's), where the VM would queue them for the program's thread.
class PostingContext : public test::FakeContext {
 public:
  PostingContext() {
    ops_ = *get()->ops;
    ops_.PostProcedure = &Post;
    get()->ops = &ops_;
  }

 private:
  static int32_t KL_CALL Post(ExecContext* c, uintptr_t procedure, uint32_t argc, const KLValue* args) {
    return c->ops->CallProcedure(c, procedure, argc, args, nullptr);
  }
  ExecContextOps ops_;
};

class TrayWin32 : public test::FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    PutFile("red.png", SolidPng(32, 0xff0000));
    PutFile("blue.ico", SolidIco(32, 0x0000ff));
    PutFile("green.png", SolidPng(48, 0x00ff00));
    static const char16_t* const names[] = {u"Gauche", u"Droite", u"Double", u"Milieu", u"Survol"};
    for (size_t i = 0; i < runs_.size(); ++i) {
      ctx_.procedures[names[i]] = [this, i](const std::vector<Value>&) {
        ++runs_[i];
        return Value{};
      };
    }
  }
  void TearDown() override {
    EndTrayIcon();
    FilesTest::TearDown();
  }
  static constexpr const char* kNoTray = "no notification area: WindowsTrayTests runs this under an Xvfb";
  std::array<int, 5> Runs() const { return {runs_[0], runs_[1], runs_[2], runs_[3], runs_[4]}; }

  PostingContext ctx_;
  std::array<std::atomic<int>, 5> runs_{};
};

TEST_F(TrayWin32, WithoutADesktopThereIsNoNotificationArea) {
  if (ShellHasTray()) GTEST_SKIP() << "a notification area runs";
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\red.png", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 1168u);
  EXPECT_EQ(TrayIconWindow(), 0u);
  ctx_.clearError();
  EXPECT_FALSE(ModifyTrayIcon(ctx_, u"\\red.png", u"t"));
  EXPECT_EQ(ctx_.systemError(), 1168u);
}

TEST_F(TrayWin32, AddedChangedAndDeleted) {
  if (!ShellHasTray()) GTEST_SKIP() << kNoTray;
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"Mon icône ✓", {})) << test::Utf8(ctx_.message());
  const HWND window = reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow()));
  ASSERT_TRUE(::IsWindow(window));
  EXPECT_NE(::GetWindowThreadProcessId(window, nullptr), ::GetCurrentThreadId()) << "not the icon's own thread";
  EXPECT_TRUE(ShellHolds(window));
  const bool wine = !WineTrayIcons().empty();
  // The image (a PNG the system decoded) as the tray draws it.
  if (wine) {
    EXPECT_TRUE(WaitFor([] { return PixelsInTray(0xff0000) > 0; })) << PixelsInTray(0xff0000);
  }

  // Image and tooltip, from an .ico with a BMP entry.
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"\\blue.ico", u"Autre"));
  if (wine) {
    EXPECT_TRUE(WaitFor([] { return PixelsInTray(0x0000ff) > 0 && PixelsInTray(0xff0000) == 0; }))
        << PixelsInTray(0x0000ff) << " " << PixelsInTray(0xff0000);
  }
  // Both kept, then the tooltip alone: the image stays.
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"", std::nullopt));
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"", u"Troisième"));
  // The image alone, a PNG again, at another size.
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"\\green.png", std::nullopt));
  if (wine) {
    EXPECT_TRUE(WaitFor([] { return PixelsInTray(0x00ff00) > 0 && PixelsInTray(0x0000ff) == 0; }))
        << PixelsInTray(0x00ff00) << " " << PixelsInTray(0x0000ff);
  }
  EXPECT_EQ(reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow())), window) << "changed in place";
  EXPECT_TRUE(ShellHolds(window));

  // A second add replaces the icon shown, in place.
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"encore", {}));
  EXPECT_EQ(reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow())), window);
  if (wine) {
    EXPECT_TRUE(WaitFor([] { return PixelsInTray(0xff0000) > 0; }));
  }

  EXPECT_TRUE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(TrayIconWindow(), 0u);
  EXPECT_FALSE(::IsWindow(window));
  EXPECT_FALSE(ShellHolds(window));
  if (wine) {
    EXPECT_TRUE(WaitFor([] { return PixelsInTray(0xff0000) <= 0; }));
  }
  ctx_.clearError();
  EXPECT_FALSE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(ctx_.systemError(), 1168u);
  ctx_.clearError();
  EXPECT_FALSE(ModifyTrayIcon(ctx_, u"\\red.png", u"x"));
  EXPECT_EQ(ctx_.systemError(), 1168u);
}

TEST_F(TrayWin32, CallbackMessagesRunTheProcedures) {
  if (!ShellHasTray()) GTEST_SKIP() << kNoTray;
  const std::u16string_view procedures[] = {u"Gauche", u"Droite", u"Double", u"Milieu", u"Survol"};
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"clics", procedures)) << test::Utf8(ctx_.message());
  const HWND window = reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow()));
  // Sent, not posted: the procedure has run when the call returns.
  const auto click = [&](UINT mouse) { ::SendMessageW(window, kCallback, 1, mouse); };
  click(WM_LBUTTONDOWN);
  click(WM_LBUTTONUP);
  EXPECT_EQ(Runs(), (std::array<int, 5>{1, 0, 0, 0, 0}));
  click(WM_RBUTTONUP);
  click(WM_MBUTTONUP);
  EXPECT_EQ(Runs(), (std::array<int, 5>{1, 1, 0, 1, 0}));
  // A double click: one click, then the double click, not a second click.
  for (UINT mouse : {WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK, WM_LBUTTONUP}) click(mouse);
  EXPECT_EQ(Runs(), (std::array<int, 5>{2, 1, 1, 1, 0}));
  click(WM_LBUTTONUP);
  EXPECT_EQ(Runs()[0], 3) << "a click after a double click";
  // The pointer moving over the icon: once a second at most.
  click(WM_MOUSEMOVE);
  click(WM_MOUSEMOVE);
  EXPECT_EQ(Runs()[4], 1);

  // A real click on the icon in Wine's tray: the shell sends the message.
  if (!WineTrayIcons().empty()) {
    HWND icon = nullptr;
    ASSERT_TRUE(WaitFor([&] {
      for (HWND shown : WineTrayIcons())
        if (PixelsIn(shown, 0xff0000) > 0) icon = shown;
      return icon != nullptr;
    })) << "the icon is not drawn";
    RECT r;
    ASSERT_TRUE(::GetWindowRect(icon, &r));
    ASSERT_TRUE(::SetCursorPos((r.left + r.right) / 2, (r.top + r.bottom) / 2));
    INPUT input[2]{};
    input[0].type = input[1].type = INPUT_MOUSE;
    input[0].mi.dwFlags = MOUSEEVENTF_RIGHTDOWN;
    input[1].mi.dwFlags = MOUSEEVENTF_RIGHTUP;
    ASSERT_EQ(::SendInput(2, input, sizeof(INPUT)), 2u);
    EXPECT_TRUE(WaitFor([&] { return runs_[1] == 2; })) << "the tray's click ran nothing";
  }

  // A shell started again broadcasts TaskbarCreated: the icon is added anew.
  NOTIFYICONDATAW data{};
  data.cbSize = sizeof data;
  data.hWnd = window;
  data.uID = 1;
  ASSERT_TRUE(::Shell_NotifyIconW(NIM_DELETE, &data));
  ASSERT_FALSE(ShellHolds(window));
  ::SendMessageW(window, ::RegisterWindowMessageW(L"TaskbarCreated"), 0, 0);
  EXPECT_TRUE(ShellHolds(window));

  // Once deleted, nothing runs any more.
  ASSERT_TRUE(DeleteTrayIcon(ctx_));
  const std::array<int, 5> before = Runs();
  click(WM_LBUTTONUP);
  EXPECT_EQ(Runs(), before);
}

// PNG kinds of one colour each, and the colour the tray should draw.
struct PngKind {
  const char* name;
  std::string png;
  uint32_t rgb;
};

std::string Palette(bool transparency) {
  std::string chunks;
  Chunk(&chunks, "PLTE", std::string("\x12\x34\xff\0\0\0", 6));
  if (transparency) Chunk(&chunks, "tRNS", std::string("\xff\0", 2));
  return chunks;
}

// Each kind added as the icon, drawn in its colour, deleted.
class TrayWin32Png : public TrayWin32 {
 protected:
  void Check(const std::vector<PngKind>& kinds) {
    for (const PngKind& kind : kinds) PutFile(std::string(kind.name) + ".png", kind.png);
    const bool wine = !WineTrayIcons().empty();
    for (const PngKind& kind : kinds) {
      const std::string name = std::string("\\") + kind.name + ".png";
      ctx_.clearError();
      const bool added = AddTrayIcon(ctx_, std::u16string(name.begin(), name.end()), u"kinds", {});
      EXPECT_TRUE(added) << kind.name << ": " << ctx_.systemError();
      if (!added) continue;
      if (wine) {
        // Drawn at all (over the tray's black and white), then in its colour.
        EXPECT_TRUE(WaitFor([] { return PixelsInTray([](uint32_t p) { return p != 0 && p != 0xffffff; }) > 0; }))
            << kind.name << " is not drawn";
        EXPECT_TRUE(WaitFor([&] { return PixelsInTray(kind.rgb) > 0; }, 10)) << kind.name;
      }
      EXPECT_TRUE(DeleteTrayIcon(ctx_));
    }
  }
};

// PNG kinds the system decodes right under Wine 8.
std::vector<PngKind> KindsWineDrawsRight() {
  return {
      {"grey8", KindOfPng(24, 8, 0, "\x80"), 0x808080},
      {"grey-alpha8", KindOfPng(24, 8, 4, std::string("\x40\xff", 2)), 0x404040},
      {"palette2-trns", KindOfPng(24, 2, 3, std::string(1, '\0'), Palette(true)), 0x1234ff},
      {"rgba8", KindOfPng(24, 8, 6, std::string("\x40\x80\xc0\xff", 4)), 0x4080c0},
      {"ico-of-a-png", IcoOfPng(24, KindOfPng(24, 8, 6, std::string("\xc0\x80\x40\xff", 4))), 0xc08040},
      {"interlaced-rgba8", KindOfPng(24, 8, 6, std::string("\xc0\xc0\x00\xff", 4), "", true), 0xc0c000},
      {"interlaced-palette1-trns", KindOfPng(13, 1, 3, std::string(1, '\0'), Palette(true), true), 0x1234ff},
  };
}

// Wine 8's decoder refuses 16-bit samples (13), and draws a PNG without
// alpha (8-bit RGB, an 8-bit palette without tRNS) with red and blue
// swapped.
std::vector<PngKind> KindsWineGetsWrong() {
  return {
      {"rgba16", KindOfPng(24, 16, 6, std::string("\xc0\x01\x00\x02\xc0\x03\xff\xff", 8)), 0xc000c0},
      {"palette8", KindOfPng(24, 8, 3, std::string(1, '\0'), Palette(false)), 0x1234ff},
      {"rgb8", KindOfPng(24, 8, 2, std::string("\x40\x80\xc0", 3)), 0x4080c0},
  };
}

// Without libpng the reader checks the file and keeps its bytes: every kind
// passes it, damaged pixel data does not. Without a tray as well.
TEST(IconFileWin32, PngKindsPassTheReaderDamagedDataDoesNot) {
  std::vector<PngKind> kinds = KindsWineDrawsRight();
  for (PngKind& kind : KindsWineGetsWrong()) kinds.push_back(std::move(kind));
  for (const PngKind& kind : kinds) {
    const auto image = DecodeIcon(std::span(reinterpret_cast<const uint8_t*>(kind.png.data()), kind.png.size()));
    ASSERT_TRUE(image) << kind.name;
    EXPECT_EQ(image->width, std::string(kind.name) == "interlaced-palette1-trns" ? 13 : 24) << kind.name;
    EXPECT_TRUE(image->argb.empty()) << kind.name;
    EXPECT_EQ(image->png.size() + (kind.png[0] == '\0' ? 22 : 0), kind.png.size()) << kind.name;
  }
  const auto refused = [](const std::string& png) {
    return !DecodeIcon(std::span(reinterpret_cast<const uint8_t*>(png.data()), png.size()));
  };
  // The rows of a 4 x 4 RGBA image are 17 bytes: one short, one too many, a
  // filter byte of 5, a depth RGBA has not, data that does not inflate.
  const auto withRows = [](const std::string& raw, int depth = 8) {
    return test::png::Finish(test::png::Start(4, 4, depth, 6), raw);
  };
  const std::string rows(4 * 17, '\0');
  EXPECT_FALSE(refused(withRows(rows)));
  EXPECT_TRUE(refused(withRows(rows.substr(1))));
  EXPECT_TRUE(refused(withRows(rows + '\0')));
  std::string badFilter = rows;
  badFilter[17] = 5;
  EXPECT_TRUE(refused(withRows(badFilter)));
  EXPECT_TRUE(refused(withRows(rows, 4)));
  const std::string junk(64, '\x5a');
  EXPECT_TRUE(refused(SolidPng(16, 0xff0000, &junk)));
  // A large image whose rows inflate past one output buffer of the reader.
  EXPECT_FALSE(refused(KindOfPng(1024, 8, 6, std::string("\x01\x02\x03\xff", 4))));
}

// The PNG kinds the reader on Linux takes, as the system decodes them.
TEST_F(TrayWin32Png, KindsTheSystemDecodes) {
  if (!ShellHasTray()) GTEST_SKIP() << kNoTray;
  Check(KindsWineDrawsRight());
}

// A known gap of Wine (WindowsTrayTestsKnownGaps, expected to fail there;
// docs/windows.md).
TEST_F(TrayWin32Png, KindsWineGetsWrong) {
  if (!ShellHasTray()) GTEST_SKIP() << kNoTray;
  Check(KindsWineGetsWrong());
}

TEST_F(TrayWin32, TheWindowGoesWhenTheProgramsEnd) {
  if (!ShellHasTray()) GTEST_SKIP() << kNoTray;
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"fin", {}));
  const HWND window = reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow()));
  const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
  test::WithinSeconds(20, "the icon's end", [] { EndTrayIcon(); });
  EXPECT_EQ(TrayIconWindow(), 0u);
  EXPECT_FALSE(::IsWindow(window));
  EXPECT_FALSE(ShellHolds(window));

  // Its thread is gone too.
  HANDLE handle = ::OpenThread(SYNCHRONIZE, FALSE, thread);
  if (handle) {
    EXPECT_EQ(::WaitForSingleObject(handle, 0), WAIT_OBJECT_0);
    ::CloseHandle(handle);
  }
  ctx_.clearError();
  EXPECT_FALSE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(ctx_.systemError(), 1168u);
  // And a new icon can be added: its window class was given back and made again.
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\blue.ico", u"de nouveau", {}));
  EXPECT_TRUE(ShellHolds(reinterpret_cast<HWND>(static_cast<uintptr_t>(TrayIconWindow()))));
  EXPECT_TRUE(DeleteTrayIcon(ctx_));
}

// Without a tray as well: every case fails before the icon is shown.
TEST_F(TrayWin32, BadInputGivesFalseAndShowsNothing) {
  const std::u16string_view unknown[] = {u"", u"NoSuchProcedure"};
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\red.png", u"t", unknown));
  EXPECT_EQ(ctx_.errorId(), kErrNotifyProcedureMissing);
  EXPECT_NE(test::Utf8(ctx_.message()).find("NoSuchProcedure"), std::string::npos);
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\absent.png", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"red.png", u"t", {}));
  EXPECT_EQ(ctx_.errorId(), 80600);
  PutFile("text.ico", "not an icon at all");
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\text.ico", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 13u);
  // A PNG whose checksum is wrong, one that ends before IEND, one over the
  // size limit: refused before the system sees them.
  std::string png = SolidPng(16, 0xff0000);
  png[30] ^= 1;
  PutFile("crc.png", png);
  PutFile("cut.png", SolidPng(16, 0xff0000).substr(0, png.size() - 12));
  PutFile("huge.png", SolidPng(1025, 0xff0000));
  // Sound chunks around pixel data that does not inflate: the system's
  // decoder refuses it.
  const std::string junk(64, '\x5a');
  PutFile("junk.png", SolidPng(16, 0xff0000, &junk));
  for (const char16_t* name : {u"\\crc.png", u"\\cut.png", u"\\huge.png", u"\\junk.png"}) {
    ctx_.clearError();
    EXPECT_FALSE(AddTrayIcon(ctx_, name, u"t", {})) << test::Utf8(name);
    EXPECT_EQ(ctx_.systemError(), 13u) << test::Utf8(name);
  }
  EXPECT_EQ(TrayIconWindow(), 0u);
}

}  // namespace
}  // namespace kp::desktop
