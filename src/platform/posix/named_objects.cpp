// kp160std — named kernel objects on POSIX.
//
// The objects of one device prefix live in one object table, a POSIX
// shared-memory object named from a hash of the prefix's directory, that
// every process of the prefix maps. A robust process-shared mutex guards it
// (a process killed while holding it cannot block the others). Each object
// records which processes hold it and how many handles and views each
// holds, by pid and process start time (so that a reused pid is not taken
// for the dead holder). Holders that died are reclaimed whenever a process
// opens or creates an object, and while a wait is blocked on a mutex: their
// references go, an object left without holders goes with them (a mapping's
// memory, its own shared-memory object, is unlinked), a mutex they owned is
// marked abandoned. The table itself is unlinked when its last object goes.
//
// Waiting sleeps on a futex word of the table that every change which could
// satisfy a waiter bumps: a process killed while waiting leaves nothing
// behind (unlike a process-shared condition variable, whose waiters' count
// a killed waiter can leave wrong). docs/shared-memory.md tells why.
//
// The table and its bookkeeping are in named_table.cpp; this file gives each
// kind of object (mapping, mutex, semaphore, event) its calls, and the waits.
#include "platform/named_objects.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/futex.h>
#include <sys/syscall.h>
#endif

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/device.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/named_table.h"
#include "platform/win32_errors.h"

namespace kp::platform::named {

using namespace table;

namespace {

// Creates or opens the object `name` of `kind`. `setUp` fills a new one.
template <typename SetUp>
Handle CreateOrOpen(std::u16string_view name, uint32_t kind, bool create, bool writable, SetUp&& setUp,
                    bool* existed = nullptr) {
  if (!NameAllowed(name)) return kNoHandle;
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  Table* t = Acquire(me);
  if (!t) return kNoHandle;
  Reclaim(me, t);
  std::u16string anonymous;
  if (name.empty()) {
    if (!create) {
      Release(me, t);
      SetLastError(win32::kInvalidParameter);
      return kNoHandle;
    }
    // A name nobody can give: the object is this process's own.
    anonymous = u"\x01" + std::u16string(u"anonymous:");
    for (char c : std::to_string(t->nextAnonymous++)) anonymous += static_cast<char16_t>(c);
    name = anonymous;
  }
  if (Object* o = Find(t, name)) {
    if (o->kind != kind) {
      Release(me, t);
      SetLastError(win32::kInvalidHandle);
      return kNoHandle;
    }
    if (!AddHolder(me, *o)) {
      Release(me, t);
      return kNoHandle;
    }
    const Handle h = AddLocal(me, IndexOf(t, *o), kind, writable);
    Unlock(t);
    if (existed) *existed = true;
    SetLastError(create ? win32::kAlreadyExists : win32::kSuccess);
    return h;
  }
  if (!create) {
    Release(me, t);
    SetLastError(win32::kFileNotFound);
    return kNoHandle;
  }
  Object* slot = nullptr;
  for (Object& o : t->objects) {
    if (o.kind == kFree) {
      slot = &o;
      break;
    }
  }
  if (!slot) {
    Release(me, t);
    SetLastError(win32::kNotEnoughMemory);
    return kNoHandle;
  }
  std::memset(slot, 0, sizeof *slot);
  slot->nameLength = static_cast<uint32_t>(name.size());
  std::copy(name.begin(), name.end(), slot->name);
  if (!setUp(me, t, *slot)) {
    const uint32_t code = LastError();
    std::memset(slot, 0, sizeof *slot);
    Release(me, t);
    SetLastError(code);
    return kNoHandle;
  }
  slot->kind = kind;
  slot->holders[0] = Holder{me.pid, 1, me.stamp};
  slot->holderCount = 1;
  ++t->inUse;
  const Handle h = AddLocal(me, IndexOf(t, *slot), kind, writable);
  Unlock(t);
  if (existed) *existed = false;
  SetLastError(win32::kSuccess);
  return h;
}

constexpr auto kNothingToSetUp = [](Local&, Table*, Object&) { return true; };

}  // namespace

// --- mappings -------------------------------------------------------------

Handle CreateMapping(std::u16string_view name, uint64_t size, bool writable) {
  if (size == 0 || size > (uint64_t{1} << 62)) {
    SetLastError(win32::kInvalidParameter);
    return kNoHandle;
  }
  return CreateOrOpen(name, kMapping, true, writable, [&](Local& me, Table* t, Object& o) {
    // Whole pages: the bytes after the size in the last page are shared too.
    const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    const uint64_t rounded = (size + page - 1) / page * page;
    o.segment = t->nextSegment++;
    const std::string segment = SegmentName(me, o.segment);
    const int fd = shm_open(segment.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return Fail(Win32FromErrno(errno));
    if (ftruncate(fd, static_cast<off_t>(rounded)) != 0) {
      const int e = errno;
      close(fd);
      shm_unlink(segment.c_str());
      return Fail(e == EINVAL || e == EFBIG ? win32::kNotEnoughMemory : Win32FromErrno(e));
    }
    close(fd);
    o.size = size;
    o.writable = writable;
    return true;
  });
}

Handle OpenMapping(std::u16string_view name, bool writable) {
  return CreateOrOpen(name, kMapping, false, writable, kNothingToSetUp);
}

void* MapView(Handle mapping, bool writable, size_t size) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  Table* t = Acquire(me);
  if (!t) return nullptr;
  LocalHandle* local = nullptr;
  Object* o = Resolve(me, t, mapping, kMapping, &local);
  if (!o) {
    Release(me, t);
    SetLastError(win32::kInvalidHandle);
    return nullptr;
  }
  if ((writable && (!o->writable || !local->writable)) || size > o->size) {
    Release(me, t);
    SetLastError(win32::kAccessDenied);
    return nullptr;
  }
  const size_t length = size ? size : static_cast<size_t>(o->size);
  const int fd = shm_open(SegmentName(me, o->segment).c_str(), writable ? O_RDWR : O_RDONLY, 0600);
  if (fd < 0) {
    const uint32_t code = Win32FromErrno(errno);
    Release(me, t);
    SetLastError(code);
    return nullptr;
  }
  void* view = mmap(nullptr, length, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd, 0);
  const int e = errno;
  close(fd);
  if (view == MAP_FAILED) {
    Release(me, t);
    SetLastError(e == ENOMEM ? win32::kNotEnoughMemory : Win32FromErrno(e));
    return nullptr;
  }
  if (!AddHolder(me, *o)) {
    const uint32_t code = LastError();
    munmap(view, length);
    Release(me, t);
    SetLastError(code);
    return nullptr;
  }
  me.views[view] = View{length, IndexOf(t, *o)};
  Unlock(t);
  SetLastError(win32::kSuccess);
  return view;
}

bool UnmapView(void* view) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  RefreshProcess(me);
  auto it = me.views.find(view);
  if (it == me.views.end()) return Fail(win32::kInvalidParameter);
  const View v = it->second;
  me.views.erase(it);
  munmap(view, v.length);
  Table* t = Acquire(me);
  if (!t) return false;
  DropHolder(me, t, t->objects[v.index]);
  Reclaim(me, t);
  Release(me, t);
  return true;
}

size_t ViewRegionSize(const void* view) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  RefreshProcess(me);
  auto it = me.views.find(view);
  if (it == me.views.end()) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return (it->second.length + page - 1) / page * page;
}

// --- mutexes ----------------------------------------------------------------

Handle CreateMutex(std::u16string_view name, bool initialOwner) {
  return CreateOrOpen(name, kMutex, true, true, [&](Local& me, Table*, Object& o) {
    if (initialOwner) {
      o.ownerPid = me.pid;
      o.ownerStamp = me.stamp;
      o.ownerThread = ThreadId();
      o.recursion = 1;
    }
    return true;
  });
}

Handle OpenMutex(std::u16string_view name) { return CreateOrOpen(name, kMutex, false, true, kNothingToSetUp); }

bool ReleaseMutex(Handle mutex) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  Table* t = Acquire(me);
  if (!t) return false;
  Object* o = Resolve(me, t, mutex, kMutex);
  if (!o || !OwnedByMe(me, *o) || o->recursion == 0) {
    const uint32_t code = o ? kErrorNotOwner : win32::kInvalidHandle;
    Release(me, t);
    return Fail(code);
  }
  if (--o->recursion == 0) {
    o->ownerPid = 0;
    o->ownerStamp = 0;
    o->ownerThread = 0;
    BumpAndWake(t);
  }
  Unlock(t);
  return true;
}

// --- semaphores -------------------------------------------------------------

Handle CreateSemaphore(std::u16string_view name, int32_t initial, int32_t maximum) {
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    SetLastError(win32::kInvalidParameter);
    return kNoHandle;
  }
  return CreateOrOpen(name, kSemaphore, true, true, [&](Local&, Table*, Object& o) {
    o.count = initial;
    o.maximum = maximum;
    return true;
  });
}

Handle OpenSemaphore(std::u16string_view name) { return CreateOrOpen(name, kSemaphore, false, true, kNothingToSetUp); }

bool ReleaseSemaphore(Handle semaphore, int32_t count, int32_t* previous) {
  if (count <= 0) return Fail(win32::kInvalidParameter);
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  Table* t = Acquire(me);
  if (!t) return false;
  Object* o = Resolve(me, t, semaphore, kSemaphore);
  if (!o) {
    Release(me, t);
    return Fail(win32::kInvalidHandle);
  }
  if (count > o->maximum - o->count) {
    Release(me, t);
    return Fail(kErrorTooManyPosts);
  }
  if (previous) *previous = o->count;
  o->count += count;
  BumpAndWake(t);
  Unlock(t);
  return true;
}

// --- events -----------------------------------------------------------------

Handle CreateEvent(std::u16string_view name, bool manualReset, bool initialState) {
  return CreateOrOpen(name, kEvent, true, true, [&](Local&, Table*, Object& o) {
    o.manualReset = manualReset;
    o.signalled = initialState;
    return true;
  });
}

Handle OpenEvent(std::u16string_view name) { return CreateOrOpen(name, kEvent, false, true, kNothingToSetUp); }

namespace {
bool SetEventState(Handle event, bool state) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  Table* t = Acquire(me);
  if (!t) return false;
  Object* o = Resolve(me, t, event, kEvent);
  if (!o) {
    Release(me, t);
    return Fail(win32::kInvalidHandle);
  }
  o->signalled = state;
  if (state) BumpAndWake(t);
  Unlock(t);
  return true;
}
}  // namespace

bool SetEvent(Handle event) { return SetEventState(event, true); }
bool ResetEvent(Handle event) { return SetEventState(event, false); }

// --- waiting ----------------------------------------------------------------

uint32_t WaitForObject(Handle object, uint32_t timeoutMs) { return WaitForObjects({&object, 1}, false, timeoutMs); }

uint32_t WaitForObjects(std::span<const Handle> objects, bool all, uint32_t timeoutMs) {
  if (objects.empty() || objects.size() > kMaximumWaitObjects) {
    SetLastError(win32::kInvalidParameter);
    return kWaitFailed;
  }
  Local& me = Me();
  // Read at the first time the wait has to block: most waits do not.
  uint64_t start = 0;
  uint64_t lastCheck = 0;
  while (true) {
    std::unique_lock guard(me.mutex);
    Table* t = Acquire(me);
    if (!t) return kWaitFailed;
    // On the stack: a wait is on the path of every read and write of a block.
    Object* setArray[kMaximumWaitObjects];
    std::span<Object*> set(setArray, objects.size());
    size_t filled = 0;
    for (Handle h : objects) {
      Object* o = Resolve(me, t, h, kFree);
      if (!o || o->kind == kMapping) {
        Release(me, t);
        SetLastError(win32::kInvalidHandle);
        return kWaitFailed;
      }
      set[filled++] = o;
    }
    if (all) {
      // The same mutex twice is fine; the same semaphore twice needs two counts: Windows refuses both.
      for (size_t i = 0; i < set.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
          if (set[j] == set[i]) {
            Release(me, t);
            SetLastError(win32::kInvalidParameter);
            return kWaitFailed;
          }
        }
      }
      bool ready = true;
      for (size_t i = 0; i < set.size() && ready; ++i) ready = Signalled(me, *set[i]);
      if (ready) {
        uint32_t result = kWaitObject0;
        for (size_t i = 0; i < set.size(); ++i) {
          if (Take(me, *set[i]) && result == kWaitObject0) result = kWaitAbandoned0 + static_cast<uint32_t>(i);
        }
        Unlock(t);
        return result;
      }
    } else {
      for (size_t i = 0; i < set.size(); ++i) {
        if (!Signalled(me, *set[i])) continue;
        const bool abandoned = Take(me, *set[i]);
        Unlock(t);
        return (abandoned ? kWaitAbandoned0 : kWaitObject0) + static_cast<uint32_t>(i);
      }
    }
    const uint64_t now = NowMs();
    if (start == 0) start = lastCheck = now;
    const uint64_t elapsed = now - start;
    if (timeoutMs != kInfinite && elapsed >= timeoutMs) {
      Unlock(t);
      return kWaitTimeout;
    }
    // A mutex held by another process: that process may have died, and the
    // dead wake nobody, so look again now and then.
    bool ownedElsewhere = false;
    for (Object* o : set) ownedElsewhere |= o->kind == kMutex && o->ownerPid != 0 && !OwnedByMe(me, *o);
    if (ownedElsewhere && now - lastCheck >= kOwnerCheckMs) {
      lastCheck = now;
      bool changed = false;
      for (Object* o : set) {
        if (o->kind == kMutex && !OwnedByMe(me, *o) && OwnerGone(me, *o)) {
          Abandon(t, *o);
          changed = true;
        }
      }
      if (changed) {
        Unlock(t);
        continue;
      }
    }
    uint32_t sleep = timeoutMs == kInfinite ? 1000 : static_cast<uint32_t>(timeoutMs - elapsed);
    if (ownedElsewhere) sleep = std::min(sleep, kOwnerCheckMs);
    const uint32_t seen = t->sequence.load(std::memory_order_acquire);
    t->sleepers.fetch_add(1, std::memory_order_acq_rel);
    Unlock(t);
    guard.unlock();
    SleepOn(t, seen, std::max<uint32_t>(sleep, 1));
    t->sleepers.fetch_sub(1, std::memory_order_acq_rel);
  }
}

bool CloseHandle(Handle object) {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  RefreshProcess(me);
  auto it = me.handles.find(object);
  if (it == me.handles.end()) return Fail(win32::kInvalidHandle);
  const uint32_t index = it->second.index;
  me.handles.erase(it);
  Table* t = Acquire(me);
  if (!t) return false;
  DropHolder(me, t, t->objects[index]);
  Reclaim(me, t);
  Release(me, t);
  return true;
}

uint32_t CurrentProcessId() { return static_cast<uint32_t>(getpid()); }

std::string SharedMemoryStem() {
  Local& me = Me();
  std::lock_guard guard(me.mutex);
  RefreshProcess(me);
  if (!me.tableName[0] || (me.handles.empty() && me.views.empty())) NameTable(me);
  return std::string(me.stem);
}

}  // namespace kp::platform::named
