// The default device prefix: from XDG_DATA_HOME, else HOME, else a per-user
// directory of mode 0700 in TMPDIR that must be the user's own; a prefix of
// another user's is refused. Each case sets the environment in a child
// process, so that the test's own prefix and the kept root are untouched.
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "platform/posix/device.h"
#include "support/temp_dir.h"

namespace kp::test {
namespace {

class DevicePrefix : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(tmp_.ok());
    dir_ = tmp_.path();
  }

  // Runs `check` in a child with KP_PREFIX, XDG_DATA_HOME, HOME and TMPDIR as
  // given (nullptr: unset); true when it held.
  static bool InChild(const char* xdg, const char* home, const char* tmp, const std::function<bool()>& check,
                      const char* prefix = nullptr) {
    const pid_t child = fork();
    if (child == 0) {
      auto set = [](const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); };
      set("KP_PREFIX", prefix);
      set("XDG_DATA_HOME", xdg);
      set("HOME", home);
      set("TMPDIR", tmp);
      _exit(check() ? 0 : 1);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  std::string PerUser() const { return dir_ + "/kp160std-" + std::to_string(geteuid()); }

  TempDir tmp_{"kp-prefix"};  // removed with everything in it after TearDown
  std::string dir_;
};

TEST_F(DevicePrefix, XdgThenHomeThenAPrivateDirectory) {
  const std::string xdg = dir_ + "/xdg", home = dir_ + "/home";
  EXPECT_TRUE(InChild(xdg.c_str(), home.c_str(), dir_.c_str(),
                      [&] { return platform::DeviceDirectory() == xdg + "/kp160std/device"; }));
  EXPECT_TRUE(InChild(nullptr, home.c_str(), dir_.c_str(),
                      [&] { return platform::DeviceDirectory() == home + "/.local/share/kp160std/device"; }));
  // A relative value names no place of its own: it is passed over.
  EXPECT_TRUE(InChild("relative", home.c_str(), dir_.c_str(),
                      [&] { return platform::DeviceDirectory() == home + "/.local/share/kp160std/device"; }));
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [&] {
    return platform::DeviceDirectory() == PerUser() + "/device" && platform::EnsureDeviceDirectory();
  }));
  struct stat st {};
  ASSERT_EQ(lstat(PerUser().c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_EQ(st.st_uid, geteuid());
  EXPECT_TRUE(std::filesystem::is_directory(PerUser() + "/device"));
  // Nothing was made under /tmp's shared, predictable name.
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [] {
    return platform::DeviceDirectory().find("/tmp/kp160std-device") == std::string::npos;
  }));
}

TEST_F(DevicePrefix, APerUserDirectoryOthersCanEnterOrALinkIsRefused) {
  ASSERT_EQ(mkdir(PerUser().c_str(), 0755), 0);
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [] { return !platform::EnsureDeviceDirectory(); }));
  EXPECT_FALSE(std::filesystem::exists(PerUser() + "/device"));
  ASSERT_EQ(rmdir(PerUser().c_str()), 0);
  ASSERT_EQ(mkdir((dir_ + "/elsewhere").c_str(), 0700), 0);
  ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), PerUser().c_str()), 0);
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [] { return !platform::EnsureDeviceDirectory(); }));
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/elsewhere/device"));
}

TEST_F(DevicePrefix, APrefixOfAnotherUserIsRefused) {
  const std::string theirs = dir_ + "/theirs";
  ASSERT_EQ(mkdir(theirs.c_str(), 0777), 0);
  if (geteuid() == 0) {
    ASSERT_EQ(chown(theirs.c_str(), 65534, 65534), 0);
  } else {
    // Without the right to give a directory away, the root directory is another user's.
    ASSERT_EQ(rmdir(theirs.c_str()), 0);
    ASSERT_EQ(symlink("/", theirs.c_str()), 0);
  }
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [] { return !platform::EnsureDeviceDirectory(); },
                      theirs.c_str()));
  const std::string mine = dir_ + "/mine";
  EXPECT_TRUE(InChild(nullptr, nullptr, dir_.c_str(), [] { return platform::EnsureDeviceDirectory(); },
                      mine.c_str()));
}

}  // namespace
}  // namespace kp::test
