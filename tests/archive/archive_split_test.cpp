// Multi-part archives in the standard split form, against zip: our parts are
// joined by `zip -s 0` and tested by unzip; parts made by `zip -s` are read
// and joined by us; a cut and a join over random files give the same files.
#include <filesystem>

#include "archive/archive_fixture.h"
#include "archive/split.h"

namespace kp::test {
namespace {

using namespace archive;

void PutRandomTree(ArchiveTest* t, const std::function<void(const std::string&, const std::string&)>& put) {
  std::mt19937 rng(7);
  for (int i = 0; i < 12; ++i) {
    // Below one part: `zip -s 0` (zip 3.0) itself mis-joins an entry spread
    // over three parts, ours or its own.
    const size_t size = rng() % 60000;
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(rng() % (i % 2 ? 256 : 16));
    put("R/" + std::string(i % 3 ? "d/" : "") + "f" + std::to_string(i) + ".bin", bytes);
  }
}

TEST_F(ArchiveTest, SplitPartsAreReadByZipAndJoinBack) {
  if (!Have("zip") || !Have("unzip")) GTEST_SKIP() << "zip or unzip missing";
  PutRandomTree(this, [&](const std::string& n, const std::string& b) { PutFile(n, b); });
  ASSERT_EQ(Create(ctx_, u"s", u"\\s.zip", 0), 0);
  ASSERT_EQ(AddDirectory(ctx_, u"s", u"\\R", true, kPathRelative, {}), 0);
  const int32_t needed = PartsNeeded(ctx_, u"s", 65536, 100000);
  EXPECT_GT(needed, 3);
  std::vector<std::u16string> seen;
  ctx_.procedures[u"Each"] = [&](const std::vector<Value>& args) {
    seen.push_back(std::get<std::u16string>(args[0]));
    EXPECT_EQ(std::get<int32_t>(args[2]), 42);
    return Value{true};
  };
  ASSERT_EQ(Split(ctx_, u"s", 65536, {}, {}, 100000, u"Each", 42), 0) << Utf8(ctx_.message());
  EXPECT_EQ(PartCount(ctx_, u"s"), needed);
  EXPECT_TRUE(IsMulti(ctx_, u"s"));
  ASSERT_EQ(seen.size(), static_cast<size_t>(needed));
  EXPECT_EQ(seen.front(), u"\\s.z01");
  EXPECT_EQ(seen.back(), u"\\s.zip");
  EXPECT_EQ(std::filesystem::file_size(Host("s.z01")), 100000u);
  EXPECT_LE(std::filesystem::file_size(Host("s.z02")), 65536u);

  std::string out;
  ASSERT_EQ(Run("cd " + Host("") + " && zip -q -s 0 s.zip --out joined.zip && unzip -q -t joined.zip", &out), 0)
      << out;
  ASSERT_EQ(Run("mkdir " + Host("X") + " && cd " + Host("X") + " && unzip -q ../joined.zip", &out), 0) << out;
  EXPECT_EQ(Run("diff -r " + Host("R") + " " + Host("X") + "/R", &out), 0) << out;

  // Changed while in parts: cut again, still readable by the tools.
  PutFile("late.txt", "late");
  ASSERT_EQ(AddFile(ctx_, u"s", u"\\late.txt", kPathNone, {}), 0) << Utf8(ctx_.message());
  ASSERT_EQ(Close(ctx_, u"s"), 0);
  ASSERT_EQ(Open(ctx_, u"s", u"\\s.zip", {}), 0);
  EXPECT_TRUE(IsMulti(ctx_, u"s"));
  EXPECT_GE(FindFile(ctx_, u"s", u"late.txt", 1, false), 1);
  // Joined in place: one plain archive, the parts gone.
  ASSERT_EQ(Merge(ctx_, u"s", {}), 0) << Utf8(ctx_.message());
  EXPECT_FALSE(IsMulti(ctx_, u"s"));
  EXPECT_FALSE(HostExists("s.z01"));
  EXPECT_EQ(Run("unzip -q -t " + Host("s.zip"), &out), 0) << out;
  std::filesystem::create_directories(Host("Y"));
  ASSERT_EQ(ExtractAll(ctx_, u"s", u"\\Y"), 0);
  EXPECT_EQ(Run("diff -r " + Host("R") + " " + Host("Y") + "/R", &out), 0) << out;
  EXPECT_EQ(GetFile("Y/late.txt"), "late");
}

TEST_F(ArchiveTest, ReadsAndJoinsPartsMadeByZip) {
  if (!Have("zip")) GTEST_SKIP() << "zip missing";
  PutRandomTree(this, [&](const std::string& n, const std::string& b) { PutFile(n, b); });
  std::string out;
  ASSERT_EQ(Run("cd " + Host("") + " && zip -q -r -s 64k z.zip R", &out), 0) << out;
  ASSERT_TRUE(HostExists("z.z02"));
  ASSERT_EQ(Open(ctx_, u"z", u"\\z.zip", {}), 0) << Utf8(ctx_.message());
  EXPECT_EQ(PartCount(ctx_, u"z"), CountParts(u"\\z.zip"));
  EXPECT_GT(PartCount(ctx_, u"z"), 2);
  std::filesystem::create_directories(Host("E"));
  ASSERT_EQ(ExtractAll(ctx_, u"z", u"\\E"), 0) << Utf8(ctx_.message());
  EXPECT_EQ(Run("diff -r " + Host("R") + " " + Host("E") + "/R", &out), 0) << out;
  ASSERT_EQ(Merge(ctx_, u"z", u"\\one.zip"), 0);
  EXPECT_TRUE(HostExists("z.z01"));  // joined elsewhere: the parts stay
  if (Have("unzip")) EXPECT_EQ(Run("unzip -q -t " + Host("one.zip"), &out), 0) << out;
  // The joined working copy lives while the archive is open, and goes with
  // it, also when the library unloads with the archive still open.
  auto copies = [&] {
    size_t n = 0;
    for (auto& e : std::filesystem::directory_iterator(Host("Temp"))) n += e.is_regular_file();
    return n;
  };
  EXPECT_EQ(copies(), 1u);
  ASSERT_EQ(Close(ctx_, u"z"), 0);
  EXPECT_EQ(copies(), 0u);
  ASSERT_EQ(Open(ctx_, u"z", u"\\z.zip", {}), 0);
  EXPECT_EQ(copies(), 1u);
  CloseAllArchives();
  EXPECT_EQ(copies(), 0u);
  // A missing part is named.
  std::filesystem::remove(Host("z.z02"));
  EXPECT_NE(Open(ctx_, u"z", u"\\z.zip", {}), 0);
}

TEST_F(ArchiveTest, SmallArchivesStayOnePartAndSizesAreChecked) {
  PutFile("a.txt", "a");
  ASSERT_EQ(Create(ctx_, u"m", u"\\m.zip", 65536), 0);
  ASSERT_EQ(AddFile(ctx_, u"m", u"\\a.txt", kPathNone, {}), 0);
  EXPECT_EQ(PartCount(ctx_, u"m"), 1);
  EXPECT_FALSE(IsMulti(ctx_, u"m"));
  EXPECT_EQ(PartsNeeded(ctx_, u"m", 65536, 0), 1);
  EXPECT_EQ(PartsNeeded(ctx_, u"m", 100, 0), -1);
  EXPECT_EQ(ctx_.errorId(), kErrZipBadPartSize);
  // Grown past one part: cut at the next change, without being asked again.
  PutFile("big.bin", Random(200000, 5));
  ASSERT_EQ(AddFile(ctx_, u"m", u"\\big.bin", kPathNone, {}), 0) << Utf8(ctx_.message());
  EXPECT_GT(PartCount(ctx_, u"m"), 1);
  EXPECT_TRUE(HostExists("m.z01"));
}

}  // namespace
}  // namespace kp::test
