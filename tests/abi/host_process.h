// Runs the built kp as a child process, as a person types it: its own device
// directory, English, a time limit (a hang kills the child and fails the
// caller's check instead of stalling the run), stdout and stderr apart.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

namespace kp::test {

struct HostRun {
  int status = -1;  // exit status; -1 when it did not exit normally
  bool timedOut = false;
  std::string out, err;
};

inline HostRun RunHost(const std::vector<std::string>& args, const std::string& prefix, double seconds = 20) {
  HostRun run;
  int out[2], err[2];
  if (pipe(out) != 0) return run;
  if (pipe(err) != 0) {
    close(out[0]);
    close(out[1]);
    return run;
  }
  // The environment, with the device and the language set for this run.
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    const std::string v = *e;
    bool replaced = false;
    for (const char* drop : {"KP_PREFIX=", "LANG=", "LC_ALL=", "LC_MESSAGES="}) replaced |= v.rfind(drop, 0) == 0;
    if (!replaced) env.push_back(v);
  }
  env.push_back("KP_PREFIX=" + prefix);
  env.push_back("LANG=C");
  std::vector<char*> envp, argv;
  for (auto& v : env) envp.push_back(v.data());
  envp.push_back(nullptr);
  std::string host = KP_HOST_PATH;
  argv.push_back(host.data());
  std::vector<std::string> copy(args);
  for (auto& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  posix_spawn_file_actions_addclose(&actions, err[0]);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, host.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  close(err[1]);
  if (spawned != 0) {
    close(out[0]);
    close(err[0]);
    run.err = std::string("posix_spawn: ") + std::strerror(spawned);
    return run;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  int open = 2;
  while (open > 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      run.timedOut = true;
      kill(pid, SIGKILL);
      break;
    }
    if (poll(fds, 2, static_cast<int>(left.count())) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        (i == 0 ? run.out : run.err).append(buffer, static_cast<size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  for (auto& f : fds)
    if (f.fd >= 0) close(f.fd);
  int status = 0;
  if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) run.status = WEXITSTATUS(status);
  return run;
}

}  // namespace kp::test
