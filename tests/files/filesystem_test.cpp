// The device file system on POSIX: the mapping under the prefix, case
// folding, the root that nothing escapes, Win32 error numbers.
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "files/files_fixture.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/fs_names.h"

namespace kp::test {
namespace {

namespace fs = platform::fs;

using PathResolution = FilesTest;
using FileSystem = FilesTest;

TEST_F(PathResolution, BothSeparatorsMapUnderThePrefix) {
  PutFile("My Documents/a.txt", "hello");
  for (const char16_t* name : {u"\\My Documents\\a.txt", u"/My Documents/a.txt", u"\\My Documents//a.txt"}) {
    const fs::FileHandle f = fs::CreateFile(name, fs::kGenericRead, 3, fs::kOpenExisting, 0);
    ASSERT_NE(f, fs::kInvalidFile);
    EXPECT_EQ(ReadAll(f), "hello");
    fs::CloseHandle(f);
  }
}

TEST_F(PathResolution, CaseInsensitiveExactMatchFirst) {
  PutFile("Dir/Name.TXT", "upper");
  PutFile("Dir/name.txt", "lower");
  PutFile("Dir/Only.txt", "only");
  fs::FileHandle f = fs::CreateFile(u"\\DIR\\name.txt", fs::kGenericRead, 3, fs::kOpenExisting, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  EXPECT_EQ(ReadAll(f), "lower");
  fs::CloseHandle(f);
  f = fs::CreateFile(u"\\dir\\ONLY.TXT", fs::kGenericRead, 3, fs::kOpenExisting, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  EXPECT_EQ(ReadAll(f), "only");
  fs::CloseHandle(f);
  // Non-ASCII letters fold too.
  PutFile("Été.txt", "x");
  EXPECT_NE(fs::GetFileAttributes(u"\\éTÉ.TXT"), fs::kInvalidAttributes);
  EXPECT_EQ(platform::fs::names::Fold(u"été"), u"ÉTÉ");
}

TEST_F(PathResolution, CreatingThroughAnotherCaseWritesTheExistingFile) {
  PutFile("Data/Log.txt", "old");
  const fs::FileHandle f = fs::CreateFile(u"\\data\\LOG.TXT", fs::kGenericWrite, 3, fs::kCreateAlways, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  fs::WriteFile(f, "new", 3, nullptr);
  fs::CloseHandle(f);
  EXPECT_EQ(GetFile("Data/Log.txt"), "new");
  EXPECT_FALSE(HostExists("data"));
}

TEST_F(PathResolution, DotDotAndDotAreRefused) {
  for (const char16_t* name : {u"\\..\\..\\etc\\passwd", u"/a/../../etc/passwd", u"\\.\\x", u"\\.."}) {
    EXPECT_EQ(fs::CreateFile(name, fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
    EXPECT_EQ(platform::LastError(), 3u) << Utf8(name);
    EXPECT_EQ(fs::GetFileAttributes(name), fs::kInvalidAttributes);
  }
  EXPECT_FALSE(fs::CreateDirectory(u"\\..\\escaped"));
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/escaped"));
}

// The names of a listing, from its first entry on.
std::vector<std::u16string> Names(fs::FindHandle h, fs::FindData* first) {
  std::vector<std::u16string> names;
  if (h == fs::kInvalidFind) return names;
  names.push_back(first->name);
  while (fs::FindNextFile(h, first)) names.push_back(first->name);
  fs::FindClose(h);
  return names;
}

// A walk enters a subdirectory through its parent's listing: the same
// entries as by its path, a link inside still followed by its path, and a
// directory swapped for a link that leads outside after the parent was
// listed is not entered.
TEST_F(PathResolution, ListingBelowAnEntryMatchesItsPathAndStaysInside) {
  PutFile("top/sub/b.txt", "b");
  PutFile("top/sub/a.txt", "a");
  PutFile("top/real/r.txt", "r");
  ASSERT_EQ(symlink(Host("top/real").c_str(), Host("top/alias").c_str()), 0);
  std::filesystem::create_directories(dir_ + "/outside");
  std::ofstream(dir_ + "/outside/secret") << "secret";
  fs::FindData d;
  const fs::FindHandle parent = fs::FindFirstFile(u"\\top\\*", &d);
  ASSERT_NE(parent, fs::kInvalidFind);
  std::map<std::u16string, std::vector<std::u16string>> below;
  do {
    fs::FindData first;
    const std::u16string pattern = u"\\top\\" + d.name + u"\\*";
    below[d.name] = Names(fs::FindFirstFileBelow(parent, pattern, &first), &first);
    fs::FindData byPath;
    EXPECT_EQ(below[d.name], Names(fs::FindFirstFile(pattern, &byPath), &byPath)) << std::string(d.name.begin(), d.name.end());
    if (d.name == u"real") {
      // Swapped for a link to outside once listed: not entered.
      std::filesystem::rename(Host("top/real"), Host("top/was-real"));
      ASSERT_EQ(symlink((dir_ + "/outside").c_str(), Host("top/real").c_str()), 0);
      fs::FindData swapped;
      EXPECT_EQ(fs::FindFirstFileBelow(parent, pattern, &swapped), fs::kInvalidFind);
      EXPECT_NE(swapped.name, u"secret");
    }
  } while (fs::FindNextFile(parent, &d));
  fs::FindClose(parent);
  EXPECT_EQ(below[u"sub"], (std::vector<std::u16string>{u"a.txt", u"b.txt"}));
  EXPECT_EQ(below[u"alias"], (std::vector<std::u16string>{u"r.txt"}));
  EXPECT_EQ(below[u"real"], (std::vector<std::u16string>{u"r.txt"}));
}

// The listing of a size total (kFindSizesOnly): every size once, the
// directories named and entered below as themselves (the entries are in the
// directory's own order, not sorted), a link inside counted as its target.
TEST_F(PathResolution, ASizesOnlyListingEntersEachDirectoryAsItself) {
  // Totals that tell the directories apart: d<5-i> holds i + 1 files of i + 1 bytes.
  for (int i = 0; i < 6; ++i)
    for (int f = 0; f <= i; ++f)
      PutFile("top/d" + std::to_string(5 - i) + "\xc3\xa9/f" + std::to_string(f),
              std::string(1, 'x') + std::string(i, 'y'));
  PutFile("top/plain.txt", std::string(7, 'p'));
  ASSERT_EQ(symlink(Host("top/plain.txt").c_str(), Host("top/link").c_str()), 0);
  const uint32_t details = fs::kFindSizeTimes | fs::kFindSizesOnly;
  fs::FindData d;
  const fs::FindHandle parent = fs::FindFirstFile(u"\\top\\*", &d, details);
  ASSERT_NE(parent, fs::kInvalidFind);
  int64_t files = 0;
  std::map<std::u16string, int64_t> below;
  do {
    if (!(d.attributes & fs::kAttrDirectory)) {
      EXPECT_TRUE(d.name.empty());
      files += d.size;
      continue;
    }
    fs::FindData f;
    const fs::FindHandle h = fs::FindFirstFileBelow(parent, u"\\top\\" + d.name + u"\\*", &f, details);
    ASSERT_NE(h, fs::kInvalidFind);
    int64_t total = 0;
    do total += f.size;
    while (fs::FindNextFile(h, &f));
    fs::FindClose(h);
    below[d.name] = total;
  } while (fs::FindNextFile(parent, &d));
  fs::FindClose(parent);
  EXPECT_EQ(files, 14);
  ASSERT_EQ(below.size(), 6u);
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(below[u"d" + std::u16string(1, static_cast<char16_t>(u'0' + 5 - i)) + u"\u00e9"], (i + 1) * (i + 1)) << i;
}

// The whole-file read of INILit: exact bytes at any size, a name in
// another case, and the errors the INI functions tell apart.
TEST_F(PathResolution, ReadWholeFileGivesTheBytesOrTheReason) {
  std::string big(70000, 'x');
  for (size_t i = 0; i < big.size(); i += 97) big[i] = static_cast<char>('a' + i % 26);
  PutFile("dir/big.ini", big);
  PutFile("dir/one.ini", "1");
  PutFile("dir/empty.ini", "");
  std::string bytes = "stale";
  EXPECT_EQ(fs::ReadWholeFile(u"\\DIR\\Big.INI", &bytes), 0u);
  EXPECT_EQ(bytes, big);
  EXPECT_EQ(fs::ReadWholeFile(u"\\dir\\one.ini", &bytes), 0u);
  EXPECT_EQ(bytes, "1");
  EXPECT_EQ(fs::ReadWholeFile(u"\\dir\\empty.ini", &bytes), 0u);
  EXPECT_EQ(bytes, "");
  EXPECT_EQ(fs::ReadWholeFile(u"\\dir\\none.ini", &bytes), 2u);
  EXPECT_EQ(fs::ReadWholeFile(u"\\nodir\\none.ini", &bytes), 3u);
  EXPECT_EQ(fs::ReadWholeFile(u"\\dir", &bytes), 5u);
  ASSERT_EQ(mkfifo(Host("dir/fifo.ini").c_str(), 0600), 0);
  EXPECT_EQ(fs::ReadWholeFile(u"\\dir\\fifo.ini", &bytes), 5u);  // refused, without waiting for a writer
  EXPECT_EQ(bytes, "");
}

TEST_F(PathResolution, SymbolicLinksLeadingOutsideAreRefused) {
  std::filesystem::create_directories(dir_ + "/outside");
  std::ofstream(dir_ + "/outside/secret") << "secret";
  ASSERT_EQ(symlink((dir_ + "/outside").c_str(), Host("evil").c_str()), 0);
  ASSERT_EQ(symlink("/etc/passwd", Host("passwd").c_str()), 0);
  ASSERT_EQ(symlink((dir_ + "/outside/none").c_str(), Host("dangling").c_str()), 0);
  EXPECT_EQ(fs::CreateFile(u"\\evil\\secret", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 5u);
  EXPECT_EQ(fs::CreateFile(u"\\PASSWD", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 5u);
  // Writing through a dangling link would create a file outside.
  EXPECT_EQ(fs::CreateFile(u"\\dangling", fs::kGenericWrite, 3, fs::kCreateAlways, 0), fs::kInvalidFile);
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/outside/none"));
  EXPECT_FALSE(fs::CopyFile(u"\\evil\\secret", u"\\copy", false));
  EXPECT_FALSE(fs::MoveFile(u"\\evil\\secret", u"\\moved"));
  EXPECT_TRUE(std::filesystem::exists(dir_ + "/outside/secret"));
  // Links that stay inside work; outside ones are not even listed.
  PutFile("real/f.txt", "in");
  ASSERT_EQ(symlink(Host("real").c_str(), Host("alias").c_str()), 0);
  EXPECT_NE(fs::GetFileAttributes(u"\\alias\\f.txt"), fs::kInvalidAttributes);
  fs::FindData data;
  fs::FindHandle h = fs::FindFirstFile(u"\\*", &data);
  ASSERT_NE(h, fs::kInvalidFind);
  std::vector<std::u16string> names{data.name};
  while (fs::FindNextFile(h, &data)) names.push_back(data.name);
  fs::FindClose(h);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"alias", u"real"}));
}

TEST_F(PathResolution, RelativePathsForTheIniEngine) {
  PutFile("Windows/Win.ini", "");
  EXPECT_EQ(fs::DeviceRelativePath(u"\\WINDOWS\\win.INI"), "Windows/Win.ini");
  EXPECT_EQ(fs::DeviceRelativePath(u"\\windows\\new\\deeper.ini"), "Windows/new/deeper.ini");
  ASSERT_EQ(symlink("/etc", Host("etc").c_str()), 0);
  EXPECT_EQ(fs::DeviceRelativePath(u"\\etc\\passwd"), std::nullopt);
  EXPECT_EQ(fs::DeviceRelativePath(u"\\"), std::nullopt);
}

TEST_F(PathResolution, NativeRootMapsTheHostRoot) {
  setenv("KP_NATIVE_ROOT", "1", 1);
  std::ofstream(dir_ + "/native.txt") << "n";
  const std::u16string name = u"/" + platform::fs::names::FromUtf8(dir_.substr(1)) + u"/NATIVE.TXT";
  EXPECT_NE(fs::GetFileAttributes(name), fs::kInvalidAttributes);
}

TEST_F(FileSystem, DispositionsAndTheirErrors) {
  bool created = false;
  EXPECT_EQ(fs::CreateFile(u"\\none", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 2u);
  EXPECT_EQ(fs::CreateFile(u"\\no\\dir\\f", fs::kGenericRead, 3, fs::kOpenAlways, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 3u);
  fs::FileHandle f = fs::CreateFile(u"\\f", fs::kGenericWrite, 3, fs::kOpenAlways, 0, &created);
  ASSERT_NE(f, fs::kInvalidFile);
  EXPECT_TRUE(created);
  fs::CloseHandle(f);
  f = fs::CreateFile(u"\\f", fs::kGenericWrite, 3, fs::kOpenAlways, 0, &created);
  EXPECT_FALSE(created);
  EXPECT_EQ(platform::LastError(), 183u);
  fs::CloseHandle(f);
  EXPECT_EQ(fs::CreateFile(u"\\F", fs::kGenericWrite, 3, fs::kCreateNew, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 80u);
  ASSERT_TRUE(fs::CreateDirectory(u"\\d"));
  EXPECT_FALSE(fs::CreateDirectory(u"\\D"));
  EXPECT_EQ(platform::LastError(), 183u);
  EXPECT_EQ(fs::CreateFile(u"\\d", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 5u);
}

TEST_F(FileSystem, ReadOnlyFilesRefuseWritingAndDeletion) {
  PutFile("ro.txt", "keep");
  ASSERT_TRUE(fs::SetFileAttributes(u"\\ro.txt", fs::kAttrReadOnly | fs::kAttrHidden));
  EXPECT_EQ(fs::GetFileAttributes(u"\\ro.txt"), fs::kAttrReadOnly | fs::kAttrHidden);
  EXPECT_EQ(fs::CreateFile(u"\\ro.txt", fs::kGenericWrite, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 5u);
  EXPECT_FALSE(fs::DeleteFile(u"\\ro.txt"));
  EXPECT_EQ(platform::LastError(), 5u);
  PutFile("src.txt", "new");
  EXPECT_FALSE(fs::CopyFile(u"\\src.txt", u"\\ro.txt", false));
  EXPECT_EQ(platform::LastError(), 5u);
  EXPECT_EQ(GetFile("ro.txt"), "keep");
  ASSERT_TRUE(fs::SetFileAttributes(u"\\ro.txt", fs::kAttrNormal));
  EXPECT_EQ(fs::GetFileAttributes(u"\\ro.txt"), fs::kAttrNormal);
  EXPECT_TRUE(fs::DeleteFile(u"\\ro.txt"));
}

TEST_F(FileSystem, FreshFilesAreArchiveAndDirectoriesDirectory) {
  PutFile("a.txt", "");
  std::filesystem::create_directories(Host("sub"));
  EXPECT_EQ(fs::GetFileAttributes(u"\\a.txt"), fs::kAttrArchive);
  EXPECT_EQ(fs::GetFileAttributes(u"\\sub"), fs::kAttrDirectory);
  EXPECT_EQ(fs::GetFileAttributes(u"\\"), fs::kAttrDirectory);
}

TEST_F(FileSystem, MoveCopyDeleteAndDirectories) {
  PutFile("a.txt", "abc");
  EXPECT_TRUE(fs::CopyFile(u"\\a.txt", u"\\b.txt", true));
  EXPECT_FALSE(fs::CopyFile(u"\\a.txt", u"\\B.TXT", true));
  EXPECT_EQ(platform::LastError(), 80u);
  EXPECT_FALSE(fs::MoveFile(u"\\a.txt", u"\\b.txt"));
  EXPECT_EQ(platform::LastError(), 183u);
  EXPECT_TRUE(fs::MoveFile(u"\\a.txt", u"\\A.TXT"));  // a change of case only
  EXPECT_TRUE(HostExists("A.TXT"));
  EXPECT_FALSE(HostExists("a.txt"));
  ASSERT_TRUE(fs::CreateDirectory(u"\\d"));
  EXPECT_TRUE(fs::MoveFile(u"\\b.txt", u"\\D\\c.txt"));
  EXPECT_FALSE(fs::RemoveDirectory(u"\\d"));
  EXPECT_EQ(platform::LastError(), 145u);
  EXPECT_TRUE(fs::DeleteFile(u"\\d\\C.TXT"));
  EXPECT_TRUE(fs::RemoveDirectory(u"\\D"));
  EXPECT_FALSE(fs::DeleteFile(u"\\d\\c.txt"));
  EXPECT_EQ(platform::LastError(), 3u);
  EXPECT_FALSE(fs::RemoveDirectory(u"\\A.TXT"));
  EXPECT_EQ(platform::LastError(), 267u);
}

TEST_F(FileSystem, SeekSetEndAndSize) {
  const fs::FileHandle f = fs::CreateFile(u"\\s", fs::kGenericRead | fs::kGenericWrite, 3, fs::kCreateAlways, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  ASSERT_TRUE(fs::WriteFile(f, "0123456789", 10, nullptr));
  int64_t at = -1;
  EXPECT_TRUE(fs::SetFilePointer(f, -4, 2, &at));
  EXPECT_EQ(at, 6);
  EXPECT_TRUE(fs::SetEndOfFile(f));
  EXPECT_EQ(fs::GetFileSize(f), 6);
  EXPECT_FALSE(fs::SetFilePointer(f, -7, 1, &at));
  EXPECT_EQ(platform::LastError(), 131u);
  EXPECT_FALSE(fs::SetFilePointer(f, 0, 3, &at));
  EXPECT_EQ(platform::LastError(), 87u);
  fs::CloseHandle(f);
}

TEST_F(FileSystem, FindWithWildcards) {
  PutFile("w/one.txt", "1");
  PutFile("w/Two.TXT", "22");
  PutFile("w/three", "333");
  std::filesystem::create_directories(Host("w/sub.txt"));
  auto list = [](std::u16string_view pattern) {
    std::vector<std::u16string> names;
    fs::FindData data;
    const fs::FindHandle h = fs::FindFirstFile(pattern, &data);
    if (h == fs::kInvalidFind) return names;
    do names.push_back(data.name);
    while (fs::FindNextFile(h, &data));
    EXPECT_EQ(platform::LastError(), 18u);
    fs::FindClose(h);
    return names;
  };
  EXPECT_EQ(list(u"\\w\\*.txt"), (std::vector<std::u16string>{u"Two.TXT", u"one.txt", u"sub.txt"}));
  EXPECT_EQ(list(u"\\W\\*.*").size(), 4u);
  EXPECT_EQ(list(u"\\w\\t??ee"), (std::vector<std::u16string>{u"three"}));
  EXPECT_TRUE(list(u"\\w\\*.doc").empty());
  EXPECT_EQ(platform::LastError(), 2u);
  EXPECT_TRUE(list(u"\\nowhere\\*").empty());
  EXPECT_EQ(platform::LastError(), 3u);
  fs::FindData data;
  const fs::FindHandle h = fs::FindFirstFile(u"\\w\\three", &data);
  ASSERT_NE(h, fs::kInvalidFind);
  EXPECT_EQ(data.size, 3);
  EXPECT_EQ(data.attributes, fs::kAttrArchive);
  fs::FindClose(h);
}

TEST_F(FileSystem, TemporaryNames) {
  const std::u16string dir = fs::GetTempPath();
  EXPECT_EQ(dir, u"\\Temp\\");
  std::u16string a, b;
  ASSERT_NE(fs::GetTempFileName(dir, u"kpxyz", 0, &a), 0u);
  ASSERT_NE(fs::GetTempFileName(dir, u"kpxyz", 0, &b), 0u);
  EXPECT_NE(a, b);
  EXPECT_TRUE(a.starts_with(u"\\Temp\\kpx") && a.ends_with(u".tmp"));
  EXPECT_NE(fs::GetFileAttributes(a), fs::kInvalidAttributes);
  std::u16string fixed;
  EXPECT_EQ(fs::GetTempFileName(u"\\x", u"p", 0x1AB, &fixed), 0x1ABu);
  EXPECT_EQ(fixed, u"\\x\\p1AB.tmp");
}

TEST_F(FileSystem, MemoryProbes) {
  char local[16] = "abc";
  EXPECT_TRUE(fs::MemoryReadable(local, sizeof local));
  EXPECT_TRUE(fs::MemoryWritable(local, sizeof local));
  EXPECT_STREQ(local, "abc");
  EXPECT_FALSE(fs::MemoryReadable(nullptr, 4));
  EXPECT_FALSE(fs::MemoryWritable(reinterpret_cast<void*>(uintptr_t{16}), 4));
  static const char kConstant[8] = "ro";
  EXPECT_TRUE(fs::MemoryReadable(kConstant, 8));
  EXPECT_FALSE(fs::MemoryWritable(const_cast<char*>(kConstant), 8));
}

}  // namespace
}  // namespace kp::test
