// kp160std — blocks of memory shared between processes: fMemOuvre,
// fMemExiste, fMemAttend, and the file functions on a block's handle.
//
// A block is a named file mapping with a lock (a named mutex), an
// administration block (which processes want to hear of changes) and, per
// enrolled process, a notification and a receipt semaphore. A process may
// attach a KL procedure to a block: a listener thread of its own (one per
// process) waits for the notifications and posts the procedure to the VM.
// A writer notifies every other enrolled process after each write, and
// fMemAttend waits for their receipts.
//
// Threads: the functions below run on the KL program's thread; the listener
// shares the process-wide notification state with them under a mutex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "abi/value.h"
#include "files/handles.h"
#include "kp160std/abi.h"

namespace kp::files {

constexpr int32_t kMemScopeLocal = 2;

// A handle (2 or more), or -1 with the error raised. `size` is widened with
// its sign; an existing block keeps its own size.
int32_t MemOpen(ExecContext* context, std::u16string_view name, int32_t size, int32_t scope, int32_t mode,
                std::u16string_view procedure);
bool MemExist(ExecContext* context, std::u16string_view name, int32_t scope);
// Waits until every other enrolled process has handled the last
// notification; a time-out below 1 waits without limit.
bool MemWait(ExecContext* context, int32_t handle, int32_t timeoutMs);

// The file functions on the entry of a block (kind 1), as file_io.cpp hands
// them over; each returns the failure value of its file function.
std::u16string MemReadLine(ExecContext* context, HandleEntry& entry);
Value MemRead(ExecContext* context, HandleEntry& entry, int32_t count);
int32_t MemReadTo(ExecContext* context, HandleEntry& entry, void* memory, int32_t count);
bool MemWriteLine(ExecContext* context, HandleEntry& entry, std::u16string_view text);
// Kept as the file form: true once the handle was valid.
bool MemWriteLineFrom(ExecContext* context, HandleEntry& entry, const void* memory, int32_t count);
int32_t MemWrite(ExecContext* context, HandleEntry& entry, const void* data, size_t size);
int64_t MemSeek(ExecContext* context, HandleEntry& entry, int64_t position, int32_t origin);
int64_t MemSize(ExecContext* context, HandleEntry& entry);

// --- the administration block ----------------------------------------------
// 84 bytes, little-endian: version (1), count of enrolled processes (0..20),
// two reserved bytes, 20 process identifiers. Another process may have
// written anything there: a count above 20 is read as 20.
constexpr size_t kAdminSize = 84;
constexpr size_t kAdminSlots = 20;
constexpr uint8_t kAdminVersion = 1;

// Whether a block of this version may be used (notification).
bool AdminUsable(const uint8_t* block);
// The enrolled identifiers other than `self`, in order of enrolment.
std::vector<uint32_t> AdminOthers(const uint8_t* block, uint32_t self);
// Enrols `pid`: true when it is now among the enrolled; false when 20 are.
bool AdminEnrol(uint8_t* block, uint32_t pid);
// Withdraws `pid` (the later ones move down); an identifier not found is
// left alone.
void AdminWithdraw(uint8_t* block, uint32_t pid);

// Stops the listener thread and waits for it (the library's unloading does
// it; tests too).
void StopMemListener();

}  // namespace kp::files
