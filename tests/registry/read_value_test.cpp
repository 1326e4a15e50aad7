// RegistreLit's one-read path (reg::ReadValue): at every depth, below the
// roots and past the eight names one path statement resolves, it gives what
// OpenKey + QueryValue give; a missing key or value still reads as before.
#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"
#include "registry/registry.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

namespace reg = platform::reg;

using RegistryReadValue = FreshDevice;

struct Read {
  uint32_t rc = 0;
  uint32_t type = 0;
  Bytes data;
};

// The same value the long way: open, ask the size, read, close.
Read ThroughHandle(reg::HKey root, std::u16string_view sub, std::u16string_view name) {
  Read out;
  reg::KeyHolder k;
  if ((out.rc = reg::OpenKey(root, sub, reg::kQueryValue, k.out()))) return out;
  uint32_t size = 0;
  if ((out.rc = reg::QueryValue(k.get(), name, &out.type, nullptr, &size))) return out;
  out.data.resize(size);
  out.rc = reg::QueryValue(k.get(), name, &out.type, out.data.data(), &size);
  return out;
}

TEST_F(RegistryReadValue, EveryDepthAgreesWithOpenAndQuery) {
  std::u16string sub;
  for (int depth = 0; depth <= 19; ++depth) {
    if (depth > 0) sub += (depth > 1 ? u"\\Level" : u"Level") + std::u16string(1, static_cast<char16_t>(u'a' + depth));
    reg::KeyHolder k;
    ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, sub, reg::kAllAccess, k.out(), nullptr), 0u);
    const Bytes text = registry::TextBytes(u"at depth " + std::u16string(1, static_cast<char16_t>(u'A' + depth)), true);
    ASSERT_EQ(reg::SetValue(k.get(), u"Text", reg::kSz, text.data(), static_cast<uint32_t>(text.size())), 0u);
    const Bytes big(1000 + depth, static_cast<uint8_t>(depth));  // past a first 256-byte buffer
    ASSERT_EQ(reg::SetValue(k.get(), u"Big", reg::kBinary, big.data(), static_cast<uint32_t>(big.size())), 0u);
  }
  sub.clear();
  for (int depth = 0; depth <= 19; ++depth) {
    if (depth > 0) sub += (depth > 1 ? u"\\LEVEL" : u"LEVEL") + std::u16string(1, static_cast<char16_t>(u'A' + depth));
    for (std::u16string_view name : {u"tEXT", u"Big", u"Absent", u""}) {
      const Read expected = ThroughHandle(reg::kCurrentUser, sub, name);
      Read got;
      got.rc = reg::ReadValue(reg::kCurrentUser, sub, name, &got.type, &got.data);
      EXPECT_EQ(got.rc, expected.rc) << "depth " << depth;
      if (expected.rc == 0) {
        EXPECT_EQ(got.type, expected.type) << "depth " << depth;
        EXPECT_EQ(got.data, expected.data) << "depth " << depth;
      }
    }
  }
  // A name missing on the way, at the first level, deep, and past eight.
  Bytes data;
  uint32_t type = 0;
  EXPECT_EQ(reg::ReadValue(reg::kCurrentUser, u"Nowhere", u"Text", &type, &data), 2u);
  EXPECT_EQ(reg::ReadValue(reg::kCurrentUser, u"Levelb\\Levelc\\Nowhere", u"Text", &type, &data), 2u);
  EXPECT_EQ(reg::ReadValue(reg::kCurrentUser, u"Levelb\\Levelc\\Leveld\\Levele\\Levelf\\Levelg\\Levelh\\Leveli\\X\\Levelk",
                           u"Text", &type, &data),
            2u);
}

// Through RegistreLit: an existing value, a missing one, the default value
// of an existing key (an empty text), a missing key.
TEST_F(RegistryReadValue, TheFunctionKeepsItsAnswers) {
  {
    reg::KeyHolder k;
    ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"App\\Settings", reg::kAllAccess, k.out(), nullptr), 0u);
    const Bytes v = registry::DwordBytes(42);
    ASSERT_EQ(reg::SetValue(k.get(), u"Count", reg::kDword, v.data(), 4), 0u);
  }
  bool ok = false;
  EXPECT_EQ(registry::QueryValue(ctx_, u"HKEY_CURRENT_USER\\App\\Settings", u"count", &ok), Value{int32_t{42}});
  EXPECT_TRUE(ok);
  registry::QueryValue(ctx_, u"HKEY_CURRENT_USER\\App\\Settings", u"Other", &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(registry::QueryValue(ctx_, u"HKEY_CURRENT_USER\\App\\Settings", u"", &ok), Value{std::u16string()});
  EXPECT_TRUE(ok);
  registry::QueryValue(ctx_, u"HKEY_CURRENT_USER\\App\\Missing", u"Count", &ok);
  EXPECT_FALSE(ok);
}

}  // namespace
}  // namespace kp::test
