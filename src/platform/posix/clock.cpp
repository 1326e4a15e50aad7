// kp160std — the device clock on POSIX.
//
// The device clock is the host's clock plus an offset in milliseconds, kept
// in the device prefix, so that a KL program may set the date and time
// without privileges and every process on the same device sees the change.
// Local time is universal time less the bias of the device's zone record
// (timezone.h), as the universal/local conversions compute it.
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/platform.h"
#include "platform/posix/broken_down_time.h"
#include "platform/posix/device.h"
#include "platform/timezone.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

std::string OffsetPath() { return DeviceDirectory() + "/clock-offset"; }

int64_t ReadOffset() {
  FILE* f = std::fopen(OffsetPath().c_str(), "r");
  if (!f) return 0;
  long long v = 0;
  if (std::fscanf(f, "%lld", &v) != 1) v = 0;
  std::fclose(f);
  return v;
}

bool WriteOffset(int64_t offset) {
  const std::string path = OffsetPath();
  const std::string temp = path + ".tmp." + std::to_string(getpid());
  FILE* f = std::fopen(temp.c_str(), "w");
  if (!f) return false;
  const bool ok = std::fprintf(f, "%lld\n", static_cast<long long>(offset)) > 0;
  if (std::fclose(f) != 0 || !ok) {
    std::remove(temp.c_str());
    return false;
  }
  return std::rename(temp.c_str(), path.c_str()) == 0;  // atomic for readers
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
