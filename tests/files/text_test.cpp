// Whole-file text with its marks and code pages, temporary names and files,
// separators, comparison.
#include "files/file_io.h"
#include "files/files_fixture.h"
#include "files/text.h"
#include "platform/codepage.h"

namespace kp::test {
namespace {

using namespace kp::files;

using TextFiles = FilesTest;
using TempFiles = FilesTest;

TEST_F(TextFiles, LoadDetectsTheMarks) {
  PutFile("utf8.txt", "\xEF\xBB\xBF" "A\xC3\xA9");
  PutFile("utf16.txt", std::string("\xFF\xFE" "A\0\xE9\0", 6));
  PutFile("ansi.txt", "A\xE9\x80\r\n");
  EXPECT_EQ(LoadText(ctx_, u"\\utf8.txt"), u"Aé");
  EXPECT_EQ(LoadText(ctx_, u"\\utf16.txt"), u"Aé");
  EXPECT_EQ(LoadText(ctx_, u"\\ansi.txt"), u"Aé€\r\n");
  setenv("KP_CODEPAGE", "1251", 1);
  EXPECT_EQ(LoadText(ctx_, u"\\ansi.txt"), u"Aй\u0402\r\n");
  EXPECT_EQ(LoadText(ctx_, u"ansi.txt"), u"");
  EXPECT_EQ(ctx_.errorId(), 80600);
  ctx_.clearError();
  EXPECT_EQ(LoadText(ctx_, u"\\none.txt"), u"");
  EXPECT_EQ(ctx_.systemError(), 2u);
}

TEST_F(TextFiles, FourGigabytesAreTooLarge) {
  PutFile("huge.txt", "");
  std::filesystem::resize_file(Host("huge.txt"), 0xFFFFFFFFull);  // sparse
  EXPECT_EQ(LoadText(ctx_, u"\\huge.txt"), u"");
  EXPECT_EQ(ctx_.errorId(), 80041);
}

TEST_F(TextFiles, SaveWritesAnsiOrBytes) {
  EXPECT_TRUE(SaveText(ctx_, u"\\s.txt", Value{std::u16string(u"é€ж\r\n")}));
  EXPECT_EQ(GetFile("s.txt"), "\xE9\x80?\r\n");
  EXPECT_TRUE(SaveText(ctx_, u"\\s.txt", Value{Bytes{0xFF, 0xFE, 0x41, 0x00}}));
  EXPECT_EQ(LoadText(ctx_, u"\\s.txt"), u"A");
  EXPECT_TRUE(SaveText(ctx_, u"\\s.txt", Value{std::u16string()}));
  EXPECT_EQ(GetFile("s.txt"), "");
  EXPECT_FALSE(SaveText(ctx_, u"\\no\\dir\\s.txt", Value{std::u16string(u"x")}));
  EXPECT_EQ(ctx_.systemError(), 3u);
}

TEST_F(TextFiles, CodePageRoundTrips) {
  // Every byte Windows-1252 defines comes back as the same byte.
  std::string all;
  for (int b = 1; b < 256; ++b)
    if (b != 0x81 && b != 0x8D && b != 0x8F && b != 0x90 && b != 0x9D) all += static_cast<char>(b);
  EXPECT_EQ(platform::ToAnsi(platform::FromAnsi(all)), all);
  EXPECT_EQ(platform::FromAnsi("\x81"), u"\uFFFD");
  EXPECT_EQ(platform::ToCodePage(u"日本", 932), "\x93\xfa\x96\x7b");
  EXPECT_EQ(platform::FromCodePage("\xD3\xA4", 28591), u"Ó¤");
  EXPECT_EQ(platform::FromCodePage("\xA4", 28605), u"€");
}

TEST_F(TextFiles, SeparatorsAndCompare) {
  EXPECT_EQ(Separator(ctx_, u"\\a/b\\c", fSeparatorUnix), u"/a/b/c");
  EXPECT_EQ(Separator(ctx_, u"/a/b\\c", fSeparatorPlatform), u"\\a\\b\\c");
  EXPECT_EQ(Separator(ctx_, u"\\a/b", 9), u"ab");
  EXPECT_EQ(SeparatorText(ctx_, u"\\a/b", u"::"), u"::a::b");
  EXPECT_EQ(Separator(ctx_, u"a/b", fSeparatorUnix), u"");
  EXPECT_EQ(ctx_.errorId(), 80600);
  EXPECT_EQ(Sep(ctx_), u"\\");
  PutFile("x", "same");
  PutFile("y", "same");
  PutFile("z", "samE");
  EXPECT_TRUE(Compare(ctx_, u"\\x", u"\\Y"));
  EXPECT_FALSE(Compare(ctx_, u"\\x", u"\\z"));
}

TEST_F(TempFiles, NamesAreFreshAndLeaveNothing) {
  const std::u16string a = TempFile(ctx_, u"kp", u"");
  const std::u16string b = TempFile(ctx_, u"kp", u"");
  ASSERT_FALSE(a.empty());
  EXPECT_NE(a, b);
  EXPECT_TRUE(a.starts_with(TempPath(ctx_) + u"kp"));
  EXPECT_EQ(LoadText(ctx_, a), u"");
  EXPECT_EQ(ctx_.systemError(), 2u);  // the file itself is gone
  ctx_.clearError();
  EXPECT_EQ(TempFile(ctx_, u"kp", u"\\no\\such\\dir"), u"");
  EXPECT_EQ(ctx_.systemError(), 3u);
}

TEST_F(TempFiles, OpenTempFileGivesAHandle) {
  std::filesystem::create_directories(Host("mine"));
  const int32_t h = OpenTempFile(ctx_, foUnicode, u"abc", u"\\mine");
  ASSERT_GE(h, 2);
  EXPECT_TRUE(WriteLine(ctx_, h, u"t"));
  const std::u16string name = NameOfFile(ctx_, h);
  EXPECT_TRUE(name.starts_with(u"\\mine\\abc"));
  EXPECT_EQ(Close(ctx_, h), 0);
  EXPECT_EQ(LoadText(ctx_, name), u"t\r\n");
}

}  // namespace
}  // namespace kp::test
