// Fault injection for tests: makes the next calls of one system call fail
// with a chosen errno, for the POSIX backend's file calls (platform/posix/
// syscalls.h) and for the SQLite calls under the registry (through the unix
// VFS's xSetSystemCall).
//
//   FailNext disk("renameat", ENOSPC);          // the next rename fails
//   FailNext io("sqlite.write", EIO, 1000);     // the registry's writes fail
//
// Backend names: openat, read, pread, write, renameat, renameat2, unlinkat,
// fsync, ftruncate, fallocate, mkdirat, close. SQLite names: "sqlite." and one of
// open, read (read, pread, pread64), write (write, pwrite, pwrite64),
// ftruncate, unlink; SQLite's fsync is not one of the calls its VFS lets a
// caller replace. The call is restored when the object goes out of scope;
// one FailNext per call at a time. Not thread-safe: swap calls only while
// the test's own thread is the only one doing file I/O.
#pragma once

#include <string>
#include <string_view>

namespace kp::test {

class FailNext {
 public:
  // `count` calls fail, the following ones go through.
  FailNext(std::string_view call, int error, int count = 1);
  ~FailNext();
  FailNext(const FailNext&) = delete;
  FailNext& operator=(const FailNext&) = delete;

  // How many calls were made to fail so far: a test that expected a fault
  // checks that the call it meant was made at all.
  int failed() const { return failed_; }
  // Stops failing (the call stays swapped until destruction).
  void Stop() { remaining_ = 0; }

  struct Slot;

 private:
  friend struct Slot;
  std::string call_;
  int error_;
  int remaining_;
  int failed_ = 0;
  Slot* slot_ = nullptr;
};

}  // namespace kp::test
