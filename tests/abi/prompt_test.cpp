// The interactive prompt driven as a person drives it: kp on a
// pseudo-terminal, keys written to the terminal's master side, and what kp
// shows read back from it (readline's echo included).
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "abi_support.h"
#include "support/deadline.h"
#include "support/temp_dir.h"

namespace {

class Terminal {
 public:
  // Starts kp (the prompt) on a new pseudo-terminal.
  explicit Terminal(const std::string& home) {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
    const char* slaveName = ptsname(master_);
    if (!slaveName) return;
    const std::string slave = slaveName;
    // Everything the child needs is made before fork: only async-signal-safe
    // calls between fork and exec, since the test runs on a second thread.
    std::vector<std::string> env{"TERM=dumb", "INPUTRC=/dev/null", "HOME=" + home, "KP_HISTORY=" + home + "/history",
                                 "KP_PREFIX=" + home + "/device"};
    if (const char* path = std::getenv("PATH")) env.push_back(std::string("PATH=") + path);
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      setsid();
      const int fd = open(slave.c_str(), O_RDWR);
      if (fd < 0) _exit(127);
      dup2(fd, 0);
      dup2(fd, 1);
      dup2(fd, 2);
      if (fd > 2) close(fd);
      close(master_);
      execle(KP_HOST_PATH, KP_HOST_PATH, static_cast<char*>(nullptr), envp.data());
      _exit(127);
    }
  }
  ~Terminal() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (master_ >= 0) close(master_);
  }
  bool ok() const { return master_ >= 0 && pid_ > 0; }

  void Type(const std::string& keys) {
    ASSERT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  // Reads until `wanted` has been shown since the last call (true), or 5 s
  // pass or kp ends (false). What was read is in seen().
  bool WaitFor(const std::string& wanted) {
    seen_.erase(0, consumed_);
    consumed_ = 0;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (;;) {
      if (const size_t at = seen_.find(wanted); at != std::string::npos) {
        consumed_ = at + wanted.size();
        return true;
      }
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      pollfd p{master_, POLLIN, 0};
      if (poll(&p, 1, static_cast<int>(left.count())) <= 0) return false;
      char buffer[4096];
      const ssize_t n = read(master_, buffer, sizeof buffer);
      if (n <= 0) return false;  // kp ended: the slave side is closed
      seen_.append(buffer, static_cast<size_t>(n));
    }
  }
  const std::string& seen() const { return seen_; }

  // kp's exit status after Ctrl-D, or -1.
  int Leave() {
    Type("\x04");
    int status = 0;
    const pid_t pid = pid_;
    pid_ = -1;
    for (int i = 0; i < 500; ++i) {
      const pid_t r = waitpid(pid, &status, WNOHANG);
      if (r == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      usleep(10000);
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
  }

 private:
  int master_ = -1;
  pid_t pid_ = -1;
  std::string seen_;
  size_t consumed_ = 0;
};

TEST(PromptOnATerminal, AnOpenParenthesisContinuesOnTheNextLine) {
  const kp::test::TempDir home("kp-prompt");
  ASSERT_TRUE(home.ok());
  kp::test::WithinSeconds(30, "the prompt on a pseudo-terminal", [&] {
    Terminal kp(home.path());
    ASSERT_TRUE(kp.ok());
    ASSERT_TRUE(kp.WaitFor("kp> ")) << kp.seen();
    // Enter after an open parenthesis: the prompt asks for more, as it does
    // inside a block, and the call runs once the parenthesis is closed.
    kp.Type("EstPair(\r");
    ASSERT_TRUE(kp.WaitFor("..> ")) << kp.seen();
    kp.Type("  4)\r");
    ASSERT_TRUE(kp.WaitFor("True")) << kp.seen();
    ASSERT_TRUE(kp.WaitFor("kp> ")) << kp.seen();
    // Several lines, nested, with an argument on each.
    kp.Type("Trace(IsOdd(3),\r");
    ASSERT_TRUE(kp.WaitFor("..> ")) << kp.seen();
    kp.Type("  EstPair(\r");
    ASSERT_TRUE(kp.WaitFor("..> ")) << kp.seen();
    kp.Type("7))\r");
    ASSERT_TRUE(kp.WaitFor("True False")) << kp.seen();
    ASSERT_TRUE(kp.WaitFor("kp> ")) << kp.seen();
    // A mistake after the parenthesis is reported with the line and a caret,
    // and the prompt is back at its first-line prompt.
    kp.Type("EstPair(\r");
    ASSERT_TRUE(kp.WaitFor("..> ")) << kp.seen();
    kp.Type("4 +* 1)\r");
    ASSERT_TRUE(kp.WaitFor("line 2, column 4: an expression expected, not '*'")) << kp.seen();
    ASSERT_TRUE(kp.WaitFor("    4 +* 1)")) << kp.seen();
    ASSERT_TRUE(kp.WaitFor("\n       ^")) << kp.seen();
    ASSERT_TRUE(kp.WaitFor("kp> ")) << kp.seen();
    EXPECT_EQ(kp.Leave(), 0);
  });
}

}  // namespace
