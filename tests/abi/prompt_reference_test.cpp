// The prompt as a person uses it, through a pseudo-terminal: Tab completes a
// constant's name, :help and :list answer from the reference. Every wait has
// a time limit, so a prompt that stops answering fails the test.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "abi_support.h"
#include "prompt_session.h"
#include "support/temp_dir.h"

namespace {

class PtyPrompt {
 public:
  explicit PtyPrompt(const std::string& dir) {
    const std::string prefix = "KP_PREFIX=" + dir + "/device", history = "KP_HISTORY=" + dir + "/history";
    pid_ = forkpty(&master_, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
      setenv("KP_PREFIX", (dir + "/device").c_str(), 1);
      setenv("KP_HISTORY", (dir + "/history").c_str(), 1);
      setenv("TERM", "dumb", 1);
      setenv("LANG", "C", 1);
      unsetenv("LC_ALL");
      unsetenv("LC_MESSAGES");
      execl(KP_HOST_PATH, KP_HOST_PATH, "repl", static_cast<char*>(nullptr));
      _exit(127);
    }
  }
  ~PtyPrompt() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (master_ >= 0) close(master_);
  }
  bool started() const { return pid_ > 0 && master_ >= 0; }
  void Type(const std::string& keys) { ASSERT_EQ(write(master_, keys.data(), keys.size()), ssize_t(keys.size())); }
  // Reads until `text` has appeared since the last wait, or 10 s passed.
  bool WaitFor(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
      if (const auto at = seen_.find(text, from_); at != std::string::npos) {
        from_ = at + text.size();
        return true;
      }
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
      if (left <= 0) return false;
      pollfd p{master_, POLLIN, 0};
      if (poll(&p, 1, static_cast<int>(left)) <= 0) return false;
      char buffer[1024];
      const ssize_t n = read(master_, buffer, sizeof buffer);
      if (n <= 0) return false;
      seen_.append(buffer, static_cast<size_t>(n));
    }
  }
  const std::string& seen() const { return seen_; }
  // Exit status once the prompt has ended on its own, or -1.
  int Ended() {
    int status = 0;
    for (int i = 0; i < 100; ++i) {
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      usleep(50000);
    }
    return -1;
  }

 private:
  pid_t pid_ = -1;
  int master_ = -1;
  std::string seen_;
  size_t from_ = 0;
};

TEST(PromptReference, TabCompletesAConstantAndHelpAndListAnswer) {
  const kp::test::TempDir dir("kp-pty");
  ASSERT_TRUE(dir.ok());
  PtyPrompt prompt(dir.path());
  ASSERT_TRUE(prompt.started());
  ASSERT_TRUE(prompt.WaitFor("kp> ")) << prompt.seen();
  prompt.Type("foUnic\t");
  ASSERT_TRUE(prompt.WaitFor("foUnicode")) << "Tab did not complete the constant:\n" << prompt.seen();
  prompt.Type("\r");
  EXPECT_TRUE(prompt.WaitFor("4096")) << prompt.seen();
  ASSERT_TRUE(prompt.WaitFor("kp> ")) << prompt.seen();
  prompt.Type(":help EstPair\r");
  EXPECT_TRUE(prompt.WaitFor("IsEven / EstPair")) << prompt.seen();
  ASSERT_TRUE(prompt.WaitFor("kp> ")) << prompt.seen();
  prompt.Type(":list crc\r");
  EXPECT_TRUE(prompt.WaitFor("sComputeCrc32")) << prompt.seen();
  ASSERT_TRUE(prompt.WaitFor("kp> ")) << prompt.seen();
  prompt.Type("\x04");
  EXPECT_EQ(prompt.Ended(), 0) << prompt.seen();
}

// What Tab offers: constants in both languages, functions only where they
// can be called here.
TEST(PromptReference, CompletionOffersConstantsAndOnlyCallableFunctions) {
  auto lib = kp::abi::Load(9);
  ASSERT_TRUE(lib);
  std::atomic<bool> stop{false};
  kphost::PromptSession session(*lib, &stop);
  const auto& names = session.names();
  auto offered = [&](const std::string& n) { return std::find(names.begin(), names.end(), n) != names.end(); };
  EXPECT_TRUE(offered("foUnicode"));
  EXPECT_TRUE(offered("scFenêtre"));
  EXPECT_TRUE(offered("scWindow"));
  EXPECT_TRUE(offered("EstPair"));
  size_t unavailable = 0;
  for (const auto& f : lib->functions()) {
    if (f.available()) continue;
    ++unavailable;
    EXPECT_FALSE(offered(f.french)) << f.french << " cannot be called here";
  }
  EXPECT_GT(unavailable, 0u);
}

}  // namespace
