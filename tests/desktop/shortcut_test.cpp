// Shortcuts: the path each kind leads to, the bytes of the text form, the
// existing-file rule, deletion, and names that would escape the device.
#include <gtest/gtest.h>

#include <string>

#include "abi/error_ids.h"
#include "desktop/shortcut.h"
#include "files/files_fixture.h"

namespace kp::desktop {
namespace {

class ShortcutTest : public test::FilesTest {};

TEST_F(ShortcutTest, EachKindWritesTheTextFormWhereItsPathLeads) {
  // Kind 1 under the start-menu folder of the device profile; 0, 2 and 3
  // from the device root, the sub-directory made with its parents.
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutProgram, u"Notes", u"\\Windows\\notes.exe", {.subDirectory = u"Outils"}));
  EXPECT_EQ(GetFile("Windows/Start Menu/Outils/Notes.lnk"), "18#\\Windows\\notes.exe");
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutProgram, u"Top", u"\\a.exe"));
  EXPECT_EQ(GetFile("Windows/Start Menu/Top.lnk"), "6#\\a.exe");
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutFree, u"Free", u"\\a.exe", {.subDirectory = u"\\My Documents\\x\\y"}));
  EXPECT_EQ(GetFile("My Documents/x/y/Free.lnk"), "6#\\a.exe");
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutDesktop, u"Desk", u"\\a.exe", {.subDirectory = u"d"}));
  EXPECT_EQ(GetFile("d/Desk.lnk"), "6#\\a.exe");
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutQuickLaunch, u"Quick", u"\\a.exe"));
  EXPECT_EQ(GetFile("Quick.lnk"), "6#\\a.exe");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(ShortcutTest, TargetWithSpacesIsQuotedAndParametersFollow) {
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutFree, u"P", u"\\Program Files\\My App\\app.exe",
                             {.parameters = u"-x \"deux mots\"", .subDirectory = u"\\s"}));
  const std::string expected = "\"\\Program Files\\My App\\app.exe\" -x \"deux mots\"";
  EXPECT_EQ(GetFile("s/P.lnk"), std::to_string(expected.size()) + "#" + expected);
  // Accents go out in the ANSI code page, one byte a character.
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutFree, u"É", u"\\é.exe"));
  EXPECT_EQ(GetFile("É.lnk"), "6#\\\xe9.exe");
}

TEST_F(ShortcutTest, AnExistingShortcutIsKeptAndCountsAsMade) {
  PutFile("Windows/Start Menu/Keep.lnk", "mine");
  EXPECT_TRUE(CreateShortcut(ctx_, shortcutProgram, u"Keep", u"\\other.exe"));
  EXPECT_EQ(GetFile("Windows/Start Menu/Keep.lnk"), "mine");
  // A directory of that name is not a shortcut: nothing can be made there.
  PutFile("Windows/Start Menu/Dir.lnk/inside", "x");
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutProgram, u"Dir", u"\\other.exe"));
  EXPECT_EQ(ctx_.errorId(), kErrCannotCreateShortcut);
}

TEST_F(ShortcutTest, DeletionReturnsWhetherTheFileWentAway) {
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutProgram, u"Gone", u"\\a.exe", {.subDirectory = u"S"}));
  EXPECT_TRUE(DeleteShortcut(ctx_, shortcutProgram, u"Gone", u"S"));
  EXPECT_FALSE(HostExists("Windows/Start Menu/S/Gone.lnk"));
  EXPECT_TRUE(HostExists("Windows/Start Menu/S"));
  EXPECT_FALSE(DeleteShortcut(ctx_, shortcutProgram, u"Gone", u"S"));
  EXPECT_EQ(ctx_.systemError(), 2u);
}

TEST_F(ShortcutTest, NamesThatLeaveTheirDirectoryAreRefused) {
  PutFile("secret.lnk", "root file");
  for (std::u16string_view name : {u"..", u".", u"a\\b", u"a/b", u"..\\..\\secret", u"", u"x:y", u"q\"q"}) {
    ctx_.clearError();
    EXPECT_FALSE(CreateShortcut(ctx_, shortcutProgram, name, u"\\a.exe")) << test::Utf8(name);
    EXPECT_EQ(ctx_.errorId(), kErrCannotCreateShortcut);
    EXPECT_EQ(ctx_.systemError(), 123u);
    EXPECT_FALSE(DeleteShortcut(ctx_, shortcutProgram, name)) << test::Utf8(name);
  }
  for (std::u16string_view sub : {u"..", u"a\\..\\..", u"\\..\\..\\..", u"./x"}) {
    ctx_.clearError();
    EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"secret", u"\\a.exe", {.subDirectory = sub})) << test::Utf8(sub);
    EXPECT_EQ(ctx_.systemError(), 123u);
    EXPECT_FALSE(DeleteShortcut(ctx_, shortcutFree, u"secret", sub));
  }
  // The device has no drives: "C:" does not become a directory of its root.
  ctx_.clearError();
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"d", u"\\a.exe", {.subDirectory = u"C:\\dir"}));
  EXPECT_EQ(ctx_.systemError(), 3u);
  EXPECT_FALSE(HostExists("C:"));
  EXPECT_EQ(GetFile("secret.lnk"), "root file");
  EXPECT_FALSE(HostExists("../secret.lnk"));
}

TEST_F(ShortcutTest, BadTargetsLongNamesAndKindsGiveFalse) {
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"q", u"\\a \"b\".exe"));
  EXPECT_EQ(ctx_.errorId(), kErrCannotCreateShortcut);
  EXPECT_FALSE(HostExists("q.lnk"));
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"e", u""));
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"n", u"\\a.exe", {.parameters = u"x\r\ny"}));
  EXPECT_FALSE(HostExists("n.lnk"));
  ctx_.clearError();
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, std::u16string(300, u'n'), u"\\a.exe"));
  EXPECT_EQ(ctx_.systemError(), 206u);
  EXPECT_FALSE(CreateShortcut(ctx_, 4, u"k", u"\\a.exe"));
  EXPECT_FALSE(CreateShortcut(ctx_, -1, u"k", u"\\a.exe"));
  EXPECT_EQ(ctx_.systemError(), 87u);
  // A character the code page cannot hold would name another file on the
  // handheld.
  EXPECT_FALSE(CreateShortcut(ctx_, shortcutFree, u"cjk", u"\\\u4e2d.exe"));
  EXPECT_EQ(ctx_.systemError(), 1113u);
  EXPECT_FALSE(HostExists("cjk.lnk"));
}

TEST(ShortcutText, ReadsBackWhatItWritesAndRefusesWrongCounts) {
  for (auto [target, parameters] : {std::pair<std::u16string_view, std::u16string_view>{u"\\a.exe", u""},
                                    {u"\\a b\\c.exe", u""},
                                    {u"\\a b\\c.exe", u"-p \"q r\""},
                                    {u"\\x.exe", u"1 2 3"}}) {
    const auto text = ShortcutText(target, parameters);
    ASSERT_TRUE(text);
    const auto read = ReadShortcutText(*text);
    ASSERT_TRUE(read) << test::Utf8(*text);
    EXPECT_EQ(read->target, target);
    EXPECT_EQ(read->parameters, parameters);
  }
  EXPECT_TRUE(ReadShortcutText(u"6#\\a.exe\r\n"));
  for (std::u16string_view bad : {u"", u"#", u"7#", u"7#\\a.exe", u"5#\\a.exe", u"7\\a.exe", u"x7#\\a.exe",
                                  u"99999999999999999999#a", u"3#\"\"x", u"5#\"a b", u"6#\\a.exe-", u"4#\"a\"b"})
    EXPECT_FALSE(ReadShortcutText(bad)) << test::Utf8(bad);
}

}  // namespace
}  // namespace kp::desktop
