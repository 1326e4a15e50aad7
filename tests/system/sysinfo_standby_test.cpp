// SysMiseEnVeille on the device registry: both key layouts read and written,
// the bad sources and time-outs, damaged settings, and the reload event seen
// by a second process (forked) that waits on it as the power manager does.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <thread>

#include "abi/error_ids.h"
#include "platform/named_objects.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"
#include "system/device_profile_fixture.h"
#include "system/sysinfo.h"

namespace kp::system {
namespace {

namespace reg = platform::reg;
namespace named = platform::named;

class StandbyTest : public test::DeviceProfileTest {
 protected:
  // Every time-out of both layouts, in a fixed order.
  std::vector<uint32_t> All() {
    return {GetDword(kPowerKey, u"BattPowerOff"), GetDword(kPowerKey, u"ExtPowerOff"),
            GetDword(kPowerTimeoutsKey, u"BattSuspendTimeout"), GetDword(kPowerTimeoutsKey, u"ACSuspendTimeout")};
  }
};

TEST_F(StandbyTest, WindowSystemLayoutInThePowerKey) {
  SetDword(kPowerKey, u"DisableGwesPowerOff", 0);
  SetDword(kPowerKey, u"BattPowerOff", 180);
  SetDword(kPowerKey, u"ExtPowerOff", 300);
  SetDword(kPowerTimeoutsKey, u"BattSuspendTimeout", 11);
  SetDword(kPowerTimeoutsKey, u"ACSuspendTimeout", 22);
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 180);
  EXPECT_EQ(Standby(ctx_, sysMainsPower, kStandbyReadOnly), 300);
  EXPECT_EQ(All(), (std::vector<uint32_t>{180, 300, 11, 22})) << "reading writes nothing";
  EXPECT_EQ(Standby(ctx_, sysBattery, 60), 180) << "the value before the change";
  EXPECT_EQ(Standby(ctx_, sysMainsPower, 0), 300);
  EXPECT_EQ(All(), (std::vector<uint32_t>{60, 0, 11, 22}));
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 60);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(StandbyTest, PowerManagerLayoutInTheTimeoutsKey) {
  SetDword(kPowerKey, u"DisableGwesPowerOff", 1);
  SetDword(kPowerKey, u"BattPowerOff", 180);
  SetDword(kPowerKey, u"ExtPowerOff", 300);
  SetDword(kPowerTimeoutsKey, u"BattSuspendTimeout", 11);
  SetDword(kPowerTimeoutsKey, u"ACSuspendTimeout", 22);
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 11);
  EXPECT_EQ(Standby(ctx_, sysMainsPower, kStandbyReadOnly), 22);
  EXPECT_EQ(Standby(ctx_, sysBattery, 600), 11);
  EXPECT_EQ(Standby(ctx_, sysMainsPower, INT_MAX), 22) << "the largest time-out is taken";
  EXPECT_EQ(All(), (std::vector<uint32_t>{180, 300, 600, static_cast<uint32_t>(INT_MAX)}));
  EXPECT_EQ(Standby(ctx_, sysMainsPower, kStandbyReadOnly), INT_MAX);
  // Any non-zero switch hands the time-outs to the power manager.
  SetDword(kPowerKey, u"DisableGwesPowerOff", 0xFFFFFFFF);
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 600);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(StandbyTest, DefaultProfileAnswers) {
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 180);
  EXPECT_EQ(Standby(ctx_, sysMainsPower, kStandbyReadOnly), 300);
}

TEST_F(StandbyTest, BadSourcesAndTimeoutsRaise80145AndChangeNothing) {
  const std::vector<uint32_t> before = All();
  for (int32_t source : {0, 3, -1, INT_MAX, INT_MIN}) {
    ctx_.clearError();
    EXPECT_EQ(Standby(ctx_, source, kStandbyReadOnly), -1) << source;
    EXPECT_EQ(ctx_.errorId(), kErrSysSpaceValueUnsupported) << source;
    ctx_.clearError();
    EXPECT_EQ(Standby(ctx_, source, 60), -1) << source;
    EXPECT_EQ(ctx_.errorId(), kErrSysSpaceValueUnsupported) << source;
  }
  for (int32_t timeout : {-1, -9, -11, INT_MIN}) {
    ctx_.clearError();
    EXPECT_EQ(Standby(ctx_, sysBattery, timeout), -1) << timeout;
    EXPECT_EQ(ctx_.errorId(), kErrSysSpaceValueUnsupported) << timeout;
  }
  EXPECT_EQ(All(), before);
}

TEST_F(StandbyTest, DamagedSettingsFailWithThePlatformError) {
  SetText(kPowerKey, u"DisableGwesPowerOff", u"1");
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), -1);
  EXPECT_EQ(ctx_.systemError(), platform::sys::kErrorInvalidData);
  SetDword(kPowerKey, u"DisableGwesPowerOff", 0);
  SetText(kPowerKey, u"BattPowerOff", u"a text far longer than a DWORD");
  ctx_.clearError();
  EXPECT_EQ(Standby(ctx_, sysBattery, 60), -1);
  EXPECT_EQ(ctx_.systemError(), platform::sys::kErrorInvalidData);
  {
    reg::KeyHolder k;
    ASSERT_EQ(reg::OpenKey(reg::kLocalMachine, kPowerKey, reg::kAllAccess, k.out()), 0u);
    ASSERT_EQ(reg::DeleteValue(k.get(), u"ExtPowerOff"), 0u);
  }
  ctx_.clearError();
  EXPECT_EQ(Standby(ctx_, sysMainsPower, 60), -1);
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  SetDword(kPowerKey, u"DisableGwesPowerOff", 1);
  ASSERT_EQ(reg::DeleteKey(reg::kLocalMachine, kPowerTimeoutsKey), 0u);
  EXPECT_EQ(Standby(ctx_, sysBattery, kStandbyReadOnly), 180) << "a key removed comes back with its defaults";
  EXPECT_EQ(ctx_.systemError(), 0u);
}

#ifndef _WIN32  // fork and pipe; sysinfo_standby_win32_test.cpp waits in a thread instead
// A child that waits on the reload event as the power manager does: it
// makes the event, says so through the pipe, and exits 0 when the event is
// set within `waitMs`, 2 when not, 3 when it could not wait.
pid_t WaitingChild(int readyPipe, uint32_t waitMs) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  const named::Handle event = named::CreateEvent(kReloadTimeoutsEvent, false, false);
  const char ready = event ? 'r' : 'x';
  if (write(readyPipe, &ready, 1) != 1 || !event) _exit(3);
  const uint32_t r = named::WaitForObject(event, waitMs);
  // Closed before leaving, so that the prefix's object table goes with it.
  named::CloseHandle(event);
  _exit(r == named::kWaitObject0 ? 0 : r == named::kWaitTimeout ? 2 : 3);
}

int ChildExit(pid_t pid) {
  // The child waits a bounded time: it ends by itself.
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST_F(StandbyTest, AWriteSetsTheReloadEventForAnotherProcess) {
  for (bool write : {true, false}) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = WaitingChild(fds[1], write ? 10000 : 300);
    ASSERT_GT(child, 0);
    close(fds[1]);
    char ready = 0;
    ASSERT_EQ(read(fds[0], &ready, 1), 1);
    close(fds[0]);
    ASSERT_EQ(ready, 'r');
    EXPECT_EQ(Standby(ctx_, sysBattery, write ? 45 : kStandbyReadOnly), 180);
    EXPECT_EQ(ChildExit(child), write ? 0 : 2) << (write ? "a write sets the event" : "a read does not");
    SetDword(kPowerKey, u"BattPowerOff", 180);
  }
  EXPECT_FALSE(ctx_.hasError());
}
#endif

}  // namespace
}  // namespace kp::system
