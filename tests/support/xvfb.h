// An X server of the test's own (Xvfb on a display number it picks itself,
// 1024 x 768 x 24), the observers' command lines run against it, and
// programs started beside it. Everything started here dies with the test
// process: children get SIGKILL when their parent goes (PR_SET_PDEATHSIG),
// and the destructors stop them and wait for them.
//
//   kp::test::Xvfb& x = kp::test::Xvfb::Shared();   // GTEST_SKIP first when !Xvfb::Installed()
//   std::string out = kp::test::Shell("xdotool getmouselocation");
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kp::test {

inline bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::stringstream dirs(path ? path : "/usr/bin:/bin");
  std::string dir;
  while (std::getline(dirs, dir, ':'))
    if (!dir.empty() && access((dir + "/" + program).c_str(), X_OK) == 0) return true;
  return false;
}

// A program started with its standard output (and error) sent to a file.
class Child {
 public:
  Child(const std::vector<std::string>& argv, const std::string& output, int keepFd = -1) {
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("fork");
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (!output.empty()) {
        const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd >= 0) {
          dup2(fd, 1);
          dup2(fd, 2);
          close(fd);
        }
      }
      if (keepFd >= 0 && keepFd != 3) {
        dup2(keepFd, 3);
        close(keepFd);
      }
      std::vector<char*> args;
      for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
      args.push_back(nullptr);
      execvp(args[0], args.data());
      _exit(127);
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { Stop(); }

  pid_t pid() const { return pid_; }

  void Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    int status;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > until) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

// The output of a shell command (stdout only), run with the test's DISPLAY.
inline std::string Shell(const std::string& command) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  if (!p) return out;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) out.append(buffer, n);
  pclose(p);
  return out;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Waits until `done` holds, polling every 20 ms, at most `limit`.
template <typename F>
bool WaitFor(F done, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto until = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// An X server of a test's own, to be stopped while the code under test
// holds connections to it. Its display number is far above those the other
// tests' servers take (the lowest free one): once it ends, no other server
// starts on that number and answers in its place.
class OwnXvfb {
 public:
  explicit OwnXvfb(const std::string& log, const std::vector<std::string>& options = {}) {
    for (int attempt = 0; attempt < 5 && number_.empty(); ++attempt) {
      int fds[2];
      if (pipe(fds) != 0) return;
      std::vector<std::string> argv{"Xvfb", ":" + std::to_string(1000 + (getpid() + 7919 * attempt) % 20000),
                                    "-displayfd", "3", "-nolisten", "tcp", "-noreset"};
      argv.insert(argv.end(), options.begin(), options.end());
      server_ = std::make_unique<Child>(argv, log, fds[1]);
      close(fds[1]);
      char c;
      while (read(fds[0], &c, 1) == 1 && c != '\n') number_ += c;
      close(fds[0]);
    }
  }

  // ":N", or "" when no server started (its log says why).
  std::string name() const { return number_.empty() ? "" : ":" + number_; }
  void Stop() { server_.reset(); }

 private:
  std::unique_ptr<Child> server_;
  std::string number_;
};

class Xvfb {
 public:
  static bool Installed() { return OnPath("Xvfb"); }

  // One server for the process, started at the first call, stopped at exit.
  static Xvfb& Shared() {
    static Xvfb server;
    return server;
  }

  const std::string& display() const { return display_; }
  // A scratch directory of this server's (removed with it).
  const std::string& dir() const { return dir_; }

  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  ~Xvfb() {
    server_.reset();
    if (!dir_.empty()) Shell("rm -rf '" + dir_ + "'");
  }

 private:
  Xvfb() {
    char pattern[] = "/tmp/kp-xvfb-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    dir_ = pattern;
    // -displayfd: the server picks a free display number itself and writes it
    // once it accepts connections.
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe");
    server_ = std::make_unique<Child>(std::vector<std::string>{"Xvfb", "-displayfd", "3", "-screen", "0",
                                                               "1024x768x24", "-nolisten", "tcp", "-noreset"},
                                      dir_ + "/xvfb.log", fds[1]);
    close(fds[1]);
    std::string number;
    char c;
    // The read ends when the server writes its number or dies.
    while (read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    close(fds[0]);
    if (number.empty()) throw std::runtime_error("Xvfb did not start: " + ReadFile(dir_ + "/xvfb.log"));
    display_ = ":" + number;
    setenv("DISPLAY", display_.c_str(), 1);
  }

  std::string dir_;
  std::string display_;
  std::unique_ptr<Child> server_;
};

}  // namespace kp::test
