// kp160std — the C library's broken-down time from a SystemTime.
#pragma once

#include <time.h>

#include "platform/platform.h"

namespace kp::platform {

// A local time for mktime, which decides daylight saving itself.
inline tm ToLocalTm(const SystemTime& t) {
  tm local{};
  local.tm_year = t.year - 1900;
  local.tm_mon = t.month - 1;
  local.tm_mday = t.day;
  local.tm_hour = t.hour;
  local.tm_min = t.minute;
  local.tm_sec = t.second;
  local.tm_isdst = -1;
  return local;
}

}  // namespace kp::platform
