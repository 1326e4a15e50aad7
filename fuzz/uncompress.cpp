// Décompresse of arbitrary bytes, with a small output limit so that bombs
// are met quickly: never more than the limit, never a crash; a stream that
// inflates is one zlib accepts too, with the same bytes.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "encoding/compress.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kLimit = 1 << 16;
  kp::Bytes out;
  const auto status = kp::encoding::Inflate({data, size}, kLimit, &out);
  if (out.size() > kLimit) __builtin_trap();
  if (status != kp::encoding::InflateStatus::kOk) {
    if (!out.empty()) __builtin_trap();
    return 0;
  }
  std::vector<uint8_t> theirs(kLimit + 1);
  uLongf length = static_cast<uLongf>(theirs.size());
  uLong consumed = static_cast<uLong>(size);
  if (uncompress2(theirs.data(), &length, data, &consumed) != Z_OK || consumed != size) __builtin_trap();
  theirs.resize(length);
  if (theirs != out) __builtin_trap();
  return 0;
}
