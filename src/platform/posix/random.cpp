// kp160std — randomness on POSIX: identifiers from the kernel's random source
// (the runtime generator is common/rand.cpp).
#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstring>

#include "platform/random.h"

namespace kp::platform {
namespace {

bool FillFromDevice(uint8_t* out, size_t size) {
  int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::read(fd, out + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  ::close(fd);
  return done == size;
}

bool FillRandom(uint8_t* out, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::getrandom(out + done, size - done, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return FillFromDevice(out, size);  // ENOSYS on old kernels, seccomp filters
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

bool CreateGuid(Guid& out) {
  uint8_t bytes[16];
  if (!FillRandom(bytes, sizeof bytes)) return false;
  // Version 4 in the high nibble of data3, RFC 4122 variant in data4[0], as
  // CoCreateGuid gives them.
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x40);
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);
  out.data1 = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
              static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
  out.data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  out.data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(out.data4, bytes + 8, 8);
  return true;
}

}  // namespace kp::platform
