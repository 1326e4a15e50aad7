// kp160std — the object table behind the POSIX named kernel objects: mapping
// and locking it, naming it from the device prefix, and telling the holders
// that died from the living (by pid and process start time) so that what
// they held is reclaimed. See named_objects.cpp for the design.
#include "platform/posix/named_table.h"

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
#include "platform/win32_errors.h"

namespace kp::platform::named::table {

namespace {

// Bumped in a forked child, so that neither the process's identity nor a
// thread's has to be asked of the system at every call.
std::atomic<uint32_t> gForkGeneration{1};
void AfterForkInChild() { gForkGeneration.fetch_add(1, std::memory_order_relaxed); }

std::atomic<bool> gUsed{false};

}  // namespace

Local& Me() {
  // Never destroyed (handles may be closed from other destructors at exit
  // or unload), and in static storage rather than on the heap.
  alignas(Local) static unsigned char storage[sizeof(Local)];
  static Local* local = [] {
    pthread_atfork(nullptr, nullptr, AfterForkInChild);
    gUsed.store(true, std::memory_order_relaxed);
    return new (storage) Local;
  }();
  return *local;
}

// Cached per thread; a forked child's thread has an identifier of its own.
int64_t ThreadId() {
  thread_local uint32_t generation = 0;
  thread_local int64_t id = 0;
  const uint32_t now = gForkGeneration.load(std::memory_order_relaxed);
  if (generation != now) {
#ifdef __linux__
    id = static_cast<int64_t>(syscall(SYS_gettid));
#else
    id = static_cast<int64_t>(reinterpret_cast<uintptr_t>(pthread_self()));
#endif
    generation = now;
  }
  return id;
}

namespace {

// The process's start time in clock ticks since boot; 0 when it is gone.
uint64_t ProcessStamp(pid_t pid) {
  if (kill(pid, 0) != 0 && errno == ESRCH) return 0;
#ifdef __linux__
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  FILE* f = std::fopen(path, "re");
  if (!f) return 0;
  char buffer[1024];
  const size_t n = std::fread(buffer, 1, sizeof buffer - 1, f);
  std::fclose(f);
  buffer[n] = 0;
  // After the command in brackets, which may hold anything: field 3 on.
  const char* p = std::strrchr(buffer, ')');
  if (!p) return 0;
  ++p;
  // A zombie has died: what it held is free.
  int field = 2;
  while (*p && field < 22) {
    while (*p == ' ') ++p;
    ++field;
    if (field == 3 && *p == 'Z') return 0;
    if (field == 22) return std::strtoull(p, nullptr, 10) + 1;
    while (*p && *p != ' ') ++p;
  }
  return 0;
#else
  return 1;
#endif
}

uint64_t Fnv1a(std::string_view s) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : s) {
    h ^= c;
    h *= 1099511628211ull;
  }
  return h;
}

}  // namespace

void BumpAndWake(Table* t) {
  t->sequence.fetch_add(1, std::memory_order_release);
#ifdef __linux__
  if (t->sleepers.load(std::memory_order_acquire) == 0) return;
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&t->sequence), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
#endif
}

void SleepOn(Table* t, uint32_t seen, uint32_t ms) {
#ifdef __linux__
  timespec ts{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&t->sequence), FUTEX_WAIT, seen, &ts, nullptr, 0);
#else
  (void)t;
  (void)seen;
  std::this_thread::sleep_for(std::chrono::milliseconds(std::min<uint32_t>(ms, 2)));
#endif
}

bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

// --- the table ----------------------------------------------------------

void Lock(Table* t) {
  const int r = pthread_mutex_lock(&t->lock);
  // Its holder died in the middle of an update: every update leaves the
  // table usable at each step, so it is taken as it is.
  if (r == EOWNERDEAD) pthread_mutex_consistent(&t->lock);
}

void Unlock(Table* t) { pthread_mutex_unlock(&t->lock); }

void RefreshProcess(Local& me) {
  const uint32_t generation = gForkGeneration.load(std::memory_order_relaxed);
  if (generation == me.generation) return;
  // The first call, or a forked child: the parent's handles are not its own.
  me.generation = generation;
  const pid_t pid = getpid();
  me.pid = pid;
  me.stamp = ProcessStamp(pid);
  me.handles.clear();
  me.views.clear();
  me.table = nullptr;
  me.tableName[0] = 0;
}

void NameTable(Local& me) {
  std::string dir = DeviceDirectory();
  if (char* real = realpath(dir.c_str(), nullptr)) {
    dir = real;
    std::free(real);
  }
  char stem[64];
  std::snprintf(stem, sizeof stem, "kp160std-%u-%016llx", static_cast<unsigned>(kLayout),
                static_cast<unsigned long long>(Fnv1a(dir)));
  std::snprintf(me.stem, sizeof me.stem, "%s", stem);
  std::snprintf(me.tableName, sizeof me.tableName, "/%s", stem);
}

std::string SegmentName(const Local& me, uint64_t segment) {
  return std::string(me.tableName) + "-m" + std::to_string(segment);
}

namespace {

Table* MapTable(const std::string& name, bool* created) {
  *created = false;
  int fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd >= 0) {
    *created = true;
  } else if (errno == EEXIST) {
    fd = shm_open(name.c_str(), O_RDWR | O_CLOEXEC, 0600);
  }
  if (fd < 0) return nullptr;
  if (*created && ftruncate(fd, sizeof(Table)) != 0) {
    const int e = errno;
    close(fd);
    shm_unlink(name.c_str());
    errno = e;
    return nullptr;
  }
  if (!*created) {
    // The creator may still be sizing it.
    struct stat st {};
    for (int i = 0; i < 2000; ++i) {
      if (fstat(fd, &st) == 0 && static_cast<size_t>(st.st_size) >= sizeof(Table)) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (static_cast<size_t>(st.st_size) < sizeof(Table)) {
      close(fd);
      errno = EAGAIN;
      return nullptr;
    }
  }
  void* p = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  const int e = errno;
  close(fd);
  if (p == MAP_FAILED) {
    errno = e;
    return nullptr;
  }
  auto* t = static_cast<Table*>(p);
  if (*created) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&t->lock, &attr);
    pthread_mutexattr_destroy(&attr);
    t->layout = kLayout;
    t->nextSegment = 1;
    t->nextAnonymous = 1;
    t->magic.store(kMagic, std::memory_order_release);
    return t;
  }
  for (int i = 0; i < 2000 && t->magic.load(std::memory_order_acquire) != kMagic; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  if (t->magic.load(std::memory_order_acquire) != kMagic || t->layout != kLayout) {
    // Its creator died before setting it up, or another layout: start over.
    munmap(t, sizeof(Table));
    shm_unlink(name.c_str());
    errno = EAGAIN;
    return nullptr;
  }
  return t;
}

}  // namespace

// The table, locked; null (with the last error set) when it cannot be had.
// Called with the process's mutex held.
Table* Acquire(Local& me) {
  RefreshProcess(me);
  // A process that holds nothing may have moved to another prefix (tests do).
  if (!me.tableName[0] || (me.handles.empty() && me.views.empty())) {
    if (me.table) {
      munmap(me.table, sizeof(Table));
      me.table = nullptr;
    }
    NameTable(me);
  }
  for (int attempt = 0; attempt < 20; ++attempt) {
    if (!me.table) {
      bool created = false;
      me.table = MapTable(std::string(me.tableName), &created);
      if (!me.table) {
        if (errno == EAGAIN) continue;
        SetLastError(Win32FromErrno(errno));
        return nullptr;
      }
    }
    Lock(me.table);
    if (!me.table->dead) return me.table;
    Unlock(me.table);
    munmap(me.table, sizeof(Table));
    me.table = nullptr;
  }
  SetLastError(win32::kGenFailure);
  return nullptr;
}

// When the table holds no object any more it is unlinked; this process
// drops its mapping. Called locked; unlocks.
void Release(Local& me, Table* t) {
  if (me.handles.empty() && me.views.empty()) me.stamps.clear();
  if (t->inUse == 0) {
    t->dead = 1;
    shm_unlink(me.tableName);
    Unlock(t);
    munmap(t, sizeof(Table));
    me.table = nullptr;
    return;
  }
  Unlock(t);
}

namespace {

void DestroyObject(Local& me, Table* t, Object& o) {
  if (o.kind == kMapping) shm_unlink(SegmentName(me, o.segment).c_str());
  const bool wake = o.kind != kMapping;
  std::memset(&o, 0, sizeof o);
  if (t->inUse > 0) --t->inUse;
  if (wake) BumpAndWake(t);
}

}  // namespace

void Abandon(Table* t, Object& o) {
  o.ownerPid = 0;
  o.ownerStamp = 0;
  o.ownerThread = 0;
  o.recursion = 0;
  o.abandoned = 1;
  BumpAndWake(t);
}

uint64_t NowMs() {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

namespace {

// Whether the holder recorded as {pid, stamp} still runs. A process that is
// gone is seen at once; the start time of one that runs is read from /proc
// at most every 100 ms, so that a scan of the table stays cheap.
bool Alive(Local& me, int32_t pid, uint64_t stamp) {
  if (pid == me.pid) return stamp == me.stamp;
  if (kill(pid, 0) != 0 && errno == ESRCH) {
    me.stamps.erase(pid);
    return false;
  }
  const uint64_t now = NowMs();
  auto it = me.stamps.find(pid);
  if (it == me.stamps.end() || now - it->second.second >= 100) {
    if (me.stamps.size() > 4096) me.stamps.clear();
    it = me.stamps.insert_or_assign(pid, std::pair<uint64_t, uint64_t>{ProcessStamp(pid), now}).first;
  }
  return it->second.first != 0 && it->second.first == stamp;
}

}  // namespace

// Whether the owner of a mutex is gone: its process, or only its thread
// (Windows abandons a mutex whose owning thread ends, too).
bool OwnerGone(Local& me, const Object& o) {
  if (o.ownerPid == 0) return false;
  if (!Alive(me, o.ownerPid, o.ownerStamp)) return true;
#ifdef __linux__
  return syscall(SYS_tgkill, o.ownerPid, static_cast<pid_t>(o.ownerThread), 0) != 0 && errno == ESRCH;
#else
  return false;
#endif
}

// Takes away what dead processes held. Called locked.
void Reclaim(Local& me, Table* t) {
  for (Object& o : t->objects) {
    if (o.kind == kFree) continue;
    for (uint32_t i = 0; i < o.holderCount;) {
      if (Alive(me, o.holders[i].pid, o.holders[i].stamp)) {
        ++i;
        continue;
      }
      o.holders[i] = o.holders[--o.holderCount];
    }
    if (o.kind == kMutex && OwnerGone(me, o)) Abandon(t, o);
    if (o.holderCount == 0) DestroyObject(me, t, o);
  }
}

bool AddHolder(Local& me, Object& o) {
  for (uint32_t i = 0; i < o.holderCount; ++i) {
    if (o.holders[i].pid == me.pid && o.holders[i].stamp == me.stamp) {
      ++o.holders[i].count;
      return true;
    }
  }
  if (o.holderCount >= kMaxHolders) return Fail(win32::kNotEnoughMemory);
  o.holders[o.holderCount++] = Holder{me.pid, 1, me.stamp};
  return true;
}

// Drops one reference of this process; the object goes with its last one.
void DropHolder(Local& me, Table* t, Object& o) {
  for (uint32_t i = 0; i < o.holderCount; ++i) {
    if (o.holders[i].pid != me.pid || o.holders[i].stamp != me.stamp) continue;
    if (--o.holders[i].count == 0) o.holders[i] = o.holders[--o.holderCount];
    break;
  }
  if (o.holderCount == 0) DestroyObject(me, t, o);
}

// Checks the name: at most 260 characters, and no backslash but the one
// that ends a "Local", "Global" or "Session\<n>" scope.
bool NameAllowed(std::u16string_view name) {
  if (name.size() > kMaxNameLength) return Fail(win32::kFilenameExcedRange);
  std::u16string_view rest = name;
  for (std::u16string_view scope : {std::u16string_view(u"Local\\"), std::u16string_view(u"Global\\")}) {
    if (rest.substr(0, scope.size()) == scope) {
      rest.remove_prefix(scope.size());
      break;
    }
  }
  if (rest.find(u'\\') != std::u16string_view::npos) return Fail(win32::kBadPathname);
  // A scope without a name after it.
  if (rest.empty() && rest.size() != name.size()) return Fail(win32::kInvalidName);
  return true;
}

Object* Find(Table* t, std::u16string_view name) {
  for (Object& o : t->objects) {
    if (o.kind != kFree && o.nameLength == name.size() && std::u16string_view(o.name, o.nameLength) == name) return &o;
  }
  return nullptr;
}

Handle AddLocal(Local& me, uint32_t index, uint32_t kind, bool writable) {
  const Handle h = me.nextHandle;
  me.nextHandle += 4;
  me.handles[h] = LocalHandle{index, kind, writable};
  return h;
}

uint32_t IndexOf(Table* t, const Object& o) { return static_cast<uint32_t>(&o - t->objects); }

// The object of a handle of this process, of the wanted kind (kFree: any).
Object* Resolve(Local& me, Table* t, Handle h, uint32_t kind, LocalHandle** local) {
  auto it = me.handles.find(h);
  if (it == me.handles.end() || (kind != kFree && it->second.kind != kind)) {
    SetLastError(win32::kInvalidHandle);
    return nullptr;
  }
  if (local) *local = &it->second;
  return &t->objects[it->second.index];
}

bool OwnedByMe(const Local& me, const Object& o) {
  return o.ownerPid == me.pid && o.ownerStamp == me.stamp && o.ownerThread == ThreadId();
}

bool Signalled(const Local& me, const Object& o) {
  switch (o.kind) {
    case kMutex: return o.ownerPid == 0 || OwnedByMe(me, o);
    case kSemaphore: return o.count > 0;
    case kEvent: return o.signalled != 0;
    default: return false;
  }
}

// Takes a signalled object; true when it was an abandoned mutex.
bool Take(const Local& me, Object& o) {
  switch (o.kind) {
    case kMutex: {
      const bool abandoned = o.abandoned != 0;
      o.abandoned = 0;
      o.ownerPid = me.pid;
      o.ownerStamp = me.stamp;
      o.ownerThread = ThreadId();
      ++o.recursion;
      return abandoned;
    }
    case kSemaphore: --o.count; return false;
    case kEvent:
      if (!o.manualReset) o.signalled = 0;
      return false;
    default: return false;
  }
}

namespace {

// A process that ends (or unloads the library) with handles or views still
// open lets them go, as Windows closes a process's handles: otherwise its
// objects would stay in /dev/shm until another process of the prefix looked.
struct ProcessEnd {
  ~ProcessEnd() {
    if (!gUsed.load(std::memory_order_relaxed)) return;
    Local& me = Me();
    std::lock_guard guard(me.mutex);
    RefreshProcess(me);
    if (me.handles.empty() && me.views.empty()) return;
    Table* t = Acquire(me);
    if (!t) return;
    for (const auto& [handle, local] : me.handles) DropHolder(me, t, t->objects[local.index]);
    // The views stay mapped: code that runs after this may still touch them.
    for (const auto& [view, v] : me.views) DropHolder(me, t, t->objects[v.index]);
    me.handles.clear();
    me.views.clear();
    Reclaim(me, t);
    Release(me, t);
  }
} gProcessEnd;

}  // namespace

}  // namespace kp::platform::named::table
