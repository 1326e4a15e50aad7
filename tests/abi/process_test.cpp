// The process functions through the host, as a VM calls them: every
// declared syntax reaches its implementation, and the host's command line
// starts a host program with the native root.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "abi_support.h"

namespace {

using kphost::Library;
using kphost::Value;

// Host programs are reached through the native root for the time of a test.
class NativeRoot {
 public:
  NativeRoot() {
    if (const char* v = getenv("KP_NATIVE_ROOT")) saved_ = v, had_ = true;
    setenv("KP_NATIVE_ROOT", "1", 1);
  }
  ~NativeRoot() {
    if (had_)
      setenv("KP_NATIVE_ROOT", saved_.c_str(), 1);
    else
      unsetenv("KP_NATIVE_ROOT");
  }

 private:
  std::string saved_;
  bool had_ = false;
};

const kphost::FunctionInfo& Function(Library& lib, const char* name) {
  const auto* f = lib.FindFunction(name);
  EXPECT_NE(f, nullptr) << name;
  return *f;
}

TEST(ProcessHost, EveryStartingSyntaxRunsTheProgram) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: the program started is /bin/sh";
#endif
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  NativeRoot native;
  const Value line = Value::Text(u"/bin/sh -c \"exit 5\"");
  for (const char* name : {"LanceAppli", "DDELance"}) {
    const auto& f = Function(*lib, name);
    ASSERT_EQ(f.syntaxes.size(), 7u) << name;
    for (size_t i = 0; i < f.syntaxes.size(); ++i) {
      const auto& s = f.syntaxes[i];
      ASSERT_NE(s.entry, nullptr) << name << " syntax " << i;
      std::vector<Value> args = {line};
      if (s.params.size() > 1) args.push_back(Value::Int(1));
      if (s.params.size() > 2) args.push_back(Value::Int(2));  // exeValeurRetour
      if (s.params.size() > 3) args.push_back(Value::Text(u"ignored"));
      Value result;
      lib->CallSyntax(s, args, result);
      // Without a wait mode the program is not waited for: 1.
      EXPECT_EQ(result.integer, s.params.size() > 2 ? 5 : 1) << name << " syntax " << i;
      EXPECT_EQ(lib->program().ReadError().id, 0) << name << " syntax " << i;
    }
  }
}

TEST(ProcessHost, FindingListingAndIdentifiers) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: the loaded modules of a Linux process (libc.so)";
#endif
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  Value result;
  std::string why;
  ASSERT_EQ(lib->Call(Function(*lib, "ExeDonnePID"), {}, result, why), Library::CallStatus::Ok) << why;
  EXPECT_EQ(result.integer, getpid());
  ASSERT_EQ(lib->Call(Function(*lib, "ExeDonnePID"), {Value::Int(5)}, result, why), Library::CallStatus::Ok);
  EXPECT_EQ(result.integer, 0);
  EXPECT_EQ(lib->program().ReadError().id, 80110);
  lib->program().ClearError();

  ASSERT_EQ(lib->Call(Function(*lib, "ExeLancé"), {Value::Int(getpid())}, result, why), Library::CallStatus::Ok);
  EXPECT_EQ(result.type, uint32_t{KL_T_BOOL});
  EXPECT_EQ(result.integer, 1);
  ASSERT_EQ(lib->Call(Function(*lib, "ExeLancé"), {}, result, why), Library::CallStatus::Ok);
  EXPECT_GE(result.integer, 1) << "the running program counts itself";

  // Six columns give five.
  std::vector<Value> six(6, Value::Int(3));
  ASSERT_EQ(lib->Call(Function(*lib, "ExeListeProcessus"), six, result, why), Library::CallStatus::Ok) << why;
  const std::u16string& list = result.text;
  const std::u16string firstLine = list.substr(0, list.find(u"\r\n"));
  EXPECT_EQ(std::count(firstLine.begin(), firstLine.end(), u'\t'), 4);
  std::string pid = std::to_string(getpid());
  const std::u16string pidLine = std::u16string(pid.begin(), pid.end()) + u"\t";
  EXPECT_NE((u"\r\n" + list).find(u"\r\n" + pidLine), std::u16string::npos) << "this process is listed";

  ASSERT_EQ(lib->Call(Function(*lib, "ExeListeDLL"), {}, result, why), Library::CallStatus::Ok);
  EXPECT_NE(result.text.find(u"libc.so"), std::u16string::npos);
  EXPECT_EQ(lib->program().ReadError().id, 0);

  // Ending the running program is refused, the program goes on.
  ASSERT_EQ(lib->Call(Function(*lib, "ExeTermine"), {Value::Int(getpid())}, result, why), Library::CallStatus::Ok);
  EXPECT_EQ(result.integer, 0);
}

TEST(ProcessHost, HostCommandLineWithTheNativeRoot) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: a sh command line that starts /bin/sh";
#endif
  const std::string command = "KP_NATIVE_ROOT=1 " + std::string(KP_HOST_PATH) +
                              " eval 'LanceAppli(\"/bin/sh -c \"\"exit 3\"\"\", 1, exeValeurRetour)' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string out;
  char buffer[256];
  while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_EQ(out, "3\n");
}

}  // namespace
