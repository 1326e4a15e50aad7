// kp160std — a read at an offset on POSIX: pread, which leaves the
// descriptor's offset alone.
#include "platform/read_at.h"

#include <errno.h>
#include <unistd.h>

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

}  // namespace kp::platform::fs
