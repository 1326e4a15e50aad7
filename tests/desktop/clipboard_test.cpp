// The clipboard under an Xvfb of the test's own, against xclip as the
// other client (it reads what we put, and puts what we read); owners that
// misbehave and a clipboard manager written here with Xlib, since xclip can
// play neither; the image headers against files built byte by byte.
#include "desktop/clipboard.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <zlib.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "abi/error_ids.h"
#include "platform/clipboard.h"
#include "platform/common/clipboard_image.h"
#include "support/deadline.h"
#include "support/fake_context.h"
#include "support/temp_dir.h"
#include "support/xvfb.h"

// Xlib last: its macros (None, Bool, Status) would break the headers above.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

extern char** environ;

namespace kp::desktop {
namespace {

using test::Shell;
using test::Utf8;
using test::Xvfb;

namespace cb = platform::clipboard;

bool WriteFile(const std::string& path, const std::string& bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

// What xclip reads from the clipboard (bounded: a library that stopped
// answering fails the test instead of hanging it).
std::string XclipOut(const std::string& target = "") {
  return Shell("timeout 60 xclip -o -selection clipboard" + (target.empty() ? "" : " -t " + target) + " 2>/dev/null");
}

unsigned long ClipboardOwner() {
  ::Display* d = XOpenDisplay(nullptr);
  if (!d) return 0;
  const unsigned long owner = XGetSelectionOwner(d, XInternAtom(d, "CLIPBOARD", False));
  XCloseDisplay(d);
  return owner;
}

// Gives `bytes` to xclip, which owns the clipboard from then on. Its server
// goes away when another client takes the clipboard, or with the Xvfb.
void XclipIn(const test::TempDir& dir, const std::string& bytes, const std::string& type = "") {
  const std::string file = dir / "in";
  ASSERT_TRUE(WriteFile(file, bytes));
  const unsigned long before = ClipboardOwner();
  const std::string command =
      "xclip -selection clipboard" + (type.empty() ? "" : " -t " + type) + " -i '" + file + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  // xclip's server takes the clipboard after the command has returned.
  ASSERT_TRUE(test::WaitFor([&] { return ClipboardOwner() != before; }));
}

std::string Mixed(size_t bytes) {
  // Accents, a character outside the BMP and line ends, repeated.
  const std::string unit = "Été à Noël — 𝄞 ok\r\n";
  std::string s;
  while (s.size() + unit.size() <= bytes) s += unit;
  return s;
}

std::u16string U16(const std::string& utf8) {
  std::u16string out;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<unsigned char>(utf8[i]);
    const int n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    char32_t c = n == 1 ? b : b & (0x7F >> n);
    for (int k = 1; k < n; ++k) c = c << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
    if (c >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
    i += n;
  }
  return out;
}

class Clipboard : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* tool : {"Xvfb", "xclip", "timeout"})
      if (!test::OnPath(tool)) GTEST_SKIP() << tool << " is not installed";
    Xvfb::Shared();
    cb::SetTimeout(5000);
  }
  void TearDown() override { cb::SetTimeout(5000); }
  test::FakeContext ctx_;
  test::TempDir dir_{"kp-clipboard"};
};

TEST_F(Clipboard, TextWeWriteIsWhatXclipReads) {
  for (const std::u16string text : {u"héllo, ça va ? ÀÉÎÕÜ ÿ", u"clef 𝄞 et 😀 hors du plan de base", u"a\r\nb\tc"}) {
    ASSERT_TRUE(SetClipboardText(ctx_, text));
    EXPECT_EQ(XclipOut(), Utf8(text));
    EXPECT_EQ(XclipOut("text/plain\\;charset=utf-8"), Utf8(text));
  }
  EXPECT_FALSE(ctx_.hasError());
  // The targets an independent client is told.
  const std::string targets = XclipOut("TARGETS");
  for (const char* t : {"TARGETS", "UTF8_STRING", "text/plain;charset=utf-8", "STRING"})
    EXPECT_NE(targets.find(t), std::string::npos) << t << " in " << targets;
  // STRING is Latin-1: what it cannot hold becomes "?".
  ASSERT_TRUE(SetClipboardText(ctx_, u"é€"));
  EXPECT_EQ(XclipOut("STRING"), "\xE9?");
}

TEST_F(Clipboard, EmptyTextIsOwnedAndEmpty) {
  ASSERT_TRUE(SetClipboardText(ctx_, u"before"));
  ASSERT_TRUE(SetClipboardText(ctx_, u""));
  EXPECT_NE(XclipOut("TARGETS").find("UTF8_STRING"), std::string::npos);
  EXPECT_EQ(XclipOut(), "");
  EXPECT_EQ(ClipboardText(ctx_), u"");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Clipboard, TextXclipWritesIsWhatWeRead) {
  ASSERT_TRUE(SetClipboardText(ctx_, u"ours first"));
  for (const std::string text : {"de xclip : été, cœur, 𝄞 😀", "", "x"}) {
    XclipIn(dir_, text);
    EXPECT_EQ(ClipboardText(ctx_), U16(text)) << text;
    EXPECT_EQ(Utf8(ClipboardText(ctx_)), text);
  }
  EXPECT_FALSE(ctx_.hasError());
  // The text ends at its first zero, as a Unicode text block does.
  XclipIn(dir_, std::string("abc\0def", 7));
  EXPECT_EQ(ClipboardText(ctx_), u"abc");
}

TEST_F(Clipboard, OneMegabyteBothWays) {
  const std::string text = Mixed(1 << 20);
  ASSERT_TRUE(SetClipboardText(ctx_, U16(text)));
  EXPECT_EQ(XclipOut(), text);  // larger than one request: sent in INCR pieces
  XclipIn(dir_, text);
  EXPECT_EQ(Utf8(ClipboardText(ctx_)), text);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Clipboard, SixteenMegabytesBothWays) {
  const std::string text = Mixed(16 << 20);
  test::WithinSeconds(120, "16 MB through the clipboard", [&] {
    ASSERT_TRUE(SetClipboardText(ctx_, U16(text)));
    EXPECT_TRUE(XclipOut() == text);
    XclipIn(dir_, text);
    EXPECT_TRUE(Utf8(ClipboardText(ctx_)) == text);
  });
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Clipboard, InvalidUtf8BecomesReplacementCharacters) {
  XclipIn(dir_, "ok \xFF \xC3( \xF0\x9D end \xE2\x82");
  EXPECT_EQ(ClipboardText(ctx_), u"ok \uFFFD \uFFFD( \uFFFD\uFFFD end \uFFFD\uFFFD");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Clipboard, BufferIsTakenAsUtf16UpToItsZero) {
  const std::u16string text = u"tampon é 𝄞";
  std::vector<uint8_t> bytes;
  for (char16_t c : text) bytes.insert(bytes.end(), {uint8_t(c & 0xFF), uint8_t(c >> 8)});
  bytes.insert(bytes.end(), {0, 0, 'x', 0, 'y'});
  ASSERT_TRUE(SetClipboardBytes(ctx_, bytes));
  EXPECT_EQ(XclipOut(), Utf8(text));
  ASSERT_TRUE(SetClipboardBytes(ctx_, {}));
  EXPECT_EQ(XclipOut(), "");
}

// A VM value as the VM hands it to the any-value syntax.
struct FakeVariant {
  KLVariant base{&kOps};
  KLValue value{};
  static int32_t KL_CALL Get(const KLVariant* self, KLValue* out) {
    *out = reinterpret_cast<const FakeVariant*>(self)->value;
    return 1;
  }
  static constexpr KLVariantOps kOps{nullptr, &Get, nullptr};
};

TEST_F(Clipboard, AnyValueSyntaxTakesTextsAndBuffersOnly) {
  const std::u16string text = u"valeur é";
  FakeVariant v;
  v.value.type = KL_T_TEXT;
  v.value.size = uint32_t(text.size());
  v.value.u.text = text.c_str();
  ASSERT_TRUE(SetClipboardValue(ctx_, VariantArg(&v.base)));
  EXPECT_EQ(XclipOut(), "valeur é");

  const uint8_t bytes[] = {'b', 0, 'u', 0, 'f', 0};
  v.value.type = KL_T_BUFFER;
  v.value.size = sizeof bytes;
  v.value.u.bytes = bytes;
  ASSERT_TRUE(SetClipboardValue(ctx_, VariantArg(&v.base)));
  EXPECT_EQ(XclipOut(), "buf");

  // A number is refused and the clipboard keeps its text.
  v.value.type = KL_T_INT;
  v.value.size = 0;
  v.value.u.i32 = 42;
  EXPECT_FALSE(SetClipboardValue(ctx_, VariantArg(&v.base)));
  EXPECT_FALSE(SetClipboardValue(ctx_, VariantArg(nullptr)));
  EXPECT_EQ(XclipOut(), "buf");
  EXPECT_FALSE(ctx_.hasError());
}

// A child forked while the library serves the clipboard has no owner
// thread: it must start its own, and end without waiting for the parent's.
TEST_F(Clipboard, ForkedChildWritesAndEnds) {
  ASSERT_TRUE(SetClipboardText(ctx_, u"parent"));
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    // _exit: the child must not run the test's exit handlers (they would
    // stop the parent's Xvfb).
    test::FakeContext child;
    _exit(SetClipboardText(child, u"enfant") ? 0 : 1);
  }
  int status = 0;
  const bool ended = test::WaitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, std::chrono::seconds(20));
  if (!ended) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  ASSERT_TRUE(ended) << "the forked child hung";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  // The parent still serves (the child's text went with it).
  ASSERT_TRUE(SetClipboardText(ctx_, u"parent again"));
  EXPECT_EQ(XclipOut(), "parent again");
}

// --- images ----------------------------------------------------------------

std::string Be32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

std::string Chunk(const std::string& type, const std::string& data) {
  const std::string body = type + data;
  return Be32(uint32_t(data.size())) + body +
         Be32(uint32_t(crc32(0, reinterpret_cast<const Bytef*>(body.data()), uInt(body.size()))));
}

// A grey PNG of `w` x `h`, whole and valid.
std::string Png(uint32_t w, uint32_t h) {
  std::string raw;
  for (uint32_t y = 0; y < h; ++y) raw += '\0' + std::string(w, '\x80');
  uLongf size = compressBound(uLong(raw.size()));
  std::string z(size, '\0');
  compress(reinterpret_cast<Bytef*>(z.data()), &size, reinterpret_cast<const Bytef*>(raw.data()), uLong(raw.size()));
  z.resize(size);
  return std::string("\x89PNG\r\n\x1a\n", 8) +
         Chunk("IHDR", Be32(w) + Be32(h) + std::string("\x08\x00\x00\x00\x00", 5)) + Chunk("IDAT", z) +
         Chunk("IEND", "");
}

TEST_F(Clipboard, ImageGivesNoTextButItsSize) {
  XclipIn(dir_, Png(37, 21), "image/png");
  EXPECT_EQ(ClipboardText(ctx_), u"");
  EXPECT_EQ(ClipboardWidth(ctx_), 37);
  EXPECT_EQ(ClipboardHeight(ctx_), 21);
  EXPECT_TRUE(ClipboardHasFormat(ctx_, cb::kCfBitmap));
  EXPECT_TRUE(ClipboardHasFormat(ctx_, cb::kCfDib));
  EXPECT_FALSE(ClipboardHasFormat(ctx_, cb::kCfUnicodeText));
  EXPECT_FALSE(ClipboardHasFormat(ctx_, 49161));  // a registered format: never here
  EXPECT_FALSE(ctx_.hasError());

  ASSERT_TRUE(SetClipboardText(ctx_, u"texte"));
  EXPECT_EQ(ClipboardWidth(ctx_), 0);
  EXPECT_EQ(ClipboardHeight(ctx_), 0);
  EXPECT_TRUE(ClipboardHasFormat(ctx_, cb::kCfUnicodeText));
  EXPECT_TRUE(ClipboardHasFormat(ctx_, cb::kCfText));
  EXPECT_FALSE(ClipboardHasFormat(ctx_, cb::kCfBitmap));
  EXPECT_FALSE(ctx_.hasError());

  EXPECT_FALSE(ClipboardHasFormat(ctx_, 0));
  EXPECT_EQ(ctx_.errorId(), kErrClipboardFormatUnsupported);
}

TEST(ClipboardImage, SizesFromHeaders) {
  int32_t w = -1, h = -1;
  ASSERT_TRUE(cb::ReadImageSize(Png(640, 3), &w, &h));
  EXPECT_EQ(w, 640);
  EXPECT_EQ(h, 3);
  // BMP with a top-down (negative) height.
  std::string bmp = "BM" + std::string(12, '\0') + std::string("\x28\0\0\0", 4) + std::string("\x20\x03\0\0", 4) +
                    std::string("\x38\xFF\xFF\xFF", 4);
  ASSERT_TRUE(cb::ReadImageSize(bmp, &w, &h));
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 200);
  ASSERT_TRUE(cb::ReadImageSize(std::string("GIF89a\x10\x01\x05\x00", 10), &w, &h));
  EXPECT_EQ(w, 272);
  EXPECT_EQ(h, 5);
  // JPEG: an APP0 segment, then the frame header (height 0x01E0, width 0x0280).
  const std::string jpeg = std::string("\xFF\xD8\xFF\xE0\x00\x04\x00\x00\xFF\xC0\x00\x11\x08\x01\xE0\x02\x80", 17);
  ASSERT_TRUE(cb::ReadImageSize(jpeg, &w, &h));
  EXPECT_EQ(w, 640);
  EXPECT_EQ(h, 480);
  // Cut, zero-sized or unknown: no size, no reading past the end.
  w = h = 7;
  const std::string png = Png(5, 5);
  for (size_t n = 0; n < 24; ++n) EXPECT_FALSE(cb::ReadImageSize(png.substr(0, n), &w, &h)) << n;
  for (size_t n = 0; n < jpeg.size(); ++n) EXPECT_FALSE(cb::ReadImageSize(jpeg.substr(0, n), &w, &h)) << n;
  EXPECT_FALSE(cb::ReadImageSize(Png(0, 5), &w, &h));
  EXPECT_FALSE(cb::ReadImageSize("plain text, no image", &w, &h));
  EXPECT_EQ(w, 7);
  EXPECT_EQ(h, 7);
}

// The bitmap header Windows puts on its clipboard, read as a BMP file's.
TEST(ClipboardImage, SizesFromBitmapHeaders) {
  const std::string info = std::string("\x28\0\0\0", 4) + std::string("\x20\x03\0\0", 4) +
                           std::string("\x38\xFF\xFF\xFF", 4) + std::string(28, '\0');
  int32_t w = -1, h = -1;
  ASSERT_TRUE(cb::ReadDibSize(info, &w, &h));
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 200);
  const std::string core = std::string("\x0C\0\0\0", 4) + std::string("\x10\x00\x09\x00", 4) + std::string(4, '\0');
  ASSERT_TRUE(cb::ReadDibSize(core, &w, &h));
  EXPECT_EQ(w, 16);
  EXPECT_EQ(h, 9);
  w = h = 7;
  for (size_t n = 0; n < 12; ++n) EXPECT_FALSE(cb::ReadDibSize(info.substr(0, n), &w, &h)) << n;
  EXPECT_FALSE(cb::ReadDibSize(std::string("\x28\0\0\0", 4) + std::string(36, '\0'), &w, &h));  // 0 x 0
  EXPECT_EQ(w, 7);
  EXPECT_EQ(h, 7);
}

// --- owners that misbehave ----------------------------------------------------

// Another client on the clipboard, with its own connection and thread:
// kSilent takes the clipboard and never answers; kVanishing offers text,
// starts an INCR transfer and closes its connection.
class BadOwner {
 public:
  enum Kind { kSilent, kVanishing };
  explicit BadOwner(Kind kind) : kind_(kind) {
    d_ = XOpenDisplay(nullptr);
    if (!d_) return;
    w_ = XCreateSimpleWindow(d_, DefaultRootWindow(d_), 0, 0, 1, 1, 0, 0, 0);
    clipboard_ = XInternAtom(d_, "CLIPBOARD", False);
    XSetSelectionOwner(d_, clipboard_, w_, CurrentTime);
    XSync(d_, False);
    if (kind_ == kVanishing) thread_ = std::thread([this] { Serve(); });
  }
  ~BadOwner() {
    if (thread_.joinable()) thread_.join();
    if (d_) XCloseDisplay(d_);
  }
  bool owns() {
    ::Display* probe = XOpenDisplay(nullptr);
    const bool yes = probe && XGetSelectionOwner(probe, XInternAtom(probe, "CLIPBOARD", False)) == w_;
    if (probe) XCloseDisplay(probe);
    return yes;
  }

 private:
  void Serve() {
    const Atom targets = XInternAtom(d_, "TARGETS", False), utf8 = XInternAtom(d_, "UTF8_STRING", False),
               incr = XInternAtom(d_, "INCR", False);
    for (;;) {
      XEvent e;
      XNextEvent(d_, &e);
      if (e.type != SelectionRequest) continue;
      XSelectionRequestEvent& r = e.xselectionrequest;
      if (r.target == targets) {
        const Atom list[] = {targets, utf8};
        XChangeProperty(d_, r.requestor, r.property, XA_ATOM, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(list), 2);
      } else {
        const long size = 1 << 20;
        XChangeProperty(d_, r.requestor, r.property, incr, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(&size), 1);
      }
      XEvent n{};
      n.xselection = {SelectionNotify, 0, True, d_, r.requestor, r.selection, r.target, r.property, r.time};
      XSendEvent(d_, r.requestor, False, NoEventMask, &n);
      XSync(d_, False);
      if (r.target != targets) break;  // the transfer has begun: vanish
    }
    XCloseDisplay(d_);
    d_ = nullptr;
  }

  Kind kind_;
  ::Display* d_ = nullptr;
  ::Window w_ = 0;
  Atom clipboard_ = None;
  std::thread thread_;
};

TEST_F(Clipboard, SilentOwnerTimesOut) {
  BadOwner owner(BadOwner::kSilent);
  ASSERT_TRUE(owner.owns());
  cb::SetTimeout(300);
  const auto text = test::WithinSeconds(10, "reading from a silent owner", [&] { return ClipboardText(ctx_); });
  EXPECT_EQ(text, u"");
  EXPECT_EQ(ctx_.errorId(), kErrCannotOpenClipboard);
  EXPECT_EQ(ctx_.systemError(), 1460u);
  ctx_.clearError();
  EXPECT_EQ(test::WithinSeconds(10, "image size", [&] { return ClipboardWidth(ctx_); }), 0);
  EXPECT_EQ(ctx_.systemError(), 1460u);
  ctx_.clearError();
  EXPECT_FALSE(test::WithinSeconds(10, "formats", [&] { return ClipboardHasFormat(ctx_, 13); }));
  EXPECT_EQ(ctx_.systemError(), 1460u);
  // Writing takes the clipboard from it.
  ctx_.clearError();
  ASSERT_TRUE(SetClipboardText(ctx_, u"repris"));
  EXPECT_EQ(XclipOut(), "repris");
}

TEST_F(Clipboard, OwnerVanishingMidTransferTimesOut) {
  BadOwner owner(BadOwner::kVanishing);
  cb::SetTimeout(500);
  const auto text = test::WithinSeconds(10, "reading from a vanishing owner", [&] { return ClipboardText(ctx_); });
  EXPECT_EQ(text, u"");
  EXPECT_EQ(ctx_.errorId(), kErrCannotOpenClipboard);
  EXPECT_EQ(ctx_.systemError(), 1460u);
}

// A requestor that starts an INCR transfer and never takes the pieces: the
// library keeps answering others meanwhile.
TEST_F(Clipboard, StalledReaderDoesNotBlockOthers) {
  const std::string big = Mixed(1 << 20);
  ASSERT_TRUE(SetClipboardText(ctx_, U16(big)));
  ::Display* d = XOpenDisplay(nullptr);
  ASSERT_NE(d, nullptr);
  const ::Window w = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 1, 1, 0, 0, 0);
  XConvertSelection(d, XInternAtom(d, "CLIPBOARD", False), XInternAtom(d, "UTF8_STRING", False),
                    XInternAtom(d, "STALL", False), w, CurrentTime);
  XSync(d, False);
  EXPECT_EQ(XclipOut(), big);
  XCloseDisplay(d);  // gone mid-transfer
  EXPECT_EQ(XclipOut(), big);
}

// --- the clipboard manager -------------------------------------------------

// A minimal clipboard manager: owns CLIPBOARD_MANAGER; on SAVE_TARGETS it
// copies the clipboard's UTF8_STRING, answers, then owns CLIPBOARD itself
// and serves the copy.
class Manager {
 public:
  Manager() {
    d_ = XOpenDisplay(nullptr);
    if (!d_) return;
    w_ = XCreateSimpleWindow(d_, DefaultRootWindow(d_), 0, 0, 1, 1, 0, 0, 0);
    XSelectInput(d_, w_, PropertyChangeMask);
    XSetSelectionOwner(d_, XInternAtom(d_, "CLIPBOARD_MANAGER", False), w_, CurrentTime);
    XSync(d_, False);
    thread_ = std::thread([this] { Serve(); });
  }
  ~Manager() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (d_) XCloseDisplay(d_);
  }
  bool saved() const { return saved_; }

 private:
  void Serve() {
    const Atom clipboard = XInternAtom(d_, "CLIPBOARD", False), save = XInternAtom(d_, "SAVE_TARGETS", False),
               utf8 = XInternAtom(d_, "UTF8_STRING", False), targets = XInternAtom(d_, "TARGETS", False),
               copy = XInternAtom(d_, "KP_TEST_COPY", False);
    XSelectionRequestEvent saving{};
    while (!stop_) {
      if (!XPending(d_)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        continue;
      }
      XEvent e;
      XNextEvent(d_, &e);
      if (e.type == SelectionRequest && e.xselectionrequest.target == save) {
        saving = e.xselectionrequest;
        XConvertSelection(d_, clipboard, utf8, copy, w_, CurrentTime);
      } else if (e.type == SelectionNotify && e.xselection.selection == clipboard) {
        Atom type;
        int format;
        unsigned long n, after;
        unsigned char* data = nullptr;
        if (e.xselection.property != None &&
            XGetWindowProperty(d_, w_, copy, 0, 1 << 20, True, AnyPropertyType, &type, &format, &n, &after, &data) ==
                Success &&
            data) {
          text_.assign(reinterpret_cast<char*>(data), n);
          XFree(data);
        }
        XSetSelectionOwner(d_, clipboard, w_, CurrentTime);
        XEvent done{};
        done.xselection = {SelectionNotify,
                           0,
                           True,
                           d_,
                           saving.requestor,
                           saving.selection,
                           saving.target,
                           saving.property != None ? saving.property : save,
                           saving.time};
        XSendEvent(d_, saving.requestor, False, NoEventMask, &done);
        saved_ = true;
      } else if (e.type == SelectionRequest) {
        XSelectionRequestEvent& r = e.xselectionrequest;
        XEvent n{};
        n.xselection = {SelectionNotify, 0, True, d_, r.requestor, r.selection, r.target, r.property, r.time};
        if (r.target == targets) {
          const Atom list[] = {targets, utf8};
          XChangeProperty(d_, r.requestor, r.property, XA_ATOM, 32, PropModeReplace,
                          reinterpret_cast<const unsigned char*>(list), 2);
        } else if (r.target == utf8) {
          XChangeProperty(d_, r.requestor, r.property, utf8, 8, PropModeReplace,
                          reinterpret_cast<const unsigned char*>(text_.data()), int(text_.size()));
        } else {
          n.xselection.property = None;
        }
        XSendEvent(d_, r.requestor, False, NoEventMask, &n);
      }
      XFlush(d_);
    }
  }

  ::Display* d_ = nullptr;
  ::Window w_ = 0;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> saved_{false};
  std::string text_;
};

// Run by the test below in a process of its own, on its display: puts the
// text and ends.
TEST(ClipboardChild, PutsTextAndEnds) {
  const char* text = std::getenv("KP_CLIPBOARD_CHILD_TEXT");
  if (!text) GTEST_SKIP() << "run by Clipboard.TextOutlivesTheProgramWithAManager";
  test::FakeContext ctx;
  ASSERT_TRUE(SetClipboardText(ctx, U16(text)));
}

TEST_F(Clipboard, TextOutlivesTheProgramWithAManager) {
  Manager manager;
  const std::string text = "survit à la fin 𝄞";
  const std::string env = "KP_CLIPBOARD_CHILD_TEXT=" + text;
  std::vector<std::string> args = {"/proc/self/exe", "--gtest_filter=ClipboardChild.PutsTextAndEnds"};
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (char** e = environ; *e; ++e) envp.push_back(*e);
  envp.push_back(const_cast<char*>(env.c_str()));
  envp.push_back(nullptr);
  pid_t pid;
  ASSERT_EQ(posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv.data(), envp.data()), 0);
  int status = 0;
  const bool ended = test::WaitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, std::chrono::seconds(30));
  if (!ended) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  ASSERT_TRUE(ended) << "the child hung at its end";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(manager.saved());
  EXPECT_EQ(XclipOut(), text);
}

// The X server going away while the library owns the clipboard: the owner
// thread ends, the process goes on, and the next calls fail cleanly.
TEST_F(Clipboard, ServerGoingAwayFailsCleanly) {
  test::OwnXvfb server(dir_ / "xvfb.log");
  ASSERT_NE(server.name(), "") << test::ReadFile(dir_ / "xvfb.log");
  const std::string shared = std::getenv("DISPLAY");
  setenv("DISPLAY", server.name().c_str(), 1);
  ASSERT_TRUE(SetClipboardText(ctx_, u"bientôt orphelin"));
  EXPECT_EQ(XclipOut(), "bientôt orphelin");
  server.Stop();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(test::WithinSeconds(20, "writing after the server went", [&] { return SetClipboardText(ctx_, u"x"); }));
  EXPECT_EQ(ctx_.systemError(), cb::kNoDisplay);
  ctx_.clearError();
  EXPECT_EQ(ClipboardText(ctx_), u"");
  EXPECT_EQ(ctx_.systemError(), cb::kNoDisplay);
  // Back on the shared server, all works again.
  setenv("DISPLAY", shared.c_str(), 1);
  ctx_.clearError();
  ASSERT_TRUE(SetClipboardText(ctx_, u"de retour"));
  EXPECT_EQ(XclipOut(), "de retour");
}

// --- no display ------------------------------------------------------------

TEST(ClipboardWithoutDisplay, FailsCleanly) {
  const char* before = std::getenv("DISPLAY");
  const std::string saved = before ? before : "";
  unsetenv("DISPLAY");
  test::FakeContext ctx;
  EXPECT_EQ(ClipboardText(ctx), u"");
  EXPECT_EQ(ctx.errorId(), kErrNotAvailableOnPlatform);
  EXPECT_EQ(ctx.systemError(), cb::kNoDisplay);
  ctx.clearError();
  EXPECT_FALSE(SetClipboardText(ctx, u"x"));
  EXPECT_EQ(ctx.systemError(), cb::kNoDisplay);
  ctx.clearError();
  EXPECT_EQ(ClipboardWidth(ctx), 0);
  EXPECT_EQ(ClipboardHeight(ctx), 0);
  EXPECT_EQ(ctx.systemError(), cb::kNoDisplay);
  ctx.clearError();
  EXPECT_FALSE(ClipboardHasFormat(ctx, 13));
  EXPECT_EQ(ctx.errorId(), kErrNotAvailableOnPlatform);
  if (before) setenv("DISPLAY", saved.c_str(), 1);
}

}  // namespace
}  // namespace kp::desktop
