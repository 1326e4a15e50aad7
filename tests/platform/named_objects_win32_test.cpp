// Named objects on the Win32 backend, in the Windows form of
// named_objects_test.cpp: the other holder is a thread or a second handle
// opened by name in this process, where the POSIX test forks children. The
// same answers as on POSIX: shared views of whole pages, the Win32 codes of
// bad arguments, a mutex abandoned by a thread that ended owning it,
// semaphores and events with time-outs, waits on several objects, and
// device prefixes that never meet.
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/named_objects.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"
#include "support/deadline.h"

namespace kp::platform::named {
namespace {

std::u16string U(const std::string& s) { return std::u16string(s.begin(), s.end()); }

class NamedObjectsWin32 : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "kp-named-XXXXXX";
    const std::string tmp = std::filesystem::temp_directory_path().string() + "\\" + pattern;
    std::vector<char> buffer(tmp.begin(), tmp.end());
    buffer.push_back(0);
    ASSERT_NE(mkdtemp(buffer.data()), nullptr);
    dir_ = buffer.data();
    const char* old = std::getenv("KP_PREFIX");
    if (old) oldPrefix_ = old;
    hadPrefix_ = old != nullptr;
    setenv("KP_PREFIX", dir_.c_str(), 1);
  }
  void TearDown() override {
    for (Handle h : handles_) CloseHandle(h);
    if (hadPrefix_)
      setenv("KP_PREFIX", oldPrefix_.c_str(), 1);
    else
      unsetenv("KP_PREFIX");
    std::filesystem::remove_all(dir_);
  }
  Handle Keep(Handle h) {
    if (h) handles_.push_back(h);
    return h;
  }
  void Close(Handle h) {
    std::erase(handles_, h);
    EXPECT_TRUE(CloseHandle(h));
  }

  std::string dir_;
  std::string oldPrefix_;
  bool hadPrefix_ = false;
  std::vector<Handle> handles_;
};

TEST_F(NamedObjectsWin32, MappingIsSharedAndHasItsRealSize) {
  const std::u16string name = u"Local\\block";
  const Handle m = Keep(CreateMapping(name, 100, true));
  ASSERT_NE(m, kNoHandle);
  EXPECT_EQ(LastError(), win32::kSuccess);
  auto* view = static_cast<char*>(MapView(m, true, 0));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(ViewRegionSize(view), static_cast<size_t>(sysconf(_SC_PAGESIZE))) << "whole pages";
  EXPECT_EQ(view[0], 0) << "a new mapping reads as zeros";
  std::strcpy(view, "from the first");

  // A second handle by name and a view of its own: the same memory.
  const Handle o = Keep(OpenMapping(name, true));
  ASSERT_NE(o, kNoHandle);
  auto* other = static_cast<char*>(MapView(o, true, 0));
  ASSERT_NE(other, nullptr);
  EXPECT_STREQ(other, "from the first");
  std::strcpy(other + 50, "from the second");
  other[4000] = 'z';  // past the size, within the last page: still shared
  EXPECT_STREQ(view + 50, "from the second");
  EXPECT_EQ(view[4000], 'z');
  EXPECT_TRUE(UnmapView(other));
  Close(o);

  const Handle again = Keep(CreateMapping(name, 999999, true));
  ASSERT_NE(again, kNoHandle);
  EXPECT_EQ(LastError(), win32::kAlreadyExists);
  EXPECT_EQ(MapView(again, true, 4097), nullptr) << "a view past the mapping's pages";
  Close(again);

  const Handle reader = Keep(OpenMapping(name, false));
  ASSERT_NE(reader, kNoHandle);
  EXPECT_EQ(MapView(reader, true, 0), nullptr) << "a read-only handle gives no writable view";
  void* readView = MapView(reader, false, 10);
  ASSERT_NE(readView, nullptr);
  Close(reader);
  Close(m);
  // The views keep the memory; its name goes with the last handle, as
  // Windows does (docs/windows.md).
  std::strcpy(view + 100, "still here");
  EXPECT_STREQ(static_cast<const char*>(readView) + 100, "still here");
  EXPECT_EQ(OpenMapping(name, false), kNoHandle);
  EXPECT_TRUE(UnmapView(readView));
  EXPECT_TRUE(UnmapView(view));
  EXPECT_EQ(OpenMapping(name, false), kNoHandle) << "gone with its last view";
  EXPECT_EQ(LastError(), win32::kFileNotFound);
}

TEST_F(NamedObjectsWin32, ViewPastTheSizeWithinItsLastPage) {
  const Handle m = Keep(CreateMapping(u"Local\\small", 100, true));
  ASSERT_NE(m, kNoHandle);
  EXPECT_EQ(MapView(m, true, 101), nullptr) << "a view past the mapping's size";
  EXPECT_EQ(LastError(), win32::kAccessDenied);
}

TEST_F(NamedObjectsWin32, AnObjectOfAnotherKindIsAnInvalidHandle) {
  const Handle event = Keep(CreateEvent(u"Local\\e", false, false));
  ASSERT_NE(event, kNoHandle);
  EXPECT_FALSE(ReleaseMutex(event)) << "an event is no mutex";
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
  const Handle mapping = Keep(CreateMapping(u"", 10, true));
  ASSERT_NE(mapping, kNoHandle);
  EXPECT_EQ(WaitForObject(mapping, 0), kWaitFailed) << "a mapping cannot be waited for";
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
}

TEST_F(NamedObjectsWin32, BadArgumentsFailWithWin32Codes) {
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

  const Handle slash = Keep(CreateEvent(u"PowerManager/ReloadActivityTimeouts", false, false));
  EXPECT_NE(slash, kNoHandle) << "a slash is an ordinary character of a name";
  EXPECT_EQ(CreateMutex(u"PowerManager/ReloadActivityTimeouts", false), kNoHandle) << "a name of another kind";
  EXPECT_EQ(LastError(), win32::kInvalidHandle);

  EXPECT_FALSE(CloseHandle(12345));
  EXPECT_EQ(LastError(), win32::kInvalidHandle);
  EXPECT_EQ(WaitForObject(12345, 0), kWaitFailed);
  const Handle mapping = Keep(CreateMapping(u"", 10, true));
  ASSERT_NE(mapping, kNoHandle) << "an unnamed mapping";
  EXPECT_EQ(WaitForObject(mapping, 0), kWaitFailed) << "a mapping cannot be waited for";
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

TEST_F(NamedObjectsWin32, MutexOfAnEndedOwnerIsAbandonedThenNormal) {
  const Handle mutex = Keep(CreateMutex(u"Global\\lock", false));
  ASSERT_NE(mutex, kNoHandle);
  // A waiter already blocked when the owning thread ends gets it, abandoned.
  std::thread owner([&] {
    const Handle m = OpenMutex(u"Global\\lock");
    EXPECT_EQ(WaitForObject(m, 1000), kWaitObject0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    CloseHandle(m);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const auto before = std::chrono::steady_clock::now();
  const uint32_t got = kp::test::WithinSeconds(10, "abandoned mutex", [&] { return WaitForObject(mutex, 5000); });
  owner.join();
  EXPECT_EQ(got, kWaitAbandoned0);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
  EXPECT_EQ(WaitForObject(mutex, 0), kWaitObject0) << "ours now, recursively";
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_TRUE(ReleaseMutex(mutex));
  std::thread([&] {
    const Handle m = OpenMutex(u"Global\\lock");
    EXPECT_EQ(WaitForObject(m, 1000), kWaitObject0) << "a normal mutex for the next owner";
    EXPECT_TRUE(ReleaseMutex(m));
    CloseHandle(m);
  }).join();
  // Nobody waiting when the owner ended: the next wait sees it.
  std::thread([&] { EXPECT_EQ(WaitForObject(mutex, 1000), kWaitObject0); }).join();
  EXPECT_EQ(WaitForObject(mutex, 2000), kWaitAbandoned0);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(NamedObjectsWin32, SemaphoresAndEventsBetweenThreads) {
  const Handle sem = Keep(CreateSemaphore(u"Local\\sem", 0, 2));
  ASSERT_NE(sem, kNoHandle);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(WaitForObject(sem, 120), kWaitTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(110));

  const Handle event = Keep(CreateEvent(u"PowerManager/ReloadActivityTimeouts", false, false));
  int answer = -1;
  std::thread other([&] {
    const Handle s = OpenSemaphore(u"Local\\sem");
    const Handle e = OpenEvent(u"PowerManager/ReloadActivityTimeouts");
    answer = [&] {
      if (!s || !e) return 1;
      if (WaitForObject(e, 5000) != kWaitObject0) return 2;
      if (ReleaseSemaphore(s, 3, nullptr) || LastError() != kErrorTooManyPosts) return 4;
      int32_t previous = -1;
      return ReleaseSemaphore(s, 2, &previous) && previous == 0 ? 0 : 3;
    }();
    CloseHandle(s);
    CloseHandle(e);
  });
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(kp::test::WithinSeconds(10, "semaphore", [&] { return WaitForObject(sem, 5000); }), kWaitObject0);
  other.join();
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(WaitForObject(sem, 0), kWaitObject0) << "the second count";
  EXPECT_EQ(WaitForObject(sem, 0), kWaitTimeout);
  EXPECT_EQ(WaitForObject(event, 0), kWaitTimeout) << "auto-reset: taken by the other thread";
  const Handle full = Keep(CreateSemaphore(u"Local\\full", 1, 1));
  int32_t previous = -1;
  EXPECT_FALSE(ReleaseSemaphore(full, 1, &previous)) << "past the maximum";
  EXPECT_EQ(LastError(), kErrorTooManyPosts);
  EXPECT_EQ(previous, -1) << "nothing added, nothing told";

  const Handle manual = Keep(CreateEvent(u"Local\\manual", true, true));
  EXPECT_EQ(WaitForObject(manual, 0), kWaitObject0);
  EXPECT_EQ(WaitForObject(manual, 0), kWaitObject0) << "manual reset stays set";
  EXPECT_TRUE(ResetEvent(manual));
  EXPECT_EQ(WaitForObject(manual, 0), kWaitTimeout);
}

TEST_F(NamedObjectsWin32, WaitingForSeveralObjects) {
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

  std::thread other([] {
    const Handle e = OpenEvent(u"Local\\c");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(e && SetEvent(e));
    CloseHandle(e);
  });
  EXPECT_EQ(kp::test::WithinSeconds(10, "wait all", [&] { return WaitForObjects(set, true, 5000); }), kWaitObject0);
  other.join();
  EXPECT_EQ(WaitForObject(a, 0), kWaitTimeout) << "wait-all took one of each";
  EXPECT_EQ(WaitForObject(b, 0), kWaitTimeout);
  const Handle twice[] = {a, a};
  EXPECT_EQ(WaitForObjects(twice, true, 0), kWaitFailed);
  std::vector<Handle> many(65, a);
  EXPECT_EQ(WaitForObjects(many, false, 0), kWaitFailed);
  EXPECT_EQ(LastError(), win32::kInvalidParameter);
}

TEST_F(NamedObjectsWin32, DevicePrefixesNeverMeet) {
  const Handle mine = Keep(CreateMapping(u"Local\\same", 4096, true));
  ASSERT_NE(mine, kNoHandle);
  const std::string other = dir_ + "\\other";
  setenv("KP_PREFIX", other.c_str(), 1);
  EXPECT_EQ(OpenMapping(u"Local\\same", false), kNoHandle) << "not seen from another prefix";
  const Handle theirs = Keep(CreateMapping(u"Local\\same", 100, true));
  EXPECT_EQ(LastError(), win32::kSuccess) << "a new one in the other prefix";
  const Handle mutex = Keep(CreateMutex(u"Local\\same", false));
  EXPECT_EQ(mutex, kNoHandle) << "within one prefix, still a name of another kind";
  setenv("KP_PREFIX", dir_.c_str(), 1);
  const Handle again = Keep(CreateMapping(u"Local\\same", 100, true));
  const uint32_t error = LastError();
  EXPECT_NE(again, kNoHandle);
  EXPECT_EQ(error, win32::kAlreadyExists) << "back in the first prefix, the first one";
  Close(theirs);
}

}  // namespace
}  // namespace kp::platform::named
