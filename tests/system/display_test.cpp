// The screen and window calls under an Xvfb of the test's own, against
// xdpyinfo, xprop, xwininfo and xdotool; the orientation logic against a
// stand-in for the display; text sizes against python3-pil measuring the
// same font file; system colours through the device registry.
#include "system/display.h"

#include <gtest/gtest.h>

#include <cmath>
#include <regex>

#include "abi/error_ids.h"
#include "platform/display.h"
#include "registry/registry.h"
#include "registry/registry_fixture.h"
#include "support/fake_context.h"
#include "support/xev.h"
#include "support/xvfb.h"

namespace kp::system {
namespace {

using test::Shell;
using test::Xev;
using test::Xvfb;

class Display : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* tool : {"Xvfb", "xev", "xdotool", "xwininfo", "xprop", "xdpyinfo", "stdbuf"})
      if (!test::OnPath(tool)) GTEST_SKIP() << tool << " is not installed";
    Xvfb::Shared();
  }
  test::FakeContext ctx_;
};

std::string Match(const std::string& text, const char* pattern) {
  std::smatch m;
  return std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : std::string();
}

TEST_F(Display, ScreenAsXdpyinfoSeesIt) {
  const std::string info = Shell("xdpyinfo");
  EXPECT_EQ(std::to_string(ScreenWidth(ctx_)), Match(info, R"(dimensions:\s+(\d+)x)"));
  EXPECT_EQ(std::to_string(ScreenHeight(ctx_)), Match(info, R"(dimensions:\s+\d+x(\d+))"));
  EXPECT_EQ(std::to_string(ColourDepth(ctx_)), Match(info, R"(depth of root window:\s+(\d+) planes)"));
  EXPECT_EQ(ScreenCount(ctx_), 1);
  EXPECT_EQ(SystemMetric(ctx_, 0), ScreenWidth(ctx_));
  EXPECT_EQ(SystemMetric(ctx_, 1), ScreenHeight(ctx_));
  EXPECT_EQ(SystemMetric(ctx_, 19), 1);  // a mouse is present
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Display, UnknownMetricsFailClearly) {
  for (int32_t index : {-1, 9999, 3, INT32_MAX}) {
    ctx_.clearError();
    EXPECT_EQ(SystemMetric(ctx_, index), 0) << index;
    EXPECT_EQ(ctx_.errorId(), kErrUnknownSystemMetric) << index;
  }
}

TEST_F(Display, WindowsAsXpropXwininfoAndXdotoolSeeThem) {
  Xev xev("kp-window-title");
  const int32_t h = int32_t(WindowHandle(ctx_, u"kp-window-title").value);
  EXPECT_EQ(uint32_t(h), xev.window());
  EXPECT_EQ(WindowTitle(ctx_, h), u"kp-window-title");
  EXPECT_TRUE(ValidHandle(ctx_, h));

  ASSERT_TRUE(SetWindowTitle(ctx_, h, u"Fenêtre 2"));
  EXPECT_NE(Shell("xprop -id " + std::to_string(h) + " _NET_WM_NAME").find("\"Fenêtre 2\""), std::string::npos);
  EXPECT_EQ(Shell("xdotool getwindowname " + std::to_string(h)), "Fenêtre 2\n");
  EXPECT_EQ(WindowTitle(ctx_, h), u"Fenêtre 2");
  EXPECT_EQ(uint32_t(WindowHandle(ctx_, u"Fenêtre 2").value), xev.window());

  auto mapState = [&] { return Match(Shell("xwininfo -id " + std::to_string(h)), R"(Map State: (\w+))"); };
  EXPECT_NE(ShowWindow(ctx_, h, 0), 0);  // it was visible
  EXPECT_EQ(mapState(), "IsUnMapped");
  EXPECT_EQ(ShowWindow(ctx_, h, 0), 0);  // and now it was not
  EXPECT_EQ(ShowWindow(ctx_, h), 0);     // shown again
  EXPECT_EQ(mapState(), "IsViewable");
  EXPECT_EQ(ShowWindow(ctx_, h, kShowRefresh), 1);
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(ShowWindow(ctx_, h, 14), 0);
  EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
  ctx_.clearError();

  Xev other("kp-window-other");
  ASSERT_TRUE(ActivateWindow(ctx_, int32_t(other.window())));
  EXPECT_EQ(Shell("xdotool getwindowfocus"), std::to_string(other.window()) + "\n");
  EXPECT_EQ(ActiveWindow(ctx_).value, other.window());
  EXPECT_EQ(ShowWindow(ctx_, h, kShowActivate), 1);
  EXPECT_EQ(Shell("xdotool getwindowfocus"), std::to_string(h) + "\n");
  EXPECT_EQ(ActiveWindow(ctx_).value, uint32_t(h));

  EXPECT_EQ(WindowHandle(ctx_, u"no window has this title").value, 0u);
  EXPECT_EQ(Instance(ctx_).value, uint32_t(getpid()));
}

TEST_F(Display, BadHandlesFailClearly) {
  uint32_t stale;
  {
    Xev gone("kp-window-gone");
    stale = gone.window();
  }
  ASSERT_TRUE(test::WaitFor([&] { return Shell("xdotool search --name '^kp-window-gone$'").empty(); }));
  for (int32_t h : {0, -1, int32_t(stale)}) {
    ctx_.clearError();
    EXPECT_FALSE(ValidHandle(ctx_, h)) << h;
    EXPECT_EQ(ShowWindow(ctx_, h, 5), 0);
    EXPECT_EQ(ctx_.errorId(), kErrNotAWindow);
    ctx_.clearError();
    EXPECT_EQ(WindowTitle(ctx_, h), u"");
    EXPECT_EQ(ctx_.systemError(), 1400u);
    EXPECT_FALSE(SetWindowTitle(ctx_, h, u"x"));
    EXPECT_FALSE(ActivateWindow(ctx_, h));
  }
}

// --- orientation -------------------------------------------------------------

TEST_F(Display, OrientationUnderXvfb) {
  // Xvfb's RandR turns the screen or not, by version: either way the answers
  // agree with each other and an unknown text changes nothing.
  const std::u16string list = ListScreenOrientations(ctx_);
  ASSERT_EQ(list.substr(0, 1), u"0");
  EXPECT_EQ(ScreenOrientation(ctx_), u"0");
  EXPECT_EQ(SetScreenOrientation(ctx_, u"45"), u"0");
  EXPECT_EQ(ctx_.errorId(), kErrUnknownParameterMode);
  ctx_.clearError();
  if (list.find(u"90") == std::u16string::npos) {
    EXPECT_EQ(SetScreenOrientation(ctx_, u"90"), u"0");
    EXPECT_EQ(ctx_.errorId(), kErrScreenOrientationFailed);
  } else {
    EXPECT_EQ(SetScreenOrientation(ctx_, u"90"), u"90");
    EXPECT_EQ(Match(Shell("xdpyinfo"), R"(dimensions:\s+(\d+x\d+))"), "768x1024");
    EXPECT_EQ(SetScreenOrientation(ctx_, u"0"), u"0");
  }
}

// A display that accepts the orientations of `supported` (a bit per value
// 0, 1, 2, 4) and can be made to fail.
struct FakeDisplay {
  static inline int32_t current = 0;
  static inline unsigned supported = 0;
  static inline bool readFails = false;
  static bool Get(int32_t* o) {
    if (readFails) return false;
    *o = current;
    return true;
  }
  static bool Test(int32_t o) { return (supported >> o) & 1; }
  static bool Set(int32_t o) {
    if (!Test(o)) return false;
    current = o;
    return true;
  }
};

class Orientation : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeDisplay::current = 0;
    FakeDisplay::supported = 1 | 4;  // 0 and 180
    FakeDisplay::readFails = false;
    UseOrientationOps(&ops_);
  }
  void TearDown() override { UseOrientationOps(nullptr); }
  static constexpr OrientationOps ops_ = {FakeDisplay::Get, FakeDisplay::Test, FakeDisplay::Set};
  test::FakeContext ctx_;
};

TEST_F(Orientation, ListsTheAcceptedValuesInOrder) {
  EXPECT_EQ(ListScreenOrientations(ctx_), u"0\r\n180");
  FakeDisplay::supported = 1 | 2 | 4 | 16;
  EXPECT_EQ(ListScreenOrientations(ctx_), u"0\r\n90\r\n180\r\n270");
  FakeDisplay::supported = 16;
  EXPECT_EQ(ListScreenOrientations(ctx_), u"270");
  EXPECT_FALSE(ctx_.hasError());
  FakeDisplay::supported = 0;
  EXPECT_EQ(ListScreenOrientations(ctx_), u"");
  EXPECT_EQ(ctx_.errorId(), kErrScreenOrientationFailed);
}

TEST_F(Orientation, SetsAndReadsBack) {
  EXPECT_EQ(SetScreenOrientation(ctx_, u"180"), u"180");
  EXPECT_EQ(FakeDisplay::current, 2);
  EXPECT_EQ(ScreenOrientation(ctx_), u"180");
  EXPECT_FALSE(ctx_.hasError());
  // Refused by the display: 80147, and the orientation read back unchanged.
  EXPECT_EQ(SetScreenOrientation(ctx_, u"90"), u"180");
  EXPECT_EQ(ctx_.errorId(), kErrScreenOrientationFailed);
  ctx_.clearError();
  // Not one of the four texts: 80700, nothing asked of the display.
  for (std::u16string_view bad : {u"45", u"", u"090", u"90 ", u"-90"}) {
    ctx_.clearError();
    EXPECT_EQ(SetScreenOrientation(ctx_, bad), u"180");
    EXPECT_EQ(ctx_.errorId(), kErrUnknownParameterMode);
  }
  EXPECT_EQ(FakeDisplay::current, 2);
  // A value the display reports that is none of the four, or no answer.
  ctx_.clearError();
  FakeDisplay::current = 3;
  EXPECT_EQ(ScreenOrientation(ctx_), u"");
  EXPECT_EQ(ctx_.errorId(), kErrScreenOrientationFailed);
  ctx_.clearError();
  FakeDisplay::readFails = true;
  EXPECT_EQ(ScreenOrientation(ctx_), u"");
  EXPECT_EQ(ctx_.errorId(), kErrScreenOrientationFailed);
}

// --- text sizes ----------------------------------------------------------------

class TextSize : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::OnPath("fc-match") || Shell(Python() + " -c 'import PIL.ImageFont; print(1)' 2>/dev/null") != "1\n")
      GTEST_SKIP() << "fc-match or python3-pil is not installed";
  }
  // Debian's interpreter, where python3-pil installs, before any other.
  static std::string Python() { return access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3"; }
  // PIL's advance width and ascent + descent for the text in the file
  // fontconfig picks for the name and pixel size.
  static std::pair<int, int> Pil(const std::string& utf8, const std::string& name, int size) {
    const std::string file = Shell("fc-match -f '%{file}' '" + name + ":pixelsize=" + std::to_string(size) + "'");
    const std::string script = "import sys; from PIL import ImageFont; f = ImageFont.truetype(sys.argv[1], " +
                               std::to_string(size) +
                               "); a, d = f.getmetrics(); print(round(f.getlength(sys.argv[2])), a + d)";
    const std::string out = Shell(Python() + " -c '" + script + "' '" + file + "' '" + utf8 + "'");
    int w = -1, h = -1;
    std::sscanf(out.c_str(), "%d %d", &w, &h);
    return {w, h};
  }
  test::FakeContext ctx_;
};

TEST_F(TextSize, AgreesWithPilOnTheSameFontFile) {
  struct Case {
    std::u16string text;
    std::string utf8;
    std::u16string font;
    std::string name;
    int size;
  } const cases[] = {
      {u"Hello, world", "Hello, world", u"DejaVu Sans,16", "DejaVu Sans", 16},
      {u"Largeur à mesurer : 123", "Largeur à mesurer : 123", u"DejaVu Sans,12", "DejaVu Sans", 12},
      {u"WAVE AVATAR Tj", "WAVE AVATAR Tj", u"DejaVu Sans Mono,20", "DejaVu Sans Mono", 20},
      {u"iiiiiiiiii", "iiiiiiiiii", u"DejaVu Serif, 30", "DejaVu Serif", 30},
      {u"Défaut", "Défaut", u"", "Tahoma", 12},  // the default font
      {u"x", "x", u",40", "Tahoma", 40},         // the default name at another size
  };
  for (const auto& c : cases) {
    const auto [w, h] = Pil(c.utf8, c.name, c.size);
    ASSERT_GE(w, 0) << c.utf8;
    EXPECT_NEAR(TextWidth(ctx_, c.text, c.font), w, 1) << c.utf8;
    EXPECT_NEAR(TextHeight(ctx_, c.text, c.font), h, 1) << c.utf8;
  }
  EXPECT_EQ(TextWidth(ctx_, u"", u"DejaVu Sans,16"), 0);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(TextSize, BadFontsFailClearly) {
  for (std::u16string_view font : {u"DejaVu Sans,0", u"DejaVu Sans,abc", u"DejaVu Sans,1001", u"x,99999999999"}) {
    ctx_.clearError();
    EXPECT_EQ(TextWidth(ctx_, u"x", font), -1);
    EXPECT_EQ(ctx_.systemError(), 87u);
    EXPECT_EQ(TextHeight(ctx_, u"x", font), -1);
  }
}

// --- system colours ------------------------------------------------------------

class SystemColours : public test::FreshDevice {};

TEST_F(SystemColours, FromTheDeviceRegistryWithTheClassicDefaults) {
  constexpr int32_t scWindow = 0x40000005, scHighLight = 0x4000000d, scBtnFace = 0x4000000f;
  EXPECT_EQ(SystemColour(ctx_, scWindow), 0xFFFFFF);
  EXPECT_EQ(SystemColour(ctx_, scHighLight), 10 | 36 << 8 | 106 << 16);
  EXPECT_EQ(SystemColour(ctx_, 15), SystemColour(ctx_, scBtnFace));  // the bare number as well
  // A KL program's own registry write is read back.
  ASSERT_TRUE(registry::CreateKey(ctx_, u"HKEY_CURRENT_USER\\Control Panel\\Colors"));
  ASSERT_TRUE(registry::SetText(ctx_, u"HKEY_CURRENT_USER\\Control Panel\\Colors", u"Window", u"1 2 3"));
  EXPECT_EQ(SystemColour(ctx_, scWindow), 1 | 2 << 8 | 3 << 16);
  // A text that is not "R G B" leaves the default.
  ASSERT_TRUE(registry::SetText(ctx_, u"HKEY_CURRENT_USER\\Control Panel\\Colors", u"Hilight", u"10 300 2"));
  EXPECT_EQ(SystemColour(ctx_, scHighLight), 10 | 36 << 8 | 106 << 16);
  // And a colour set here is the registry's text.
  ASSERT_TRUE(SetSystemColour(ctx_, scBtnFace, 0x123456));
  bool ok = false;
  const Value v = registry::QueryValue(ctx_, u"HKEY_CURRENT_USER\\Control Panel\\Colors", u"ButtonFace", &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(std::get<std::u16string>(v), u"86 52 18");
  EXPECT_EQ(SystemColour(ctx_, scBtnFace), 0x123456);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SystemColours, UnknownIndicesAndColoursFailClearly) {
  for (int32_t index : {21, -1, 0x40000015, 0x7FFFFFFF}) {
    ctx_.clearError();
    EXPECT_EQ(SystemColour(ctx_, index), -1) << index;
    EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
    EXPECT_FALSE(SetSystemColour(ctx_, index, 0));
  }
  ctx_.clearError();
  EXPECT_FALSE(SetSystemColour(ctx_, 5, 0x1000000));
  EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
  EXPECT_FALSE(SetSystemColour(ctx_, 5, -1));
}

TEST(DisplayWithoutServer, EveryCallFailsCleanly) {
  const char* old = getenv("DISPLAY");
  const std::string saved = old ? old : "";
  unsetenv("DISPLAY");
  test::FakeContext ctx;
  EXPECT_EQ(ScreenWidth(ctx), 0);
  EXPECT_EQ(ctx.systemError(), platform::display::kNoDisplay);
  EXPECT_EQ(ctx.errorId(), kErrNotAvailableOnPlatform);
  EXPECT_EQ(ColourDepth(ctx), 0);
  EXPECT_EQ(WindowHandle(ctx, u"x").value, 0u);
  EXPECT_EQ(ActiveWindow(ctx).value, 0u);
  EXPECT_FALSE(ValidHandle(ctx, 5));
  EXPECT_EQ(ShowWindow(ctx, 5, 5), 0);
  EXPECT_EQ(ctx.systemError(), platform::display::kNoDisplay);
  EXPECT_EQ(WindowTitle(ctx, 5), u"");
  EXPECT_EQ(ListScreenOrientations(ctx), u"");
  EXPECT_EQ(ctx.errorId(), kErrScreenOrientationFailed);
  if (old) setenv("DISPLAY", saved.c_str(), 1);
}

}  // namespace
}  // namespace kp::system
