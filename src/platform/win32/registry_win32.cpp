// kp160std — the registry seam on Windows: the Reg* calls themselves (under a
// device prefix, on keys of the device's own), and the INI engine's whole
// files, under the device prefix too.
#include "platform/win32/windows_api.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/win32/device_win32.h"
#include "platform/win32_errors.h"

namespace kp::platform::reg {

namespace {

HKEY SystemRoot(HKey key) {
  switch (key) {
    case kClassesRoot: return HKEY_CLASSES_ROOT;
    case kCurrentUser: return HKEY_CURRENT_USER;
    case kLocalMachine: return HKEY_LOCAL_MACHINE;
    case kUsers: return HKEY_USERS;
    default: return nullptr;
  }
}

// Under a device prefix the registry is the device's own, as on POSIX: each
// root is a key of its own, HKEY_CURRENT_USER\Software\kp160std\Devices\<a
// hash of the prefix>\<root name>. The root keys of the current prefix stay
// open; they are closed when the prefix changes.
// Thread-safety: gRoots is guarded by gRootsMutex.
std::mutex gRootsMutex;
std::wstring gRootsPrefix;
HKEY gRoots[4] = {};

HKEY DeviceRoot(HKey key, const std::wstring& prefix) {
  static const wchar_t* const kNames[4] = {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE",
                                           L"HKEY_USERS"};
  const size_t slot = key - kClassesRoot;
  std::lock_guard lock(gRootsMutex);
  if (prefix != gRootsPrefix) {
    for (auto& root : gRoots)
      if (root) RegCloseKey(root), root = nullptr;
    gRootsPrefix = prefix;
  }
  if (!gRoots[slot]) {
    uint64_t hash = 1469598103934665603ull;  // FNV-1a over the prefix, case folded
    for (wchar_t c : prefix) hash = (hash ^ static_cast<uint16_t>(towlower(c))) * 1099511628211ull;
    wchar_t id[17];
    swprintf(id, 17, L"%016llx", static_cast<unsigned long long>(hash));
    const std::wstring path = std::wstring(L"Software\\kp160std\\Devices\\") + id + L"\\" + kNames[slot];
    if (RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &gRoots[slot],
                        nullptr) != ERROR_SUCCESS)
      gRoots[slot] = nullptr;
  }
  return gRoots[slot];
}

HKEY ToHkey(HKey key) {
  if (HKEY root = SystemRoot(key)) {
    const std::wstring prefix = win32dev::FilePrefix();
    if (prefix.empty()) return root;
    HKEY device = DeviceRoot(key, prefix);
    return device ? device : reinterpret_cast<HKEY>(INVALID_HANDLE_VALUE);
  }
  return reinterpret_cast<HKEY>(key);
}

std::wstring Wide(std::u16string_view s) { return std::wstring(s.begin(), s.end()); }

// A device file (INI files, parameters) as the system sees it: under the
// device prefix when there is one, as every other file.
std::wstring WidePath(std::string_view path) {
  // The path is ASCII-checked UTF-8 from the INI engine; widen it as UTF-8.
  const int n = MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), nullptr, 0);
  std::u16string name(static_cast<size_t>(n > 0 ? n : 0) + 1, u'\\');
  if (n > 0)
    MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), reinterpret_cast<wchar_t*>(&name[1]), n);
  return win32dev::SystemPath(name);
}

}  // namespace

uint32_t OpenKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out) {
  HKEY key = nullptr;
  const LONG rc = RegOpenKeyExW(ToHkey(parent), Wide(subKey).c_str(), 0, access, &key);
  *out = rc == ERROR_SUCCESS ? reinterpret_cast<HKey>(key) : 0;
  return static_cast<uint32_t>(rc);
}

uint32_t CreateKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out, uint32_t* disposition) {
  HKEY key = nullptr;
  DWORD d = 0;
  const LONG rc = RegCreateKeyExW(ToHkey(parent), Wide(subKey).c_str(), 0, nullptr, 0, access, nullptr, &key, &d);
  *out = rc == ERROR_SUCCESS ? reinterpret_cast<HKey>(key) : 0;
  if (disposition) *disposition = d;
  return static_cast<uint32_t>(rc);
}

uint32_t CloseKey(HKey key) {
  if (key >= kClassesRoot && key <= kUsers) return win32::kSuccess;
  return static_cast<uint32_t>(RegCloseKey(ToHkey(key)));
}

uint32_t QueryValue(HKey key, std::u16string_view name, uint32_t* type, uint8_t* data, uint32_t* size) {
  DWORD t = 0, s = size ? *size : 0;
  const LONG rc = RegQueryValueExW(ToHkey(key), Wide(name).c_str(), nullptr, &t, data, size ? &s : nullptr);
  if (type) *type = t;
  if (size) *size = s;
  return static_cast<uint32_t>(rc);
}

uint32_t ReadValue(HKey parent, std::u16string_view subKey, std::u16string_view name, uint32_t* type,
                   std::vector<uint8_t>* data) {
  HKey key = 0;
  if (uint32_t rc = OpenKey(parent, subKey, kQueryValue, &key)) return rc;
  const std::wstring wide = Wide(name);
  uint32_t rc = ERROR_MORE_DATA;
  for (int attempt = 0; attempt < 4 && rc == ERROR_MORE_DATA; ++attempt) {
    DWORD t = 0, s = 0;
    rc = static_cast<uint32_t>(RegQueryValueExW(ToHkey(key), wide.c_str(), nullptr, &t, nullptr, &s));
    if (rc != ERROR_SUCCESS) break;
    data->assign(s, 0);
    rc = static_cast<uint32_t>(RegQueryValueExW(ToHkey(key), wide.c_str(), nullptr, &t, data->data(), &s));
    if (rc == ERROR_SUCCESS) {
      data->resize(s);
      if (type) *type = t;
    }
  }
  CloseKey(key);
  return rc;
}

uint32_t SetValue(HKey key, std::u16string_view name, uint32_t type, const uint8_t* data, uint32_t size) {
  return static_cast<uint32_t>(RegSetValueExW(ToHkey(key), Wide(name).c_str(), 0, type, data, size));
}

uint32_t DeleteValue(HKey key, std::u16string_view name) {
  return static_cast<uint32_t>(RegDeleteValueW(ToHkey(key), Wide(name).c_str()));
}

uint32_t DeleteKey(HKey parent, std::u16string_view subKey) {
  return static_cast<uint32_t>(RegDeleteKeyW(ToHkey(parent), Wide(subKey).c_str()));
}

uint32_t EnumValue(HKey key, uint32_t index, std::u16string* name, uint32_t* type, uint8_t* data, uint32_t* size) {
  std::vector<wchar_t> buffer(16384);
  DWORD length = static_cast<DWORD>(buffer.size()), t = 0, s = size ? *size : 0;
  const LONG rc =
      RegEnumValueW(ToHkey(key), index, buffer.data(), &length, nullptr, &t, data, size ? &s : nullptr);
  if (rc == ERROR_SUCCESS || rc == ERROR_MORE_DATA) {
    if (name) name->assign(buffer.data(), buffer.data() + length);
    if (type) *type = t;
    if (size) *size = s;
  }
  return static_cast<uint32_t>(rc);
}

uint32_t EnumKey(HKey key, uint32_t index, std::u16string* name, uint32_t capacity) {
  std::vector<wchar_t> buffer(capacity ? capacity : 1);
  DWORD length = capacity;
  const LONG rc = RegEnumKeyExW(ToHkey(key), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
  if (rc == ERROR_SUCCESS && name) name->assign(buffer.data(), buffer.data() + length);
  return static_cast<uint32_t>(rc);
}

// Enumeration by index costs nothing extra here: the walks step through it.
uint32_t VisitValues(HKey key, uint32_t from, bool withData, const std::function<bool(const ValueEntry&)>& visit) {
  DWORD maxName = 0, maxData = 0;
  RegQueryInfoKeyW(ToHkey(key), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &maxName, &maxData,
                   nullptr, nullptr);
  std::vector<wchar_t> name(std::max<DWORD>(maxName + 1, 256));
  std::vector<uint8_t> data(withData ? std::max<DWORD>(maxData, 256) : 0);
  std::u16string text;
  for (DWORD index = from;; ++index) {
    DWORD length = 0, type = 0, size = 0;
    LONG rc = ERROR_MORE_DATA;
    // A value or name that grew since the sizes were asked is asked again,
    // with larger buffers, a few times.
    for (int attempt = 0; rc == ERROR_MORE_DATA && attempt < 4; ++attempt) {
      if (attempt) {
        name.resize(32768);
        if (withData && size > data.size()) data.resize(size);
      }
      length = static_cast<DWORD>(name.size());
      size = static_cast<DWORD>(data.size());
      rc = RegEnumValueW(ToHkey(key), index, name.data(), &length, nullptr, &type, withData ? data.data() : nullptr,
                         &size);
    }
    if (rc == ERROR_NO_MORE_ITEMS) return win32::kSuccess;
    if (rc != ERROR_SUCCESS) return static_cast<uint32_t>(rc);
    text.assign(name.data(), name.data() + length);
    ValueEntry entry;
    entry.index = index;
    entry.name = text;
    entry.type = type;
    entry.size = size;
    if (withData) entry.data = std::span<const uint8_t>(data.data(), size);
    if (!visit(entry)) return win32::kSuccess;
  }
}

uint32_t EnumKeys(HKey key, uint32_t from, std::vector<std::u16string>* names, uint32_t capacity) {
  if (!names) return win32::kInvalidParameter;
  std::vector<wchar_t> buffer(capacity ? capacity : 1);
  for (DWORD index = from;; ++index) {
    DWORD length = capacity;
    const LONG rc = RegEnumKeyExW(ToHkey(key), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_NO_MORE_ITEMS) return win32::kSuccess;
    if (rc != ERROR_SUCCESS) return static_cast<uint32_t>(rc);
    names->emplace_back(buffer.data(), buffer.data() + length);
  }
}

uint32_t QueryInfoKey(HKey key, KeyInfo* info) {
  DWORD subKeys = 0, maxSub = 0, values = 0, maxName = 0, maxData = 0;
  const LONG rc = RegQueryInfoKeyW(ToHkey(key), nullptr, nullptr, nullptr, &subKeys, &maxSub, nullptr, &values,
                                   &maxName, &maxData, nullptr, nullptr);
  if (rc == ERROR_SUCCESS && info) *info = KeyInfo{subKeys, maxSub, values, maxName, maxData};
  return static_cast<uint32_t>(rc);
}

uint32_t ReadDeviceFile(std::string_view path, std::string* bytes) {
  HANDLE file = CreateFileW(WidePath(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_FLAG_RANDOM_ACCESS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  bytes->clear();
  char buffer[16384];
  DWORD got = 0;
  uint32_t rc = win32::kSuccess;
  while (true) {
    if (!ReadFile(file, buffer, sizeof buffer, &got, nullptr)) {
      rc = GetLastError();
      break;
    }
    if (got == 0) break;
    bytes->append(buffer, got);
  }
  CloseHandle(file);
  return rc;
}

uint32_t UpdateDeviceFile(std::string_view path, const std::function<bool(std::string* bytes)>& edit) {
  HANDLE file = CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            nullptr, OPEN_ALWAYS, FILE_FLAG_RANDOM_ACCESS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  std::string bytes;
  char buffer[16384];
  DWORD got = 0;
  uint32_t rc = win32::kSuccess;
  while (true) {
    if (!ReadFile(file, buffer, sizeof buffer, &got, nullptr)) {
      rc = GetLastError();
      break;
    }
    if (got == 0) break;
    bytes.append(buffer, got);
  }
  if (rc == win32::kSuccess && edit(&bytes)) {
    DWORD written = 0;
    if (SetFilePointer(file, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER ||
        !WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) || !SetEndOfFile(file))
      rc = GetLastError();
  }
  CloseHandle(file);
  return rc;
}

uint32_t WriteDeviceFile(std::string_view path, std::string_view bytes) {
  return UpdateDeviceFile(path, [&](std::string* content) {
    *content = bytes;
    return true;
  });
}

uint32_t DeleteDeviceFile(std::string_view path) {
  return DeleteFileW(WidePath(path).c_str()) ? win32::kSuccess : GetLastError();
}

int64_t DeviceFileSize(std::string_view path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(WidePath(path).c_str(), GetFileExInfoStandard, &data)) return -1;
  if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return -1;
  return (static_cast<int64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

}  // namespace kp::platform::reg
