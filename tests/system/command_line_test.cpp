// The Windows C runtime's splitting, case by case: the examples of its own
// documentation and the corners that differ between its versions.
#include "system/command_line.h"

#include <gtest/gtest.h>

namespace kp::system {
namespace {

using Args = std::vector<std::u16string>;

TEST(CommandLine, ArgumentsAsTheRuntimeSplitsThem) {
  const std::pair<std::u16string_view, Args> cases[] = {
      {uR"("abc" d e)", {u"abc", u"d", u"e"}},
      {uR"(a\\b d"e f"g h)", {uR"(a\\b)", u"de fg", u"h"}},
      {uR"(a\\\"b c d)", {uR"(a\"b)", u"c", u"d"}},
      {uR"(a\\\\"b c" d e)", {uR"(a\\b c)", u"d", u"e"}},
      {uR"(a"b"" c d)", {uR"(ab" c d)"}},  // "" inside quotes: a quote, still quoted
      {uR"("" x)", {u"", u"x"}},             // an empty argument survives
      {u"  \t a \t b  ", {u"a", u"b"}},      // blanks around and between
      {uR"("unclosed arg)", {u"unclosed arg"}},
      {uR"(tail\)", {uR"(tail\)"}},           // trailing backslash kept
      {uR"(\\\\)", {uR"(\\\\)"}},            // backslashes alone are literal
      {uR"(a\"")", {uR"(a")"}},              // escaped quote, then a quote that opens nothing visible
      {uR"("a\\" b)", {uR"(a\)", u"b"}},     // even run closes the quote
      {u"", {}},
  };
  for (const auto& [line, expected] : cases) {
    EXPECT_EQ(SplitWindowsArguments(line), expected) << std::string(line.begin(), line.end());
  }
}

TEST(CommandLine, ProgramNameHasNoEscapes) {
  EXPECT_EQ(SplitWindowsCommandLine(uR"("C:\Program Files\a.exe" -x "y z")"),
            (Args{uR"(C:\Program Files\a.exe)", u"-x", u"y z"}));
  EXPECT_EQ(SplitWindowsCommandLine(uR"(C:\a\ b)"), (Args{uR"(C:\a\)", u"b"}));
  EXPECT_EQ(SplitWindowsCommandLine(uR"("a b"c d)"), (Args{u"a bc", u"d"}));
  EXPECT_EQ(SplitWindowsCommandLine(u""), (Args{u""}));
}

}  // namespace
}  // namespace kp::system
