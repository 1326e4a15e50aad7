// Opening, listing and extracting an archive made of arbitrary bytes (half of
// them behind a valid end record, so that the central directory is explored),
// and counting its parts, which reads the records with our own code: never a
// crash, a read outside the buffer, or an allocation the input's size does
// not bound.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "archive/archive.h"
#include "temp_root.h"
#include "support/fake_context.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string root = kp::fuzz::MakeTempRoot("zip") + "/fs";
  std::filesystem::create_directories(root + "/out");
  std::string bytes(reinterpret_cast<const char*>(data), size);
  if (size > 0 && (data[0] & 1)) {
    // An end record pointing at the start: the rest is read as the directory.
    const uint32_t cd = static_cast<uint32_t>(size);
    const uint16_t entries = static_cast<uint16_t>(size > 1 ? data[1] % 8 : 1);
    const char end[22] = {'P', 'K', 5, 6, 0, 0, 0, 0, static_cast<char>(entries), 0, static_cast<char>(entries), 0,
                          static_cast<char>(cd), static_cast<char>(cd >> 8), static_cast<char>(cd >> 16),
                          static_cast<char>(cd >> 24), 0, 0, 0, 0, 0, 0};
    bytes.append(end, sizeof end);
  }
  {
    std::ofstream out(root + "/in.zip", std::ios::binary | std::ios::trunc);
    if (!out) abort();
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  kp::test::FakeContext context;
  if (kp::archive::Open(context, u"f", u"\\in.zip", {}) == 0) {
    const int32_t count = kp::archive::FileCount(context, u"f");
    kp::archive::ListFiles(context, u"f");
    for (int32_t i = 1; i <= count && i <= 64; ++i) {
      kp::archive::InfoFileAt(context, u"f", i);
      kp::archive::FileSizeAt(context, u"f", i, true);
    }
    kp::archive::FindFile(context, u"f", u"*a*", 1, false);
    kp::archive::PartsNeeded(context, u"f", 65536, 65536);
    kp::archive::ExtractAll(context, u"f", u"\\out");
    kp::archive::Close(context, u"f");
  }
  std::error_code ignored;
  std::filesystem::remove_all(root + "/out", ignored);
  return 0;
}
