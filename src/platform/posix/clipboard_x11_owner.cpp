// kp160std — the X11 clipboard's owner thread (see clipboard_x11.h).
//
// Writing hands the text to the owner thread, which has a connection of its
// own: it takes the selection with a real server timestamp and answers
// TARGETS, TIMESTAMP, MULTIPLE, UTF8_STRING, text/plain;charset=utf-8, TEXT
// and STRING, sending texts larger than one request in INCR pieces, several
// transfers at once. At unload (or program end) it asks a running clipboard
// manager to save the text (SAVE_TARGETS) and serves it until the manager
// has it.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/clipboard.h"
#include "platform/codepage.h"
#include "platform/platform.h"
#include "platform/posix/clipboard_x11.h"
#include "platform/win32_errors.h"

namespace kp::platform::clipboard::x11 {
namespace {

// A clipboard manager may take a while to copy what it saves.
constexpr auto kHandOverLimit = std::chrono::seconds(3);

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

}  // namespace

bool Own(std::u16string text) { return Owner::Instance().Set(std::move(text)); }
bool Owns(::Window owner, std::u16string* text) { return Owner::Instance().Owns(owner, text); }

}  // namespace kp::platform::clipboard::x11
