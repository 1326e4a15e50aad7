// kp160std — named kernel objects shared between processes: file mappings
// backed by memory, mutexes, semaphores and events, and waiting on them.
//
// Both backends speak Win32: the same names ("Local\..." and "Global\..."
// scopes), the same results (WAIT_OBJECT_0 + i, WAIT_ABANDONED_0 + i,
// WAIT_TIMEOUT, WAIT_FAILED) and the same error numbers through LastError().
// An object lives while a handle (or a mapped view) of it is open in some
// process, and disappears with the last one. A mutex is owned by a thread;
// when the process of its owner dies, the next wait on it returns
// WAIT_ABANDONED_0 + i and takes it.
//
// On POSIX, the objects of one device prefix (platform/posix/device.h) never
// meet those of another prefix, and the holders that were killed are
// reclaimed by the next process that looks (docs/shared-memory.md).
//
// Handles are per process: a forked child does not inherit them.
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kp::platform::named {

// 0 is never a handle.
using Handle = uintptr_t;
constexpr Handle kNoHandle = 0;

constexpr uint32_t kWaitObject0 = 0;
constexpr uint32_t kWaitAbandoned0 = 0x80;
constexpr uint32_t kWaitTimeout = 258;
constexpr uint32_t kWaitFailed = 0xFFFFFFFF;
constexpr uint32_t kInfinite = 0xFFFFFFFF;
constexpr size_t kMaximumWaitObjects = 64;

// Win32 codes of these calls that the other seams do not use.
constexpr uint32_t kErrorNotOwner = 288;
constexpr uint32_t kErrorTooManyPosts = 298;

// The longest name taken (characters); a longer one fails with 206.
constexpr size_t kMaxNameLength = 260;

// --- file mappings backed by memory ---------------------------------------
// Creates the mapping `name` of `size` bytes (read-write, or read-only when
// !writable); when it exists already, its handle with LastError() 183 and
// its own size. A size of 0 fails with 87. An empty name: a mapping of this
// process only.
Handle CreateMapping(std::u16string_view name, uint64_t size, bool writable);
// The existing mapping `name`; 0 with 2 when there is none.
Handle OpenMapping(std::u16string_view name, bool writable);
// Maps `size` bytes from the start (0: the whole mapping); a size beyond
// the mapping fails with 5. The view keeps the mapping alive until unmapped.
void* MapView(Handle mapping, bool writable, size_t size);
bool UnmapView(void* view);
// What the system reports for the view's region: its size rounded up to
// whole pages. 0 for an address that is not a view.
size_t ViewRegionSize(const void* view);

// --- mutexes ------------------------------------------------------------
// Creates the mutex, owned by the calling thread when `initialOwner` and it
// is new; when it exists, its handle with LastError() 183 (not owned).
Handle CreateMutex(std::u16string_view name, bool initialOwner);
Handle OpenMutex(std::u16string_view name);
// Fails with 288 unless the calling thread owns it. Ownership is recursive.
bool ReleaseMutex(Handle mutex);

// --- semaphores ---------------------------------------------------------
Handle CreateSemaphore(std::u16string_view name, int32_t initial, int32_t maximum);
Handle OpenSemaphore(std::u16string_view name);
// Adds `count`; fails with 298 past the maximum (nothing added). `previous`
// may be null.
bool ReleaseSemaphore(Handle semaphore, int32_t count, int32_t* previous);

// --- events -------------------------------------------------------------
Handle CreateEvent(std::u16string_view name, bool manualReset, bool initialState);
Handle OpenEvent(std::u16string_view name);
bool SetEvent(Handle event);
bool ResetEvent(Handle event);

// --- waiting and closing ------------------------------------------------
// Timeout in milliseconds, kInfinite for none. WaitForObjects with !all
// takes the first signalled object in order and answers WAIT_OBJECT_0 + i
// (WAIT_ABANDONED_0 + i for a mutex whose owner died); with `all` it takes
// every object at once when all are signalled. More than 64 objects, or a
// mapping among them, fails with 87 or 6.
uint32_t WaitForObject(Handle object, uint32_t timeoutMs);
uint32_t WaitForObjects(std::span<const Handle> objects, bool all, uint32_t timeoutMs);
bool CloseHandle(Handle object);

// The calling process's identifier, as the names of per-process objects use it.
uint32_t CurrentProcessId();

#ifndef _WIN32
// The start of every POSIX shared-memory name that the objects of the
// current device prefix use (without the leading "/"), so that a test can
// tell what it left in /dev/shm.
std::string SharedMemoryStem();
#endif

}  // namespace kp::platform::named
