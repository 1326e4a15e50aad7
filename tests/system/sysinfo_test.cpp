// The system information functions against a device profile of each test's
// own (a fresh device prefix), and against the host where the answer is the
// host's: /proc/meminfo, statvfs, uname and /etc/machine-id are read here by
// the test itself.
#include "system/sysinfo.h"

#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "platform/registry.h"
#include "platform/sysinfo.h"
#include "system/device_profile_fixture.h"

namespace kp::system {
namespace {

namespace reg = platform::reg;
using test::Utf8;

constexpr std::u16string_view kProfile = u"System\\DeviceProfile";
constexpr std::u16string_view kFolders = u"System\\Explorer\\Shell Folders";

std::u16string U(const std::string& s) { return std::u16string(s.begin(), s.end()); }

class SysInfoTest : public test::DeviceProfileTest {
 protected:
  void SetUp() override {
    const char* v = getenv("KP_SYSINFO");
    hadMode_ = v != nullptr;
    savedMode_ = v ? v : "";
    unsetenv("KP_SYSINFO");
    DeviceProfileTest::SetUp();
  }
  void TearDown() override {
    if (hadMode_)
      setenv("KP_SYSINFO", savedMode_.c_str(), 1);
    else
      unsetenv("KP_SYSINFO");
    DeviceProfileTest::TearDown();
  }

  struct Profile {
    uint32_t platformId, major, minor, build;
    const char16_t* servicePack;
    uint32_t suiteMask, emulated64;
  };
  void Use(const Profile& p) {
    SetDword(kProfile, u"PlatformId", p.platformId);
    SetDword(kProfile, u"MajorVersion", p.major);
    SetDword(kProfile, u"MinorVersion", p.minor);
    SetDword(kProfile, u"BuildNumber", p.build);
    SetText(kProfile, u"ServicePack", p.servicePack);
    SetDword(kProfile, u"SuiteMask", p.suiteMask);
    SetDword(kProfile, u"Emulated64", p.emulated64);
  }

  bool hadMode_ = false;
  std::string savedMode_;
};

// --- SysVersionWindows ------------------------------------------------------

TEST_F(SysInfoTest, VersionLabelsOverProfiles) {
  struct Case {
    Profile profile;
    const char* label;
    const char* number;
    const char* build;
    const char* info;
  };
  const Case cases[] = {
      {{3, 5, 2, 21043, u"", 0, 0}, "CE 6.5", "5.2", "21043", ""},
      {{3, 5, 2, 21042, u"", 0, 0}, "CE 6", "5.2", "21042", ""},
      {{3, 5, 1, 1700, u"", 0, 0}, "CE 5", "5.1", "1700", ""},
      // Beyond 5 the major version is not looked at.
      {{3, 6, 0, 0, u"", 0, 0}, "CE 5", "6.0", "0", ""},
      {{3, 7, 3, 30000, u"", 0, 0}, "CE 6", "7.3", "30000", ""},
      {{3, 4, 20, 14000, u"", 0, 0}, "CE 4", "4.20", "14000", ""},
      {{3, 4, 0, 0, u"", 0, 0}, "CE 4", "4.0", "0", ""},
      {{3, 3, 0, 11171, u"", 0, 0}, "CE 3", "3.0", "11171", ""},
      {{3, 2, 12, 0, u"", 0, 0}, "CE 3", "2.12", "0", ""},
      {{3, 5, 2, 4294967295u, u"", 0, 0}, "CE 6.5", "5.2", "4294967295", ""},
      // The desktop NT family: no label, the edition after the service pack.
      {{2, 5, 1, 2600, u"Service Pack 3", 0, 0}, "", "5.1", "2600", "Service Pack 3,Pro"},
      {{2, 5, 1, 2600, u"Service Pack 3", 0x200, 0}, "", "5.1", "2600", "Service Pack 3,Home Edition"},
      {{2, 6, 1, 7601, u"", 0x300, 1}, "", "6.1", "7601", "Home Edition,64"},
      {{2, 10, 0, 19045, u"", 0, 1}, "", "10.0", "19045", "Pro,64"},
      {{2, 4, 0, 1381, u"Service Pack 6", 0x200, 1}, "", "4.0", "1381", "Service Pack 6"},
      // Other families: no label; the service pack as it is.
      {{1, 4, 10, 2222, u"A", 0x200, 1}, "", "4.10", "2222", "A"},
      {{3, 5, 2, 21100, u"Pack 2", 0x200, 1}, "CE 6.5", "5.2", "21100", "Pack 2"},
  };
  for (const Case& c : cases) {
    Use(c.profile);
    const std::string where = std::to_string(c.profile.platformId) + " " + std::to_string(c.profile.major) + "." +
                              std::to_string(c.profile.minor) + "." + std::to_string(c.profile.build);
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionName)), c.label) << where;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), c.number) << where;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionBuild)), c.build) << where;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionInfo)), c.info) << where;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionBitness)), "32") << where;
    EXPECT_FALSE(ctx_.hasError()) << where;
  }
}

TEST_F(SysInfoTest, DefaultProfileIsAPocketPc) {
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionName)), "CE 4");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), "4.20");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionPlatform)), "PocketPC");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionInfo)), "");
  // Editing the profile changes what the device says.
  SetText(kProfile, u"PlatformType", u"SmartPhone");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionPlatform)), "SmartPhone");
  SetText(kProfile, u"PlatformType", std::u16string(100, u'x'));
  EXPECT_EQ(WindowsVersion(ctx_, sysVersionPlatform).size(), 63u) << "the 64-character buffer, terminator included";
}

TEST_F(SysInfoTest, VersionKindsOutOfRangeRaise80144) {
  for (int32_t kind : {-1, 6, 7, 100, INT_MAX, INT_MIN}) {
    ctx_.clearError();
    EXPECT_EQ(WindowsVersion(ctx_, kind), u"") << kind;
    EXPECT_EQ(ctx_.errorId(), kErrUnknownWindowsVersionKind) << kind;
  }
}

TEST_F(SysInfoTest, CorruptedProfileGivesDefaults) {
  SetText(kProfile, u"MajorVersion", u"5");  // a text where a DWORD belongs
  const uint64_t wide = 21100;
  Set(kProfile, u"BuildNumber", reg::kQword, &wide, sizeof wide);  // a QWORD
  Set(kProfile, u"MinorVersion", reg::kDword, "\x02\x00", 2);      // too short for a DWORD
  SetDword(kProfile, u"PlatformType", 7);
  SetDword(kProfile, u"ServicePack", 7);
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionName)), "CE 4");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), "4.20");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionBuild)), "14000");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionPlatform)), "PocketPC");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionInfo)), "");
  // Damaged identifiers, card lists and folders give empty answers.
  SetText(kProfile, u"DeviceId", u"12");
  EXPECT_EQ(SerialNumber(ctx_), u"");
  EXPECT_EQ(ctx_.errorId(), kErrSerialNumberUnavailable);
  EXPECT_EQ(ctx_.systemError(), platform::sys::kErrorInvalidData);
  SetDword(kProfile, u"StorageCards", 1);
  std::filesystem::create_directories(Host("Storage Card"));
  EXPECT_EQ(StorageCards(ctx_), u"");
  SetDword(kFolders, u"Personal", 5);
  SetDword(kFolders, u"Windows", 5);
  EXPECT_EQ(SpecialFolder(ctx_, 18, false), u"");
  EXPECT_EQ(SpecialFolder(ctx_, srWindows, false), u"\\Windows") << "the fall-back";
}

TEST_F(SysInfoTest, ProfileIsFilledOnceAndKeepsEdits) {
  Delete(kProfile, u"IMEI");
  SetText(kProfile, u"ServicePack", u"edited");
  platform::sys::EnsureDeviceProfile();
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionInfo)), "edited");
  EXPECT_EQ(Imei(ctx_), u"") << "a removed value stays removed";
  SetText(kProfile, u"IMEI", u"351234567890123");
  EXPECT_EQ(Utf8(Imei(ctx_)), "351234567890123");
}

// --- host answers -----------------------------------------------------------

TEST_F(SysInfoTest, HostOptionAnswersFromUname) {
  utsname u{};
  ASSERT_EQ(uname(&u), 0);
  unsigned major = 0, minor = 0, patch = 0;
  const int parts = sscanf(u.release, "%u.%u.%u", &major, &minor, &patch);
  ASSERT_GE(parts, 2) << u.release;
  auto check = [&](const char* how) {
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), std::to_string(major) + "." + std::to_string(minor)) << how;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionBuild)), std::to_string(parts == 3 ? patch : 0)) << how;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionPlatform)), u.sysname) << how;
    EXPECT_EQ(WindowsVersion(ctx_, sysVersionName), u"") << how << ": the host is no CE device";
    EXPECT_EQ(WindowsVersion(ctx_, sysVersionInfo), u"") << how;
    EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionBitness)), "32") << how;
    SetText(kProfile, u"IMEI", u"351234567890123");
    EXPECT_EQ(Imei(ctx_), u"") << how << ": the host has no cellular line";
  };
  setenv("KP_SYSINFO", "host", 1);
  check("KP_SYSINFO=host");
  unsetenv("KP_SYSINFO");
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), "4.20") << "the profile again";
  SetDword(kProfile, u"AnswerFromHost", 1);
  check("AnswerFromHost=1");
  SetDword(kProfile, u"AnswerFromHost", 2);
  EXPECT_EQ(Utf8(WindowsVersion(ctx_, sysVersionNumber)), "4.20") << "only 1 switches";
}

TEST_F(SysInfoTest, SerialNumberFromProfileAndMachineId) {
  const std::u16string serial = SerialNumber(ctx_);
  ASSERT_EQ(serial.size(), 32u);
  for (char16_t c : serial) EXPECT_TRUE((c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F')) << Utf8(serial);
  EXPECT_EQ(SerialNumber(ctx_), serial) << "made once, kept";
  const uint8_t id[] = {0x00, 0x0A, 0xFF, 0x7B};
  Set(kProfile, u"DeviceId", reg::kBinary, id, sizeof id);
  EXPECT_EQ(Utf8(SerialNumber(ctx_)), "000AFF7B");
  EXPECT_FALSE(ctx_.hasError());

  std::ifstream in("/etc/machine-id");
  if (!in) GTEST_SKIP() << "no /etc/machine-id on this host";
  std::string machineId;
  in >> machineId;
  for (auto& c : machineId) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  setenv("KP_SYSINFO", "host", 1);
  EXPECT_EQ(Utf8(SerialNumber(ctx_)), machineId);
  EXPECT_FALSE(ctx_.hasError());
}

// Within what a running machine drifts between two readings.
void ExpectNear(uint64_t got, uint64_t expected, uint64_t drift, const char* what) {
  const uint64_t diff = got > expected ? got - expected : expected - got;
  EXPECT_LE(diff, drift) << what << ": " << got << " against " << expected;
}

TEST_F(SysInfoTest, SpaceAgainstMeminfoAndStatvfs) {
  std::ifstream in("/proc/meminfo");
  ASSERT_TRUE(in);
  uint64_t totalKb = 0, availableKb = 0;
  std::string name;
  uint64_t value;
  std::string unit;
  while (in >> name >> value >> unit) {
    if (name == "MemTotal:") totalKb = value;
    if (name == "MemAvailable:") availableKb = value;
  }
  ASSERT_GT(totalKb, 0u);
  const Value total = Space(ctx_, sysProgramSpace);
  const Value available = Space(ctx_, sysFreeProgramSpace);
  ASSERT_TRUE(std::holds_alternative<int64_t>(total));
  EXPECT_EQ(static_cast<uint64_t>(std::get<int64_t>(total)), totalKb * 1024);
  ExpectNear(static_cast<uint64_t>(std::get<int64_t>(available)), availableKb * 1024, 512ull << 20, "available");

  struct statvfs st {};
  ASSERT_EQ(statvfs((dir_ + "/fs").c_str(), &st), 0);
  const Value storage = Space(ctx_, sysStorageSpace);
  const Value freeStorage = Space(ctx_, sysFreeStorageSpace);
  ASSERT_TRUE(std::holds_alternative<int64_t>(storage));
  EXPECT_EQ(static_cast<uint64_t>(std::get<int64_t>(storage)), uint64_t{st.f_blocks} * st.f_frsize);
  ExpectNear(static_cast<uint64_t>(std::get<int64_t>(freeStorage)), uint64_t{st.f_bavail} * st.f_frsize, 512ull << 20,
             "free storage");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SysInfoTest, SpaceKindsOutOfRangeRaise80145) {
  for (int32_t kind : {0, 5, -1, INT_MAX, INT_MIN}) {
    ctx_.clearError();
    const Value v = Space(ctx_, kind);
    ASSERT_TRUE(std::holds_alternative<int64_t>(v)) << kind;
    EXPECT_EQ(std::get<int64_t>(v), 0) << kind;
    EXPECT_EQ(ctx_.errorId(), kErrSysSpaceValueUnsupported) << kind;
  }
}

// --- SysRep -----------------------------------------------------------------

// By kind: the shell folder asked for, and the answer when the shell has none.
struct FolderExpectation {
  int32_t folderId;
  const char* fallBack;
};
// clang-format off
constexpr FolderExpectation kExpected[30] = {
    {36, "\\Windows"}, {36, "\\Windows"}, {11, ""}, {11, ""}, {2, ""},
    {2, ""}, {6, ""}, {6, ""}, {7, ""}, {7, ""},
    {9, ""}, {16, ""}, {16, ""}, {48, ""}, {47, ""},
    {26, ""}, {35, ""}, {28, ""}, {5, ""}, {46, ""},
    {39, ""}, {21, ""}, {45, ""}, {40, ""}, {8, ""},
    {20, ""}, {33, ""}, {32, ""}, {38, "\\Program Files"}, {43, "\\Program Files"},
};

// The profile's value name of each shell folder, as docs/sysinfo.md lists them.
const std::map<int32_t, std::u16string> kFolderNames = {
    {2, u"Programs"}, {5, u"Personal"}, {6, u"Favorites"}, {7, u"Startup"}, {8, u"Recent"}, {9, u"SendTo"},
    {11, u"Start Menu"}, {16, u"Desktop"}, {20, u"Fonts"}, {21, u"Templates"}, {26, u"AppData"},
    {28, u"Local AppData"}, {32, u"Cache"}, {33, u"Cookies"}, {35, u"Common AppData"}, {36, u"Windows"},
    {38, u"Program Files"}, {39, u"My Pictures"}, {40, u"Profile"}, {43, u"Common Files"}, {45, u"Common Templates"},
    {46, u"Common Documents"}, {47, u"Common Administrative Tools"}, {48, u"Administrative Tools"},
};
// clang-format on

TEST_F(SysInfoTest, EveryFolderKindWithTheShellsAnswer) {
  for (const auto& [id, name] : kFolderNames) SetText(kFolders, name, u"\\F" + U(std::to_string(id)));
  for (int32_t kind = 0; kind < 30; ++kind) {
    EXPECT_EQ(FolderIdOf(kind), kExpected[kind].folderId) << kind;
    EXPECT_EQ(Utf8(SpecialFolder(ctx_, kind, false)), "\\F" + std::to_string(kExpected[kind].folderId)) << kind;
  }
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SysInfoTest, EveryFolderKindWithoutTheShellsAnswer) {
  for (const auto& [id, name] : kFolderNames) Delete(kFolders, name);
  for (int32_t kind = 0; kind < 30; ++kind)
    EXPECT_EQ(Utf8(SpecialFolder(ctx_, kind, false)), kExpected[kind].fallBack) << kind;
  // An empty answer is no answer either.
  SetText(kFolders, u"Common Files", u"");
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 29, false)), "\\Program Files");
}

TEST_F(SysInfoTest, DefaultFoldersOfAPocketPc) {
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, srWindows, false)), "\\Windows");
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 18, false)), "\\My Documents");
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 19, false)), "") << "no common documents on the handheld";
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 29, false)), "\\Program Files") << "the fall-back";
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 5, false)), "\\Windows\\Start Menu\\Programs");
}

TEST_F(SysInfoTest, FolderKindsOutOfRangeAreEmpty) {
  for (int32_t kind : {30, 31, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(SpecialFolder(ctx_, kind, false), u"") << kind;
    EXPECT_EQ(SpecialFolder(ctx_, kind, true), u"") << kind;
    EXPECT_EQ(FolderIdOf(kind), -1) << kind;
  }
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SysInfoTest, FolderIsCreatedWhenAsked) {
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 20, false)), "\\My Documents\\My Pictures");
  EXPECT_FALSE(HostExists("My Documents"));
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 20, true)), "\\My Documents\\My Pictures");
  EXPECT_TRUE(std::filesystem::is_directory(Host("My Documents/My Pictures")));
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 20, true)), "\\My Documents\\My Pictures") << "already there";
  // A file in the way.
  PutFile("Windows", "not a folder");
  EXPECT_EQ(SpecialFolder(ctx_, 6, true), u"");
  EXPECT_NE(ctx_.systemError(), 0u);
  EXPECT_EQ(Utf8(SpecialFolder(ctx_, 6, false)), "\\Windows\\Favorites") << "asking only never fails";
}

// --- SysNomExe --------------------------------------------------------------

std::string Real(const std::string& path) {
  char buffer[PATH_MAX];
  return realpath(path.c_str(), buffer) ? std::string(buffer) : path;
}

TEST_F(SysInfoTest, ModuleFileOfLoadedModules) {
  EXPECT_EQ(ModuleFile(ctx_, 0), u"");
  EXPECT_FALSE(ctx_.hasError()) << "a null handle is no error";
  // The zlib the tests are linked with, by its load address.
  void* z = dlopen("libz.so.1", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(z, nullptr);
  link_map* map = nullptr;
  ASSERT_EQ(dlinfo(z, RTLD_DI_LINKMAP, &map), 0);
  const std::string expected = Real(map->l_name);
  const auto low = static_cast<int32_t>(static_cast<uint32_t>(map->l_addr));
  dlclose(z);
  EXPECT_EQ(Utf8(ModuleFile(ctx_, low)), expected);
  // The program itself.
  void* self = dlopen(nullptr, RTLD_NOW);
  ASSERT_EQ(dlinfo(self, RTLD_DI_LINKMAP, &map), 0);
  const auto selfLow = static_cast<int32_t>(static_cast<uint32_t>(map->l_addr));
  dlclose(self);
  EXPECT_EQ(Utf8(ModuleFile(ctx_, selfLow)), Real("/proc/self/exe"));
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SysInfoTest, HandleThatIsNoModule) {
  int onStack = 0;
  for (int32_t handle : {1, 0x10, -1, static_cast<int32_t>(reinterpret_cast<uintptr_t>(&onStack)) | 1}) {
    ctx_.clearError();
    EXPECT_EQ(ModuleFile(ctx_, handle), u"") << handle;
    EXPECT_EQ(ctx_.systemError(), platform::sys::kErrorModNotFound) << handle;
  }
}

// --- storage cards, shutdown, network ----------------------------------------

TEST_F(SysInfoTest, StorageCardsPresentAreListed) {
  EXPECT_EQ(StorageCards(ctx_), u"") << "no card inserted";
  std::filesystem::create_directories(Host("Storage Card"));
  EXPECT_EQ(Utf8(StorageCards(ctx_)), "\\Storage Card");
  const char16_t list[] = u"SD Card\0Storage Card\0\\CF\0Missing\0";
  Set(kProfile, u"StorageCards", reg::kMultiSz, list, sizeof list);
  std::filesystem::create_directories(Host("SD Card"));
  PutFile("CF", "a file, not a card");
  EXPECT_EQ(Utf8(StorageCards(ctx_)), "\\SD Card\r\n\\Storage Card");
  std::filesystem::remove(Host("CF"));
  std::filesystem::create_directories(Host("CF"));
  EXPECT_EQ(Utf8(StorageCards(ctx_)), "\\SD Card\r\n\\Storage Card\r\n\\CF");
}

// The tests never reach a real login manager: the system bus is pointed at a
// socket that does not exist.
TEST_F(SysInfoTest, ShutdownFailsCleanlyWithoutLoginManager) {
  const char* old = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  const std::string saved = old ? old : "";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + dir_ + "/no-bus").c_str(), 1);
  for (int32_t mode : {1, 2, 0, 3, 4, -1, INT_MAX}) {
    ctx_.clearError();
    EXPECT_FALSE(Shutdown(ctx_, mode)) << mode;
    EXPECT_EQ(ctx_.errorId(), kErrShutdownRefused) << mode;
    EXPECT_EQ(ctx_.systemError(), 50u) << mode;
  }
  if (old)
    setenv("DBUS_SYSTEM_BUS_ADDRESS", saved.c_str(), 1);
  else
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST_F(SysInfoTest, NoNetworkDrivesOnPosix) {
  EXPECT_FALSE(NetworkConnect(ctx_, u"Z:", u"\\\\server\\share", u"", u""));
  EXPECT_EQ(ctx_.systemError(), 50u);
}

}  // namespace
}  // namespace kp::system
