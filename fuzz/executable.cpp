// The executable reader on arbitrary bytes, taken both as a whole file and as
// a version block alone: no crash, no read outside the input (ASan), and a
// fixed version only when the block carries its signature.
#include <cstddef>
#include <cstdint>

#include "system/executable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::basic_string_view<uint8_t> bytes(data, size);
  const kp::system::MemorySource file(bytes);
  (void)kp::system::ExecutableKind(file);
  for (const auto& v : {kp::system::ReadVersionResource(file), kp::system::ParseVersionBlock(bytes)}) {
    if (!v) continue;
    (void)v->String(u"FileVersion");
    for (const auto& t : v->tables)
      for (const auto& [name, value] : t.strings)
        if (!v->String(name)) __builtin_trap();  // every stored name is found again
  }
  return 0;
}
