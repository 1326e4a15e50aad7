// kp160std — the clipboard on X11 (see clipboard.h): the CLIPBOARD selection.
//
// Reading opens a connection for the call, asks the owner for TARGETS, then
// for the best text target, and takes large answers in pieces (INCR). Every
// step waits at most the time-out for the owner: an owner that never answers
// or dies mid-transfer costs one time-out, never a hang.
//
// Writing hands the text to the owner thread, which has a connection of its
// own: it takes the selection with a real server timestamp and answers
// TARGETS, TIMESTAMP, MULTIPLE, UTF8_STRING, text/plain;charset=utf-8, TEXT
// and STRING, sending texts larger than one request in INCR pieces, several
// transfers at once. At unload it asks a running clipboard manager to save
// the text (SAVE_TARGETS) and serves it until the manager has it.
//
// The connections here are used by one thread each. The X error handlers
// are process-wide: ours record the errors (and the loss) of our own
// connections and pass the others on to the handlers they replaced (the
// desktop's, when it was first). Xlib's default would end the process when
// the server goes away.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/clipboard.h"
#include "platform/codepage.h"
#include "platform/platform.h"
#include "platform/posix/clipboard_image.h"
#include "platform/win32_errors.h"

namespace kp::platform::clipboard {
namespace {

using Clock = std::chrono::steady_clock;

std::atomic<uint32_t> gTimeoutMs{5000};
// The most a read takes (UTF-8 bytes): larger answers fail with
// ERROR_NOT_ENOUGH_MEMORY rather than exhaust the process.
constexpr size_t kMaxTransfer = size_t{256} << 20;
// A clipboard manager may take a while to copy what it saves.
constexpr auto kHandOverLimit = std::chrono::seconds(3);

Clock::duration Timeout() { return std::chrono::milliseconds(gTimeoutMs.load()); }

// --- our connections and the X error handler ---------------------------------

struct Connection {
  ::Display* d = nullptr;
  int error = 0;      // first X error since the last Check
  bool dead = false;  // the server went away: never touch `d` again
};

std::mutex gConnectionsLock;
std::vector<Connection*> gConnections;
XErrorHandler gPreviousHandler = nullptr;

Connection* Find(::Display* d) {
  for (Connection* c : gConnections)
    if (c->d == d) return c;
  return nullptr;
}

int OnXError(::Display* d, XErrorEvent* e) {
  {
    std::lock_guard hold(gConnectionsLock);
    if (Connection* c = Find(d)) {
      if (!c->error) c->error = e->error_code;
      return 0;
    }
  }
  return gPreviousHandler ? gPreviousHandler(d, e) : 0;
}

XIOErrorHandler gPreviousIoHandler = nullptr;

// Xlib's own handler ends the process when a connection breaks; on ours the
// connection is only marked dead, and the call that met it fails.
int OnIoError(::Display* d) {
  {
    std::lock_guard hold(gConnectionsLock);
    if (Connection* c = Find(d)) {
      c->dead = true;
      return 0;
    }
  }
  return gPreviousIoHandler ? gPreviousIoHandler(d) : 0;
}

void OnIoExit(::Display* d, void*) {
  std::lock_guard hold(gConnectionsLock);
  if (Connection* c = Find(d)) c->dead = true;
}

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
class Link {
 public:
  // nullptr with the last error kNoDisplay when no display can be reached.
  static std::unique_ptr<Link> Open() {
    const char* name = std::getenv("DISPLAY");
    ::Display* d = name && *name ? XOpenDisplay(name) : nullptr;
    if (!d) {
      SetLastError(kNoDisplay);
      return nullptr;
    }
    return std::unique_ptr<Link>(new Link(d));
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link() {
    // A dead connection is left as it is: closing it would write to it.
    // Closing runs outside the lock, since it may report errors to us.
    if (!dead()) XCloseDisplay(c_.d);
    std::lock_guard hold(gConnectionsLock);
    std::erase(gConnections, &c_);
  }

  ::Display* d() const { return c_.d; }
  ::Window window() const { return window_; }
  Atom atom(AtomIndex i) const { return atoms_[i]; }
  bool dead() const {
    std::lock_guard hold(gConnectionsLock);
    return c_.dead;
  }
  // Syncs; true when no X error came since the last check.
  bool Check() {
    XSync(c_.d, False);
    std::lock_guard hold(gConnectionsLock);
    const bool ok = !c_.error && !c_.dead;
    c_.error = 0;
    return ok;
  }

  // Waits for an event that `match` accepts, until `deadline`; other events
  // go to `other` (may be null). False when the time ran out or the
  // connection died.
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

 private:
  explicit Link(::Display* d) {
    c_.d = d;
    {
      std::lock_guard hold(gConnectionsLock);
      gConnections.push_back(&c_);
      const XErrorHandler previous = XSetErrorHandler(OnXError);
      if (previous != OnXError) gPreviousHandler = previous;
      const XIOErrorHandler previousIo = XSetIOErrorHandler(OnIoError);
      if (previousIo != OnIoError) gPreviousIoHandler = previousIo;
    }
    XSetIOErrorExitHandler(d, OnIoExit, nullptr);
    XInternAtoms(d, const_cast<char**>(kAtomNames), kAtomCount, False, atoms_);
    XSetWindowAttributes a{};
    a.event_mask = PropertyChangeMask;
    window_ = XCreateWindow(d, DefaultRootWindow(d), -10, -10, 1, 1, 0, CopyFromParent, InputOnly, CopyFromParent,
                            CWEventMask, &a);
  }

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

// --- the owner: the thread that serves our text -----------------------------

struct Transfer {  // one INCR transfer under way
  ::Window requestor;
  Atom property;
  Atom type;
  std::shared_ptr<const std::string> data;
  size_t offset = 0;
  bool ended = false;  // the zero-length closing piece is written
  Clock::time_point deadline;
};

class Owner {
 public:
  // Made on first use, so destroyed before the connection list: its
  // destructor (library unload, program end) hands the text over.
  static Owner& Instance() {
    static Owner owner;
    return owner;
  }
  ~Owner() { Stop(); }

  bool Set(std::u16string text) {
    std::unique_lock hold(lock_);
    const char* name = std::getenv("DISPLAY");
    const std::string display = name ? name : "";
    // A new $DISPLAY is a new clipboard: the old one's owner lets go. A
    // forked child starts an owner of its own.
    if (link_ && (link_->dead() || display != display_ || getpid() != process_)) StopLocked(hold, false);
    if (!link_) {
      link_ = Link::Open();
      if (!link_) return false;  // last error set
      display_ = display;
      if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) {
        link_.reset();
        SetLastError(win32::kNotEnoughMemory);
        return false;
      }
      stop_ = false;
      handOver_ = false;
      process_ = getpid();
      thread_ = std::make_unique<std::thread>([this] { Serve(); });
    }
    const uint64_t ticket = ++requested_;
    pending_ = std::move(text);
    Wake();
    done_.wait(hold, [&] { return answered_ >= ticket || !thread_; });
    if (answered_ < ticket) {
      SetLastError(kNoDisplay);
      return false;
    }
    if (!setResult_) SetLastError(setError_);
    return setResult_;
  }

  // Our text when our window is `owner`.
  bool Owns(::Window owner, std::u16string* text) {
    std::lock_guard hold(lock_);
    if (!owning_ || owner == None || owner != window_) return false;
    if (text) *text = text_;
    return true;
  }

  void Stop() {
    std::unique_lock hold(lock_);
    StopLocked(hold, true);
  }

 private:
  Owner() = default;

  void Wake() {
    const char c = 1;
    (void)!write(wake_[1], &c, 1);
  }

  void StopLocked(std::unique_lock<std::mutex>& hold, bool handOver) {
    if (!thread_) return;
    if (getpid() != process_) {
      // A forked child ending: the thread and the connection are the
      // parent's, so they are left alone (and the copies leaked).
      (void)thread_.release();
      (void)link_.release();
      return;
    }
    stop_ = true;
    handOver_ = handOver;
    Wake();
    hold.unlock();
    thread_->join();
    hold.lock();
    thread_.reset();
    link_.reset();
    close(wake_[0]);
    close(wake_[1]);
    owning_ = false;
    window_ = None;
    text_.clear();
    data_.reset();
    done_.notify_all();
  }

  // --- on the owner thread ---

  void Serve() {
    Link& l = *link_;
    for (;;) {
      std::u16string text;
      uint64_t ticket = 0;
      bool stop;
      {
        std::lock_guard hold(lock_);
        stop = stop_;
        if (requested_ > answered_) {
          ticket = requested_;
          text = std::move(pending_);
        }
      }
      if (stop) break;
      if (ticket) Take(std::move(text), ticket);
      if (l.dead()) break;
      Dispatch();
      ExpireTransfers();
      if (l.dead()) break;
      XFlush(l.d());
      pollfd p[2] = {{ConnectionNumber(l.d()), POLLIN, 0}, {wake_[0], POLLIN, 0}};
      if (!XPending(l.d())) poll(p, 2, transfers_.empty() ? 1000 : 100);
      char drain[64];
      while (read(wake_[0], drain, sizeof drain) > 0) {
      }
    }
    if (handOver_ && !l.dead()) HandOver();
    std::lock_guard hold(lock_);
    answered_ = requested_;  // callers still waiting learn that it ended
    setResult_ = false;
    setError_ = kNoDisplay;
    owning_ = false;
    done_.notify_all();
  }

  void Take(std::u16string text, uint64_t ticket) {
    Link& l = *link_;
    auto utf8 = std::make_shared<const std::string>(ToCodePage(text, kCodePageUtf8));
    bool ok = false;
    uint32_t error = win32::kAccessDenied;
    // The server's time, from a change of our own property: owners must
    // not claim a selection at CurrentTime.
    XChangeProperty(l.d(), l.window(), l.atom(kStamp), XA_STRING, 8, PropModeAppend, nullptr, 0);
    XEvent e;
    const bool stamped = l.WaitFor(
        [&](const XEvent& e) {
          return e.type == PropertyNotify && e.xproperty.window == l.window() && e.xproperty.atom == l.atom(kStamp);
        },
        Clock::now() + Timeout(), &e, [&](XEvent& other) { Handle(other); });
    if (stamped) {
      time_ = e.xproperty.time;
      XSetSelectionOwner(l.d(), l.atom(kClipboard), l.window(), time_);
      ok = XGetSelectionOwner(l.d(), l.atom(kClipboard)) == l.window();
    } else {
      error = l.dead() ? kNoDisplay : win32::kTimeout;
    }
    std::lock_guard hold(lock_);
    if (ok) {
      owning_ = true;
      window_ = l.window();
      text_ = std::move(text);
      data_ = std::move(utf8);
    }
    setResult_ = ok;
    setError_ = ok ? 0 : error;
    answered_ = ticket;
    done_.notify_all();
  }

  void Dispatch() {
    XEvent e;
    while (!link_->dead() && XPending(link_->d())) {
      XNextEvent(link_->d(), &e);
      Handle(e);
    }
  }

  void Handle(XEvent& e) {
    Link& l = *link_;
    if (e.type == SelectionClear && e.xselectionclear.selection == l.atom(kClipboard) &&
        e.xselectionclear.window == l.window()) {
      std::lock_guard hold(lock_);
      owning_ = false;
      text_.clear();
      data_.reset();  // transfers under way keep their own reference
    } else if (e.type == SelectionRequest) {
      Answer(e.xselectionrequest);
    } else if (e.type == PropertyNotify && e.xproperty.state == PropertyDelete) {
      for (auto it = transfers_.begin(); it != transfers_.end(); ++it)
        if (it->requestor == e.xproperty.window && it->property == e.xproperty.atom) {
          if (!Continue(*it)) Finish(it);
          break;
        }
    }
  }

  std::shared_ptr<const std::string> Data() {
    std::lock_guard hold(lock_);
    return owning_ ? data_ : nullptr;
  }

  static std::string Latin1(const std::string& utf8) {
    const std::u16string text = FromCodePage(utf8, kCodePageUtf8);
    std::string out;
    out.reserve(text.size());
    for (char16_t c : text) out += c < 0x100 ? static_cast<char>(c) : '?';
    return out;
  }

  // Puts the answer for one target on the requestor's property.
  bool Convert(::Window requestor, Atom target, Atom property) {
    Link& l = *link_;
    auto data = Data();
    if (!data) return false;
    if (target == l.atom(kTargets)) {
      const Atom targets[] = {l.atom(kTargets),       l.atom(kTimestamp), l.atom(kMultiple), l.atom(kUtf8String),
                              l.atom(kTextPlainUtf8), l.atom(kText),      XA_STRING};
      XChangeProperty(l.d(), requestor, property, XA_ATOM, 32, PropModeReplace,
                      reinterpret_cast<const unsigned char*>(targets), std::size(targets));
      return true;
    }
    if (target == l.atom(kTimestamp)) {
      const long t = static_cast<long>(time_);
      XChangeProperty(l.d(), requestor, property, XA_INTEGER, 32, PropModeReplace,
                      reinterpret_cast<const unsigned char*>(&t), 1);
      return true;
    }
    Atom type = target;
    if (target == l.atom(kText)) type = l.atom(kUtf8String);
    if (target == XA_STRING)
      data = std::make_shared<const std::string>(Latin1(*data));
    else if (target != l.atom(kUtf8String) && target != l.atom(kTextPlainUtf8) && target != l.atom(kText))
      return false;
    if (data->size() > Piece()) {
      // INCR: the size first; the pieces follow as the requestor deletes
      // the property.
      XSelectInput(l.d(), requestor, PropertyChangeMask);
      const long size = static_cast<long>(data->size());
      XChangeProperty(l.d(), requestor, property, l.atom(kIncr), 32, PropModeReplace,
                      reinterpret_cast<const unsigned char*>(&size), 1);
      transfers_.push_back({requestor, property, type, data, 0, false, Clock::now() + Timeout()});
      return true;
    }
    XChangeProperty(l.d(), requestor, property, type, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(data->data()), static_cast<int>(data->size()));
    return true;
  }

  // The largest piece one request carries, with room for the request itself.
  size_t Piece() {
    long units = XExtendedMaxRequestSize(link_->d());
    if (!units) units = XMaxRequestSize(link_->d());
    return std::min<size_t>(size_t{256} << 10, static_cast<size_t>(units) * 4 - 1024);
  }

  void Answer(const XSelectionRequestEvent& r) {
    Link& l = *link_;
    XSelectionEvent n{};
    n.type = SelectionNotify;
    n.display = r.display;
    n.requestor = r.requestor;
    n.selection = r.selection;
    n.target = r.target;
    n.time = r.time;
    // Clients older than the conventions give no property: the target names it.
    const Atom property = r.property != None ? r.property : r.target;
    bool ok = false;
    if (r.selection == l.atom(kClipboard) && r.owner == l.window() && (r.time == CurrentTime || r.time >= time_)) {
      if (r.target == l.atom(kMultiple) && r.property != None) {
        Property pairs;
        if (ReadProperty(l, r.requestor, r.property, false, &pairs) && pairs.format == 32) {
          for (size_t i = 0; i + 1 < pairs.longs.size(); i += 2)
            if (!Convert(r.requestor, pairs.longs[i], pairs.longs[i + 1])) pairs.longs[i + 1] = None;
          XChangeProperty(l.d(), r.requestor, r.property, pairs.type, 32, PropModeReplace,
                          reinterpret_cast<const unsigned char*>(pairs.longs.data()),
                          static_cast<int>(pairs.longs.size()));
          ok = true;
        }
      } else {
        ok = Convert(r.requestor, r.target, property);
      }
    }
    n.property = ok ? property : None;
    XEvent event;
    event.xselection = n;
    XSendEvent(l.d(), r.requestor, False, NoEventMask, &event);
    // A requestor gone meanwhile is its own affair: its transfers are dropped.
    if (!l.Check()) DropTransfersTo(r.requestor);
  }

  // Writes the next piece; false when the transfer is over or failed.
  bool Continue(Transfer& t) {
    Link& l = *link_;
    if (t.ended) return false;
    const size_t n = std::min(Piece(), t.data->size() - t.offset);
    XChangeProperty(l.d(), t.requestor, t.property, t.type, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(t.data->data() + t.offset), static_cast<int>(n));
    t.offset += n;
    t.ended = n == 0;
    t.deadline = Clock::now() + Timeout();
    return l.Check();
  }

  void Finish(std::list<Transfer>::iterator it) {
    const ::Window w = it->requestor;
    transfers_.erase(it);
    if (std::none_of(transfers_.begin(), transfers_.end(), [&](const Transfer& t) { return t.requestor == w; })) {
      XSelectInput(link_->d(), w, NoEventMask);
      link_->Check();
    }
  }

  void DropTransfersTo(::Window w) {
    std::erase_if(transfers_, [&](const Transfer& t) { return t.requestor == w; });
  }

  // A requestor that stopped taking pieces is given up.
  void ExpireTransfers() {
    const auto now = Clock::now();
    for (auto it = transfers_.begin(); it != transfers_.end();) {
      auto next = std::next(it);
      if (now > it->deadline) Finish(it);
      it = next;
    }
  }

  // At unload: a clipboard manager, when one runs, takes a copy of what we
  // own (SAVE_TARGETS); we serve it until it says it is done.
  void HandOver() {
    Link& l = *link_;
    if (!Data() || XGetSelectionOwner(l.d(), l.atom(kClipboard)) != l.window()) return;
    if (XGetSelectionOwner(l.d(), l.atom(kManager)) == None) return;
    XConvertSelection(l.d(), l.atom(kManager), l.atom(kSaveTargets), None, l.window(), time_);
    const auto deadline = Clock::now() + kHandOverLimit;
    XEvent e;
    l.WaitFor([&](const XEvent& e) { return e.type == SelectionNotify && e.xselection.selection == l.atom(kManager); },
              deadline, &e, [&](XEvent& other) { Handle(other); });
  }

  std::mutex lock_;
  std::condition_variable done_;
  std::unique_ptr<Link> link_;
  std::string display_;  // the $DISPLAY link_ was opened on
  std::unique_ptr<std::thread> thread_;
  pid_t process_ = 0;  // the process that started the thread
  int wake_[2] = {-1, -1};
  bool stop_ = false;
  bool handOver_ = false;
  // Requests from callers and their answers.
  uint64_t requested_ = 0;
  uint64_t answered_ = 0;
  std::u16string pending_;
  bool setResult_ = false;
  uint32_t setError_ = 0;
  // What we own.
  bool owning_ = false;
  ::Window window_ = None;
  std::u16string text_;
  std::shared_ptr<const std::string> data_;
  // Owner thread only.
  Time time_ = CurrentTime;
  std::list<Transfer> transfers_;
};

// --- reading -----------------------------------------------------------------

enum class Got { kData, kRefused, kFailed };

// Asks the owner for `target`; the answer in `out`. kFailed with the last
// error set.
Got Request(Link& l, Atom target, Property* out) {
  XDeleteProperty(l.d(), l.window(), l.atom(kProperty));
  XConvertSelection(l.d(), l.atom(kClipboard), target, l.atom(kProperty), l.window(), CurrentTime);
  XFlush(l.d());
  XEvent e;
  auto ignore = [](XEvent&) {};
  if (!l.WaitFor(
          [&](const XEvent& e) {
            return e.type == SelectionNotify && e.xselection.requestor == l.window() &&
                   e.xselection.selection == l.atom(kClipboard);
          },
          Clock::now() + Timeout(), &e, ignore)) {
    SetLastError(l.dead() ? kNoDisplay : win32::kTimeout);
    return Got::kFailed;
  }
  if (e.xselection.property == None || !ReadProperty(l, l.window(), e.xselection.property, true, out))
    return Got::kRefused;
  if (out->type != l.atom(kIncr)) {
    if (out->bytes.size() > kMaxTransfer) {
      SetLastError(win32::kNotEnoughMemory);
      return Got::kFailed;
    }
    return Got::kData;
  }
  // INCR: deleting the property (done above) asks for each piece; an empty
  // piece ends the transfer.
  std::string whole;
  Atom type = None;
  for (;;) {
    XFlush(l.d());
    if (!l.WaitFor(
            [&](const XEvent& e) {
              return e.type == PropertyNotify && e.xproperty.window == l.window() &&
                     e.xproperty.atom == l.atom(kProperty) && e.xproperty.state == PropertyNewValue;
            },
            Clock::now() + Timeout(), &e, ignore)) {
      SetLastError(l.dead() ? kNoDisplay : win32::kTimeout);
      return Got::kFailed;
    }
    Property piece;
    if (!ReadProperty(l, l.window(), l.atom(kProperty), true, &piece)) continue;
    if (piece.bytes.empty()) break;
    type = piece.type;
    whole += piece.bytes;
    if (whole.size() > kMaxTransfer) {
      SetLastError(win32::kNotEnoughMemory);
      return Got::kFailed;
    }
  }
  out->type = type;
  out->format = 8;
  out->bytes = std::move(whole);
  return Got::kData;
}

// The owner's targets; empty when it does not tell them. False when it
// failed to answer at all.
bool Targets(Link& l, std::vector<Atom>* targets) {
  targets->clear();
  Property p;
  const Got got = Request(l, l.atom(kTargets), &p);
  if (got == Got::kFailed) return false;
  if (got == Got::kData && p.format == 32)
    for (long a : p.longs) targets->push_back(static_cast<Atom>(a));
  return true;
}

bool Contains(const std::vector<Atom>& list, Atom a) { return std::find(list.begin(), list.end(), a) != list.end(); }

// The text targets GetText reads.
bool IsText(const Link& l, Atom a) {
  return a == l.atom(kUtf8String) || a == l.atom(kTextPlainUtf8) || a == XA_STRING || a == l.atom(kText);
}

bool IsImage(const Link& l, Atom a) {
  return a == l.atom(kPng) || a == l.atom(kBmp) || a == l.atom(kXBmp) || a == l.atom(kGif) || a == l.atom(kJpeg);
}

}  // namespace

bool GetText(std::u16string* text) {
  text->clear();
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None) return true;
  if (Owner::Instance().Owns(owner, text)) return true;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  // Best first; an owner that does not list its targets is asked in turn.
  // TEXT lets the owner choose the type: STRING is read as Latin-1, any
  // other as UTF-8.
  const Atom wanted[] = {l.atom(kUtf8String), l.atom(kTextPlainUtf8), XA_STRING, l.atom(kText)};
  for (Atom target : wanted) {
    if (!targets.empty() && !Contains(targets, target)) continue;
    Property p;
    const Got got = Request(l, target, &p);
    if (got == Got::kFailed) return false;
    if (got == Got::kRefused) continue;
    if (p.type == XA_STRING) {
      text->assign(p.bytes.begin(), p.bytes.end());
      for (char16_t& c : *text) c = static_cast<unsigned char>(c);  // Latin-1
    } else {
      *text = FromCodePage(p.bytes, kCodePageUtf8);
    }
    return true;
  }
  return true;
}

bool SetText(std::u16string_view text) { return Owner::Instance().Set(std::u16string(text)); }

bool SetBytes(std::span<const uint8_t> bytes) {
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char16_t c = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (c == 0) break;
    text += c;
  }
  return SetText(text);
}

bool HasFormat(int32_t format) {
  SetLastError(0);
  const bool wantText = format == kCfText || format == kCfOemText || format == kCfUnicodeText;
  const bool wantImage = format == kCfBitmap || format == kCfDib || format == kCfDibV5;
  if (!wantText && !wantImage) return false;
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None) return false;
  if (Owner::Instance().Owns(owner, nullptr)) return wantText;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  for (Atom a : targets)
    if ((wantText && IsText(l, a)) || (wantImage && IsImage(l, a))) return true;
  return false;
}

bool ImageSize(int32_t* width, int32_t* height) {
  *width = *height = 0;
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None || Owner::Instance().Owns(owner, nullptr)) return true;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  for (AtomIndex i : {kPng, kBmp, kXBmp, kGif, kJpeg}) {
    if (!Contains(targets, l.atom(i))) continue;
    Property p;
    const Got got = Request(l, l.atom(i), &p);
    if (got == Got::kFailed) return false;
    if (got == Got::kData && ReadImageSize(p.bytes, width, height)) return true;
  }
  return true;
}

void SetTimeout(uint32_t milliseconds) { gTimeoutMs = milliseconds; }

}  // namespace kp::platform::clipboard
