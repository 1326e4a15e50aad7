// kp160std — whether a range of this process's memory can be read or
// written, asked of the kernel (process_vm_readv/writev) instead of touching
// it, so that a bad address from a KL program is an error and not a crash.
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "platform/filesystem.h"

namespace kp::platform::fs {

bool MemoryReadable(const void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  std::vector<char> copy(std::min<size_t>(count, 65536));
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(copy.size(), count - done);
    iovec local{copy.data(), n};
    iovec remote{const_cast<char*>(static_cast<const char*>(address) + done), n};
    if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    done += n;
  }
  return true;
}

bool MemoryWritable(void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  std::vector<char> copy(std::min<size_t>(count, 65536));
  for (size_t done = 0; done < count;) {
    const size_t n = std::min(copy.size(), count - done);
    iovec local{copy.data(), n};
    iovec remote{static_cast<char*>(address) + done, n};
    // Read the bytes and write them back: the memory keeps its content.
    if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    if (process_vm_writev(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(n)) return false;
    done += n;
  }
  return true;
}

}  // namespace kp::platform::fs
