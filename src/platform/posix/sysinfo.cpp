// kp160std — the device's self-description on POSIX: a profile in the device
// registry (docs/sysinfo.md), or the host's own answers when asked for, and
// the host's memory, storage, modules and login manager.
#include "platform/sysinfo.h"

#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/beneath.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/fs_names.h"
#include "platform/random.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"

#ifdef KP_HAVE_SD_BUS
#include <systemd/sd-bus.h>
#endif

namespace kp::platform::sys {

namespace {

namespace reg = platform::reg;

// The profile's keys under HKEY_LOCAL_MACHINE.
constexpr std::u16string_view kProfileKey = u"System\\DeviceProfile";
constexpr std::u16string_view kShellFoldersKey = u"System\\Explorer\\Shell Folders";
constexpr std::u16string_view kPowerKey = u"SYSTEM\\CurrentControlSet\\Control\\Power";
constexpr std::u16string_view kTimeoutsKey = u"SYSTEM\\CurrentControlSet\\Control\\Power\\Timeouts";

// The defaults: a Pocket PC of the generation the library was written for.
constexpr uint32_t kDefaultPlatformId = kPlatformWin32Ce;
constexpr uint32_t kDefaultMajor = 4;
constexpr uint32_t kDefaultMinor = 20;
constexpr uint32_t kDefaultBuild = 14000;
constexpr std::u16string_view kDefaultPlatformType = u"PocketPC";
constexpr std::u16string_view kDefaultStorageCard = u"Storage Card";

// The shell's folders a Pocket PC answers for, by folder identifier and the
// value name that holds each in the profile. Folders the handheld has not
// (the common and administrative ones, cookies, the profile) have a name
// but no default value: the shell gives nothing for them.
struct Folder {
  int32_t id;
  std::u16string_view name;
  std::u16string_view byDefault;
};
constexpr Folder kFolders[] = {
    {2, u"Programs", u"\\Windows\\Start Menu\\Programs"},
    {5, u"Personal", u"\\My Documents"},
    {6, u"Favorites", u"\\Windows\\Favorites"},
    {7, u"Startup", u"\\Windows\\StartUp"},
    {8, u"Recent", u"\\Windows\\Recent"},
    {9, u"SendTo", u""},
    {11, u"Start Menu", u"\\Windows\\Start Menu"},
    {16, u"Desktop", u"\\Windows\\Desktop"},
    {20, u"Fonts", u"\\Windows\\Fonts"},
    {21, u"Templates", u"\\Windows\\Templates"},
    {26, u"AppData", u"\\Application Data"},
    {28, u"Local AppData", u""},
    {32, u"Cache", u""},
    {33, u"Cookies", u""},
    {35, u"Common AppData", u""},
    {36, u"Windows", u"\\Windows"},
    {38, u"Program Files", u"\\Program Files"},
    {39, u"My Pictures", u"\\My Documents\\My Pictures"},
    {40, u"Profile", u""},
    {43, u"Common Files", u""},
    {45, u"Common Templates", u""},
    {46, u"Common Documents", u""},
    {47, u"Common Administrative Tools", u""},
    {48, u"Administrative Tools", u""},
};

// The power settings a Pocket PC of that generation starts with: GWES powers
// off after 3 minutes on battery and 5 on external power; the power
// manager's own time-outs are kept beside them.
struct PowerDefault {
  std::u16string_view key;
  std::u16string_view name;
  uint32_t value;
};
constexpr PowerDefault kPowerDefaults[] = {
    {kPowerKey, u"DisableGwesPowerOff", 0},   {kPowerKey, u"BattPowerOff", 180},
    {kPowerKey, u"ExtPowerOff", 300},         {kTimeoutsKey, u"BattSuspendTimeout", 180},
    {kTimeoutsKey, u"ACSuspendTimeout", 300},
};

bool Fail(uint32_t code) {
  SetLastError(code);
  return false;
}

void PutDword(reg::HKey key, std::u16string_view name, uint32_t value) {
  reg::SetValue(key, name, reg::kDword, reinterpret_cast<const uint8_t*>(&value), sizeof value);
}

void PutText(reg::HKey key, std::u16string_view name, std::u16string_view text, uint32_t type = reg::kSz) {
  std::u16string data(text);
  data.push_back(0);
  if (type == reg::kMultiSz) data.push_back(0);
  reg::SetValue(key, name, type, reinterpret_cast<const uint8_t*>(data.data()),
                static_cast<uint32_t>(data.size() * sizeof(char16_t)));
}

// Opens (creating it when missing) a key of the profile; `created` tells
// whether it was new, so that its defaults are written once only and a
// value the user removed stays removed.
bool CreateProfileKey(std::u16string_view path, reg::KeyHolder* key, bool* created) {
  uint32_t disposition = 0;
  if (reg::CreateKey(reg::kLocalMachine, path, reg::kAllAccess, key->out(), &disposition) != 0) return false;
  *created = disposition == reg::kCreatedNewKey;
  return true;
}

// The value's bytes when it has the type asked for (either of two).
bool ReadRaw(std::u16string_view keyPath, std::u16string_view name, uint32_t typeA, uint32_t typeB,
             std::vector<uint8_t>* bytes) {
  reg::KeyHolder key;
  if (reg::OpenKey(reg::kLocalMachine, keyPath, reg::kQueryValue, key.out()) != 0) return false;
  uint32_t type = 0, size = 0;
  if (reg::QueryValue(key.get(), name, &type, nullptr, &size) != 0) return false;
  if (type != typeA && type != typeB) return false;
  bytes->resize(size);
  if (size == 0) return true;
  if (reg::QueryValue(key.get(), name, &type, bytes->data(), &size) != 0) return false;
  bytes->resize(size);
  return type == typeA || type == typeB;
}

// A DWORD of the profile; a missing value, or one of another type or size
// (a profile edited by hand), gives the default.
uint32_t ProfileDword(std::u16string_view name, uint32_t byDefault) {
  std::vector<uint8_t> bytes;
  if (!ReadRaw(kProfileKey, name, reg::kDword, reg::kDword, &bytes) || bytes.size() != sizeof(uint32_t))
    return byDefault;
  uint32_t v;
  std::memcpy(&v, bytes.data(), sizeof v);
  return v;
}

// The UTF-16 units of a text value, up to its first terminator.
std::u16string TextOf(const std::vector<uint8_t>& bytes) {
  std::u16string text(bytes.size() / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * 2);
  const size_t end = text.find(u'\0');
  if (end != std::u16string::npos) text.resize(end);
  return text;
}

// A text of the profile (REG_SZ or REG_EXPAND_SZ); `ok` false when missing
// or of another type.
std::u16string ProfileText(std::u16string_view keyPath, std::u16string_view name, bool* ok) {
  std::vector<uint8_t> bytes;
  *ok = ReadRaw(keyPath, name, reg::kSz, reg::kExpandSz, &bytes);
  return *ok ? TextOf(bytes) : std::u16string();
}

std::u16string ProfileTextOr(std::u16string_view name, std::u16string_view byDefault) {
  bool ok = false;
  std::u16string text = ProfileText(kProfileKey, name, &ok);
  return ok ? text : std::u16string(byDefault);
}

bool FromHost() {
  const char* v = std::getenv("KP_SYSINFO");
  if (v && std::string_view(v) == "host") return true;
  EnsureDeviceProfile();
  return ProfileDword(u"AnswerFromHost", 0) == 1;
}

std::string ReadHostFile(const char* path, bool* ok) {
  std::ifstream in(path, std::ios::binary);
  *ok = static_cast<bool>(in);
  if (!in) return {};
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// The leading numbers of a kernel release ("6.1.0-18-amd64": 6, 1, 0).
void ParseRelease(std::string_view release, Version* v) {
  uint32_t* parts[] = {&v->major, &v->minor, &v->build};
  size_t i = 0;
  for (uint32_t* part : parts) {
    if (i >= release.size() || release[i] < '0' || release[i] > '9') break;
    uint64_t n = 0;
    while (i < release.size() && release[i] >= '0' && release[i] <= '9') {
      n = n * 10 + static_cast<uint64_t>(release[i] - '0');
      if (n > UINT32_MAX) n = UINT32_MAX;
      ++i;
    }
    *part = static_cast<uint32_t>(n);
    if (i >= release.size() || release[i] != '.') break;
    ++i;
  }
}

std::u16string Ascii(std::string_view s) { return fs::names::FromUtf8(s); }

// A host path as the device shows it: beneath the device root as a device
// path, elsewhere as it is.
std::u16string Shown(const std::string& host) {
  const std::string root = fs::RootHostPath();
  std::string shown = host;
  if (root != "/" && !root.empty()) {
    if (host.size() <= root.size() || host.compare(0, root.size(), root) != 0 || host[root.size()] != '/')
      return Ascii(host);
    shown = host.substr(root.size());
  }
  std::u16string out = Ascii(shown);
  for (auto& c : out)
    if (c == u'/') c = u'\\';
  return out;
}

std::string SelfExe() {
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

}  // namespace

void EnsureDeviceProfile() {
  reg::KeyHolder key;
  bool created = false;
  if (CreateProfileKey(kProfileKey, &key, &created) && created) {
    PutDword(key.get(), u"PlatformId", kDefaultPlatformId);
    PutDword(key.get(), u"MajorVersion", kDefaultMajor);
    PutDword(key.get(), u"MinorVersion", kDefaultMinor);
    PutDword(key.get(), u"BuildNumber", kDefaultBuild);
    PutText(key.get(), u"PlatformType", kDefaultPlatformType);
    PutText(key.get(), u"ServicePack", u"");
    PutDword(key.get(), u"SuiteMask", 0);
    PutDword(key.get(), u"Emulated64", 0);
    PutText(key.get(), u"StorageCards", kDefaultStorageCard, reg::kMultiSz);
    PutText(key.get(), u"IMEI", u"");
    PutDword(key.get(), u"AnswerFromHost", 0);
    // The device's own identifier: made once, kept with the device, as a
    // handheld keeps the one burnt into it.
    Guid id;
    if (CreateGuid(id)) {
      uint8_t bytes[16];
      std::memcpy(bytes, &id.data1, 4);
      std::memcpy(bytes + 4, &id.data2, 2);
      std::memcpy(bytes + 6, &id.data3, 2);
      std::memcpy(bytes + 8, id.data4, 8);
      reg::SetValue(key.get(), u"DeviceId", reg::kBinary, bytes, sizeof bytes);
    }
  }
  reg::KeyHolder folders;
  if (CreateProfileKey(kShellFoldersKey, &folders, &created) && created) {
    for (const Folder& f : kFolders)
      if (!f.byDefault.empty()) PutText(folders.get(), f.name, f.byDefault);
  }
  for (std::u16string_view path : {kPowerKey, kTimeoutsKey}) {
    reg::KeyHolder power;
    if (!CreateProfileKey(path, &power, &created) || !created) continue;
    for (const PowerDefault& d : kPowerDefaults)
      if (d.key == path) PutDword(power.get(), d.name, d.value);
  }
}

bool GetVersion(Version* version) {
  *version = Version{};
  if (FromHost()) {
    utsname u{};
    if (uname(&u) != 0) return Fail(Win32FromErrno(errno));
    // The host is of neither family the library names: no version label,
    // no edition, no service pack.
    version->platformId = 0;
    ParseRelease(u.release, version);
    return true;
  }
  version->platformId = ProfileDword(u"PlatformId", kDefaultPlatformId);
  version->major = ProfileDword(u"MajorVersion", kDefaultMajor);
  version->minor = ProfileDword(u"MinorVersion", kDefaultMinor);
  version->build = ProfileDword(u"BuildNumber", kDefaultBuild);
  version->servicePack = ProfileTextOr(u"ServicePack", u"");
  version->suiteMask = ProfileDword(u"SuiteMask", 0);
  version->emulated64 = ProfileDword(u"Emulated64", 0) != 0;
  return true;
}

bool GetPlatformType(std::u16string* text) {
  text->clear();
  if (FromHost()) {
    utsname u{};
    if (uname(&u) != 0) return Fail(Win32FromErrno(errno));
    *text = Ascii(u.sysname);
  } else {
    *text = ProfileTextOr(u"PlatformType", kDefaultPlatformType);
  }
  constexpr size_t kMaxPlatformType = 63;  // 64 characters with the terminator
  if (text->size() > kMaxPlatformType) text->resize(kMaxPlatformType);
  return true;
}

std::u16string SpecialFolderPath(int32_t folderId) {
  EnsureDeviceProfile();
  for (const Folder& f : kFolders) {
    if (f.id != folderId) continue;
    bool ok = false;
    std::u16string path = ProfileText(kShellFoldersKey, f.name, &ok);
    constexpr size_t kMaxPath = 259;  // 260 characters with the terminator
    if (path.size() > kMaxPath) path.resize(kMaxPath);
    return path;
  }
  return {};
}

bool GetMemory(uint64_t* available, uint64_t* total) {
  *available = *total = 0;
  bool ok = false;
  const std::string info = ReadHostFile("/proc/meminfo", &ok);
  if (!ok) return Fail(Win32FromErrno(errno ? errno : ENOENT));
  auto field = [&](std::string_view name, uint64_t* out) {
    const size_t at = info.find(std::string(name) + ":");
    if (at == std::string::npos) return false;
    *out = std::strtoull(info.c_str() + at + name.size() + 1, nullptr, 10) * 1024;
    return true;
  };
  if (!field("MemTotal", total)) return Fail(kErrorInvalidData);
  // Older kernels have no estimate of the memory available; free is the
  // nearest they tell.
  if (!field("MemAvailable", available) && !field("MemFree", available)) return Fail(kErrorInvalidData);
  return true;
}

bool GetStorage(uint64_t* free, uint64_t* total) {
  *free = *total = 0;
  const std::string root = fs::RootHostPath();
  if (root.empty()) return Fail(win32::kPathNotFound);
  struct statvfs st {};
  if (statvfs(root.c_str(), &st) != 0) return Fail(Win32FromErrno(errno));
  *free = static_cast<uint64_t>(st.f_bavail) * st.f_frsize;
  *total = static_cast<uint64_t>(st.f_blocks) * st.f_frsize;
  return true;
}

bool GetModuleFile(uintptr_t module, std::u16string* path) {
  path->clear();
  if (module == 0) return Fail(kErrorModNotFound);
  // A module handle is what dlopen gave (the loader's record of the module)
  // or, as on Windows, the address the module is loaded at. Only handles
  // found among the loaded modules are looked at: anything else may point
  // anywhere. A VM whose integers are 32 bits wide hands over the low half
  // of a handle: it names the module whose handle ends so, when only one
  // does.
  void* self = dlopen(nullptr, RTLD_NOW);
  if (!self) return Fail(kErrorModNotFound);
  link_map* map = nullptr;
  if (dlinfo(self, RTLD_DI_LINKMAP, &map) != 0) map = nullptr;
  while (map && map->l_prev) map = map->l_prev;
  const link_map* exact = nullptr;
  const link_map* low = nullptr;
  int lowMatches = 0;
  constexpr uintptr_t kLow32 = 0xFFFFFFFFu;
  for (; map; map = map->l_next) {
    const uintptr_t record = reinterpret_cast<uintptr_t>(map);
    const uintptr_t base = map->l_addr;
    if (module == record || (base != 0 && module == base)) {
      exact = map;
      break;
    }
    if (module <= kLow32 && ((record & kLow32) == module || (base != 0 && (base & kLow32) == module))) {
      low = map;
      ++lowMatches;
    }
  }
  const link_map* found = exact ? exact : lowMatches == 1 ? low : nullptr;
  std::string file;
  if (found) file = found->l_name && *found->l_name ? std::string(found->l_name) : SelfExe();
  dlclose(self);
  if (!found || file.empty()) return Fail(kErrorModNotFound);
  char resolved[PATH_MAX];
  if (realpath(file.c_str(), resolved)) file = resolved;
  *path = Shown(file);
  return true;
}

bool GetDeviceId(std::vector<uint8_t>* bytes) {
  bytes->clear();
  if (FromHost()) {
    bool ok = false;
    errno = 0;
    const std::string text = ReadHostFile("/etc/machine-id", &ok);
    if (!ok) return Fail(Win32FromErrno(errno ? errno : ENOENT));
    auto nibble = [](char c) -> int {
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
    };
    constexpr size_t kIdDigits = 32;
    if (text.size() < kIdDigits) return Fail(kErrorInvalidData);
    for (size_t i = 0; i < kIdDigits; i += 2) {
      const int hi = nibble(text[i]), lo = nibble(text[i + 1]);
      if (hi < 0 || lo < 0) {
        bytes->clear();
        return Fail(kErrorInvalidData);
      }
      bytes->push_back(static_cast<uint8_t>(hi * 16 + lo));
    }
    return true;
  }
  EnsureDeviceProfile();
  std::vector<uint8_t> raw;
  if (!ReadRaw(kProfileKey, u"DeviceId", reg::kBinary, reg::kBinary, &raw) || raw.empty())
    return Fail(kErrorInvalidData);
  *bytes = std::move(raw);
  return true;
}

std::u16string GetImei() {
  // The host has no cellular line: only the profile may give one.
  if (FromHost()) return {};
  return ProfileTextOr(u"IMEI", u"");
}

std::vector<std::u16string> GetStorageCards() {
  EnsureDeviceProfile();
  std::vector<uint8_t> raw;
  std::vector<std::u16string> cards;
  if (!ReadRaw(kProfileKey, u"StorageCards", reg::kMultiSz, reg::kMultiSz, &raw)) return cards;
  std::u16string all(raw.size() / 2, u'\0');
  if (!all.empty()) std::memcpy(all.data(), raw.data(), all.size() * 2);
  size_t start = 0;
  while (start < all.size()) {
    size_t end = all.find(u'\0', start);
    if (end == std::u16string::npos) end = all.size();
    if (end == start) break;  // the list's terminator
    std::u16string name = all.substr(start, end - start);
    while (!name.empty() && (name.front() == u'\\' || name.front() == u'/')) name.erase(0, 1);
    // A card is there when its directory is: inserting a card is making it.
    const std::u16string path = u"\\" + name;
    constexpr uint32_t kInvalidAttributes = 0xFFFFFFFF, kDirectoryAttribute = 0x10;
    const uint32_t attributes = name.empty() ? kInvalidAttributes : fs::GetFileAttributes(path);
    if (attributes != kInvalidAttributes && (attributes & kDirectoryAttribute)) cards.push_back(path);
    start = end + 1;
  }
  return cards;
}

bool Shutdown(int32_t mode) {
  // Ending the user's session from a library call is never done here.
  if (mode != kShutdownPowerOff && mode != kShutdownReboot) return Fail(win32::kNotSupported);
#ifdef KP_HAVE_SD_BUS
  // No system bus, or no login manager on it: the host offers no shutdown.
  auto busError = [](int error) {
    return error == ENOENT || error == ECONNREFUSED || error == EHOSTUNREACH || error == ENXIO ? win32::kNotSupported
                                                                                               : Win32FromErrno(error);
  };
  sd_bus* bus = nullptr;
  int r = sd_bus_open_system(&bus);
  if (r < 0) return Fail(busError(-r));
  const char* ask = mode == kShutdownPowerOff ? "CanPowerOff" : "CanReboot";
  const char* act = mode == kShutdownPowerOff ? "PowerOff" : "Reboot";
  constexpr const char* kService = "org.freedesktop.login1";
  constexpr const char* kObject = "/org/freedesktop/login1";
  constexpr const char* kInterface = "org.freedesktop.login1.Manager";
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  uint32_t code = 0;
  // The login manager tells first whether this user may, without being
  // asked for a password: "yes" only. Anything else is a refusal here, so
  // that nothing waits on an authentication dialog.
  r = sd_bus_call_method(bus, kService, kObject, kInterface, ask, &error, &reply, "");
  if (r < 0) {
    code = busError(sd_bus_error_get_errno(&error) ? sd_bus_error_get_errno(&error) : -r);
  } else {
    const char* answer = nullptr;
    r = sd_bus_message_read(reply, "s", &answer);
    if (r < 0 || !answer || std::string_view(answer) != "yes") code = win32::kAccessDenied;
  }
  sd_bus_message_unref(reply);
  sd_bus_error_free(&error);
  if (code == 0) {
    error = SD_BUS_ERROR_NULL;
    r = sd_bus_call_method(bus, kService, kObject, kInterface, act, &error, nullptr, "b", 0);
    if (r < 0) code = busError(sd_bus_error_get_errno(&error) ? sd_bus_error_get_errno(&error) : -r);
    sd_bus_error_free(&error);
  }
  sd_bus_flush_close_unref(bus);
  return code == 0 ? true : Fail(code);
#else
  return Fail(win32::kNotSupported);
#endif
}

void BroadcastSettingChange() {}

bool ConnectNetworkDrive(const std::u16string&, const std::u16string&, const std::u16string&, const std::u16string&) {
  return Fail(win32::kNotSupported);
}

}  // namespace kp::platform::sys
