// kp160std — persistent parameters.
#include "registry/parameters.h"

#include <map>
#include <memory>
#include <mutex>

#include "abi/error.h"
#include "abi/messages.h"
#include "files/path_rule.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/ini.h"
#include "registry/registry.h"
#include "registry/text.h"

namespace kp::registry {

namespace reg = platform::reg;

namespace {

constexpr std::u16string_view kSkipDefault = u"****DEFAULT****";
constexpr std::u16string_view kMissingSentinel = u"***(NULL/VALEURNONRESEIGNEE)***";
constexpr uint32_t kSmallRead = 1024;
constexpr uint32_t kLargeRead = 65536;
constexpr int64_t kLargeIniFile = 32769;
constexpr uint32_t kNotFatalItem = 21;
constexpr uint32_t kTreeAccess = 0x2000E;

class CParameterStore {
 public:
  ParameterSetting s;
  bool skipUnchanged = true;
};

// Guards Stores(): programs of several VM threads open their stores at once.
std::mutex gStoresMutex;
std::map<ExecContext*, std::shared_ptr<CParameterStore>>& Stores() {
  static std::map<ExecContext*, std::shared_ptr<CParameterStore>> stores;
  return stores;
}

std::shared_ptr<CParameterStore> StoreFor(ExecContext* context) {
  std::lock_guard lock(gStoresMutex);
  auto& slot = Stores()[context];
  if (!slot) {
    slot = std::make_shared<CParameterStore>();
    slot->s.root = reg::kCurrentUser;
  }
  return slot;
}

void Mark(ExecContext* context) { SetInfoItem(context, kNotFatalItem, 1); }

bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && reg::FoldName(text.substr(0, prefix.size())) == reg::FoldName(prefix);
}

std::u16string CollapseBackslashes(std::u16string text) {
  for (size_t at; (at = text.find(u"\\\\")) != std::u16string::npos;) text.erase(at, 1);
  return text;
}

// Makes sure the key exists: opened when it is there, else its parent made
// sure of and the key created, always under HKEY_CURRENT_USER (kept on
// purpose, whatever the root). `opened`, when given, holds the key that was
// opened or created, so that a write goes where the key was prepared.
uint32_t EnsureKey(reg::HKey root, std::u16string_view path, bool writing, reg::KeyHolder* opened = nullptr) {
  reg::KeyHolder local;
  reg::KeyHolder& k = opened ? *opened : local;
  if (reg::OpenKey(root, path, writing ? reg::kAllAccess : reg::kRead, k.out()) == win32::kSuccess)
    return win32::kSuccess;
  const size_t cut = path.rfind(u'\\');
  if (cut != std::u16string_view::npos && cut > 0) {
    if (uint32_t rc = EnsureKey(root, path.substr(0, cut), writing)) return rc;
  }
  return reg::CreateKey(reg::kCurrentUser, path, reg::kAllAccess, k.out(), nullptr);
}

std::u16string JoinDevicePath(std::u16string_view directory, std::u16string_view file) {
  std::u16string out(directory);
  if (!out.empty() && out.back() != u'\\' && out.back() != u'/') out += u'\\';
  return out + std::u16string(file);
}

bool Resolve(ExecContext* context, CParameterStore& store, bool writing) {
  if (store.s.opened) return true;
  ParameterSetting& s = store.s;
  if (s.mode == kParamRegistry) {
    s.root = reg::kCurrentUser;
    if (s.keyPath.empty()) {
      s.keyPath = ProjectQuery(context, KL_PROJECT_REGISTRY_KEY);
    } else {
      std::u16string_view path = s.keyPath;
      if (StartsWithFolded(path, u"HKEY_CURRENT_USER\\")) path.remove_prefix(18);
      if (StartsWithFolded(path, u"HKEY_LOCAL_MACHINE\\")) {
        path.remove_prefix(19);
        s.root = reg::kLocalMachine;
      }
      s.keyPath = std::u16string(path);
    }
    const uint32_t rc = s.keyPath.empty() ? win32::kInvalidParameter : EnsureKey(s.root, s.keyPath, writing);
    if (rc != win32::kSuccess) {
      Raise(context, kErrCannotCreate, {s.keyPath});
      SetSystemError(context, rc);
      return false;
    }
  } else {
    const std::u16string directory = ProjectQuery(context, KL_PROJECT_DIRECTORY);
    if (s.iniPath.empty()) {
      s.iniPath = JoinDevicePath(directory, ProjectQuery(context, KL_PROJECT_NAME) + u".ini");
    } else if (!files::IsAbsolute(s.iniPath)) {
      s.iniPath = JoinDevicePath(directory, s.iniPath);  // beside the default INI file
    }
  }
  s.opened = true;
  return true;
}

std::u16string ParameterKey(const CParameterStore& store, std::u16string_view section) {
  if (section.empty()) return store.s.keyPath;
  return CollapseBackslashes(store.s.keyPath + u"\\" + std::u16string(section));
}

bool DeleteTree(reg::HKey root, const std::u16string& path, uint32_t* error) {
  {
    reg::KeyHolder k;
    uint32_t rc = reg::OpenKey(root, path, kTreeAccess, k.out());
    if (rc == win32::kFileNotFound) return true;
    if (rc != win32::kSuccess) {
      *error = rc;
      return false;
    }
    // Children are named below the path without its trailing "\\" (a key
    // path may end with one); a doubled separator would name nothing.
    std::u16string_view base(path);
    while (base.ends_with(u'\\')) base.remove_suffix(1);
    // A pass that finds the same first child again made no progress: stop.
    std::u16string child, previous;
    // Room for any name a database may hold, even one longer than the 255
    // characters a key can be created with today.
    while ((rc = reg::EnumKey(k.get(), 0, &child, 32768)) == win32::kSuccess) {
      if (child == previous) {
        *error = win32::kAccessDenied;
        return false;
      }
      if (!DeleteTree(root, std::u16string(base) + u"\\" + child, error)) return false;
      previous = child;
    }
  }
  if (path.empty()) return true;  // the root itself stays
  const uint32_t rc = reg::DeleteKey(root, path);
  if (rc != win32::kSuccess) *error = rc;
  return rc == win32::kSuccess;
}

std::u16string ReadIni(const CParameterStore& store, std::u16string_view section, std::u16string_view key,
                       std::u16string_view encodedDefault) {
  std::u16string answer = IniRead(section, key, encodedDefault, kSmallRead, store.s.iniPath);
  if (answer.size() == kSmallRead - 1) answer = IniRead(section, key, encodedDefault, kLargeRead, store.s.iniPath);
  return answer;
}

// The stored text, or nullopt when the parameter is missing.
std::optional<std::u16string> LoadText(ExecContext* context, CParameterStore& store, std::u16string_view name) {
  std::u16string section, valueName;
  SplitParameterName(name, &section, &valueName);
  if (store.s.mode == kParamRegistry) {
    reg::KeyHolder k;
    uint32_t type = 0;
    Bytes data;
    uint32_t size = 0;
    if (reg::OpenKey(store.s.root, ParameterKey(store, section), reg::kQueryValue, k.out()) != win32::kSuccess ||
        reg::QueryValue(k.get(), valueName, &type, nullptr, &size) != win32::kSuccess || type != reg::kSz)
      return std::nullopt;
    data.resize(size);
    if (reg::QueryValue(k.get(), valueName, &type, data.data(), &size) != win32::kSuccess) return std::nullopt;
    data.resize(size);
    return std::get<std::u16string>(ValueFromData(type, data));
  }
  // The sentinel cannot be produced by encoding (a space would be "\_"), so
  // it tells a missing parameter from a stored one.
  const std::u16string answer = ReadIni(store, IniSectionName(section), valueName, kMissingSentinel);
  if (answer == kMissingSentinel) return std::nullopt;
  return DecodeIniValue(answer);
}

bool RegistryValueExists(const CParameterStore& store, std::u16string_view section, std::u16string_view valueName) {
  reg::KeyHolder k;
  uint32_t type = 0, size = 0;
  return reg::OpenKey(store.s.root, ParameterKey(store, section), reg::kQueryValue, k.out()) == win32::kSuccess &&
         reg::QueryValue(k.get(), valueName, &type, nullptr, &size) == win32::kSuccess;
}

bool DeleteSection(ExecContext* context, CParameterStore& store, std::u16string_view name) {
  std::u16string section(name);
  for (auto& c : section)
    if (c == u'.' || c == u'/') c = u'\\';
  if (store.s.mode == kParamRegistry) {
    uint32_t error = 0;
    if (DeleteTree(store.s.root, ParameterKey(store, section), &error)) return true;
    SetSystemError(context, error);
    Mark(context);
    return false;
  }
  const std::u16string ini = IniSectionName(section);
  if (ini == u"Global") return IniDeleteFile(store.s.iniPath);
  if (!IniWrite(ini, std::nullopt, std::nullopt, store.s.iniPath)) return false;
  // Its sub-sections: every section named "<section>_...".
  std::u16string list = IniRead({}, {}, std::nullopt, kLargeRead, store.s.iniPath);
  for (auto& c : list)
    if (c == u'\0') c = u'\n';
  const std::u16string prefix = ini + u"_";
  bool ok = true;
  for (size_t at = 0; at < list.size();) {
    size_t end = list.find(u'\n', at);
    if (end == std::u16string::npos) end = list.size();
    std::u16string_view one(list.data() + at, end - at);
    if (one.ends_with(u'\r')) one.remove_suffix(1);
    if (StartsWithFolded(one, prefix)) ok = IniWrite(one, std::nullopt, std::nullopt, store.s.iniPath) && ok;
    at = end + 1;
  }
  return ok;
}

}  // namespace

std::u16string EncodeIniValue(std::u16string_view value) {
  std::u16string out;
  out.reserve(value.size());
  for (char16_t c : value) {
    switch (c) {
      case u'\\': out += u"\\\\"; break;
      case u'\n': out += u"\\n"; break;
      case u'\r': out += u"\\r"; break;
      case u'\t': out += u"\\t"; break;
      case u' ': out += u"\\_"; break;
      default: out += c;
    }
  }
  return out;
}

std::u16string DecodeIniValue(std::u16string_view value) {
  std::u16string out;
  out.reserve(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] != u'\\' || i + 1 == value.size()) {
      out += value[i];
      continue;
    }
    const char16_t next = value[i + 1];
    const char16_t decoded = next == u'\\' ? u'\\' : next == u'_' ? u' ' : next == u'n' ? u'\n'
                           : next == u'r' ? u'\r' : next == u't' ? u'\t' : 0;
    if (decoded) {
      out += decoded;
      ++i;
    } else {
      out += value[i];  // any other pair stays as it stands
    }
  }
  return out;
}

std::u16string IniSectionName(std::u16string_view section) {
  if (section.starts_with(u'\\')) section.remove_prefix(1);
  if (section.empty()) return u"Global";
  std::u16string out(section);
  for (auto& c : out)
    if (c == u'\\' || c == u' ' || c == u'-' || c == u'\t') c = u'_';
  return out;
}

void SplitParameterName(std::u16string_view name, std::u16string* section, std::u16string* valueName) {
  std::u16string n(name);
  for (auto& c : n)
    if (c == u'.' || c == u'/') c = u'\\';
  const size_t cut = n.rfind(u'\\');
  *section = cut == std::u16string::npos ? std::u16string() : n.substr(0, cut);
  *valueName = cut == std::u16string::npos ? n : n.substr(cut + 1);
}

ParameterSetting CurrentParameterSetting(ExecContext* context) { return StoreFor(context)->s; }

void ReleaseParameterStore(ExecContext* context) {
  std::lock_guard lock(gStoresMutex);
  Stores().erase(context);
}

std::u16string InitParameter(ExecContext* context, int32_t mode, std::optional<std::u16string_view> location) {
  auto store = StoreFor(context);
  ParameterSetting& s = store->s;
  if (mode != kParamRegistry && mode != kParamIni) {
    Raise(context, kErrUnknownMode, {mode});
    return {};
  }
  const std::u16string previous =
      Ascii(std::to_string(s.mode)) + u"\t" + (s.mode == kParamRegistry ? s.keyPath : s.iniPath);
  s = ParameterSetting{};
  s.mode = mode;
  s.root = reg::kCurrentUser;
  (mode == kParamRegistry ? s.keyPath : s.iniPath) = std::u16string(location.value_or(std::u16string_view()));
  if (!Resolve(context, *store, false)) {
    Mark(context);
  } else if (mode == kParamIni && TraceActive(context) && IniFileSize(s.iniPath) >= kLargeIniFile) {
    Trace(context, FormatText(ErrorMessageText(kWarnLargeIniFile), {s.iniPath, 32}));
  }
  return previous;
}

void SaveParameter(ExecContext* context, std::u16string_view name, std::u16string_view value) {
  if (name.empty()) return;
  auto store = StoreFor(context);
  if (!Resolve(context, *store, true)) return;
  std::u16string section, valueName;
  SplitParameterName(name, &section, &valueName);
  if (store->s.mode == kParamRegistry) {
    const std::u16string key = ParameterKey(*store, section);
    reg::KeyHolder k;
    uint32_t rc = EnsureKey(store->s.root, key, true, &k);
    const Bytes data = TextBytes(value, true);
    if (rc == win32::kSuccess)
      rc = reg::SetValue(k.get(), valueName, reg::kSz, data.data(), static_cast<uint32_t>(data.size()));
    if (rc != win32::kSuccess) {
      Raise(context, kErrCannotCreate, {name});
      SetSystemError(context, rc);
      if (rc == win32::kAccessDenied) Mark(context);
    }
    return;
  }
  const std::u16string encoded = EncodeIniValue(value);
  const std::u16string iniSection = IniSectionName(section);
  if (store->skipUnchanged && ReadIni(*store, iniSection, valueName, kSkipDefault) == encoded) return;
  // Reported as a registry write is: a read-only file (5), a missing
  // directory (3) or a file held by another writer (32) is a value that
  // cannot be written.
  uint32_t rc = win32::kSuccess;
  if (!IniWrite(iniSection, valueName, encoded, store->s.iniPath, &rc)) {
    Raise(context, kErrCannotCreate, {name});
    SetSystemError(context, rc);
    if (rc == win32::kAccessDenied) Mark(context);
  }
}

Value LoadParameter(ExecContext* context, std::u16string_view name, const std::optional<Value>& fallback) {
  auto store = StoreFor(context);
  if (name.empty() || !Resolve(context, *store, false)) return fallback ? ToText(*fallback) : std::u16string();
  if (auto text = LoadText(context, *store, name)) return *text;
  return fallback ? ToText(*fallback) : std::u16string();
}

bool DeleteParameter(ExecContext* context, std::u16string_view name) {
  if (name.empty()) {
    Raise(context, kErrEmptyParameterName, {name});
    return false;
  }
  auto store = StoreFor(context);
  if (!Resolve(context, *store, true)) return false;
  std::u16string section, valueName;
  SplitParameterName(name, &section, &valueName);
  // A value of any type is a value to delete (a REG_DWORD too); only a name
  // that reads as nothing is taken as a section.
  const bool isValue = store->s.mode == kParamIni ? LoadText(context, *store, name).has_value()
                                                  : RegistryValueExists(*store, section, valueName);
  if (!isValue) return DeleteSection(context, *store, name);  // a section, or nothing
  if (store->s.mode == kParamIni) return IniWrite(IniSectionName(section), valueName, std::nullopt, store->s.iniPath);
  reg::KeyHolder k;
  uint32_t rc = reg::OpenKey(store->s.root, ParameterKey(*store, section), reg::kSetValue, k.out());
  if (rc == win32::kSuccess) rc = reg::DeleteValue(k.get(), valueName);
  if (rc == win32::kSuccess) return true;
  SetSystemError(context, rc);
  Mark(context);
  return false;
}

bool DeleteAllParameters(ExecContext* context) {
  auto store = StoreFor(context);
  if (!Resolve(context, *store, true)) return false;
  if (store->s.mode == kParamIni) return IniDeleteFile(store->s.iniPath);
  uint32_t error = 0;
  if (DeleteTree(store->s.root, store->s.keyPath, &error)) return true;
  SetSystemError(context, error);
  Mark(context);
  return false;
}

bool DeleteObjectParameters(ExecContext* context, const VariantArg& object) {
  const auto value = object.Get();
  const std::u16string section = value ? ToText(*value) : std::u16string();
  if (section.empty()) return false;
  auto store = StoreFor(context);
  if (!Resolve(context, *store, true)) return false;
  return DeleteSection(context, *store, section);
}

}  // namespace kp::registry
