// kp160std — the X11 clipboard's connections (see clipboard_x11.h): their
// errors, the atoms, whole-property reads.
//
// The process-wide X error handlers are platform/posix/x11_errors.h's: each
// connection here is registered with it, and its errors and its loss are
// recorded on the connection (Xlib's default would end the process when the
// server goes away).
#include "platform/posix/clipboard_x11.h"

#include <X11/Xlib.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "platform/clipboard.h"
#include "platform/platform.h"
#include "platform/posix/x11_errors.h"

namespace kp::platform::clipboard {
namespace x11 {
namespace {

std::atomic<uint32_t> gTimeoutMs{5000};

// --- our connections' errors ------------------------------------------------

// Guards the Connection fields the error callbacks write; never held around
// an Xlib call.
std::mutex gConnectionsLock;

void OnXError(void* owner, const XErrorEvent& e) {
  auto* c = static_cast<Link::Connection*>(owner);
  std::lock_guard hold(gConnectionsLock);
  if (!c->error) c->error = e.error_code;
}

// The connection is only marked dead, and the call that met the break fails.
void OnLost(void* owner) {
  auto* c = static_cast<Link::Connection*>(owner);
  std::lock_guard hold(gConnectionsLock);
  c->dead = true;
}

// In the order of AtomIndex.
const char* const kAtomNames[kAtomCount] = {"CLIPBOARD",
                                            "TARGETS",
                                            "TIMESTAMP",
                                            "MULTIPLE",
                                            "ATOM_PAIR",
                                            "INCR",
                                            "UTF8_STRING",
                                            "text/plain;charset=utf-8",
                                            "TEXT",
                                            "CLIPBOARD_MANAGER",
                                            "SAVE_TARGETS",
                                            "KP_CLIPBOARD",
                                            "KP_CLIPBOARD_STAMP",
                                            "image/png",
                                            "image/bmp",
                                            "image/x-bmp",
                                            "image/gif",
                                            "image/jpeg"};

// One connection with an unmapped window to receive selections on.

}  // namespace

Clock::duration Timeout() { return std::chrono::milliseconds(gTimeoutMs.load()); }

std::unique_ptr<Link> Link::Open() {
  const char* name = std::getenv("DISPLAY");
  ::Display* d = name && *name ? XOpenDisplay(name) : nullptr;
  if (!d) {
    SetLastError(kNoDisplay);
    return nullptr;
  }
  return std::unique_ptr<Link>(new Link(d));
}

Link::Link(::Display* d) {
  c_.d = d;
  platform::x11::Watch(d, {&c_, OnXError, OnLost});
  XInternAtoms(d, const_cast<char**>(kAtomNames), kAtomCount, False, atoms_);
  XSetWindowAttributes a{};
  a.event_mask = PropertyChangeMask;
  window_ = XCreateWindow(d, DefaultRootWindow(d), -10, -10, 1, 1, 0, CopyFromParent, InputOnly, CopyFromParent,
                          CWEventMask, &a);
}

Link::~Link() {
  // Outside the lock, since closing may report errors to us.
  platform::x11::Close(c_.d, &c_);
}

bool Link::dead() const {
  std::lock_guard hold(gConnectionsLock);
  return c_.dead;
}

bool Link::Check() {
  XSync(c_.d, False);
  std::lock_guard hold(gConnectionsLock);
  const bool ok = !c_.error && !c_.dead;
  c_.error = 0;
  return ok;
}

bool ReadProperty(Link& link, ::Window window, Atom property, bool remove, Property* out) {
  *out = Property{};
  long offset = 0;
  for (;;) {
    Atom type;
    int format;
    unsigned long items, after;
    unsigned char* data = nullptr;
    // Pieces of 1 MB: servers refuse a single huge reply.
    if (XGetWindowProperty(link.d(), window, property, offset, 1 << 18, False, AnyPropertyType, &type, &format, &items,
                           &after, &data) != Success)
      return false;
    if (type == None) {
      if (data) XFree(data);
      return false;
    }
    out->type = type;
    out->format = format;
    if (format == 8) {
      out->bytes.append(reinterpret_cast<char*>(data), items);
      offset += static_cast<long>(items / 4);
    } else if (format == 32) {
      const long* l = reinterpret_cast<const long*>(data);
      out->longs.insert(out->longs.end(), l, l + items);
      offset += static_cast<long>(items);
    } else {
      const short* s = reinterpret_cast<const short*>(data);
      for (unsigned long i = 0; i < items; ++i) out->bytes.append(reinterpret_cast<const char*>(&s[i]), 2);
      offset += static_cast<long>(items / 2);
    }
    if (data) XFree(data);
    // A piece of format 8 that is not a multiple of 4 can only be the last.
    if (after == 0 || (format == 8 && items % 4) || out->bytes.size() > kMaxTransfer) break;
  }
  if (remove) XDeleteProperty(link.d(), window, property);
  return true;
}

}  // namespace x11

void SetTimeout(uint32_t milliseconds) { x11::gTimeoutMs = milliseconds; }

}  // namespace kp::platform::clipboard
