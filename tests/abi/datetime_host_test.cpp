// The date family through kp's command line: a refused clock change shows as
// a system error in the JSON error object, in the text output and in the
// exit status, though the library raised no error number of its own.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

struct KpRun {
  std::vector<std::string> lines;
  int status = -1;
};

KpRun Kp(const std::string& prefix, const std::string& arguments) {
  const std::string command = "KP_PREFIX='" + prefix + "' " + std::string(KP_HOST_PATH) + " " + arguments + " 2>&1";
  KpRun run;
  FILE* pipe = popen(command.c_str(), "r");
  EXPECT_NE(pipe, nullptr) << command;
  if (!pipe) return run;
  char buffer[4096];
  while (std::fgets(buffer, sizeof buffer, pipe)) run.lines.emplace_back(buffer);
  run.status = WEXITSTATUS(pclose(pipe));
  return run;
}

TEST(DateHost, RefusedClockChangeIsASystemError) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: an environment assignment before the command on a sh command line";
#endif
  const auto prefix = std::filesystem::temp_directory_path() / ("kp-dt-host-" + std::to_string(::getpid()));
  std::filesystem::create_directories(prefix);
  const KpRun json = Kp(prefix.string(), "eval --json 'DateSys(\"15000229\")' 'DateSys()'");
  ASSERT_EQ(json.lines.size(), 2u);
  EXPECT_EQ(json.lines[0].rfind("{\"type\": 1, \"value\": false, \"error\": {\"id\": 0,", 0), 0u) << json.lines[0];
  EXPECT_NE(json.lines[0].find("\"system\": 87"), std::string::npos) << json.lines[0];
  // The clock did not move to 1 March 1500.
  EXPECT_EQ(json.lines[1].find("1500"), std::string::npos) << json.lines[1];
  EXPECT_NE(json.lines[1].find("\"error\": null"), std::string::npos) << json.lines[1];
  EXPECT_EQ(json.status, 1);

  const KpRun text = Kp(prefix.string(), "eval 'DateSys(\"15000229\")'");
  // The value on the standard output, the error on the error output: their
  // order in one pipe is the buffers' business.
  ASSERT_EQ(text.lines.size(), 2u);
  const bool valueFirst = text.lines[0] == "False\n";
  EXPECT_EQ(text.lines[valueFirst ? 0 : 1], "False\n");
  EXPECT_EQ(text.lines[valueFirst ? 1 : 0].rfind("system error 87: ", 0), 0u) << text.lines[valueFirst ? 1 : 0];
  EXPECT_EQ(text.status, 1);
  std::filesystem::remove_all(prefix);
}

}  // namespace
