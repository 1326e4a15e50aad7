// kp160std — whole-file text and temporary files.
#include "abi/error_ids.h"
#include "files/text.h"

#include <cstring>
#include <new>
#include <vector>

#include "abi/error.h"
#include "abi/strings.h"
#include "files/file_io.h"
#include "files/fs_layer.h"
#include "files/path_rule.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

class File {
 public:
  explicit File(fs::FileHandle h) : h_(h) {}
  ~File() {
    if (h_ != fs::kInvalidFile) fs::CloseHandle(h_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  fs::FileHandle get() const { return h_; }
  bool ok() const { return h_ != fs::kInvalidFile; }

 private:
  fs::FileHandle h_;
};

// Reads the whole file; false with the error recorded.
bool ReadWhole(ExecContext* context, std::u16string_view name, std::string* bytes) {
  File f(fs::CreateFile(name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting,
                        fs::kFlagRandomAccess));
  if (!f.ok()) {
    layer::RecordLast(context);
    return false;
  }
  const int64_t size = fs::GetFileSize(f.get());
  if (size < 0) {
    layer::RecordLast(context);
    return false;
  }
  if (size >= 0xFFFFFFFFLL) {
    Raise(context, kErrNoMemoryForFile);
    return false;
  }
  try {
    bytes->assign(static_cast<size_t>(size), '\0');
  } catch (const std::bad_alloc&) {
    Raise(context, kErrNoMemoryForFile);
    return false;
  }
  uint32_t got = 0;
  if (!fs::ReadFile(f.get(), bytes->data(), static_cast<uint32_t>(size), &got)) {
    layer::RecordLast(context);
    return false;
  }
  bytes->resize(got);
  return true;
}

std::u16string Replace(std::u16string_view path, std::u16string_view separator) {
  std::u16string out;
  out.reserve(path.size());
  for (char16_t c : path) {
    if (IsSeparator(c))
      out += separator;
    else
      out += c;
  }
  return out;
}

// A free temporary name made (and created) in the given directory, or in the
// system's when none is given; false with the error recorded.
bool MakeTempFile(ExecContext* context, std::u16string_view prefix, std::u16string_view directory,
                  std::u16string* name) {
  // The given directory obeys the path rule; the system's is absolute already.
  if (!directory.empty() && !CheckName(context, directory)) return false;
  const std::u16string dir = directory.empty() ? fs::GetTempPath() : std::u16string(directory);
  if (!fs::GetTempFileName(dir, prefix, 0, name)) {
    layer::RecordLast(context);
    return false;
  }
  if (CheckLength(context, *name)) return true;
  fs::DeleteFile(*name);
  return false;
}

}  // namespace

std::u16string LoadText(ExecContext* context, std::u16string_view name) {
  if (!CheckName(context, name)) return {};
  std::string bytes;
  if (!ReadWhole(context, name, &bytes)) return {};
  if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
    return platform::FromCodePage(std::string_view(bytes).substr(3), platform::kCodePageUtf8);
  if (bytes.size() >= 2 && bytes.compare(0, 2, "\xFF\xFE") == 0) {
    std::u16string text((bytes.size() - 2) / 2, u'\0');
    std::memcpy(text.data(), bytes.data() + 2, text.size() * 2);
    return text;
  }
  return FromEightBit(bytes);
}

bool SaveText(ExecContext* context, std::u16string_view name, const Value& content) {
  if (!CheckName(context, name)) return false;
  std::string bytes;
  if (const auto* b = std::get_if<Bytes>(&content)) {
    bytes.assign(b->begin(), b->end());
  } else if (const auto* t = std::get_if<std::u16string>(&content)) {
    // Kept on purpose: text is always saved as ANSI, whatever fChargeTexte can read.
    bytes = ToEightBit(*t);
  } else if (const auto* i = std::get_if<int32_t>(&content)) {
    bytes = std::to_string(*i);
  } else if (const auto* l = std::get_if<int64_t>(&content)) {
    bytes = std::to_string(*l);
  } else if (const auto* f2 = std::get_if<bool>(&content)) {
    bytes = *f2 ? "1" : "0";
  }
  // The file is rewritten in place, so that a reader holding it open sees the
  // new text, but only once the room for it is reserved: a full disk then
  // leaves the old text whole instead of a truncated file.
  File f(fs::CreateFile(name, fs::kGenericWrite, fs::kShareRead | fs::kShareWrite, fs::kOpenAlways,
                        fs::kFlagRandomAccess));
  uint32_t done = 0;
  if (!f.ok() || !fs::ReserveSpace(f.get(), static_cast<int64_t>(bytes.size())) ||
      (!bytes.empty() && (!fs::WriteFile(f.get(), bytes.data(), static_cast<uint32_t>(bytes.size()), &done) ||
                          done != bytes.size())) ||
      !fs::SetEndOfFile(f.get())) {
    layer::RecordLast(context);
    return false;
  }
  return true;
}

bool SaveTextArg(ExecContext* context, std::u16string_view name, VariantArg content) {
  return SaveText(context, name, content.Get().value_or(Value{}));
}

std::u16string TempFile(ExecContext* context, std::u16string_view prefix, std::u16string_view directory) {
  std::u16string name;
  if (!MakeTempFile(context, prefix, directory, &name)) return {};
  // Only the name is handed out.
  if (!fs::DeleteFile(name)) {
    layer::RecordLast(context);
    return {};
  }
  return name;
}

int32_t OpenTempFile(ExecContext* context, int32_t mode, std::u16string_view prefix, std::u16string_view directory) {
  std::u16string name;
  if (!MakeTempFile(context, prefix, directory, &name)) return -1;
  return Open(context, name, mode | foCreate);
}

std::u16string TempPath(ExecContext* context) {
  std::u16string dir = fs::GetTempPath();
  if (dir.empty()) layer::RecordLast(context);
  return dir;
}

std::u16string Separator(ExecContext* context, std::u16string_view path, int32_t kind) {
  if (!CheckAbsolute(context, path)) return {};
  const std::u16string_view target = kind == fSeparatorPlatform || kind == fSeparatorWindows ? u"\\"
                                     : kind == fSeparatorUnix                                 ? u"/"
                                                                                              : u"";
  return Replace(path, target);
}

std::u16string SeparatorText(ExecContext* context, std::u16string_view path, std::u16string_view separator) {
  if (!CheckAbsolute(context, path)) return {};
  return Replace(path, separator);
}

std::u16string Sep(ExecContext*) { return u"\\"; }

bool Compare(ExecContext* context, std::u16string_view first, std::u16string_view second) {
  if (!CheckName(context, first) || !CheckName(context, second)) return false;
  File a(fs::CreateFile(first, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0));
  if (!a.ok()) {
    layer::RecordLast(context);
    return false;
  }
  File b(fs::CreateFile(second, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0));
  if (!b.ok()) {
    layer::RecordLast(context);
    return false;
  }
  if (fs::GetFileSize(a.get()) != fs::GetFileSize(b.get())) return false;
  std::vector<char> x(65536), y(65536);
  while (true) {
    uint32_t n = 0, m = 0;
    if (!fs::ReadFile(a.get(), x.data(), 65536, &n) || !fs::ReadFile(b.get(), y.data(), 65536, &m)) {
      layer::RecordLast(context);
      return false;
    }
    if (n != m || std::memcmp(x.data(), y.data(), n) != 0) return false;
    if (n == 0) return true;
  }
}

}  // namespace kp::files
