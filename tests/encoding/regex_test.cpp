#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "abi/error_ids.h"
#include "encoding/regex.h"
#include "support/deadline.h"
#include "support/fake_context.h"

namespace {

namespace enc = kp::encoding;

bool Match(std::u16string_view text, std::u16string_view expression) {
  kp::test::FakeContext context;
  const bool r = enc::MatchRegularExpression(context, text, expression);
  EXPECT_FALSE(context.hasError()) << kp::test::Utf8(expression);
  return r;
}

// Pattern, subject, answer: written from RE2's syntax page. The whole text
// must match.
TEST(VerifieExpressionReguliere, DialectTable) {
  const struct {
    std::u16string expression, text;
    bool answer;
  } table[] = {
      {u"abc", u"abc", true},
      {u"abc", u"xabcx", false},  // the whole text, not a part
      {u".*abc.*", u"xabcx", true},
      {u"[0-9]{5}", u"75001", true},
      {u"[0-9]{5}", u"7500", false},
      {u"\\d+(\\.\\d\\d)?", u"12.50", true},
      {u"\\d+(\\.\\d\\d)?", u"12.5", false},
      {u"[^@\\s]+@[^@\\s]+\\.[a-z]{2,}", u"jean.dupont@exemple.fr", true},
      {u"[^@\\s]+@[^@\\s]+\\.[a-z]{2,}", u"jean dupont@exemple.fr", false},
      {u"(?i)bonjour", u"BonJour", true},
      {u"bonjour", u"BonJour", false},
      {u"a.c", u"a\nc", false},       // "." does not take a line break...
      {u"(?s)a.c", u"a\nc", true},    // ...unless (?s)
      {u"\\pL+", u"Éléonore", true},  // Unicode letter classes
      {u"\\w+", u"Éléonore", false},  // \w is ASCII only
      {u"caf.", u"café", true},       // "." is one character, not one byte
      {u"x*", u"", true},
      {u"(a|b)*c", u"ababc", true},
      {u"\\x{20AC}\\d+", u"€12", true},
      {u"𝄞", u"𝄞", true},  // outside the BMP, surrogate pairs become one character
  };
  for (const auto& row : table)
    EXPECT_EQ(Match(row.text, row.expression), row.answer)
        << kp::test::Utf8(row.expression) << " on " << kp::test::Utf8(row.text);
}

TEST(VerifieExpressionReguliere, InvalidExpressionsAreNamedErrors) {
  for (std::u16string bad : {u"(abc", u"a{2,1}", u"(a)\\1" /* no back-references */, u"(?=a)", u"[z-a]"}) {
    kp::test::FakeContext context;
    EXPECT_FALSE(enc::MatchRegularExpression(context, u"abc", bad));
    EXPECT_EQ(context.errorId(), kp::kErrBadRegularExpression) << kp::test::Utf8(bad);
    EXPECT_FALSE(context.message().empty());
  }
  // A repetition too large for the memory bound is refused, not built.
  kp::test::FakeContext context;
  EXPECT_FALSE(enc::MatchRegularExpression(context, u"a", u"((a{1000}){1000}){1000}"));
  EXPECT_EQ(context.errorId(), kp::kErrBadRegularExpression);
}

// Expressions that make backtracking engines take exponential time, and
// deep nesting that overflows recursive parsers, on a 1 MB subject.
TEST(VerifieExpressionReguliere, HostileExpressionsAndLargeSubjectsStayFast) {
  const std::u16string subject(1 << 20, u'a');
  const std::u16string nested = std::u16string(5000, u'(') + u"a" + std::u16string(5000, u')');
  const std::u16string deeper = std::u16string(200000, u'(') + u"a" + std::u16string(200000, u')');
  kp::test::WithinSeconds(20, "hostile expressions", [&] {
    EXPECT_FALSE(Match(subject + u"!", u"(a+)+$"));
    EXPECT_FALSE(Match(subject + u"!", u"(a|aa)*"));
    EXPECT_FALSE(Match(subject + u"b", u"(.*a){20}"));
    EXPECT_TRUE(Match(subject, u"(a*)*"));
    // RE2 parses and matches without recursion on the stack.
    EXPECT_TRUE(Match(u"a", nested));
    EXPECT_TRUE(Match(u"a", deeper));
    EXPECT_FALSE(Match(u"b", deeper));
  });
}

}  // namespace
