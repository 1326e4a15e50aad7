// The path and directory functions: checks and their error numbers, copy,
// rename and delete with read-only targets and wildcards, directories made,
// measured and removed, fRep's enumeration and the walks.
#include <sys/stat.h>

#include "files/files_fixture.h"
#include "files/fs_layer.h"
#include "files/paths.h"

namespace kp::test {
namespace {

using namespace kp::files;

using PathFunctions = FilesTest;
using DirFunctions = FilesTest;

TEST_F(PathFunctions, ExtractPathKeepsTheFixedOrder) {
  const char16_t* p = u"C:\\dir\\sub\\name.tar.gz";
  EXPECT_EQ(ExtractPath(ctx_, p, fExtension | fDrive), u"C:.gz");
  EXPECT_EQ(ExtractPath(ctx_, p, fDirectory), u"\\dir\\sub\\");
  EXPECT_EQ(ExtractPath(ctx_, p, fFileName | fExtension), u"name.tar.gz");
  EXPECT_EQ(ExtractPath(ctx_, u"\\noext", fFileName | fExtension), u"noext");
  EXPECT_EQ(ExtractPath(ctx_, p, 16), u"");
  EXPECT_EQ(ctx_.errorId(), 80042);
  ctx_.clearError();
  EXPECT_EQ(ExtractPath(ctx_, std::u16string(261, u'a'), fFileName), u"");
  EXPECT_EQ(ctx_.errorId(), 80058);
}

TEST_F(PathFunctions, ExistenceAndSize) {
  PutFile("d/f.txt", "12345");
  EXPECT_TRUE(FileExists(ctx_, u"\\D\\F.TXT"));
  EXPECT_FALSE(FileExists(ctx_, u"\\d"));
  EXPECT_TRUE(DirectoryExists(ctx_, u"/d"));
  EXPECT_FALSE(FileExists(ctx_, u""));
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_FALSE(FileExists(ctx_, u"d\\f.txt"));
  EXPECT_EQ(ctx_.errorId(), 80600);
  ctx_.clearError();
  EXPECT_EQ(FileSize(ctx_, u"\\d\\f.txt"), 5);
  EXPECT_EQ(FileSize(ctx_, u"\\d\\none"), -1);
  EXPECT_EQ(ctx_.errorId(), 80067);
  EXPECT_EQ(ctx_.systemError(), 2u);
}

// Each of the layer's failures names its files in a text of its own.
TEST_F(PathFunctions, LayerFailuresHaveTheirTexts) {
  const struct {
    bool (*fail)(ExecContext*);
    const char16_t* shown;
  } cases[] = {
      {[](ExecContext* c) { return layer::Delete(c, u"\\gone.txt"); }, u"gone.txt"},
      {[](ExecContext* c) { return layer::Move(c, u"\\gone.txt", u"\\moved.txt"); }, u"moved.txt"},
      {[](ExecContext* c) { return layer::Copy(c, u"\\gone.txt", u"\\copied.txt"); }, u"copied.txt"},
      {[](ExecContext* c) { return layer::SetAttributes(c, u"\\gone.txt", 0x80); }, u"gone.txt"},
  };
  for (const auto& c : cases) {
    ctx_.clearError();
    EXPECT_FALSE(c.fail(ctx_));
    EXPECT_EQ(ctx_.systemError(), 2u);
    const std::u16string m = ctx_.message();
    EXPECT_NE(m.find(c.shown), std::u16string::npos) << Utf8(m);
    EXPECT_EQ(m.find(u"<281"), std::u16string::npos) << "no missing resource: " << Utf8(m);
  }
}

TEST_F(PathFunctions, CopyFileTargets) {
  PutFile("src/a.txt", "A");
  std::filesystem::create_directories(Host("existing"));
  EXPECT_TRUE(CopyFile(ctx_, u"\\src\\a.txt", u"\\new\\deep\\", 0));  // made, with the source's name
  EXPECT_EQ(GetFile("new/deep/a.txt"), "A");
  EXPECT_TRUE(CopyFile(ctx_, u"\\src\\a.txt", u"\\existing", 0));
  EXPECT_EQ(GetFile("existing/a.txt"), "A");
  EXPECT_TRUE(CopyFile(ctx_, u"\\src\\a.txt", u"\\other\\b.txt", 0));
  EXPECT_EQ(GetFile("other/b.txt"), "A");
  // A read-only target is made writable and overwritten.
  PutFile("ro.txt", "old");
  chmod(Host("ro.txt").c_str(), 0444);
  EXPECT_TRUE(CopyFile(ctx_, u"\\src\\a.txt", u"\\ro.txt", 0));
  EXPECT_EQ(GetFile("ro.txt"), "A");
  EXPECT_FALSE(ctx_.hasError());
  struct Case {
    const char16_t *from, *to;
    int32_t error;
  } cases[] = {{u"", u"\\x", 80059},         {u"\\src\\a.txt", u"\\x*", 80066}, {u"src\\a.txt", u"\\x", 80600},
               {u"\\src\\none", u"\\x", 80067}, {u"\\src\\*.txt", u"\\x", 80065}, {u"\\src", u"\\x", 80065}};
  for (const Case& c : cases) {
    ctx_.clearError();
    EXPECT_FALSE(CopyFile(ctx_, c.from, c.to, 0));
    EXPECT_EQ(ctx_.errorId(), c.error) << Utf8(c.from);
  }
}

TEST_F(PathFunctions, RenameAndDeleteWithWildcards) {
  PutFile("w/a.log", "");
  PutFile("w/b.LOG", "");
  PutFile("w/keep.txt", "");
  std::filesystem::create_directories(Host("w/dir.log"));
  EXPECT_TRUE(Rename(ctx_, u"\\w\\keep.txt", u"\\w\\kept.txt"));
  EXPECT_FALSE(Rename(ctx_, u"\\w\\none", u"\\w\\x"));
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  chmod(Host("w/b.LOG").c_str(), 0444);
  EXPECT_FALSE(Delete(ctx_, u"\\w\\*.log", 0));  // stops at the read-only file
  EXPECT_EQ(ctx_.systemError(), 5u);
  ctx_.clearError();
  EXPECT_TRUE(Delete(ctx_, u"\\w\\*.log", frReadOnly));
  EXPECT_FALSE(HostExists("w/b.LOG"));
  EXPECT_TRUE(HostExists("w/dir.log"));  // directories are left alone
  EXPECT_TRUE(HostExists("w/kept.txt"));
  EXPECT_FALSE(Delete(ctx_, u"\\w\\*.tmp", 0));  // nothing matches
  ctx_.clearError();
  EXPECT_FALSE(Delete(ctx_, u"", 0));
  EXPECT_EQ(ctx_.errorId(), 80059);
}

TEST_F(DirFunctions, MakeRemoveAndMeasure) {
  EXPECT_TRUE(MakeDir(ctx_, u"\\a\\b\\c"));
  EXPECT_TRUE(MakeDir(ctx_, u"\\A\\B\\"));
  EXPECT_EQ(MakeDir55(ctx_, u"\\a\\b"), 0);
  EXPECT_EQ(DirSize(ctx_, u"\\a", 0), 0);
  PutFile("a/one", std::string(10, 'x'));
  PutFile("a/b/two", std::string(100, 'x'));
  PutFile("a/b/c/three", std::string(1000, 'x'));
  EXPECT_EQ(DirSize(ctx_, u"\\a", 0), 1110);
  EXPECT_EQ(DirSize(ctx_, u"\\a\\", frNotRecursive), 10);
  EXPECT_EQ(DirSize(ctx_, u"", 0), -1);
  EXPECT_EQ(ctx_.errorId(), 80059);
  ctx_.clearError();
  EXPECT_EQ(DirSize(ctx_, u"\\" + std::u16string(260, u'a'), 0), -1);
  EXPECT_EQ(ctx_.errorId(), 81506);
  ctx_.clearError();
  EXPECT_FALSE(RemoveDir(ctx_, u"\\a", frToRecycleBin));
  EXPECT_EQ(ctx_.errorId(), 80404);
  ctx_.clearError();
  EXPECT_FALSE(RemoveDir(ctx_, u"\\none", 0));
  EXPECT_EQ(ctx_.errorId(), 80062);
  ctx_.clearError();
  EXPECT_FALSE(RemoveDir(ctx_, u"\\a", 0));  // not empty
  EXPECT_EQ(ctx_.errorId(), 80063);
  chmod(Host("a/b/two").c_str(), 0444);
  ctx_.clearError();
  EXPECT_FALSE(RemoveDir(ctx_, u"\\a\\*.*", frRecursive));  // the read-only file stays
  EXPECT_TRUE(RemoveDir(ctx_, u"\\a\\*.*", frRecursive | frReadOnly));
  EXPECT_FALSE(HostExists("a"));
}

TEST_F(DirFunctions, DirSizeCountsEachFileModulo4GB) {
  PutFile("big/small", "12345");
  PutFile("big/sparse", "");
  std::filesystem::resize_file(Host("big/sparse"), (uint64_t{1} << 32) + 7);  // sparse: costs no disk
  EXPECT_EQ(DirSize(ctx_, u"\\big", 0), 12);
}

TEST_F(DirFunctions, ParentDirCanonicalises) {
  EXPECT_EQ(ParentDir(ctx_, u"\\a\\b\\c", 0), u"\\a\\b");
  EXPECT_EQ(ParentDir(ctx_, u"\\a\\.\\b\\..\\c\\", 0), u"\\a");
  EXPECT_EQ(ParentDir(ctx_, u"\\", 0), u"\\");
  EXPECT_EQ(ParentDir(ctx_, u"\\a\\b", fRelativePath), u"..");
  EXPECT_EQ(ParentDir(ctx_, u"..", 0), u"");
  EXPECT_EQ(ctx_.errorId(), 80600);
}

TEST_F(DirFunctions, DirEnumerationIsOnePerLibrary) {
  PutFile("e/b.txt", "");
  PutFile("e/a.txt", "");
  std::filesystem::create_directories(Host("e/sub"));
  EndDirEnumeration();
  EXPECT_EQ(Dir(ctx_, u"", frFile), u"");
  EXPECT_EQ(ctx_.errorId(), 80054);
  ctx_.clearError();
  EXPECT_EQ(Dir(ctx_, u"\\e\\*.*", 12), u"");
  EXPECT_EQ(ctx_.errorId(), 80053);
  ctx_.clearError();
  EXPECT_EQ(Dir(ctx_, u"\\e\\*.*", frFile), u"a.txt");
  EXPECT_EQ(Dir(ctx_, u"", frFile), u"b.txt");
  EXPECT_EQ(Dir(ctx_, u"", frFile), u"");
  EXPECT_EQ(Dir(ctx_, u"", frFile), u"");
  EXPECT_EQ(ctx_.errorId(), 80054);
  ctx_.clearError();
  EXPECT_EQ(Dir(ctx_, u"\\e", frDirectoryAttr + fPathUnicode), u"sub");
  EXPECT_EQ(Dir(ctx_, u"", frDirectoryAttr), u"");
}

class Walks : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    PutFile("t/1.txt", "");
    PutFile("t/2.doc", "");
    PutFile("t/a/3.txt", "");
    PutFile("t/a/b/4.txt", "");
    PutFile("t/c/5.txt", "");
    std::filesystem::create_directories(Host("t/empty"));
  }
};

TEST_F(Walks, ListsWithAndWithoutRecursion) {
  EXPECT_EQ(ListFiles(ctx_, u"\\t\\*.txt", 0),
            u"\\t\\1.txt\r\n\\t\\a\\3.txt\r\n\\t\\a\\b\\4.txt\r\n\\t\\c\\5.txt");
  EXPECT_EQ(ListFiles(ctx_, u"\\t\\*.txt", frNotRecursive), u"\\t\\1.txt");
  EXPECT_EQ(ListDirectories(ctx_, u"\\t\\*.*", 0), u"\\t\\a\r\n\\t\\c\r\n\\t\\empty\r\n\\t\\a\\b");
  EXPECT_EQ(ListFiles(ctx_, u"\\t\\" + std::u16string(260, u'x'), 0), u"");
  EXPECT_EQ(ctx_.errorId(), 80058);
}

TEST_F(Walks, FullInformationLines) {
  chmod(Host("t/1.txt").c_str(), 0444);
  PutFile("t/1.txt.bak", "");
  const std::u16string list = ListFiles(ctx_, u"\\t\\1.txt", frFullInformation | frNotRecursive);
  ASSERT_EQ(list.size(), std::u16string(u"\\t\\1.txt\t0\t20260101000000\tAR").size()) << Utf8(list);
  EXPECT_TRUE(list.starts_with(u"\\t\\1.txt\t0\t"));
  EXPECT_TRUE(list.ends_with(u"\tAR"));
}

TEST_F(Walks, ProcedureFlagsAndStop) {
  std::vector<std::tuple<std::u16string, std::u16string, int32_t, int32_t>> calls;
  ctx_.procedures[u"Visit"] = [&](const std::vector<Value>& a) -> Value {
    calls.emplace_back(std::get<std::u16string>(a[0]), std::get<std::u16string>(a[1]), std::get<int32_t>(a[2]),
                       std::get<int32_t>(a[3]));
    return Value{};
  };
  EXPECT_EQ(ListFilesWith(ctx_, u"\\t\\*.txt", u"Visit", 42, 0), 4);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0], std::make_tuple(std::u16string(u"\\t\\"), std::u16string(u"1.txt"), flFirstFile, 42));
  EXPECT_EQ(std::get<2>(calls[1]), flChangeDir);
  EXPECT_EQ(std::get<0>(calls[1]), u"\\t\\a\\");
  EXPECT_EQ(std::get<2>(calls[2]), flChangeDir);
  EXPECT_EQ(std::get<2>(calls[3]), flChangeDir);
  // A first entry found below the starting directory says "change".
  calls.clear();
  EXPECT_EQ(ListFilesWith(ctx_, u"\\t\\3.txt", u"Visit", 0, 0), 1);
  EXPECT_EQ(std::get<2>(calls[0]), flChangeDir);
  ctx_.procedures[u"Stop"] = [](const std::vector<Value>&) -> Value { return Value{false}; };
  EXPECT_EQ(ListFilesWith(ctx_, u"\\t\\*.txt", u"Stop", 0, 0), 1);
  EXPECT_EQ(ListFilesWith(ctx_, u"\\t\\*.txt", u"Missing", 0, 0), 0);
}

TEST_F(Walks, HiddenEntriesLeftOutOnRequest) {
  ASSERT_TRUE(SetAttribute(ctx_, u"\\t\\1.txt", u"H"));
  ASSERT_TRUE(SetAttribute(ctx_, u"\\t\\a", u"H"));
  EXPECT_EQ(ListFiles(ctx_, u"\\t\\*.txt", frNoHiddenFile | frNoHiddenDirectory), u"\\t\\c\\5.txt");
  EXPECT_EQ(Attribute(ctx_, u"\\t\\a"), u"DH");
  EXPECT_EQ(DirAttribute(ctx_, u"\\t\\1.txt"), u"");
  EXPECT_EQ(ctx_.errorId(), 80062);
}

TEST_F(PathFunctions, AttributesAndDates) {
  PutFile("f.txt", "x");
  EXPECT_EQ(Attribute(ctx_, u"\\f.txt"), u"A");
  EXPECT_TRUE(SetReadOnlyAttribute(ctx_, u"\\f.txt", true));
  EXPECT_TRUE(ReadOnlyAttribute(ctx_, u"\\f.txt"));
  EXPECT_EQ(Attribute(ctx_, u"\\f.txt"), u"AR");
  EXPECT_TRUE(SetAttribute(ctx_, u"\\f.txt", u"s"));
  EXPECT_EQ(Attribute(ctx_, u"\\f.txt"), u"S");
  EXPECT_EQ(Attribute(ctx_, u"\\none"), u"");
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  ASSERT_TRUE(SetFileDateTime(ctx_, u"\\f.txt", fModification, u"2024022913453099"));
  EXPECT_EQ(FileDateTime(ctx_, u"\\f.txt", fModification), u"2024022913453099");
  EXPECT_TRUE(SetFileDate(ctx_, u"\\f.txt", fModification, u"20230105"));
  EXPECT_EQ(FileDate(ctx_, u"\\f.txt", fModification), u"20230105");
  EXPECT_EQ(FileTime(ctx_, u"\\f.txt", fModification), u"13453099");
  EXPECT_FALSE(SetFileDate(ctx_, u"\\f.txt", fModification, u"20230230"));
  EXPECT_FALSE(SetFileTime(ctx_, u"\\f.txt", 7, u"10000000"));
  EXPECT_EQ(FileDate(ctx_, u"f.txt", fModification), u"");
  EXPECT_EQ(ctx_.errorId(), 80600);
}

}  // namespace
}  // namespace kp::test
