// RegistreEcrit's plain syntaxes: the registry type and the exact bytes each
// kind of KL value is stored as, by name and by index.
#include <gtest/gtest.h>

#include "platform/registry.h"
#include "registry/registry.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

namespace reg = platform::reg;

class RegistryWrite : public FreshDevice {
 protected:
  void SetUp() override {
    FreshDevice::SetUp();
    reg::KeyHolder k;
    uint32_t disposition = 0;
    ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"Software\\W", reg::kAllAccess, k.out(), &disposition), 0u);
  }
  // The type and bytes under the family's feet.
  std::pair<uint32_t, Bytes> Stored(std::u16string_view name) {
    reg::KeyHolder k;
    EXPECT_EQ(reg::OpenKey(reg::kCurrentUser, u"Software\\W", reg::kQueryValue, k.out()), 0u);
    uint32_t type = 0, size = 0;
    EXPECT_EQ(reg::QueryValue(k.get(), name, &type, nullptr, &size), 0u) << "value missing";
    Bytes data(size);
    EXPECT_EQ(reg::QueryValue(k.get(), name, &type, data.data(), &size), 0u);
    return {type, data};
  }
  static constexpr std::u16string_view kKey = u"HKEY_CURRENT_USER\\Software\\W";
};

TEST_F(RegistryWrite, TextCarriesItsZeroByNameButNotByIndex) {
  ASSERT_TRUE(registry::SetText(ctx_, kKey, u"t", u"ab"));
  EXPECT_EQ(Stored(u"t"), std::make_pair(reg::kSz, Bytes{'a', 0, 'b', 0, 0, 0}));
  ASSERT_TRUE(registry::SetTextAt(ctx_, kKey, 1, u"cd"));  // "t" is the only value: index 1
  EXPECT_EQ(Stored(u"t"), std::make_pair(reg::kSz, Bytes{'c', 0, 'd', 0}));
  // The empty text by name is the zero alone.
  ASSERT_TRUE(registry::SetText(ctx_, kKey, u"e", u""));
  EXPECT_EQ(Stored(u"e").second, (Bytes{0, 0}));
}

TEST_F(RegistryWrite, NumbersAndBooleansTakeTheirTypes) {
  ASSERT_TRUE(registry::SetInteger(ctx_, kKey, u"i", -2));
  EXPECT_EQ(Stored(u"i"), std::make_pair(reg::kDword, Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  ASSERT_TRUE(registry::SetBoolean(ctx_, kKey, u"b", true));
  EXPECT_EQ(Stored(u"b"), std::make_pair(reg::kDword, Bytes{1, 0, 0, 0}));
  ASSERT_TRUE(registry::SetReal(ctx_, kKey, u"r", 1.5));
  EXPECT_EQ(Stored(u"r"), std::make_pair(reg::kBinary, Bytes{0, 0, 0, 0, 0, 0, 0xF8, 0x3F}));
  ASSERT_TRUE(registry::SetCurrency(ctx_, kKey, u"c", Currency{0x0102030405060708, -2}));
  EXPECT_EQ(Stored(u"c"), std::make_pair(reg::kBinary, Bytes{8, 7, 6, 5, 4, 3, 2, 1, 0xFE, 0xFF}));
  // By index the same bytes replace the value found there, whatever its type.
  ASSERT_TRUE(registry::SetBooleanAt(ctx_, kKey, 1, false));
  ASSERT_TRUE(registry::SetIntegerAt(ctx_, kKey, 2, 7));
  ASSERT_TRUE(registry::SetRealAt(ctx_, kKey, 3, 2.0));
  ASSERT_TRUE(registry::SetCurrencyAt(ctx_, kKey, 4, Currency{1, 0}));
  int dwords = 0, binaries = 0;
  for (auto name : {u"i", u"b", u"r", u"c"}) (Stored(name).first == reg::kDword ? dwords : binaries)++;
  EXPECT_EQ(dwords, 2);
  EXPECT_EQ(binaries, 2);
}

TEST_F(RegistryWrite, NoValueAtTheIndexWritesNothing) {
  EXPECT_FALSE(registry::SetTextAt(ctx_, kKey, 5, u"x"));
  EXPECT_FALSE(registry::SetText(ctx_, u"HKEY_CURRENT_USER\\Software\\Missing", u"v", u"x"));
}

}  // namespace
}  // namespace kp::test
