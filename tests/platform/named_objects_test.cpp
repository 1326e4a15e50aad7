// Named objects between real processes: mappings seen by another process,
// a mutex whose owner is killed, semaphores and events with time-outs,
// waiting on several objects, objects that go with their last holder (also
// a killed one), device prefixes that never meet, and bad names. Each test
// runs in a device prefix of its own and checks that it left nothing in
// /dev/shm.
#include "platform/named_objects.h"

#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "platform/win32_errors.h"
#include "support/deadline.h"
#include "support/dev_shm.h"
#include "support/temp_dir.h"

namespace kp::platform::named {
namespace {

std::u16string U(const std::string& s) { return std::u16string(s.begin(), s.end()); }

using kp::test::LeftInDevShm;

class NamedObjects : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(tmp_.ok());
    dir_ = tmp_.path();
    const char* old = std::getenv("KP_PREFIX");
    if (old) oldPrefix_ = old;
    hadPrefix_ = old != nullptr;
    setenv("KP_PREFIX", dir_.c_str(), 1);
    stem_ = SharedMemoryStem();
    ASSERT_TRUE(LeftInDevShm(stem_).empty());
  }
  void TearDown() override {
    for (pid_t pid : children_) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    for (Handle h : handles_) CloseHandle(h);
    EXPECT_EQ(LeftInDevShm(stem_), std::vector<std::string>{}) << "left in /dev/shm";
    if (hadPrefix_)
      setenv("KP_PREFIX", oldPrefix_.c_str(), 1);
    else
      unsetenv("KP_PREFIX");
  }

  // Runs `body` in a child process; its result is the exit status. The
  // child writes one byte on `ready` when it calls Ready().
  pid_t Child(const std::function<int()>& body) {
    int p[2];
    EXPECT_EQ(pipe(p), 0);
    const pid_t pid = fork();
    if (pid == 0) {
      // Dies with the test, even one that ends without its clean-up.
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(p[0]);
      readyFd_ = p[1];
      std::_Exit(body());
    }
    close(p[1]);
    readFd_ = p[0];
    children_.push_back(pid);
    return pid;
  }
  // In the child: tells the parent it may go on.
  void Ready() {
    const char c = 1;
    (void)!write(readyFd_, &c, 1);
  }
  // In the parent: waits for the child's Ready(); false when it died first.
  bool AwaitReady() {
    char c = 0;
    const bool ok = kp::test::WithinSeconds(10, "child ready", [&] { return read(readFd_, &c, 1) == 1; });
    close(readFd_);
    return ok;
  }
  int Reap(pid_t pid) {
    int status = 0;
    kp::test::WithinSeconds(10, "child exit", [&] { return waitpid(pid, &status, 0); });
    std::erase(children_, pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  void KillAndReap(pid_t pid) {
    kill(pid, SIGKILL);
    Reap(pid);
  }
  Handle Keep(Handle h) {
    if (h) handles_.push_back(h);
    return h;
  }
  void Close(Handle h) {
    std::erase(handles_, h);
    EXPECT_TRUE(CloseHandle(h));
  }

  kp::test::TempDir tmp_{"kp-named"};  // removed with everything in it after TearDown
  std::string dir_;
  std::string oldPrefix_;
  bool hadPrefix_ = false;
  std::string stem_;
  std::vector<pid_t> children_;
  std::vector<Handle> handles_;
  int readyFd_ = -1;
  int readFd_ = -1;
};

TEST_F(NamedObjects, MappingIsSharedAndHasItsRealSize) {
  const std::u16string name = u"Local\\block";
  const Handle m = Keep(CreateMapping(name, 100, true));
  ASSERT_NE(m, kNoHandle);
  EXPECT_EQ(LastError(), win32::kSuccess);
  auto* view = static_cast<char*>(MapView(m, true, 0));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(ViewRegionSize(view), static_cast<size_t>(sysconf(_SC_PAGESIZE))) << "whole pages, as VirtualQuery says";
  EXPECT_EQ(view[0], 0) << "a new mapping reads as zeros";
  std::strcpy(view, "from the parent");

  const pid_t child = Child([&] {
    const Handle o = OpenMapping(name, true);
    if (!o) return 1;
    auto* v = static_cast<char*>(MapView(o, true, 0));
    if (!v) return 2;
    if (std::strcmp(v, "from the parent") != 0) return 3;
    std::strcpy(v + 50, "from the child");
    // Past the size, within the last page: still shared, as on Windows.
    v[4000] = 'z';
    UnmapView(v);
    CloseHandle(o);
    return 0;
  });
  EXPECT_EQ(Reap(child), 0);
  EXPECT_STREQ(view + 50, "from the child");
  EXPECT_EQ(view[4000], 'z');

  // Creating it again opens it, whatever the size, and says it existed.
  const Handle again = Keep(CreateMapping(name, 999999, true));
  ASSERT_NE(again, kNoHandle);
  EXPECT_EQ(LastError(), win32::kAlreadyExists);
  EXPECT_EQ(MapView(again, true, 101), nullptr) << "a view past the mapping's size";
  EXPECT_EQ(LastError(), win32::kAccessDenied);
  Close(again);

  // A read-only handle gives no writable view.
  const Handle reader = Keep(OpenMapping(name, false));
  ASSERT_NE(reader, kNoHandle);
  EXPECT_EQ(MapView(reader, true, 0), nullptr);
  void* readView = MapView(reader, false, 10);
  ASSERT_NE(readView, nullptr);
  EXPECT_EQ(ViewRegionSize(readView), static_cast<size_t>(sysconf(_SC_PAGESIZE)));
  Close(reader);
  // The view keeps the mapping alive after every handle closed.
  Close(m);
  EXPECT_NE(Keep(OpenMapping(name, false)), kNoHandle);
  CloseHandle(handles_.back());
  handles_.pop_back();
  EXPECT_TRUE(UnmapView(readView));
  EXPECT_TRUE(UnmapView(view));
  EXPECT_EQ(OpenMapping(name, false), kNoHandle) << "gone with its last view";
  EXPECT_EQ(LastError(), win32::kFileNotFound);
}

TEST_F(NamedObjects, BadArgumentsFailWithWin32Codes) {
  EXPECT_EQ(CreateMapping(u"Local\\zero", 0, true), kNoHandle);
  EXPECT_EQ(LastError(), win32::kInvalidParameter);
  EXPECT_EQ(CreateMapping(u"Local\\minus", ~uint64_t{0}, true), kNoHandle);
  EXPECT_EQ(LastError(), win32::kInvalidParameter);
  EXPECT_EQ(CreateMutex(U("Local\\" + std::string(300, 'n')), true), kNoHandle);
  EXPECT_EQ(LastError(), win32::kFilenameExcedRange);
  EXPECT_EQ(CreateMutex(u"Local\\a\\b", true), kNoHandle);
  EXPECT_EQ(LastError(), win32::kBadPathname);
  EXPECT_EQ(CreateMutex(u"Local\\", true), kNoHandle) << "a scope without a name";
  EXPECT_EQ(LastError(), win32::kInvalidName);
  EXPECT_EQ(OpenEvent(u"Local\\none"), kNoHandle);
  EXPECT_EQ(LastError(), win32::kFileNotFound);
  EXPECT_EQ(CreateSemaphore(u"Local\\s", 2, 1), kNoHandle);
  EXPECT_EQ(LastError(), win32::kInvalidParameter);

  // A slash is an ordinary character of a name.
  const Handle slash = Keep(CreateEvent(u"PowerManager/ReloadActivityTimeouts", false, false));
  EXPECT_NE(slash, kNoHandle);
  // A name taken by another kind of object.
  EXPECT_EQ(CreateMutex(u"PowerManager/ReloadActivityTimeouts", false), kNoHandle);
  EXPECT_EQ(LastError(), win32::kInvalidHandle);

  EXPECT_FALSE(CloseHandle(12345));
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
  EXPECT_FALSE(ReleaseMutex(slash)) << "an event is no mutex";
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
  EXPECT_EQ(WaitForObject(12345, 0), kWaitFailed);
  const Handle mapping = Keep(CreateMapping(u"", 10, true));
  ASSERT_NE(mapping, kNoHandle) << "an unnamed mapping";
  EXPECT_EQ(WaitForObject(mapping, 0), kWaitFailed) << "a mapping cannot be waited for";
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
  int notAView = 0;
  EXPECT_FALSE(UnmapView(&notAView));
  EXPECT_EQ(ViewRegionSize(&notAView), 0u);

  const Handle mutex = Keep(CreateMutex(u"Local\\m", false));
  EXPECT_FALSE(ReleaseMutex(mutex)) << "not owned";
  EXPECT_EQ(LastError(), kErrorNotOwner);
  const Handle twice = Keep(CreateMutex(u"Local\\m", true));
  EXPECT_EQ(LastError(), win32::kAlreadyExists);
  EXPECT_FALSE(ReleaseMutex(twice)) << "an existing mutex is not taken by creating it";
}

TEST_F(NamedObjects, MutexOfAKilledOwnerIsAbandonedThenNormal) {
  const std::u16string name = u"Global\\lock";
  const pid_t owner = Child([&] {
    if (!CreateMutex(name, true)) return 1;
    Ready();
    pause();
    return 0;
  });
  ASSERT_TRUE(AwaitReady());
  const Handle mutex = Keep(OpenMutex(name));
  ASSERT_NE(mutex, kNoHandle);
  EXPECT_EQ(WaitForObject(mutex, 50), kWaitTimeout) << "owned by the child";

  // A waiter already blocked when the owner dies gets the mutex, abandoned.
  // (The wait's own time-out bounds it; ownership is the waiting thread's.)
  std::thread killer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    kill(owner, SIGKILL);
  });
  const auto before = std::chrono::steady_clock::now();
  const uint32_t got = WaitForObject(mutex, 5000);
  killer.join();
  Reap(owner);
  EXPECT_EQ(got, kWaitAbandoned0);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
  // Now it is ours, recursively, and a normal mutex for the next owner.
  EXPECT_EQ(WaitForObject(mutex, 0), kWaitObject0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_TRUE(ReleaseMutex(mutex));
  const pid_t next = Child([&] {
    const Handle m = OpenMutex(name);
    return m && WaitForObject(m, 1000) == kWaitObject0 && ReleaseMutex(m) ? 0 : 1;
  });
  EXPECT_EQ(Reap(next), 0);

  // A killed owner nobody was waiting for: the next wait sees it.
  const pid_t second = Child([&] {
    const Handle m = OpenMutex(name);
    if (!m || WaitForObject(m, 1000) != kWaitObject0) return 1;
    Ready();
    pause();
    return 0;
  });
  ASSERT_TRUE(AwaitReady());
  KillAndReap(second);
  EXPECT_EQ(WaitForObject(mutex, 2000), kWaitAbandoned0);
  EXPECT_TRUE(ReleaseMutex(mutex));

  // A thread that ends owning it abandons it too, as on Windows.
  std::thread([&] { EXPECT_EQ(WaitForObject(mutex, 1000), kWaitObject0); }).join();
  EXPECT_EQ(WaitForObject(mutex, 2000), kWaitAbandoned0);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(NamedObjects, SemaphoresAndEventsAcrossProcesses) {
  const Handle sem = Keep(CreateSemaphore(u"Local\\sem", 0, 2));
  ASSERT_NE(sem, kNoHandle);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(WaitForObject(sem, 120), kWaitTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(110));

  const pid_t child = Child([&] {
    const Handle s = OpenSemaphore(u"Local\\sem");
    const Handle e = CreateEvent(u"PowerManager/ReloadActivityTimeouts", false, false);
    if (!s || !e) return 1;
    Ready();
    // Waits for the parent's event, then answers on the semaphore.
    if (WaitForObject(e, 5000) != kWaitObject0) return 2;
    // Beyond the maximum first: once the counts are posted the parent may
    // take one at any moment, which would make room again.
    if (ReleaseSemaphore(s, 3, nullptr) || LastError() != kErrorTooManyPosts) return 4;
    int32_t previous = -1;
    if (!ReleaseSemaphore(s, 2, &previous) || previous != 0) return 3;
    return 0;
  });
  ASSERT_TRUE(AwaitReady());
  const Handle event = Keep(OpenEvent(u"PowerManager/ReloadActivityTimeouts"));
  ASSERT_NE(event, kNoHandle);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(kp::test::WithinSeconds(10, "semaphore", [&] { return WaitForObject(sem, 5000); }), kWaitObject0);
  EXPECT_EQ(Reap(child), 0);
  EXPECT_EQ(WaitForObject(sem, 0), kWaitObject0) << "the second count";
  EXPECT_EQ(WaitForObject(sem, 0), kWaitTimeout);
  EXPECT_EQ(WaitForObject(event, 0), kWaitTimeout) << "auto-reset: taken by the child";
  const Handle full = Keep(CreateSemaphore(u"Local\\full", 1, 1));
  int32_t previous = -1;
  EXPECT_FALSE(ReleaseSemaphore(full, 1, &previous)) << "past the maximum";
  EXPECT_EQ(LastError(), kErrorTooManyPosts);
  EXPECT_EQ(previous, -1) << "nothing added, nothing told";
  EXPECT_EQ(WaitForObject(full, 0), kWaitObject0);
  EXPECT_EQ(WaitForObject(full, 0), kWaitTimeout);

  const Handle manual = Keep(CreateEvent(u"Local\\manual", true, true));
  EXPECT_EQ(WaitForObject(manual, 0), kWaitObject0);
  EXPECT_EQ(WaitForObject(manual, 0), kWaitObject0) << "manual reset stays set";
  EXPECT_TRUE(ResetEvent(manual));
  EXPECT_EQ(WaitForObject(manual, 0), kWaitTimeout);
}

TEST_F(NamedObjects, WaitingForSeveralObjects) {
  const Handle a = Keep(CreateSemaphore(u"Local\\a", 0, 5));
  const Handle b = Keep(CreateSemaphore(u"Local\\b", 1, 5));
  const Handle c = Keep(CreateEvent(u"Local\\c", true, false));
  const Handle set[] = {a, b, c};
  EXPECT_EQ(WaitForObjects(set, false, 0), kWaitObject0 + 1) << "the first signalled";
  EXPECT_EQ(WaitForObjects(set, false, 30), kWaitTimeout);
  EXPECT_TRUE(ReleaseSemaphore(a, 1, nullptr));
  EXPECT_TRUE(ReleaseSemaphore(b, 1, nullptr));
  EXPECT_EQ(WaitForObjects(set, true, 30), kWaitTimeout) << "c is not set";
  EXPECT_EQ(WaitForObject(a, 0), kWaitObject0) << "wait-all took nothing while it timed out";
  EXPECT_TRUE(ReleaseSemaphore(a, 1, nullptr));

  // Another process completes the set while we wait for all.
  const pid_t child = Child([&] {
    const Handle e = OpenEvent(u"Local\\c");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return e && SetEvent(e) ? 0 : 1;
  });
  EXPECT_EQ(kp::test::WithinSeconds(10, "wait all", [&] { return WaitForObjects(set, true, 5000); }), kWaitObject0);
  EXPECT_EQ(Reap(child), 0);
  EXPECT_EQ(WaitForObject(a, 0), kWaitTimeout) << "wait-all took one of each";
  EXPECT_EQ(WaitForObject(b, 0), kWaitTimeout);
  const Handle twice[] = {a, a};
  EXPECT_EQ(WaitForObjects(twice, true, 0), kWaitFailed);
  std::vector<Handle> many(65, a);
  EXPECT_EQ(WaitForObjects(many, false, 0), kWaitFailed);
  EXPECT_EQ(LastError(), win32::kInvalidParameter);
}

TEST_F(NamedObjects, ObjectsOfKilledHoldersGo) {
  const pid_t child = Child([&] {
    const Handle m = CreateMapping(u"Local\\orphan", 8192, true);
    void* v = MapView(m, true, 0);
    const Handle x = CreateMutex(u"Local\\orphan_MTX", true);
    const Handle s = CreateSemaphore(u"Local\\orphan_SEMN1", 0, 1);
    if (!m || !v || !x || !s) return 1;
    Ready();
    pause();
    return 0;
  });
  ASSERT_TRUE(AwaitReady());
  EXPECT_FALSE(LeftInDevShm(stem_).empty());
  KillAndReap(child);
  EXPECT_EQ(OpenMapping(u"Local\\orphan", false), kNoHandle);
  EXPECT_EQ(LastError(), win32::kFileNotFound);
  EXPECT_EQ(OpenSemaphore(u"Local\\orphan_SEMN1"), kNoHandle);
  // A mutex created anew is not the dead one: it is free, not abandoned.
  const Handle fresh = Keep(CreateMutex(u"Local\\orphan_MTX", false));
  EXPECT_EQ(LastError(), win32::kSuccess);
  EXPECT_EQ(WaitForObject(fresh, 0), kWaitObject0);
  EXPECT_TRUE(ReleaseMutex(fresh));
}

TEST_F(NamedObjects, AProcessThatEndsLetsGoOfWhatItHeld) {
  const pid_t child = Child([&] {
    const Handle e = CreateEvent(u"PowerManager/ReloadActivityTimeouts", false, false);
    const Handle m = CreateMapping(u"Local\\kept", 4096, true);
    if (!e || !m || !MapView(m, true, 0)) return 1;
    // Ends without closing, through exit(): as Windows closes its handles.
    std::exit(0);
  });
  EXPECT_EQ(Reap(child), 0);
  EXPECT_EQ(LeftInDevShm(stem_), std::vector<std::string>{}) << "gone before anyone looked";
}

TEST_F(NamedObjects, DevicePrefixesNeverMeet) {
  const std::string other = dir_ + "/other";
  const pid_t child = Child([&] {
    setenv("KP_PREFIX", other.c_str(), 1);
    const Handle m = CreateMapping(u"Local\\same", 4096, true);
    if (!m || LastError() != win32::kSuccess) return 1;
    const std::string otherStem = SharedMemoryStem();
    if (otherStem == stem_) return 2;
    Ready();
    pause();
    return 0;
  });
  ASSERT_TRUE(AwaitReady());
  EXPECT_EQ(OpenMapping(u"Local\\same", false), kNoHandle);
  const Handle mine = Keep(CreateMapping(u"Local\\same", 100, true));
  EXPECT_EQ(LastError(), win32::kSuccess) << "a new one in this prefix";
  KillAndReap(child);
  // The other prefix's table goes when someone of that prefix looks.
  const pid_t cleaner = Child([&] {
    setenv("KP_PREFIX", other.c_str(), 1);
    if (OpenMapping(u"Local\\same", false) != kNoHandle) return 1;
    const std::string otherStem = SharedMemoryStem();
    return LeftInDevShm(otherStem).empty() ? 0 : 2;
  });
  EXPECT_EQ(Reap(cleaner), 0);
  Close(mine);
}

}  // namespace
}  // namespace kp::platform::named
