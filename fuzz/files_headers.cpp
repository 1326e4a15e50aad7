// The typed-file header and the project-file element header on random files:
// a reader either succeeds with consistent fields or fails with its error
// record filled, never crashes.
#include <stdlib.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "platform/filesystem.h"
#include "project/kvfile.h"
#include "project/stream.h"
#include "temp_root.h"

namespace {
std::string gRoot;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const std::string root = kp::fuzz::MakeTempRoot("headers");
  gRoot = root + "/fs/";
  kp::platform::fs::CreateDirectory(u"\\x");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 1024) return 0;
  const uint16_t supported = data[0] % 5;
  const uint32_t position = data[1] % 64;
  std::ofstream(gRoot + "h.bin", std::ios::binary).write(reinterpret_cast<const char*>(data + 2), size - 2);
  kp::project::IXStream stream;
  if (!stream.Open(u"\\h.bin", kp::platform::fs::kGenericRead, 3, kp::platform::fs::kOpenExisting, 0)) abort();
  kp::project::CKVFile kv(stream, nullptr);
  if (kv.ReadHeader(position, 0)) {
    if (kv.header().signature != kp::project::kKVSignature || kv.header().headerSize < 20) abort();
    if (kv.dataPosition() != position + static_cast<int64_t>(kv.header().headerSize)) abort();
  }
  kp::project::CEltProjetFile element(stream, nullptr, supported);
  if (element.ReadHeader(position)) {
    const uint16_t major = element.header().majorVersion;
    if (major == 0 && (element.header().versionWord & ~0xFu) != 0x2fff0u) abort();
    if (major == 1 && element.header().dataPosition != position + 32) abort();
  }
  int64_t link = 0;
  element.ReadLinkBefore(position, &link);
  return 0;
}
