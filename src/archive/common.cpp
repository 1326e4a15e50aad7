// kp160std — helpers of the archive functions (see common.h).
#include "archive/common.h"

#include "abi/error.h"
#include "files/path_rule.h"
#include "platform/filesystem.h"

namespace kp::archive {

namespace fs = platform::fs;

int32_t CheckPath(ExecContext* context, std::u16string_view name) {
  if (!files::CheckAbsolute(context, name)) return kErrPathNotAbsolute;
  if (!files::CheckLength(context, name)) return kErrPathTooLong;
  return 0;
}

int64_t FileLength(std::u16string_view name) {
  fs::FileHandle f = fs::CreateFile(name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0);
  if (f == fs::kInvalidFile) return -1;
  const int64_t size = fs::GetFileSize(f);
  fs::CloseHandle(f);
  return size;
}

bool SamePath(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t x = a[i] == u'\\' ? u'/' : a[i], y = b[i] == u'\\' ? u'/' : b[i];
    if (x < 0x80) x = static_cast<char16_t>(std::tolower(x));
    if (y < 0x80) y = static_cast<char16_t>(std::tolower(y));
    if (x != y) return false;
  }
  return true;
}

std::u16string NormaliseEntryName(std::u16string_view name) {
  std::u16string out;
  std::u16string part;
  auto flush = [&](bool separator) {
    if (part.empty() || part == u".") {
      part.clear();
      return;
    }
    if (!out.empty()) out += u'/';
    out += part;
    part.clear();
    (void)separator;
  };
  for (char16_t c : name) {
    if (files::IsSeparator(c))
      flush(true);
    else
      part += c;
  }
  flush(false);
  return out;
}

bool SafeEntryName(std::u16string_view name) {
  if (name.empty() || files::IsSeparator(name.front())) return false;
  if (name.size() >= 2 && name[1] == u':') return false;  // "C:..." names a drive
  size_t start = 0;
  for (size_t i = 0; i <= name.size(); ++i) {
    if (i == name.size() || files::IsSeparator(name[i])) {
      if (name.substr(start, i - start) == u"..") return false;
      start = i + 1;
    } else if (name[i] < 0x20) {
      return false;
    }
  }
  return true;
}

std::u16string DirectoryPart(std::u16string_view entry) {
  std::u16string name(entry);
  if (!name.empty() && name.back() == u'/') name.pop_back();
  const size_t sep = name.find_last_of(u'/');
  if (sep == std::u16string::npos) return {};
  name.resize(sep);
  for (char16_t& c : name)
    if (c == u'/') c = u'\\';
  return name;
}

std::vector<std::u16string> SplitList(std::u16string_view list) {
  std::vector<std::u16string> out;
  std::u16string item;
  for (size_t i = 0; i <= list.size(); ++i) {
    if (i == list.size() || list[i] == u'\r' || list[i] == u'\n' || list[i] == u'\t') {
      if (!item.empty()) out.push_back(std::move(item));
      item.clear();
    } else {
      item += list[i];
    }
  }
  return out;
}

std::u16string WithoutInserts(std::u16string_view text) {
  std::u16string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'%' && i + 1 < text.size() && text[i + 1] >= u'1' && text[i + 1] <= u'9') {
      size_t j = i + 1;
      while (j < text.size() && text[j] >= u'0' && text[j] <= u'9') ++j;
      if (j < text.size() && text[j] == u'!') {
        const size_t close = text.find(u'!', j + 1);
        if (close != std::u16string_view::npos) j = close + 1;
      }
      out += u"...";
      i = j - 1;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace kp::archive
