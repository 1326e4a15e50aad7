// kp160std — the library's own INI-file engine, and INILit/INIEcrit.
//
// The platform has no profile-file service, so the library reads and writes
// INI files itself: 8-bit text in the ANSI code page, lines ended by CR LF
// (a bare LF is accepted on reading), sections "[name]", comments ";",
// entries "key = value". Every call reads the file from its beginning and
// nothing is cached. Two asymmetries are kept on purpose: the reader finds a
// section without regard to case, the writer only with the exact case (so a
// write to "main" beside "[Main]" appends a second section); and a key
// matches a line that begins with it when the next character is not a letter
// or digit ("K" finds "K = 1" and "K_x = 1", not "K2 = 1").
//
// The Bytes functions are the engine on a file's content; the others do the
// file's I/O and the UTF-16/ANSI conversions around them.
//
// Writing is one locked read-modify-write of the whole file, renamed over
// the old one (see UpdateDeviceFile in platform/registry.h): writers in
// other threads and processes wait for each other and lose nothing, readers
// see the old file or the new one. The engine raises no library error; the
// KL functions record the platform's error of a failure (5 a read-only file,
// 3 a missing directory, 32 a file held by another writer too long).
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::registry {

constexpr std::u16string_view kDefaultIniFile = u"\\Windows\\win.ini";
constexpr uint32_t kIniReadCapacity = 8191;

// The answer for a section and key, or nullopt when the default applies.
// An empty section lists the sections, an empty key the section's keys, each
// name followed by "\r\n".
std::optional<std::string> IniReadBytes(std::string_view file, std::string_view section, std::string_view key);
// Writes an entry (nullopt value: deletes it) or, with no key, deletes the
// section. False when nothing can be done (no section).
bool IniWriteBytes(std::string& file, std::string_view section, std::optional<std::string_view> key,
                   std::optional<std::string_view> value);

// At most capacity - 1 characters; capacity 0 gives an empty text.
// `error`, when given, receives the platform's error of reading the file (0
// when read; 2 or 3 when missing, the default then being the answer).
std::u16string IniRead(std::u16string_view section, std::u16string_view key,
                       std::optional<std::u16string_view> fallback, uint32_t capacity, std::u16string_view file,
                       uint32_t* error = nullptr);
// `error`, when given, receives the platform's error of a failure (87 no
// section, 3 a path outside the device or a missing directory).
bool IniWrite(std::u16string_view section, std::optional<std::u16string_view> key,
              std::optional<std::u16string_view> value, std::u16string_view file, uint32_t* error = nullptr);
// A missing file is deleted already.
bool IniDeleteFile(std::u16string_view file, uint32_t* error = nullptr);
int64_t IniFileSize(std::u16string_view file);

// INILit: an empty file means the default file.
Value IniReadFunction(ExecContext* context, std::u16string_view section, std::u16string_view key,
                      std::u16string_view fallback, std::u16string_view file);
// INIEcrit: neither key nor value deletes the section.
bool IniWriteFunction(ExecContext* context, std::u16string_view section, std::optional<std::u16string_view> key,
                      std::optional<std::u16string_view> value, std::u16string_view file);

}  // namespace kp::registry
