// The eight exports as a VM drives them.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <sstream>

#include "abi_support.h"

namespace {

using kphost::Library;

const std::set<std::string> kEightExports = {"InfoComposante",    "CommandeComposante", "Execution",
                                             "GeneralParam",      "DeclareProxy",       "pQueryProxy",
                                             "bInitKLConvFromVM", "nfCompacte"};

// Standard output of a command; nullopt when it cannot run or fails.
std::optional<std::string> Output(const std::string& command) {
  FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
  if (!pipe) return std::nullopt;
  std::string out;
  char buffer[4096];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  const int status = pclose(pipe);
  if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
  return out;
}

bool OnPath(const std::string& tool) { return Output("command -v " + tool).has_value(); }

std::string Join(const std::set<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += (out.empty() ? "" : " ") + n;
  return out;
}

// The defined dynamic symbols of the shared object, as nm lists them (the
// version node, type A, is not a symbol a VM can look up).
TEST(ExportList, SharedObjectExportsExactlyTheEight) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: the shared object's dynamic symbols; the DLL's export table is read by tests/windows/check_dll.py";
#endif
  ASSERT_TRUE(OnPath("nm")) << "nm (binutils) is needed to list the exports";
  const auto listing = Output(std::string("nm -D --defined-only ") + KP_LIBRARY_PATH);
  ASSERT_TRUE(listing) << "nm failed on " << KP_LIBRARY_PATH;
  std::set<std::string> names;
  std::istringstream lines(*listing);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string address, type, name;
    if (!(fields >> address >> type >> name)) continue;
    if (type == "A") continue;
    names.insert(name.substr(0, name.find('@')));
  }
  EXPECT_EQ(names, kEightExports) << "exported: " << Join(names);
}

// The DLL's export table, when the mingw build exists beside the others.
TEST(ExportList, DllExportsExactlyTheEight) {
  const char* override = std::getenv("KP_DLL_PATH");
  const std::string dll = override && *override ? override : KP_MINGW_DLL_PATH;
  if (access(dll.c_str(), R_OK) != 0)
    GTEST_SKIP() << dll << " is not built (cmake --preset mingw && cmake --build build/mingw)";
  std::string objdump;
  for (const char* tool : {"i686-w64-mingw32-objdump", "x86_64-w64-mingw32-objdump"})
    if (OnPath(tool)) {
      objdump = tool;
      break;
    }
  if (objdump.empty()) GTEST_SKIP() << "no mingw objdump to read " << dll;
  const auto listing = Output(objdump + " -p '" + dll + "'");
  ASSERT_TRUE(listing) << objdump << " failed on " << dll;
  // The name table follows "[Ordinal/Name Pointer] Table"; its rows read
  // "\t[   0] Name" and it ends at the first blank line.
  const size_t table = listing->find("[Ordinal/Name Pointer] Table");
  ASSERT_NE(table, std::string::npos) << "the DLL has no export name table";
  std::set<std::string> names;
  std::istringstream lines(listing->substr(table));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    const size_t close = line.find(']');
    if (line.find('[') == std::string::npos || close == std::string::npos) break;
    std::string name = line.substr(close + 1);
    name.erase(0, name.find_first_not_of(" \t"));
    names.insert(name);
  }
  EXPECT_EQ(names, kEightExports) << "exported: " << Join(names);
}

TEST(Exports, InfoComposanteSelectors) {
  auto lib = kp::abi::Load();
  auto info = lib->exports().info;
  EXPECT_EQ(info(0, 0), 9u);
  EXPECT_EQ(info(1, 0), 8u);
  EXPECT_EQ(info(2, 0), 872u);
  EXPECT_EQ(info(3, 0), 1u);
  EXPECT_EQ(info(30, 0), 1u);
  EXPECT_EQ(info(13, 0), 0u);
  EXPECT_EQ(info(35, 0), 0u);
  EXPECT_EQ(info(24, 0), 505u);
  EXPECT_EQ(info(26, 0), 53u);
  EXPECT_EQ(info(32, 0), 3u);
  EXPECT_EQ(info(34, 0), 445u);
  for (uint32_t unknown : {5u, 12u, 22u, 27u, 28u, 36u, 1000u, 0xFFFFFFFFu}) EXPECT_EQ(info(unknown, 0), 0u) << unknown;
  // Selector 4: the language code chooses between two texts, both empty
  // at load: 12 the first, any other code the second; the index plays no part.
  lib->SetLanguage(KL_LANGUAGE_FRENCH);
  const uintptr_t first = info(4, 0);
  EXPECT_EQ(info(4, 1), first);
  lib->SetLanguage(9);
  const uintptr_t second = info(4, 0);
  EXPECT_EQ(info(4, 1), second);
  lib->SetLanguage(7);
  EXPECT_EQ(info(4, 0), second) << "any code other than 12 chooses the second";
  EXPECT_NE(first, second);
  for (uintptr_t text : {first, second}) {
    ASSERT_NE(text, 0u);
    EXPECT_EQ(reinterpret_cast<const kl_char*>(text)[0], 0);
  }
  lib->SetLanguage(KL_LANGUAGE_FRENCH);
  EXPECT_EQ(info(4, 1), first);
  // Selector 29 is one indirection more than the other tables.
  auto* descriptors = *reinterpret_cast<const KLTypeDescriptor* const*>(info(29, 0));
  EXPECT_STREQ(descriptors[0].frenchNames, "Processus,Processus,m");
  EXPECT_STREQ(descriptors[0].englishNames, "Process,Processes,");
}

TEST(Exports, UnknownCodesAnswerZero) {
  auto lib = kp::abi::Load();
  const auto& x = lib->exports();
  EXPECT_EQ(x.command(0, 0, 0, 0), 0u);
  EXPECT_EQ(x.command(5, 0, 0, 0), 0u);
  EXPECT_EQ(x.execution(1, nullptr), 0u);
  EXPECT_EQ(x.execution(3986, nullptr), 0u);
  EXPECT_EQ(x.general(2007, 0, 0), 0u);
  EXPECT_EQ(x.queryProxy(59), 0u);
  EXPECT_EQ(x.queryProxy(61), 0u);
}

TEST(Exports, ProxiesAndCompact) {
  auto lib = kp::abi::Load();
  uintptr_t out1 = 77, out3 = 77;
  uint16_t out2 = 77, out4 = 77;
  lib->exports().declareProxy(&out1, &out2, &out3, &out4);
  EXPECT_EQ(out1, 0u);
  EXPECT_EQ(out2, 0u);
  EXPECT_EQ(out3, 0u);
  EXPECT_EQ(out4, 0u);
  struct Proxy {
    const struct {
      void (*Release)(Proxy*, int32_t);
    }* ops;
  };
  auto* proxy = reinterpret_cast<Proxy*>(lib->exports().queryProxy(60));
  ASSERT_NE(proxy, nullptr);
  auto* second = reinterpret_cast<Proxy*>(lib->exports().queryProxy(60));
  EXPECT_NE(proxy, second) << "each query makes a new proxy";
  proxy->ops->Release(proxy, 1);
  second->ops->Release(second, 1);
}

TEST(Exports, ConversionServicesVersionChecks) {
  auto lib = kp::abi::Load();
  EXPECT_EQ(lib->conversionBound(), 1) << "the host exports nConversionDepassement and FinConversion";
  auto init = lib->exports().initConversion;
  void* self = dlopen(nullptr, RTLD_NOW);
  ASSERT_NE(self, nullptr) << dlerror();
  EXPECT_EQ(init(reinterpret_cast<uintptr_t>(self), 1, 2, 0), 0);
  EXPECT_EQ(init(reinterpret_cast<uintptr_t>(self), 2, 3, 0), 0);
  EXPECT_EQ(init(reinterpret_cast<uintptr_t>(self), 2, 2, 0), 1);
  // A module without the required services binds nothing.
  void* hook = dlopen(KP_HOOK_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(hook, nullptr);
  EXPECT_EQ(init(reinterpret_cast<uintptr_t>(hook), 2, 2, 0), 0);
  dlclose(hook);
}

struct CountingManager {
  KLStringManager base;
  int releases = 0;
};
void KL_CALL CountingRelease(KLStringManager* m, int32_t, uintptr_t) {
  reinterpret_cast<CountingManager*>(m)->releases++;
}

TEST(Exports, StringManagerOfTheVMIsNeverReleased) {
  auto lib = kp::abi::Load();
  static const KLStringManagerOps ops{[](KLStringManager*, uint32_t n) -> void* { return std::malloc(n); },
                                      [](KLStringManager*, void* p) { std::free(p); }, &CountingRelease};
  CountingManager first{{&ops}}, second{{&ops}};
  EXPECT_EQ(lib->exports().general(KL_PARAM_STRING_MANAGER, reinterpret_cast<uintptr_t>(&first.base), 0), 1u);
  EXPECT_EQ(lib->exports().general(KL_PARAM_STRING_MANAGER, reinterpret_cast<uintptr_t>(&second.base), 0), 1u);
  EXPECT_EQ(first.releases, 0);
  EXPECT_EQ(second.releases, 0);
  // Give the host's manager back: it counts the blocks of the other tests.
  std::string error;
  auto fresh = Library::Load(KP_LIBRARY_PATH, error);
  ASSERT_TRUE(fresh) << error;
}

// The hook module: its "Execution" export sees the start, the events and the
// stop, in the VM's order.
class Hook : public ::testing::Test {
 protected:
  void SetUp() override {
    lib_ = kp::abi::Load();
    module_ = dlopen(KP_HOOK_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module_, nullptr);
    starts_ = reinterpret_cast<int (*)()>(dlsym(module_, "hook_starts"));
    stops_ = reinterpret_cast<int (*)()>(dlsym(module_, "hook_stops"));
    events_ = reinterpret_cast<int (*)()>(dlsym(module_, "hook_events"));
    answer_ = reinterpret_cast<void (*)(uintptr_t)>(dlsym(module_, "hook_set_answer"));
    // Library::Load's start without a hook module failed and left the count at 0.
  }
  void TearDown() override {
    lib_.reset();
    dlclose(module_);
  }
  uintptr_t Start(uintptr_t w2 = 0, uintptr_t w3 = 0) {
    uintptr_t block[4] = {0, reinterpret_cast<uintptr_t>(module_), w2, w3};
    return lib_->exports().execution(KL_EXEC_START, block);
  }
  uintptr_t Send(uint32_t message, std::initializer_list<uintptr_t> words) {
    std::vector<uintptr_t> block(words);
    block.resize(4);
    return lib_->exports().execution(message, block.data());
  }
  std::unique_ptr<Library> lib_;
  void* module_ = nullptr;
  int (*starts_)() = nullptr;
  int (*stops_)() = nullptr;
  int (*events_)() = nullptr;
  void (*answer_)(uintptr_t) = nullptr;
};

TEST_F(Hook, TwoStartsNeedTwoEnds) {
  const int stops = stops_();
  EXPECT_EQ(Start(11, 22), 1u);
  EXPECT_EQ(Start(), 1u);
  EXPECT_EQ(starts_(), 2);
  EXPECT_EQ(Send(KL_EXEC_END, {}), 1u);
  EXPECT_EQ(stops_(), stops) << "the hook stops only when the count drops from 1 to 0";
  EXPECT_EQ(Send(KL_EXEC_END, {}), 1u);
  EXPECT_EQ(stops_(), stops + 1);
  // Without a hook, 5238 answers 0.
  EXPECT_EQ(Send(KL_EXEC_FORWARD, {1}), 0u);
}

TEST_F(Hook, EndWithoutStartGoesNegative) {
  EXPECT_EQ(Send(KL_EXEC_END, {}), 1u);  // count -1, nothing else
  EXPECT_EQ(Start(), 1u);                // count 0: the hook exists but...
  EXPECT_EQ(Start(), 1u);                // count 1
  const int stops = stops_();
  EXPECT_EQ(Send(KL_EXEC_END, {}), 1u);  // ...only this drop from 1 to 0 stops it
  EXPECT_EQ(stops_(), stops + 1);
}

TEST_F(Hook, EventsAreForwarded) {
  ASSERT_EQ(Start(), 1u);
  const int events = events_();
  EXPECT_EQ(Send(KL_EXEC_SETTINGS, {1, 2}), 1u);
  EXPECT_EQ(Send(KL_EXEC_SETTINGS_EX, {1, 2, 3}), 1u);
  EXPECT_EQ(Send(KL_EXEC_LANGUAGE, {KL_LANGUAGE_FRENCH}), 1u);
  EXPECT_EQ(events_(), events + 3);
  answer_(0);
  EXPECT_EQ(Send(KL_EXEC_FORWARD, {}), 0u);
  EXPECT_EQ(Send(KL_EXEC_FILTER, {}), 2u) << "the hook refuses";
  answer_(1);
  EXPECT_EQ(Send(KL_EXEC_FORWARD, {}), 1u);
  EXPECT_EQ(Send(KL_EXEC_FILTER, {}), 1u);
  EXPECT_EQ(Send(KL_EXEC_END, {}), 1u);
}

TEST_F(Hook, ModuleWithoutExecutionIsDropped) {
  void* self = dlopen(nullptr, RTLD_NOW);
  ASSERT_NE(self, nullptr) << dlerror();
  uintptr_t block[4] = {0, reinterpret_cast<uintptr_t>(self), 0, 0};
  EXPECT_EQ(lib_->exports().execution(KL_EXEC_START, block), 0u);
  EXPECT_EQ(Send(KL_EXEC_FORWARD, {}), 0u) << "no hook was kept";
}

}  // namespace
