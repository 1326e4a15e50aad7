// kp160std — the device's file system on Windows: the machine's own, through
// the Win32 file API (see platform/filesystem.h).
#include "platform/win32/windows_api.h"

#include <memory>
#include <string>

#include "platform/filesystem.h"
#include "platform/registry.h"
#include "platform/win32/device_win32.h"
#include "platform/win32_errors.h"


namespace kp::platform::fs {

namespace {

// The name as the system sees it: under the device prefix when there is one.
std::wstring Wide(std::u16string_view name) { return win32dev::SystemPath(name); }

int64_t FromFileTime(const FILETIME& t) {
  return static_cast<int64_t>((static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime);
}

FILETIME ToFileTime(int64_t v) {
  FILETIME t;
  t.dwLowDateTime = static_cast<DWORD>(v);
  t.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(v) >> 32);
  return t;
}

void Fill(const WIN32_FIND_DATAW& w, FindData* data) {
  data->attributes = w.dwFileAttributes;
  data->size = static_cast<int64_t>((static_cast<uint64_t>(w.nFileSizeHigh) << 32) | w.nFileSizeLow);
  data->times.creation = FromFileTime(w.ftCreationTime);
  data->times.access = FromFileTime(w.ftLastAccessTime);
  data->times.write = FromFileTime(w.ftLastWriteTime);
  data->name.assign(reinterpret_cast<const char16_t*>(w.cFileName));
}

bool Dots(const wchar_t* name) { return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0)); }

}  // namespace

FileHandle CreateFile(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition,
                      uint32_t flags, bool* created) {
  if (created) *created = false;
  const std::wstring path = Wide(name);
  // A read-only file is never opened for writing. Windows refuses it itself;
  // Wine run by root does not (root may write any file), so it is checked here.
  if (access & (GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA)) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) &&
        !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
      ::SetLastError(ERROR_ACCESS_DENIED);
      return kInvalidFile;
    }
  }
  HANDLE h = ::CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
  if (h == INVALID_HANDLE_VALUE) return kInvalidFile;
  if (created) *created = (disposition == kOpenAlways || disposition == kCreateAlways) ? GetLastError() != ERROR_ALREADY_EXISTS
                                                                                    : disposition == kCreateNew;
  return reinterpret_cast<FileHandle>(h);
}

bool ReadFile(FileHandle file, void* buffer, uint32_t count, uint32_t* read) {
  DWORD n = 0;
  const BOOL ok = ::ReadFile(reinterpret_cast<HANDLE>(file), buffer, count, &n, nullptr);
  if (read) *read = n;
  return ok != 0;
}

bool WriteFile(FileHandle file, const void* buffer, uint32_t count, uint32_t* written) {
  DWORD n = 0;
  const BOOL ok = ::WriteFile(reinterpret_cast<HANDLE>(file), buffer, count, &n, nullptr);
  if (written) *written = n;
  return ok != 0;
}

bool SetFilePointer(FileHandle file, int64_t distance, uint32_t origin, int64_t* position) {
  LARGE_INTEGER d, at;
  d.QuadPart = distance;
  if (!::SetFilePointerEx(reinterpret_cast<HANDLE>(file), d, &at, origin)) return false;
  if (position) *position = at.QuadPart;
  return true;
}

bool SetEndOfFile(FileHandle file) { return ::SetEndOfFile(reinterpret_cast<HANDLE>(file)) != 0; }

bool ReserveSpace(FileHandle file, int64_t size) {
  // The allocation may only grow here: a smaller one would cut the file.
  LARGE_INTEGER current;
  if (!::GetFileSizeEx(reinterpret_cast<HANDLE>(file), &current)) return false;
  if (size <= current.QuadPart) return true;
  FILE_ALLOCATION_INFO info{};
  info.AllocationSize.QuadPart = size;
  if (::SetFileInformationByHandle(reinterpret_cast<HANDLE>(file), FileAllocationInfo, &info, sizeof info)) return true;
  // Only a full disk is an answer; a system or file system that cannot
  // reserve (Wine answers 120) leaves the writes to report it.
  if (::GetLastError() == ERROR_DISK_FULL) return false;
  ::SetLastError(ERROR_SUCCESS);
  return true;
}

int64_t GetFileSize(FileHandle file) {
  LARGE_INTEGER size;
  return ::GetFileSizeEx(reinterpret_cast<HANDLE>(file), &size) ? size.QuadPart : -1;
}

bool CloseHandle(FileHandle file) { return ::CloseHandle(reinterpret_cast<HANDLE>(file)) != 0; }

// No count is kept here: streams keep no read-ahead on Windows.

uint32_t GetFileAttributes(std::u16string_view name) { return ::GetFileAttributesW(Wide(name).c_str()); }

bool SetFileAttributes(std::u16string_view name, uint32_t attributes) {
  return ::SetFileAttributesW(Wide(name).c_str(), attributes) != 0;
}

bool GetFileTimes(std::u16string_view name, FileTimes* times) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(Wide(name).c_str(), GetFileExInfoStandard, &data)) return false;
  times->creation = FromFileTime(data.ftCreationTime);
  times->access = FromFileTime(data.ftLastAccessTime);
  times->write = FromFileTime(data.ftLastWriteTime);
  return true;
}

bool SetFileTimes(std::u16string_view name, const FileTimes& times) {
  HANDLE h = ::CreateFileW(Wide(name).c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  const FILETIME c = ToFileTime(times.creation), a = ToFileTime(times.access), w = ToFileTime(times.write);
  const BOOL ok = ::SetFileTime(h, times.creation ? &c : nullptr, times.access ? &a : nullptr,
                                times.write ? &w : nullptr);
  const DWORD error = GetLastError();
  ::CloseHandle(h);
  if (!ok) ::SetLastError(error);
  return ok != 0;
}

bool CopyFile(std::u16string_view source, std::u16string_view target, bool failIfExists) {
  return ::CopyFileW(Wide(source).c_str(), Wide(target).c_str(), failIfExists) != 0;
}

bool ReplaceFile(std::u16string_view source, std::u16string_view target) {
  return ::MoveFileExW(Wide(source).c_str(), Wide(target).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool MoveFile(std::u16string_view source, std::u16string_view target) {
  return ::MoveFileW(Wide(source).c_str(), Wide(target).c_str()) != 0;
}

bool DeleteFile(std::u16string_view name) { return ::DeleteFileW(Wide(name).c_str()) != 0; }
bool CreateDirectory(std::u16string_view name) { return ::CreateDirectoryW(Wide(name).c_str(), nullptr) != 0; }
bool RemoveDirectory(std::u16string_view name) { return ::RemoveDirectoryW(Wide(name).c_str()) != 0; }

FindHandle FindFirstFile(std::u16string_view pattern, FindData* data, uint32_t) {
  WIN32_FIND_DATAW w;
  HANDLE h = ::FindFirstFileW(Wide(pattern).c_str(), &w);
  if (h == INVALID_HANDLE_VALUE) return kInvalidFind;
  // The desktop system lists "." and ".."; the device never did.
  while (Dots(w.cFileName)) {
    if (!::FindNextFileW(h, &w)) {
      ::FindClose(h);
      ::SetLastError(ERROR_FILE_NOT_FOUND);
      return kInvalidFind;
    }
  }
  Fill(w, data);
  return reinterpret_cast<FindHandle>(h);
}

uint32_t ReadWholeFile(std::u16string_view name, std::string* bytes) {
  bytes->clear();
  const auto path = DeviceRelativePath(name);
  return path ? reg::ReadDeviceFile(*path, bytes) : win32::kPathNotFound;
}

FindHandle FindFirstFileBelow(FindHandle, std::u16string_view pattern, FindData* data, uint32_t details) {
  return FindFirstFile(pattern, data, details);
}

bool FindNextFile(FindHandle find, FindData* data) {
  WIN32_FIND_DATAW w;
  do {
    if (!::FindNextFileW(reinterpret_cast<HANDLE>(find), &w)) return false;
  } while (Dots(w.cFileName));
  Fill(w, data);
  return true;
}

void FindClose(FindHandle find) {
  if (find != kInvalidFind) ::FindClose(reinterpret_cast<HANDLE>(find));
}

std::u16string GetTempPath() {
  // Under a device prefix the temporary directory is the device's, as on
  // POSIX; otherwise the system's.
  if (!win32dev::FilePrefix().empty()) {
    CreateDirectory(u"\\Temp");
    return u"\\Temp\\";
  }
  wchar_t buffer[MAX_PATH + 1];
  const DWORD n = ::GetTempPathW(MAX_PATH + 1, buffer);
  return std::u16string(reinterpret_cast<const char16_t*>(buffer), n <= MAX_PATH ? n : 0);
}

uint32_t GetTempFileName(std::u16string_view directory, std::u16string_view prefix, uint32_t unique,
                         std::u16string* name) {
  wchar_t buffer[MAX_PATH + 1];
  const std::wstring start(prefix.begin(), prefix.end());  // a name's beginning, not a path
  const std::wstring where = Wide(directory);
  const UINT n = ::GetTempFileNameW(where.c_str(), start.c_str(), unique, buffer);
  if (n) {
    name->assign(win32dev::DevicePath(buffer));
  } else if (::GetLastError() == ERROR_DIRECTORY && ::GetFileAttributesW(where.c_str()) == INVALID_FILE_ATTRIBUTES) {
    // A directory that does not exist is "path not found", as on POSIX, not
    // "the directory name is invalid".
    ::SetLastError(ERROR_PATH_NOT_FOUND);
  }
  return n;
}

bool MemoryReadable(const void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  const char* p = static_cast<const char*>(address);
  const char* end = p + count;
  while (p < end) {
    MEMORY_BASIC_INFORMATION info;
    if (!::VirtualQuery(p, &info, sizeof info) || info.State != MEM_COMMIT) return false;
    if (info.Protect & (PAGE_NOACCESS | PAGE_GUARD)) return false;
    p = static_cast<const char*>(info.BaseAddress) + info.RegionSize;
  }
  return true;
}

bool MemoryWritable(void* address, size_t count) {
  if (count == 0) return true;
  if (!address) return false;
  const char* p = static_cast<const char*>(address);
  const char* end = p + count;
  constexpr DWORD kWritable = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  while (p < end) {
    MEMORY_BASIC_INFORMATION info;
    if (!::VirtualQuery(p, &info, sizeof info) || info.State != MEM_COMMIT) return false;
    if (!(info.Protect & kWritable) || (info.Protect & PAGE_GUARD)) return false;
    p = static_cast<const char*>(info.BaseAddress) + info.RegionSize;
  }
  return true;
}

std::optional<std::string> DeviceRelativePath(std::u16string_view name) {
  if (name.empty() || (name.front() != u'\\' && name.front() != u'/')) return std::nullopt;
  std::string out;
  size_t start = 0;
  while (start <= name.size()) {
    size_t end = name.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = name.size();
    const std::u16string_view part = name.substr(start, end - start);
    start = end + 1;
    if (part.empty()) continue;
    if (part == u"." || part == u"..") return std::nullopt;
    const int n = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, reinterpret_cast<const wchar_t*>(part.data()),
                                      static_cast<int>(part.size()), nullptr, 0, nullptr, nullptr);
    if (n <= 0 || part.find(u'\0') != std::u16string_view::npos) return std::nullopt;
    std::string utf8(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(part.data()), static_cast<int>(part.size()),
                        utf8.data(), n, nullptr, nullptr);
    if (!out.empty()) out += '/';
    out += utf8;
  }
  if (out.empty()) return std::nullopt;
  return out;
}

}  // namespace kp::platform::fs
