// Every family that writes, under a full disk, an I/O error and a refused
// permission injected into the system calls below it (support/
// fault_injection.h): each reports its failure value, the error it raises
// and the system's number for the fault (112, 1117, 5), and loses nothing:
// the file or value written before is whole afterwards, and no temporary is
// left behind.
#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "files/file_io.h"
#include "files/files_fixture.h"
#include "files/paths.h"
#include "files/text.h"
#include "platform/posix/syscalls.h"
#include "platform/win32_errors.h"
#include "registry/ini.h"
#include "registry/parameters.h"
#include "registry/registry.h"
#include "support/fault_injection.h"
#include "support/temp_dir.h"

namespace kp::test {
namespace {

namespace stdfs = std::filesystem;

struct Fault {
  int error;
  uint32_t code;
};

std::string Name(const ::testing::TestParamInfo<Fault>& info) {
  switch (info.param.error) {
    case ENOSPC: return "DiskFull";
    case EIO: return "IoError";
    default: return "PermissionDenied";
  }
}

// A fault that lasts: a full disk stays full for the retries a function may make.
constexpr int kLasting = 1000;

class FaultInjection : public FilesTest, public ::testing::WithParamInterface<Fault> {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    std::filesystem::create_directories(Host("Data"));
  }
  void TearDown() override {
    registry::ReleaseParameterStore(ctx_);
    FilesTest::TearDown();
  }
  int error() const { return GetParam().error; }
  uint32_t code() const { return GetParam().code; }
  // Anything the INI writer left beside its files.
  std::vector<std::string> Temporaries() const {
    std::vector<std::string> found;
    for (const auto& e : stdfs::directory_iterator(Host("Data")))
      if (e.path().filename().string().starts_with(".~kp.")) found.push_back(e.path().filename().string());
    return found;
  }
};

constexpr std::string_view kIni = "[S]\r\nk = 1\r\n";

TEST_P(FaultInjection, IniWriteKeepsTheOldFileWholeWhicheverStepFails) {
  // The target's open, the temporary's creation, its bytes, its sync and the rename.
  for (const char* call : {"openat", "write", "fsync", "renameat"}) {
    SCOPED_TRACE(call);
    PutFile("Data/app.ini", std::string(kIni));
    ctx_.clearError();
    {
      FailNext fault(call, error(), kLasting);
      EXPECT_FALSE(registry::IniWriteFunction(ctx_, u"S", u"k", u"2", u"\\Data\\app.ini"));
      EXPECT_GE(fault.failed(), 1);
    }
    EXPECT_EQ(ctx_.systemError(), code());
    EXPECT_EQ(GetFile("Data/app.ini"), kIni);
    EXPECT_TRUE(Temporaries().empty());
    // The lock is released: the next write goes through.
    EXPECT_TRUE(registry::IniWriteFunction(ctx_, u"S", u"k", u"3", u"\\Data\\app.ini"));
    EXPECT_EQ(GetFile("Data/app.ini"), "[S]\r\nk = 3\r\n");
  }
}

TEST_P(FaultInjection, IniWriteOfANewFileLeavesNoFileBehind) {
  {
    FailNext fault("renameat", error());
    EXPECT_FALSE(registry::IniWriteFunction(ctx_, u"S", u"k", u"2", u"\\Data\\new.ini"));
  }
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_TRUE(Temporaries().empty());
  // The target was created empty to be locked ("open always"): empty is what it holds.
  EXPECT_EQ(GetFile("Data/new.ini"), "");
}

TEST_P(FaultInjection, SaveParameterInIniModeReportsTheFaultAndKeepsTheValue) {
  PutFile("Data/params.ini", "[Global]\r\nx = 1\r\n");
  registry::InitParameter(ctx_, registry::kParamIni, u"\\Data\\params.ini");
  {
    FailNext fault("renameat", error());
    registry::SaveParameter(ctx_, u"x", u"2");
    EXPECT_EQ(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotCreate);
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_EQ(GetFile("Data/params.ini"), "[Global]\r\nx = 1\r\n");
  EXPECT_TRUE(Temporaries().empty());
}

TEST_P(FaultInjection, FileWriteAndWriteLineReportTheFault) {
  PutFile("a.bin", "old");
  const int32_t h = files::Open(ctx_, u"\\a.bin", files::foReadWrite);
  ASSERT_GE(h, 2);
  files::Seek(ctx_, h, 0, 2);
  {
    FailNext fault("write", error(), kLasting);
    const std::string bytes = "new data";
    EXPECT_EQ(files::Write(ctx_, h, std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), -1), -1);
    EXPECT_EQ(ctx_.systemError(), code());
    ctx_.clearError();
    EXPECT_FALSE(files::WriteLine(ctx_, h, u"a line"));
    EXPECT_EQ(ctx_.systemError(), code());
    EXPECT_GE(fault.failed(), 2);
  }
  EXPECT_EQ(files::Close(ctx_, h), 0);
  EXPECT_EQ(GetFile("a.bin"), "old");
}

// fSauveTexte rewrites its file in place once the room for the new text is
// reserved: a reservation refused leaves the old text whole; a write that
// fails after it (not a full disk then) is reported.
TEST_P(FaultInjection, SaveTextKeepsTheOldTextWhenNoRoomIsLeftAndReportsTheFault) {
  PutFile("t.txt", "old text");
  {
    FailNext fault("fallocate", error(), kLasting);
    EXPECT_FALSE(files::SaveText(ctx_, u"\\t.txt", Value{std::u16string(u"a longer new text")}));
    EXPECT_EQ(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_EQ(GetFile("t.txt"), "old text");
  ctx_.clearError();
  {
    FailNext fault("write", error(), kLasting);
    EXPECT_FALSE(files::SaveText(ctx_, u"\\t.txt", Value{std::u16string(u"new text")}));
    EXPECT_GE(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.systemError(), code());
  ctx_.clearError();
  // A create that is refused touches nothing.
  {
    FailNext fault("openat", error(), kLasting);
    EXPECT_FALSE(files::SaveText(ctx_, u"\\u.txt", Value{std::u16string(u"text")}));
  }
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_FALSE(HostExists("u.txt"));
}

// fCopieFichier, like fSauveTexte, rewrites the target in place (a reader
// holding it open sees the copy at once) once the room is reserved: a
// refused reservation leaves the old target whole, and a target the copy
// created is removed again.
TEST_P(FaultInjection, CopyKeepsTheOldTargetWhenNoRoomIsLeftAndReportsTheFault) {
  PutFile("src.txt", "source, longer than the target");
  PutFile("dst.txt", "previous");
  for (const std::u16string_view target : {u"\\dst.txt", u"\\new.txt"}) {
    ctx_.clearError();
    {
      FailNext fault("fallocate", error(), kLasting);
      EXPECT_FALSE(files::CopyFile(ctx_, u"\\src.txt", target, 0));
      EXPECT_GE(fault.failed(), 1);
    }
    EXPECT_EQ(ctx_.errorId(), kErrCopyFailed);
    EXPECT_EQ(ctx_.systemError(), code());
  }
  EXPECT_EQ(GetFile("dst.txt"), "previous");
  EXPECT_FALSE(HostExists("new.txt"));
  // With room, a longer and then a shorter source replace the bytes exactly.
  EXPECT_TRUE(files::CopyFile(ctx_, u"\\src.txt", u"\\dst.txt", 0));
  EXPECT_EQ(GetFile("dst.txt"), "source, longer than the target");
  PutFile("src.txt", "short");
  EXPECT_TRUE(files::CopyFile(ctx_, u"\\src.txt", u"\\dst.txt", 0));
  EXPECT_EQ(GetFile("dst.txt"), "short");
}

TEST_P(FaultInjection, CopyReportsTheFaultAndKeepsTheSource) {
  PutFile("src.txt", "source");
  PutFile("dst.txt", "previous");
  {
    FailNext fault("write", error(), kLasting);
    EXPECT_FALSE(files::CopyFile(ctx_, u"\\src.txt", u"\\dst.txt", 0));
    EXPECT_GE(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.errorId(), kErrCopyFailed);
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_EQ(GetFile("src.txt"), "source");
  // Nothing but the two files (and Data).
  EXPECT_EQ(std::distance(stdfs::directory_iterator(Host("")), stdfs::directory_iterator()), 3);
  ctx_.clearError();
  // An open that is refused (the source's, the first) touches nothing.
  const std::string before = GetFile("dst.txt");
  {
    FailNext fault("openat", error(), kLasting);
    EXPECT_FALSE(files::CopyFile(ctx_, u"\\src.txt", u"\\dst.txt", 0));
  }
  EXPECT_EQ(ctx_.errorId(), kErrCopyFailed);
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_EQ(GetFile("src.txt"), "source");
  EXPECT_EQ(GetFile("dst.txt"), before);
  EXPECT_TRUE(files::CopyFile(ctx_, u"\\src.txt", u"\\dst.txt", 0));
  EXPECT_EQ(GetFile("dst.txt"), "source");
}

constexpr std::u16string_view kKey = u"HKEY_CURRENT_USER\\Software\\Faults";

TEST_P(FaultInjection, RegistryWriteReportsTheFaultAndKeepsTheOldValue) {
  ASSERT_TRUE(registry::CreateKey(ctx_, kKey));
  ASSERT_TRUE(registry::SetText(ctx_, kKey, u"v", u"old"));
  {
    FailNext fault("sqlite.write", error(), kLasting);
    EXPECT_FALSE(registry::SetText(ctx_, kKey, u"v", u"new"));
    EXPECT_FALSE(registry::SetText(ctx_, kKey, u"w", u"added"));
    EXPECT_GE(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotWrite);
  EXPECT_EQ(ctx_.systemError(), code());
  bool success = false;
  EXPECT_EQ(registry::QueryValue(ctx_, kKey, u"v", &success), Value{std::u16string(u"old")});
  EXPECT_TRUE(success);
  registry::QueryValue(ctx_, kKey, u"w", &success);
  EXPECT_FALSE(success);
  // The connection is still good.
  EXPECT_TRUE(registry::SetText(ctx_, kKey, u"v", u"after"));
  EXPECT_EQ(registry::QueryValue(ctx_, kKey, u"v", &success), Value{std::u16string(u"after")});
}

TEST_P(FaultInjection, SaveParameterInRegistryModeReportsTheFaultAndKeepsTheValue) {
  registry::InitParameter(ctx_, registry::kParamRegistry, u"HKEY_CURRENT_USER\\Software\\P");
  registry::SaveParameter(ctx_, u"x", u"1");
  ASSERT_FALSE(ctx_.hasError());
  {
    FailNext fault("sqlite.write", error(), kLasting);
    registry::SaveParameter(ctx_, u"x", u"2");
    EXPECT_GE(fault.failed(), 1);
  }
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotCreate);
  EXPECT_EQ(ctx_.systemError(), code());
  EXPECT_EQ(registry::LoadParameter(ctx_, u"x", std::nullopt), Value{std::u16string(u"1")});
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultInjection,
                         ::testing::Values(Fault{ENOSPC, win32::kDiskFull}, Fault{EIO, win32::kIoDevice},
                                           Fault{EACCES, win32::kAccessDenied}),
                         Name);

// The seam itself: an entry swapped and restored, and a call that is not in
// the table refused loudly rather than silently not failing.
TEST(FaultSeam, AFaultEndsWithItsCountAndItsScope) {
  TempDir tmp("kp-seam");
  ASSERT_TRUE(tmp.ok());
  const std::string& dir = tmp.path();
  {
    FailNext fault("mkdirat", ENOSPC, 1);
    EXPECT_EQ(platform::sys::Sys().mkdirat(AT_FDCWD, (dir + "/a").c_str(), 0700), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(platform::sys::Sys().mkdirat(AT_FDCWD, (dir + "/b").c_str(), 0700), 0);
    EXPECT_EQ(fault.failed(), 1);
  }
  EXPECT_EQ(platform::sys::Sys().mkdirat, platform::sys::RealSysCalls().mkdirat);
  EXPECT_FALSE(stdfs::exists(dir + "/a"));
  EXPECT_TRUE(stdfs::exists(dir + "/b"));
  EXPECT_DEATH(FailNext("no_such_call", EIO), "not a known call");
}

}  // namespace
}  // namespace kp::test
