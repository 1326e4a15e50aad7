// kp160std — the table of file system calls of the POSIX backend, filled
// with the C library's calls (see syscalls.h).
#include "platform/posix/syscalls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kp::platform::sys {
namespace {

int OpenAt(int dir, const char* name, int flags, mode_t mode) { return ::openat(dir, name, flags, mode); }

constexpr SysCalls kReal = {
    .openat = OpenAt,
    .read = ::read,
    .pread = ::pread,
    .write = ::write,
    .renameat = ::renameat,
    .renameat2 = ::renameat2,
    .unlinkat = ::unlinkat,
    .fsync = ::fsync,
    .ftruncate = ::ftruncate,
    .fallocate = ::fallocate,
    .mkdirat = ::mkdirat,
    .close = ::close,
};

SysCalls gTable = kReal;

}  // namespace

SysCalls& Sys() { return gTable; }
const SysCalls& RealSysCalls() { return kReal; }

}  // namespace kp::platform::sys
