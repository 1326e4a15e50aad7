// kp — the host's own small seam to the operating system: loading the library
// and finding its exports, the thread-local slot the VM hands the library,
// the guarded services table, 8-bit text conversion and the terminal test.
// os_posix.cpp (dlopen, pthread keys, mmap, iconv) and os_win32.cpp
// (LoadLibraryW, TlsAlloc, VirtualAlloc, MultiByteToWideChar) implement it;
// nothing else in host/ includes a system header of its own.
//
// Thread-safety: every function may be called from any thread; SetThreadSlot
// sets the calling thread's value only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kphost::os {

// A library loaded by path (UTF-8); null with `error` set when it cannot be.
void* OpenLibrary(const std::string& path, std::string& error);
// An export of a loaded library by name; null when it has none.
void* FindExport(void* library, const char* name);
void CloseLibrary(void* library);
// The file a loaded library was read from, and the version that file
// declares ("16.0.97.7": the name's suffix after ".so." on POSIX, the
// version resource on Windows); the version is empty when it declares none.
std::string LibraryVersion(void* library, std::string& file);
// This program as the library's module look-up expects it (a dlopen handle on
// POSIX, an HMODULE on Windows): the conversion services are exported here.
uintptr_t ProgramModule();

// Puts `value` in the calling thread's value of the host's one thread-local
// slot (made on first use) and gives the slot's index as the VM passes it:
// a pthread key, a TlsAlloc index. False when no slot could be made.
bool SetThreadSlot(void* value, uintptr_t& index);

// A read-only copy of `bytes` that ends where an inaccessible page begins, so
// a read past its end faults at once. Never freed; aborts when the system
// refuses the pages.
const void* GuardedCopy(const void* data, size_t bytes);

// 8-bit text to UTF-16 (toUtf16) or back, in a Windows code page (0: the ANSI
// code page, Windows-1252 on every platform so that kp answers alike). The
// result is malloc'd, ends with four zero bytes, and holds as many units
// (UTF-16 units or bytes) as returned; -1 when the code page is unknown.
// A character without a place in the target becomes "?".
int32_t ConvertText(bool toUtf16, uint32_t codePage, const void* source, size_t units, void** result);

// Standard input is an interactive terminal (the prompt), not a pipe or file.
bool StdinIsTerminal();
// Standard streams carry bytes as they are (no CR added before LF on
// Windows), so that kp.exe prints what kp prints.
void PrepareStandardStreams();
// The program's arguments in UTF-8 (on Windows from the wide command line,
// not from the ANSI code page's narrow copy).
std::vector<std::string> Arguments(int argc, char** argv);

// --- files ----------------------------------------------------------------
// The library's file name on this system.
extern const char* const kLibraryName;
// The name an installed host asks the system's loader for.
extern const char* const kInstalledLibraryName;
// The characters that separate directories in a path.
extern const char* const kSeparators;
// The directory of the running program (UTF-8); empty when unknown.
std::string ProgramDirectory();
bool FileReadable(const std::string& path);

}  // namespace kphost::os
