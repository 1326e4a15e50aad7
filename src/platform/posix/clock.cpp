// kp160std — the device clock on POSIX.
//
// The device clock is the host's clock plus an offset in milliseconds, kept
// in the device prefix, so that a KL program may set the date and time
// without privileges and every process on the same device sees the change.
// Local time is universal time less the bias of the device's zone record
// (timezone.h), as the universal/local conversions compute it.
//
// The offset lives in a 16-byte file, <prefix>/clock.map, that every process
// maps shared: a read of the clock is one atomic load, no system call, and a
// change made by another process is seen by the next read. The offset is one
// aligned 64-bit word, stored and loaded whole, so no sequence counter is
// needed: a reader sees the old offset or the new one, never a mix. The text
// file of earlier versions (<prefix>/clock-offset) gives the first value when
// the map is made, and is removed then. Deleting clock.map puts the device
// back on the host's clock.
//
// A prefix deleted and made again under the same name holds a new file: the
// mapping is checked against the name once a second (a stat costs more than
// the rest of the read), and at once before every change.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/platform.h"
#include "platform/posix/broken_down_time.h"
#include "platform/posix/device.h"
#include "platform/timezone.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

constexpr char kMagic[8] = {'K', 'P', 'C', 'L', 'O', 'C', 'K', '1'};

// The file's layout; the offset is 8-aligned within the page-aligned map.
struct SharedClock {
  char magic[8];
  int64_t offset;
};
static_assert(sizeof(SharedClock) == 16);
static_assert(std::atomic_ref<int64_t>::is_always_lock_free, "the offset must be one store for every process");

std::string MapPath(const std::string& directory) { return directory + "/clock.map"; }

// The text file of earlier versions, read only to start a new map from it.
int64_t ReadLegacyOffset(const std::string& directory) {
  FILE* f = std::fopen((directory + "/clock-offset").c_str(), "r");
  if (!f) return 0;
  long long v = 0;
  if (std::fscanf(f, "%lld", &v) != 1) v = 0;
  std::fclose(f);
  return v;
}

// Puts a complete map file in place unless one is there: written under a
// name of its own, then linked under the real one, so that no process ever
// maps a half-written file. `replace` renames it over a file found invalid.
bool CreateMapFile(const std::string& directory, bool replace) {
  const std::string path = MapPath(directory);
  const std::string temp = path + ".tmp." + std::to_string(getpid());
  const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  SharedClock initial{};
  std::memcpy(initial.magic, kMagic, sizeof kMagic);
  initial.offset = ReadLegacyOffset(directory);
  const bool written = write(fd, &initial, sizeof initial) == static_cast<ssize_t>(sizeof initial);
  const bool closed = close(fd) == 0;
  bool ok = written && closed;
  bool ours = false;
  if (ok) {
    ours = replace ? rename(temp.c_str(), path.c_str()) == 0 : link(temp.c_str(), path.c_str()) == 0;
    ok = ours || (!replace && errno == EEXIST);  // another process was first: theirs
  }
  unlink(temp.c_str());
  // The map holds the offset now: deleting it alone puts the clock back on
  // the host's, and an old offset cannot come back from the text file.
  if (ours) unlink((directory + "/clock-offset").c_str());
  return ok;
}

// This process's view of one device's map. Every field is guarded by
// gMutex; the offset itself is shared with the other processes.
struct Mapping {
  // Unmapped when the library is unloaded, so a VM that unloads it leaks
  // no mapping.
  ~Mapping() {
    if (shared) munmap(shared, sizeof(SharedClock));
  }
  std::string directory;
  SharedClock* shared = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
  int64_t checked = -1;  // the coarse monotonic second of the last check
};

std::mutex gMutex;
Mapping gMapping;

void Unmap() {
  if (gMapping.shared) munmap(gMapping.shared, sizeof(SharedClock));
  gMapping.shared = nullptr;
}

// Maps the directory's file, making it (and the prefix) first when `create`
// and it is missing or invalid. False leaves nothing mapped.
bool MapFile(const std::string& directory, bool create) {
  Unmap();
  const std::string path = MapPath(directory);
  for (int attempt = 0; attempt < 3; ++attempt) {
    const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
      if (errno != ENOENT || !create || !EnsureDeviceDirectory() || !CreateMapFile(directory, false)) return false;
      continue;
    }
    struct stat st {};
    void* at = MAP_FAILED;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= static_cast<off_t>(sizeof(SharedClock)))
      at = mmap(nullptr, sizeof(SharedClock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (at != MAP_FAILED && std::memcmp(static_cast<SharedClock*>(at)->magic, kMagic, sizeof kMagic) == 0) {
      gMapping.shared = static_cast<SharedClock*>(at);
      gMapping.device = st.st_dev;
      gMapping.inode = st.st_ino;
      return true;
    }
    if (at != MAP_FAILED) munmap(at, sizeof(SharedClock));
    // Short, foreign or damaged: a fresh one takes its place.
    if (!create || !CreateMapFile(directory, true)) return false;
  }
  return false;
}

int64_t CoarseSecond() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
  return ts.tv_sec;
}

// The mapping of the current prefix, checked against its name when `force`
// or when a second has passed; null when the prefix cannot hold one.
SharedClock* CurrentMapping(bool force) {
  std::string directory = DeviceDirectory();
  const int64_t second = CoarseSecond();
  if (directory != gMapping.directory) {
    Unmap();
    gMapping.directory = std::move(directory);
    force = true;
  } else if (second != gMapping.checked) {
    force = true;
  }
  if (!force) return gMapping.shared;
  gMapping.checked = second;
  if (gMapping.shared) {
    struct stat st {};
    if (stat(MapPath(gMapping.directory).c_str(), &st) == 0 && st.st_dev == gMapping.device &&
        st.st_ino == gMapping.inode)
      return gMapping.shared;
  }
  MapFile(gMapping.directory, true);
  return gMapping.shared;
}

int64_t ReadOffset() {
  std::lock_guard lock(gMutex);
  if (SharedClock* shared = CurrentMapping(false))
    return std::atomic_ref<int64_t>(shared->offset).load(std::memory_order_acquire);
  // No map (a prefix that cannot be written): the text file, if any.
  return ReadLegacyOffset(DeviceDirectory());
}

bool WriteOffset(int64_t offset) {
  std::lock_guard lock(gMutex);
  SharedClock* shared = CurrentMapping(true);
  if (!shared) return false;
  std::atomic_ref<int64_t>(shared->offset).store(offset, std::memory_order_release);
  return true;
}

int64_t HostMilliseconds() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

}  // namespace

SystemTime GetLocalTime() {
  const int64_t ms = HostMilliseconds() + ReadOffset();
  int64_t seconds = ms / 1000;
  int64_t rest = ms % 1000;
  if (rest < 0) {
    rest += 1000;
    --seconds;
  }
  SystemTime utc = FromSeconds(seconds);
  if (const auto bias = ZoneBias(utc, true)) seconds -= int64_t{*bias} * 60;
  SystemTime t = FromSeconds(seconds);
  t.milliseconds = static_cast<uint16_t>(rest);
  return t;
}

bool SetLocalTime(const SystemTime& t) {
  // As SetLocalTime refuses what a file time cannot hold: a date before 1601
  // or after 30827, or no date at all. The clock is left as it was.
  if (t.year < 1601 || t.year > 30827 || t.month < 1 || t.month > 12 || t.day < 1 ||
      t.day > MonthLength(t.year, t.month) || t.hour > 23 || t.minute > 59 || t.second > 59 || t.milliseconds > 999) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  const auto bias = ZoneBias(t, false);
  if (!bias) return false;
  const int64_t wanted = ToSeconds(t) + int64_t{*bias} * 60;
  const int64_t target = wanted * 1000 + t.milliseconds;
  if (!EnsureDeviceDirectory() || !WriteOffset(target - HostMilliseconds())) {
    SetLastError(win32::kAccessDenied);
    return false;
  }
  return true;
}

uint32_t TickCount() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000);
}

}  // namespace kp::platform
