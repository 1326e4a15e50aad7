// Tree walks over link loops inside the device root: fListeFichier,
// fListeRépertoire and fRepTaille end (each under a time limit), list a link
// back to a directory they are inside without entering it again, and never
// go below the 260-character name limit.
#include <filesystem>
#include <string>

#include "files/files_fixture.h"
#include "files/paths.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

class WalkLoops : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    PutFile("a/f.txt", "12345");
    // Two links back to their own directory: a walk that enters them takes
    // 2^n paths before the names grow past the limit.
    std::filesystem::create_symlink(".", Host("a/l1"));
    std::filesystem::create_symlink("../a", Host("a/l2"));
  }
};

TEST_F(WalkLoops, ListingsEnterNoDirectoryTwice) {
  const std::u16string files =
      WithinSeconds(10, "fListeFichier over a loop", [&] { return files::ListFiles(ctx_, u"\\*.*", 0); });
  EXPECT_EQ(files, u"\\a\\f.txt");
  const std::u16string dirs =
      WithinSeconds(10, "fListeRépertoire over a loop", [&] { return files::ListDirectories(ctx_, u"\\*.*", 0); });
  EXPECT_EQ(dirs, u"\\a\r\n\\a\\l1\r\n\\a\\l2");
  EXPECT_EQ(ctx_.errorId(), 0);
}

TEST_F(WalkLoops, LoopsBetweenSiblingsEndToo) {
  PutFile("b/g.txt", "x");
  std::filesystem::create_symlink("../b", Host("a/tob"));
  std::filesystem::create_symlink("../a", Host("b/toa"));
  const std::u16string files =
      WithinSeconds(10, "fListeFichier over sibling links", [&] { return files::ListFiles(ctx_, u"\\*.txt", 0); });
  // Each directory is listed once from the root and once through the other's link.
  EXPECT_EQ(files, u"\\a\\f.txt\r\n\\a\\tob\\g.txt\r\n\\b\\g.txt\r\n\\b\\toa\\f.txt");
}

TEST_F(WalkLoops, SizeStopsWith81512) {
  const int64_t size = WithinSeconds(10, "fRepTaille over a loop", [&] { return files::DirSize(ctx_, u"\\a", 0); });
  EXPECT_EQ(size, -1);
  EXPECT_EQ(ctx_.errorId(), 81512);
  ctx_.clearError();
  EXPECT_EQ(files::DirSize(ctx_, u"\\a", files::frNotRecursive), 5);
}

TEST_F(WalkLoops, NothingBelowTheNameLimitIsListed) {
  const std::string a(100, 'a'), b(100, 'b'), c(100, 'c');
  PutFile(a + "/" + b + "/near.txt", "x");  // "\a…\b…\near.txt": 211 characters
  PutFile(a + "/" + b + "/" + c + "/far.txt", "x");  // its directory alone would be 304
  const std::u16string files = files::ListFiles(ctx_, u"\\" + std::u16string(a.begin(), a.end()) + u"\\*.txt", 0);
  const std::u16string near = u"\\" + std::u16string(a.begin(), a.end()) + u"\\" +
                              std::u16string(b.begin(), b.end()) + u"\\near.txt";
  EXPECT_EQ(files, near);
}

}  // namespace
}  // namespace kp::test
