// kp160std — attributes as letters, the read-only attribute, and a file's
// three dates in the device's local time.
//
// Chosen here, as a KL programmer reads them: attributes are the letters of
// the full-information lines ("ADHRSC" order); dates are "AAAAMMJJ", times
// "HHMMSSCC" (hundredths), both together "AAAAMMJJHHMMSSCC". A name that is
// not absolute raises 80600; a file that cannot be read records the system
// error; the failure value is "" or false.
#include "abi/error_ids.h"
#include "abi/error.h"
#include "files/fs_layer.h"
#include "files/path_rule.h"
#include "files/paths.h"
#include "files/times.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

std::u16string Letters(uint32_t a) {
  std::u16string out;
  if (a & fs::kAttrArchive) out += u'A';
  if (a & fs::kAttrDirectory) out += u'D';
  if (a & fs::kAttrHidden) out += u'H';
  if (a & fs::kAttrReadOnly) out += u'R';
  if (a & fs::kAttrSystem) out += u'S';
  if (a & fs::kAttrCompressed) out += u'C';
  return out;
}

uint32_t FromLetters(std::u16string_view letters) {
  uint32_t a = 0;
  for (char16_t c : letters) {
    switch (c) {
      case u'A': case u'a': a |= fs::kAttrArchive; break;
      case u'H': case u'h': a |= fs::kAttrHidden; break;
      case u'R': case u'r': a |= fs::kAttrReadOnly; break;
      case u'S': case u's': a |= fs::kAttrSystem; break;
      default: break;
    }
  }
  return a ? a : fs::kAttrNormal;
}

// The attributes of an existing name, or kInvalidAttributes with the error recorded.
uint32_t Existing(ExecContext* context, std::u16string_view name) {
  if (!CheckName(context, name)) return fs::kInvalidAttributes;
  const uint32_t a = layer::Attributes(name);
  if (a == fs::kInvalidAttributes) layer::RecordLast(context);
  return a;
}

bool ValidWhich(ExecContext* context, int32_t which) {
  if (which >= fModification && which <= fAccess) return true;
  RecordSystemError(context, win32::kInvalidParameter);
  return false;
}

int64_t Pick(const fs::FileTimes& t, int32_t which) {
  return which == fCreation ? t.creation : which == fAccess ? t.access : t.write;
}

std::u16string Digits(uint32_t value, int width) {
  std::u16string out(static_cast<size_t>(width), u'0');
  for (int i = width - 1; i >= 0; --i, value /= 10) out[static_cast<size_t>(i)] = static_cast<char16_t>(u'0' + value % 10);
  return out;
}

std::optional<uint32_t> Number(std::u16string_view s) {
  uint32_t n = 0;
  for (char16_t c : s) {
    if (c < u'0' || c > u'9') return std::nullopt;
    n = n * 10 + (c - u'0');
  }
  return n;
}

std::optional<platform::SystemTime> Local(ExecContext* context, std::u16string_view name, int32_t which) {
  if (!CheckName(context, name) || !ValidWhich(context, which)) return std::nullopt;
  fs::FileTimes times;
  if (!fs::GetFileTimes(name, &times)) {
    layer::RecordLast(context);
    return std::nullopt;
  }
  return LocalFromFileTime(Pick(times, which));
}

std::u16string DatePart(const platform::SystemTime& t) { return Digits(t.year, 4) + Digits(t.month, 2) + Digits(t.day, 2); }
std::u16string TimePart(const platform::SystemTime& t) {
  return Digits(t.hour, 2) + Digits(t.minute, 2) + Digits(t.second, 2) + Digits(t.milliseconds / 10, 2);
}

bool ParseDate(std::u16string_view s, platform::SystemTime* t) {
  if (s.size() != 8) return false;
  const auto y = Number(s.substr(0, 4)), m = Number(s.substr(4, 2)), d = Number(s.substr(6, 2));
  if (!y || !m || !d) return false;
  t->year = static_cast<uint16_t>(*y);
  t->month = static_cast<uint16_t>(*m);
  t->day = static_cast<uint16_t>(*d);
  return true;
}

bool ParseTime(std::u16string_view s, platform::SystemTime* t) {
  if (s.size() != 8 && s.size() != 6) return false;
  const auto h = Number(s.substr(0, 2)), mi = Number(s.substr(2, 2)), se = Number(s.substr(4, 2));
  const auto cc = s.size() == 8 ? Number(s.substr(6, 2)) : std::optional<uint32_t>(0);
  if (!h || !mi || !se || !cc) return false;
  t->hour = static_cast<uint16_t>(*h);
  t->minute = static_cast<uint16_t>(*mi);
  t->second = static_cast<uint16_t>(*se);
  t->milliseconds = static_cast<uint16_t>(*cc * 10);
  return true;
}

enum class Part { kDate, kTime, kBoth };

bool SetPart(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value, Part part) {
  auto t = Local(context, name, which);
  if (!t) return false;
  bool ok = false;
  if (part == Part::kDate) ok = ParseDate(value, &*t);
  if (part == Part::kTime) ok = ParseTime(value, &*t);
  if (part == Part::kBoth) ok = value.size() >= 8 && ParseDate(value.substr(0, 8), &*t) && ParseTime(value.substr(8), &*t);
  const std::optional<int64_t> ft = ok ? FileTimeFromLocal(*t) : std::nullopt;
  if (!ft) {
    RecordSystemError(context, win32::kInvalidParameter);
    return false;
  }
  fs::FileTimes times;
  (which == fCreation ? times.creation : which == fAccess ? times.access : times.write) = *ft;
  if (!fs::SetFileTimes(name, times)) {
    layer::RecordLast(context);
    return false;
  }
  return true;
}

}  // namespace

std::u16string Attribute(ExecContext* context, std::u16string_view name) {
  const uint32_t a = Existing(context, name);
  return a == fs::kInvalidAttributes ? std::u16string() : Letters(a);
}

bool SetAttribute(ExecContext* context, std::u16string_view name, std::u16string_view letters) {
  if (Existing(context, name) == fs::kInvalidAttributes) return false;
  return layer::SetAttributes(context, name, FromLetters(letters));
}

bool ReadOnlyAttribute(ExecContext* context, std::u16string_view name) {
  const uint32_t a = Existing(context, name);
  return a != fs::kInvalidAttributes && (a & fs::kAttrReadOnly);
}

bool SetReadOnlyAttribute(ExecContext* context, std::u16string_view name, bool readOnly) {
  uint32_t a = Existing(context, name);
  if (a == fs::kInvalidAttributes) return false;
  a &= ~(fs::kAttrDirectory | fs::kAttrNormal | fs::kAttrCompressed);
  a = readOnly ? a | fs::kAttrReadOnly : a & ~fs::kAttrReadOnly;
  return layer::SetAttributes(context, name, a ? a : fs::kAttrNormal);
}

std::u16string DirAttribute(ExecContext* context, std::u16string_view path) {
  if (!CheckLength(context, path)) return {};
  if (path.empty() || !layer::IsDirectory(layer::Attributes(path))) {
    Raise(context, kErrDirectoryNotFound, {path});
    return {};
  }
  return Attribute(context, path);
}

std::u16string SetDirAttribute(ExecContext* context, std::u16string_view path, std::u16string_view letters) {
  if (!CheckLength(context, path)) return {};
  if (path.empty() || !layer::IsDirectory(layer::Attributes(path))) {
    Raise(context, kErrDirectoryNotFound, {path});
    return {};
  }
  if (!SetAttribute(context, path, letters)) return {};
  return Attribute(context, path);
}

std::u16string FileDate(ExecContext* context, std::u16string_view name, int32_t which) {
  const auto t = Local(context, name, which);
  return t ? DatePart(*t) : std::u16string();
}
std::u16string FileTime(ExecContext* context, std::u16string_view name, int32_t which) {
  const auto t = Local(context, name, which);
  return t ? TimePart(*t) : std::u16string();
}
std::u16string FileDateTime(ExecContext* context, std::u16string_view name, int32_t which) {
  const auto t = Local(context, name, which);
  return t ? DatePart(*t) + TimePart(*t) : std::u16string();
}
bool SetFileDate(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value) {
  return SetPart(context, name, which, value, Part::kDate);
}
bool SetFileTime(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value) {
  return SetPart(context, name, which, value, Part::kTime);
}
bool SetFileDateTime(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value) {
  return SetPart(context, name, which, value, Part::kBoth);
}

}  // namespace kp::files
