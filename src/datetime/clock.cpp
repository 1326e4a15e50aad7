// kp160std — reading and setting the device clock.
#include "datetime/clock.h"

#include <cstdio>

#include "platform/platform.h"

namespace kp::datetime {

std::u16string SystemDate(ExecContext*) {
  const auto t = platform::GetLocalTime();
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", t.year, t.month, t.day);
  return std::u16string(text, text + 8);
}

}  // namespace kp::datetime
