// diffApplique on arbitrary patches: the first input byte picks an original
// among a few, the rest is the patch, preceded by a valid header for that
// original half of the time so the instruction reader is reached. Never a
// crash or a read outside the original, and a result only when its size
// and CRC are the ones the header promises.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "encoding/binary_diff.h"
#include "encoding/crc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::vector<uint8_t> original(static_cast<size_t>(data[0]) * 7);
  for (size_t i = 0; i < original.size(); ++i) original[i] = static_cast<uint8_t>(i * 31 + 7);
  std::vector<uint8_t> patch;
  if (data[0] & 1) {
    // A valid header, then the fuzzer's instructions; the result's size and
    // CRC taken from the input when it has them.
    patch = kp::encoding::MakePatch(original, original, false);
    patch.resize(24);
    if (size >= 9) std::memcpy(&patch[16], data + 1, 8);
    if (size > 9) patch.insert(patch.end(), data + 9, data + size);
  } else {
    patch.assign(data + 1, data + size);
  }
  kp::Bytes out;
  const auto status = kp::encoding::ApplyPatch(original, patch, &out);
  if (status != kp::encoding::PatchStatus::kOk) {
    if (!out.empty()) __builtin_trap();
    return 0;
  }
  uint32_t n, crc;
  std::memcpy(&n, &patch[16], 4);
  std::memcpy(&crc, &patch[20], 4);
  if (out.size() != n || kp::encoding::Crc32(0, out) != crc) __builtin_trap();
  return 0;
}
