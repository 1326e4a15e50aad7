// Keyboard and mouse emulation under an Xvfb of the test's own, checked by
// observers that are not our code: xev on its own window for the events,
// xdotool for the pointer and for holding keys, xwininfo for geometry.
#include "system/input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "abi/error_ids.h"
#include "platform/display.h"
#include "support/fake_context.h"
#include "support/xev.h"
#include "support/xvfb.h"

// Last: Xlib's macros (None, Bool, Status) would clash with the headers above.
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace kp::system {
namespace {

using test::Shell;
using test::Xev;
using test::Xvfb;
using Names = std::vector<std::string>;

class Input : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* tool : {"Xvfb", "xev", "xdotool", "xwininfo", "stdbuf"})
      if (!test::OnPath(tool)) GTEST_SKIP() << tool << " is not installed";
    Xvfb::Shared();
  }
  test::FakeContext ctx_;
};

// The screen point of the window's client area, as xwininfo reads it: its
// absolute corner is outside the border.
std::pair<int, int> ClientOrigin(uint32_t window) {
  const std::string info = Shell("xwininfo -id " + std::to_string(window));
  std::smatch x, y, border;
  EXPECT_TRUE(std::regex_search(info, x, std::regex(R"(Absolute upper-left X:\s+(-?\d+))")));
  EXPECT_TRUE(std::regex_search(info, y, std::regex(R"(Absolute upper-left Y:\s+(-?\d+))")));
  EXPECT_TRUE(std::regex_search(info, border, std::regex(R"(Border width:\s+(\d+))")));
  return {std::stoi(x[1]) + std::stoi(border[1]), std::stoi(y[1]) + std::stoi(border[1])};
}

std::pair<int, int> Pointer() {
  const std::string where = Shell("xdotool getmouselocation");
  std::smatch m;
  EXPECT_TRUE(std::regex_search(where, m, std::regex(R"(x:(-?\d+) y:(-?\d+))"))) << where;
  return {std::stoi(m[1]), std::stoi(m[2])};
}

// How many keycodes of the server's keymap carry `sym`.
int KeycodesOf(KeySym sym) {
  ::Display* d = XOpenDisplay(nullptr);
  if (!d) return -1;
  int low, high, per = 0;
  XDisplayKeycodes(d, &low, &high);
  KeySym* map = XGetKeyboardMapping(d, KeyCode(low), high - low + 1, &per);
  int count = 0;
  for (int code = 0; map && code <= high - low; ++code)
    count += std::count(map + code * per, map + (code + 1) * per, sym) > 0;
  if (map) XFree(map);
  XCloseDisplay(d);
  return count;
}

TEST_F(Input, TypesWhatXevSees) {
  Xev xev("kp-keys");
  ASSERT_TRUE(SendKeys(ctx_, u"abc{ENTER 3}", u"kp-keys")) << test::Utf8(ctx_.message());
  ASSERT_TRUE(xev.WaitForKeyPresses(6) && xev.WaitForKeyReleases(6)) << xev.log();
  EXPECT_EQ(xev.KeyPresses(), (Names{"a", "b", "c", "Return", "Return", "Return"}));
  EXPECT_EQ(xev.KeyReleases(), (Names{"a", "b", "c", "Return", "Return", "Return"}));
}

TEST_F(Input, ModifiersNamesAndCharactersTheKeymapLacks) {
  Xev xev("kp-more");
  ASSERT_TRUE(SendKeys(ctx_, u"+a^(xy){F12}", int32_t(xev.window()))) << test::Utf8(ctx_.message());
  // xev's Xlib reads the keyboard description when it translates its first
  // key, and hears of keymap changes only from then on: a key bound before
  // that would stay NoSymbol to it, whoever bound it.
  ASSERT_TRUE(xev.WaitForKeyPresses(6)) << xev.log();
  // "é" has no key in Xvfb's US keymap: a spare keycode is bound for it.
  ASSERT_TRUE(SendKeys(ctx_, u"é{ECHAP}{ESC}", int32_t(xev.window())));
  ASSERT_TRUE(xev.WaitForKeyPresses(10)) << xev.log();
  EXPECT_EQ(xev.KeyPresses(),
            (Names{"Shift_L", "A", "Control_L", "x", "y", "F12", "eacute", "Escape", "Shift_L", "E"}));
  // Every key pressed was released, so none stays down.
  EXPECT_TRUE(xev.WaitForKeyReleases(10)) << xev.log();
  EXPECT_EQ(xev.KeyReleases().size(), xev.KeyPresses().size());
  // The binding stays for the next é (a reader may translate the press after
  // the release), until the library unloads.
  ASSERT_TRUE(SendKeys(ctx_, u"é", int32_t(xev.window())));
  ASSERT_TRUE(xev.WaitForKeyPresses(11));
  EXPECT_EQ(xev.KeyPresses().back(), "eacute");
  EXPECT_EQ(KeycodesOf(XK_eacute), 1);
  // Another program typing é binds its own spare keycode, and gives it back
  // when it ends.
  const std::string typed = Shell("KP_PREFIX=" + Xvfb::Shared().dir() + " " + std::string(KP_HOST_PATH) +
                                  " eval 'EnvoieTouche(\"é\", " + std::to_string(xev.window()) + ")' 2>&1");
  EXPECT_EQ(typed, "True\n");
  ASSERT_TRUE(xev.WaitForKeyPresses(12)) << xev.log();
  EXPECT_EQ(xev.KeyPresses().back(), "eacute");
  EXPECT_EQ(KeycodesOf(XK_eacute), 1);
}

TEST_F(Input, ClicksAtTheClientPointOfTheTarget) {
  Xev xev("kp-mouse");
  ASSERT_TRUE(SendKeys(ctx_, u"{LEFTBTN,10,20}", u"kp-mouse"));
  ASSERT_TRUE(test::WaitFor([&] { return !xev.ButtonPresses().empty(); }, std::chrono::seconds(5))) << xev.log();
  EXPECT_EQ(xev.ButtonPresses(), (Names{"button 1 at (10,20)"}));
  const auto [x, y] = ClientOrigin(xev.window());
  EXPECT_EQ(Pointer(), std::make_pair(x + 10, y + 20));
  // A right double click and a middle press and release elsewhere.
  ASSERT_TRUE(SendKeys(ctx_, u"{BTNDROIT2,100,50}{MIDDLEBTN+,5,6}{MIDDLEBTN-,5,6}", u"kp-mouse"));
  ASSERT_TRUE(test::WaitFor([&] { return xev.ButtonPresses().size() >= 4; }, std::chrono::seconds(5)));
  EXPECT_EQ(xev.ButtonPresses(), (Names{"button 1 at (10,20)", "button 3 at (100,50)", "button 3 at (100,50)",
                                        "button 2 at (5,6)"}));
  EXPECT_EQ(Pointer(), std::make_pair(x + 5, y + 6));
}

TEST_F(Input, DriveInputAndDriveMouseGoWhereTheFocusAndPointAre) {
  Xev xev("kp-drive");
  Shell("xdotool windowfocus --sync " + std::to_string(xev.window()));
  ASSERT_TRUE(DriveInput(ctx_, u"xy{TAB}", kDriveShift));
  ASSERT_TRUE(xev.WaitForKeyPresses(4)) << xev.log();
  EXPECT_EQ(xev.KeyPresses(), (Names{"Shift_L", "X", "Y", "ISO_Left_Tab"}));
  // Mouse names are not PiloteSaisie's: "{LEFTBTN}" is the LEFT arrow.
  ASSERT_TRUE(DriveInput(ctx_, u"{LEFTBTN}"));
  ASSERT_TRUE(xev.WaitForKeyPresses(5));
  EXPECT_EQ(xev.KeyPresses().back(), "Left");

  const auto [x, y] = ClientOrigin(xev.window());
  ASSERT_TRUE(DriveMouse(ctx_, kMouseRightClick, x + 30, y + 40));
  ASSERT_TRUE(test::WaitFor([&] { return !xev.ButtonPresses().empty(); }, std::chrono::seconds(5)));
  EXPECT_EQ(xev.ButtonPresses(), (Names{"button 3 at (30,40)"}));
  EXPECT_EQ(Pointer(), std::make_pair(x + 30, y + 40));
  EXPECT_FALSE(DriveMouse(ctx_, 9, 0, 0));
  EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
  EXPECT_FALSE(DriveInput(ctx_, u"a", 8));
}

TEST_F(Input, KeyStateWhileXdotoolHoldsAKey) {
  EXPECT_FALSE(KeyPressed(ctx_, 16, true));
  EXPECT_EQ(KeyState(ctx_, 16), 0);
  Shell("xdotool keydown shift");
  EXPECT_TRUE(KeyPressed(ctx_, 16, true));
  EXPECT_TRUE(KeyPressed(ctx_, 16, false));
  EXPECT_LT(KeyState(ctx_, 16), 0);
  EXPECT_EQ(KeyState(ctx_, 17), 0);  // Ctrl is not down
  Shell("xdotool keyup shift");
  EXPECT_FALSE(KeyPressed(ctx_, 16, true));

  Shell("xdotool keydown a");
  EXPECT_LT(KeyState(ctx_, 'A'), 0);
  Shell("xdotool keyup a");
  EXPECT_EQ(KeyState(ctx_, 'A'), 0);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Input, KeyCodesOutsideTheByteFailClearly) {
  for (int32_t key : {256, -1, 0x10000, INT32_MIN}) {
    ctx_.clearError();
    EXPECT_EQ(KeyState(ctx_, key), 0);
    EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange) << key;
    ctx_.clearError();
    EXPECT_FALSE(KeyPressed(ctx_, key, true));
    EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
  }
}

TEST_F(Input, NothingIsSentOnAnErrorOrWithoutATarget) {
  Xev xev("kp-none");
  Shell("xdotool windowfocus --sync " + std::to_string(xev.window()));
  // A broken string, a missing window, bad handles: False and no key.
  EXPECT_FALSE(SendKeys(ctx_, u"ab{ENTER", u"kp-none"));
  EXPECT_FALSE(SendKeys(ctx_, u"(ab", int32_t(xev.window())));
  EXPECT_FALSE(SendKeys(ctx_, u"ab", u"no window has this title"));
  for (int32_t handle : {0, -1, 0x7FFFFFF0}) {
    ctx_.clearError();
    EXPECT_FALSE(SendKeys(ctx_, u"ab", handle)) << handle;
    EXPECT_EQ(ctx_.systemError(), 1400u);
  }
  // A stale handle: the window of an xev that has ended.
  uint32_t stale;
  {
    Xev gone("kp-gone");
    stale = gone.window();
  }
  ASSERT_TRUE(test::WaitFor([&] { return Shell("xdotool search --name '^kp-gone$'").empty(); }));
  EXPECT_FALSE(SendKeys(ctx_, u"ab", int32_t(stale)));

  // While emulation is refused: 81504 with the target, and nothing sent.
  RefuseInputEmulation(true);
  ctx_.clearError();
  EXPECT_FALSE(SendKeys(ctx_, u"ab", u"kp-none"));
  EXPECT_EQ(ctx_.errorId(), kErrKeyboardEmulationDisabled);
  EXPECT_NE(test::Utf8(ctx_.message()).find("kp-none"), std::string::npos);
  RefuseInputEmulation(false);

  // Then one key that does arrive shows that nothing before it did.
  ASSERT_TRUE(SendKeys(ctx_, u"z", u"kp-none"));
  ASSERT_TRUE(xev.WaitForKeyPresses(1)) << xev.log();
  EXPECT_EQ(xev.KeyPresses(), (Names{"z"}));
}

TEST_F(Input, WithoutADisplayEveryCallFailsCleanly) {
  const std::string saved = getenv("DISPLAY") ? getenv("DISPLAY") : "";
  unsetenv("DISPLAY");
  EXPECT_FALSE(SendKeys(ctx_, u"abc"));
  EXPECT_EQ(ctx_.systemError(), platform::display::kNoDisplay);
  EXPECT_EQ(ctx_.errorId(), kErrNotAvailableOnPlatform);
  ctx_.clearError();
  EXPECT_EQ(KeyState(ctx_, 16), 0);
  EXPECT_EQ(ctx_.systemError(), platform::display::kNoDisplay);
  ctx_.clearError();
  EXPECT_FALSE(DriveMouse(ctx_, kMouseLeftClick, 1, 1));
  EXPECT_EQ(ctx_.systemError(), platform::display::kNoDisplay);
  setenv("DISPLAY", saved.c_str(), 1);
  // And the display comes back when there is one again.
  EXPECT_TRUE(platform::display::Available());
}

}  // namespace
}  // namespace kp::system
