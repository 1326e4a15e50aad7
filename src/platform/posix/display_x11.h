// kp160std — what the two halves of the desktop on X11 share: the one
// connection, held for a call by a Session (display_x11.cpp, with the
// windows and the screen), and the keycodes the keyboard half binds on it
// (display_x11_input.cpp, with the keyboard and the mouse).
//
// Thread-safety: a Session holds the connection's lock for its lifetime;
// everything else here is called with one alive.
#pragma once

#include <X11/Xlib.h>

#include <mutex>

#include "platform/display.h"

namespace kp::platform::display::detail {

// The lock and a live connection for one call; `ok()` false (with the last
// error kNoDisplay) when no display can be reached.
class Session {
 public:
  Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool ok() const;
  ::Display* d() const;
  ::Window root() const { return DefaultRootWindow(d()); }
  int width() const { return DisplayWidth(d(), DefaultScreen(d())); }
  int height() const { return DisplayHeight(d(), DefaultScreen(d())); }
  bool haveXTest() const;
  // Whether an X error has come in this call so far, unsynced.
  bool errored() const;

  // Syncs and turns an X error of this call into the last error; true when
  // there was none.
  bool Check();

 private:
  std::unique_lock<std::mutex> hold_;
};

// Gives the keycodes bound to keysyms the keymap lacks back to the server's
// keymap of `live` (null when the connection is dead: they are only
// forgotten). Before the connection closes, under its lock.
void UnbindSpares(::Display* live);

// Unbinds and closes the connection, at unload (or the program's end).
void CloseAtUnload();

}  // namespace kp::platform::display::detail
