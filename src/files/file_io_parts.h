// kp160std — what the file-handle functions (file_io.cpp) and the line
// reader (file_lines.cpp) share.
#pragma once

#include <cstdint>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "files/handles.h"

namespace kp::files::detail {

// A line's end in each encoding.
inline constexpr uint8_t kUnicodeEnd[4] = {0x0D, 0x00, 0x0A, 0x00};
inline constexpr uint8_t kAnsiEnd[2] = {0x0D, 0x0A};

// The handle's entry, or null with the bad-handle error raised.
inline HandleEntry* Valid(ExecContext* context, int32_t handle) {
  HandleEntry* entry = Handles().Get(handle);
  if (!entry) Raise(context, kErrBadFileHandle, {handle});
  return entry;
}

// The stream of a disk file's entry; null for any other entry.
inline project::IXStream* DiskStream(HandleEntry* entry) {
  return entry && entry->kind == HandleEntry::kDiskFile ? entry->stream.get() : nullptr;
}

}  // namespace kp::files::detail
