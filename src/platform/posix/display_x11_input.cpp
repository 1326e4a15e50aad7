// kp160std — the keyboard and the mouse on X11 (see display.h): XTest for
// synthetic input, the keymap for the keys' state, and spare keycodes bound
// to the keysyms the keymap lacks. The connection is the desktop's one
// (display_x11.h).
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/display.h"
#include "platform/platform.h"
#include "platform/posix/display_x11.h"
#include "platform/win32_errors.h"

namespace kp::platform::display {

using detail::Session;

namespace {

// Keysyms the keymap lacks are pressed through a spare keycode bound to
// them, as X input tools type them. The binding outlives the release: a
// client reads the new keymap lazily, when it translates the event, so
// unbinding at once made such a reader see NoSymbol. Bindings are recycled,
// the least recently used first, only when no spare keycode is left, and
// undone when the connection closes or the library unloads.
struct Bound {
  KeySym sym;
  KeyCode code;
  uint64_t used;  // gUses at the last press
};
std::vector<Bound> gBound;
uint64_t gUses = 0;

// Our table from virtual keys to keysyms (US meanings for the OEM keys).
KeySym KeysymOfVk(int vk) {
  if (vk >= 'A' && vk <= 'Z') return XK_a + (vk - 'A');
  if (vk >= '0' && vk <= '9') return XK_0 + (vk - '0');
  if (vk >= 96 && vk <= 105) return XK_KP_0 + (vk - 96);
  if (vk >= 112 && vk <= 135) return XK_F1 + (vk - 112);
  switch (vk) {
    case 8: return XK_BackSpace;
    case 9: return XK_Tab;
    case 12: return XK_Clear;
    case 13: return XK_Return;
    case 16: return XK_Shift_L;
    case 17: return XK_Control_L;
    case 18: return XK_Alt_L;
    case 19: return XK_Pause;
    case 20: return XK_Caps_Lock;
    case 27: return XK_Escape;
    case 32: return XK_space;
    case 33: return XK_Prior;
    case 34: return XK_Next;
    case 35: return XK_End;
    case 36: return XK_Home;
    case 37: return XK_Left;
    case 38: return XK_Up;
    case 39: return XK_Right;
    case 40: return XK_Down;
    case 41: return XK_Select;
    case 42: return XK_Print;
    case 43: return XK_Execute;
    case 44: return XK_Print;
    case 45: return XK_Insert;
    case 46: return XK_Delete;
    case 47: return XK_Help;
    case 91: return XK_Super_L;
    case 92: return XK_Super_R;
    case 93: return XK_Menu;
    case 106: return XK_KP_Multiply;
    case 107: return XK_KP_Add;
    case 108: return XK_KP_Separator;
    case 109: return XK_KP_Subtract;
    case 110: return XK_KP_Decimal;
    case 111: return XK_KP_Divide;
    case 144: return XK_Num_Lock;
    case 145: return XK_Scroll_Lock;
    case 160: return XK_Shift_L;
    case 161: return XK_Shift_R;
    case 162: return XK_Control_L;
    case 163: return XK_Control_R;
    case 164: return XK_Alt_L;
    case 165: return XK_Alt_R;
    case 186: return XK_semicolon;
    case 187: return XK_equal;
    case 188: return XK_comma;
    case 189: return XK_minus;
    case 190: return XK_period;
    case 191: return XK_slash;
    case 192: return XK_grave;
    case 219: return XK_bracketleft;
    case 220: return XK_backslash;
    case 221: return XK_bracketright;
    case 222: return XK_apostrophe;
    default: return NoSymbol;
  }
}

KeySym KeysymOfChar(char16_t c) {
  if (c == u'\r' || c == u'\n') return XK_Return;
  if (c == u'\t') return XK_Tab;
  if (c == u'\b') return XK_BackSpace;
  if ((c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xFF)) return c;
  if (c >= 0xD800 && c <= 0xDFFF) return NoSymbol;
  return 0x01000000 | c;
}

KeyCode SpareKeycode(::Display* d) {
  int low, high;
  XDisplayKeycodes(d, &low, &high);
  int per = 0;
  KeySym* map = XGetKeyboardMapping(d, low, high - low + 1, &per);
  if (!map) return 0;
  KeyCode spare = 0;
  for (int code = high; code >= low && !spare; --code) {
    bool empty = true;
    for (int i = 0; i < per; ++i) empty = empty && map[(code - low) * per + i] == NoSymbol;
    bool taken = false;
    for (const auto& b : gBound) taken = taken || b.code == code;
    if (empty && !taken) spare = KeyCode(code);
  }
  XFree(map);
  return spare;
}

// The keycode bound to `sym`, binding a spare one when none is; 0 when no
// keycode can be spared.
KeyCode BindSpare(Session& s, KeySym sym) {
  for (auto& b : gBound)
    if (b.sym == sym) {
      b.used = ++gUses;
      return b.code;
    }
  Bound* slot = nullptr;
  if (const KeyCode spare = SpareKeycode(s.d())) {
    slot = &gBound.emplace_back(Bound{sym, spare, 0});
  } else if (!gBound.empty()) {
    slot = &*std::min_element(gBound.begin(), gBound.end(),
                              [](const Bound& x, const Bound& y) { return x.used < y.used; });
    slot->sym = sym;
  } else {
    return 0;
  }
  slot->used = ++gUses;
  KeySym syms[2] = {sym, sym};
  XChangeKeyboardMapping(s.d(), slot->code, 2, syms, 1);
  s.Check();
  return slot->code;
}

bool PressKeysym(Session& s, KeySym sym, bool down, unsigned long delay, bool shifted) {
  ::Display* d = s.d();
  KeyCode code = XKeysymToKeycode(d, sym);
  bool needShift = false;
  if (code && shifted) {
    // Typed by character: the keysym must be on the key's first or second level.
    if (XkbKeycodeToKeysym(d, code, 0, 0) == sym)
      needShift = false;
    else if (XkbKeycodeToKeysym(d, code, 0, 1) == sym)
      needShift = true;
    else
      code = 0;
  }
  if (!code) {
    if (!down && std::none_of(gBound.begin(), gBound.end(), [&](const Bound& b) { return b.sym == sym; }))
      return true;  // an up for a key never pressed here
    code = BindSpare(s, sym);
    if (!code) {
      SetLastError(win32::kNotSupported);
      return false;
    }
  }
  const KeyCode shift = needShift ? XKeysymToKeycode(d, XK_Shift_L) : 0;
  if (shift && down) XTestFakeKeyEvent(d, shift, True, delay);
  XTestFakeKeyEvent(d, code, down, shift && down ? 0 : delay);
  if (shift && !down) XTestFakeKeyEvent(d, shift, False, 0);
  XFlush(d);
  return !s.errored() || s.Check();
}

}  // namespace

void detail::UnbindSpares(::Display* live) {
  if (live && !gBound.empty()) {
    KeySym none = NoSymbol;
    for (const auto& b : gBound) XChangeKeyboardMapping(live, b.code, 1, &none, 1);
    XSync(live, False);
  }
  gBound.clear();
}

namespace {

// At unload (or the program's end) the spare keycodes are given back and
// the connection, live or dead, is closed: nothing of it outlives the
// library. Defined after gBound, in its file, so that it runs before gBound
// is destroyed.
struct CloseAtUnload {
  ~CloseAtUnload() { detail::CloseAtUnload(); }
} gCloseAtUnload;

}  // namespace

int16_t GetAsyncKeyState(int32_t virtualKey) {
  if (virtualKey < 0 || virtualKey > 255) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  Session s;
  if (!s.ok()) return 0;
  ::Display* d = s.d();
  constexpr int16_t kDown = int16_t(0x8000);
  if (virtualKey == 1 || virtualKey == 2 || virtualKey == 4) {
    ::Window r, c;
    int rx, ry, wx, wy;
    unsigned mask = 0;
    XQueryPointer(d, s.root(), &r, &c, &rx, &ry, &wx, &wy, &mask);
    const unsigned bit = virtualKey == 1 ? Button1Mask : virtualKey == 2 ? Button3Mask : Button2Mask;
    return (mask & bit) ? kDown : 0;
  }
  KeySym syms[2] = {KeysymOfVk(virtualKey), NoSymbol};
  if (virtualKey == 16) syms[1] = XK_Shift_R;
  if (virtualKey == 17) syms[1] = XK_Control_R;
  if (virtualKey == 18) syms[1] = XK_Alt_R;
  if (syms[0] == NoSymbol) return 0;
  char keys[32];
  XQueryKeymap(d, keys);
  for (KeySym sym : syms) {
    if (sym == NoSymbol) continue;
    const KeyCode code = XKeysymToKeycode(d, sym);
    if (code && (keys[code / 8] & (1 << (code % 8)))) return kDown;
  }
  return 0;
}

int16_t VkKeyScan(char16_t c) {
  // Virtual keys carry US meanings here, whatever the X keymap: our table
  // above turns them back into the same keysyms.
  if (c >= u'a' && c <= u'z') return int16_t(c - u'a' + 'A');
  if (c >= u'A' && c <= u'Z') return int16_t(0x100 | c);
  if (c >= u'0' && c <= u'9') return int16_t(c);
  switch (c) {
    case u' ': return 0x20;
    case u'\r': return 0x0D;
    case u'\t': return 0x09;
    case u'\b': return 0x08;
    default: return -1;  // typed by its keysym, which the keymap may lack
  }
}

bool SendInput(const Input& input) {
  Session s;
  if (!s.ok()) return false;
  if (!s.haveXTest()) {
    SetLastError(win32::kAccessDenied);
    return false;
  }
  unsigned long delay = 0;
  if (input.time) {
    const int32_t ahead = int32_t(input.time - TickCount());
    if (ahead > 0 && ahead < 600000) delay = unsigned(ahead);
  }
  ::Display* d = s.d();
  if (input.type == 1) {
    if (input.flags & 8) {  // a character by its code: down 8, up 10
      const KeySym sym = KeysymOfChar(char16_t(input.scan));
      if (sym == NoSymbol) {
        SetLastError(win32::kInvalidParameter);
        return false;
      }
      return PressKeysym(s, sym, !(input.flags & 2), delay, true);
    }
    const KeySym sym = KeysymOfVk(input.vk);
    if (sym == NoSymbol) {
      SetLastError(win32::kInvalidParameter);
      return false;
    }
    return PressKeysym(s, sym, !(input.flags & 2), delay, false);
  }
  if (input.type != 0) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  if (input.flags & 1) {  // MOUSEEVENTF_MOVE
    if (input.flags & 0x8000) {
      const int64_t w = s.width(), h = s.height();
      const int x = int((int64_t(input.x) * (w - 1) + 32767) / 65535);
      const int y = int((int64_t(input.y) * (h - 1) + 32767) / 65535);
      XTestFakeMotionEvent(d, DefaultScreen(d), x, y, delay);
    } else {
      XTestFakeRelativeMotionEvent(d, input.x, input.y, delay);
    }
    delay = 0;
  }
  struct {
    uint32_t flag;
    unsigned button;
    bool down;
  } const buttons[] = {{2, 1, true}, {4, 1, false}, {8, 3, true}, {16, 3, false}, {32, 2, true}, {64, 2, false}};
  for (const auto& b : buttons) {
    if (input.flags & b.flag) {
      XTestFakeButtonEvent(d, b.button, b.down, delay);
      delay = 0;
    }
  }
  XFlush(d);
  return !s.errored() || s.Check();
}

bool WaitForInputIdle(uint32_t) {
  Session s;
  return s.ok() && s.Check();
}

}  // namespace kp::platform::display
