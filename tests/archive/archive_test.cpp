// The archive functions against independent tools: what we write, unzip and
// Python's zipfile read back byte for byte; what zip and zipfile write, we
// read. Plus the list, the search and the sizes against tables written here.
#include <sys/stat.h>

#include <filesystem>

#include "archive/archive_fixture.h"
#include "archive/common.h"

namespace kp::test {
namespace {

using namespace archive;

// Checks an archive against the host directory it was made from: every file
// under `root` is in the archive under `prefix`, same bytes, same time within
// the format's two seconds; nothing else is there.
constexpr char kZipfileCheck[] = R"PY(
import os, sys, time, zipfile
archive, root, prefix = sys.argv[1], sys.argv[2], sys.argv[3]
z = zipfile.ZipFile(archive)
bad = z.testzip()
if bad: sys.exit("bad CRC: " + bad)
names = {i.filename: i for i in z.infolist() if not i.filename.endswith("/")}
want = {}
for d, _, files in os.walk(root):
    for f in files:
        p = os.path.join(d, f)
        want[prefix + os.path.relpath(p, root).replace(os.sep, "/")] = p
if set(names) != set(want): sys.exit("names differ: %r vs %r" % (sorted(names), sorted(want)))
for n, p in want.items():
    i = names[n]
    if z.read(n) != open(p, "rb").read(): sys.exit("content differs: " + n)
    if i.file_size != os.path.getsize(p): sys.exit("size differs: " + n)
    if any(ord(c) > 127 for c in n) and not i.flag_bits & 0x800: sys.exit("no UTF-8 flag: " + n)
    t = time.mktime(i.date_time + (0, 0, -1))
    if abs(t - os.path.getmtime(p)) > 2: sys.exit("time differs: " + n)
print("ok", len(names))
)PY";

TEST_F(ArchiveTest, OursAreReadByUnzipAndZipfile) {
  if (!Have("unzip") || !Have("python3")) GTEST_SKIP() << "unzip or python3 missing";
  PutFile("Src/a.txt", "hello\n");
  PutFile("Src/été/données.bin", Random(300000, 1));
  PutFile("Src/sub/deep/empty.txt", "");
  PutFile("Src/sub/z.txt", Random(70000, 2));
  PutFile("check.py", kZipfileCheck);

  ASSERT_EQ(Create(ctx_, u"z", u"\\Out.zip", 0), 0) << Utf8(ctx_.message());
  ASSERT_EQ(AddDirectory(ctx_, u"z", u"\\Src", true, kPathNone, u"top"), 0) << Utf8(ctx_.message());
  ASSERT_EQ(AddFile(ctx_, u"z", u"\\Src\\a.txt", kPathWhole, {}), 0);
  ASSERT_EQ(Close(ctx_, u"z"), 0);

  std::string out;
  EXPECT_EQ(Run("unzip -t " + Host("Out.zip"), &out), 0) << out;
  // The one file added with its whole path sits beside the tree.
  std::filesystem::create_directories(Host("Expect/top"));
  std::filesystem::copy(Host("Src"), Host("Expect/top"), std::filesystem::copy_options::recursive);
  std::filesystem::create_directories(Host("Expect/Src"));
  std::filesystem::copy_file(Host("Src/a.txt"), Host("Expect/Src/a.txt"));
  for (auto* f : {"Src/a.txt", "Src/été/données.bin", "Src/sub/deep/empty.txt", "Src/sub/z.txt"}) {
    const std::string rel = std::string(f).substr(4);
    std::filesystem::last_write_time(Host("Expect/top/" + rel), std::filesystem::last_write_time(Host(f)));
  }
  std::filesystem::last_write_time(Host("Expect/Src/a.txt"), std::filesystem::last_write_time(Host("Src/a.txt")));
  EXPECT_EQ(Run("python3 " + Host("check.py") + " " + Host("Out.zip") + " " + Host("Expect") + " ''", &out), 0) << out;
}

TEST_F(ArchiveTest, ExtractionGivesBackTheBytesAndTimes) {
  PutFile("Src/one.bin", Random(200000, 3));
  PutFile("Src/d/two.txt", "two\r\n");
  const auto when = std::filesystem::last_write_time(Host("Src/one.bin")) - std::chrono::hours(50);
  std::filesystem::last_write_time(Host("Src/one.bin"), when);
  ASSERT_EQ(Create(ctx_, u"z", u"\\a.zip", 0), 0);
  ASSERT_EQ(AddDirectory(ctx_, u"z", u"\\Src", true, kPathNone, {}), 0);
  std::filesystem::create_directories(Host("Dest"));
  ASSERT_EQ(ExtractAll(ctx_, u"z", u"\\Dest"), 0) << Utf8(ctx_.message());
  EXPECT_EQ(GetFile("Dest/one.bin"), GetFile("Src/one.bin"));
  EXPECT_EQ(GetFile("Dest/d/two.txt"), "two\r\n");
  const auto got = std::filesystem::last_write_time(Host("Dest/one.bin"));
  EXPECT_LE(std::chrono::abs(got - when), std::chrono::seconds(2));
  // One file, by name (case and separators as the device reads them) and by index.
  std::filesystem::create_directories(Host("One"));
  EXPECT_EQ(ExtractFile(ctx_, u"z", u"D\\TWO.TXT", u"\\One"), 0);
  EXPECT_EQ(GetFile("One/d/two.txt"), "two\r\n");
  EXPECT_EQ(ExtractFileAt(ctx_, u"z", 1, u"\\One\\"), 0);
  EXPECT_TRUE(HostExists("One/d"));
  EXPECT_EQ(CurrentFile(ctx_, u"z"), u"d/");
  // No destination: the path in the archive, from the device root.
  EXPECT_EQ(ExtractFile(ctx_, u"z", u"one.bin", {}), 0);
  EXPECT_EQ(GetFile("one.bin"), GetFile("Src/one.bin"));
}

TEST_F(ArchiveTest, AnArchiveInsideTheDirectoryItPacksLeavesItselfOut) {
  PutFile("Pack/a.txt", "a");
  ASSERT_EQ(Create(ctx_, u"p", u"\\Pack\\self.zip", 0), 0);
  ASSERT_EQ(AddDirectory(ctx_, u"p", u"\\Pack", true, kPathNone, {}), 0);
  EXPECT_EQ(ListFiles(ctx_, u"p"), u"a.txt");
}

TEST_F(ArchiveTest, ReadsArchivesMadeByZipAndZipfile) {
  if (!Have("zip") || !Have("python3")) GTEST_SKIP() << "zip or python3 missing";
  PutFile("In/x.txt", "from zip\n");
  PutFile("In/sub/y.bin", Random(50000, 4));
  ASSERT_EQ(Run("cd " + Host("In") + " && zip -q -r ../byzip.zip ."), 0);
  ASSERT_EQ(Open(ctx_, u"a", u"\\byzip.zip", {}), 0) << Utf8(ctx_.message());
  EXPECT_EQ(FileCount(ctx_, u"a"), 3);
  std::filesystem::create_directories(Host("OutA"));
  ASSERT_EQ(ExtractAll(ctx_, u"a", u"\\OutA"), 0) << Utf8(ctx_.message());
  EXPECT_EQ(GetFile("OutA/sub/y.bin"), GetFile("In/sub/y.bin"));

  PutFile("make.py",
          "import zipfile,sys\n"
          "z=zipfile.ZipFile(sys.argv[1],'w',zipfile.ZIP_DEFLATED)\n"
          "z.writestr('naïve/ça.txt','bonjour')\n"
          "z.writestr('stored.txt','plain',compress_type=zipfile.ZIP_STORED)\n"
          "z.close()\n");
  ASSERT_EQ(Run("python3 " + Host("make.py") + " " + Host("bypy.zip")), 0);
  ASSERT_EQ(Open(ctx_, u"b", u"\\bypy.zip", {}), 0);
  EXPECT_EQ(ListFiles(ctx_, u"b"), u"naïve/ça.txt\r\nstored.txt");
  std::filesystem::create_directories(Host("OutB"));
  ASSERT_EQ(ExtractAll(ctx_, u"b", u"\\OutB"), 0);
  EXPECT_EQ(GetFile("OutB/naïve/ça.txt"), "bonjour");
  EXPECT_EQ(GetFile("OutB/stored.txt"), "plain");
}

TEST_F(ArchiveTest, NamesWithoutTheUtf8FlagReadAsTheOemCodePage) {
  // "é" is 0x82 in code page 437, as archivers on Windows write it.
  PutFile("oem.zip", RawZip({{"caf\x82.txt", "x"}}));
  ASSERT_EQ(Open(ctx_, u"o", u"\\oem.zip", {}), 0);
  EXPECT_EQ(ListFiles(ctx_, u"o"), u"café.txt");
}

TEST_F(ArchiveTest, ListSearchAndSizesAgreeWithATable) {
  struct Row {
    const char* name;
    size_t size;
  } rows[] = {{"Docs/readme.txt", 1200}, {"Docs/Guide.TXT", 80000}, {"img/logo.png", 5000}, {"notes.txt", 0}};
  for (const Row& r : rows) PutFile(std::string("T/") + r.name, std::string(r.size, 'a'));
  ASSERT_EQ(Create(ctx_, u"t", u"\\t.zip", 0), 0);
  for (const Row& r : rows) {
    const std::u16string file = u"\\T\\" + FromUtf8(r.name);
    ASSERT_EQ(AddFile(ctx_, u"t", file, kPathNone, DirectoryPart(FromUtf8(r.name))), 0);
  }
  EXPECT_EQ(ListFiles(ctx_, u"t"), u"Docs/readme.txt\r\nDocs/Guide.TXT\r\nimg/logo.png\r\nnotes.txt");
  EXPECT_EQ(FileCount(ctx_, u"t"), 4);
  int64_t total = 0;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(FileSizeAt(ctx_, u"t", i + 1, false), static_cast<int64_t>(rows[i].size));
    EXPECT_LE(FileSizeAt(ctx_, u"t", i + 1, true), static_cast<int64_t>(rows[i].size) + 16);
    total += rows[i].size;
  }
  EXPECT_EQ(Size(ctx_, u"t", false), total);
  EXPECT_LT(Size(ctx_, u"t", true), total / 10);
  EXPECT_EQ(FileSize(ctx_, u"t", u"docs\\guide.txt", false), 80000);

  // Search: whole names with a separator, last names without; from an index.
  EXPECT_EQ(FindFile(ctx_, u"t", u"*.txt", 1, false), 1);
  EXPECT_EQ(FindFile(ctx_, u"t", u"*.txt", 2, false), 2);
  EXPECT_EQ(FindFile(ctx_, u"t", u"*.txt", 2, true), 4);
  EXPECT_EQ(FindFile(ctx_, u"t", u"img\\*", 1, false), 3);
  EXPECT_EQ(FindFile(ctx_, u"t", u"l?go.png", 1, false), 3);
  EXPECT_EQ(FindFile(ctx_, u"t", u"absent", 1, false), 0);
  EXPECT_FALSE(ctx_.hasError());

  EXPECT_EQ(ExtractPathAt(ctx_, u"t", 1), u"Docs");
  EXPECT_EQ(ExtractPath(ctx_, u"t", u"notes.txt"), u"");
  const std::u16string info = InfoFileAt(ctx_, u"t", 2);
  EXPECT_EQ(info.substr(0, 21), u"Docs/Guide.TXT\t80000\t") << Utf8(info);
  EXPECT_NE(info.find(u"\tdeflate"), std::u16string::npos);
}

TEST_F(ArchiveTest, RenameAndDeleteAreWrittenAtOnce) {
  PutFile("f/a.txt", "a");
  PutFile("f/b.txt", "b");
  PutFile("f/c.txt", "c");
  ASSERT_EQ(Create(ctx_, u"r", u"\\r.zip", 0), 0);
  ASSERT_EQ(AddFileList(ctx_, u"r", u"\\f\\a.txt\r\n\\f\\b.txt\n\\f\\c.txt"), 0);
  EXPECT_EQ(ChangePath(ctx_, u"r", u"f/a.txt", u"new\\name.txt"), 0);
  EXPECT_EQ(ChangePathAt(ctx_, u"r", 2, u"moved\\"), 0);
  EXPECT_EQ(ListFiles(ctx_, u"r"), u"new/name.txt\r\nmoved/b.txt\r\nf/c.txt");
  EXPECT_EQ(ChangePath(ctx_, u"r", u"f/c.txt", u"..\\escape.txt"), kErrZipBadEntryName);
  EXPECT_EQ(ChangePath(ctx_, u"r", u"f/c.txt", u"moved/b.txt"), kErrZipBadEntryName);
  ASSERT_EQ(Close(ctx_, u"r"), 0);
  // Another reader sees the changes: they are on disk.
  ASSERT_EQ(Open(ctx_, u"r", u"\\r.zip", {}), 0);
  EXPECT_EQ(ListFiles(ctx_, u"r"), u"new/name.txt\r\nmoved/b.txt\r\nf/c.txt");
  EXPECT_EQ(DeleteFile(ctx_, u"r", u"moved/b.txt"), 0);
  EXPECT_EQ(DeleteFileList(ctx_, u"r", u"new/name.txt\r\nabsent"), kErrZipEntryNotFound);
  EXPECT_EQ(ListFiles(ctx_, u"r"), u"f/c.txt");
  EXPECT_EQ(DeleteAll(ctx_, u"r"), 0);
  EXPECT_EQ(FileCount(ctx_, u"r"), 0);
  // An empty archive stays a file, a valid one.
  EXPECT_TRUE(HostExists("r.zip"));
  ASSERT_EQ(Close(ctx_, u"r"), 0);
  EXPECT_EQ(Open(ctx_, u"r", u"\\r.zip", {}), 0);
}

TEST_F(ArchiveTest, MessagesByNumberInBothLanguages) {
  EXPECT_EQ(MessageError(ctx_, kErrZipNotOpen), u"L'archive <...> n'est pas ouverte.");
  EXPECT_FALSE(MessageError(ctx_, 0).empty());
  EXPECT_EQ(MessageError(ctx_, 12345), u"");
  EXPECT_EQ(ctx_.errorId(), kErrValueOutOfRange);
  // A failing call returns its number, and the record holds it with the name.
  ctx_.clearError();
  EXPECT_EQ(FileCount(ctx_, u"nothing"), -1);
  EXPECT_EQ(ctx_.errorId(), kErrZipNotOpen);
  EXPECT_NE(ctx_.message().find(u"<nothing>"), std::u16string::npos);
}

}  // namespace
}  // namespace kp::test

namespace kp::test {
namespace {

using namespace archive;

TEST_F(ArchiveTest, SelfExtractingArchivesAreZipsAndShellScripts) {
  if (!Have("unzip") || !Have("python3")) GTEST_SKIP() << "unzip or python3 missing";
  PutFile("app/run.txt", "payload");
  PutFile("app/lib/data.bin", Random(40000, 6));
  ASSERT_EQ(Create(ctx_, u"x", u"\\app.zip", 0), 0);
  ASSERT_EQ(AddDirectory(ctx_, u"x", u"\\app", true, kPathNone, {}), 0);
  ASSERT_EQ(CreateExe(ctx_, u"x", u"\\setup.sh", u"Setup", u"It's unpacking", u"/nowhere", u"cat run.txt"), 0)
      << Utf8(ctx_.message());
  EXPECT_EQ(GetFile("setup.sh").rfind("#!/bin/sh\n", 0), 0u);
  std::string out;
  // The offsets count the script: unzip finds no stray bytes to complain of.
  EXPECT_EQ(Run("unzip -t " + Host("setup.sh"), &out), 0) << out;
  EXPECT_EQ(out.find("extra bytes"), std::string::npos) << out;
  EXPECT_EQ(Run("python3 -c \"import zipfile,sys; z=zipfile.ZipFile(sys.argv[1]); "
                "sys.exit(z.read('lib/data.bin')!=open(sys.argv[2],'rb').read())\" " +
                    Host("setup.sh") + " " + Host("app/lib/data.bin"),
                &out),
            0)
      << out;
  // Run as a script, it extracts where it is told and runs the command there.
  ASSERT_EQ(Run("sh " + Host("setup.sh") + " " + Host("unpacked"), &out), 0) << out;
  EXPECT_NE(out.find("It's unpacking"), std::string::npos) << out;
  EXPECT_NE(out.find("payload"), std::string::npos) << out;
  EXPECT_EQ(GetFile("unpacked/lib/data.bin"), GetFile("app/lib/data.bin"));
  EXPECT_EQ(CreateExe(ctx_, u"x", u"\\app.zip", {}, {}, {}, {}), kErrZipBadEntryName);
}

}  // namespace
}  // namespace kp::test
