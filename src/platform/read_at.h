// kp160std — a read at a given offset of a file opened by
// platform::fs::CreateFile, in one system call where the system has one.
// The line reader reads the file afresh at every call (another process may
// have changed it), so the cost of each read is the cost of a line.
//
// Unlike ReadFile it says nothing of the handle's position afterwards: the
// caller puts the position where it wants it before any other transfer. At
// the end of the file it reads fewer bytes, or none, and succeeds. A failure
// sets the last error (a Win32 number, as ReadFile) and returns false.
//
// Thread-safety: as ReadFile; a FileHandle is used by one thread at a time.
#pragma once

#include <cstdint>

#include "platform/filesystem.h"

namespace kp::platform::fs {

bool ReadFileAt(FileHandle file, int64_t offset, void* buffer, uint32_t count, uint32_t* read);

}  // namespace kp::platform::fs
