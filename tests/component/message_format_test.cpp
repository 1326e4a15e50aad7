// The message formatter, against well-formed and hostile texts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/format_message.h"
#include "support/fake_context.h"

namespace kp::platform {
namespace {

FormatArgument N(uint64_t n) { return {false, n, {}}; }
FormatArgument N(int64_t n) { return {false, static_cast<uint64_t>(n), {}}; }
FormatArgument T(std::u16string_view t) { return {true, 0, t}; }

std::u16string F(std::u16string_view text, std::vector<FormatArgument> args = {}) {
  auto out = FormatMessageFromString(text, args);
  return out ? *out : u"<failed>";
}

TEST(FormatMessage, TypeLetters) {
  EXPECT_EQ(F(u"%1!u!", {N(int64_t{-1})}), u"4294967295");
  EXPECT_EQ(F(u"%1!d!", {N(int64_t{-1})}), u"-1");
  EXPECT_EQ(F(u"%1!i!", {N(uint64_t{0x80000000})}), u"-2147483648");
  EXPECT_EQ(F(u"%1!x!/%1!X!", {N(uint64_t{0xBEEF})}), u"beef/BEEF");
  EXPECT_EQ(F(u"%1!o!", {N(uint64_t{8})}), u"10");
  EXPECT_EQ(F(u"%1!c!%2!C!", {N(uint64_t{'O'}), N(uint64_t{'K'})}), u"OK");
  EXPECT_EQ(F(u"%1!s! %2!S! %3", {T(u"a"), T(u"b"), T(u"c")}), u"a b c");
  const std::u16string pointer = F(u"%1!p!", {N(uint64_t{0xAB})});
  EXPECT_EQ(pointer.size(), sizeof(void*) * 2);
  EXPECT_EQ(pointer.substr(pointer.size() - 3), u"0AB");
  EXPECT_EQ(pointer.find_first_not_of(u'0'), pointer.size() - 2);
}

TEST(FormatMessage, SizesAndArgumentConventions) {
  const uint64_t big = 1ull << 40 | 7;
  EXPECT_EQ(F(u"%1!u!", {N(big)}), u"7");  // low 32 bits, as an argument array gives them
  EXPECT_EQ(F(u"%1!I64u!", {N(big)}), u"1099511627783");
  EXPECT_EQ(F(u"%1!lld!", {N(int64_t{-5})}), u"-5");
  EXPECT_EQ(F(u"%1!hd!", {N(uint64_t{0xFFFF})}), u"-1");
  EXPECT_EQ(F(u"%1!lu!", {N(uint64_t{3})}), u"3");
  // a number for a text spec prints in decimal, a text for a number spec as the text
  EXPECT_EQ(F(u"%1!s!", {N(int64_t{-12})}), u"-12");
  EXPECT_EQ(F(u"%1!u!", {T(u"abc")}), u"abc");
}

TEST(FormatMessage, FlagsWidthPrecision) {
  EXPECT_EQ(F(u"[%1!5d!]", {N(uint64_t{42})}), u"[   42]");
  EXPECT_EQ(F(u"[%1!-5d!]", {N(uint64_t{42})}), u"[42   ]");
  EXPECT_EQ(F(u"[%1!05d!]", {N(int64_t{-42})}), u"[-0042]");
  EXPECT_EQ(F(u"[%1!+d!]", {N(uint64_t{5})}), u"[+5]");
  EXPECT_EQ(F(u"[%1!#x!]", {N(uint64_t{255})}), u"[0xff]");
  EXPECT_EQ(F(u"[%1!.3d!]", {N(uint64_t{7})}), u"[007]");
  EXPECT_EQ(F(u"[%1!.0u!]", {N(uint64_t{0})}), u"[]");
  EXPECT_EQ(F(u"[%1!.3s!]", {T(u"abcdef")}), u"[abc]");
  EXPECT_EQ(F(u"[%1!6s!]", {T(u"ab")}), u"[    ab]");
  EXPECT_EQ(F(u"[%1!02u!:%2!02u!]", {N(uint64_t{7}), N(uint64_t{5})}), u"[07:05]");
}

TEST(FormatMessage, Escapes) {
  EXPECT_EQ(F(u"100%% %! %. % x"), u"100% ! .  x");
  EXPECT_EQ(F(u"a%tb%rc%nd"), u"a\tb\rc\r\nd");
  EXPECT_EQ(F(u"%q%Z"), u"qZ");
  EXPECT_EQ(F(u"before%0after", {T(u"x")}), u"before");
  EXPECT_EQ(F(u"100%"), u"100%");
  EXPECT_EQ(F(u"%"), u"%");
  EXPECT_EQ(F(u""), u"");
}

TEST(FormatMessage, InsertNumbers) {
  std::vector<FormatArgument> twelve;
  for (int i = 1; i <= 12; ++i) twelve.push_back(N(static_cast<uint64_t>(i)));
  EXPECT_EQ(F(u"%12|%123|%1!u!5", twelve), u"12|123|15");
  EXPECT_EQ(F(u"%2%1", {T(u"a"), T(u"b")}), u"ba");
}

TEST(FormatMessage, MissingInsertsLeaveTheirMarker) {
  EXPECT_EQ(F(u"a %3!u! b %2 c %1!s!", {T(u"x")}), u"a %3!u! b %2 c x");
  EXPECT_EQ(F(u"%1!d!%99!s!"), u"%1!d!%99!s!");
}

TEST(FormatMessage, MalformedSpecs) {
  EXPECT_EQ(F(u"value %1!u", {N(uint64_t{1})}), u"<failed>");  // never closed
  EXPECT_EQ(F(u"%1!", {N(uint64_t{1})}), u"<failed>");
  // specs we do not print stay as written
  EXPECT_EQ(F(u"%1!q!|%1!!|%1!*d!|%1!5.2f!|%1!ud!", {N(uint64_t{1})}), u"%1!q!|%1!!|%1!*d!|%1!5.2f!|%1!ud!");
}

TEST(FormatMessage, HostileSizes) {
  const std::u16string wide = F(u"%1!99999999999d!", {N(uint64_t{1})});
  EXPECT_EQ(wide.size(), static_cast<size_t>(kMaxFieldWidth));
  EXPECT_EQ(wide.back(), u'1');
  EXPECT_EQ(F(u"%1!.99999999999u!", {N(uint64_t{1})}).size(), static_cast<size_t>(kMaxFieldWidth));
  const std::u16string huge(200000, u'z');
  EXPECT_EQ(F(u"<%1!s!><%1>", {T(huge)}), u"<" + huge + u"><" + huge + u">");
  std::u16string many;
  for (int i = 0; i < 5000; ++i) many += u"%1!u!";
  EXPECT_EQ(F(many, {N(uint64_t{9})}), std::u16string(5000, u'9'));
}

}  // namespace
}  // namespace kp::platform
