#include <gtest/gtest.h>

#include <set>
#include <string>

#include "encoding/guid.h"

namespace {

TEST(Guid, FieldsFormattedInOrder) {
  const kp::platform::Guid g{0x0123abcd, 0x4567, 0x89ef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};
  EXPECT_EQ(kp::encoding::FormatGuid(g, true), u"{0123abcd-4567-89ef-0123-456789abcdef}");
  EXPECT_EQ(kp::encoding::FormatGuid(g, false), u"0123abcd456789ef0123456789abcdef");
  const kp::platform::Guid zero{};
  EXPECT_EQ(kp::encoding::FormatGuid(zero, false), std::u16string(32, u'0'));
}

TEST(Guid, NewIdentifiersAreVersionFourAndDistinct) {
  std::set<std::u16string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::u16string braced = kp::encoding::GetGuid(nullptr, true);
    ASSERT_EQ(braced.size(), 38u);
    EXPECT_EQ(braced.front(), u'{');
    EXPECT_EQ(braced.back(), u'}');
    EXPECT_EQ(braced[15], u'4');
    EXPECT_NE(std::u16string_view(u"89ab").find(braced[20]), std::u16string_view::npos);
    EXPECT_TRUE(seen.insert(braced).second);

    const std::u16string bare = kp::encoding::GetGuid(nullptr, false);
    ASSERT_EQ(bare.size(), 32u);
    EXPECT_EQ(bare.find_first_not_of(u"0123456789abcdef"), std::u16string::npos);
  }
}

}  // namespace
