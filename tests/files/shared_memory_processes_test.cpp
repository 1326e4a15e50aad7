// Shared memory between real processes: each side is a `kp run` script
// that loads the built library, as a program would. Notification reaching a
// procedure in every reader and fMemAttend returning when all handled it;
// 20 enrolled and the 21st refused; a holder of the lock killed; a block
// whose processes were all killed; two device prefixes; the real size and
// the UTF-16 mark seen from another process. Every process a test starts is
// ended by it, and nothing is left in /dev/shm.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/named_objects.h"
#include "support/dev_shm.h"
#include "support/temp_dir.h"

extern char** environ;

namespace kp::test {
namespace {

namespace named = kp::platform::named;
using namespace std::chrono_literals;

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// The host next to this test program in the build tree.
std::string HostPath() {
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return {};
  std::string dir(self, static_cast<size_t>(n));
  dir = dir.substr(0, dir.rfind('/'));
  return dir.substr(0, dir.rfind('/')) + "/host/kp";
}

// The reader: attaches Changed to the block, says so, and waits (running
// the posted calls) until it was notified once or its time is up.
constexpr const char* kReader = R"(
got = 0
PROCEDURE Changed(name)
  fPositionne(h, 0, 0)
  Trace("changed", name, fLitLigne(h))
  got = got + 1
END
h = fMemOuvre("blk", 4096, 2, foLectureEcriture, "Changed")
Trace("ready", h)
n = 0
WHILE got = 0 AND n < 300
  Wait(50)
  n = n + 1
END
fFerme(h)
Trace("done", got)
)";

class SharedMemoryProcesses : public ::testing::Test {
 protected:
  void SetUp() override {
    host_ = HostPath();
    if (access(host_.c_str(), X_OK) != 0) GTEST_SKIP() << "the host is not built: " << host_;
    tmp_.emplace("kp-shm");
    ASSERT_TRUE(tmp_->ok());
    dir_ = tmp_->path();
    prefix_ = dir_ + "/device";
    otherPrefix_ = dir_ + "/other";
    std::filesystem::create_directories(prefix_);
    std::filesystem::create_directories(otherPrefix_);
    const char* old = std::getenv("KP_PREFIX");
    hadPrefix_ = old != nullptr;
    if (old) oldPrefix_ = old;
    stems_ = {StemOf(otherPrefix_), StemOf(prefix_)};  // ends in prefix_
  }

  void TearDown() override {
    if (dir_.empty()) return;
    for (Process& p : processes_) {
      if (p.pid > 0) {
        kill(p.pid, SIGKILL);
        waitpid(p.pid, nullptr, 0);
      }
    }
    for (pid_t pid : forked_) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    // Whatever killed processes held goes when a process of the prefix looks.
    for (const std::string& prefix : {prefix_, otherPrefix_}) {
      setenv("KP_PREFIX", prefix.c_str(), 1);
      named::CloseHandle(named::OpenMapping(u"Local\\look", false));
    }
    for (const std::string& stem : stems_) EXPECT_EQ(LeftInDevShm(stem), std::vector<std::string>{});
    if (hadPrefix_)
      setenv("KP_PREFIX", oldPrefix_.c_str(), 1);
    else
      unsetenv("KP_PREFIX");
  }

  static std::string StemOf(const std::string& prefix) {
    setenv("KP_PREFIX", prefix.c_str(), 1);
    return named::SharedMemoryStem();
  }

  struct Process {
    pid_t pid = -1;
    std::string out, err;
    int status = -1;
  };

  // Starts `kp run` on the script, its output line-buffered into files.
  size_t Start(const std::string& script, const std::string& prefix = {}) {
    const size_t i = processes_.size();
    Process p;
    const std::string base = dir_ + "/p" + std::to_string(i);
    std::ofstream(base + ".kl") << script;
    p.out = base + ".out";
    p.err = base + ".err";
    std::vector<std::string> env;
    std::string asan = "ASAN_OPTIONS=";
    for (char** e = environ; *e; ++e) {
      if (std::strncmp(*e, "ASAN_OPTIONS=", 13) == 0)
        asan = std::string(*e) + ":";
      else if (std::strncmp(*e, "KP_PREFIX=", 10) != 0)
        env.emplace_back(*e);
    }
    env.push_back("KP_PREFIX=" + (prefix.empty() ? prefix_ : prefix));
    // stdbuf preloads its library before a sanitizer's runtime: allowed here.
    env.push_back(asan + "verify_asan_link_order=0");
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string script_path = base + ".kl";
    std::vector<std::string> args{"stdbuf", "-oL", host_, "run", script_path};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, p.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, p.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    const int r = posix_spawnp(&p.pid, "stdbuf", &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(r, 0) << "spawn";
    processes_.push_back(p);
    return i;
  }

  std::string Out(size_t i) const { return ReadAll(processes_[i].out); }
  std::string Err(size_t i) const { return ReadAll(processes_[i].err); }

  // Waits until the process's output holds `text`; false after `limit`.
  bool AwaitOutput(size_t i, const std::string& text, std::chrono::milliseconds limit = 20s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
      if (Out(i).find(text) != std::string::npos) return true;
      if (processes_[i].pid > 0 && waitpid(processes_[i].pid, &processes_[i].status, WNOHANG) == processes_[i].pid) {
        processes_[i].pid = -1;
        return Out(i).find(text) != std::string::npos;
      }
      std::this_thread::sleep_for(10ms);
    }
    return false;
  }

  // The exit status; the process is killed (and the test fails) past `limit`.
  int Finish(size_t i, std::chrono::milliseconds limit = 30s) {
    Process& p = processes_[i];
    const auto end = std::chrono::steady_clock::now() + limit;
    while (p.pid > 0) {
      if (waitpid(p.pid, &p.status, WNOHANG) == p.pid) {
        p.pid = -1;
        break;
      }
      if (std::chrono::steady_clock::now() >= end) {
        ADD_FAILURE() << "process " << i << " did not end: " << Out(i) << Err(i);
        kill(p.pid, SIGKILL);
        waitpid(p.pid, &p.status, 0);
        p.pid = -1;
        return -1;
      }
      std::this_thread::sleep_for(10ms);
    }
    return WIFEXITED(p.status) ? WEXITSTATUS(p.status) : 128 + WTERMSIG(p.status);
  }

  void Kill(size_t i) {
    Process& p = processes_[i];
    if (p.pid <= 0) return;
    kill(p.pid, SIGKILL);
    waitpid(p.pid, &p.status, 0);
    p.pid = -1;
  }

  // One `kp run` to its end; its output.
  std::string Run(const std::string& script, const std::string& prefix = {}) {
    const size_t i = Start(script, prefix);
    EXPECT_EQ(Finish(i), 0) << Err(i);
    return Out(i);
  }

  std::optional<TempDir> tmp_;  // made once the host is known to be built
  std::string host_, dir_, prefix_, otherPrefix_, oldPrefix_;
  bool hadPrefix_ = false;
  std::vector<std::string> stems_;
  std::vector<Process> processes_;
  std::vector<pid_t> forked_;  // processes of this test program, killed at the end whatever happened
};

TEST_F(SharedMemoryProcesses, AWriteReachesEveryReadersProcedureAndTheWaitEndsWhenAllHandledIt) {
  std::vector<size_t> readers;
  for (int i = 0; i < 3; ++i) readers.push_back(Start(kReader));
  for (size_t r : readers) ASSERT_TRUE(AwaitOutput(r, "ready 2")) << Out(r) << Err(r);
  const std::string writer = Run(R"(
h = fMemOuvre("blk", 4096)
Trace("wrote", fEcritLigne(h, "hello"))
Trace("attend", fMemAttend(h, 20000))
fFerme(h)
)");
  EXPECT_NE(writer.find("wrote True"), std::string::npos) << writer;
  EXPECT_NE(writer.find("attend True"), std::string::npos) << writer;
  for (size_t r : readers) {
    EXPECT_EQ(Finish(r), 0) << Err(r);
    EXPECT_NE(Out(r).find("changed Local\\blk hello"), std::string::npos) << Out(r);
    EXPECT_NE(Out(r).find("done 1"), std::string::npos) << Out(r);
  }
  EXPECT_NE(Run("Trace(fMemExiste(\"blk\"))").find("False"), std::string::npos) << "gone with the last process";
}

TEST_F(SharedMemoryProcesses, TwentyAreEnrolledAndTheTwentyFirstIsRefused) {
  std::vector<size_t> readers;
  for (int i = 0; i < 20; ++i) readers.push_back(Start(kReader));
  for (size_t r : readers) ASSERT_TRUE(AwaitOutput(r, "ready 2")) << Out(r) << Err(r);
  const size_t refused = Start(R"(
PROCEDURE Changed(name)
END
Trace("handle", fMemOuvre("blk", 4096, 2, foLectureEcriture, "Changed"))
)");
  EXPECT_EQ(Finish(refused), 1) << "kp ends with 1 after an error";
  EXPECT_NE(Out(refused).find("handle -1"), std::string::npos) << Out(refused);
  EXPECT_NE(Err(refused).find("81510"), std::string::npos) << Err(refused);
  // The twenty are still notified, and answer.
  const std::string writer = Run(R"(
h = fMemOuvre("blk", 4096)
fEcritLigne(h, "to all")
Trace("attend", fMemAttend(h, 30000))
)");
  EXPECT_NE(writer.find("attend True"), std::string::npos) << writer;
  for (size_t r : readers) {
    EXPECT_EQ(Finish(r), 0) << Err(r);
    EXPECT_NE(Out(r).find("changed Local\\blk to all"), std::string::npos) << Out(r);
  }
}

TEST_F(SharedMemoryProcesses, TheOthersGoOnAfterAHolderOfTheLockWasKilled) {
  // A process that takes the block's lock and is killed holding it.
  setenv("KP_PREFIX", prefix_.c_str(), 1);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ready[0]);
    const named::Handle m = named::CreateMutex(u"Local\\blk_MTX", true);
    const char c = m ? 1 : 0;
    (void)!write(ready[1], &c, 1);
    pause();
    std::_Exit(0);
  }
  forked_.push_back(holder);
  close(ready[1]);
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  close(ready[0]);
  ASSERT_EQ(c, 1);
  const size_t writer = Start(R"(
Trace("start")
h = fMemOuvre("blk", 4096)
Trace("opened", h, fEcritLigne(h, "after"))
fPositionne(h, 0, 0)
Trace("read", fLitLigne(h))
)");
  ASSERT_TRUE(AwaitOutput(writer, "start"));
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(Out(writer).find("opened"), std::string::npos) << "waits for the lock";
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  forked_.clear();
  EXPECT_EQ(Finish(writer), 0) << Err(writer);
  EXPECT_NE(Out(writer).find("opened 2 True"), std::string::npos) << Out(writer);
  EXPECT_NE(Out(writer).find("read after"), std::string::npos) << Out(writer);
}

TEST_F(SharedMemoryProcesses, ABlockWhoseProcessesWereAllKilledNoLongerExists) {
  const size_t a = Start(kReader);
  const size_t b = Start(kReader);
  ASSERT_TRUE(AwaitOutput(a, "ready 2"));
  ASSERT_TRUE(AwaitOutput(b, "ready 2"));
  EXPECT_NE(Run("Trace(fMemExiste(\"blk\"))").find("True"), std::string::npos);
  Kill(a);
  Kill(b);
  EXPECT_NE(Run("Trace(fMemExiste(\"blk\"))").find("False"), std::string::npos);
}

TEST_F(SharedMemoryProcesses, TwoDevicePrefixesDoNotMeet) {
  const size_t a = Start(R"(
h = fMemOuvre("blk", 8192)
fEcritLigne(h, "prefix one")
Trace("ready", h)
Wait(20000)
)");
  ASSERT_TRUE(AwaitOutput(a, "ready 2"));
  const std::string other = Run(R"(
Trace("exists", fMemExiste("blk"))
h = fMemOuvre("blk", 100)
Trace("size", fTaille(h))
Trace("read", fLit(h, 6))
)",
                                otherPrefix_);
  EXPECT_NE(other.find("exists False"), std::string::npos) << other;
  EXPECT_NE(other.find("size 4096"), std::string::npos) << "a block of its own" << other;
  // In the same prefix: the real size, whatever is asked, and the content.
  const std::string same = Run(R"(
Trace("exists", fMemExiste("blk"))
h = fMemOuvre("blk", 100)
Trace("size", fTaille(h))
g = fMemOuvre("blk", 100000)
Trace("size", fTaille(g))
fPositionne(h, 8190, 0)
Trace("clipped", fEcrit(h, x"61 62 63 64 65 66"))
fPositionne(h, 0, 0)
Trace("read", fLitLigne(h))
)");
  EXPECT_NE(same.find("exists True"), std::string::npos) << same;
  EXPECT_EQ(same.find("size 4096"), std::string::npos) << same;
  EXPECT_NE(same.find("size 8192\nsize 8192"), std::string::npos) << same;
  EXPECT_NE(same.find("clipped 2"), std::string::npos) << same;
  EXPECT_NE(same.find("read prefix one"), std::string::npos) << same;
  Kill(a);
}

TEST_F(SharedMemoryProcesses, TheUnicodeMarkIsWrittenOnceAndSkippedByTheNext) {
  const size_t a = Start(R"(
h = fMemOuvre("text", 4096, 2, foLectureEcriture + foUnicode)
Trace("at", fPositionne(h, 0, 1))
fEcritLigne(h, "été")
Trace("ready", h)
Wait(20000)
)");
  ASSERT_TRUE(AwaitOutput(a, "ready 2")) << Out(a) << Err(a);
  EXPECT_NE(Out(a).find("at 2"), std::string::npos) << Out(a);
  const std::string b = Run(R"(
h = fMemOuvre("text", 4096, 2, foLecture + foUnicode)
Trace("at", fPositionne(h, 0, 1))
Trace("line", fLitLigne(h))
g = fMemOuvre("text", 4096, 2, foLecture)
Trace("mark", fLit(g, 2))
)");
  EXPECT_NE(b.find("at 2"), std::string::npos) << b;
  EXPECT_NE(b.find("line été"), std::string::npos) << b;
  EXPECT_NE(b.find("mark FFFE"), std::string::npos) << b;
  Kill(a);
}

}  // namespace
}  // namespace kp::test
