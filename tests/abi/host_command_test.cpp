// kp's command line as a user meets it: `kp eval` keeps one output line per
// expression and says which expression was refused and why, a call that fits
// no syntax lists the syntaxes there are, and `kp --version` names both
// versions. POSIX: sh command lines with single quotes.
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "abi_support.h"
#include "support/temp_dir.h"

namespace {

struct KpRun {
  int status = -1;
  std::string out, err;
};

// kp with `arguments` (a sh command line), its own device directory, stdout
// and stderr apart.
KpRun Kp(const kp::test::TempDir& dir, const std::string& arguments, const std::string& environment = "") {
  KpRun run;
  const std::string errFile = dir.path() + "/stderr";
  const std::string command =
      environment + " KP_PREFIX='" + dir.path() + "/device' " + KP_HOST_PATH + " " + arguments + " 2>'" + errFile + "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return run;
  char buffer[4096];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream err(errFile, std::ios::binary);
  EXPECT_TRUE(err) << errFile;
  std::ostringstream text;
  text << err.rdbuf();
  run.err = text.str();
  return run;
}

class HostCommand : public ::testing::Test {
 protected:
  void SetUp() override {
#ifdef _WIN32
    GTEST_SKIP() << "POSIX by nature: sh command lines with single quotes";
#endif
    ASSERT_TRUE(dir_.ok());
  }
  kp::test::TempDir dir_{"kp-host-command"};
};

TEST_F(HostCommand, EvalPrintsOneLinePerExpressionEvenWhenOneIsRefused) {
  const KpRun r = Kp(dir_, "eval 'EstPair(4)' 'x = (1 +* 2)' 'IsOdd(3)' 'NoSuch(1)' 'UUEncode(x\"436174\")'");
  // The third result is on the third line, whatever came before it; a text
  // with line ends stays on its line.
  EXPECT_EQ(r.out, "True\n\nTrue\n\n#0V%T\\n`\\n\n");
  EXPECT_EQ(r.err,
            "kp: expression 2: column 9: an expression expected, not '*'\n"
            "    x = (1 +* 2)\n"
            "            ^\n"
            "kp: expression 4: column 1: unknown function NoSuch\n"
            "    NoSuch(1)\n"
            "    ^\n");
  EXPECT_EQ(r.status, 2);
  // --json was already one line per expression; the message stays one line.
  const KpRun json = Kp(dir_, "eval --json 'x = (1 +* 2)'");
  EXPECT_EQ(json.out,
            "{\"type\": 0, \"value\": null, \"error\": {\"id\": 0, \"level\": 0, \"message\": \"column 9: an "
            "expression expected, not '*'\", \"system\": 0, \"host\": true}}\n");
}

TEST_F(HostCommand, ACallThatFitsNoSyntaxNamesTheTypesGivenAndTheSyntaxes) {
  KpRun r = Kp(dir_, "eval 'IsEven(1, 2)'");
  EXPECT_EQ(r.err,
            "kp: expression 1: column 1: IsEven: no syntax takes (integer, integer); IsEven(integer) -> boolean; "
            "see kp help IsEven\n    IsEven(1, 2)\n    ^\n");
  // In the language of the name written, every syntax, in words (no ABI
  // codes such as a "direct" text).
  r = Kp(dir_, "eval 'DATEVERSCHAÎNE(1, True, x\"00\")'");
  EXPECT_NE(r.err.find("DateVersChaîne: no syntax takes (integer, boolean, buffer); DateVersChaîne(text) -> text; "
                       "DateVersChaîne(text, text) -> text; see kp help DateVersChaîne\n"),
            std::string::npos)
      << r.err;
  EXPECT_EQ(r.err.find("direct"), std::string::npos) << r.err;
  r = Kp(dir_, "eval 'Trace(EstPair())'");
  EXPECT_NE(r.err.find("EstPair: no syntax takes (); EstPair(integer) -> boolean; see kp help EstPair"),
            std::string::npos)
      << r.err;
}

TEST_F(HostCommand, VersionNamesTheHostAndTheLibraryLoaded) {
  const KpRun r = Kp(dir_, "--version");
  EXPECT_EQ(r.status, 0);
  // The library's version from the file loaded, not from the host's header.
  // The sanitizer builds make an unversioned file (no SONAME): it declares
  // no version, and kp says so rather than guess.
  const std::string file = std::filesystem::canonical(KP_LIBRARY_PATH).string();
  const bool versioned = file.substr(file.rfind('/') + 1) == std::string("libkp160std.so.") + KP160STD_VERSION;
  EXPECT_EQ(r.out, std::string("kp ") + KP160STD_VERSION + "\nlibrary " +
                       (versioned ? KP160STD_VERSION : "(no version declared)") + " " + file + "\n");
#ifndef KP_UNVERSIONED_LIBRARY
  EXPECT_TRUE(versioned) << file;
#endif
  const KpRun missing = Kp(dir_, "--version", "KP_LIBRARY=/nonexistent/libkp160std.so");
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("/nonexistent/libkp160std.so"), std::string::npos) << missing.err;
}

}  // namespace
