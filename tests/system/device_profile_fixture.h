// The fixture of the system information tests: a device prefix of the test's
// own with its device profile filled, and the registry edits the tests make
// to it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "files/files_fixture.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"

namespace kp::test {

class DeviceProfileTest : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    platform::sys::EnsureDeviceProfile();
  }

  // Values of HKEY_LOCAL_MACHINE, the key made when missing.
  static void Set(std::u16string_view key, std::u16string_view name, uint32_t type, const void* data, size_t size) {
    platform::reg::KeyHolder k;
    ASSERT_EQ(platform::reg::CreateKey(platform::reg::kLocalMachine, key, platform::reg::kAllAccess, k.out(), nullptr),
              0u);
    ASSERT_EQ(
        platform::reg::SetValue(k.get(), name, type, static_cast<const uint8_t*>(data), static_cast<uint32_t>(size)),
        0u);
  }
  static void SetDword(std::u16string_view key, std::u16string_view name, uint32_t v) {
    Set(key, name, platform::reg::kDword, &v, sizeof v);
  }
  static void SetText(std::u16string_view key, std::u16string_view name, std::u16string_view text) {
    std::u16string data(text);
    data.push_back(0);
    Set(key, name, platform::reg::kSz, data.data(), data.size() * 2);
  }
  static void Delete(std::u16string_view key, std::u16string_view name) {
    platform::reg::KeyHolder k;
    ASSERT_EQ(platform::reg::OpenKey(platform::reg::kLocalMachine, key, platform::reg::kAllAccess, k.out()), 0u);
    platform::reg::DeleteValue(k.get(), name);
  }
  static uint32_t GetDword(std::u16string_view key, std::u16string_view name) {
    platform::reg::KeyHolder k;
    EXPECT_EQ(platform::reg::OpenKey(platform::reg::kLocalMachine, key, platform::reg::kQueryValue, k.out()), 0u);
    uint32_t v = 0, type = 0, size = sizeof v;
    EXPECT_EQ(platform::reg::QueryValue(k.get(), name, &type, reinterpret_cast<uint8_t*>(&v), &size), 0u);
    EXPECT_EQ(type, platform::reg::kDword);
    return v;
  }
};

}  // namespace kp::test
