// kp160std — the object table of the POSIX named kernel objects: its layout in
// shared memory, this process's handles and views, and the bookkeeping of
// holders (kept apart from named_objects.cpp, which gives each kind of object
// its calls on top of it). Internal to src/platform/posix.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/named_objects.h"

namespace kp::platform::named::table {

constexpr uint32_t kMagic = 0x4B504E4F;  // "KPNO"
// In the table's name too: processes built with another layout never map
// this one.
constexpr uint32_t kLayout = 2;
constexpr size_t kMaxObjects = 512;
constexpr size_t kMaxHolders = 64;
// How often a wait blocked on a mutex owned by another process looks
// whether that process still lives.
constexpr uint32_t kOwnerCheckMs = 50;

enum Kind : uint32_t { kFree = 0, kMapping = 1, kMutex = 2, kSemaphore = 3, kEvent = 4 };

struct Holder {
  int32_t pid;
  uint32_t count;
  uint64_t stamp;  // the process's start time, so that a reused pid is told apart
};

struct Object {
  uint32_t kind;
  uint32_t nameLength;
  char16_t name[kMaxNameLength + 40];
  uint32_t holderCount;
  Holder holders[kMaxHolders];
  // mapping
  uint64_t size;
  uint64_t segment;
  uint32_t writable;
  // mutex
  int32_t ownerPid;
  uint64_t ownerStamp;
  int64_t ownerThread;
  uint32_t recursion;
  uint32_t abandoned;
  // semaphore
  int32_t count;
  int32_t maximum;
  // event
  uint32_t manualReset;
  uint32_t signalled;
};

struct Table {
  std::atomic<uint32_t> magic;
  uint32_t layout;
  pthread_mutex_t lock;
  std::atomic<uint32_t> sequence;  // the futex word: bumped by every change a waiter may want
  // Threads asleep on it: nobody to wake costs no system call. A waiter
  // killed asleep leaves it too high, which only costs needless wakes.
  std::atomic<uint32_t> sleepers;
  uint32_t dead;  // unlinked: whoever still maps it opens the table anew
  uint32_t inUse;
  uint64_t nextSegment;
  uint64_t nextAnonymous;
  Object objects[kMaxObjects];
};

// --- this process -------------------------------------------------------

struct LocalHandle {
  uint32_t index;  // in the table's objects
  uint32_t kind;
  bool writable;
};

struct View {
  size_t length;
  uint32_t index;
};

struct Local {
  std::mutex mutex;
  uint32_t generation = 0;
  pid_t pid = 0;
  uint64_t stamp = 0;
  Table* table = nullptr;
  // Fixed arrays, like everything else here that the process keeps while it
  // holds nothing: an idle process owns no heap memory of this file, so a
  // library unloaded idle leaves nothing behind.
  char tableName[48] = {};  // with the leading "/"
  char stem[48] = {};       // without it
  std::map<Handle, LocalHandle> handles;
  std::map<const void*, View> views;
  Handle nextHandle = 4;
  // What /proc said of other processes lately: pid -> {start time, when asked}.
  std::map<int32_t, std::pair<uint64_t, uint64_t>> stamps;
};

// --- what the rest of the family calls --------------------------------------

// This process's state; never destroyed.
Local& Me();
// The calling thread's identifier, cached per thread.
int64_t ThreadId();

void BumpAndWake(Table* t);
void SleepOn(Table* t, uint32_t seen, uint32_t ms);
// Sets the last error to `code`; false.
bool Fail(uint32_t code);
uint64_t NowMs();

void Lock(Table* t);
void Unlock(Table* t);
void RefreshProcess(Local& me);
void NameTable(Local& me);
std::string SegmentName(const Local& me, uint64_t segment);
// The table, locked; null (with the last error set) when it cannot be had.
// Called with the process's mutex held.
Table* Acquire(Local& me);
// When the table holds no object any more it is unlinked; this process
// drops its mapping. Called locked; unlocks.
void Release(Local& me, Table* t);

void Abandon(Table* t, Object& o);
// Whether the owner of a mutex is gone: its process, or only its thread.
bool OwnerGone(Local& me, const Object& o);
// Takes away what dead processes held. Called locked.
void Reclaim(Local& me, Table* t);
bool AddHolder(Local& me, Object& o);
// Drops one reference of this process; the object goes with its last one.
void DropHolder(Local& me, Table* t, Object& o);

// Checks the name: at most 260 characters, and no backslash but the one
// that ends a "Local", "Global" or "Session\<n>" scope.
bool NameAllowed(std::u16string_view name);
Object* Find(Table* t, std::u16string_view name);
Handle AddLocal(Local& me, uint32_t index, uint32_t kind, bool writable);
uint32_t IndexOf(Table* t, const Object& o);
// The object of a handle of this process, of the wanted kind (kFree: any).
Object* Resolve(Local& me, Table* t, Handle h, uint32_t kind, LocalHandle** local = nullptr);

bool OwnedByMe(const Local& me, const Object& o);
bool Signalled(const Local& me, const Object& o);
// Takes a signalled object; true when it was an abandoned mutex.
bool Take(const Local& me, Object& o);

}  // namespace kp::platform::named::table
