// kp160std — keyboard and mouse emulation (see input.h).
#include "system/input.h"

#include <atomic>
#include <new>
#include <string>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "platform/display.h"
#include "platform/platform.h"

namespace kp::system {
namespace {

namespace dpy = platform::display;

std::atomic<bool> gRefused{false};

// How long the target is given to react after the last record, as the
// platform's player waits.
constexpr uint32_t kReactMs = 100;

// The parser's view of the platform: its layout, the target's client area
// and the screen.
keys::KeyStringEnv EnvFor(uint32_t target) {
  keys::KeyStringEnv env;
  env.vkKeyScan = [](char16_t c) { return dpy::VkKeyScan(c); };
  if (target) {
    env.clientToScreen = [target](int32_t* x, int32_t* y) { dpy::ClientToScreen(target, x, y); };
  }
  env.screenWidth = dpy::GetSystemMetrics(dpy::kSmCxScreen);
  env.screenHeight = dpy::GetSystemMetrics(dpy::kSmCyScreen);
  return env;
}

// The platform's error in the record; without a display the function is
// not available here, which the record says as well.
void RecordPlatformError(ExecContext* context) {
  const uint32_t code = platform::LastError();
  if (code == dpy::kNoDisplay) {
    RaiseSystem(context, kErrNotAvailableOnPlatform, code);
  } else if (code) {
    SetSystemError(context, code);
  }
}

// Parses and plays; `target` 0 with `useActive` picks the active window.
bool ParseAndPlay(ExecContext* context, std::u16string_view text, uint32_t target, uint32_t options,
                  std::u16string_view targetName) {
  if (gRefused.load()) {
    Raise(context, kErrKeyboardEmulationDisabled, {targetName});
    return false;
  }
  if (!dpy::Available()) {
    RecordPlatformError(context);
    return false;
  }
  if (!target && !(options & keys::kNoTarget)) target = dpy::GetActiveWindow();
  const keys::ParseResult parsed = keys::Parse(text, options, EnvFor(target));
  if (parsed.error == keys::ParseError::kTooManyRecords) {
    RaiseOutOfMemory(context);
    return false;
  }
  if (!parsed.ok()) return false;  // a broken string sends nothing
  if (!Play(parsed.records, (options & keys::kNoTarget) ? 0 : target)) {
    RecordPlatformError(context);
    return false;
  }
  return true;
}

std::u16string Decimal(int32_t v) {
  const std::string s = std::to_string(v);
  return std::u16string(s.begin(), s.end());
}

std::u16string HandleText(int32_t window) { return std::u16string(u"0x") + [&] {
  static constexpr char16_t kHex[] = u"0123456789ABCDEF";
  std::u16string digits;
  for (int shift = 28; shift >= 0; shift -= 4) digits += kHex[(uint32_t(window) >> shift) & 0xF];
  return digits;
}(); }

}  // namespace

bool Play(const std::vector<keys::InputRecord>& records, uint32_t target) {
  if (target) {
    // A window that cannot take the focus still gets nothing worse than the
    // keys going to whatever has it, as on the platform.
    dpy::PumpMessages();
    dpy::SetForegroundWindow(target);
  }
  for (const auto& r : records) {
    dpy::Input input;
    input.type = r.type;
    input.vk = r.vk;
    input.scan = r.scan;
    input.x = r.x;
    input.y = r.y;
    input.flags = r.flags;
    input.time = r.delay ? r.delay + platform::TickCount() : 0;
    if (!dpy::SendInput(input)) return false;
  }
  dpy::WaitForInputIdle(kReactMs);
  return true;
}

bool SendKeys(ExecContext* context, std::u16string_view text) {
  return ParseAndPlay(context, text, 0, keys::kKeyNames | keys::kMouseNames, u"");
}

bool SendKeys(ExecContext* context, std::u16string_view text, std::u16string_view windowName) {
  if (gRefused.load()) {
    Raise(context, kErrKeyboardEmulationDisabled, {windowName});
    return false;
  }
  const dpy::Window target = dpy::FindWindow(windowName);
  if (!target) {
    RecordPlatformError(context);
    return false;  // no such window: nothing sent
  }
  return ParseAndPlay(context, text, target, keys::kKeyNames | keys::kMouseNames, windowName);
}

bool SendKeys(ExecContext* context, std::u16string_view text, int32_t window) {
  if (gRefused.load()) {
    Raise(context, kErrKeyboardEmulationDisabled, {HandleText(window)});
    return false;
  }
  if (!dpy::IsWindow(uint32_t(window))) {
    RecordPlatformError(context);
    return false;
  }
  return ParseAndPlay(context, text, uint32_t(window), keys::kKeyNames | keys::kMouseNames, HandleText(window));
}

void RefuseInputEmulation(bool refuse) { gRefused.store(refuse); }
bool InputEmulationRefused() { return gRefused.load(); }

int32_t KeyState(ExecContext* context, int32_t virtualKey) {
  if (virtualKey < 0 || virtualKey > 255) {
    Raise(context, kErrValueOutOfRange, {virtualKey});
    return 0;
  }
  platform::SetLastError(0);
  const int16_t state = dpy::GetAsyncKeyState(virtualKey);
  if (!state) RecordPlatformError(context);
  return state;
}

bool KeyPressed(ExecContext* context, int32_t virtualKey, bool now) {
  const int32_t state = KeyState(context, virtualKey);
  return now ? state < 0 : state != 0;
}

bool DriveInput(ExecContext* context, std::u16string_view text, int32_t modifiers) {
  if (modifiers < 0 || modifiers > 7) {
    Raise(context, kErrValueOutOfRange, {modifiers});
    return false;
  }
  // The modifiers as prefixes of a group around the whole string.
  std::u16string wrapped;
  if (modifiers) {
    if (modifiers & kDriveShift) wrapped += u'+';
    if (modifiers & kDriveControl) wrapped += u'^';
    if (modifiers & kDriveAlt) wrapped += u'%';
    wrapped += u'(';
    wrapped += text;
    wrapped += u')';
    text = wrapped;
  }
  return ParseAndPlay(context, text, 0, keys::kKeyNames | keys::kNoTarget, u"");
}

bool DriveMouse(ExecContext* context, int32_t action, int32_t x, int32_t y) {
  static constexpr std::u16string_view kNames[] = {u"LEFTBTN",  u"RIGHTBTN",  u"LEFTBTN2",  u"RIGHTBTN2",
                                                     u"LEFTBTN+", u"RIGHTBTN+", u"LEFTBTN-", u"RIGHTBTN-"};
  if (action < 1 || action > 8) {
    Raise(context, kErrValueOutOfRange, {action});
    return false;
  }
  // The same records a braced mouse name makes, at a screen point.
  const std::u16string text = u"{" + std::u16string(kNames[action - 1]) + u"," + Decimal(x) + u"," +
                              Decimal(y) + u"}";
  return ParseAndPlay(context, text, 0, keys::kMouseNames | keys::kNoTarget, u"");
}

}  // namespace kp::system
