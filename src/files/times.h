// kp160std — file times (FILETIME, UTC) to the device's local calendar time
// and back, through the platform's zone bias.
//
// Thread-safety: pure; any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/platform.h"

namespace kp::files {

platform::SystemTime LocalFromFileTime(int64_t fileTime);
// nullopt when the fields do not make a date and time.
std::optional<int64_t> FileTimeFromLocal(const platform::SystemTime& local);

}  // namespace kp::files
