// What an archive may not do to the device: write outside the destination,
// fill the disk from a few bytes, or leave a half-written archive in place of
// a good one; and the bad arguments a program may pass.
#include <errno.h>
#include <unistd.h>

#include <filesystem>

#include "archive/archive_fixture.h"
#include "support/fault_injection.h"

namespace kp::test {
namespace {

using namespace archive;

TEST_F(ArchiveTest, ExtractionNeverLeavesTheDestination) {
  PutFile("evil.zip", RawZip({{"../up.txt", "up"},
                              {"/abs.txt", "abs"},
                              {"ok/fine.txt", "fine"},
                              {"a/../../twice.txt", "twice"},
                              {"C:\\drive.txt", "drive"},
                              {"link", "/etc", 0120777},
                              {"after.txt", "after"}}));
  std::filesystem::create_directories(Host("Dest/inner"));
  ASSERT_EQ(Open(ctx_, u"e", u"\\evil.zip", {}), 0);
  EXPECT_EQ(ExtractAll(ctx_, u"e", u"\\Dest\\inner"), kErrZipUnsafeEntry);
  EXPECT_EQ(ctx_.errorId(), kErrZipUnsafeEntry);
  // The safe entries are there, before and after the refused ones.
  EXPECT_EQ(GetFile("Dest/inner/ok/fine.txt"), "fine");
  EXPECT_EQ(GetFile("Dest/inner/after.txt"), "after");
  // Nothing else was written anywhere on the device.
  size_t files = 0;
  for (auto& e : std::filesystem::recursive_directory_iterator(Host("")))
    if (e.is_regular_file() || e.is_symlink()) ++files;
  EXPECT_EQ(files, 3u);  // evil.zip and the two above
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/up.txt"));
  EXPECT_FALSE(std::filesystem::is_symlink(Host("Dest/inner/link")));
  ctx_.clearError();
  EXPECT_EQ(ExtractFile(ctx_, u"e", u"link", u"\\Dest"), kErrZipUnsafeEntry);
}

TEST_F(ArchiveTest, BombsAndForgedSizesStopAtTheLimit) {
  // An entry that claims a terabyte.
  PutFile("tera.zip", RawZip({{"huge.bin", "tiny", 0100644, 1ull << 40}}));
  std::filesystem::create_directories(Host("D"));
  ASSERT_EQ(Open(ctx_, u"t", u"\\tera.zip", {}), 0);
  EXPECT_EQ(FileSize(ctx_, u"t", u"huge.bin", false), 1ll << 40);
  EXPECT_EQ(ExtractAll(ctx_, u"t", u"\\D"), kErrZipLimitExceeded);
  EXPECT_FALSE(HostExists("D/huge.bin"));

  // A real compression bomb: 100 MB of zeros in about 100 KB.
  RawEntry bomb{"zeros.bin", std::string(100 << 20, '\0')};
  bomb.deflate = true;
  PutFile("bomb.zip", RawZip({bomb, {"small.txt", "small"}}));
  ASSERT_LT(std::filesystem::file_size(Host("bomb.zip")), 1u << 20);
  ASSERT_EQ(Open(ctx_, u"b", u"\\bomb.zip", {}), 0);
  ctx_.clearError();
  EXPECT_EQ(ExtractAll(ctx_, u"b", u"\\D"), kErrZipLimitExceeded);
  EXPECT_FALSE(HostExists("D/zeros.bin"));
  EXPECT_EQ(GetFile("D/small.txt"), "small");

  // A header that says 10 bytes over data that inflates to 100000: never more
  // than declared is written.
  RawEntry liar{"liar.bin", std::string(100000, 'x')};
  liar.deflate = true;
  liar.claimed = 10;
  PutFile("liar.zip", RawZip({liar}));
  ASSERT_EQ(Open(ctx_, u"l", u"\\liar.zip", {}), 0);
  ctx_.clearError();
  EXPECT_NE(ExtractAll(ctx_, u"l", u"\\D"), 0);
  EXPECT_FALSE(HostExists("D/liar.bin"));
  EXPECT_FALSE(HostExists("D/liar.bin.kp.tmp"));
}

TEST_F(ArchiveTest, AFailedWriteLeavesTheOldArchive) {
  PutFile("f/one.txt", "one");
  PutFile("f/two.bin", Random(500000, 9));
  ASSERT_EQ(Create(ctx_, u"w", u"\\w.zip", 0), 0);
  ASSERT_EQ(AddFile(ctx_, u"w", u"\\f\\one.txt", kPathNone, {}), 0);
  const std::string before = GetFile("w.zip");
  {
    FailNext full("write", ENOSPC, 1000);
    EXPECT_EQ(AddFile(ctx_, u"w", u"\\f\\two.bin", kPathNone, {}), kErrZipCannotWrite);
    EXPECT_GT(full.failed(), 0);
  }
  EXPECT_EQ(GetFile("w.zip"), before);
  // No temporary file is left beside it, and the archive still works.
  size_t entries = 0;
  for (auto& e : std::filesystem::directory_iterator(Host(""))) entries += e.is_regular_file();
  EXPECT_EQ(entries, 1u);
  EXPECT_EQ(ListFiles(ctx_, u"w"), u"one.txt");
  EXPECT_EQ(AddFile(ctx_, u"w", u"\\f\\two.bin", kPathNone, {}), 0);
  EXPECT_EQ(FileCount(ctx_, u"w"), 2);
}

TEST_F(ArchiveTest, BadArgumentsGetAClearErrorAndTheFailureValue) {
  EXPECT_EQ(Create(ctx_, u"", u"\\x.zip", 0), kErrZipBadArchiveName);
  EXPECT_EQ(Create(ctx_, std::u16string(300, u'n'), u"\\x.zip", 0), kErrZipBadArchiveName);
  EXPECT_EQ(Create(ctx_, u"x", u"relative.zip", 0), kErrPathNotAbsolute);
  EXPECT_EQ(Create(ctx_, u"x", u"\\x.zip", 1000), kErrZipBadPartSize);
  EXPECT_EQ(Open(ctx_, u"x", u"\\missing.zip", {}), kErrZipCannotOpen);
  EXPECT_EQ(ctx_.systemError(), 2u);
  PutFile("junk.zip", "this is not an archive at all, not even close to one");
  EXPECT_EQ(Open(ctx_, u"x", u"\\junk.zip", {}), kErrZipNotAnArchive);

  ASSERT_EQ(Create(ctx_, u"x", u"\\x.zip", 0), 0);
  EXPECT_EQ(Create(ctx_, u"X", u"\\y.zip", 0), kErrZipAlreadyOpen);
  PutFile("in.txt", "in");
  ASSERT_EQ(AddFile(ctx_, u"x", u"\\in.txt", kPathWhole, {}), 0);
  EXPECT_EQ(AddFile(ctx_, u"x", u"\\absent.txt", kPathWhole, {}), kErrZipCannotAdd);
  EXPECT_EQ(AddFile(ctx_, u"x", u"\\in.txt", 7, {}), kErrValueOutOfRange);
  EXPECT_EQ(ExtractFileAt(ctx_, u"x", 2, u"\\"), kErrZipBadIndex);
  EXPECT_EQ(ExtractFileAt(ctx_, u"x", 0, u"\\"), kErrZipBadIndex);
  EXPECT_EQ(ExtractFile(ctx_, u"x", u"nope", {}), kErrZipEntryNotFound);
  EXPECT_EQ(InfoFileAt(ctx_, u"x", -1), u"");
  EXPECT_EQ(FileSizeAt(ctx_, u"x", 9, false), -1);

  // A destination that is missing, or a file.
  EXPECT_EQ(ExtractAll(ctx_, u"x", u"\\no\\such\\dir"), kErrZipCannotExtract);
  EXPECT_NE(ctx_.systemError(), 0u);
  EXPECT_EQ(ExtractAll(ctx_, u"x", u"\\in.txt"), kErrZipCannotExtract);
  // A read-only destination (root writes anyway, so only checked as a user).
  if (geteuid() != 0) {
    std::filesystem::create_directories(Host("ro"));
    std::filesystem::permissions(Host("ro"), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(ExtractAll(ctx_, u"x", u"\\ro"), kErrZipCannotExtract);
    EXPECT_EQ(ctx_.systemError(), 5u);
  }

  // Closed twice: the second is an error, not a crash.
  EXPECT_EQ(Close(ctx_, u"x"), 0);
  ctx_.clearError();
  EXPECT_EQ(Close(ctx_, u"x"), kErrZipNotOpen);
  EXPECT_EQ(ctx_.errorId(), kErrZipNotOpen);
  EXPECT_EQ(ListFiles(ctx_, u"x"), u"");
  EXPECT_FALSE(IsMulti(ctx_, u"x"));
}

TEST_F(ArchiveTest, PasswordsEncryptAndAreNeededToRead) {
  PutFile("secret.txt", "the secret");
  ASSERT_EQ(Create(ctx_, u"p", u"\\p.zip", 0), 0);
  ASSERT_EQ(Close(ctx_, u"p"), 0);
  ASSERT_EQ(Open(ctx_, u"p", u"\\p.zip", u"sésame"), 0);
  ASSERT_EQ(AddFile(ctx_, u"p", u"\\secret.txt", kPathNone, {}), 0) << Utf8(ctx_.message());
  EXPECT_NE(InfoFileAt(ctx_, u"p", 1).find(u"encrypted"), std::u16string::npos);
  ASSERT_EQ(Close(ctx_, u"p"), 0);
  std::filesystem::create_directories(Host("D"));
  ASSERT_EQ(Open(ctx_, u"p", u"\\p.zip", {}), 0);
  EXPECT_EQ(ExtractAll(ctx_, u"p", u"\\D"), kErrZipPassword);
  EXPECT_FALSE(HostExists("D/secret.txt"));
  ASSERT_EQ(Close(ctx_, u"p"), 0);
  ASSERT_EQ(Open(ctx_, u"p", u"\\p.zip", u"sésame"), 0);
  EXPECT_EQ(ExtractAll(ctx_, u"p", u"\\D"), 0);
  EXPECT_EQ(GetFile("D/secret.txt"), "the secret");
  if (Have("7z")) {
    std::string out;
    EXPECT_EQ(Run("7z t -psésame " + Host("p.zip"), &out), 0) << out;
  }
}

}  // namespace
}  // namespace kp::test

namespace kp::test {
namespace {

using namespace archive;

// A short run of what fuzz/zip_open.cpp does at length: a good archive with
// bytes changed, cut or repeated, opened, listed, measured and extracted.
TEST_F(ArchiveTest, MutatedArchivesFailCleanly) {
  PutFile("src/a.txt", Random(3000, 1));
  PutFile("src/b/c.bin", Random(9000, 2));
  ASSERT_EQ(Create(ctx_, u"g", u"\\good.zip", 0), 0);
  ASSERT_EQ(AddDirectory(ctx_, u"g", u"\\src", true, kPathNone, {}), 0);
  ASSERT_EQ(Close(ctx_, u"g"), 0);
  const std::string good = GetFile("good.zip");
  std::mt19937 rng(11);
  std::filesystem::create_directories(Host("out"));
  for (int round = 0; round < 300; ++round) {
    std::string bad = good;
    switch (round % 3) {
      case 0:
        for (int k = 0; k < 1 + round % 7; ++k) bad[rng() % bad.size()] = static_cast<char>(rng());
        break;
      case 1:
        bad.resize(rng() % bad.size());
        break;
      default:
        bad.insert(rng() % bad.size(), bad.substr(rng() % bad.size(), 40));
    }
    PutFile("bad.zip", bad);
    ctx_.clearError();
    if (Open(ctx_, u"m", u"\\bad.zip", {}) != 0) {
      EXPECT_TRUE(ctx_.hasError());
      continue;
    }
    const int32_t count = FileCount(ctx_, u"m");
    ListFiles(ctx_, u"m");
    for (int32_t i = 1; i <= count; ++i) InfoFileAt(ctx_, u"m", i);
    PartsNeeded(ctx_, u"m", 65536, 65536);
    ExtractAll(ctx_, u"m", u"\\out");
    EXPECT_EQ(Close(ctx_, u"m"), 0);
  }
  // Nothing was written outside the destination.
  for (auto& e : std::filesystem::directory_iterator(Host("")))
    EXPECT_TRUE(e.path().filename() == "out" || e.path().filename() == "src" || e.path().filename() == "good.zip" ||
                e.path().filename() == "bad.zip" || e.path().filename() == "Temp")
        << e.path();
}

}  // namespace
}  // namespace kp::test
