// A fresh device prefix per test (KP_PREFIX in a new temporary directory),
// helpers to put host files under its device root, and the file table
// emptied before and after.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "files/handles.h"
#include "platform/filesystem.h"
#include "support/fake_context.h"
#include "support/temp_dir.h"

namespace kp::test {

class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(tmp_.ok());
    dir_ = tmp_.path();
    Save("KP_PREFIX", &savedPrefix_);
    Save("KP_NATIVE_ROOT", &savedNative_);
    Save("KP_CODEPAGE", &savedCodePage_);
    setenv("KP_PREFIX", dir_.c_str(), 1);
    unsetenv("KP_NATIVE_ROOT");
    unsetenv("KP_CODEPAGE");
    std::filesystem::create_directories(dir_ + "/fs");
    files::Handles().CloseAll();
  }
  void TearDown() override {
    files::Handles().CloseAll();
    Restore("KP_PREFIX", savedPrefix_);
    Restore("KP_NATIVE_ROOT", savedNative_);
    Restore("KP_CODEPAGE", savedCodePage_);
    std::error_code ignored;
    // Read-only directories would stop the clean-up.
    for (auto& e : std::filesystem::recursive_directory_iterator(dir_, ignored))
      std::filesystem::permissions(e.path(), std::filesystem::perms::owner_all, std::filesystem::perm_options::add,
                                   ignored);
  }

  std::string Host(const std::string& relative) const { return dir_ + "/fs/" + relative; }
  void PutFile(const std::string& relative, const std::string& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(Host(relative)).parent_path());
    std::ofstream(Host(relative), std::ios::binary) << bytes;
  }
  std::string GetFile(const std::string& relative) const {
    std::ifstream in(Host(relative), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  bool HostExists(const std::string& relative) const { return std::filesystem::exists(Host(relative)); }
  // What is left to read through a handle of the file system seam.
  static std::string ReadAll(platform::fs::FileHandle f) {
    std::string out;
    char buffer[64];
    uint32_t got = 0;
    while (platform::fs::ReadFile(f, buffer, sizeof buffer, &got) && got > 0) out.append(buffer, got);
    return out;
  }

  TempDir tmp_{"kp-files"};  // removed with everything in it after TearDown
  std::string dir_;
  FakeContext ctx_;

 private:
  struct Saved {
    bool had = false;
    std::string value;
  };
  static void Save(const char* name, Saved* s) {
    const char* v = getenv(name);
    s->had = v != nullptr;
    s->value = v ? v : "";
  }
  static void Restore(const char* name, const Saved& s) {
    if (s.had)
      setenv(name, s.value.c_str(), 1);
    else
      unsetenv(name);
  }
  Saved savedPrefix_, savedNative_, savedCodePage_;
};

}  // namespace kp::test
