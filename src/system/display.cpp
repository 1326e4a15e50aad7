// kp160std — the screen and the windows (see display.h).
#include "system/display.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <string>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "platform/display.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"

namespace kp::system {
namespace {

namespace dpy = platform::display;
namespace reg = platform::reg;

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

// --- system colours -------------------------------------------------------------

struct ColourEntry {
  std::u16string_view valueName;  // as the system names it under Control Panel\Colors
  uint8_t r, g, b;                // the classic scheme
};

// By COLOR_ number.
constexpr std::array<ColourEntry, 21> kColours = {{
    {u"Scrollbar", 212, 208, 200},         {u"Background", 58, 110, 165},    {u"ActiveTitle", 10, 36, 106},
    {u"InactiveTitle", 128, 128, 128},     {u"Menu", 212, 208, 200},         {u"Window", 255, 255, 255},
    {u"WindowFrame", 0, 0, 0},             {u"MenuText", 0, 0, 0},           {u"WindowText", 0, 0, 0},
    {u"TitleText", 255, 255, 255},         {u"ActiveBorder", 212, 208, 200}, {u"InactiveBorder", 212, 208, 200},
    {u"AppWorkspace", 128, 128, 128},      {u"Hilight", 10, 36, 106},        {u"HilightText", 255, 255, 255},
    {u"ButtonFace", 212, 208, 200},        {u"ButtonShadow", 128, 128, 128}, {u"GrayText", 128, 128, 128},
    {u"ButtonText", 0, 0, 0},              {u"InactiveTitleText", 212, 208, 200},
    {u"ButtonHilight", 255, 255, 255},
}};
constexpr std::u16string_view kColoursKey = u"Control Panel\\Colors";
constexpr int32_t kSystemColourBit = 0x40000000;

int32_t ColourIndex(int32_t index) {
  const int32_t bare = (index & kSystemColourBit) ? (index & ~kSystemColourBit) : index;
  return bare >= 0 && bare < int32_t(kColours.size()) ? bare : -1;
}

int32_t Rgb(int r, int g, int b) { return r | (g << 8) | (b << 16); }

// "R G B" with each part 0-255; false for anything else.
bool ParseRgb(std::u16string_view text, int32_t* colour) {
  int parts[3];
  size_t i = 0;
  for (int& part : parts) {
    while (i < text.size() && text[i] == u' ') ++i;
    if (i >= text.size() || text[i] < u'0' || text[i] > u'9') return false;
    part = 0;
    while (i < text.size() && text[i] >= u'0' && text[i] <= u'9') {
      part = part * 10 + (text[i++] - u'0');
      if (part > 255) return false;
    }
  }
  while (i < text.size() && (text[i] == u' ' || text[i] == 0)) ++i;
  if (i != text.size()) return false;
  *colour = Rgb(parts[0], parts[1], parts[2]);
  return true;
}

// --- orientation ----------------------------------------------------------------

constexpr OrientationOps kPlatformOrientation = {dpy::GetOrientation, dpy::TestOrientation, dpy::SetOrientation};
std::atomic<const OrientationOps*> gOrientation{&kPlatformOrientation};

struct OrientationName {
  std::u16string_view text;
  int32_t value;
};
constexpr OrientationName kOrientations[] = {
    {u"0", dpy::kOrient0}, {u"90", dpy::kOrient90}, {u"180", dpy::kOrient180}, {u"270", dpy::kOrient270}};

}  // namespace

int32_t ScreenWidth(ExecContext* context) { return SystemMetric(context, dpy::kSmCxScreen); }
int32_t ScreenHeight(ExecContext* context) { return SystemMetric(context, dpy::kSmCyScreen); }

int32_t SystemMetric(ExecContext* context, int32_t index) {
  platform::SetLastError(0);
  const int32_t value = dpy::GetSystemMetrics(index);
  if (value == 0) {
    if (platform::LastError() == win32::kInvalidParameter) {
      RaiseSystem(context, kErrUnknownSystemMetric, win32::kInvalidParameter, {index});
    } else {
      RecordPlatformError(context);
    }
  }
  return value;
}

int32_t ColourDepth(ExecContext* context) {
  const int32_t bits = dpy::ColorDepth();
  if (!bits) RecordPlatformError(context);
  return bits;
}

int32_t ScreenCount(ExecContext* context) { return SystemMetric(context, dpy::kSmCMonitors); }

int32_t SystemColour(ExecContext* context, int32_t index) {
  const int32_t i = ColourIndex(index);
  if (i < 0) {
    Raise(context, kErrValueOutOfRange, {index});
    return -1;
  }
  const ColourEntry& entry = kColours[size_t(i)];
  int32_t colour = Rgb(entry.r, entry.g, entry.b);
  reg::HKey key = 0;
  if (reg::OpenKey(reg::kCurrentUser, kColoursKey, reg::kQueryValue, &key) == 0) {
    char16_t text[64] = {};
    uint32_t type = 0, size = sizeof text - sizeof(char16_t);
    if (reg::QueryValue(key, entry.valueName, &type, reinterpret_cast<uint8_t*>(text), &size) == 0 &&
        (type == reg::kSz || type == reg::kExpandSz)) {
      int32_t stored;
      if (ParseRgb(std::u16string_view(text, size / sizeof(char16_t)), &stored)) colour = stored;
    }
    reg::CloseKey(key);
  }
  return colour;
}

bool SetSystemColour(ExecContext* context, int32_t index, int32_t colour) {
  const int32_t i = ColourIndex(index);
  if (i < 0) {
    Raise(context, kErrValueOutOfRange, {index});
    return false;
  }
  if (colour < 0 || colour > 0xFFFFFF) {
    Raise(context, kErrValueOutOfRange, {colour});
    return false;
  }
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%d %d %d", colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
  std::u16string text(buffer, buffer + std::char_traits<char>::length(buffer));
  text += u'\0';
  reg::HKey key = 0;
  uint32_t disposition = 0;
  uint32_t code = reg::CreateKey(reg::kCurrentUser, kColoursKey, reg::kSetValue, &key, &disposition);
  if (code == 0) {
    code = reg::SetValue(key, kColours[size_t(i)].valueName, reg::kSz, reinterpret_cast<const uint8_t*>(text.data()),
                         uint32_t(text.size() * sizeof(char16_t)));
    reg::CloseKey(key);
  }
  if (code) {
    SetSystemError(context, code);
    return false;
  }
  return true;
}

Handle Instance(ExecContext*) { return Handle{dpy::OwnInstance()}; }

Handle Instance(ExecContext* context, std::u16string_view windowTitle) {
  const dpy::Window w = dpy::FindWindow(windowTitle);
  if (!w) {
    RecordPlatformError(context);
    return Handle{0};
  }
  const uint32_t instance = dpy::WindowInstance(w);
  if (!instance) RecordPlatformError(context);
  return Handle{instance};
}

std::u16string WindowTitle(ExecContext* context, int32_t window) {
  std::u16string title;
  if (!dpy::GetWindowText(uint32_t(window), &title)) {
    RecordPlatformError(context);
    return {};
  }
  return title;
}

bool SetWindowTitle(ExecContext* context, int32_t window, std::u16string_view title) {
  if (dpy::SetWindowText(uint32_t(window), title)) return true;
  RecordPlatformError(context);
  return false;
}

Handle WindowHandle(ExecContext* context, std::u16string_view title) {
  const dpy::Window w = dpy::FindWindow(title);
  if (!w) RecordPlatformError(context);
  return Handle{w};
}

Handle ActiveWindow(ExecContext* context) {
  platform::SetLastError(0);
  const dpy::Window w = dpy::GetActiveWindow();
  if (!w) RecordPlatformError(context);
  return Handle{w};
}

bool ActivateWindow(ExecContext* context, int32_t window) {
  if (dpy::SetForegroundWindow(uint32_t(window))) return true;
  RecordPlatformError(context);
  return false;
}

int32_t ShowWindow(ExecContext* context, int32_t window, int32_t mode) {
  if (!dpy::IsWindow(uint32_t(window))) {
    if (platform::LastError() == dpy::kNoDisplay) {
      RecordPlatformError(context);
    } else {
      Raise(context, kErrNotAWindow);
    }
    return 0;
  }
  if (mode == kShowRefresh || mode == kShowActivate) {
    const bool done = mode == kShowRefresh ? dpy::RedrawWindow(uint32_t(window))
                                           : dpy::SetForegroundWindow(uint32_t(window));
    if (!done) RecordPlatformError(context);
    return done ? 1 : 0;
  }
  platform::SetLastError(0);
  const int32_t result = dpy::ShowWindow(uint32_t(window), mode);
  if (!result && platform::LastError()) {
    if (platform::LastError() == win32::kInvalidParameter) Raise(context, kErrValueOutOfRange, {mode});
    RecordPlatformError(context);
  }
  return result;
}

bool ValidHandle(ExecContext* context, int32_t window) {
  if (dpy::IsWindow(uint32_t(window))) return true;
  // Not a window is an answer, not a failure; no display is one.
  if (platform::LastError() == dpy::kNoDisplay) RecordPlatformError(context);
  return false;
}

std::u16string ListScreenOrientations(ExecContext* context) {
  const OrientationOps* ops = gOrientation.load();
  std::u16string list;
  for (const auto& o : kOrientations) {
    if (!ops->test(o.value)) continue;
    list += o.text;
    list += u"\r\n";
  }
  if (list.empty()) {
    RaiseSystem(context, kErrScreenOrientationFailed, platform::LastError());
    return {};
  }
  list.resize(list.size() - 2);  // the last "\r\n" goes
  return list;
}

std::u16string ScreenOrientation(ExecContext* context) {
  int32_t value = -1;
  if (gOrientation.load()->get(&value)) {
    for (const auto& o : kOrientations)
      if (o.value == value) return std::u16string(o.text);
    platform::SetLastError(0);
  }
  RaiseSystem(context, kErrScreenOrientationFailed, platform::LastError());
  return {};
}

std::u16string SetScreenOrientation(ExecContext* context, std::u16string_view orientation) {
  const OrientationName* wanted = nullptr;
  for (const auto& o : kOrientations)
    if (o.text == orientation) wanted = &o;  // digits only: case does not arise
  if (!wanted) {
    Raise(context, kErrUnknownParameterMode);
    return ScreenOrientation(context);
  }
  if (!gOrientation.load()->set(wanted->value)) {
    RaiseSystem(context, kErrScreenOrientationFailed, platform::LastError());
  }
  return ScreenOrientation(context);
}

void UseOrientationOps(const OrientationOps* ops) { gOrientation.store(ops ? ops : &kPlatformOrientation); }

int32_t TextWidth(ExecContext* context, std::u16string_view text, std::u16string_view font) {
  int32_t width = 0, height = 0;
  if (dpy::MeasureText(text, font, &width, &height)) return width;
  RecordPlatformError(context);
  return -1;
}

int32_t TextHeight(ExecContext* context, std::u16string_view text, std::u16string_view font) {
  int32_t width = 0, height = 0;
  if (dpy::MeasureText(text, font, &width, &height)) return height;
  RecordPlatformError(context);
  return -1;
}

}  // namespace kp::system
