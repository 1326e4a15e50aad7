// kp — the host's seam on Windows: LoadLibraryW, a TlsAlloc slot, guarded
// pages from VirtualAlloc, MultiByteToWideChar and its converse.
// No seam header of the library here: windows.h alone, its macros harmless.
#define NOMINMAX
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "os.h"

namespace kphost::os {
namespace {

std::wstring Wide(const std::string& utf8) {
  const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring out(n > 0 ? n : 0, L'\0');
  if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
  return out;
}

std::string Narrow(const std::wstring& wide) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
  std::string out(n > 0 ? n : 0, '\0');
  if (n > 0) WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), out.data(), n, nullptr, nullptr);
  return out;
}

std::string SystemText(DWORD code) {
  char* text = nullptr;
  const DWORD n = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                 nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string out = n && text ? std::string(text, n) : "error " + std::to_string(code);
  if (text) LocalFree(text);
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r' || out.back() == ' ')) out.pop_back();
  return out;
}

}  // namespace

void* OpenLibrary(const std::string& path, std::string& error) {
  HMODULE module = LoadLibraryW(Wide(path).c_str());
  if (!module) error = "cannot load " + path + ": " + SystemText(GetLastError());
  return reinterpret_cast<void*>(module);
}

std::string LibraryVersion(void* library, std::string& file) {
  wchar_t path[MAX_PATH * 4];
  const DWORD n = GetModuleFileNameW(static_cast<HMODULE>(library), path, MAX_PATH * 4);
  if (n == 0 || n >= MAX_PATH * 4) return {};
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, path, static_cast<int>(n), nullptr, 0, nullptr, nullptr);
  file.assign(static_cast<size_t>(bytes > 0 ? bytes : 0), '\0');
  if (bytes > 0) WideCharToMultiByte(CP_UTF8, 0, path, static_cast<int>(n), file.data(), bytes, nullptr, nullptr);
  // The file version of the DLL's version resource.
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
  if (size == 0) return {};
  std::string block(size, '\0');
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(path, 0, size, block.data()) ||
      !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) || !fixed ||
      length < sizeof *fixed)
    return {};
  return std::to_string(HIWORD(fixed->dwFileVersionMS)) + "." + std::to_string(LOWORD(fixed->dwFileVersionMS)) + "." +
         std::to_string(HIWORD(fixed->dwFileVersionLS)) + "." + std::to_string(LOWORD(fixed->dwFileVersionLS));
}

void* FindExport(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

uintptr_t ProgramModule() { return reinterpret_cast<uintptr_t>(GetModuleHandleW(nullptr)); }

bool SetThreadSlot(void* value, uintptr_t& index) {
  static const DWORD slot = TlsAlloc();
  if (slot == TLS_OUT_OF_INDEXES) return false;
  TlsSetValue(slot, value);
  index = slot;
  return true;
}

const void* GuardedCopy(const void* data, size_t size) {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  const size_t page = info.dwPageSize;
  const size_t bytes = (size + page - 1) / page * page;
  auto* base = static_cast<char*>(VirtualAlloc(nullptr, bytes + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  if (!base) std::abort();
  char* copy = base + bytes - size;
  std::memcpy(copy, data, size);
  DWORD old;
  if (!VirtualProtect(base, bytes, PAGE_READONLY, &old) || !VirtualProtect(base + bytes, page, PAGE_NOACCESS, &old))
    std::abort();
  return copy;
}

int32_t ConvertText(bool toUtf16, uint32_t codePage, const void* source, size_t units, void** result) {
  // The ANSI code page is Windows-1252 here too, whatever the system's is, so
  // that kp and kp.exe answer alike.
  const UINT cp = codePage == 0 ? 1252 : codePage;
  if (!IsValidCodePage(cp) || units > 0x3FFFFFFF) return -1;
  const int n = static_cast<int>(units);
  if (toUtf16) {
    const int out = n ? MultiByteToWideChar(cp, 0, static_cast<const char*>(source), n, nullptr, 0) : 0;
    if (n && out <= 0) return -1;
    auto* buffer = static_cast<wchar_t*>(std::malloc((out + 2) * sizeof(wchar_t)));
    if (!buffer) return -1;
    if (n) MultiByteToWideChar(cp, 0, static_cast<const char*>(source), n, buffer, out);
    buffer[out] = buffer[out + 1] = 0;
    *result = buffer;
    return out;
  }
  // UTF-8 and UTF-7 take no default character; every other code page gives "?".
  const bool utf = cp == CP_UTF8 || cp == CP_UTF7;
  const auto* wide = static_cast<const wchar_t*>(source);
  const int out = n ? WideCharToMultiByte(cp, 0, wide, n, nullptr, 0, utf ? nullptr : "?", nullptr) : 0;
  if (n && out <= 0) return -1;
  auto* buffer = static_cast<char*>(std::malloc(out + 4));
  if (!buffer) return -1;
  if (n) WideCharToMultiByte(cp, 0, wide, n, buffer, out, utf ? nullptr : "?", nullptr);
  std::memset(buffer + out, 0, 4);
  *result = buffer;
  return out;
}

bool StdinIsTerminal() { return _isatty(_fileno(stdin)) != 0; }

void PrepareStandardStreams() {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  _setmode(_fileno(stdin), _O_BINARY);
}

std::vector<std::string> Arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!wide) return std::vector<std::string>(argv, argv + argc);
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back(Narrow(wide[i]));
  LocalFree(wide);
  return out;
}

const char* const kLibraryName = "KP160STD.DLL";
const char* const kInstalledLibraryName = "KP160STD.DLL";
const char* const kSeparators = "/\\";

std::string ProgramDirectory() {
  std::wstring path(32768, L'\0');
  const DWORD n = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  if (n == 0 || n >= path.size()) return {};
  path.resize(n);
  const std::string utf8 = Narrow(path);
  return utf8.substr(0, utf8.find_last_of("/\\"));
}

bool FileReadable(const std::string& path) { return GetFileAttributesW(Wide(path).c_str()) != INVALID_FILE_ATTRIBUTES; }

}  // namespace kphost::os
