// The duration parser without a mask, both forms. Invariant: a parsed
// millisecond-form duration prints back to a string that parses to the same
// value.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "datetime/format.h"

using namespace kp::datetime;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text(data, data + size);
  for (int32_t form : {0, 1}) {
    const int64_t v = StringToDuration(nullptr, text, form).milliseconds;
    const std::u16string printed = DurationToString(nullptr, v, form);
    if (printed.size() > 24) std::abort();
    if (form == 0 && StringToDuration(nullptr, printed, 0).milliseconds != v) std::abort();
  }
  if (size >= 8) {
    int64_t v = 0;
    for (int i = 0; i < 8; ++i) v |= static_cast<int64_t>(data[i]) << (8 * i);
    if (StringToDuration(nullptr, DurationToString(nullptr, v, 0), 0).milliseconds != v) std::abort();
  }
  return 0;
}
