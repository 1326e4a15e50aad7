// Décompresse of arbitrary bytes (half of them behind a valid header), with a small output limit so that bombs
// are met quickly: never more than the limit, never a crash; a stream that
// inflates is one zlib accepts too, with the same bytes.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "encoding/compress.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kLimit = 1 << 16;
  // Half the inputs get a valid zlib header, so that the deflate data
  // behind it is explored and not only the header check.
  std::vector<uint8_t> framed;
  if (size > 0 && (data[0] & 1)) {
    framed = {0x78, 0x9c};
    framed.insert(framed.end(), data + 1, data + size);
    data = framed.data();
    size = framed.size();
  }
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
