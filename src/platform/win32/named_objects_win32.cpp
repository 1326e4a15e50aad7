// kp160std — named kernel objects on Windows: the system's own file
// mappings, mutexes, semaphores and events, whose semantics the seam copies.
#include "platform/win32/windows_api.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/win32/device_win32.h"

#include "platform/named_objects.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::platform::named {

namespace {

constexpr std::u16string_view kScopes[] = {u"Local\\", u"Global\\"};

// A name as the system takes it: terminated, null for an unnamed object.
// With a device prefix the name gets a tag of the prefix after its scope,
// so that the objects of two prefixes never meet, as on POSIX.
struct WideName {
  explicit WideName(std::u16string_view name) {
    if (name.empty()) return;
    std::u16string_view rest = name;
    for (std::u16string_view scope : kScopes) {
      if (rest.substr(0, scope.size()) == scope) {
        text.assign(scope.begin(), scope.end());
        rest.remove_prefix(scope.size());
        break;
      }
    }
    const std::wstring prefix = win32dev::FilePrefix();
    if (!prefix.empty()) {
      uint64_t hash = 1469598103934665603ull;  // FNV-1a over the prefix, case folded
      for (wchar_t c : prefix) hash = (hash ^ static_cast<uint16_t>(towlower(c))) * 1099511628211ull;
      wchar_t tag[32];
      swprintf(tag, 32, L"kp160std-%016llx-", static_cast<unsigned long long>(hash));
      text += tag;
    }
    text.append(rest.begin(), rest.end());
  }
  const wchar_t* get() const { return text.empty() ? nullptr : text.c_str(); }
  std::wstring text;
};

// The checks the system would make in its own way: at most 260 characters,
// and no backslash but the one that ends the scope (Windows answers 3 for
// one, the POSIX backend and the seam 161).
bool NameTooLong(std::u16string_view name) {
  if (name.size() > kMaxNameLength) {
    SetLastError(win32::kFilenameExcedRange);
    return true;
  }
  std::u16string_view rest = name;
  for (std::u16string_view scope : kScopes) {
    if (rest.substr(0, scope.size()) == scope) {
      rest.remove_prefix(scope.size());
      break;
    }
  }
  if (rest.find(u'\\') != std::u16string_view::npos) {
    SetLastError(win32::kBadPathname);
    return true;
  }
  if (rest.empty() && rest.size() != name.size()) {
    SetLastError(win32::kInvalidName);
    return true;
  }
  return false;
}

Handle Out(HANDLE h) {
  const uint32_t code = ::GetLastError();
  SetLastError(code);
  return h ? reinterpret_cast<Handle>(h) : kNoHandle;
}

HANDLE In(Handle h) { return reinterpret_cast<HANDLE>(h); }

bool Result(BOOL ok) {
  SetLastError(ok ? win32::kSuccess : ::GetLastError());
  return ok != FALSE;
}

}  // namespace

Handle CreateMapping(std::u16string_view name, uint64_t size, bool writable) {
  if (NameTooLong(name)) return kNoHandle;
  // A size the system would read as negative is refused as the POSIX backend
  // refuses it (Wine would make a mapping of it).
  if (size == 0 || size > static_cast<uint64_t>(INT64_MAX)) {
    SetLastError(win32::kInvalidParameter);
    return kNoHandle;
  }
  const WideName wide(name);
  return Out(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, writable ? PAGE_READWRITE : PAGE_READONLY,
                                  static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), wide.get()));
}

Handle OpenMapping(std::u16string_view name, bool writable) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::OpenFileMappingW(writable ? FILE_MAP_ALL_ACCESS : FILE_MAP_READ, FALSE, wide.get()));
}

void* MapView(Handle mapping, bool writable, size_t size) {
  void* view = ::MapViewOfFile(In(mapping), writable ? FILE_MAP_ALL_ACCESS : FILE_MAP_READ, 0, 0, size);
  SetLastError(view ? win32::kSuccess : ::GetLastError());
  return view;
}

bool UnmapView(void* view) { return Result(::UnmapViewOfFile(view)); }

size_t ViewRegionSize(const void* view) {
  MEMORY_BASIC_INFORMATION info{};
  if (!view || ::VirtualQuery(view, &info, sizeof info) != sizeof info || info.State == MEM_FREE ||
      info.Type != MEM_MAPPED || info.AllocationBase != view) {
    SetLastError(win32::kInvalidParameter);
    return 0;
  }
  return info.RegionSize;
}

Handle CreateMutex(std::u16string_view name, bool initialOwner) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::CreateMutexW(nullptr, initialOwner, wide.get()));
}

Handle OpenMutex(std::u16string_view name) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, wide.get()));
}

bool ReleaseMutex(Handle mutex) { return Result(::ReleaseMutex(In(mutex))); }

Handle CreateSemaphore(std::u16string_view name, int32_t initial, int32_t maximum) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::CreateSemaphoreW(nullptr, initial, maximum, wide.get()));
}

Handle OpenSemaphore(std::u16string_view name) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::OpenSemaphoreW(SYNCHRONIZE | SEMAPHORE_MODIFY_STATE, FALSE, wide.get()));
}

bool ReleaseSemaphore(Handle semaphore, int32_t count, int32_t* previous) {
  LONG before = 0;
  const BOOL ok = ::ReleaseSemaphore(In(semaphore), count, &before);
  if (ok && previous) *previous = before;
  return Result(ok);
}

Handle CreateEvent(std::u16string_view name, bool manualReset, bool initialState) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::CreateEventW(nullptr, manualReset, initialState, wide.get()));
}

Handle OpenEvent(std::u16string_view name) {
  if (NameTooLong(name)) return kNoHandle;
  const WideName wide(name);
  return Out(::OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, wide.get()));
}

bool SetEvent(Handle event) { return Result(::SetEvent(In(event))); }
bool ResetEvent(Handle event) { return Result(::ResetEvent(In(event))); }

uint32_t WaitForObject(Handle object, uint32_t timeoutMs) {
  const DWORD r = ::WaitForSingleObject(In(object), timeoutMs);
  if (r == WAIT_FAILED) SetLastError(::GetLastError());
  return r;
}

uint32_t WaitForObjects(std::span<const Handle> objects, bool all, uint32_t timeoutMs) {
  if (objects.empty() || objects.size() > kMaximumWaitObjects) {
    SetLastError(win32::kInvalidParameter);
    return kWaitFailed;
  }
  std::vector<HANDLE> handles;
  handles.reserve(objects.size());
  for (Handle h : objects) handles.push_back(In(h));
  if (all) {
    // One object twice in a wait for all: Windows refuses it with 87; Wine
    // would wait.
    std::vector<HANDLE> sorted = handles;
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
      SetLastError(win32::kInvalidParameter);
      return kWaitFailed;
    }
  }
  const DWORD r =
      ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), all ? TRUE : FALSE, timeoutMs);
  if (r == WAIT_FAILED) SetLastError(::GetLastError());
  return r;
}

bool CloseHandle(Handle object) { return Result(::CloseHandle(In(object))); }

uint32_t CurrentProcessId() { return ::GetCurrentProcessId(); }

}  // namespace kp::platform::named
