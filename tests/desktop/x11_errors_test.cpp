// The process's one pair of X error handlers: each X error reaches the owner
// of the connection it came on and no other, errors of connections nobody
// registered go to the handler that was there before, and a server that
// dies under two registered connections tells both owners and leaves the
// process running.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "support/deadline.h"
#include "support/temp_dir.h"
#include "support/xvfb.h"

// Last: Xlib's macros (None, Bool, Status) would break the headers above.
#include "platform/posix/x11_errors.h"

namespace kp::platform::x11 {
namespace {

struct Recorder {
  std::atomic<int> errors{0};
  std::atomic<int> lastCode{0};
  std::atomic<int> lost{0};
  ErrorOwner owner() {
    return {this,
            [](void* self, const XErrorEvent& e) {
              auto* r = static_cast<Recorder*>(self);
              ++r->errors;
              r->lastCode = e.error_code;
            },
            [](void* self) { ++static_cast<Recorder*>(self)->lost; }};
  }
};

std::atomic<int> gForeignErrors{0};
int ForeignHandler(::Display*, XErrorEvent*) {
  ++gForeignErrors;
  return 0;
}

// A request that fails with BadWindow, met at once.
void Provoke(::Display* d) {
  XMapWindow(d, 0x7ffffff0);
  XSync(d, False);
}

class X11Errors : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::Xvfb::Installed()) GTEST_SKIP() << "Xvfb is not installed";
    test::Xvfb::Shared();
  }
};

TEST_F(X11Errors, EachErrorGoesToItsConnectionsOwner) {
  ::Display* a = XOpenDisplay(nullptr);
  ::Display* b = XOpenDisplay(nullptr);
  ::Display* foreign = XOpenDisplay(nullptr);
  ASSERT_TRUE(a && b && foreign);
  // A handler of the program's own, put there before ours: it keeps the
  // errors of the connection nobody registered.
  XSetErrorHandler(ForeignHandler);
  Recorder ra, rb;
  Watch(a, ra.owner());
  Watch(b, rb.owner());
  gForeignErrors = 0;

  Provoke(a);
  EXPECT_EQ(ra.errors, 1);
  EXPECT_EQ(ra.lastCode, BadWindow);
  EXPECT_EQ(rb.errors, 0);
  Provoke(b);
  Provoke(b);
  EXPECT_EQ(ra.errors, 1);
  EXPECT_EQ(rb.errors, 2);
  Provoke(foreign);
  EXPECT_EQ(gForeignErrors, 1);
  EXPECT_EQ(ra.errors + rb.errors, 3);

  // Registered again with another owner, a connection reports to that one
  // only; a late Unwatch by the first owner does not drop it.
  Recorder again;
  Watch(a, again.owner());
  Unwatch(a, &ra);
  Provoke(a);
  EXPECT_EQ(again.errors, 1);
  EXPECT_EQ(ra.errors, 1);

  // Closed and forgotten: no owner is told anything more.
  XCloseDisplay(a);
  Unwatch(a, &again);
  XCloseDisplay(b);
  Unwatch(b, &rb);
  Provoke(foreign);
  EXPECT_EQ(gForeignErrors, 2);
  XCloseDisplay(foreign);
  EXPECT_EQ(ra.lost + rb.lost + again.lost, 0);
}

TEST_F(X11Errors, AServerThatDiesTellsEveryOwnerAndTheProcessGoesOn) {
  // A server of this test's own, stopped under two registered connections.
  test::TempDir dir{"kp-x11-errors"};
  test::OwnXvfb server(dir / "xvfb.log", {"-screen", "0", "320x240x24"});
  ASSERT_NE(server.name(), "") << test::ReadFile(dir / "xvfb.log");
  const std::string name = server.name();
  ::Display* a = XOpenDisplay(name.c_str());
  ::Display* b = XOpenDisplay(name.c_str());
  ASSERT_TRUE(a && b);
  Recorder ra, rb;
  Watch(a, ra.owner());
  Watch(b, rb.owner());
  server.Stop();
  test::WithinSeconds(20, "the connections after their server died", [&] {
    XSync(a, False);
    XSync(b, False);
  });
  EXPECT_GE(ra.lost, 1);
  EXPECT_GE(rb.lost, 1);
  EXPECT_EQ(ra.errors + rb.errors, 0);
  // Broken connections are closed like live ones, requests still queued on
  // them: nothing is written to the dead socket (SIGPIPE would end the test
  // process) and the leak check of the sanitizer builds finds nothing of
  // them left.
  XMapWindow(a, DefaultRootWindow(a));
  XFreeGC(b, XCreateGC(b, DefaultRootWindow(b), 0, nullptr));
  test::WithinSeconds(20, "closing the broken connections", [&] {
    Close(a, &ra);
    Close(b, &rb);
  });
  EXPECT_EQ(ra.errors + rb.errors, 0);
}

}  // namespace
}  // namespace kp::platform::x11
