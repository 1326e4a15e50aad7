// The process functions against real processes: a helper program copied into
// a fresh device prefix under names of this test process's own (so that
// other runs on the machine are never counted or ended), started, waited
// for, counted, listed and ended. Every process a test starts is ended and
// gone (reaped, no zombie) before the test ends.
#include "system/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <thread>

#include "abi/error_ids.h"
#include "files/files_fixture.h"
#include "platform/process.h"
#include "support/deadline.h"

namespace kp::system {
namespace {

namespace proc = platform::proc;
using test::Utf8;

std::u16string U(const std::string& s) { return std::u16string(s.begin(), s.end()); }

std::vector<std::string> Lines(const std::u16string& text) {
  std::vector<std::string> out;
  const std::string s = Utf8(text);
  size_t start = 0;
  while (!s.empty() && start <= s.size()) {
    size_t end = s.find("\r\n", start);
    if (end == std::string::npos) end = s.size();
    out.push_back(s.substr(start, end - start));
    start = end + 2;
  }
  return out;
}

std::vector<std::string> Columns(const std::string& line) {
  std::vector<std::string> out;
  std::stringstream in(line);
  std::string column;
  while (std::getline(in, column, '\t')) out.push_back(column);
  if (!line.empty() && line.back() == '\t') out.push_back("");
  return out;
}

// The state letter of /proc/<pid>/stat, 0 when there is no such process.
// A /proc file read with read(2): a process that goes away while its file is
// read gives an empty text (a stream would throw on ESRCH).
std::string ReadProc(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  char buffer[4096];
  const ssize_t n = read(fd, buffer, sizeof buffer);
  close(fd);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

char State(int pid) {
  const std::string stat = ReadProc("/proc/" + std::to_string(pid) + "/stat");
  const size_t close = stat.rfind(')');
  return close == std::string::npos || close + 2 >= stat.size() ? 0 : stat[close + 2];
}
bool Alive(int pid) { return State(pid) != 0 && State(pid) != 'Z'; }

// Waits (a few seconds at most) until the process is gone from /proc: ended
// and reaped.
bool BecomesGone(int pid) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < until) {
    if (State(pid) == 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

// Runs `body` in a forked copy of this process, within ten seconds; the
// copy's exit status (`body`'s answer), 100 + the signal when it was killed.
int InForkedCopy(const char* what, const std::function<int()>& body) {
  return test::WithinSeconds(10, what, [&] {
    const pid_t copy = fork();
    if (copy == 0) _exit(body());
    int status = 0;
    waitpid(copy, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
  });
}

class ProcessTest : public test::FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    tag_ = "kpp" + std::to_string(getpid()) + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }
  void TearDown() override {
    // Nothing a test started outlives it: end what is left, through handles
    // that cannot reach a recycled identifier, and wait until it is reaped.
    for (int pid : started_) {
      if (const proc::ProcessHandle h = proc::OpenProcess(proc::kProcessTerminate, pid)) {
        proc::TerminateProcess(h, 1);
        proc::CloseProcess(h);
      }
      EXPECT_TRUE(BecomesGone(pid)) << "process " << pid << " outlived its test (state " << State(pid) << ")";
    }
    FilesTest::TearDown();
  }

  // Copies the helper program to `relative` beneath the device root; its
  // device path.
  std::u16string Helper(const std::string& relative) {
    std::filesystem::create_directories(std::filesystem::path(Host(relative)).parent_path());
    std::filesystem::copy_file(KP_PROCESS_HELPER, Host(relative), std::filesystem::copy_options::overwrite_existing);
    chmod(Host(relative).c_str(), 0755);
    std::u16string device = u"\\" + U(relative);
    for (auto& c : device)
      if (c == u'/') c = u'\\';
    return device;
  }

  // Starts a command line in wait mode 3 and keeps the identifier for the
  // clean-up.
  int Start(const std::u16string& commandLine) {
    const int pid = system::Run(ctx_, commandLine, exeActive, exePID);
    if (pid > 0) started_.push_back(pid);
    return pid;
  }

  std::string tag_;
  std::vector<int> started_;
};

TEST(CommandLineParts, QuotedProgramAndParametersKeepTheirSpace) {
  struct Case {
    std::u16string_view line, program, parameters;
  } const cases[] = {
      {u"\"\\Program Files\\a b.exe\" -x y", u"\\Program Files\\a b.exe", u" -x y"},  // leading space kept
      {u"\\bin\\app -x  y", u"\\bin\\app", u"-x  y"},
      {u"\\bin\\app", u"\\bin\\app", u""},
      {u"\"\\a b\"", u"\\a b", u""},
      {u"\"\\a b", u"\"\\a b", u""},  // no closing quote: the whole line
      {u"\\bin\\app\" -x", u"\\bin\\app", u"-x"},
      {u"\"\"x y", u"", u"x y"},
      {u"", u"", u""},
      {u" \\bin\\app", u"", u"\\bin\\app"},
  };
  for (const auto& c : cases) {
    const CommandLineParts parts = SplitCommandLine(c.line);
    EXPECT_EQ(parts.program, c.program) << Utf8(c.line);
    EXPECT_EQ(parts.parameters, c.parameters) << Utf8(c.line);
  }
}

TEST_F(ProcessTest, RelativeOrOverlongProgramStartsNothing) {
  const std::u16string helper = Helper("bin/" + tag_);
  // Named without its directory it would be found by a search path: there is none.
  EXPECT_EQ(system::Run(ctx_, U(tag_) + u" exit 0", exeActive, exeReturnValue), 0);
  EXPECT_EQ(ctx_.errorId(), kErrPathNotAbsolute);
  EXPECT_EQ(CountRunning(ctx_, helper), 0);
  ctx_.clearError();
  EXPECT_EQ(system::Run(ctx_, u"", exeActive, exeDontWait), 0);
  EXPECT_EQ(ctx_.errorId(), kErrPathNotAbsolute);
  ctx_.clearError();

  // The bound: 32767 characters start, one more does not.
  std::u16string line = helper + u" exit 5 ";
  line.resize(kMaxCommandLine, u'a');
  EXPECT_EQ(system::Run(ctx_, line, exeActive, exeReturnValue), 5);
  EXPECT_FALSE(ctx_.hasError());
  line.push_back(u'a');
  EXPECT_EQ(system::Run(ctx_, line, exeActive, exeReturnValue), 0);
  EXPECT_EQ(ctx_.errorId(), kErrCannotStartProgram);
  EXPECT_EQ(ctx_.systemError(), 206u);
  ctx_.clearError();
  EXPECT_EQ(system::Run(ctx_, u"\\" + std::u16string(kMaxProgramPath, u'p') + u" x", exeActive, exeReturnValue), 0);
  EXPECT_EQ(ctx_.errorId(), kErrCannotStartProgram);
  EXPECT_EQ(ctx_.systemError(), 206u);
}

TEST_F(ProcessTest, ProgramsThatCannotStart) {
  struct Case {
    std::string setup;  // what lies at the path
    uint32_t system;
  } const cases[] = {{"missing", 2}, {"directory", 5}, {"not executable", 5}, {"no executable format", 193}};
  for (const auto& c : cases) {
    const std::string relative = "bin/" + tag_ + "_" + std::to_string(&c - cases);
    std::filesystem::create_directories(Host("bin"));
    if (c.setup == "directory") std::filesystem::create_directories(Host(relative));
    if (c.setup == "not executable") PutFile(relative, "#!/bin/sh\nexit 0\n");
    if (c.setup == "no executable format") {
      PutFile(relative, std::string("\x01\x02\x03garbage", 10));
      chmod(Host(relative).c_str(), 0755);
    }
    ctx_.clearError();
    EXPECT_EQ(system::Run(ctx_, u"\\" + U(relative) + u" a", exeActive, exeReturnValue), 0) << c.setup;
    EXPECT_EQ(ctx_.errorId(), kErrCannotStartProgram) << c.setup;
    EXPECT_EQ(ctx_.systemError(), c.system) << c.setup;
    EXPECT_NE(Utf8(ctx_.message()).find(relative.substr(4)), std::string::npos) << Utf8(ctx_.message());
  }
}

TEST_F(ProcessTest, WaitModes) {
  const std::u16string helper = u"\"" + Helper("Program Files/" + tag_ + "/" + tag_) + u"\"";
  test::WithinSeconds(20, "wait modes", [&] {
    EXPECT_EQ(system::Run(ctx_, helper + u" exit 7", exeActive, exeReturnValue), 7);
    EXPECT_EQ(system::Run(ctx_, helper + u" exit 0", exeInactive, exeReturnValue), 0);
    EXPECT_EQ(system::Run(ctx_, helper + u" exit 300", exeMaximize, exeReturnValue), 300 % 256);

    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(system::Run(ctx_, helper + u" sleep 1", exeActive, exeWait), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(900)) << "mode 1 waits";

    t0 = std::chrono::steady_clock::now();
    const int pid = Start(helper + u" sleep 30");
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(2)) << "mode 3 does not wait";
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(Alive(pid));
    EXPECT_TRUE(IsRunning(ctx_, pid));

    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(system::Run(ctx_, helper + u" sleep 30", exeActive, exeDontWait), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(2)) << "mode 0 does not wait";
    EXPECT_EQ(Terminate(ctx_, U(tag_)), true) << "the mode-0 child is ended by name";
  });
  EXPECT_FALSE(ctx_.hasError()) << Utf8(ctx_.message());
}

TEST_F(ProcessTest, ArgumentsReachTheProgramAsTheRuntimeSplitsThem) {
  const std::u16string helper = Helper("Program Files/" + tag_ + " dir/echo helper");
  const std::string out = dir_ + "/echo out.txt";
  const std::u16string line = u"\"" + helper + u"\" echo \"" + U(out) + u"\" a \"b c\" d\\\"e \"\" f\\\\\"g h\"";
  EXPECT_EQ(test::WithinSeconds(10, "echo", [&] { return system::Run(ctx_, line, exeActive, exeReturnValue); }), 0)
      << Utf8(ctx_.message());
  std::ifstream in(out);
  ASSERT_TRUE(in.is_open());
  std::vector<std::string> got;
  for (std::string l; std::getline(in, l);) got.push_back(l);
  const std::vector<std::string> expected = {
      Host("Program Files/" + tag_ + " dir/echo helper"), "a", "b c", "d\"e", "", "f\\g h"};
  EXPECT_EQ(got, expected);
}

TEST_F(ProcessTest, CountingAndEndingByName) {
  const std::u16string plain = Helper("one/" + tag_);
  const std::u16string other = Helper("two/deeper/" + tag_);
  const std::u16string withExtension = Helper("three/" + tag_ + ".exe");
  const std::u16string name = U(tag_);
  std::vector<int> pids;
  for (const auto& program : {plain, other, other, withExtension}) pids.push_back(Start(program + u" sleep 30"));
  for (int pid : pids) ASSERT_GT(pid, 0);

  // The directory is never compared; the extension only when given.
  EXPECT_EQ(CountRunning(ctx_, name), 4);
  EXPECT_EQ(CountRunning(ctx_, u"\\elsewhere\\" + name), 4);
  EXPECT_EQ(CountRunning(ctx_, name + u".EXE"), 1);
  EXPECT_EQ(CountRunning(ctx_, name + u".com"), 0);
  std::u16string upper = name;
  for (auto& c : upper) c = static_cast<char16_t>(std::toupper(c));
  EXPECT_EQ(CountRunning(ctx_, upper), 4);
  EXPECT_EQ(CountRunning(ctx_, name + u"x"), 0);

  EXPECT_TRUE(Terminate(ctx_, u"\\nowhere\\" + name + u".exe"));
  EXPECT_TRUE(BecomesGone(pids[3]));
  EXPECT_TRUE(Alive(pids[0]) && Alive(pids[1]) && Alive(pids[2])) << "only the .exe one was named";
  EXPECT_TRUE(Terminate(ctx_, name));
  for (int pid : pids) EXPECT_TRUE(BecomesGone(pid)) << pid;
  EXPECT_EQ(CountRunning(ctx_, name), 0);
  EXPECT_FALSE(Terminate(ctx_, name)) << "nothing left to end";
  EXPECT_FALSE(ctx_.hasError()) << Utf8(ctx_.message());
  // Without a name: the running program itself, this test binary.
  EXPECT_GE(CountRunning(ctx_), 1);
}

TEST_F(ProcessTest, EndingByIdentifier) {
  const std::u16string helper = Helper("bin/" + tag_);
  const int pid = Start(helper + u" sleep 30");
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(IsRunning(ctx_, pid));
  EXPECT_TRUE(Terminate(ctx_, pid));
  ASSERT_TRUE(BecomesGone(pid)) << "ended and reaped";
  EXPECT_FALSE(IsRunning(ctx_, pid));
  // Ended already: still known by its identifier, and ending it again succeeds.
  EXPECT_TRUE(Terminate(ctx_, pid));
  EXPECT_FALSE(ctx_.hasError()) << Utf8(ctx_.message());

  // A child that ended on its own is reaped at once, no zombie left.
  const int quick = Start(helper + u" exit 4");
  ASSERT_GT(quick, 0);
  EXPECT_TRUE(BecomesGone(quick));
  EXPECT_FALSE(IsRunning(ctx_, quick));
  EXPECT_TRUE(Terminate(ctx_, quick));
  const proc::ProcessHandle h = proc::OpenProcess(proc::kProcessQueryInformation, quick);
  ASSERT_NE(h, proc::kNoProcess);
  uint32_t code = 0;
  EXPECT_TRUE(proc::GetExitCodeProcess(h, &code));
  EXPECT_EQ(code, 4u) << "its exit code is kept";
  proc::CloseProcess(h);
}

TEST_F(ProcessTest, AForkedCopyStartsWithoutTheParentsChildren) {
  const std::u16string helper = Helper("bin/" + tag_);
  const int pid = Start(helper + u" sleep 30");  // the reaper thread runs now
  ASSERT_GT(pid, 0);
  const int exitCode = InForkedCopy("fork", [&]() -> int {
    // Not our child here: the parent's process is only a stranger, and
    // leaving runs the registry's clean-up without the parent's thread.
    const proc::ProcessHandle h = proc::OpenProcess(proc::kProcessQueryInformation, pid);
    uint32_t code = 0;
    const bool read = h && proc::GetExitCodeProcess(h, &code);
    proc::CloseProcess(h);
    const int status = read && code == proc::kStillActive ? 0 : 1;
#if defined(__SANITIZE_ADDRESS__)
    return status;  // left with _exit: the leak check would count the test's own objects, copied here
#else
    std::exit(status);
#endif
  });
  EXPECT_EQ(exitCode, 0);
  EXPECT_TRUE(IsRunning(ctx_, pid)) << "the parent's child is still its own";
}

// With no descriptor left, /proc cannot be read: every caller of the
// snapshot reports 80100 with its failure value. Run in a forked copy, whose
// descriptor limit is lowered to the descriptors it has.
TEST_F(ProcessTest, SnapshotFailureInEveryCaller) {
  const int failures = InForkedCopy("no descriptors", [&] {
    const int next = dup(0);
    close(next);
    const rlimit limit{static_cast<rlim_t>(next), static_cast<rlim_t>(next)};
    int wrong = setrlimit(RLIMIT_NOFILE, &limit) == 0 ? 0 : 64;
    test::FakeContext ctx;
    wrong += CountRunning(ctx, u"anything") != -1 || ctx.errorId() != kErrProcessListUnavailable;
    ctx.clearError();
    wrong += (Terminate(ctx, u"anything") || ctx.errorId() != kErrProcessListUnavailable) << 1;
    ctx.clearError();
    wrong += (ListProcesses(ctx, {}) != u"" || ctx.errorId() != kErrProcessListUnavailable) << 2;
    ctx.clearError();
    wrong += (ListModules(ctx, getpid(), false) != u"" || ctx.hasError()) << 3;
    return wrong;
  });
  EXPECT_EQ(failures, 0) << "bits: 1 count, 2 end, 4 list, 8 modules, 64 setrlimit";
}

TEST_F(ProcessTest, IdentifiersOutsideWhatTheCallerStarted) {
  // 0 and -1 name no process: not running, without an error; ending them
  // cannot open them.
  for (int32_t id : {0, -1, INT32_MIN}) {
    ctx_.clearError();
    EXPECT_FALSE(IsRunning(ctx_, id)) << id;
    EXPECT_FALSE(ctx_.hasError()) << id;
    EXPECT_FALSE(Terminate(ctx_, id)) << id;
    EXPECT_EQ(ctx_.errorId(), kErrCannotOpenProcess) << id;
    EXPECT_EQ(ctx_.systemError(), 87u) << id;
  }
  // The system's first process and this one run, and are never ended from here.
  for (int32_t id : {1, static_cast<int32_t>(getpid())}) {
    ctx_.clearError();
    EXPECT_TRUE(IsRunning(ctx_, id)) << id;
    EXPECT_FALSE(Terminate(ctx_, id)) << id;
    EXPECT_EQ(ctx_.systemError(), 5u) << id;
    EXPECT_TRUE(Alive(id)) << id;
  }
}

// As a caller without privilege (a forked copy that became "nobody"): the
// processes of another user run, cannot be ended (80101 with 5) and, their
// executables unreadable, are not listed.
TEST_F(ProcessTest, AnotherUsersProcesses) {
  if (geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  const int wrong = InForkedCopy("another user", [&] {
    const int owner = getppid();
    if (setgid(65534) != 0 || setuid(65534) != 0) return 64;
    test::FakeContext ctx;
    int bits = 0;
    bits |= !IsRunning(ctx, owner) || ctx.hasError();
    bits |= (Terminate(ctx, owner) || ctx.errorId() != kErrCannotOpenProcess || ctx.systemError() != 5) << 1;
    ctx.clearError();
    bits |= (Terminate(ctx, 1) || ctx.errorId() != kErrCannotOpenProcess || ctx.systemError() != 5) << 2;
    const std::u16string ids = u"\r\n" + ListProcesses(ctx, std::vector<int32_t>{exePID}) + u"\r\n";
    bits |= (ids.find(u"\r\n" + U(std::to_string(owner)) + u"\r\n") != std::u16string::npos) << 3;
    bits |= (ids.find(u"\r\n" + U(std::to_string(getpid())) + u"\r\n") == std::u16string::npos) << 4;
    return bits;
  });
  EXPECT_EQ(wrong, 0) << "bits: 1 running, 2 end owner, 4 end 1, 8 owner listed, 16 self not listed, 64 setuid";
}

TEST_F(ProcessTest, ProcessListAgainstProc) {
  const std::u16string helper = Helper("Program Files/" + tag_ + "/lister");
  const int pid = Start(u"\"" + helper + u"\" sleep 30");
  ASSERT_GT(pid, 0);
  const std::u16string list = ListProcesses(
      ctx_, std::vector<int32_t>{exePID, exeParentPID, exeShortName, exeLongName, exeMemory, exeMaxMemory});
  ASSERT_FALSE(ctx_.hasError());
  EXPECT_EQ(list.find(u"\r\n\r\n"), std::u16string::npos);
  EXPECT_NE(list.substr(list.size() - 1), u"\n") << "no separator after the last line";
  bool seenChild = false, seenSelf = false;
  for (const auto& line : Lines(list)) {
    const auto c = Columns(line);
    ASSERT_EQ(c.size(), 5u) << "five columns at most, the sixth ignored: " << line;
    EXPECT_EQ(c[4], "") << "memory columns are empty";
    const int id = std::stoi(c[0]);
    // Checked against /proc read here, for processes still there.
    const std::string stat = ReadProc("/proc/" + std::to_string(id) + "/stat");
    if (stat.empty()) continue;
    const size_t close = stat.rfind(')');
    std::istringstream rest(stat.substr(close + 2));
    std::string state;
    int parent = 0;
    rest >> state >> parent;
    // A process whose parent ended since the list was taken has a new one.
    const int listedParent = std::stoi(c[1]);
    EXPECT_TRUE(listedParent == parent || !Alive(listedParent)) << line << " has parent " << parent;
    if (id == pid) {
      seenChild = true;
      EXPECT_EQ(c[1], std::to_string(getpid()));
      EXPECT_EQ(c[2], "lister");
      EXPECT_EQ(c[3], "\\Program Files\\" + tag_ + "\\lister") << "a device path beneath the device root";
    }
    if (id == getpid()) {
      seenSelf = true;
      const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
      EXPECT_EQ(c[3], exe) << "a host path outside the device root";
    }
  }
  EXPECT_TRUE(seenChild);
  EXPECT_TRUE(seenSelf);

  // Every process whose executable /proc shows is listed.
  std::set<int> expected;
  for (const auto& e : std::filesystem::directory_iterator("/proc")) {
    const std::string n = e.path().filename().string();
    std::error_code ec;
    if (n.find_first_not_of("0123456789") == std::string::npos &&
        !std::filesystem::read_symlink(e.path() / "exe", ec).empty())
      expected.insert(std::stoi(n));
  }
  std::set<int> listed;
  for (const auto& line : Lines(ListProcesses(ctx_, std::vector<int32_t>{exePID}))) listed.insert(std::stoi(line));
  std::vector<int> missing;
  // A process that ended meanwhile (a zombie has no executable to show) is
  // not owed a line: only one whose executable /proc still shows is.
  const auto stillShown = [](int id) {
    std::error_code ec;
    return !std::filesystem::read_symlink("/proc/" + std::to_string(id) + "/exe", ec).empty();
  };
  for (int id : expected)
    if (!listed.count(id) && Alive(id) && stillShown(id)) missing.push_back(id);
  EXPECT_TRUE(missing.empty()) << missing.size() << " running processes not listed, first " << missing.front();

  // Without columns: the short name alone.
  for (const auto& line : Lines(ListProcesses(ctx_, {}))) {
    EXPECT_EQ(line.find('\t'), std::string::npos);
    EXPECT_EQ(line.find('\\'), std::string::npos) << line;
  }
}

TEST_F(ProcessTest, ModuleLists) {
  // The desktop way (POSIX's own): full names, the executable left out.
  const auto mine = Lines(ListModules(ctx_));
  ASSERT_FALSE(mine.empty());
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  bool libc = false;
  for (const auto& m : mine) {
    EXPECT_NE(m, exe);
    libc = libc || m.find("libc.so") != std::string::npos;
  }
  EXPECT_TRUE(libc);
  // The device way: module names only.
  const auto names = Lines(ListModules(ctx_, getpid(), false));
  ASSERT_FALSE(names.empty());
  for (const auto& n : names) EXPECT_EQ(n.find_first_of("/\\"), std::string::npos) << n;
  EXPECT_EQ(names.size(), mine.size());
  EXPECT_FALSE(ctx_.hasError());

  // Another process: the helper's own libraries.
  const int pid = Start(Helper("bin/" + tag_) + u" sleep 30");
  ASSERT_GT(pid, 0);
  // The loader maps the libraries just after the program starts.
  std::string child;
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (child.find("libc.so") == std::string::npos && std::chrono::steady_clock::now() < until) {
    child = Utf8(ListModules(ctx_, pid));
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  EXPECT_NE(child.find("libc.so"), std::string::npos) << child;

  // No such process: the desktop way raises 80101, the device way gives an empty list.
  EXPECT_EQ(ListModules(ctx_, 0), u"");
  EXPECT_EQ(ctx_.errorId(), kErrCannotOpenProcess);
  ctx_.clearError();
  EXPECT_EQ(ListModules(ctx_, -1, false), u"");
  EXPECT_FALSE(ctx_.hasError());
}

TEST(ProcessIds, OwnIdentifiers) {
  test::FakeContext ctx;
  EXPECT_EQ(GetPID(ctx, exePID), getpid());
  EXPECT_EQ(GetPID(ctx, exeParentPID), getppid());
  EXPECT_EQ(GetPID(ctx, exeTID), gettid());
  EXPECT_FALSE(ctx.hasError());
  for (int32_t kind : {5, 0, -1, 4}) {
    ctx.clearError();
    EXPECT_EQ(GetPID(ctx, kind), 0);
    EXPECT_EQ(ctx.errorId(), kErrUnknownIdentifierKind);
    EXPECT_NE(Utf8(ctx.message()).find("<" + std::to_string(kind) + ">"), std::string::npos);
  }
}

TEST(ShellCodes, EachCodeItsError) {
  // clang-format off
  const std::pair<uint32_t, int32_t> table[] = {
      {0, 0}, {1, 0}, {2, kErrExecutableNotFound}, {3, kErrExecutableNotFound}, {4, 0},
      {5, kErrExecutableAccessDenied}, {8, kErrNoMemoryToStart}, {11, kErrNotExecutable},
      {26, kErrStartSharingViolation}, {27, kErrNoAssociation}, {31, kErrNoAssociation}, {28, kErrDdeFailed},
      {29, kErrDdeFailed}, {30, kErrDdeFailed}, {32, kErrExecutableNotFound}, {12, 0},
  };
  // clang-format on
  for (const auto& [code, error] : table) EXPECT_EQ(ShellErrorOf(code), error) << code;
}

TEST_F(ProcessTest, ShellExecution) {
  const std::u16string helper = Helper("bin/" + tag_);
  EXPECT_FALSE(ShellExecute(ctx_, u"", {}));
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_TRUE(test::WithinSeconds(10, "shell", [&] { return ShellExecute(ctx_, helper, {}); }));
  EXPECT_FALSE(ctx_.hasError());
  PutFile("docs/" + tag_ + ".txt", "text");
  EXPECT_FALSE(ShellExecute(ctx_, u"\\docs\\" + U(tag_) + u".txt", {}));
  EXPECT_EQ(ctx_.errorId(), kErrNoAssociation);
  ctx_.clearError();
  EXPECT_FALSE(ShellExecute(ctx_, u"\\docs\\missing.txt", u"open"));
  EXPECT_EQ(ctx_.errorId(), kErrExecutableNotFound);
  ctx_.clearError();
  EXPECT_FALSE(ShellExecute(ctx_, helper, u"print"));
  EXPECT_EQ(ctx_.errorId(), kErrNoAssociation);
}

TEST_F(ProcessTest, HostProgramsWithTheNativeRoot) {
  setenv("KP_NATIVE_ROOT", "1", 1);
  EXPECT_EQ(test::WithinSeconds(10, "sh",
                                [&] { return system::Run(ctx_, u"/bin/sh -c \"exit 3\"", exeActive, exeReturnValue); }),
            3);
  EXPECT_FALSE(ctx_.hasError()) << Utf8(ctx_.message());
}

}  // namespace
}  // namespace kp::system
