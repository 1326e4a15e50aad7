// kp160std — the system calls the POSIX backend makes to read and write
// files, through one table of function pointers, so that a test can make the
// next rename fail with ENOSPC (or a write with EIO) and see what the
// function above does with it.
//
// The table starts out holding the C library's own calls; nothing in the
// library changes it, so production code pays one indirect call and behaves
// as before. A test swaps one entry and restores it (tests/support/
// fault_injection.h does both, and does the same for the SQLite calls of the
// registry through the unix VFS's xSetSystemCall).
//
// Only file I/O goes through here: the calls whose failure changes what a
// KL program sees (opening, reading, writing, syncing, renaming, removing,
// truncating, reserving space, making a directory, closing). Status calls (fstat, fstatat)
// and the walk beneath the root do not.
//
// Thread-safety: reading the table is free; a test swaps entries only while
// no other thread of the library is doing file I/O.
#pragma once

#include <sys/types.h>

namespace kp::platform::sys {

struct SysCalls {
  // openat with its mode always passed (the C call is variadic).
  int (*openat)(int dir, const char* name, int flags, mode_t mode);
  ssize_t (*read)(int fd, void* buffer, size_t count);
  ssize_t (*pread)(int fd, void* buffer, size_t count, off_t offset);
  ssize_t (*write)(int fd, const void* buffer, size_t count);
  int (*renameat)(int fromDir, const char* from, int toDir, const char* to);
  int (*renameat2)(int fromDir, const char* from, int toDir, const char* to, unsigned flags);
  int (*unlinkat)(int dir, const char* name, int flags);
  int (*fsync)(int fd);
  int (*ftruncate)(int fd, off_t length);
  int (*fallocate)(int fd, int mode, off_t offset, off_t length);
  int (*mkdirat)(int dir, const char* name, mode_t mode);
  int (*close)(int fd);
};

// The process's table.
SysCalls& Sys();
// The C library's calls, for restoring an entry.
const SysCalls& RealSysCalls();

}  // namespace kp::platform::sys
