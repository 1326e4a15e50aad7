// kp160std — syntaxes of the files functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "files/file_io.h"
#include "files/paths.h"
#include "files/shared_memory.h"
#include "files/text.h"

namespace kp::syn {

namespace filesyn {
// A memory address arrives as a 32-bit integer, as on the device.
inline uintptr_t Address(int32_t a) { return static_cast<uintptr_t>(static_cast<uint32_t>(a)); }
}  // namespace filesyn

// fRepAttribut/fDirAttribute
inline constexpr KLSyntax kfDirAttribute[] = {
    Syntax<files::DirAttribute, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::SetDirAttribute, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// fCompare/fCompare
// signature chosen here: true when both files have the same content
inline constexpr KLSyntax kfCompare[] = {
    Syntax<files::Compare, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fExtraitChemin/fExtractPath
inline constexpr KLSyntax kfExtractPath[] = {
    Syntax<files::ExtractPath, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fRépertoireTemp/fTempPath
inline constexpr KLSyntax kfTempPath[] = {
    Syntax<files::TempPath, KL_T_TEXT>()};

// fFichierTemp/fTempFile
inline constexpr KLSyntax kfTempFile[] = {
    Syntax<[](ExecContext* c) { return files::TempFile(c, {}, {}); }, KL_T_TEXT>(),
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::TempFile(c, p, {}); }, KL_T_TEXT, KL_T_TEXT_CELL>(),
    Syntax<files::TempFile, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// fAttribut/fAttribute
// signature chosen here: (name) reads the attribute letters, (name, letters) sets them
inline constexpr KLSyntax kfAttribute[] = {
    Syntax<files::Attribute, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::SetAttribute, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// fOuvre/fOpen
inline constexpr KLSyntax kfOpen[] = {
    Syntax<files::Open, KL_T_INT, KL_T_TEXT_DIRECT | KL_T_FLAG_8000, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::Open(c, n, files::foReadWrite); }, KL_T_INT,
           KL_T_TEXT_DIRECT | KL_T_FLAG_8000>()};

// fFerme/fClose
inline constexpr KLSyntax kfClose[] = {
    Syntax<files::Close, KL_T_INT, KL_T_INT>()};

// fLitLigne/fReadLine
// the pattern form takes any number of variables; the descriptor can only declare the first
inline constexpr KLSyntax kfReadLine[] = {
    Syntax<files::ReadLine, KL_T_TEXT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t h, std::u16string_view pattern, VariantArg v) {
      return files::ReadLineInto(c, h, pattern, std::span<const VariantArg>(&v, 1));
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_VARIANT>()};

// fEcritLigne/fWriteLine
inline constexpr KLSyntax kfWriteLine[] = {
    Syntax<files::WriteLine, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, int32_t h, int32_t a, int32_t n) {
      return files::WriteLineFromAddress(c, h, filesyn::Address(a), n);
    }, KL_T_BOOL, KL_T_INT, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t h, int32_t a, int32_t n) {
      return files::WriteLineFromAddress(c, h, filesyn::Address(a), n);
    }, KL_T_BOOL, KL_T_INT, KL_T_INT, KL_T_INT>()};

// fPositionne/fSeek
inline constexpr KLSyntax kfSeek[] = {
    Syntax<files::Seek, KL_T_INT64, KL_T_INT, KL_T_INT64, KL_T_INT>()};

// fCrée/fCreate
inline constexpr KLSyntax kfCreate[] = {
    Syntax<files::Create, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::Create(c, n, 0); }, KL_T_INT,
           KL_T_TEXT_DIRECT>()};

// fCopieFichier/fCopyFile
inline constexpr KLSyntax kfCopyFile[] = {
    Syntax<[](ExecContext* c, std::u16string_view a, std::u16string_view b) { return files::CopyFile(c, a, b, 0); },
           KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>(),
    Syntax<files::CopyFile, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fRenomme/fRename
inline constexpr KLSyntax kfRename[] = {
    Syntax<files::Rename, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fSupprime/fDelete
inline constexpr KLSyntax kfDelete[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::Delete(c, n, 0); }, KL_T_BOOL, KL_T_TEXT_DIRECT>(),
    Syntax<files::Delete, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fSélecteur/fSelect
// signature chosen here: (directory, file, title[, filter[, default extension[, options]]])
inline constexpr KLSyntax kfSelect[] = {
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view, std::u16string_view) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view, std::u16string_view, std::u16string_view) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL,
           KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view, std::u16string_view, std::u16string_view, std::u16string_view) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL,
           KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view, std::u16string_view, std::u16string_view, std::u16string_view, int32_t) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT,
           KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>()};

// fRepCrée/fMakeDir
inline constexpr KLSyntax kfMakeDir[] = {
    Syntax<files::MakeDir, KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// fRepSupprime/fRemoveDir
inline constexpr KLSyntax kfRemoveDir[] = {
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::RemoveDir(c, p, 0); }, KL_T_BOOL, KL_T_TEXT_DIRECT>(),
    Syntax<files::RemoveDir, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fDate/fDate
// signature chosen here: the setting form answers whether the date was set
inline constexpr KLSyntax kfDate[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::FileDate(c, n, files::fModification); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::FileDate, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Syntax<files::SetFileDate, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>()};

// fHeure/fTime
// signature chosen here: the setting form answers whether the time was set
inline constexpr KLSyntax kfTime[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::FileTime(c, n, files::fModification); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::FileTime, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Syntax<files::SetFileTime, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>()};

// fRepSélecteur/fSelectDir
// signature chosen here: ([start directory[, title[, options]]])
inline constexpr KLSyntax kfSelectDir[] = {
    Syntax<[](ExecContext* c) { return files::Picker(c); }, KL_T_TEXT>(),
    Syntax<[](ExecContext* c, std::u16string_view) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view, std::u16string_view, int32_t) { return files::Picker(c); }, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>()};

// fLit/fRead
// the buffer comes back in a variant
inline constexpr KLSyntax kfRead[] = {
    Syntax<files::Read, KL_T_VARIANT, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t h, int32_t n, int32_t a) {
      return files::ReadToAddress(c, h, n, filesyn::Address(a));
    }, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};

// fEcrit/fWrite
inline constexpr KLSyntax kfWrite[] = {
    Syntax<[](ExecContext* c, int32_t h, std::span<const uint8_t> v) { return files::Write(c, h, v, -1); },
           KL_T_INT, KL_T_INT, KL_T_BUFFER>(),
    Syntax<files::Write, KL_T_INT, KL_T_INT, KL_T_BUFFER, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t h, int32_t a, int32_t n) {
      return files::WriteFromAddress(c, h, filesyn::Address(a), n);
    }, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};

// fTaille/fSize
inline constexpr KLSyntax kfSize[] = {
    Syntax<files::FileSize, KL_T_INT64, KL_T_TEXT_DIRECT>(),
    Syntax<files::SizeOfHandle, KL_T_INT64, KL_T_INT>()};

// fRep/fDir
inline constexpr KLSyntax kfDir[] = {
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::DirChecked(c, p, files::frFile); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::DirChecked, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fListeFichier/fListFile
inline constexpr KLSyntax kfListFile[] = {
    Syntax<[](ExecContext* c, std::u16string_view p, std::u16string_view f) { return files::ListFilesWith(c, p, f, 0, 0); }, KL_T_INT, KL_T_TEXT_DIRECT,
           KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view p, std::u16string_view f, int32_t u) { return files::ListFilesWith(c, p, f, u, 0); }, KL_T_INT,
           KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<files::ListFilesWith, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::ListFiles(c, p, 0); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::ListFiles, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fRepCrée_55/fMakeDir_55
inline constexpr KLSyntax kfMakeDir_55[] = {
    Syntax<files::MakeDir55, KL_T_INT, KL_T_TEXT_DIRECT>()};

// fChargeTexte/fLoadText
inline constexpr KLSyntax kfLoadText[] = {
    Syntax<files::LoadText, KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// fSauveTexte/fSaveText
inline constexpr KLSyntax kfSaveText[] = {
    Syntax<files::SaveTextArg, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_VARIANT>()};

// fFichierExiste/fFileExist
inline constexpr KLSyntax kfFileExist[] = {
    Syntax<files::FileExists, KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// fRépertoireExiste/fDirectoryExist
inline constexpr KLSyntax kfDirectoryExist[] = {
    Syntax<files::DirectoryExists, KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// fDéplaceFichier/fMoveFile
inline constexpr KLSyntax kfMoveFile[] = {
    Syntax<files::Rename, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fListeRépertoire/fListDirectory
inline constexpr KLSyntax kfListDirectory[] = {
    Syntax<[](ExecContext* c, std::u16string_view p, std::u16string_view f) { return files::ListDirectoriesWith(c, p, f, 0, 0); }, KL_T_INT, KL_T_TEXT_DIRECT,
           KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view p, std::u16string_view f, int32_t u) { return files::ListDirectoriesWith(c, p, f, u, 0); }, KL_T_INT,
           KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<files::ListDirectoriesWith, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::ListDirectories(c, p, 0); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::ListDirectories, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fAttributLectureSeule/fAttributeReadOnly
// signature chosen here: (name[, read-only])
inline constexpr KLSyntax kfAttributeReadOnly[] = {
    Syntax<files::ReadOnlyAttribute, KL_T_BOOL, KL_T_TEXT_DIRECT>(),
    Syntax<files::SetReadOnlyAttribute, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_BOOL>()};

// fChangeTaille/fChangeSize
inline constexpr KLSyntax kfChangeSize[] = {
    Syntax<files::ChangeSize, KL_T_BOOL, KL_T_INT, KL_T_INT64>()};

// fDateHeure/fDateTime
// signature chosen here: the setting form answers whether the date-time was set
inline constexpr KLSyntax kfDateTime[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::FileDateTime(c, n, files::fModification); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::FileDateTime, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Syntax<files::SetFileDateTime, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>()};

// fRepTaille/fDirSize
inline constexpr KLSyntax kfDirSize[] = {
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::DirSize(c, p, 0); }, KL_T_INT64, KL_T_TEXT_DIRECT>(),
    Syntax<files::DirSize, KL_T_INT64, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fOuvreFichierTemp/fOpenTempFile
inline constexpr KLSyntax kfOpenTempFile[] = {
    Syntax<[](ExecContext* c) { return files::OpenTempFile(c, 0, {}, {}); }, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t m) { return files::OpenTempFile(c, m, {}, {}); }, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t m, std::u16string_view p) { return files::OpenTempFile(c, m, p, {}); }, KL_T_INT, KL_T_INT,
           KL_T_TEXT_CELL>(),
    Syntax<files::OpenTempFile, KL_T_INT, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// fNomFichier/fNameOfFile
// signature chosen here: (handle) gives the name of the open file
inline constexpr KLSyntax kfNameOfFile[] = {
    Syntax<files::NameOfFile, KL_T_TEXT, KL_T_INT>()};

// fMemAttend/fMemWait
inline constexpr KLSyntax kfMemWait[] = {
    Syntax<[](ExecContext* c, int32_t h) { return files::MemWait(c, h, 0); }, KL_T_BOOL, KL_T_INT>(),
    Syntax<files::MemWait, KL_T_BOOL, KL_T_INT, KL_T_INT>()};

// fMemOuvre/fMemOpen
inline constexpr KLSyntax kfMemOpen[] = {
    Syntax<[](ExecContext* c, std::u16string_view n, int32_t s) {
      return files::MemOpen(c, n, s, files::kMemScopeLocal, files::foReadWrite, {});
    }, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view n, int32_t s, int32_t scope) {
      return files::MemOpen(c, n, s, scope, files::foReadWrite, {});
    }, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view n, int32_t s, int32_t scope, int32_t m) {
      return files::MemOpen(c, n, s, scope, m, {});
    }, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT, KL_T_INT>(),
    Syntax<files::MemOpen, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_TEXT_CELL>()};

// fMemExiste/fMemExist
inline constexpr KLSyntax kfMemExist[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return files::MemExist(c, n, files::kMemScopeLocal); },
           KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<files::MemExist, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// fRepParent/fParentDir
inline constexpr KLSyntax kfParentDir[] = {
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::ParentDir(c, p, 0); }, KL_T_TEXT, KL_T_TEXT_DIRECT>(),
    Syntax<files::ParentDir, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// fSéparateur/fSeparator
// signature chosen here: the third form takes the separator itself
inline constexpr KLSyntax kfSeparator[] = {
    Syntax<[](ExecContext* c, std::u16string_view p) { return files::Separator(c, p, files::fSeparatorPlatform); }, KL_T_TEXT,
           KL_T_TEXT_DIRECT>(),
    Syntax<files::Separator, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Syntax<files::SeparatorText, KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// fSep/fSep
inline constexpr KLSyntax kfSep[] = {
    Syntax<files::Sep, KL_T_TEXT>()};

}  // namespace kp::syn
