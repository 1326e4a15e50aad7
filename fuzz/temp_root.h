// The fuzz targets' device root: a directory of their own, made with a
// unique name under the system's temporary directory and removed, with
// everything the run wrote in it, when the fuzzer exits.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kp::fuzz {

inline std::string& TempRootPath() {
  static std::string path;
  return path;
}

// Makes the directory and points KP_PREFIX at it; aborts when it cannot.
inline std::string MakeTempRoot(const char* tag) {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/kp-fuzz-" + tag + "-XXXXXX";
  if (!mkdtemp(pattern.data())) abort();
  TempRootPath() = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(TempRootPath(), ignored);
  });
  setenv("KP_PREFIX", pattern.c_str(), 1);
  return pattern;
}

}  // namespace kp::fuzz
