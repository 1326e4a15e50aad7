// The INI files against what other processes and a hostile neighbour do:
// FIFOs and links inside the device, read-only files, missing directories,
// writers killed mid-write, concurrent writers and a writer that holds the
// file.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/ini.h"
#include "registry/parameters.h"
#include "registry/registry.h"
#include "registry_fixture.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

namespace stdfs = std::filesystem;

class IniSafety : public FreshDevice {
 protected:
  void SetUp() override {
    FreshDevice::SetUp();
    ASSERT_TRUE(stdfs::create_directories(HostFile("Data")));
    char pattern[] = "/tmp/kp-outside-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    outside_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    stdfs::remove_all(outside_, ignored);
    FreshDevice::TearDown();
  }
  static std::string Content(const std::string& host) {
    std::ifstream in(host, std::ios::binary);
    EXPECT_TRUE(in.good()) << host;
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  static void Put(const std::string& host, const std::string& bytes) {
    std::ofstream out(host, std::ios::binary);
    ASSERT_TRUE(out.good()) << host;
    out << bytes;
  }
  // The writer's temporaries left in the device directory "Data".
  std::vector<std::string> Temporaries() const {
    std::vector<std::string> found;
    for (const auto& e : stdfs::directory_iterator(HostFile("Data")))
      if (e.path().filename().string().starts_with(".~kp.")) found.push_back(e.path().filename().string());
    return found;
  }

  std::string outside_;
};

TEST_F(IniSafety, AFifoIsRefusedWithoutBlocking) {
  ASSERT_EQ(mkfifo(HostFile("Data/pipe.ini").c_str(), 0600), 0);
  const Value read = WithinSeconds(5, "INILit on a FIFO", [&] {
    return registry::IniReadFunction(ctx_, u"S", u"k", u"fallback", u"\\Data\\pipe.ini");
  });
  EXPECT_EQ(read, Value{std::u16string(u"fallback")});
  EXPECT_EQ(ctx_.systemError(), win32::kAccessDenied);
  ctx_.clearError();
  const bool wrote = WithinSeconds(
      5, "INIEcrit on a FIFO", [&] { return registry::IniWriteFunction(ctx_, u"S", u"k", u"v", u"\\Data\\pipe.ini"); });
  EXPECT_FALSE(wrote);
  EXPECT_EQ(ctx_.systemError(), win32::kAccessDenied);
  struct stat st {};
  ASSERT_EQ(lstat(HostFile("Data/pipe.ini").c_str(), &st), 0);
  EXPECT_TRUE(S_ISFIFO(st.st_mode));  // not replaced by a file
  // A missing file is the ordinary default, not an error.
  ctx_.clearError();
  EXPECT_EQ(registry::IniReadFunction(ctx_, u"S", u"k", u"d", u"\\Data\\none.ini"), Value{std::u16string(u"d")});
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(IniSafety, AReadOnlyFileOrAMissingDirectoryIsNotWritten) {
  const std::string file = HostFile("Data/ro.ini");
  Put(file, "[S]\r\nk = 1\r\n");
  ASSERT_EQ(chmod(file.c_str(), 0444), 0);
  EXPECT_FALSE(registry::IniWriteFunction(ctx_, u"S", u"k", u"2", u"\\Data\\ro.ini"));
  EXPECT_EQ(ctx_.systemError(), win32::kAccessDenied);
  EXPECT_EQ(Content(file), "[S]\r\nk = 1\r\n");
  struct stat st {};
  ASSERT_EQ(stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0444u);  // the read-only attribute stays
  EXPECT_FALSE(registry::IniWriteFunction(ctx_, u"S", std::nullopt, std::nullopt, u"\\Data\\ro.ini"));
  EXPECT_FALSE(registry::IniDeleteFile(u"\\Data\\ro.ini"));
  EXPECT_EQ(Content(file), "[S]\r\nk = 1\r\n");

  ctx_.clearError();
  EXPECT_FALSE(registry::IniWriteFunction(ctx_, u"S", u"K", u"1", u"\\nodir\\f.ini"));
  EXPECT_EQ(ctx_.systemError(), win32::kPathNotFound);
  EXPECT_FALSE(stdfs::exists(HostFile("nodir")));

  // A writable file keeps its mode and attributes across the rewrite.
  const std::string rw = HostFile("Data/rw.ini");
  Put(rw, "");
  ASSERT_EQ(chmod(rw.c_str(), 0640), 0);
  ASSERT_TRUE(registry::IniWrite(u"S", u"k", u"v", u"\\Data\\rw.ini"));
  ASSERT_EQ(stat(rw.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  EXPECT_TRUE(Temporaries().empty());
}

TEST_F(IniSafety, LinksPlantedAtTemporaryNamesOrAtTheTargetAreNotFollowed) {
  const std::string canary = outside_ + "/canary.ini";
  Put(canary, "[Canary]\r\nalive = 1\r\n");
  // Where the writer once put its temporary, and names shaped like today's.
  const std::string target = HostFile("Data/app.ini");
  ASSERT_EQ(symlink(canary.c_str(), (target + ".kp" + std::to_string(getpid()) + "~").c_str()), 0);
  for (const char* digits : {"0000000000000000", "0123456789abcdef", "ffffffffffffffff"})
    ASSERT_EQ(symlink(canary.c_str(), HostFile(std::string("Data/.~kp.app.ini.") + digits).c_str()), 0);
  for (int i = 0; i < 50; ++i)
    ASSERT_TRUE(registry::IniWrite(u"S", u"k" + std::u16string(1, char16_t(u'a' + i % 26)), u"v", u"\\Data\\app.ini"));
  EXPECT_EQ(Content(canary), "[Canary]\r\nalive = 1\r\n");
  struct stat st {};
  ASSERT_EQ(lstat(target.c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));

  // The target itself a link out of the device: neither read nor written.
  ASSERT_EQ(symlink(canary.c_str(), HostFile("Data/out.ini").c_str()), 0);
  uint32_t error = 0;
  EXPECT_FALSE(registry::IniWrite(u"Canary", u"alive", u"0", u"\\Data\\out.ini", &error));
  EXPECT_NE(error, win32::kSuccess);
  EXPECT_EQ(registry::IniRead(u"Canary", u"alive", u"no", 100, u"\\Data\\out.ini"), u"no");
  EXPECT_EQ(Content(canary), "[Canary]\r\nalive = 1\r\n");
  // A link that stays inside is followed, and stays a link.
  ASSERT_EQ(symlink("app.ini", HostFile("Data/alias.ini").c_str()), 0);
  ASSERT_TRUE(registry::IniWrite(u"S", u"via", u"alias", u"\\Data\\alias.ini"));
  EXPECT_EQ(registry::IniRead(u"S", u"via", u"", 100, u"\\Data\\app.ini"), u"alias");
  ASSERT_EQ(lstat(HostFile("Data/alias.ini").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
}

TEST_F(IniSafety, TemporariesOfDeadWritersAreRemoved) {
  const std::string stale = HostFile("Data/.~kp.app.ini.00000000deadbeef");
  const std::string other = HostFile("Data/.~kp.other.ini.00000000deadbeef");  // another file's: kept
  Put(stale, "half a fi");
  Put(other, "x");
  ASSERT_TRUE(registry::IniWrite(u"S", u"k", u"v", u"\\Data\\app.ini"));
  EXPECT_FALSE(stdfs::exists(stale));
  EXPECT_TRUE(stdfs::exists(other));
  stdfs::remove(other);

  // Writers killed at any point: the file is whole and the next write
  // leaves no temporary behind.
  const std::string big(200000, 'x');
  for (int round = 0; round < 5; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const std::string content = "[S]\r\nk = v\r\n[Big]\r\nv = " + big + "\r\n";
      for (int i = 0;; ++i) {
        platform::reg::WriteDeviceFile("Data/app.ini", content);
        registry::IniWrite(u"Big", u"w", std::u16string(1, char16_t(u'a' + i % 26)), u"\\Data\\app.ini");
      }
    }
    usleep(20000 + round * 7000);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(registry::IniWrite(u"S", u"after", std::u16string(1, char16_t(u'0' + round)), u"\\Data\\app.ini"));
    EXPECT_TRUE(Temporaries().empty()) << Temporaries().front();
    EXPECT_EQ(registry::IniRead(u"S", u"k", u"", 100, u"\\Data\\app.ini"), u"v");
  }
}

TEST_F(IniSafety, ConcurrentWritersLoseNothingAndReadersSeeWholeFiles) {
  constexpr int kWriters = 4;
  constexpr int kKeys = 40;
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      int failures = 0;
      for (int k = 0; k < kKeys; ++k) {
        const std::string key = "w" + std::to_string(w) + "k" + std::to_string(k);
        const std::u16string wide(key.begin(), key.end());
        if (!registry::IniWrite(u"S", wide, wide, u"\\Data\\shared.ini")) ++failures;
      }
      _exit(failures == 0 ? 0 : 1);
    }
    children.push_back(child);
  }
  // Entries are only added and writes take turns: a reader sees their
  // number grow, each file whole (every line ended).
  size_t seen = 0;
  bool whole = true, growing = true;
  for (int i = 0; i < 2000 && seen < kWriters * kKeys + 1; ++i) {
    std::string bytes;
    if (platform::reg::ReadDeviceFile("Data/shared.ini", &bytes) != win32::kSuccess) continue;
    if (!bytes.empty() && !bytes.ends_with("\r\n")) whole = false;
    size_t lines = 0;
    for (char c : bytes) lines += c == '\n';
    if (lines < seen) growing = false;
    seen = std::max(seen, lines);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_TRUE(whole);
  EXPECT_TRUE(growing);
  int lost = 0;
  for (int w = 0; w < kWriters; ++w) {
    for (int k = 0; k < kKeys; ++k) {
      const std::string key = "w" + std::to_string(w) + "k" + std::to_string(k);
      const std::u16string wide(key.begin(), key.end());
      if (registry::IniRead(u"S", wide, u"", 100, u"\\Data\\shared.ini") != wide) ++lost;
    }
  }
  EXPECT_EQ(lost, 0);
  EXPECT_TRUE(Temporaries().empty());
}

TEST_F(IniSafety, AWriterThatCannotGetTheFileGivesUpWithASharingViolation) {
  const std::string file = HostFile("Data/held.ini");
  Put(file, "[S]\r\nk = 1\r\n");
  const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);  // another writer, in the middle of its write
  const auto started = std::chrono::steady_clock::now();
  const bool wrote = WithinSeconds(15, "INIEcrit on a held file", [&] {
    return registry::IniWriteFunction(ctx_, u"S", u"k", u"2", u"\\Data\\held.ini");
  });
  const auto waited = std::chrono::steady_clock::now() - started;
  EXPECT_FALSE(wrote);
  EXPECT_EQ(ctx_.systemError(), win32::kSharingViolation);
  EXPECT_GE(waited, std::chrono::seconds(1));  // it did wait for the holder
  EXPECT_EQ(Content(file), "[S]\r\nk = 1\r\n");
  // Readers do not wait for writers.
  EXPECT_EQ(registry::IniRead(u"S", u"k", u"", 100, u"\\Data\\held.ini"), u"1");
  close(fd);
  EXPECT_TRUE(registry::IniWrite(u"S", u"k", u"2", u"\\Data\\held.ini"));
}

TEST_F(IniSafety, ParametersInIniModeReportAReadOnlyFile) {
  const std::string file = HostFile("Data/params.ini");
  Put(file, "[Global]\r\nx = 1\r\n");
  ASSERT_EQ(chmod(file.c_str(), 0444), 0);
  registry::InitParameter(ctx_, registry::kParamIni, u"\\Data\\params.ini");
  registry::SaveParameter(ctx_, u"x", u"2");
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotCreate);
  EXPECT_EQ(ctx_.systemError(), win32::kAccessDenied);
  EXPECT_EQ(Content(file), "[Global]\r\nx = 1\r\n");
  registry::ReleaseParameterStore(ctx_);
}

}  // namespace
}  // namespace kp::test
