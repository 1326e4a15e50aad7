// A fresh device prefix per test: the registry database and the device files
// start empty.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "support/fake_context.h"

namespace kp::test {

class FreshDevice : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/kp-reg-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    const char* old = getenv("KP_PREFIX");
    saved_ = old ? old : "";
    hadPrefix_ = old != nullptr;
    setenv("KP_PREFIX", dir_.c_str(), 1);
  }
  void TearDown() override {
    if (hadPrefix_)
      setenv("KP_PREFIX", saved_.c_str(), 1);
    else
      unsetenv("KP_PREFIX");
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  std::string HostFile(const std::string& relative) const { return dir_ + "/fs/" + relative; }

  std::string dir_;
  std::string saved_;
  bool hadPrefix_ = false;
  FakeContext ctx_;
};

}  // namespace kp::test
