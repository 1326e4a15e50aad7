// SysMiseEnVeille's reload event on Windows: a thread of its own opens the
// event the power manager waits on, where the POSIX test forks a child. A
// write sets it; a read leaves it alone.
#include <gtest/gtest.h>

#include <future>

#include "files/files_fixture.h"
#include "platform/named_objects.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"
#include "support/deadline.h"
#include "system/sysinfo.h"

namespace kp::system {
namespace {

namespace named = platform::named;
namespace reg = platform::reg;

class StandbyWin32 : public test::FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    platform::sys::EnsureDeviceProfile();
  }
};

TEST_F(StandbyWin32, AWriteSetsTheReloadEventAReadDoesNot) {
  for (bool write : {true, false}) {
    const named::Handle event = named::CreateEvent(kReloadTimeoutsEvent, false, false);
    ASSERT_NE(event, named::kNoHandle);
    // The waiter has its own handle, opened by name, as the power manager's.
    std::promise<void> opened;
    auto waiter = std::async(std::launch::async, [&] {
      const named::Handle mine = named::OpenEvent(kReloadTimeoutsEvent);
      opened.set_value();
      if (!mine) return 3u;
      const uint32_t r = named::WaitForObject(mine, write ? 10000 : 300);
      named::CloseHandle(mine);
      return r;
    });
    opened.get_future().wait();
    EXPECT_EQ(Standby(ctx_, sysBattery, write ? 45 : kStandbyReadOnly), 180);
    const uint32_t got = test::WithinSeconds(15, "reload event", [&] { return waiter.get(); });
    EXPECT_EQ(got, write ? named::kWaitObject0 : named::kWaitTimeout) << (write ? "a write sets the event" : "a read does not");
    EXPECT_EQ(named::WaitForObject(event, 0), named::kWaitTimeout) << "auto-reset: taken by the one waiter";
    named::CloseHandle(event);
    if (write) EXPECT_EQ(Standby(ctx_, sysBattery, 180), 45);
  }
  EXPECT_FALSE(ctx_.hasError());
}

}  // namespace
}  // namespace kp::system
