// kp160std — processes on POSIX (see platform/process.h).
//
// A process handle holds a pidfd: whatever the identifier becomes later, the
// handle names the process it was opened on, and a signal sent through it
// cannot reach a stranger that reused the number. Children started here are
// registered: a reaper thread (started with the first child) waits on their
// pidfds and collects each one as soon as it ends, so no zombie is left
// behind, and keeps its exit code. The last kKeptEnded ended children stay
// known by identifier, as Windows keeps an ended process object while a
// handle names it, so that a caller who learnt the identifier can still ask
// for its exit code.
//
// Exit codes: a child's own exit status; killed by a signal, 128 plus the
// signal's number, except after TerminateProcess, which gives the code it was
// asked for. A process that is not our child and has ended reads its status
// from /proc when the system shows it (same user), else 0.
//
// What /proc tells of processes (the snapshots, the own command line) is in
// process_snapshot.cpp.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/beneath.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/process_proc.h"
#include "platform/process.h"
#include "platform/win32_errors.h"

extern char** environ;

namespace kp::platform::proc {

namespace {

// Ended children still known by identifier.
constexpr size_t kKeptEnded = 64;
// Exit codes of a child killed by a signal: 128 + the signal, as shells say.
constexpr uint32_t kSignalExitBase = 128;

// Straight system calls: the C library's wrappers are not declared for C++
// on every system that has the calls.
int PidfdOpen(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }
int PidfdSignal(int pidfd, int signal) {
  return static_cast<int>(syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0));
}

void CloseFd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

// A started child, shared by the registry and the handles that name it.
struct Child {
  pid_t pid = 0;
  int pidfd = -1;  // the registry's, closed when the child is collected
  bool ended = false;
  uint32_t exitCode = kStillActive;
  bool terminated = false;  // ended through TerminateProcess
  uint32_t terminateCode = 0;
};

uint32_t CodeOfStatus(int siCode, int status) {
  if (siCode == CLD_EXITED) return static_cast<uint32_t>(status);
  return kSignalExitBase + static_cast<uint32_t>(status);
}

class Children {
 public:
  // A process forked from this one (without exec) must not believe it has
  // the parent's children or its reaper thread: the registry starts empty
  // there, and the lock is never copied while held.
  Children() {
    instance_ = this;
    pthread_atfork([] { instance_->mutex_.lock(); }, [] { instance_->mutex_.unlock(); },
                   [] { instance_->AfterForkInChild(); });
  }
  ~Children() {
    std::thread reaper;
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
      reaper = std::move(reaper_);
    }
    Wake();
    if (reaper.joinable()) reaper.join();
    std::lock_guard lock(mutex_);
    CollectLocked();
    CloseFd(wake_);
  }

  void Add(std::shared_ptr<Child> child) {
    std::lock_guard lock(mutex_);
    live_.push_back(std::move(child));
    if (wake_ < 0) wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!reaper_.joinable() && wake_ >= 0) reaper_ = std::thread([this] { Run(); });
    WakeLocked();
  }

  // Collects every child that has ended.
  void Collect() {
    std::lock_guard lock(mutex_);
    CollectLocked();
  }

  // The child with this identifier: a live one, or an ended one whose
  // identifier nobody has taken since.
  std::shared_ptr<Child> Find(pid_t pid) {
    std::lock_guard lock(mutex_);
    CollectLocked();
    for (const auto& c : live_)
      if (c->pid == pid) return c;
    for (auto it = ended_.rbegin(); it != ended_.rend(); ++it) {
      if ((*it)->pid != pid) continue;
      const std::string proc = "/proc/" + std::to_string(pid);
      if (access(proc.c_str(), F_OK) == 0) return nullptr;  // reused by another process
      return *it;
    }
    return nullptr;
  }

  void MarkTerminated(const std::shared_ptr<Child>& child, uint32_t code) {
    std::lock_guard lock(mutex_);
    if (child->ended) return;
    child->terminated = true;
    child->terminateCode = code;
  }

  bool Ended(const std::shared_ptr<Child>& child, uint32_t* code) {
    std::lock_guard lock(mutex_);
    CollectLocked();
    if (code) *code = child->ended ? child->exitCode : kStillActive;
    return child->ended;
  }

 private:
  void CollectLocked() {
    for (size_t i = 0; i < live_.size();) {
      Child& c = *live_[i];
      siginfo_t info{};
      const int rc = waitid(P_PID, static_cast<id_t>(c.pid), &info, WEXITED | WNOHANG);
      if (rc == 0 && info.si_pid == 0) {
        ++i;
        continue;
      }
      if (rc != 0 && errno == EINTR) continue;
      c.ended = true;
      // ECHILD: the host collected it first; its status is lost.
      c.exitCode = c.terminated ? c.terminateCode : (rc == 0 ? CodeOfStatus(info.si_code, info.si_status) : 0);
      CloseFd(c.pidfd);
      ended_.push_back(live_[i]);
      if (ended_.size() > kKeptEnded) ended_.pop_front();
      live_.erase(live_.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }

  void WakeLocked() {
    if (wake_ >= 0) {
      const uint64_t one = 1;
      [[maybe_unused]] ssize_t n = write(wake_, &one, sizeof one);
    }
  }
  void Wake() {
    std::lock_guard lock(mutex_);
    WakeLocked();
  }

  void Run() {
    for (;;) {
      std::vector<pollfd> fds;
      {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        fds.push_back({wake_, POLLIN, 0});
        for (const auto& c : live_)
          if (c->pidfd >= 0) fds.push_back({c->pidfd, POLLIN, 0});
      }
      if (poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) return;
      if (fds[0].revents & POLLIN) {
        uint64_t count;
        [[maybe_unused]] ssize_t n = read(wake_, &count, sizeof count);
      }
      Collect();
    }
  }

  void AfterForkInChild() {
    for (auto& c : live_) CloseFd(c->pidfd);
    live_.clear();
    ended_.clear();
    // The thread does not exist here; its object is left behind, never joined.
    if (reaper_.joinable()) new std::thread(std::move(reaper_));
    CloseFd(wake_);
    stopping_ = false;
    mutex_.unlock();
  }

  static inline Children* instance_ = nullptr;
  std::mutex mutex_;  // guards live_, ended_, reaper_ and stopping_
  std::vector<std::shared_ptr<Child>> live_;
  std::deque<std::shared_ptr<Child>> ended_;
  std::thread reaper_;
  int wake_ = -1;
  bool stopping_ = false;
};

Children& Registry() {
  static Children children;
  return children;
}

// What a ProcessHandle points to.
struct Handle {
  pid_t pid = 0;
  int pidfd = -1;                // -1 for a child already collected
  std::shared_ptr<Child> child;  // our own child, or null
  uint32_t access = 0;
};

Handle* Of(ProcessHandle h) { return reinterpret_cast<Handle*>(h); }

// Whether the process behind a pidfd has ended (a zombie has).
bool PidfdEnded(int pidfd) {
  pollfd p{pidfd, POLLIN, 0};
  return poll(&p, 1, 0) > 0;
}

// The host path of an existing device file or directory, or empty with the
// last error set.
std::string HostPath(std::u16string_view name, struct stat* st) {
  const auto relative = fs::DeviceRelativePath(name);
  if (!relative) {
    if (LastError() == 0) SetLastError(win32::kAccessDenied);  // the root itself
    return {};
  }
  fs::Location at;
  if (const uint32_t rc = fs::LocateBeneath(*relative, &at); rc != 0) {
    SetLastError(rc);
    return {};
  }
  if (!at.exists) {
    SetLastError(win32::kFileNotFound);
    return {};
  }
  const std::string root = fs::RootHostPath();
  if (root.empty()) {
    SetLastError(win32::kPathNotFound);
    return {};
  }
  *st = at.st;
  return root == "/" ? "/" + at.relative : root + "/" + at.relative;
}

// A directory is not a program (5, as CreateProcess answers).
std::string HostProgram(std::u16string_view program, struct stat* st) {
  std::string host = HostPath(program, st);
  if (!host.empty() && S_ISDIR(st->st_mode)) {
    SetLastError(win32::kAccessDenied);
    return {};
  }
  return host;
}

// posix_spawn without inheritance: descriptors above 2 closed, default
// signal handling and an empty mask, whatever the host set for itself.
bool Spawn(const std::string& host, const std::vector<std::u16string>& arguments, const std::string& directory,
           pid_t* pid) {
  std::vector<std::string> words{host};
  for (const auto& a : arguments) {
    std::string utf8;
    if (!fs::names::ToUtf8(a, &utf8)) return Fail(win32::kInvalidParameter);
    words.push_back(std::move(utf8));
  }
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  if (!directory.empty()) posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  sigset_t defaults, mask;
  sigfillset(&defaults);
  sigdelset(&defaults, SIGKILL);
  sigdelset(&defaults, SIGSTOP);
  sigemptyset(&mask);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setsigmask(&attributes, &mask);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  const int rc = posix_spawn(pid, host.c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (rc != 0) return FailErrno(rc);
  return true;
}

bool StartChild(const std::string& host, const std::vector<std::u16string>& arguments, const std::string& directory,
                Started* started) {
  pid_t pid = 0;
  if (!Spawn(host, arguments, directory, &pid)) return false;
  auto child = std::make_shared<Child>();
  child->pid = pid;
  child->pidfd = PidfdOpen(pid);
  auto* handle = new Handle;
  handle->pid = pid;
  handle->pidfd = PidfdOpen(pid);
  handle->child = child;
  handle->access = kProcessTerminate | kProcessQueryInformation | kProcessVmRead;
  Registry().Add(std::move(child));
  if (started) {
    started->process = reinterpret_cast<ProcessHandle>(handle);
    started->processId = static_cast<uint32_t>(pid);
    started->threadId = static_cast<uint32_t>(pid);  // the main thread's id is the process's
  } else {
    CloseProcess(reinterpret_cast<ProcessHandle>(handle));
  }
  return true;
}

}  // namespace

bool CreateProcess(std::u16string_view program, std::u16string_view commandLine,
                   const std::vector<std::u16string>& arguments, Started* started) {
  SetLastError(0);
  struct stat st {};
  const std::string host = HostProgram(program, &st);
  if (host.empty()) return false;
  return StartChild(host, arguments, {}, started);
}

uint32_t WaitForProcess(ProcessHandle process, uint32_t milliseconds) {
  Handle* h = Of(process);
  if (!h) {
    SetLastError(win32::kInvalidHandle);
    return kWaitFailed;
  }
  if (h->child && Registry().Ended(h->child, nullptr)) return kWaitObject0;
  if (h->pidfd < 0) return kWaitObject0;
  timespec start{};
  clock_gettime(CLOCK_MONOTONIC, &start);
  for (;;) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t spent = (now.tv_sec - start.tv_sec) * 1000 + (now.tv_nsec - start.tv_nsec) / 1000000;
    const int64_t left = milliseconds == 0xFFFFFFFFu ? -1 : std::max<int64_t>(0, milliseconds - spent);
    pollfd p{h->pidfd, POLLIN, 0};
    const int rc = poll(&p, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX)));
    if (rc > 0) {
      if (h->child) Registry().Collect();
      return kWaitObject0;
    }
    if (rc == 0) return kWaitTimeout;
    if (errno != EINTR) {
      SetLastError(Win32FromErrno(errno));
      return kWaitFailed;
    }
  }
}

bool GetExitCodeProcess(ProcessHandle process, uint32_t* code) {
  Handle* h = Of(process);
  if (!h || !code) return Fail(win32::kInvalidHandle);
  if (h->child) {
    Registry().Ended(h->child, code);
    return true;
  }
  if (!PidfdEnded(h->pidfd)) {
    *code = kStillActive;
    return true;
  }
  // Ended: a zombie shows its status to a reader of the same user.
  *code = 0;
  std::string stat;
  if (ReadWhole("/proc/" + std::to_string(h->pid) + "/stat", &stat)) {
    const auto fields = StatFields(stat);
    if (fields.size() > 49 && fields[0] == "Z") {
      const uint32_t status = ToNumber(fields[49]);
      *code = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalExitBase + WTERMSIG(status);
    }
  }
  return true;
}

ProcessHandle OpenProcess(uint32_t access, uint32_t processId) {
  if (processId == 0 || processId > static_cast<uint32_t>(INT_MAX)) {
    SetLastError(win32::kInvalidParameter);
    return kNoProcess;
  }
  const pid_t pid = static_cast<pid_t>(processId);
  auto handle = std::make_unique<Handle>();
  handle->pid = pid;
  handle->access = access;
  handle->child = Registry().Find(pid);
  if (!handle->child || !handle->child->ended) {
    handle->pidfd = PidfdOpen(pid);
    if (handle->pidfd < 0) {
      // The child may have ended between the two looks: it is known still.
      if (errno == ESRCH && handle->child) {
        return reinterpret_cast<ProcessHandle>(handle.release());
      }
      SetLastError(Win32FromErrno(errno));
      return kNoProcess;
    }
    // Ending asks for the right to signal it.
    if ((access & kProcessTerminate) && PidfdSignal(handle->pidfd, 0) != 0 && errno == EPERM) {
      CloseFd(handle->pidfd);
      SetLastError(win32::kAccessDenied);
      return kNoProcess;
    }
  }
  return reinterpret_cast<ProcessHandle>(handle.release());
}

bool TerminateProcess(ProcessHandle process, uint32_t exitCode) {
  Handle* h = Of(process);
  if (!h) return Fail(win32::kInvalidHandle);
  if (!(h->access & kProcessTerminate)) return Fail(win32::kAccessDenied);
  // Never the VM itself nor the system's first process: the program that
  // wants to end ends on its own.
  if (h->pid == getpid() || h->pid <= 1) return Fail(win32::kAccessDenied);
  if (h->pidfd < 0) return Fail(win32::kAccessDenied);  // ended already, as Windows answers
  if (h->child) Registry().MarkTerminated(h->child, exitCode);
  if (PidfdSignal(h->pidfd, SIGKILL) != 0) return Fail(errno == ESRCH ? win32::kAccessDenied : Win32FromErrno(errno));
  return true;
}

void CloseProcess(ProcessHandle process) {
  Handle* h = Of(process);
  if (!h) return;
  CloseFd(h->pidfd);
  delete h;
}

bool EnumProcessModules(ProcessHandle process, std::vector<std::u16string>* paths) {
  paths->clear();
  Handle* h = Of(process);
  if (!h) return Fail(win32::kInvalidHandle);
  if (!(h->access & kProcessVmRead)) return Fail(win32::kAccessDenied);
  if (h->pidfd < 0 || PidfdEnded(h->pidfd)) return Fail(win32::kAccessDenied);
  std::vector<std::string> hostPaths;
  if (!ModulePaths(h->pid, &hostPaths)) return false;
  const PathShower shower;
  for (const auto& p : hostPaths) paths->push_back(shower.Show(p));
  return true;
}

uint32_t CurrentProcessId() { return static_cast<uint32_t>(getpid()); }
uint32_t ParentProcessId() { return static_cast<uint32_t>(getppid()); }
uint32_t CurrentThreadId() { return static_cast<uint32_t>(gettid()); }

bool PumpPaintMessage() { return false; }

void Sleep(uint32_t milliseconds) {
  timespec t{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&t, &t) != 0 && errno == EINTR) {
  }
}

uint32_t ShellExecute(std::u16string_view file, std::u16string_view verb, std::u16string_view directory) {
  constexpr uint32_t kStarted = 42;  // any code above 32 is a success
  constexpr uint32_t kBadFormat = 11, kNoAssociation = 31;
  if (!verb.empty() && verb != u"open") return kNoAssociation;
  SetLastError(0);
  struct stat st {};
  const std::string host = HostProgram(file, &st);
  if (host.empty()) {
    const uint32_t e = LastError();
    return e == win32::kFileNotFound || e == win32::kPathNotFound ? e : win32::kAccessDenied;
  }
  if (!(st.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH))) return kNoAssociation;
  std::string cwd;
  if (!directory.empty()) {
    struct stat dirStat {};
    cwd = HostPath(directory, &dirStat);
    if (cwd.empty() || !S_ISDIR(dirStat.st_mode)) return win32::kPathNotFound;
  }
  if (StartChild(host, {}, cwd, nullptr)) return kStarted;
  switch (LastError()) {
    case win32::kFileNotFound:
    case win32::kPathNotFound:
    case win32::kAccessDenied:
    case win32::kNotEnoughMemory: return LastError();
    case win32::kBadExeFormat: return kBadFormat;
    default: return kNoAssociation;
  }
}

}  // namespace kp::platform::proc
