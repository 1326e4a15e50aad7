// The path functions on random names: the device-relative form of a name
// never leaves the root (no empty, "." or ".." component, never absolute),
// and the name functions never crash or overrun their 260-character limit.
#include <stdlib.h>

#include <cstdint>
#include <string>

#include "files/paths.h"
#include "platform/filesystem.h"
#include "temp_root.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  kp::fuzz::MakeTempRoot("paths");
  kp::platform::fs::CreateDirectory(u"\\Dir");
  kp::platform::fs::CreateDirectory(u"\\Dir\\Sub");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 1200) return 0;
  std::u16string name;
  for (size_t i = 1; i + 1 < size; i += 2) name += static_cast<char16_t>(data[i] | (data[i + 1] << 8));
  if (auto relative = kp::platform::fs::DeviceRelativePath(name)) {
    if (relative->empty() || relative->front() == '/' || relative->back() == '/') abort();
    size_t start = 0;
    while (start <= relative->size()) {
      size_t end = relative->find('/', start);
      if (end == std::string::npos) end = relative->size();
      const std::string part = relative->substr(start, end - start);
      if (part.empty() || part == "." || part == "..") abort();
      start = end + 1;
    }
  }
  const std::u16string parent = kp::files::ParentDir(nullptr, name, data[0] & 1);
  if (parent.size() > 260) abort();
  kp::files::ExtractPath(nullptr, name, data[0] & 15);
  kp::platform::fs::FindData found;
  const auto h = kp::platform::fs::FindFirstFile(name, &found);
  kp::platform::fs::FindClose(h);
  kp::files::FileExists(nullptr, name);
  return 0;
}
