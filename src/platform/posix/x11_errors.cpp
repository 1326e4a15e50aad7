// kp160std — the shared X error handlers (see x11_errors.h).
#include "platform/posix/x11_errors.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace kp::platform::x11 {
namespace {

struct Entry {
  ::Display* d;
  ErrorOwner owner;
};

// Never destroyed: a thread of ours may meet a broken connection while the
// process runs its exit destructors.
std::mutex& gLock = *new std::mutex;
std::vector<Entry>& gEntries = *new std::vector<Entry>;
XErrorHandler gPrevious = nullptr;
XIOErrorHandler gPreviousIo = nullptr;

Entry* Find(::Display* d) {
  const auto it = std::find_if(gEntries.begin(), gEntries.end(), [d](const Entry& e) { return e.d == d; });
  return it == gEntries.end() ? nullptr : &*it;
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

void OnIoExit(::Display* d, void*) {
  std::lock_guard hold(gLock);
  if (Entry* e = Find(d); e && e->owner.lost) e->owner.lost(e->owner.owner);
}

}  // namespace

void Watch(::Display* d, const ErrorOwner& owner) {
  {
    std::lock_guard hold(gLock);
    if (Entry* e = Find(d)) {
      e->owner = owner;
    } else {
      gEntries.push_back({d, owner});
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
  std::erase_if(gEntries, [&](const Entry& e) { return e.d == d && e.owner.owner == owner; });
}

}  // namespace kp::platform::x11
