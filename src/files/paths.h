// kp160std — the path and directory functions: fExtraitChemin,
// fFichierExiste, fRépertoireExiste, fTaille (name), fCopieFichier,
// fRenomme/fDéplaceFichier, fSupprime, fRepCrée (and its older form),
// fRepSupprime, fRepTaille, fRepParent, fRep, fListeFichier,
// fListeRépertoire, the attribute and date functions and the pickers.
//
// Every name obeys the path rule (files/path_rule.h). Failures return the
// ordinary failure value with the error recorded; the file-system layer's
// failures record the system code ("error kind 2"). The fRep enumeration is
// one per library, by design: two interleaved enumerations disturb each
// other.
//
// Thread-safety: used from the thread that runs the KL program.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::files {

// Path parts.
constexpr int32_t fDrive = 1, fDirectory = 2, fFileName = 4, fExtension = 8;
// Listing and removal options.
constexpr int32_t frRecursive = 1, frNotRecursive = 2, frInterruptible = 4, frIgnoreError = 8,
                  frFullInformation = 16, frNoHiddenFile = 256, frNoHiddenDirectory = 512;
constexpr int32_t frReadOnly = 8, frToRecycleBin = 256;
// Callback flags.
constexpr int32_t flFile = 0, flChangeDir = 1, flFirstFile = 2;
// fRep attributes.
constexpr int32_t frFile = 39, frDirectoryAttr = 55, fPathUnicode = 4096;
constexpr int32_t fRelativePath = 1;
// Which date of a file.
constexpr int32_t fModification = 0, fCreation = 1, fAccess = 2;

std::u16string ExtractPath(ExecContext* context, std::u16string_view path, int32_t parts);
bool FileExists(ExecContext* context, std::u16string_view name);
bool DirectoryExists(ExecContext* context, std::u16string_view name);
int64_t FileSize(ExecContext* context, std::u16string_view name);
bool CopyFile(ExecContext* context, std::u16string_view source, std::u16string_view destination, int32_t options);
bool Rename(ExecContext* context, std::u16string_view from, std::u16string_view to);
bool Delete(ExecContext* context, std::u16string_view name, int32_t options);
bool MakeDir(ExecContext* context, std::u16string_view path);
int32_t MakeDir55(ExecContext* context, std::u16string_view path);
bool RemoveDir(ExecContext* context, std::u16string_view path, int32_t options);
int64_t DirSize(ExecContext* context, std::u16string_view path, int32_t options);
std::u16string ParentDir(ExecContext* context, std::u16string_view path, int32_t option);
std::u16string Dir(ExecContext* context, std::u16string_view pattern, int32_t attributes);
// fRep as the KL program calls it: Dir, with a new pattern held to the path
// rule (80600, and the 260-character limit) before any search.
std::u16string DirChecked(ExecContext* context, std::u16string_view pattern, int32_t attributes);
// Ends the fRep enumeration (library unload, tests).
void EndDirEnumeration();

// The walks. `procedure` empty: the list forms (a text); otherwise the count.
std::u16string ListFiles(ExecContext* context, std::u16string_view pattern, int32_t options);
std::u16string ListDirectories(ExecContext* context, std::u16string_view pattern, int32_t options);
int32_t ListFilesWith(ExecContext* context, std::u16string_view pattern, std::u16string_view procedure,
                      int32_t userValue, int32_t options);
int32_t ListDirectoriesWith(ExecContext* context, std::u16string_view pattern, std::u16string_view procedure,
                            int32_t userValue, int32_t options);

// Attributes as letters, in the order of the full-information lines:
// A archive, D directory, H hidden, R read-only, S system, C compressed.
std::u16string Attribute(ExecContext* context, std::u16string_view name);
// Sets the attributes from letters (A, H, R, S; others are ignored; D and C
// cannot be set); "" gives a normal file.
bool SetAttribute(ExecContext* context, std::u16string_view name, std::u16string_view letters);
bool ReadOnlyAttribute(ExecContext* context, std::u16string_view name);
bool SetReadOnlyAttribute(ExecContext* context, std::u16string_view name, bool readOnly);
std::u16string DirAttribute(ExecContext* context, std::u16string_view path);
std::u16string SetDirAttribute(ExecContext* context, std::u16string_view path, std::u16string_view letters);

// A file's dates in local time: "AAAAMMJJ", "HHMMSSCC", "AAAAMMJJHHMMSSCC";
// "" on failure. The setting forms take the same texts.
std::u16string FileDate(ExecContext* context, std::u16string_view name, int32_t which);
std::u16string FileTime(ExecContext* context, std::u16string_view name, int32_t which);
std::u16string FileDateTime(ExecContext* context, std::u16string_view name, int32_t which);
bool SetFileDate(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value);
bool SetFileTime(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value);
bool SetFileDateTime(ExecContext* context, std::u16string_view name, int32_t which, std::u16string_view value);

// The platform's pickers: there is no user interface here; they answer ""
// with system error 120 (not implemented) recorded.
std::u16string Picker(ExecContext* context);

}  // namespace kp::files
