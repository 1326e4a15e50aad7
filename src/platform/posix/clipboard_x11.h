// kp160std — the X11 clipboard's pieces shared by its files: a connection
// of our own with a window to receive selections on (Link), the atoms it
// interns, whole-property reads, the time-out, and the owner thread's entry
// points (clipboard_x11_owner.cpp).
//
// Thread-safety: a Link is used by one thread at a time; the owner's entry
// points may be called from any thread.
#pragma once

#include <X11/Xlib.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kp::platform::clipboard::x11 {

using Clock = std::chrono::steady_clock;

// How long each step of a transfer waits for the other side.
Clock::duration Timeout();
// The most a read takes (UTF-8 bytes): larger answers fail with
// ERROR_NOT_ENOUGH_MEMORY rather than exhaust the process.
constexpr size_t kMaxTransfer = size_t{256} << 20;

enum AtomIndex {
  kClipboard,
  kTargets,
  kTimestamp,
  kMultiple,
  kAtomPair,
  kIncr,
  kUtf8String,
  kTextPlainUtf8,
  kText,
  kManager,
  kSaveTargets,
  kProperty,
  kStamp,
  kPng,
  kBmp,
  kXBmp,
  kGif,
  kJpeg,
  kAtomCount
};

class Link {
 public:
  // nullptr with the last error kNoDisplay when no display can be reached.
  static std::unique_ptr<Link> Open();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link();

  ::Display* d() const { return c_.d; }
  ::Window window() const { return window_; }
  Atom atom(AtomIndex i) const { return atoms_[i]; }
  bool dead() const;
  // Syncs; true when no X error came since the last check.
  bool Check();

  // Waits for an event that `match` accepts, until `deadline`; other events
  // go to `other`. False when the time ran out or the connection died.
  template <typename Match, typename Other>
  bool WaitFor(Match match, Clock::time_point deadline, XEvent* out, Other other) {
    for (;;) {
      while (!dead() && XPending(c_.d)) {
        XNextEvent(c_.d, out);
        if (match(*out)) return true;
        other(*out);
      }
      if (dead()) return false;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return false;
      pollfd p{ConnectionNumber(c_.d), POLLIN, 0};
      poll(&p, 1, static_cast<int>(std::min<long long>(left, INT_MAX)));
    }
  }

  struct Connection {
    ::Display* d = nullptr;
    int error = 0;      // first X error since the last Check
    bool dead = false;  // the server went away: `d` is only closed now
  };

 private:
  explicit Link(::Display* d);

  Connection c_;
  ::Window window_ = 0;
  Atom atoms_[kAtomCount] = {};
};

// A whole property of `window`, format 8 as bytes, format 32 as the longs
// Xlib gives; deleted after reading when `remove`. False when it does not
// exist.
struct Property {
  Atom type = None;
  int format = 0;
  std::string bytes;
  std::vector<long> longs;
};
bool ReadProperty(Link& link, ::Window window, Atom property, bool remove, Property* out);

// The owner thread (clipboard_x11_owner.cpp): makes the library the
// clipboard's owner with `text`, false with the last error set; and our
// text when `owner` is the owner thread's window.
bool Own(std::u16string text);
bool Owns(::Window owner, std::u16string* text);

}  // namespace kp::platform::clipboard::x11
