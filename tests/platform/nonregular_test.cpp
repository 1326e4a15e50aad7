// FIFOs and sockets inside the device root are no files: every call that
// reads, writes or copies one refuses it with 5 at once, where a blocking
// open would wait forever for a writer that never comes.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <utility>

#include "files/file_io.h"
#include "files/files_fixture.h"
#include "files/paths.h"
#include "files/text.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/syscalls.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

namespace fs = platform::fs;

class NonRegularFiles : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    ASSERT_EQ(mkfifo(Host("pipe").c_str(), 0600), 0);
    PutFile("plain.txt", "plain");
  }
};

TEST_F(NonRegularFiles, PlatformCallsRefuseAFifoAtOnce) {
  WithinSeconds(10, "platform calls on a FIFO", [&] {
    for (const uint32_t access : {fs::kGenericRead, fs::kGenericWrite, fs::kGenericRead | fs::kGenericWrite}) {
      for (const uint32_t disposition : {fs::kOpenExisting, fs::kOpenAlways, fs::kTruncateExisting}) {
        EXPECT_EQ(fs::CreateFile(u"\\pipe", access, 3, disposition, 0), fs::kInvalidFile);
        EXPECT_EQ(platform::LastError(), 5u) << access << " " << disposition;
      }
    }
    EXPECT_FALSE(fs::CopyFile(u"\\pipe", u"\\copy.txt", false));
    EXPECT_EQ(platform::LastError(), 5u);
    EXPECT_FALSE(HostExists("copy.txt"));
    // Nor is a FIFO a target to copy onto.
    EXPECT_FALSE(fs::CopyFile(u"\\plain.txt", u"\\PIPE", false));
    EXPECT_EQ(platform::LastError(), 5u);
    // Names, attributes and listing still see it, as any other entry.
    EXPECT_NE(fs::GetFileAttributes(u"\\pipe"), fs::kInvalidAttributes);
  });
  struct stat st {};
  ASSERT_EQ(lstat(Host("pipe").c_str(), &st), 0);
  EXPECT_TRUE(S_ISFIFO(st.st_mode));
}

// The whole-file read of INILit checks the type before it opens: what is
// swapped in between that check and the open is still refused (a FIFO or a
// directory, by the read itself) or read whole (a longer file).
std::function<void()> gBeforeOpen;
int SwappingOpenat(int dir, const char* name, int flags, mode_t mode) {
  if (gBeforeOpen) std::exchange(gBeforeOpen, nullptr)();
  return platform::sys::RealSysCalls().openat(dir, name, flags, mode);
}

TEST_F(NonRegularFiles, WhatIsSwappedInBeforeTheWholeFileReadIsRefusedOrReadWhole) {
  platform::sys::Sys().openat = &SwappingOpenat;
  const std::string longer(50000, 'L');
  std::string bytes;
  WithinSeconds(10, "reads of what was swapped in", [&] {
    gBeforeOpen = [&] { std::filesystem::rename(Host("pipe"), Host("plain.txt")); };
    EXPECT_EQ(fs::ReadWholeFile(u"\\plain.txt", &bytes), 5u);
    EXPECT_TRUE(bytes.empty());
    std::filesystem::remove(Host("plain.txt"));
    PutFile("plain.txt", "plain");
    gBeforeOpen = [&] {
      std::filesystem::remove(Host("plain.txt"));
      std::filesystem::create_directory(Host("plain.txt"));
    };
    EXPECT_EQ(fs::ReadWholeFile(u"\\plain.txt", &bytes), 5u);
    std::filesystem::remove(Host("plain.txt"));
    PutFile("plain.txt", "plain");
    gBeforeOpen = [&] { PutFile("plain.txt", longer); };
    EXPECT_EQ(fs::ReadWholeFile(u"\\plain.txt", &bytes), 0u);
    EXPECT_EQ(bytes, longer);
    gBeforeOpen = [&] { PutFile("plain.txt", "p"); };
    EXPECT_EQ(fs::ReadWholeFile(u"\\plain.txt", &bytes), 0u);
    EXPECT_EQ(bytes, "p");
  });
  gBeforeOpen = nullptr;
  platform::sys::Sys().openat = platform::sys::RealSysCalls().openat;
}

TEST_F(NonRegularFiles, FileFunctionsRecordAccessDenied) {
  WithinSeconds(10, "file functions on a FIFO", [&] {
    EXPECT_EQ(files::LoadText(ctx_, u"\\pipe"), u"");
    EXPECT_EQ(ctx_.systemError(), 5u);
    ctx_.clearError();
    EXPECT_FALSE(files::CopyFile(ctx_, u"\\pipe", u"\\copy.txt", 0));
    EXPECT_EQ(ctx_.systemError(), 5u);
    ctx_.clearError();
    EXPECT_EQ(files::Open(ctx_, u"\\pipe", files::foRead), -1);
    EXPECT_EQ(ctx_.systemError(), 5u);
    ctx_.clearError();
    EXPECT_EQ(files::Open(ctx_, u"\\pipe", files::foWrite), -1);
    EXPECT_EQ(ctx_.systemError(), 5u);
    ctx_.clearError();
    EXPECT_FALSE(files::SaveText(ctx_, u"\\pipe", Value{std::u16string(u"x")}));
    EXPECT_EQ(ctx_.systemError(), 5u);
  });
  EXPECT_FALSE(HostExists("copy.txt"));
}

TEST_F(NonRegularFiles, ASocketIsRefusedToo) {
  const int s = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(s, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = Host("socket");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::strcpy(address.sun_path, path.c_str());
  ASSERT_EQ(bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  WithinSeconds(10, "platform calls on a socket", [&] {
    EXPECT_EQ(fs::CreateFile(u"\\socket", fs::kGenericRead, 3, fs::kOpenExisting, 0), fs::kInvalidFile);
    EXPECT_EQ(platform::LastError(), 5u);
    EXPECT_FALSE(fs::CopyFile(u"\\socket", u"\\copy.txt", false));
    EXPECT_EQ(platform::LastError(), 5u);
  });
  close(s);
}

}  // namespace
}  // namespace kp::test
