// fLitLigne's line reader on random file contents, in ANSI and UTF-16 modes:
// every call makes progress, no line holds the CR LF pair, and joining the
// lines with CR LF gives the file back (ANSI mode, single-byte code page).
#include <stdlib.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "files/file_io.h"
#include "platform/filesystem.h"
#include "project/stream.h"
#include "temp_root.h"

namespace {

std::string gRoot;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const std::string root = kp::fuzz::MakeTempRoot("lines");
  setenv("KP_CODEPAGE", "28591", 1);  // ISO-8859-1: every byte is one character
  gRoot = root + "/fs/";
  kp::platform::fs::CreateDirectory(u"\\x");  // makes the device root
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::ofstream(gRoot + "f.txt", std::ios::binary) << bytes;
  for (bool unicode : {false, true}) {
    kp::project::IXStream stream;
    if (!stream.Open(u"\\f.txt", kp::platform::fs::kGenericRead, 3, kp::platform::fs::kOpenExisting, 0)) abort();
    std::u16string joined;
    bool first = true;
    while (stream.Position() < static_cast<int64_t>(size)) {
      const int64_t before = stream.Position();
      std::u16string line;
      if (!kp::files::AssembleLine(stream, unicode, &line)) abort();
      if (stream.Position() <= before) abort();
      if (line.find(u"\r\n") != std::u16string::npos && !unicode) abort();
      if (!first) joined += u"\r\n";
      joined += line;
      first = false;
    }
    if (!unicode) {
      std::u16string expected(bytes.begin(), bytes.end());
      for (char16_t& c : expected) c = static_cast<char16_t>(static_cast<unsigned char>(c));
      if (expected.size() >= 2 && expected.ends_with(u"\r\n")) expected.resize(expected.size() - 2);
      if (joined != expected) abort();
    }
  }
  return 0;
}
