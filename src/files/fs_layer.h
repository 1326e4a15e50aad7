// kp160std — the file functions' thin layer over the device file system:
// when a call fails it records the system code with the layer's message
// (delete 28123, move 28124, copy 28125, attributes 28130) naming the files.
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"
#include "platform/filesystem.h"

namespace kp::files::layer {

uint32_t Attributes(std::u16string_view name);  // no report: "does it exist" is a normal question
bool SetAttributes(ExecContext* context, std::u16string_view name, uint32_t attributes);
bool Copy(ExecContext* context, std::u16string_view source, std::u16string_view target);
bool Move(ExecContext* context, std::u16string_view source, std::u16string_view target);
bool Delete(ExecContext* context, std::u16string_view name);
bool CreateDirectory(ExecContext* context, std::u16string_view name);
bool RemoveDirectory(ExecContext* context, std::u16string_view name);
// Records the last platform error as the current error (error kind 2).
void RecordLast(ExecContext* context);

inline bool IsDirectory(uint32_t a) { return a != platform::fs::kInvalidAttributes && (a & platform::fs::kAttrDirectory); }
inline bool IsFile(uint32_t a) { return a != platform::fs::kInvalidAttributes && !(a & platform::fs::kAttrDirectory); }

// A directory name with one trailing "\" (kept as given when it ends with "/").
std::u16string WithSeparator(std::u16string_view path);

}  // namespace kp::files::layer
