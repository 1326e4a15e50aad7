// kp160std — the device directory on Windows (see device_win32.h).
#include "platform/win32/windows_api.h"

#include <cstdlib>
#include <string>

#include "platform/win32/device_win32.h"

namespace kp::platform::win32dev {
namespace {

std::wstring Environment(const wchar_t* name) {
  wchar_t buffer[32768];
  const DWORD n = GetEnvironmentVariableW(name, buffer, 32768);
  return n > 0 && n < 32768 ? std::wstring(buffer, n) : std::wstring();
}

std::wstring Backslashes(std::wstring path) {
  for (auto& c : path)
    if (c == L'/') c = L'\\';
  while (path.size() > 1 && path.back() == L'\\') path.pop_back();
  return path;
}

}  // namespace

std::wstring FilePrefix() { return Backslashes(Environment(L"KP_PREFIX")); }

std::wstring StateDirectory() {
  const std::wstring prefix = FilePrefix();
  if (!prefix.empty()) return prefix;
  const std::wstring local = Environment(L"LOCALAPPDATA");
  return Backslashes(local.empty() ? L"." : local) + L"\\kp160std\\device";
}

namespace {

// Makes `dir` and its missing parents; true when it is a directory after.
bool EnsureDirectory(const std::wstring& dir) {
  // Each missing parent in turn; the drive and the existing parents stay.
  for (size_t at = dir.find(L'\\', 1); ; at = dir.find(L'\\', at + 1)) {
    const std::wstring part = at == std::wstring::npos ? dir : dir.substr(0, at);
    if (!part.empty() && part.back() != L':' && GetFileAttributesW(part.c_str()) == INVALID_FILE_ATTRIBUTES &&
        !CreateDirectoryW(part.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
      return false;
    if (at == std::wstring::npos) break;
  }
  const DWORD attributes = GetFileAttributesW(dir.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

}  // namespace

bool EnsureStateDirectory() { return EnsureDirectory(StateDirectory()); }

std::wstring SystemPath(std::u16string_view name) {
  std::wstring out(name.begin(), name.end());
  for (auto& c : out)
    if (c == L'/') c = L'\\';
  const std::wstring prefix = FilePrefix();
  if (prefix.empty()) return out;
  // Under a prefix, as on POSIX: only rooted names (one leading backslash,
  // not a UNC name "\\server"), and no "." or ".." that could leave the
  // prefix. A refused name is the empty path, which the system refuses with
  // "path not found".
  const bool rooted = !out.empty() && out[0] == L'\\' && (out.size() == 1 || out[1] != L'\\');
  if (!rooted) return {};
  for (size_t start = 1; start <= out.size();) {
    size_t end = out.find(L'\\', start);
    if (end == std::wstring::npos) end = out.size();
    const std::wstring_view part(out.data() + start, end - start);
    if (part == L"." || part == L"..") return {};
    start = end + 1;
  }
  // The device's file system is made on first use, as on POSIX.
  const std::wstring root = prefix + L"\\fs";
  if (GetFileAttributesW(root.c_str()) == INVALID_FILE_ATTRIBUTES) EnsureDirectory(root);
  return root + out;
}

std::u16string DevicePath(std::wstring_view systemPath) {
  const std::wstring prefix = FilePrefix();
  const std::wstring root = prefix + L"\\fs";
  const bool under = !prefix.empty() && systemPath.size() > root.size() && systemPath[root.size()] == L'\\' &&
                     CompareStringOrdinal(systemPath.data(), static_cast<int>(root.size()), root.data(),
                                          static_cast<int>(root.size()), TRUE) == CSTR_EQUAL;
  const std::wstring_view rest = under ? systemPath.substr(root.size()) : systemPath;
  return std::u16string(rest.begin(), rest.end());
}

}  // namespace kp::platform::win32dev
