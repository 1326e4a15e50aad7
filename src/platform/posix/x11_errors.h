// kp160std — the one pair of X error handlers of the process, shared by the
// library's X11 connections (the desktop's, the clipboard's, the tray
// icon's), each error handed to the owner of the connection it came on.
//
// Xlib keeps one error handler and one I/O error handler for the whole
// process, and its defaults end the process (an error reply, a server that
// goes away). Each connection is registered here with its owner's
// callbacks: `error` gets the X errors of that connection, `lost` is told
// when it breaks (possibly more than once: by the I/O error handler, then by
// the connection's exit handler). Errors of connections not registered go
// to the handlers that were there before ours (the program's, or Xlib's).
//
// The callbacks run inside Xlib, on the thread that met the error, with this
// file's lock held: they only record what happened. They must not call Xlib
// or Watch/Unwatch, nor take a lock that is held around Xlib calls on a
// registered connection.
//
// Thread-safety: any thread.
#pragma once

#include <X11/Xlib.h>

namespace kp::platform::x11 {

struct ErrorOwner {
  void* owner = nullptr;
  void (*error)(void* owner, const XErrorEvent& event) = nullptr;
  void (*lost)(void* owner) = nullptr;
};

// Registers a connection just opened (replacing any registration of the same
// Display*), and puts our handlers in place again if another has replaced
// them since, keeping that one for the other connections.
void Watch(::Display* d, const ErrorOwner& owner);

// Forgets `d` if `owner` is still the one registered for it. Called after
// XCloseDisplay, so that the errors the closing meets still reach the owner
// (the Display* may be reused by the next connection: the owner check keeps
// a late Unwatch from dropping it).
void Unwatch(::Display* d, void* owner);

// Closes a registered connection, live or broken, then forgets it. Safe on
// a connection whose server went away: from its I/O error on, Xlib sends
// nothing more on that display (its requests are dropped, its syncs return
// at once) and xcb, its connection in error, only shuts the socket down and
// closes it; so the close frees Xlib's and xcb's structures without writing
// to the dead socket. Not to be called with a lock the owner's callbacks take.
void Close(::Display* d, void* owner);

}  // namespace kp::platform::x11
