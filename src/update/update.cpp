// kp160std — update settings and the availability check (see the header).
#include "update/update.h"

#include <cstring>
#include <vector>

#include "abi/error.h"
#include "abi/strings.h"
#include "abi/vm.h"
#include "abi/error_ids.h"
#include "platform/codepage.h"
#include "platform/http.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/ini.h"
#include "system/command_line.h"
#include "update/natural_order.h"

namespace kp::update {

namespace {

namespace reg = platform::reg;

constexpr std::u16string_view kKeyPrefix = u"Software\\Ostrel\\Korvan Mobile\\16.0\\APPLI\\";
constexpr size_t kMaxApplicationPath = 260;
constexpr size_t kTextBuffer = 260;     // characters read for a text parameter
constexpr size_t kVersionBuffer = 40;   // characters read of the installed version

std::u16string Ascii(std::string_view s) { return std::u16string(s.begin(), s.end()); }

// Texts of ASCII only are the same bytes in UTF-8 and in every ANSI code
// page: the common case needs no converter (opening one costs more than the
// rest of the text handling of a check).
bool IsAscii(std::u16string_view s) {
  for (char16_t c : s)
    if (c >= 0x80) return false;
  return true;
}
std::string AsciiBytes(std::u16string_view s) { return std::string(s.begin(), s.end()); }

// The name of an application file: after its last separator, before its
// last dot.
std::u16string_view ApplicationName(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/:");
  if (slash != path.npos) path.remove_prefix(slash + 1);
  const size_t dot = path.rfind(u'.');
  return dot == path.npos ? path : path.substr(0, dot);
}

void ReportRead(ExecContext* context, std::u16string_view what, uint32_t code) {
  Raise(context, kErrCannotReadUpdateSettings, {what});
  SetSystemError(context, code);
}

// An application's settings key, open, and its values as the system's
// calls read them. The first read walks all the key's values at once (one
// database read on POSIX instead of one per value); a value is then taken
// from that walk when its name is plain ASCII (its match, whatever the case,
// is then certain), and asked for alone otherwise, as when the walk failed.
class SettingsReader {
 public:
  explicit SettingsReader(std::u16string_view application) : key_(SettingsKey(application)) {
    opened_ = reg::OpenKey(reg::kLocalMachine, key_, reg::kQueryValue, handle_.out());
  }
  // 0 when the key is open, else the system's error.
  uint32_t opened() const { return opened_; }
  // The key's name, for the error messages.
  const std::u16string& key() const { return key_; }

  // As RegQueryValueEx into a 4-byte buffer: the value's bytes, whatever its
  // type, into a zeroed number; a larger value does not fit (234).
  uint32_t Number(std::u16string_view name, uint32_t* out) {
    uint8_t bytes[4] = {};
    uint32_t size = sizeof bytes;
    if (uint32_t rc = Read(name, bytes, &size)) return rc;
    std::memcpy(out, bytes, sizeof bytes);
    return 0;
  }

  // A text value read into a buffer of `limit` characters, as the system's
  // call does: a value that does not fit is not read (234); a missing
  // terminator is supplied.
  uint32_t Text(std::u16string_view name, size_t limit, std::u16string* out) {
    std::u16string buffer(limit, u'\0');
    auto size = static_cast<uint32_t>(limit * 2);
    if (uint32_t rc = Read(name, reinterpret_cast<uint8_t*>(buffer.data()), &size)) return rc;
    buffer.resize(size / 2);
    const size_t end = buffer.find(u'\0');
    if (end != buffer.npos) buffer.resize(end);
    *out = std::move(buffer);
    return 0;
  }

 private:
  struct Value {
    std::u16string name;
    std::vector<uint8_t> bytes;
  };

  static bool SameAscii(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      const char16_t x = a[i] >= u'a' && a[i] <= u'z' ? a[i] - 32 : a[i];
      const char16_t y = b[i] >= u'a' && b[i] <= u'z' ? b[i] - 32 : b[i];
      if (x != y) return false;
    }
    return true;
  }

  // As QueryValue into `size` bytes at `data`.
  uint32_t Read(std::u16string_view name, uint8_t* data, uint32_t* size) {
    if (opened_) return opened_;
    if (!walked_) Walk();
    if (walkedAll_) {
      for (const Value& v : values_)
        if (SameAscii(v.name, name)) {
          if (v.bytes.size() > *size) return win32::kMoreData;
          if (!v.bytes.empty()) std::memcpy(data, v.bytes.data(), v.bytes.size());
          *size = static_cast<uint32_t>(v.bytes.size());
          return 0;
        }
      if (asciiOnly_) return win32::kFileNotFound;
    }
    uint32_t type = 0;
    return reg::QueryValue(handle_.get(), name, &type, data, size);
  }

  void Walk() {
    walked_ = true;
    asciiOnly_ = true;
    const uint32_t rc = reg::VisitValues(handle_.get(), 0, true, [this](const reg::ValueEntry& e) {
      if (IsAscii(e.name))
        values_.push_back({std::u16string(e.name), std::vector<uint8_t>(e.data.begin(), e.data.end())});
      else
        asciiOnly_ = false;  // its name might match one asked for: that one is asked for alone
      return true;
    });
    walkedAll_ = rc == 0;
  }

  std::u16string key_;
  reg::KeyHolder handle_;
  uint32_t opened_ = 0;
  bool walked_ = false, walkedAll_ = false, asciiOnly_ = true;
  std::vector<Value> values_;
};

// The server's reference version; false with the error recorded.
bool ReadReference(ExecContext* context, SettingsReader& settings, std::u16string_view application,
                   std::u16string* out) {
  std::u16string location;
  if (uint32_t rc = settings.Text(u"UPDATE_URL", kTextBuffer, &location)) {
    ReportRead(context, settings.key(), rc);
    return false;
  }
  const std::string url = VersionFileUrl(location);
  int status = 0;
  std::string body;
  uint32_t rc = platform::http::Get(url, &status, &body);
  // Anything but 200 is a failed read: 2 for a file the server does not
  // have, the invalid-response number otherwise.
  if (!rc && status != 200) rc = (status == 404 || status == 410) ? win32::kFileNotFound
                                                                  : platform::http::kErrInvalidServerResponse;
  if (rc) {
    ReportRead(context, Ascii(url), rc);
    return false;
  }
  // The file is an INI file of the ANSI code page, as the library's own.
  const std::u16string_view name = ApplicationName(application);
  const auto version = registry::IniReadBytes(body, IsAscii(name) ? AsciiBytes(name) : ToEightBit(name), "VERSION");
  if (!version) {
    ReportRead(context, Ascii(url), win32::kFileNotFound);
    return false;
  }
  *out = FromEightBit(*version);
  return true;
}

}  // namespace

std::u16string OwnApplication() { return platform::proc::OwnModuleFile(); }

std::u16string SettingsKey(std::u16string_view application) {
  return std::u16string(kKeyPrefix) + std::u16string(ApplicationName(application));
}

std::string VersionFileUrl(std::u16string_view location) {
  // Spaces, controls and characters beyond ASCII go as UTF-8 escapes.
  std::string url;
  static constexpr char kHex[] = "0123456789ABCDEF";
  const std::string utf8 =
      IsAscii(location) ? AsciiBytes(location) : platform::ToCodePage(location, platform::kCodePageUtf8);
  for (unsigned char b : utf8) {
    if (b <= 0x20 || b >= 0x7F) {
      url += '%';
      url += kHex[b >> 4];
      url += kHex[b & 15];
    } else {
      url += static_cast<char>(b);
    }
  }
  if (url.find("://") == url.npos) url = "http://" + url;
  if (url.empty() || url.back() != '/') url += '/';
  return url + "VERSION.KX";
}

int32_t Available(ExecContext* context, std::u16string_view application) {
  if (application.size() > kMaxApplicationPath) application = application.substr(0, kMaxApplicationPath);
  SettingsReader settings(application);
  uint32_t enabled = 0;
  if (settings.Number(u"UPDATE_HTTP", &enabled) || enabled == 0)
    return kNoUpdate;  // no settings, or updates off: the network is not touched
  std::u16string installed, reference;
  if (uint32_t rc = settings.Text(u"VERSION", kVersionBuffer, &installed)) {
    ReportRead(context, settings.key(), rc);
    return 0;
  }
  if (!ReadReference(context, settings, application, &reference)) return 0;
  return CompareNatural(installed, reference) < 0 ? kOptionalUpdate : kNoUpdate;
}

std::u16string Parameter(ExecContext* context, int32_t parameter, std::u16string_view application) {
  if (parameter == kProtocol) return u"HTTP";
  if (parameter != kNetwork && parameter != kServer && parameter != kLocalVersion && parameter != kReferenceVersion) {
    Raise(context, kErrUnknownUpdateSetting, {parameter});
    return {};
  }
  if (application.size() > kMaxApplicationPath) application = application.substr(0, kMaxApplicationPath);
  SettingsReader settings(application);
  if (uint32_t rc = settings.opened()) {
    ReportRead(context, settings.key(), rc);
    return {};
  }
  std::u16string out;
  uint32_t rc = 0;
  if (parameter == kNetwork) {
    uint32_t n = 0;
    rc = settings.Number(u"UPDATE_HTTP", &n);
    if (!rc) out = Ascii(std::to_string(n));
  } else if (parameter == kServer) {
    rc = settings.Text(u"UPDATE_URL", kTextBuffer, &out);
  } else if (parameter == kLocalVersion) {
    rc = settings.Text(u"VERSION", kTextBuffer, &out);
  } else if (!ReadReference(context, settings, application, &out)) {
    return {};
  }
  if (rc) {
    ReportRead(context, settings.key(), rc);
    return {};
  }
  return out;
}

bool ChangeParameter(ExecContext* context, int32_t parameter, std::u16string_view value,
                     std::u16string_view application) {
  const char16_t* name = parameter == kNetwork ? u"UPDATE_HTTP"
                         : parameter == kServer ? u"UPDATE_URL"
                         : parameter == kLocalVersion ? u"VERSION"
                                                      : nullptr;
  if (!name) {
    Raise(context, kErrUpdateSettingReadOnly, {parameter});
    return false;
  }
  if (application.size() > kMaxApplicationPath) application = application.substr(0, kMaxApplicationPath);
  // The key is made when missing, so that a program can set its settings up.
  reg::KeyHolder key;
  uint32_t disposition = 0;
  if (uint32_t rc = reg::CreateKey(reg::kLocalMachine, SettingsKey(application), reg::kSetValue, key.out(),
                                   &disposition)) {
    ReportRead(context, SettingsKey(application), rc);
    return false;
  }
  // Kept on purpose: the stated size is the number of characters, not of
  // bytes, so only the first half of the text's bytes is stored ("abcd"
  // stores "ab").
  const uint32_t rc = reg::SetValue(key.get(), name, reg::kSz, reinterpret_cast<const uint8_t*>(value.data()),
                                    static_cast<uint32_t>(value.size()));
  if (rc) {
    Raise(context, kErrCannotWriteUpdateSettings, {SettingsKey(application)});
    SetSystemError(context, rc);
    return false;
  }
  return true;
}

bool InstallUpdate(ExecContext* context) {
  const std::u16string own = OwnApplication();
  const int32_t availability = Available(context, own);
  if (availability < 1) return false;
  if (availability == kNoUpdate) return true;
  std::u16string updater = platform::proc::UpdaterDirectory();
  updater += u'\\';
  updater += kUpdaterName;
  const std::u16string location = VMInformation(context, KL_VM_INFO_UPDATE_LOCATION).value_or(u"");
  const std::u16string commandLine =
      u" /UPDATE=\"" + location + u"\" /CMD=\"" + own + u"\" " + platform::proc::OwnCommandLine();
  platform::proc::Started started;
  if (!platform::proc::CreateProcess(updater, commandLine, system::SplitWindowsArguments(commandLine), &started))
    return false;
  platform::proc::CloseProcess(started.process);
  SetLevel(ErrorRecord(context), kUpdateLevel);
  return true;
}

}  // namespace kp::update
