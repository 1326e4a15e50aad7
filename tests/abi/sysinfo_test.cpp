// The system information functions through the host's command line, as a
// user meets them: the label of a fresh device profile, the same profile
// edited with the registry functions, and the host's own answers.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/utsname.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace {

class SysInfoHost : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(tmp_.ok());
    dir_ = tmp_.path();
  }
  // The host's output for `arguments`, run in this test's own device prefix;
  // `status` gets the exit status.
  std::string Kp(const std::string& arguments, const std::string& environment = "", int* status = nullptr) {
    const std::string command =
        "KP_PREFIX=" + dir_ + " " + environment + " " + std::string(KP_HOST_PATH) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    if (!pipe) return {};
    std::string out;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
    const int rc = pclose(pipe);
    if (status) *status = rc;
    return out;
  }
  kp::test::TempDir tmp_{"kp-sysinfo"};  // removed with everything in it after TearDown
  std::string dir_;
};

TEST_F(SysInfoHost, EvalPrintsTheProfilesLabel) {
  int status = -1;
  EXPECT_EQ(Kp("eval 'SysVersionWindows()' 'SysWindowsVersion(sysVersionNumber)' 'VersionWindows()'", "", &status),
            "CE 4\n4.20\nCE 4\n");
  EXPECT_EQ(status, 0);
  // The profile is the device registry's: kp edits it as a program would.
  const std::string key = "\"HKEY_LOCAL_MACHINE\\System\\DeviceProfile\"";
  EXPECT_EQ(Kp("eval 'RegistreEcrit(" + key + ", \"MajorVersion\", 5)' 'RegistreEcrit(" + key +
               ", \"MinorVersion\", 2)' 'RegistreEcrit(" + key + ", \"BuildNumber\", 21100)'"),
            "True\nTrue\nTrue\n");
  EXPECT_EQ(Kp("eval 'SysVersionWindows()'"), "CE 6.5\n") << "kept in the prefix, seen by the next run";
  EXPECT_EQ(Kp("eval 'RegistreEcrit(" + key + ", \"BuildNumber\", 20000)' 'SysVersionWindows()'"), "True\nCE 6\n");
}

TEST_F(SysInfoHost, HostAnswersWithKpSysinfoHost) {
  utsname u{};
  ASSERT_EQ(uname(&u), 0);
  unsigned major = 0, minor = 0;
  ASSERT_EQ(sscanf(u.release, "%u.%u", &major, &minor), 2);
  EXPECT_EQ(Kp("eval 'SysVersionWindows(1)' 'SysVersionWindows(3)' 'SysVersionWindows(5)'", "KP_SYSINFO=host"),
            std::to_string(major) + "." + std::to_string(minor) + "\n" + u.sysname + "\n32\n");
}

TEST_F(SysInfoHost, BadKindsReportTheirErrors) {
  const std::string out = Kp("eval 'SysVersionWindows(6)' 'SysEspace(0)' 'SysMiseEnVeille(3)'");
  EXPECT_NE(out.find("error 80144"), std::string::npos) << out;
  EXPECT_NE(out.find("error 80145"), std::string::npos) << out;
  EXPECT_NE(out.find("-1"), std::string::npos) << out;
}

}  // namespace
