// kp160std — the desktop on X11 (see display.h): Xlib for windows and the
// screen, XTest for synthetic input, RandR for the orientation.
//
// One connection, opened on $DISPLAY by the first call that needs it and
// opened again when $DISPLAY names another server; every call holds one
// lock. X errors arrive asynchronously: the error handler (the process's
// shared one, platform/posix/x11_errors.h) keeps the first one of the
// current call on this connection, and each call that can fail syncs and
// turns it into the Win32 code a Windows call would have set. A lost
// connection is marked dead instead of ending the process; the next call
// closes it and opens a new one.
#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xrandr.h>
#include <X11/keysym.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/display.h"
#include "platform/platform.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/x11_errors.h"
#include "platform/win32_errors.h"

namespace kp::platform::display {
namespace {

std::mutex gLock;
::Display* gDisplay = nullptr;
std::string gDisplayName;
bool gDead = false;       // the server went away: gDisplay is only closed now
int gXError = 0;          // first X error code of the current call
bool gHaveXTest = false;
bool gHaveRandr = false;

// Called through platform/posix/x11_errors.h for gDisplay only, on the
// thread that holds gLock (the only one that talks to gDisplay).
void OnXError(void*, const XErrorEvent& e) {
  if (!gXError) gXError = e.error_code;
}

// The connection broke; returning lets the caller go on with a connection
// that answers nothing, which we then drop.
void OnLost(void*) { gDead = true; }

// The owner token of gDisplay's registration.
int gOwner;

uint32_t Win32FromX(int code) {
  switch (code) {
    case BadWindow:
    case BadDrawable: return win32::kInvalidWindowHandle;
    case BadValue:
    case BadMatch:
    case BadAtom: return win32::kInvalidParameter;
    case BadAccess: return win32::kAccessDenied;
    case BadAlloc: return win32::kNotEnoughMemory;
    case BadImplementation: return win32::kCallNotImplemented;
    default: return win32::kGenFailure;
  }
}

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

// Gives the spare keycodes back to the server's keymap.
void UnbindSpares() {
  if (gDisplay && !gDead && !gBound.empty()) {
    KeySym none = NoSymbol;
    for (const auto& b : gBound) XChangeKeyboardMapping(gDisplay, b.code, 1, &none, 1);
    XSync(gDisplay, False);
  }
  gBound.clear();
}

// At unload (or the program's end) the spare keycodes are given back and
// the connection, live or dead, is closed: nothing of it outlives the library.
struct CloseAtUnload {
  ~CloseAtUnload() {
    std::lock_guard hold(gLock);
    UnbindSpares();
    if (gDisplay) x11::Close(gDisplay, &gOwner);
    gDisplay = nullptr;
  }
} gCloseAtUnload;

// The lock and a live connection for one call; `ok()` false (with the last
// error kNoDisplay) when no display can be reached.
class Session {
 public:
  Session() : hold_(gLock) {
    gXError = 0;
    const char* name = std::getenv("DISPLAY");
    const std::string wanted = name ? name : "";
    if (gDisplay && (gDead || wanted != gDisplayName)) {
      UnbindSpares();
      x11::Close(gDisplay, &gOwner);
      gDisplay = nullptr;
      gDead = false;
    }
    if (!gDisplay && !wanted.empty()) Open(wanted);
    if (!gDisplay) SetLastError(kNoDisplay);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool ok() const { return gDisplay != nullptr; }
  ::Display* d() const { return gDisplay; }
  ::Window root() const { return DefaultRootWindow(gDisplay); }

  // Syncs and turns an X error of this call into the last error; true when
  // there was none.
  bool Check() {
    XSync(gDisplay, False);
    if (gDead) {
      SetLastError(kNoDisplay);
      return false;
    }
    Drain();
    if (!gXError) return true;
    SetLastError(Win32FromX(gXError));
    gXError = 0;
    return false;
  }

 private:
  // Events nobody here selected still arrive (MappingNotify goes to every
  // client): read them so that the queue does not grow, and keep the keymap
  // current after our own binds.
  static void Drain() {
    while (XPending(gDisplay)) {
      XEvent e;
      XNextEvent(gDisplay, &e);
      if (e.type == MappingNotify) XRefreshKeyboardMapping(&e.xmapping);
    }
  }

  static void Open(const std::string& name) {
    gDisplay = XOpenDisplay(name.c_str());
    if (!gDisplay) return;
    x11::Watch(gDisplay, {&gOwner, OnXError, OnLost});
    gDisplayName = name;
    int event, error, major, minor;
    gHaveXTest = XTestQueryExtension(gDisplay, &event, &error, &major, &minor);
    gHaveRandr = XRRQueryExtension(gDisplay, &event, &error);
  }

  std::unique_lock<std::mutex> hold_;
};

Atom Intern(::Display* d, const char* name) { return XInternAtom(d, name, False); }

// A window that exists: handle 0 and -1 are refused before Xlib sees them.
bool Exists(Session& s, Window w) {
  if (w == kNoWindow || w == 0xFFFFFFFFu) {
    SetLastError(win32::kInvalidWindowHandle);
    return false;
  }
  XWindowAttributes a;
  const Status st = XGetWindowAttributes(s.d(), w, &a);
  if (!s.Check() || !st) {
    SetLastError(win32::kInvalidWindowHandle);
    return false;
  }
  return true;
}

std::string Utf8(std::u16string_view text) {
  std::string out;
  if (fs::names::ToUtf8(text, &out)) return out;
  // A lone surrogate cannot be written: keep what comes before it.
  for (size_t i = 0; i < text.size(); ++i) {
    std::string piece;
    if (!fs::names::ToUtf8(text.substr(i, 1), &piece)) break;
    out += piece;
  }
  return out;
}

// The window's title as the window manager reads it: _NET_WM_NAME in UTF-8,
// else WM_NAME in whatever encoding it was stored.
bool ReadTitle(Session& s, ::Window w, std::u16string* title) {
  ::Display* d = s.d();
  Atom type;
  int format;
  unsigned long count, after;
  unsigned char* data = nullptr;
  if (XGetWindowProperty(d, w, Intern(d, "_NET_WM_NAME"), 0, 65536, False, Intern(d, "UTF8_STRING"), &type, &format,
                         &count, &after, &data) == Success &&
      data && format == 8) {
    *title = fs::names::FromUtf8(std::string_view(reinterpret_cast<char*>(data), count));
    XFree(data);
    return true;
  }
  if (data) XFree(data);
  XTextProperty text{};
  if (XGetWMName(d, w, &text) && text.value) {
    char** list = nullptr;
    int n = 0;
    if (Xutf8TextPropertyToTextList(d, &text, &list, &n) >= Success && list && n > 0) {
      *title = fs::names::FromUtf8(list[0]);
      XFreeStringList(list);
    } else {
      *title = fs::names::FromUtf8(std::string_view(reinterpret_cast<char*>(text.value), text.nitems));
    }
    XFree(text.value);
    return true;
  }
  title->clear();
  return true;
}

// --- keys ----------------------------------------------------------------------

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
    if (XkbKeycodeToKeysym(d, code, 0, 0) == sym) needShift = false;
    else if (XkbKeycodeToKeysym(d, code, 0, 1) == sym) needShift = true;
    else code = 0;
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
  return !gXError || s.Check();
}

int Width(Session& s) { return DisplayWidth(s.d(), DefaultScreen(s.d())); }
int Height(Session& s) { return DisplayHeight(s.d(), DefaultScreen(s.d())); }

int RandrRotation(int32_t orientation) {
  switch (orientation) {
    case kOrient0: return RR_Rotate_0;
    case kOrient90: return RR_Rotate_90;
    case kOrient180: return RR_Rotate_180;
    case kOrient270: return RR_Rotate_270;
    default: return 0;
  }
}

}  // namespace

bool Available() {
  Session s;
  return s.ok();
}

int32_t GetSystemMetrics(int32_t index) {
  Session s;
  if (!s.ok()) return 0;
  switch (index) {
    case kSmCxScreen:
    case 16:  // SM_CXFULLSCREEN: no task bar here
    case 78:  // SM_CXVIRTUALSCREEN
      return Width(s);
    case kSmCyScreen:
    case 17:
    case 79:
      return Height(s);
    case 76:  // SM_XVIRTUALSCREEN
    case 77:
      return 0;
    case kSmCMonitors: {
      int n = 0;
      if (gHaveRandr) {
        XRRMonitorInfo* m = XRRGetMonitors(s.d(), s.root(), True, &n);
        if (m) XRRFreeMonitors(m);
      }
      return n > 0 ? n : 1;
    }
    case 19:  // SM_MOUSEPRESENT
      return 1;
    case 43:  // SM_CMOUSEBUTTONS
    case 75:  // SM_MOUSEWHEELPRESENT
    case 23: {  // SM_SWAPBUTTON
      unsigned char map[32];
      const int n = XGetPointerMapping(s.d(), map, sizeof map);
      if (index == 43) return n < 3 ? n : 3;
      if (index == 75) return n >= 5;
      return n >= 3 && map[0] == 3 && map[2] == 1;
    }
    default:
      SetLastError(win32::kInvalidParameter);
      return 0;
  }
}

int32_t ColorDepth() {
  Session s;
  if (!s.ok()) return 0;
  return DefaultDepth(s.d(), DefaultScreen(s.d()));
}

bool GetOrientation(int32_t* orientation) {
  Session s;
  if (!s.ok()) return false;
  if (!gHaveRandr) {
    SetLastError(win32::kNotSupported);
    return false;
  }
  XRRScreenConfiguration* config = XRRGetScreenInfo(s.d(), s.root());
  if (!config || !s.Check()) {
    if (config) XRRFreeScreenConfigInfo(config);
    SetLastError(win32::kNotSupported);
    return false;
  }
  Rotation current = 0;
  XRRConfigRotations(config, &current);
  XRRFreeScreenConfigInfo(config);
  switch (current & 0xF) {
    case RR_Rotate_0: *orientation = kOrient0; return true;
    case RR_Rotate_90: *orientation = kOrient90; return true;
    case RR_Rotate_180: *orientation = kOrient180; return true;
    case RR_Rotate_270: *orientation = kOrient270; return true;
    default: SetLastError(win32::kGenFailure); return false;
  }
}

// The screen's RandR configuration for turning it to `orientation` (the
// rotation wanted in `*wanted`); null with the last error set.
static XRRScreenConfiguration* RotationConfig(Session& s, int32_t orientation, int* wanted) {
  *wanted = RandrRotation(orientation);
  if (!*wanted || !gHaveRandr) {
    SetLastError(*wanted ? win32::kNotSupported : win32::kInvalidParameter);
    return nullptr;
  }
  XRRScreenConfiguration* config = XRRGetScreenInfo(s.d(), s.root());
  if (!config) SetLastError(win32::kNotSupported);
  return config;
}

bool TestOrientation(int32_t orientation) {
  Session s;
  if (!s.ok()) return false;
  int wanted = 0;
  XRRScreenConfiguration* config = RotationConfig(s, orientation, &wanted);
  if (!config) return false;
  Rotation current = 0;
  const Rotation supported = XRRConfigRotations(config, &current);
  XRRFreeScreenConfigInfo(config);
  if (supported & wanted) return true;
  SetLastError(win32::kNotSupported);
  return false;
}

bool SetOrientation(int32_t orientation) {
  Session s;
  if (!s.ok()) return false;
  int wanted = 0;
  XRRScreenConfiguration* config = RotationConfig(s, orientation, &wanted);
  if (!config) return false;
  Rotation current = 0;
  const Rotation supported = XRRConfigRotations(config, &current);
  const SizeID size = XRRConfigCurrentConfiguration(config, &current);
  Status st = RRSetConfigFailed;
  if (supported & wanted) st = XRRSetScreenConfig(s.d(), config, s.root(), size, Rotation(wanted), CurrentTime);
  XRRFreeScreenConfigInfo(config);
  if (!s.Check()) return false;
  if (st != RRSetConfigSuccess) {
    SetLastError(win32::kNotSupported);
    return false;
  }
  return true;
}

Window FindWindow(std::u16string_view title) {
  Session s;
  if (!s.ok()) return kNoWindow;
  // Breadth first from the root: clients sit under the root without a
  // window manager, inside frames with one.
  std::deque<::Window> pending{s.root()};
  size_t visited = 0;
  while (!pending.empty() && visited < 100000) {
    const ::Window w = pending.front();
    pending.pop_front();
    ++visited;
    if (w != s.root()) {
      std::u16string t;
      if (ReadTitle(s, w, &t) && t == title && !gXError) return Window(w);
      gXError = 0;  // a window that went away while walking
    }
    ::Window rootReturn, parent, *children = nullptr;
    unsigned n = 0;
    if (XQueryTree(s.d(), w, &rootReturn, &parent, &children, &n)) {
      for (unsigned i = 0; i < n; ++i) pending.push_back(children[i]);
      if (children) XFree(children);
    }
  }
  SetLastError(win32::kInvalidWindowHandle);
  return kNoWindow;
}

Window GetActiveWindow() {
  Session s;
  if (!s.ok()) return kNoWindow;
  Atom type;
  int format;
  unsigned long count, after;
  unsigned char* data = nullptr;
  ::Window active = 0;
  if (XGetWindowProperty(s.d(), s.root(), Intern(s.d(), "_NET_ACTIVE_WINDOW"), 0, 1, False, XA_WINDOW, &type,
                         &format, &count, &after, &data) == Success &&
      data && count == 1 && format == 32) {
    active = *reinterpret_cast<unsigned long*>(data);
  }
  if (data) XFree(data);
  if (!active) {
    int revert;
    XGetInputFocus(s.d(), &active, &revert);
    if (active == PointerRoot || active == None) active = 0;
  }
  return Window(active);
}

bool SetForegroundWindow(Window window) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return false;
  ::Display* d = s.d();
  XRaiseWindow(d, window);
  // A window manager that keeps the active window is asked as a pager asks;
  // the focus is set as well, for a desktop without one.
  XEvent e{};
  e.xclient.type = ClientMessage;
  e.xclient.window = window;
  e.xclient.message_type = Intern(d, "_NET_ACTIVE_WINDOW");
  e.xclient.format = 32;
  e.xclient.data.l[0] = 2;  // from a pager: obeyed at once
  e.xclient.data.l[1] = CurrentTime;
  XSendEvent(d, s.root(), False, SubstructureRedirectMask | SubstructureNotifyMask, &e);
  XWindowAttributes a;
  if (XGetWindowAttributes(d, window, &a) && a.map_state == IsViewable)
    XSetInputFocus(d, window, RevertToParent, CurrentTime);
  return s.Check();
}

bool IsWindow(Window window) {
  Session s;
  return s.ok() && Exists(s, window);
}

bool GetWindowText(Window window, std::u16string* title) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return false;
  return ReadTitle(s, window, title) && s.Check();
}

bool SetWindowText(Window window, std::u16string_view title) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return false;
  ::Display* d = s.d();
  const std::string utf8 = Utf8(title);
  XChangeProperty(d, window, Intern(d, "_NET_WM_NAME"), Intern(d, "UTF8_STRING"), 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(utf8.data()), int(utf8.size()));
  char* list[1] = {const_cast<char*>(utf8.c_str())};
  XTextProperty text{};
  if (Xutf8TextListToTextProperty(d, list, 1, XStdICCTextStyle, &text) >= Success) {
    XSetWMName(d, window, &text);
    XFree(text.value);
  }
  return s.Check();
}

int32_t ShowWindow(Window window, int32_t mode) {
  Session s;
  if (!s.ok()) return 0;
  if (mode < 0 || mode > 11) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  if (!Exists(s, window)) return 0;
  ::Display* d = s.d();
  XWindowAttributes a;
  XGetWindowAttributes(d, window, &a);
  const bool wasVisible = a.map_state != IsUnmapped;
  switch (mode) {
    case 0:  // SW_HIDE
      XUnmapWindow(d, window);
      break;
    case 2:   // SW_SHOWMINIMIZED
    case 6:   // SW_MINIMIZE
    case 7:   // SW_SHOWMINNOACTIVE
    case 11:  // SW_FORCEMINIMIZE
      // Without a window manager nothing iconifies: the window stays as it is.
      XIconifyWindow(d, window, DefaultScreen(d));
      break;
    case 4:  // SW_SHOWNOACTIVATE
    case 8:  // SW_SHOWNA
      XMapWindow(d, window);
      break;
    default:  // 1 normal, 3 maximised, 5 show, 9 restore, 10 default
      XMapRaised(d, window);
      break;
  }
  if (!s.Check()) return 0;
  return wasVisible ? 24 : 0;  // nonzero, as Windows answers for a visible window
}

bool RedrawWindow(Window window) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return false;
  XClearArea(s.d(), window, 0, 0, 0, 0, True);
  return s.Check();
}

bool ClientToScreen(Window window, int32_t* x, int32_t* y) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return false;
  int sx = 0, sy = 0;
  ::Window child;
  XTranslateCoordinates(s.d(), window, s.root(), *x, *y, &sx, &sy, &child);
  if (!s.Check()) return false;
  *x = sx;
  *y = sy;
  return true;
}

uint32_t WindowInstance(Window window) {
  Session s;
  if (!s.ok() || !Exists(s, window)) return 0;
  Atom type;
  int format;
  unsigned long count, after;
  unsigned char* data = nullptr;
  uint32_t pid = 0;
  if (XGetWindowProperty(s.d(), window, Intern(s.d(), "_NET_WM_PID"), 0, 1, False, XA_CARDINAL, &type, &format,
                         &count, &after, &data) == Success &&
      data && count == 1 && format == 32) {
    pid = uint32_t(*reinterpret_cast<unsigned long*>(data));
  }
  if (data) XFree(data);
  if (!pid) SetLastError(win32::kNotSupported);
  return pid;
}

uint32_t OwnInstance() { return uint32_t(getpid()); }

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
  if (!gHaveXTest) {
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
      const int64_t w = Width(s), h = Height(s);
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
  return !gXError || s.Check();
}

void PumpMessages() {}

bool WaitForInputIdle(uint32_t) {
  Session s;
  return s.ok() && s.Check();
}

}  // namespace kp::platform::display
