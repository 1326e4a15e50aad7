// kp160std — reading and setting the device clock.
#include "datetime/clock.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "abi/error.h"
#include "abi/vm.h"
#include "datetime/calendar.h"

namespace kp::datetime {
namespace {

// The anchor: each half is set once, guarded by its own flag; later updates
// are plain re-anchoring. Relaxed atomics only keep the races defined.
std::atomic<bool> gTickSet{false};
std::atomic<bool> gTimeSet{false};
std::atomic<uint32_t> gAnchorTick{0};
std::atomic<int64_t> gAnchorTime{0};

constexpr int64_t kDayMs = 86400000;
constexpr int64_t kMaxDriftMs = 2000;

void Anchor(uint32_t tick, int64_t now) {
  gAnchorTick.store(tick, std::memory_order_relaxed);
  gAnchorTime.store(now, std::memory_order_relaxed);
}

}  // namespace

int64_t InterpolatedMilliseconds(int64_t now, uint32_t tick) {
  if (!gTickSet.exchange(true, std::memory_order_relaxed)) gAnchorTick.store(tick, std::memory_order_relaxed);
  if (!gTimeSet.exchange(true, std::memory_order_relaxed)) gAnchorTime.store(now, std::memory_order_relaxed);
  const int64_t anchorTime = gAnchorTime.load(std::memory_order_relaxed);
  // Unsigned subtraction: the tick counter wraps at 2^32.
  const int64_t elapsed = static_cast<uint32_t>(tick - gAnchorTick.load(std::memory_order_relaxed));
  int64_t t = anchorTime + elapsed;
  const int64_t drift = std::llabs(elapsed - (now - anchorTime));
  if (t > kDayMs) {
    Anchor(tick, now);
    t = now;
  }
  // The drift is judged on the values from before a midnight re-anchoring.
  if (drift > kMaxDriftMs) {
    Anchor(tick, now);
    t = now;
  }
  return t;
}

void ResetClockAnchor() {
  gTickSet.store(false, std::memory_order_relaxed);
  gTimeSet.store(false, std::memory_order_relaxed);
}

std::u16string SystemDate(ExecContext*) {
  const auto t = platform::GetLocalTime();
  return FormatDate({t.year, t.month, t.day});
}

bool SetSystemDate(ExecContext* context, std::u16string_view date) {
  DateParts d;
  if (!ParseDate(date, d, context)) return false;
  auto t = platform::GetLocalTime();
  t.year = static_cast<uint16_t>(d.year);
  t.month = static_cast<uint16_t>(d.month);
  t.day = static_cast<uint16_t>(d.day);
  if (!platform::SetLocalTime(t)) {
    SetSystemError(context, platform::LastError());
    return false;
  }
  return true;
}

std::u16string SystemTime(ExecContext* context) {
  // The VM may refuse the clock (service question 9 answered 0): we then read
  // nothing and give the empty text, the failure value of a text result,
  // without an error.
  if (QueryService(context, kClockServiceQuestion) == 0) return {};
  const auto now = platform::GetLocalTime();
  const uint32_t tick = platform::TickCount();
  const int64_t ms = ((now.hour * 60 + now.minute) * 60 + now.second) * int64_t{1000} + now.milliseconds;
  const int64_t t = InterpolatedMilliseconds(ms, tick);
  const auto h = static_cast<int32_t>(t / 3600000);
  const auto m = static_cast<int32_t>(t % 3600000 / 60000);
  const auto s = static_cast<int32_t>(t % 60000 / 1000);
  const auto cc = static_cast<int32_t>(t % 1000 / 10);
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%02d%02d%02d%02d", h, m, s, cc);
  return Widen(std::string_view(text, static_cast<size_t>(length)));
}

bool SetSystemTime(ExecContext* context, std::u16string_view time) {
  TimeParts p;
  if (!ParseTime(time, p, nullptr)) return false;  // parse errors are not reported here
  auto t = platform::GetLocalTime();
  t.hour = static_cast<uint16_t>(p.hours);
  t.minute = static_cast<uint16_t>(p.minutes);
  t.second = static_cast<uint16_t>(p.seconds);
  t.milliseconds = static_cast<uint16_t>(p.milliseconds);
  if (!platform::SetLocalTime(t)) {
    SetSystemError(context, platform::LastError());
    return false;
  }
  return true;
}

}  // namespace kp::datetime
