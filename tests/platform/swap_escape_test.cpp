// A hostile neighbour swaps a directory inside the device root with a link
// to an outside "canary" directory, in a tight loop (renameat2 with
// RENAME_EXCHANGE), while every file, directory and attribute call runs on
// names inside that directory a few thousand times. The canary holds the
// same names with its own content, times and attributes: it must never be
// read, listed, written, created in, deleted from or changed, which its
// bytes, entries and change times (ctime, the directory's mtime) tell.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

#include "files/files_fixture.h"
#include "files/paths.h"
#include "files/text.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

namespace fs = platform::fs;

constexpr const char* kCanaryBytes = "CANARY";
// 2001-01-01 and 2010-01-01 as FILETIME values.
constexpr int64_t kCanaryTime = 126227808000000000LL;
constexpr int64_t kInsideTime = 129067776000000000LL;

struct Snapshot {
  std::map<std::string, struct stat> entries;  // by name, with the canary itself as ""
  std::string bytes;
  std::string kept;
};

class SwapEscape : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    canary_ = dir_ + "/canary";
    // The canary: every name the calls below use, and one of its own.
    std::filesystem::create_directories(canary_ + "/sub");
    std::filesystem::create_directories(canary_ + "/newdir");
    Write(canary_ + "/f.txt", kCanaryBytes);
    Write(canary_ + "/del.txt", kCanaryBytes);
    Write(canary_ + "/canary-only.txt", kCanaryBytes);
    Write(canary_ + "/moved.txt", kCanaryBytes);
    // Marked "system", and old: an attribute or time read from it shows.
    ASSERT_EQ(setxattr((canary_ + "/f.txt").c_str(), "user.kp.attributes", "4", 1, 0), 0);
    const timespec old[2] = {{978307200, 0}, {978307200, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (canary_ + "/f.txt").c_str(), old, 0), 0);
    // The directory inside, and the link that is swapped with it.
    PutFile("d/f.txt", "inside");
    std::filesystem::create_directories(Host("d/sub"));
    std::filesystem::create_symlink(canary_, Host("swap"));
    before_ = Take();
  }

  static void Write(const std::string& path, const std::string& bytes) {
    FILE* f = fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
    ASSERT_EQ(fclose(f), 0);
  }

  Snapshot Take() const {
    Snapshot s;
    struct stat st {};
    if (lstat(canary_.c_str(), &st) == 0) s.entries[""] = st;
    for (const auto& e : std::filesystem::recursive_directory_iterator(canary_)) {
      if (lstat(e.path().c_str(), &st) == 0) s.entries[e.path().lexically_relative(canary_).string()] = st;
    }
    FILE* f = fopen((canary_ + "/f.txt").c_str(), "rb");
    if (f) {
      char buffer[64];
      const size_t n = fread(buffer, 1, sizeof buffer, f);
      s.bytes.assign(buffer, n);
      fclose(f);
    }
    char value[16];
    const ssize_t n = getxattr((canary_ + "/f.txt").c_str(), "user.kp.attributes", value, sizeof value);
    if (n > 0) s.kept.assign(value, static_cast<size_t>(n));
    return s;
  }

  // Every change to the canary moves a change time or a size.
  static bool Same(const struct stat& a, const struct stat& b) {
    return a.st_ino == b.st_ino && a.st_mode == b.st_mode && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
  }

  std::string canary_;
  Snapshot before_;
};

TEST_F(SwapEscape, TheCanaryIsNeverTouched) {
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> swaps{0};
  const std::string d = Host("d"), swap = Host("swap");
  std::thread neighbour([&] {
    while (!stop.load(std::memory_order_relaxed)) {
      if (renameat2(AT_FDCWD, d.c_str(), AT_FDCWD, swap.c_str(), RENAME_EXCHANGE) == 0) ++swaps;
    }
  });

  int escapes = 0, rounds = 0, succeeded = 0;
  auto seen = [&](bool escaped, const char* what) {
    if (escaped) {
      ++escapes;
      ADD_FAILURE() << "canary reached by " << what << " in round " << rounds;
    }
  };
  const auto start = std::chrono::steady_clock::now();
  WithinSeconds(60, "the calls under the swap loop", [&] {
    // A few thousand rounds, or as many as fit in the time on a loaded machine.
    for (; rounds < 3000 && std::chrono::steady_clock::now() - start < std::chrono::seconds(7); ++rounds) {
      // Read.
      fs::FileHandle f = fs::CreateFile(u"\\d\\f.txt", fs::kGenericRead, 3, fs::kOpenExisting, 0);
      if (f != fs::kInvalidFile) {
        const std::string got = ReadAll(f);
        seen(got == kCanaryBytes, "CreateFile/ReadFile");
        succeeded += got == "inside";
        fs::CloseHandle(f);
      }
      // Create, write, delete.
      f = fs::CreateFile(u"\\d\\new.txt", fs::kGenericWrite, 3, fs::kCreateAlways, 0);
      if (f != fs::kInvalidFile) {
        fs::WriteFile(f, "x", 1, nullptr);
        fs::CloseHandle(f);
      }
      fs::DeleteFile(u"\\d\\new.txt");
      f = fs::CreateFile(u"\\d\\del.txt", fs::kGenericWrite, 3, fs::kCreateNew, 0);
      if (f != fs::kInvalidFile) fs::CloseHandle(f);
      fs::DeleteFile(u"\\d\\del.txt");
      // Copy out and in, move.
      if (fs::CopyFile(u"\\d\\f.txt", u"\\copy.txt", false)) {
        f = fs::CreateFile(u"\\copy.txt", fs::kGenericRead, 3, fs::kOpenExisting, 0);
        if (f != fs::kInvalidFile) {
          seen(ReadAll(f) == kCanaryBytes, "CopyFile (source)");
          fs::CloseHandle(f);
        }
      }
      fs::CopyFile(u"\\copy.txt", u"\\d\\f2.txt", false);
      fs::MoveFile(u"\\d\\f2.txt", u"\\d\\moved.txt");
      fs::MoveFile(u"\\d\\moved.txt", u"\\moved.txt");
      fs::MoveFile(u"\\moved.txt", u"\\d\\moved.txt");
      fs::DeleteFile(u"\\d\\moved.txt");
      // Directories.
      fs::CreateDirectory(u"\\d\\newdir");
      fs::RemoveDirectory(u"\\d\\newdir");
      // Attributes and times.
      const uint32_t attributes = fs::GetFileAttributes(u"\\d\\f.txt");
      seen(attributes != fs::kInvalidAttributes && (attributes & fs::kAttrSystem), "GetFileAttributes");
      fs::SetFileAttributes(u"\\d\\f.txt", fs::kAttrReadOnly);
      fs::SetFileAttributes(u"\\d\\f.txt", fs::kAttrNormal);
      fs::FileTimes times;
      times.write = kInsideTime;
      fs::SetFileTimes(u"\\d\\f.txt", times);
      if (fs::GetFileTimes(u"\\d\\f.txt", &times)) seen(times.write == kCanaryTime, "GetFileTimes");
      // Listing.
      fs::FindData data;
      const fs::FindHandle h = fs::FindFirstFile(u"\\d\\*", &data);
      if (h != fs::kInvalidFind) {
        do seen(data.name == u"canary-only.txt" || (data.attributes & fs::kAttrSystem), "FindFirstFile");
        while (fs::FindNextFile(h, &data));
        fs::FindClose(h);
      }
      // The file functions above them, now and then.
      if (rounds % 10 == 0) {
        seen(files::LoadText(ctx_, u"\\d\\f.txt") == u"CANARY", "fChargeTexte");
        seen(files::ListFiles(ctx_, u"\\d\\*.*", 0).find(u"canary-only.txt") != std::u16string::npos, "fListeFichier");
        files::SetAttribute(ctx_, u"\\d\\f.txt", u"H");
        files::SetAttribute(ctx_, u"\\d\\f.txt", u"");
        ctx_.clearError();
      }
    }
  });
  stop = true;
  neighbour.join();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  RecordProperty("rounds", rounds);
  RecordProperty("swaps", static_cast<int>(swaps.load()));
  std::printf("%d rounds, %llu swaps, %d reads of the inside file in %.1f s\n", rounds,
              static_cast<unsigned long long>(swaps.load()), succeeded, seconds);
  EXPECT_EQ(escapes, 0);
  // The swap really ran against the calls, and the calls really ran.
  EXPECT_GT(swaps.load(), 1000u);
  EXPECT_GE(rounds, 300);
  EXPECT_GT(succeeded, 0);

  const Snapshot after = Take();
  EXPECT_EQ(after.bytes, kCanaryBytes);
  EXPECT_EQ(after.kept, "4");
  ASSERT_EQ(after.entries.size(), before_.entries.size()) << "entries made in or deleted from the canary";
  for (const auto& [name, st] : before_.entries) {
    const auto it = after.entries.find(name);
    ASSERT_NE(it, after.entries.end()) << "canary/" << name << " deleted";
    EXPECT_TRUE(Same(st, it->second)) << "canary/" << name << " changed";
  }
}

// The same calls through links that stay inside the root work as on the
// directory they name; at a leaf that leads outside, they are refused.
TEST_F(SwapEscape, LinksInsideWorkForEveryCallAndLinksOutsideForNone) {
  std::filesystem::create_symlink("d", Host("alias"));
  fs::FileHandle f = fs::CreateFile(u"\\alias\\f.txt", fs::kGenericRead, 3, fs::kOpenExisting, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  EXPECT_EQ(ReadAll(f), "inside");
  fs::CloseHandle(f);
  f = fs::CreateFile(u"\\alias\\new.txt", fs::kGenericWrite, 3, fs::kCreateNew, 0);
  ASSERT_NE(f, fs::kInvalidFile);
  fs::CloseHandle(f);
  EXPECT_TRUE(HostExists("d/new.txt"));
  EXPECT_TRUE(fs::CopyFile(u"\\alias\\f.txt", u"\\alias\\copy.txt", true));
  EXPECT_EQ(GetFile("d/copy.txt"), "inside");
  EXPECT_TRUE(fs::MoveFile(u"\\alias\\copy.txt", u"\\alias\\sub\\moved.txt"));
  EXPECT_TRUE(HostExists("d/sub/moved.txt"));
  EXPECT_TRUE(fs::DeleteFile(u"\\alias\\sub\\moved.txt"));
  EXPECT_FALSE(HostExists("d/sub/moved.txt"));
  EXPECT_TRUE(fs::CreateDirectory(u"\\alias\\made"));
  EXPECT_TRUE(std::filesystem::is_directory(Host("d/made")));
  EXPECT_TRUE(fs::RemoveDirectory(u"\\alias\\made"));
  EXPECT_TRUE(fs::SetFileAttributes(u"\\alias\\f.txt", fs::kAttrReadOnly | fs::kAttrHidden));
  EXPECT_EQ(fs::GetFileAttributes(u"\\d\\f.txt"), fs::kAttrReadOnly | fs::kAttrHidden);
  EXPECT_TRUE(fs::SetFileAttributes(u"\\alias\\f.txt", fs::kAttrNormal));
  fs::FileTimes times;
  times.write = kInsideTime;
  EXPECT_TRUE(fs::SetFileTimes(u"\\alias\\f.txt", times));
  ASSERT_TRUE(fs::GetFileTimes(u"\\d\\f.txt", &times));
  EXPECT_EQ(times.write, kInsideTime);
  fs::FindData data;
  const fs::FindHandle h = fs::FindFirstFile(u"\\alias\\f*", &data);
  ASSERT_NE(h, fs::kInvalidFind);
  EXPECT_EQ(data.name, u"f.txt");
  fs::FindClose(h);

  // "swap" leads to the canary: every call refuses it with 5.
  EXPECT_EQ(fs::CreateFile(u"\\swap\\f.txt", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
  EXPECT_EQ(platform::LastError(), 5u);
  EXPECT_FALSE(fs::SetFileAttributes(u"\\swap\\f.txt", fs::kAttrNormal));
  EXPECT_EQ(platform::LastError(), 5u);
  EXPECT_FALSE(fs::SetFileTimes(u"\\swap\\f.txt", times));
  EXPECT_FALSE(fs::DeleteFile(u"\\swap\\del.txt"));
  EXPECT_FALSE(fs::RemoveDirectory(u"\\swap\\newdir"));
  EXPECT_EQ(fs::FindFirstFile(u"\\swap\\*", &data), fs::kInvalidFind);
  EXPECT_EQ(platform::LastError(), 5u);
  const Snapshot after = Take();
  EXPECT_EQ(after.entries.size(), before_.entries.size());
  EXPECT_EQ(after.kept, "4");
  EXPECT_TRUE(Same(before_.entries.at("f.txt"), after.entries.at("f.txt")));
}

}  // namespace
}  // namespace kp::test
