// The device clock's offset shared between processes: a change made by one
// process is seen by the next read of another that already had the clock
// mapped; the text file of earlier versions starts the map; a prefix made
// again under the same name is followed. POSIX only (fork).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "datetime/clock.h"
#include "datetime/values.h"
#include "support/fake_context.h"
#include "support/temp_dir.h"

namespace kp::datetime {
namespace {

using test::FakeContext;

// KP_PREFIX set to a directory of the test's own for its duration.
class SharedClock : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* prefix = std::getenv("KP_PREFIX");
    saved_ = prefix ? prefix : "";
    ASSERT_TRUE(dir_.ok());
    Use(dir_ / "device");
  }
  void TearDown() override {
    if (saved_.empty()) unsetenv("KP_PREFIX");
    else setenv("KP_PREFIX", saved_.c_str(), 1);
  }
  static void Use(const std::string& prefix) { setenv("KP_PREFIX", prefix.c_str(), 1); }

  // Runs `child` in a forked process; true when it returned true.
  template <typename F>
  static bool InChild(F child) {
    const pid_t pid = fork();
    if (pid == 0) _exit(child() ? 0 : 1);
    int status = 0;
    return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  std::string saved_;
  test::TempDir dir_{"kp-clock-shared"};
};

TEST_F(SharedClock, AChangeInAnotherProcessIsSeenAtOnce) {
  FakeContext c;
  const std::u16string today = SystemDate(c);  // this process maps the clock first
  ASSERT_EQ(today.size(), 8u);
  ASSERT_NE(today, u"20300101");
  EXPECT_TRUE(InChild([] {
    FakeContext child;
    return SetSystemDate(child, u"20300101");
  }));
  EXPECT_EQ(SystemDate(c), u"20300101");
  // And the other way: a change here is what a new process reads, and what
  // a process that had read the clock before reads next.
  EXPECT_TRUE(InChild([] {
    FakeContext child;
    return SystemDate(child) == u"20300101";
  }));
  const pid_t pid = fork();
  if (pid == 0) {
    FakeContext child;
    if (SystemDate(child) != u"20300101") _exit(2);
    // Waits for the parent's change, at most 10 s.
    for (int i = 0; i < 1000; ++i) {
      if (SystemDate(child) == u"19990615") _exit(0);
      usleep(10000);
    }
    _exit(1);
  }
  ASSERT_GT(pid, 0);
  usleep(50000);
  ASSERT_TRUE(SetSystemDate(c, u"19990615"));
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  EXPECT_FALSE(c.hasError());
}

TEST_F(SharedClock, TheEarlierTextFileStartsTheMap) {
  FakeContext c;
  const int32_t today = DateToInteger(c, SystemDate(c), 0);
  const std::string legacy = dir_ / "legacy";
  std::filesystem::create_directories(legacy);
  FILE* f = std::fopen((legacy + "/clock-offset").c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fprintf(f, "%lld\n", 3650LL * 86400 * 1000);  // ten years of 365 days ahead
  ASSERT_EQ(std::fclose(f), 0);
  Use(legacy);
  const int32_t later = DateToInteger(c, SystemDate(c), 0);
  EXPECT_TRUE(later - today == 3650 || later - today == 3651) << later - today;  // 3651 past a midnight
  EXPECT_TRUE(std::filesystem::exists(legacy + "/clock.map"));
  EXPECT_FALSE(std::filesystem::exists(legacy + "/clock-offset"));  // one place for the offset
  EXPECT_FALSE(c.hasError());
}

// A damaged map is replaced, from the text file or from zero.
TEST_F(SharedClock, ADamagedMapIsReplaced) {
  FakeContext c;
  const std::u16string today = SystemDate(c);
  const std::string other = dir_ / "damaged";
  std::filesystem::create_directories(other);
  FILE* f = std::fopen((other + "/clock.map").c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fputs("not a clock", f);
  ASSERT_EQ(std::fclose(f), 0);
  Use(other);
  const std::u16string there = SystemDate(c);
  EXPECT_TRUE(there == today || DateToInteger(c, there, 0) == DateToInteger(c, today, 0) + 1);
  ASSERT_TRUE(SetSystemDate(c, u"20300101"));
  EXPECT_EQ(SystemDate(c), u"20300101");
  EXPECT_EQ(std::filesystem::file_size(other + "/clock.map"), 16u);
}

// The prefix removed and made again under the same name: its new clock (the
// host's) is read within a couple of seconds, not the old offset forever.
TEST_F(SharedClock, APrefixMadeAgainIsFollowed) {
  FakeContext c;
  const std::u16string today = SystemDate(c);
  ASSERT_TRUE(SetSystemDate(c, u"20300101"));
  ASSERT_EQ(SystemDate(c), u"20300101");
  std::filesystem::remove_all(dir_ / "device");
  std::filesystem::create_directories(dir_ / "device");
  std::u16string now = SystemDate(c);
  for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
       now == u"20300101" && std::chrono::steady_clock::now() < end;
       std::this_thread::sleep_for(std::chrono::milliseconds(20)))
    now = SystemDate(c);
  EXPECT_NE(now, u"20300101");
}

}  // namespace
}  // namespace kp::datetime
