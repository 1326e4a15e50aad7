// kp160std — a read at an offset on POSIX: pread, which leaves the
// descriptor's offset alone; and the line reader's mapped window on a file.
#include "platform/read_at.h"

#include <errno.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/syscalls.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

bool ReadFileAt(FileHandle file, int64_t offset, void* buffer, uint32_t count, uint32_t* read) {
  *read = 0;
  if (offset < 0) {
    SetLastError(win32::kNegativeSeek);
    return false;
  }
  uint32_t done = 0;
  while (done < count) {
    const ssize_t n = sys::Sys().pread(static_cast<int>(file), static_cast<char*>(buffer) + done, count - done,
                              static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      // As ReadFile: a handle opened for writing only, or a directory, refuses reading with 5.
      SetLastError(errno == EISDIR || errno == EBADF ? win32::kAccessDenied : Win32FromErrno(errno));
      *read = done;
      return false;
    }
    if (n == 0) break;
    done += static_cast<uint32_t>(n);
  }
  *read = done;
  return true;
}

// The mapped window of the line reader. A file cut short by someone else
// while it is mapped loses its pages past the new end, and touching one
// raises SIGBUS. When the fault lies in the view this thread is reading, the
// handler below maps a page of zeros in its place and lets the read go on
// (zeros hold no line terminator, so the work ends as at any other end),
// and ReadView answers false and drops the view, whose pages are no longer
// all the file's. Every other SIGBUS goes to the handler that was there
// before (or to the default, which ends the process as it would have).
// Nothing is saved per read (no setjmp): a guarded read costs a few stores.
namespace {

struct Guard {
  const uint8_t* low = nullptr;
  const uint8_t* high = nullptr;
  volatile sig_atomic_t active = 0;
  volatile sig_atomic_t faulted = 0;
};
thread_local Guard tGuard;

struct sigaction gPrevious;
bool gInstalled = false;
uintptr_t gPageSize = 4096;

void OnBusError(int signal, siginfo_t* info, void* context) {
  Guard& g = tGuard;
  const auto* at = static_cast<const uint8_t*>(info->si_addr);
  if (g.active && at >= g.low && at < g.high) {
    // mmap is a plain system call here, safe in a handler in practice.
    void* page = reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(at) & ~(gPageSize - 1));
    if (mmap(page, gPageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
      g.faulted = 1;
      return;
    }
  }
  if (gPrevious.sa_flags & SA_SIGINFO) {
    if (gPrevious.sa_sigaction) gPrevious.sa_sigaction(signal, info, context);
    return;
  }
  if (gPrevious.sa_handler == SIG_IGN) return;
  if (gPrevious.sa_handler != SIG_DFL && gPrevious.sa_handler) {
    gPrevious.sa_handler(signal);
    return;
  }
  // The default action: put it back and raise again, which ends the process
  // as it would have (a fault that is not ours would only recur).
  struct sigaction dfl {};
  dfl.sa_handler = SIG_DFL;
  sigaction(SIGBUS, &dfl, nullptr);
  raise(SIGBUS);
}

// True when our handler is the one in place (installed once, on first use;
// if someone replaced it since, no view is made).
bool HandlerInPlace() {
  static std::once_flag once;
  std::call_once(once, [] {
    const long page = sysconf(_SC_PAGESIZE);
    if (page > 0) gPageSize = static_cast<uintptr_t>(page);
    struct sigaction mine {};
    mine.sa_sigaction = OnBusError;
    mine.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&mine.sa_mask);
    gInstalled = sigaction(SIGBUS, &mine, &gPrevious) == 0;
  });
  if (!gInstalled) return false;
  struct sigaction now {};
  return sigaction(SIGBUS, nullptr, &now) == 0 && (now.sa_flags & SA_SIGINFO) && now.sa_sigaction == OnBusError;
}

// The handler's code goes away with the library: when the VM unloads it, the
// handler that was there before is put back, unless someone replaced ours
// since (then theirs stays, and they own what they chained to).
struct RestoreAtUnload {
  ~RestoreAtUnload() {
    if (!gInstalled) return;
    struct sigaction now {};
    if (sigaction(SIGBUS, nullptr, &now) == 0 && (now.sa_flags & SA_SIGINFO) && now.sa_sigaction == OnBusError)
      sigaction(SIGBUS, &gPrevious, nullptr);
  }
} gRestoreAtUnload;

}  // namespace

bool FileView::Map(FileHandle file, int64_t offset, uint64_t length) {
  Unmap();
  if (offset < 0 || offset % static_cast<int64_t>(kViewAlignment) != 0 || !HandlerInPlace()) return false;
  struct stat st {};
  // Only a regular file is sure to show the same bytes mapped as read.
  if (fstat(static_cast<int>(file), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  void* p = mmap(nullptr, length, PROT_READ, MAP_SHARED, static_cast<int>(file), static_cast<off_t>(offset));
  if (p == MAP_FAILED) return false;
  data_ = static_cast<const uint8_t*>(p);
  offset_ = offset;
  length_ = length;
  return true;
}

void FileView::Unmap() {
  if (data_) munmap(const_cast<uint8_t*>(data_), length_);
  data_ = nullptr;
  offset_ = 0;
  length_ = 0;
}

bool ReadView(FileView& view, void (*work)(void*), void* arg) {
  Guard& g = tGuard;
  g.low = view.At(view.offset());
  g.high = g.low + (view.end() - view.offset());
  g.faulted = 0;
  g.active = 1;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  work(arg);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  g.active = 0;
  if (!g.faulted) return true;
  view.Unmap();
  return false;
}

}  // namespace kp::platform::fs
