// A directory of the test's own, made with a unique name under the system's
// temporary directory and removed with everything in it when the test ends:
// two users (or two runs) never write the same path.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kp::test {

class TempDir {
 public:
  explicit TempDir(const std::string& tag = "kp-test") {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/" + tag + "-XXXXXX";
    if (mkdtemp(pattern.data())) path_ = pattern;
    EXPECT_FALSE(path_.empty()) << "cannot make a temporary directory from " << pattern;
  }
  ~TempDir() {
    if (path_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  bool ok() const { return !path_.empty(); }
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace kp::test
