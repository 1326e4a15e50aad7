// kp160std — IXStream: the library's file stream over a device file.
//
// Reads and writes at a 64-bit position that every transfer advances by the
// bytes it moved. A transfer is "exact" when the caller gives no place for
// the count: then anything short of the full count is a failure. Failures
// are reported into the error record given at construction (null: nothing
// is reported) with the stream's consistency texts, and the platform's code
// is kept for LastSystemError.
//
// Line reading may read ahead into a buffer of the stream's own (Peek). The
// position, results and errors stay those of the plain transfers: every
// other operation first puts the platform position back where the stream
// says it is. Nothing read ahead is kept from one Peek to the next: another
// process may change the file at any time, and no cheaper question than a
// read tells for sure that it did not, so each line is read from the file
// as it is when asked for.
//
// The stream owns its platform handle (closed by Close or the destructor);
// it is not copyable.
//
// Thread-safety: one thread at a time per stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kp160std/abi.h"
#include "platform/filesystem.h"

namespace kp::project {

class IXStream {
 public:
  explicit IXStream(CXError* record = nullptr) : record_(record) {}
  ~IXStream();
  IXStream(const IXStream&) = delete;
  IXStream& operator=(const IXStream&) = delete;

  // Access, share, disposition and flags as platform::fs::CreateFile.
  bool Open(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition, uint32_t flags,
            bool* created = nullptr);
  void Close();
  bool IsOpen() const { return file_ != platform::fs::kInvalidFile; }

  // `done` null: exact transfer.
  bool Read(void* buffer, uint32_t count, uint32_t* done);
  bool Write(const void* buffer, uint32_t count, uint32_t* done);
  // Origin 0, 1, 2 (begin, current, end).
  bool Seek(int64_t distance, uint32_t origin);
  // -1 when the size cannot be read.
  int64_t Size();
  // Sets the size; the platform position is left at the new end.
  bool SetSize(int64_t size);
  int64_t Position() const { return position_; }
  uint32_t LastSystemError() const { return lastError_; }
  const std::u16string& Name() const { return name_; }
  platform::fs::FileHandle Handle() const { return file_; }

  // Reads one line ending at CR LF (not part of the line) or at the end of
  // the file, at most `maxChars` characters: UTF-16 LE when `unicode`, else
  // bytes widened one to one (the caller converts). A longer line is cut and
  // the rest skipped. False on a failed read.
  bool ReadLine(std::u16string* line, size_t maxChars, bool unicode);

  // Read-ahead for the line reader: reads up to `count` bytes (64 KB at
  // most) at `at` into the stream's buffer, without moving the position,
  // and answers how many were read; `atEnd` tells that the file ended
  // before `count`. The bytes stay valid until the next call on the stream.
  // False on a failed read, reported as a failed Read of `asked` bytes.
  bool Peek(int64_t at, uint32_t count, uint32_t asked, const uint8_t** bytes, uint32_t* got, bool* atEnd);
  // Moves the position as Seek(at, 0) does for a non-negative `at`, without
  // a system call.
  void MoveTo(int64_t at);

 private:
  void Report(bool reading, uint32_t asked, uint32_t moved, bool exact, uint32_t system);
  // Puts the platform position back at the stream's after a read-ahead.
  bool Realign();

  CXError* record_;
  platform::fs::FileHandle file_ = platform::fs::kInvalidFile;
  uint32_t access_ = 0;
  int64_t position_ = 0;
  uint32_t lastError_ = 0;
  std::u16string name_;

  std::unique_ptr<uint8_t[]> buffer_;
  uint32_t capacity_ = 0;
  bool platformMoved_ = false;  // the platform position is not the stream's
};

}  // namespace kp::project
