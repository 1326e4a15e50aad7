// kp160std — the device's file system, in Win32 terms.
//
// Every name here is a device path: absolute, "\" or "/" separated
// ("\My Documents\a.txt"). Calls follow the Win32 file API they are named
// after: a failure returns the failure value and sets the thread's last error
// (platform::LastError) to a Win32 number (2 file not found, 3 path not
// found, 5 access denied, 80 file exists, 183 already exists, ...).
//
// On POSIX the device root is the directory <prefix>/fs (KP_PREFIX, see
// posix/device.h), or the host's "/" when KP_NATIVE_ROOT=1. Names that differ
// only in case find the same file (an exact match wins). No name reaches
// outside the device root: the device has no relative names, so a "." or
// ".." component is refused with 3 (the families canonicalise a path before
// they hand it over), and a symbolic link whose target lies outside the root
// is refused with error 5. Hidden, system and archive
// attributes live in the extended attribute "user.kp.attributes"; where the
// host file system has none, files read as archive, names starting with "."
// as hidden, and setting those bits is accepted but not kept. Read-only is
// the owner's write permission.
//
// On Windows the device is the machine: the calls go to the real API.
//
// Thread-safety: every function may be called from any thread; a FileHandle
// or FindHandle is used by one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kp::platform::fs {

using FileHandle = intptr_t;
constexpr FileHandle kInvalidFile = -1;

// Access bits, sharing bits, dispositions and attributes: the Win32 values.
constexpr uint32_t kGenericRead = 0x80000000u;
constexpr uint32_t kGenericWrite = 0x40000000u;
constexpr uint32_t kShareRead = 1;
constexpr uint32_t kShareWrite = 2;
constexpr uint32_t kCreateNew = 1;
constexpr uint32_t kCreateAlways = 2;
constexpr uint32_t kOpenExisting = 3;
constexpr uint32_t kOpenAlways = 4;
constexpr uint32_t kTruncateExisting = 5;
constexpr uint32_t kFlagRandomAccess = 0x10000000u;

constexpr uint32_t kAttrReadOnly = 0x01;
constexpr uint32_t kAttrHidden = 0x02;
constexpr uint32_t kAttrSystem = 0x04;
constexpr uint32_t kAttrDirectory = 0x10;
constexpr uint32_t kAttrArchive = 0x20;
constexpr uint32_t kAttrNormal = 0x80;
constexpr uint32_t kAttrCompressed = 0x800;
constexpr uint32_t kInvalidAttributes = 0xFFFFFFFFu;

// Times are FILETIME values: 100-nanosecond units since 1 January 1601, UTC.
struct FileTimes {
  int64_t creation = 0;
  int64_t access = 0;
  int64_t write = 0;
};

// `created` (optional) tells whether kOpenAlways/kCreateAlways made the file
// anew (Win32: last error 183 when it existed).
FileHandle CreateFile(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition,
                      uint32_t flags, bool* created = nullptr);
bool ReadFile(FileHandle file, void* buffer, uint32_t count, uint32_t* read);
bool WriteFile(FileHandle file, const void* buffer, uint32_t count, uint32_t* written);
// origin 0 begin, 1 current, 2 end; a position before the start fails with
// 131 (negative seek), an origin above 2 with 87.
bool SetFilePointer(FileHandle file, int64_t distance, uint32_t origin, int64_t* position);
bool SetEndOfFile(FileHandle file);
// Makes room for `size` bytes from the start of the file without changing
// its size or content, so that rewriting it in place cannot run out of space
// half-way and leave neither the old bytes nor the new. Fails with 112 (disk
// full) when the room is not there; a file system that cannot reserve ahead
// answers true and the writes themselves report a full disk.
bool ReserveSpace(FileHandle file, int64_t size);
// -1 on failure.
int64_t GetFileSize(FileHandle file);
bool CloseHandle(FileHandle file);

uint32_t GetFileAttributes(std::u16string_view name);
bool SetFileAttributes(std::u16string_view name, uint32_t attributes);
bool GetFileTimes(std::u16string_view name, FileTimes* times);
// A zero field leaves that time unchanged. POSIX keeps no creation time: it
// reads as the change time and setting it fails with 50.
bool SetFileTimes(std::u16string_view name, const FileTimes& times);

bool CopyFile(std::u16string_view source, std::u16string_view target, bool failIfExists);
// Fails with 183 when the target exists, as the Win32 move does.
bool MoveFile(std::u16string_view source, std::u16string_view target);
// Puts `source` in the place of `target` in one step, whether or not the target
// exists: a reader sees the old file or the new one, never a half-written one
// (Win32 MoveFileEx with MOVEFILE_REPLACE_EXISTING). A directory target fails with 5.
bool ReplaceFile(std::u16string_view source, std::u16string_view target);
// A read-only file is not deleted (5).
bool DeleteFile(std::u16string_view name);
bool CreateDirectory(std::u16string_view name);
bool RemoveDirectory(std::u16string_view name);

// Find: the pattern's last component may hold "*" and "?" (matched without
// regard to case; "*.*" matches every name). "." and ".." are never returned.
struct FindData {
  uint32_t attributes = 0;
  int64_t size = 0;
  FileTimes times;
  std::u16string name;
  // Which object a directory entry is (after links), so that a walk can tell
  // a directory it is already inside: POSIX gives the device and inode of
  // every directory; both 0 when unknown (files without details, Windows).
  uint64_t device = 0;
  uint64_t inode = 0;
};
using FindHandle = intptr_t;
constexpr FindHandle kInvalidFind = -1;
// kInvalidFind with 2 (nothing matches) or 3 (no such directory).
// `details` says what the caller reads besides the name and the directory
// bit: without kFindAttributes `attributes` holds kAttrDirectory or
// kAttrNormal only, without kFindSizeTimes `size` and `times` are 0. Names,
// order and errors do not depend on it; leaving details out spares the
// per-entry system calls where the backend can. Windows always fills all.
// kFindSizesOnly (with kFindSizeTimes, pattern "*" or "*.*"): the caller
// adds up sizes and walks down directories, nothing more, so the entries
// may come in the directory's own order, the files without their names and
// without times (a size total needs neither).
constexpr uint32_t kFindAttributes = 1;
constexpr uint32_t kFindSizeTimes = 2;
constexpr uint32_t kFindAll = kFindAttributes | kFindSizeTimes;
constexpr uint32_t kFindSizesOnly = 4;
FindHandle FindFirstFile(std::u16string_view pattern, FindData* data, uint32_t details = kFindAll);
// The whole of a regular file, by its device name, for the readers that take
// a file at once (INILit): 0 or the Win32 error (2 no such file, 3 no such
// directory or the root, 5 not a regular file or no access). A missing file
// leaves `bytes` empty.
uint32_t ReadWholeFile(std::u16string_view name, std::string* bytes);

// As FindFirstFile(pattern), where the directory of `pattern` is the one
// `parent` handed out last: a walk down a tree. POSIX lists it through the
// parent's open directory, without resolving its path from the root again
// (a link is still taken by its path); elsewhere it is FindFirstFile.
FindHandle FindFirstFileBelow(FindHandle parent, std::u16string_view pattern, FindData* data,
                              uint32_t details = kFindAll);
// false with 18 at the end.
bool FindNextFile(FindHandle find, FindData* data);
void FindClose(FindHandle find);

// The temporary directory, with a trailing "\" (made when missing).
std::u16string GetTempPath();
// "<directory>\<up to 3 prefix characters><hex>.tmp", created empty; with a
// non-zero `unique` the name is made from it and nothing is created. 0 on
// failure.
uint32_t GetTempFileName(std::u16string_view directory, std::u16string_view prefix, uint32_t unique,
                         std::u16string* name);

// Whether `count` bytes at `address` of this process can be read (written).
bool MemoryReadable(const void* address, size_t count);
bool MemoryWritable(void* address, size_t count);

// A device path as the names below the device root, joined by "/" in UTF-8,
// after the checks of CreateFile (case, links, no "." or ".."); missing
// directories are kept as named, so that a writer may create them. nullopt
// for the root itself or a name that cannot be resolved. For code that hands whole
// files to another layer (the INI engine). On Windows: the name with "/" for
// "\" and without its leading separator.
std::optional<std::string> DeviceRelativePath(std::u16string_view name);

}  // namespace kp::platform::fs
