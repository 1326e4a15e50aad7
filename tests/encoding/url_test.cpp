#include <gtest/gtest.h>

#include <random>
#include <string>

#include "encoding/url.h"

namespace {

std::u16string Enc(std::u16string_view s) { return kp::encoding::UrlEncode(nullptr, s); }
std::u16string Dec(std::u16string_view s) { return kp::encoding::UrlDecode(nullptr, s); }

TEST(UrlEncode, ExactlyTheEightyCharactersPass) {
  const std::u16string kept =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$&'()*,-./:;=?@_";
  ASSERT_EQ(kept.size(), 80u);
  for (uint32_t i = 0; i < 256; ++i) {
    const auto c = static_cast<char16_t>(i);
    const bool expected = kept.find(c) != std::u16string::npos;
    EXPECT_EQ(kp::encoding::UrlPassesUnchanged(static_cast<uint8_t>(i)), expected) << i;
    const std::u16string out = Enc(std::u16string_view(&c, 1));
    if (expected) {
      EXPECT_EQ(out, std::u16string(1, c));
    } else {
      const char16_t hex[] = u"0123456789ABCDEF";
      EXPECT_EQ(out, (std::u16string{u'%', hex[i >> 4], hex[i & 15]})) << i;
    }
  }
}

TEST(UrlEncode, Examples) {
  EXPECT_EQ(Enc(u"a b&c"), u"a%20b&c");
  EXPECT_EQ(Enc(u"100%"), u"100%25");
  EXPECT_EQ(Enc(u"a+b"), u"a%2Bb");
  EXPECT_EQ(Enc(u""), u"");
}

TEST(UrlEncode, CharactersAboveFfKeepOnlyTheirLowByte) {
  EXPECT_EQ(Enc(u"\u20AC"), u"%AC");           // lossy on purpose
  EXPECT_EQ(Dec(Enc(u"\u20AC")), u"\u00AC");   // and does not come back
  EXPECT_EQ(Enc(u"\u0141"), u"\u0141");        // low byte 'A': copied whole
  EXPECT_EQ(Enc(u"\u4E20"), u"%20");
}

// decode(encode(s)) == s whenever no character above U+00FF has an encoded
// low byte.
TEST(UrlRoundTrip, RandomTexts) {
  std::mt19937 rng(42);
  for (int round = 0; round < 2000; ++round) {
    std::u16string s;
    const size_t n = rng() % 40;
    while (s.size() < n) {
      char16_t c = (rng() % 4 == 0) ? static_cast<char16_t>(rng()) : static_cast<char16_t>(1 + rng() % 255);
      if (c == 0 || (c > 0xff && !kp::encoding::UrlPassesUnchanged(c & 0xff))) continue;
      s.push_back(c);
    }
    ASSERT_EQ(Dec(Enc(s)), s) << round;
  }
}

TEST(UrlDecode, Examples) {
  EXPECT_EQ(Dec(u"a%20b+c"), u"a b c");
  EXPECT_EQ(Dec(u"%41"), u"A");
  EXPECT_EQ(Dec(u"%4a"), u"J");  // lower-case "a" alone counts
  EXPECT_EQ(Dec(u"%4b"), u"@");  // "b" adds nothing: 4 * 16
  EXPECT_EQ(Dec(u"%26%238364%3B"), u"\u20AC");
  EXPECT_EQ(Dec(u"x%26%238364%3By"), u"x\u20ACy");
  EXPECT_EQ(Dec(u"ab%4"), u"ab");
  EXPECT_EQ(Dec(u""), u"");
}

TEST(UrlDecode, DigitQuirks) {
  EXPECT_EQ(Dec(u"%G0"), u"\u0100");   // upper-case letters past F carry
  EXPECT_EQ(Dec(u"%ZZ"), std::u16string(1, static_cast<char16_t>(35 * 16 + 35)));
  EXPECT_EQ(Dec(u"%aa"), u"\u00AA");
  EXPECT_EQ(Dec(u"%ff"), std::u16string(1, u'\0'));  // neither digit counts
  EXPECT_EQ(Dec(u"%%41"), u"A");       // further "%" are skipped before a digit
  EXPECT_EQ(Dec(u"%4%1"), u"A");
  EXPECT_EQ(Dec(u"%2B"), u"+");        // an encoded "+" is not a space
  // The euro sequence is matched exactly: lower-case "3b" is no euro.
  EXPECT_EQ(Dec(u"%26%238364%3b"), u"&#83640");
}

TEST(UrlDecode, TruncatedInputStopsDecoding) {
  EXPECT_EQ(Dec(u"ab%"), u"ab");
  EXPECT_EQ(Dec(u"ab%%"), u"ab");
  EXPECT_EQ(Dec(u"ab%%%"), u"ab");  // skipping "%" runs into the end
  EXPECT_EQ(Dec(u"ab%4%"), u"ab");
  EXPECT_EQ(Dec(u"%41%4"), u"A");
  EXPECT_EQ(Dec(u"%26%238364%3"), u"&#8364");  // a cut euro decodes piece by piece
}

}  // namespace
