// kp160std — ExeInfo over the device file system.
#include "system/exe_info.h"

#include <algorithm>

#include "platform/filesystem.h"
#include "platform/process.h"
#include "system/executable.h"

namespace kp::system {

namespace fs = platform::fs;

namespace {

constexpr size_t kMaxPath = 260;
// Version strings are answered up to this many characters.
constexpr size_t kMaxVersionString = 199;

enum Keyword { kNone = 0, kName, kDirectory, kCopyright, kVersion, kDescription, kMode, kCompany, kVersion4N };

struct KeywordRow {
  std::u16string_view french, english;
  const char16_t* versionString;  // for the rows answered from the string table
};
constexpr KeywordRow kKeywords[] = {
    {u"NOM", u"NAME", nullptr},
    {u"REPERTOIRE", u"DIRECTORY", nullptr},
    {u"COPYRIGHT", u"COPYRIGHT", u"LegalCopyright"},
    {u"VERSION", u"VERSION", u"FileVersion"},
    {u"DESCRIPTION", u"DESCRIPTION", u"FileDescription"},
    {u"MODE", u"MODE", nullptr},
    {u"SOCIETE", u"COMPANY", u"CompanyName"},
    {u"VERSION4N", u"VERSION4N", nullptr},
};

// "é" becomes "E", then the whole is upper-cased (Latin-1 letters too, as the
// system's upper-casing does; "É" is left as it is and names no keyword).
std::u16string Normalise(std::u16string_view keyword) {
  std::u16string out(keyword);
  for (char16_t& c : out) {
    if (c == u'é')
      c = u'E';
    else if ((c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7))
      c = static_cast<char16_t>(c - 32);
  }
  return out;
}

// The file, read in place through the device file system.
class DeviceFile final : public ByteSource {
 public:
  explicit DeviceFile(std::u16string_view name)
      : h_(fs::CreateFile(name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting,
                          fs::kFlagRandomAccess)),
        size_(h_ == fs::kInvalidFile ? -1 : fs::GetFileSize(h_)) {}
  ~DeviceFile() override {
    if (h_ != fs::kInvalidFile) fs::CloseHandle(h_);
  }
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;

  bool ok() const { return h_ != fs::kInvalidFile && size_ >= 0; }
  uint64_t Size() const override { return size_ < 0 ? 0 : static_cast<uint64_t>(size_); }
  bool ReadAt(uint64_t offset, void* out, size_t count) const override {
    if (!ok() || offset > Size() || count > Size() - offset) return false;
    if (!fs::SetFilePointer(h_, static_cast<int64_t>(offset), 0, nullptr)) return false;
    auto* p = static_cast<uint8_t*>(out);
    while (count) {
      uint32_t got = 0;
      const uint32_t ask = static_cast<uint32_t>(std::min<size_t>(count, 1u << 20));
      if (!fs::ReadFile(h_, p, ask, &got) || got == 0) return false;
      p += got, count -= got;
    }
    return true;
  }

 private:
  fs::FileHandle h_;
  int64_t size_;
};

}  // namespace

int ExeInfoKeyword(std::u16string_view keyword) {
  const std::u16string k = Normalise(keyword);
  for (size_t i = 0; i < std::size(kKeywords); ++i)
    if (k == kKeywords[i].french || k == kKeywords[i].english) return static_cast<int>(i) + 1;
  return kNone;
}

std::u16string DirectoryOf(std::u16string_view path) {
  // The device takes "/" as a separator as well as "\", so both end a directory.
  const size_t slash = path.find_last_of(u"\\/");
  if (slash != path.npos) return std::u16string(path.substr(0, slash));
  const size_t colon = path.rfind(u':');
  if (colon != path.npos) return std::u16string(path.substr(0, colon + 1));
  return {};
}

std::u16string ExeInfo(ExecContext*, std::u16string_view keyword, std::optional<std::u16string_view> file) {
  const std::u16string path = file ? std::u16string(*file) : platform::proc::OwnModuleFile();
  if (path.size() > kMaxPath) return {};
  const int id = ExeInfoKeyword(keyword);
  if (id == kName) return path;
  if (id == kDirectory) return DirectoryOf(path);
  if (path.empty()) return {};

  DeviceFile source(path);
  if (!source.ok()) return {};
  if (id == kMode) return ExecutableKind(source);
  const auto resource = ReadVersionResource(source);
  if (!resource) return {};
  if (id == kVersion4N) {
    if (!resource->fileVersion) return {};
    const auto& v = *resource->fileVersion;
    std::u16string out;
    for (size_t i = 0; i < v.size(); ++i) {
      if (i) out += u'.';
      for (char c : std::to_string(v[i])) out += static_cast<char16_t>(c);
    }
    return out;
  }
  // A keyword that names no row is the name of a string to read.
  const std::u16string_view name = id == kNone ? keyword : kKeywords[id - 1].versionString;
  auto value = resource->String(name);
  if (!value) return {};
  if (value->size() > kMaxVersionString) value->resize(kMaxVersionString);
  return *value;
}

}  // namespace kp::system
