// The notification icon: the image decoders on made-up files, then, under
// an Xvfb of the tests with trayer as the tray host, the icon docked and
// drawn, its name, its changes and removal, the errors, and a click sent
// with xdotool running a procedure of a `kp run` script.
#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "desktop/icon_file.h"
#include "desktop/tray.h"
#include "files/files_fixture.h"
#include "platform/tray.h"
#include "desktop/png_writer.h"
#include "support/deadline.h"
#include "support/xvfb.h"

// Last: Xlib's macros (None, Bool, Status) would clash with the headers above.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace kp::desktop {
namespace {

using Pixels = std::vector<uint32_t>;

using test::png::Chunk;

// A PNG of `rows` (each already packed at the depth, without filter byte),
// filtered with type `filter` (0 or 1 "sub" on whole bytes) or interlaced.
std::string Png(uint32_t w, uint32_t h, int depth, int colour, const std::string& extra,
                const std::vector<std::string>& rows, bool interlace = false, int bpp = 4) {
  std::string png = test::png::Start(w, h, depth, colour, interlace) + extra;
  std::string raw;
  if (!interlace) {
    for (const std::string& row : rows) {
      // "sub" filter on every row: the decoder must undo it.
      raw += '\1';
      for (size_t i = 0; i < row.size(); ++i)
        raw += static_cast<char>(row[i] - (i >= static_cast<size_t>(bpp) ? row[i - bpp] : 0));
    }
  } else {
    // Adam7 of 8-bit RGBA pixels (bpp 4), no filter.
    const int passes[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                              {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    for (const auto& p : passes)
      for (uint32_t y = p[1]; y < h; y += p[3]) {
        std::string line;
        for (uint32_t x = p[0]; x < w; x += p[2]) line += rows[y].substr(x * 4, 4);
        if (!line.empty()) raw += '\0' + line;
      }
  }
  return test::png::Finish(png, raw);
}

std::string Rgba(uint32_t argb) {
  return {static_cast<char>(argb >> 16), static_cast<char>(argb >> 8), static_cast<char>(argb),
          static_cast<char>(argb >> 24)};
}
std::string SolidPng(uint32_t side, uint32_t argb) {
  std::string row;
  for (uint32_t x = 0; x < side; ++x) row += Rgba(argb);
  return Png(side, side, 8, 6, "", std::vector<std::string>(side, row));
}

std::optional<platform::tray::Image> Decode(const std::string& bytes) {
  return DecodeIcon(std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

TEST(IconFile, PngColourTypesDepthsFiltersAndInterlacing) {
  // RGBA with a gradient, through the "sub" filter.
  std::vector<std::string> rows;
  Pixels expected;
  for (uint32_t y = 0; y < 9; ++y) {
    std::string row;
    for (uint32_t x = 0; x < 11; ++x) {
      const uint32_t p = (0x80 + y * 10) << 24 | (x * 20) << 16 | (y * 25) << 8 | (x + y);
      row += Rgba(p);
      expected.push_back(p);
    }
    rows.push_back(row);
  }
  auto image = Decode(Png(11, 9, 8, 6, "", rows));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 11);
  EXPECT_EQ(image->height, 9);
  EXPECT_EQ(image->argb, expected);
  // The same pixels interlaced.
  image = Decode(Png(11, 9, 8, 6, "", rows, true));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->argb, expected);

  // A 2-bit palette with a transparent entry.
  std::string plte("\xff\0\0\0\xff\0\0\0\xff\x10\x20\x30", 12), extra;
  Chunk(&extra, "PLTE", plte);
  Chunk(&extra, "tRNS", std::string("\xff\0", 2));
  image = Decode(Png(4, 1, 2, 3, extra, {std::string(1, static_cast<char>(0b00011011))}, false, 1));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->argb, (Pixels{0xffff0000, 0x0000ff00, 0xff0000ff, 0xff102030}));

  // 1-bit grey, and 16-bit grey with alpha.
  image = Decode(Png(3, 1, 1, 0, "", {std::string(1, static_cast<char>(0b10100000))}, false, 1));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->argb, (Pixels{0xffffffff, 0xff000000, 0xffffffff}));
  image = Decode(Png(1, 1, 16, 4, "", {std::string("\x12\x34\x80\x00", 4)}, false, 4));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->argb, (Pixels{0x80121212}));
}

TEST(IconFile, IcoTakesItsLargestEntryWithItsMask) {
  // Two entries: a 1x1 PNG and a 2x2 32-bit BMP whose alpha is all zero, so
  // that its AND mask decides (top-left transparent).
  const std::string small = SolidPng(1, 0xff00ff00);
  std::string bmp(40, '\0');
  bmp[0] = 40, bmp[4] = 2, bmp[8] = 4, bmp[12] = 1, bmp[14] = 32;
  // Rows from the bottom, BGRA.
  bmp += std::string("\x03\x02\x01\0\x06\x05\x04\0", 8);  // bottom row
  bmp += std::string("\x09\x08\x07\0\x0c\x0b\x0a\0", 8);  // top row
  bmp += std::string("\0\0\0\0", 4);                      // AND, bottom row: opaque
  bmp += std::string("\x80\0\0\0", 4);                    // AND, top row: left transparent
  std::string ico("\0\0\1\0\2\0", 6);
  auto entry = [&](int side, int bits, size_t size, size_t offset) {
    std::string e(16, '\0');
    e[0] = e[1] = static_cast<char>(side);
    e[6] = static_cast<char>(bits);
    for (int i = 0; i < 4; ++i)
      e[8 + i] = static_cast<char>(size >> (8 * i)), e[12 + i] = static_cast<char>(offset >> (8 * i));
    return e;
  };
  ico += entry(1, 32, small.size(), 6 + 32);
  ico += entry(2, 32, bmp.size(), 6 + 32 + small.size());
  ico += small + bmp;
  const auto image = Decode(ico);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 2);
  EXPECT_EQ(image->argb, (Pixels{0x00000000, 0xff0a0b0c, 0xff010203, 0xff040506}));
}

TEST(IconFile, DamagedOrHugeFilesAreRefused) {
  const std::string good = SolidPng(4, 0xffff0000);
  ASSERT_TRUE(Decode(good));
  std::string badCrc = good;
  badCrc[30] ^= 1;
  EXPECT_FALSE(Decode(badCrc));
  for (size_t cut = 0; cut < good.size(); cut += 7) EXPECT_FALSE(Decode(good.substr(0, cut))) << cut;
  // The chunks after the pixels are checked too: an ancillary chunk with a
  // bad checksum, or a file that ends before IEND.
  std::string tail = good.substr(0, good.size() - 12);
  Chunk(&tail, "tEXt", std::string("Comment\0x", 9));
  EXPECT_TRUE(Decode(tail + good.substr(good.size() - 12)));
  tail[tail.size() - 1] ^= 1;
  EXPECT_FALSE(Decode(tail + good.substr(good.size() - 12)));
  EXPECT_FALSE(Decode(good.substr(0, good.size() - 12)));
  // Samples are used as stored: a gamma chunk changes nothing.
  std::string gamma;
  Chunk(&gamma, "gAMA", std::string("\0\0\x27\x10", 4));  // 0.1
  const auto plain = Decode(good);
  const auto withGamma = Decode(good.substr(0, 33) + gamma + good.substr(33));
  ASSERT_TRUE(plain && withGamma);
  EXPECT_EQ(withGamma->argb, plain->argb);
  EXPECT_FALSE(Decode(Png(4096, 1, 8, 6, "", {std::string(4096 * 4, '\0')})));
  EXPECT_FALSE(Decode(Png(1, 1, 8, 5, "", {"xx"})));  // no colour type 5
  EXPECT_FALSE(Decode("plain text, not an icon"));
  EXPECT_FALSE(Decode(std::string("\0\0\1\0\1\0", 6) + std::string(16, '\xff')));  // entry beyond the file
}

// The tray tests' display and tray host.
class TrayTest : public test::FilesTest {
 protected:
  void SetUp() override {
    for (const char* tool : {"Xvfb", "trayer", "xdotool"})
      if (!test::OnPath(tool)) GTEST_SKIP() << tool << " is not installed";
    test::Xvfb::Shared();
    FilesTest::SetUp();
    display_ = XOpenDisplay(nullptr);
    ASSERT_NE(display_, nullptr);
    PutFile("red.png", SolidPng(16, 0xffff0000));
    PutFile("blue.png", SolidPng(32, 0xff0000ff));
  }
  void TearDown() override {
    if (TrayIconWindow()) DeleteTrayIcon(ctx_);
    trayer_.reset();
    if (display_) XCloseDisplay(display_);
    FilesTest::TearDown();
  }

  void StartTray() {
    trayer_ = std::make_unique<test::Child>(
        std::vector<std::string>{"trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height",
                                 "24", "--SetDockType", "false"},
        dir_ + "/trayer.log");
    const Atom selection = XInternAtom(display_, "_NET_SYSTEM_TRAY_S0", False);
    ASSERT_TRUE(test::WaitFor([&] { return XGetSelectionOwner(display_, selection) != None; }))
        << test::ReadFile(dir_ + "/trayer.log");
  }

  Window Parent(Window w) {
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(display_, w, &root, &parent, &children, &count)) return 0;
    if (children) XFree(children);
    return parent == root ? 0 : parent;
  }
  std::string Name(Window w) {
    Atom type;
    int format;
    unsigned long count, after;
    unsigned char* data = nullptr;
    std::string name;
    const Atom netName = XInternAtom(display_, "_NET_WM_NAME", False);
    if (XGetWindowProperty(display_, w, netName, 0, 1024, False, AnyPropertyType, &type, &format, &count, &after,
                           &data) == Success &&
        data) {
      name.assign(reinterpret_cast<char*>(data), count);
      XFree(data);
    }
    return name;
  }
  // The colour in the middle of the icon as drawn, 0xRRGGBB.
  unsigned long Middle(Window w) {
    XWindowAttributes a;
    if (!XGetWindowAttributes(display_, w, &a)) return ~0ul;
    XImage* image = XGetImage(display_, w, a.width / 2, a.height / 2, 1, 1, AllPlanes, ZPixmap);
    if (!image) return ~0ul;
    const unsigned long pixel = XGetPixel(image, 0, 0) & 0xffffff;
    XDestroyImage(image);
    return pixel;
  }

  ::Display* display_ = nullptr;
  std::unique_ptr<test::Child> trayer_;
};

TEST_F(TrayTest, IconIsDockedDrawnNamedChangedAndRemoved) {
  StartTray();
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"Mon icône ✓", {})) << test::Utf8(ctx_.message());
  const Window icon = static_cast<Window>(TrayIconWindow());
  ASSERT_NE(icon, 0u);
  ASSERT_TRUE(test::WaitFor([&] { return Parent(icon) != 0; })) << "not embedded";
  EXPECT_NE(test::Shell("xwininfo -root -tree").find("\"Mon icône ✓\""), std::string::npos);
  EXPECT_EQ(Name(icon), "Mon icône ✓");
  EXPECT_TRUE(test::WaitFor([&] { return Middle(icon) == 0xff0000; })) << std::hex << Middle(icon);
  // The tooltip window comes when the pointer rests on the icon, and goes
  // when it leaves.
  const auto tipShown = [] { return !test::Shell("xdotool search --onlyvisible --classname '^kp-tooltip$'").empty(); };
  test::Shell("xdotool mousemove --window " + std::to_string(icon) + " 4 4");
  EXPECT_TRUE(test::WaitFor(tipShown)) << "no tooltip";
  test::Shell("xdotool mousemove 500 500");
  EXPECT_TRUE(test::WaitFor([&] { return !tipShown(); })) << "the tooltip stays";

  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"\\blue.png", u"Autre"));
  EXPECT_TRUE(test::WaitFor([&] { return Name(icon) == "Autre"; }));
  EXPECT_TRUE(test::WaitFor([&] { return Middle(icon) == 0x0000ff; })) << std::hex << Middle(icon);
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"", std::nullopt));  // keeps both
  ASSERT_TRUE(ModifyTrayIcon(ctx_, u"", u"Troisième"));
  EXPECT_TRUE(test::WaitFor([&] { return Name(icon) == "Troisième"; }));
  EXPECT_EQ(Middle(icon), 0x0000ffu);

  EXPECT_TRUE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(TrayIconWindow(), 0u);
  EXPECT_EQ(test::Shell("xwininfo -root -tree").find("Troisième"), std::string::npos);
  EXPECT_FALSE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(ctx_.systemError(), 1168u);
  EXPECT_FALSE(ModifyTrayIcon(ctx_, u"\\red.png", u"x"));
}

TEST_F(TrayTest, ATrayStartedAgainGetsTheIconBack) {
  StartTray();
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"again", {}));
  const Window icon = static_cast<Window>(TrayIconWindow());
  ASSERT_TRUE(test::WaitFor([&] { return Parent(icon) != 0; }));
  trayer_.reset();
  // The server hands the icon back to the root when its tray goes; it is
  // hidden there.
  ASSERT_TRUE(test::WaitFor([&] { return Parent(icon) == 0; }));
  EXPECT_TRUE(test::WaitFor([&] {
    XWindowAttributes a;
    return XGetWindowAttributes(display_, icon, &a) && a.map_state == IsUnmapped;
  })) << "left on the desktop";
  // Any parent at all is the new tray's: the new tray gets the old one's
  // client slot from the server, so its socket may well have the same XID.
  StartTray();
  EXPECT_TRUE(test::WaitFor([&] {
    XWindowAttributes a;
    return Parent(icon) != 0 && XGetWindowAttributes(display_, icon, &a) && a.map_state == IsViewable;
  })) << "not docked into the new tray";
  EXPECT_EQ(Name(icon), "again");
}

TEST_F(TrayTest, TheIconGoesWhenTheProgramsEnd) {
  StartTray();
  ASSERT_TRUE(AddTrayIcon(ctx_, u"\\red.png", u"ending", {}));
  const std::string window = std::to_string(TrayIconWindow());
  EndTrayIcon();
  EXPECT_EQ(TrayIconWindow(), 0u);
  EXPECT_EQ(test::Shell("xwininfo -id " + window + " 2>/dev/null"), "");
  EXPECT_FALSE(DeleteTrayIcon(ctx_));
}

TEST_F(TrayTest, BadInputAndMissingPiecesGiveFalse) {
  // Without a tray host.
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\red.png", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 1168u);
  StartTray();
  const std::u16string_view unknown[] = {u"", u"NoSuchProcedure"};
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\red.png", u"t", unknown));
  EXPECT_EQ(ctx_.errorId(), kErrNotifyProcedureMissing);
  EXPECT_NE(test::Utf8(ctx_.message()).find("NoSuchProcedure"), std::string::npos);
  EXPECT_EQ(TrayIconWindow(), 0u);
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\absent.png", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 2u);
  PutFile("text.ico", "not an icon at all");
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\text.ico", u"t", {}));
  EXPECT_EQ(ctx_.systemError(), 13u);
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"red.png", u"t", {}));
  EXPECT_EQ(ctx_.errorId(), 80600);
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\..\\..\\etc\\passwd", u"t", {}));
  EXPECT_EQ(TrayIconWindow(), 0u);
  // Without a display.
  const std::string display = getenv("DISPLAY");
  unsetenv("DISPLAY");
  ctx_.clearError();
  EXPECT_FALSE(AddTrayIcon(ctx_, u"\\red.png", u"t", {}));
  setenv("DISPLAY", display.c_str(), 1);
  EXPECT_EQ(ctx_.errorId(), kErrNotAvailableOnPlatform);
  EXPECT_EQ(ctx_.systemError(), 1167u);
}

TEST_F(TrayTest, AServerThatGoesAwayLeavesTheProgramRunning) {
  // A server of this test's own, stopped while the icon is shown on it.
  test::OwnXvfb server(dir_ + "/own-xvfb.log", {"-screen", "0", "640x480x24"});
  ASSERT_NE(server.name(), "") << test::ReadFile(dir_ + "/own-xvfb.log");
  const std::string shared = getenv("DISPLAY");
  setenv("DISPLAY", server.name().c_str(), 1);
  ::Display* own = XOpenDisplay(nullptr);
  ASSERT_NE(own, nullptr);
  test::Child tray({"trayer", "--edge", "top", "--SetDockType", "false"}, dir_ + "/own-trayer.log");
  const Atom selection = XInternAtom(own, "_NET_SYSTEM_TRAY_S0", False);
  const bool up = test::WaitFor([&] { return XGetSelectionOwner(own, selection) != None; });
  XCloseDisplay(own);
  const bool added = up && AddTrayIcon(ctx_, u"\\red.png", u"doomed", {});
  setenv("DISPLAY", shared.c_str(), 1);
  ASSERT_TRUE(up);
  ASSERT_TRUE(added);
  server.Stop();
  test::WithinSeconds(20, "the icon after its server died", [&] {
    // Changes go on being accepted until the icon's thread has seen the
    // break; none of them may block.
    EXPECT_TRUE(test::WaitFor([&] { return !ModifyTrayIcon(ctx_, u"", u"still here"); }));
    EXPECT_EQ(ctx_.errorId(), kErrNotAvailableOnPlatform);
    EXPECT_EQ(ctx_.systemError(), 1167u);
  });
  // Added again, the icon starts anew on the display there is now; the
  // broken one is closed first, from this thread although the icon's thread
  // met the break, and that must not wait.
  StartTray();
  ASSERT_TRUE(test::WithinSeconds(20, "closing the broken icon",
                                  [&] { return AddTrayIcon(ctx_, u"\\red.png", u"reborn", {}); }));
  const Window icon = static_cast<Window>(TrayIconWindow());
  EXPECT_TRUE(test::WaitFor([&] { return Parent(icon) != 0; }));
  EXPECT_EQ(Name(icon), "reborn");
  EXPECT_TRUE(DeleteTrayIcon(ctx_));
  EXPECT_EQ(TrayIconWindow(), 0u);
}

std::string HostPath() {
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return {};
  std::string dir(self, static_cast<size_t>(n));
  dir = dir.substr(0, dir.rfind('/'));
  return dir.substr(0, dir.rfind('/')) + "/host/kp";
}

TEST_F(TrayTest, ClicksRunTheScriptsProcedures) {
  const std::string host = HostPath();
  if (access(host.c_str(), X_OK) != 0) GTEST_SKIP() << "the host is not built: " << host;
  StartTray();
  const std::string script = dir_ + "/click.kl";
  {
    std::ofstream out(script);
    ASSERT_TRUE(out);
    for (const char* name : {"Left", "Right", "Double", "Middle", "Over"})
      out << "PROCEDURE On" << name << "()\n  Trace(\"" << name << "\")\nEND\n";
    out << "Trace(SysIconeAjoute(\"\\red.png\", \"clickme\", \"OnLeft\", \"OnRight\", \"OnDouble\", \"OnMiddle\", "
           "\"OnOver\"))\n"
           "Attends(20000)\n";
  }
  const std::string output = dir_ + "/click.out";
  // stdbuf preloads its library before a sanitizer's runtime: allowed here.
  const char* asan = getenv("ASAN_OPTIONS");
  const std::string options =
      std::string("ASAN_OPTIONS=") + (asan ? std::string(asan) + ":" : "") + "verify_asan_link_order=0";
  test::Child kp({"env", options, "stdbuf", "-oL", host, "run", script}, output);
  ASSERT_TRUE(test::WaitFor([&] { return test::ReadFile(output).find("True") != std::string::npos; }))
      << test::ReadFile(output);
  std::string id = test::Shell("xdotool search --name '^clickme$'");
  ASSERT_FALSE(id.empty());
  id = id.substr(0, id.find('\n'));
  // Docked first: a click on a window not yet reparented may miss it.
  ASSERT_TRUE(test::WaitFor([&] { return Parent(std::stoul(id)) != 0; }));
  const auto saw = [&](const std::string& line) {
    return test::WaitFor([&] { return test::ReadFile(output).find("\n" + line + "\n") != std::string::npos; });
  };
  test::Shell("xdotool mousemove --window " + id + " 4 4");
  EXPECT_TRUE(saw("Over")) << test::ReadFile(output);
  test::Shell("xdotool click 1");
  EXPECT_TRUE(saw("Left")) << test::ReadFile(output);
  test::Shell("xdotool click 3");
  EXPECT_TRUE(saw("Right")) << test::ReadFile(output);
  test::Shell("xdotool click 2");
  EXPECT_TRUE(saw("Middle")) << test::ReadFile(output);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // not a double click with the first
  test::Shell("xdotool click --repeat 2 --delay 100 1");
  EXPECT_TRUE(saw("Double")) << test::ReadFile(output);
}

}  // namespace
}  // namespace kp::desktop
