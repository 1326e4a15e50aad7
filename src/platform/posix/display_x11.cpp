// kp160std — the desktop on X11 (see display.h): Xlib for windows and the
// screen, RandR for the orientation; the keyboard and the mouse are in
// display_x11_input.cpp.
//
// One connection, opened on $DISPLAY by the first call that needs it and
// opened again when $DISPLAY names another server; every call holds one
// lock. X errors arrive asynchronously: the error handler (the process's
// shared one, platform/posix/x11_errors.h) keeps the first one of the
// current call on this connection, and each call that can fail syncs and
// turns it into the Win32 code a Windows call would have set. A lost
// connection is marked dead instead of ending the process; the next call
// closes it and opens a new one.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xrandr.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>

#include "platform/display.h"
#include "platform/platform.h"
#include "platform/posix/display_x11.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/x11_errors.h"
#include "platform/win32_errors.h"

namespace kp::platform::display {

using detail::Session;

namespace {

std::mutex gLock;
::Display* gDisplay = nullptr;
std::string gDisplayName;
bool gDead = false;  // the server went away: gDisplay is only closed now
int gXError = 0;     // first X error code of the current call
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

void Drain();
void Open(const std::string& name);

}  // namespace

namespace detail {

Session::Session() : hold_(gLock) {
  gXError = 0;
  const char* name = std::getenv("DISPLAY");
  const std::string wanted = name ? name : "";
  if (gDisplay && (gDead || wanted != gDisplayName)) {
    UnbindSpares(gDead ? nullptr : gDisplay);
    x11::Close(gDisplay, &gOwner);
    gDisplay = nullptr;
    gDead = false;
  }
  if (!gDisplay && !wanted.empty()) Open(wanted);
  if (!gDisplay) SetLastError(kNoDisplay);
}

bool Session::ok() const { return gDisplay != nullptr; }
::Display* Session::d() const { return gDisplay; }
bool Session::haveXTest() const { return gHaveXTest; }
bool Session::errored() const { return gXError != 0; }

bool Session::Check() {
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

void CloseAtUnload() {
  std::lock_guard hold(gLock);
  if (!gDisplay) return;
  UnbindSpares(gDead ? nullptr : gDisplay);
  x11::Close(gDisplay, &gOwner);
  gDisplay = nullptr;
}

}  // namespace detail

namespace {

// Events nobody here selected still arrive (MappingNotify goes to every
// client): read them so that the queue does not grow, and keep the keymap
// current after our own binds.
void Drain() {
  while (XPending(gDisplay)) {
    XEvent e;
    XNextEvent(gDisplay, &e);
    if (e.type == MappingNotify) XRefreshKeyboardMapping(&e.xmapping);
  }
}

void Open(const std::string& name) {
  gDisplay = XOpenDisplay(name.c_str());
  if (!gDisplay) return;
  x11::Watch(gDisplay, {&gOwner, OnXError, OnLost});
  gDisplayName = name;
  int event, error, major, minor;
  gHaveXTest = XTestQueryExtension(gDisplay, &event, &error, &major, &minor);
  gHaveRandr = XRRQueryExtension(gDisplay, &event, &error);
}

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
      return s.width();
    case kSmCyScreen:
    case 17:
    case 79: return s.height();
    case 76:  // SM_XVIRTUALSCREEN
    case 77: return 0;
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
    case 43:    // SM_CMOUSEBUTTONS
    case 75:    // SM_MOUSEWHEELPRESENT
    case 23: {  // SM_SWAPBUTTON
      unsigned char map[32];
      const int n = XGetPointerMapping(s.d(), map, sizeof map);
      if (index == 43) return n < 3 ? n : 3;
      if (index == 75) return n >= 5;
      return n >= 3 && map[0] == 3 && map[2] == 1;
    }
    default: SetLastError(win32::kInvalidParameter); return 0;
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
  if (XGetWindowProperty(s.d(), s.root(), Intern(s.d(), "_NET_ACTIVE_WINDOW"), 0, 1, False, XA_WINDOW, &type, &format,
                         &count, &after, &data) == Success &&
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
  if (XGetWindowProperty(s.d(), window, Intern(s.d(), "_NET_WM_PID"), 0, 1, False, XA_CARDINAL, &type, &format, &count,
                         &after, &data) == Success &&
      data && count == 1 && format == 32) {
    pid = uint32_t(*reinterpret_cast<unsigned long*>(data));
  }
  if (data) XFree(data);
  if (!pid) SetLastError(win32::kNotSupported);
  return pid;
}

uint32_t OwnInstance() { return uint32_t(getpid()); }

void PumpMessages() {}

}  // namespace kp::platform::display
