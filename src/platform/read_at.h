// kp160std — a read at a given offset of a file opened by
// platform::fs::CreateFile, in one system call where the system has one.
// The line reader reads through a FileView (below) where it can, and with
// ReadFileAt where it cannot (no mapping, a line across the window's end,
// the end of the file): each such read is one line's cost.
//
// Unlike ReadFile it says nothing of the handle's position afterwards: the
// caller puts the position where it wants it before any other transfer. At
// the end of the file it reads fewer bytes, or none, and succeeds. A failure
// sets the last error (a Win32 number, as ReadFile) and returns false.
//
// Thread-safety: as ReadFile; a FileView is used by one thread at a time; a FileHandle is used by one thread at a time.
#pragma once

#include <cstdint>

#include "platform/filesystem.h"

namespace kp::platform::fs {

bool ReadFileAt(FileHandle file, int64_t offset, void* buffer, uint32_t count, uint32_t* read);

// A read-only window on a file's bytes, mapped shared: its pages are the
// system's cache of the file, so a write by anyone (this process or
// another, through any descriptor) is seen in it at once, without a system
// call. Only a file cut short is not: the bytes past the new end of its last
// page read as zeros, and the pages past that are gone (touching one is a
// fault that ReadView turns into a failure).
class FileView {
 public:
  FileView() = default;
  ~FileView() { Unmap(); }
  FileView(const FileView&) = delete;
  FileView& operator=(const FileView&) = delete;

  // Maps `length` bytes of the file from `offset` (a multiple of
  // kViewAlignment); the window may run past the file's end. False when the
  // system has no such mapping or refuses it (a handle opened for writing
  // only, a file that is not a regular one): the caller reads instead.
  bool Map(FileHandle file, int64_t offset, uint64_t length);
  void Unmap();
  bool mapped() const { return data_ != nullptr; }
  int64_t offset() const { return offset_; }
  int64_t end() const { return offset_ + static_cast<int64_t>(length_); }
  // The byte at file offset `at`, which lies in [offset(), end()).
  const uint8_t* At(int64_t at) const { return data_ + (at - offset_); }

  static constexpr uint64_t kViewAlignment = 64 * 1024;

 private:
  const uint8_t* data_ = nullptr;
  int64_t offset_ = 0;
  uint64_t length_ = 0;
};

// Runs `work(arg)`, which reads the view's bytes. False when it touched a
// page the file no longer has (the file was cut short): that page read as
// zeros, and the view is unmapped.
bool ReadView(FileView& view, void (*work)(void*), void* arg);

}  // namespace kp::platform::fs
