// Décrypte's container reader on arbitrary bytes: never a crash, never plain
// text without a valid tag. The iteration count is capped low here so that
// each input takes microseconds (the format check comes first: a container
// whose count is above the cap is refused like any other bad header).
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "encoding/crypt.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size >= 12) {
    const uint32_t iterations = data[8] | data[9] << 8 | data[10] << 16 | uint32_t{data[11]} << 24;
    if (iterations > 16) return 0;
  }
  kp::Bytes content;
  uint8_t kind = 0xff;
  const auto status = kp::encoding::Open({data, size}, "password", &content, &kind);
  // Random bytes essentially never carry a valid tag; a bug that skipped
  // the check would hand content out.
  if (status != kp::encoding::OpenStatus::kOk && !content.empty()) __builtin_trap();
  if (status == kp::encoding::OpenStatus::kOk && kind > 2) __builtin_trap();
  return 0;
}
