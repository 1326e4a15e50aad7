// kp160std — the shared X error handlers (see x11_errors.h).
#include "platform/posix/x11_errors.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <type_traits>

namespace kp::platform::x11 {
namespace {

struct Entry {
  ::Display* d;
  ErrorOwner owner;
};

// Storage with nothing to destroy and nothing on the heap: a thread of ours
// may meet a broken connection while the process runs its exit destructors,
// and nothing is left behind when the library is unloaded. The library opens
// a handful of connections (the desktop's, the clipboard's, the icon's); one
// past kMaxConnections is not registered and its errors go to the handlers
// that were there before.
constexpr size_t kMaxConnections = 32;
std::mutex gLock;  // trivially destructible in the C++ library we build with
Entry gEntries[kMaxConnections];
size_t gCount = 0;
XErrorHandler gPrevious = nullptr;
XIOErrorHandler gPreviousIo = nullptr;
static_assert(std::is_trivially_destructible_v<std::mutex> && std::is_trivially_destructible_v<Entry>,
              "nothing here may be destroyed at exit");

Entry* Find(::Display* d) {
  Entry* const end = gEntries + gCount;
  Entry* const it = std::find_if(gEntries, end, [d](const Entry& e) { return e.d == d; });
  return it == end ? nullptr : it;
}

int OnError(::Display* d, XErrorEvent* event) {
  XErrorHandler previous;
  {
    std::lock_guard hold(gLock);
    if (Entry* e = Find(d)) {
      if (e->owner.error) e->owner.error(e->owner.owner, *event);
      return 0;
    }
    previous = gPrevious;
  }
  return previous ? previous(d, event) : 0;
}

// Xlib's own handler ends the process when a connection breaks; on ours the
// owner is told and the handler returns, so that the call that met the break
// fails instead (the connection's exit handler, below, is what Xlib runs
// next).
int OnIoError(::Display* d) {
  XIOErrorHandler previous;
  {
    std::lock_guard hold(gLock);
    if (Entry* e = Find(d)) {
      if (e->owner.lost) e->owner.lost(e->owner.owner);
      return 0;
    }
    previous = gPreviousIo;
  }
  return previous ? previous(d) : 0;
}

// Before the handlers Xlib takes the display's user lock (XLockDisplay),
// which it never gives back since it expects the process to end: every later
// call on that display from another thread, closing it included, would wait
// for it forever. It is given back here, on the thread that took it.
void OnIoExit(::Display* d, void*) {
  {
    std::lock_guard hold(gLock);
    if (Entry* e = Find(d); e && e->owner.lost) e->owner.lost(e->owner.owner);
  }
  XUnlockDisplay(d);
}

}  // namespace

void Watch(::Display* d, const ErrorOwner& owner) {
  {
    std::lock_guard hold(gLock);
    if (Entry* e = Find(d)) {
      e->owner = owner;
    } else if (gCount < kMaxConnections) {
      gEntries[gCount++] = {d, owner};
    }
    const XErrorHandler previous = XSetErrorHandler(OnError);
    if (previous != OnError) gPrevious = previous;
    const XIOErrorHandler previousIo = XSetIOErrorHandler(OnIoError);
    if (previousIo != OnIoError) gPreviousIo = previousIo;
  }
  XSetIOErrorExitHandler(d, OnIoExit, nullptr);
}

void Unwatch(::Display* d, void* owner) {
  std::lock_guard hold(gLock);
  Entry* const end = gEntries + gCount;
  gCount = static_cast<size_t>(
      std::remove_if(gEntries, end, [&](const Entry& e) { return e.d == d && e.owner.owner == owner; }) - gEntries);
}

void Close(::Display* d, void* owner) {
  XCloseDisplay(d);
  Unwatch(d, owner);
}

}  // namespace kp::platform::x11
