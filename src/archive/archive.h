// kp160std — the zip archive functions (_zipCrée_old ... _zipCréeExe_old)
// through libzip.
//
// An archive is named by the KL program (a text, 1 to 260 characters, case
// ignored) and bound to a file by _zipCrée or _zipOuvre; the other functions
// take that name. Functions that act return 0 on success and the error
// number (81900-81916, or another of the library's) on failure, with the
// error in the record; _zipMsgErreur gives a number's text. Functions that
// count or measure return -1, texts "" and booleans false on failure.
// Entries are numbered from 1. Every change is written to the file before the
// function returns. docs/archive.md holds the choices with examples.
//
// No libzip type appears here, so the bindings can declare the syntaxes on
// every platform (the Windows build leaves them null).
//
// Thread-safety: the archive table has no lock; call from the thread that
// runs the KL program.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::archive {

// Path modes of the add functions: how a file's name in the archive is made.
constexpr int32_t kPathWhole = 0;     // the device path without its first separator
constexpr int32_t kPathNone = 1;      // the file name alone (a directory: paths below it)
constexpr int32_t kPathRelative = 2;  // a directory: paths from it, its own name first

// Extraction limits: an entry larger than this, or one that would grow more
// than kMaxRatio times past kRatioFloor bytes, is not extracted.
constexpr int64_t kMaxEntrySize = 16ll << 30;
constexpr int64_t kRatioFloor = 64ll << 20;
constexpr int64_t kMaxRatio = 200;

int32_t Create(ExecContext* context, std::u16string_view archive, std::u16string_view file, int32_t partSize);
int32_t Open(ExecContext* context, std::u16string_view archive, std::u16string_view file,
             std::u16string_view password);
int32_t Close(ExecContext* context, std::u16string_view archive);

int32_t AddFile(ExecContext* context, std::u16string_view archive, std::u16string_view file, int32_t mode,
                std::u16string_view inArchive);
int32_t AddDirectory(ExecContext* context, std::u16string_view archive, std::u16string_view directory,
                     bool recursive, int32_t mode, std::u16string_view inArchive);
int32_t AddFileList(ExecContext* context, std::u16string_view archive, std::u16string_view list);

int32_t ExtractFile(ExecContext* context, std::u16string_view archive, std::u16string_view name,
                    std::u16string_view destination);
int32_t ExtractFileAt(ExecContext* context, std::u16string_view archive, int32_t index,
                      std::u16string_view destination);
int32_t ExtractAll(ExecContext* context, std::u16string_view archive, std::u16string_view destination);

int32_t DeleteFile(ExecContext* context, std::u16string_view archive, std::u16string_view name);
int32_t DeleteFileAt(ExecContext* context, std::u16string_view archive, int32_t index);
int32_t DeleteFileList(ExecContext* context, std::u16string_view archive, std::u16string_view list);
int32_t DeleteAll(ExecContext* context, std::u16string_view archive);
int32_t ChangePath(ExecContext* context, std::u16string_view archive, std::u16string_view name,
                   std::u16string_view newName);
int32_t ChangePathAt(ExecContext* context, std::u16string_view archive, int32_t index, std::u16string_view newName);

int32_t Split(ExecContext* context, std::u16string_view archive, int32_t partSize, std::u16string_view destination,
              std::u16string_view partName, int32_t firstPartSize, std::u16string_view procedure, int32_t userValue);
int32_t Merge(ExecContext* context, std::u16string_view archive, std::u16string_view destination);
int32_t PartCount(ExecContext* context, std::u16string_view archive);
int32_t PartsNeeded(ExecContext* context, std::u16string_view archive, int32_t partSize, int32_t firstPartSize);
bool IsMulti(ExecContext* context, std::u16string_view archive);

int32_t FileCount(ExecContext* context, std::u16string_view archive);
std::u16string InfoFile(ExecContext* context, std::u16string_view archive, std::u16string_view name);
std::u16string InfoFileAt(ExecContext* context, std::u16string_view archive, int32_t index);
std::u16string ListFiles(ExecContext* context, std::u16string_view archive);
int32_t FindFile(ExecContext* context, std::u16string_view archive, std::u16string_view pattern, int32_t start,
                 bool caseSensitive);
std::u16string ExtractPath(ExecContext* context, std::u16string_view archive, std::u16string_view name);
std::u16string ExtractPathAt(ExecContext* context, std::u16string_view archive, int32_t index);
int64_t FileSize(ExecContext* context, std::u16string_view archive, std::u16string_view name, bool compressed);
int64_t FileSizeAt(ExecContext* context, std::u16string_view archive, int32_t index, bool compressed);
int64_t Size(ExecContext* context, std::u16string_view archive, bool compressed);
std::u16string MessageError(ExecContext* context, int32_t code);
std::u16string CurrentFile(ExecContext* context, std::u16string_view archive);

int32_t CreateExe(ExecContext* context, std::u16string_view archive, std::u16string_view executable,
                  std::u16string_view title, std::u16string_view message, std::u16string_view directory,
                  std::u16string_view command);

// Discards every open archive (library unload, tests).
void CloseAllArchives();

}  // namespace kp::archive
