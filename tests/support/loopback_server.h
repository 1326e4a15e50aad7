// The update tests' HTTP server (tests/update/http_server.py) as a child
// process: started on a free loopback port, stopped when this object goes
// (its standard input closes, then it is killed and reaped).
#pragma once

#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace kp::test {

// The server, fed through a pipe: it stops when the pipe closes.
class LoopbackServer {
 public:
  // With a certificate and its key, the server speaks TLS.
  explicit LoopbackServer(const std::string& log, const std::string& cert = {}, const std::string& key = {}) {
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    // From the build, not __FILE__: a compiler cache may make __FILE__ relative.
    const std::string script = (std::filesystem::path(KP_TESTS_DIR) / "update" / "http_server.py").string();
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      close(in[1]);
      close(out[0]);
      if (cert.empty())
        execlp("python3", "python3", script.c_str(), log.c_str(), nullptr);
      else
        execlp("python3", "python3", script.c_str(), log.c_str(), cert.c_str(), key.c_str(), nullptr);
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    FILE* f = fdopen(out[0], "r");
    if (f && fscanf(f, "%d", &port_) != 1) port_ = 0;
    if (f) fclose(f);
  }
  ~LoopbackServer() {
    if (input_ >= 0) close(input_);
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int port_ = 0;
};

}  // namespace kp::test
