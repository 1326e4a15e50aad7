// kp160std — syntaxes of the zip archive functions (_zip..._old), in table
// order of their rows.
//
// An archive is named by a text of the program's choosing; the file comes
// with _zipCrée/_zipOuvre. Entries are given by name (a text) or by index (an
// integer, 1 for the first). The syntaxes with options or a procedure of
// _zipExtraitFichier and _zipExtraitTout are declared without an
// implementation. libzip has no Windows build in Debian, so the Windows DLL
// declares every syntax here without one (ZipSyntax).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "archive/archive.h"
#include "component/frame.h"

namespace kp::syn {

#ifdef _WIN32
template <auto Impl, uint32_t R, uint32_t... P>
constexpr KLSyntax ZipSyntax() {
  return Unavailable<R, P...>();
}
#else
template <auto Impl, uint32_t R, uint32_t... P>
constexpr KLSyntax ZipSyntax() {
  return Syntax<Impl, R, P...>();
}
#endif

namespace zipsyn {
using V = std::u16string_view;
using C = ExecContext*;
}  // namespace zipsyn

// _zipCrée_old/_zipCreate_old: (archive, file[, part size]); with a part size
// the archive is kept as standard parts of that size.
inline constexpr KLSyntax k_zipCreate_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V f) { return archive::Create(c, a, f, 0); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<archive::Create, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT>()};

// _zipOuvre_old/_zipOpen_old: (archive, file[, password])
inline constexpr KLSyntax k_zipOpen_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V f) { return archive::Open(c, a, f, {}); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<archive::Open, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// _zipFerme_old/_zipClose_old: (archive)
inline constexpr KLSyntax k_zipClose_old[] = {ZipSyntax<archive::Close, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipAjouteFichier_old/_zipAddFile_old: (archive, file[, path mode[, path in archive]])
inline constexpr KLSyntax k_zipAddFile_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V f) { return archive::AddFile(c, a, f, archive::kPathWhole, {}); },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V f, int32_t m) { return archive::AddFile(c, a, f, m, {}); },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT>(),
    ZipSyntax<archive::AddFile, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipAjouteRépertoire_old/_zipAddDirectory_old: (archive, directory[, recursive[, path mode[, path in archive]]]);
// recursive unless told otherwise.
inline constexpr KLSyntax k_zipAddDirectory_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V d) {
      return archive::AddDirectory(c, a, d, true, archive::kPathWhole, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V d, bool r) {
      return archive::AddDirectory(c, a, d, r, archive::kPathWhole, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_BOOL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V d, bool r, int32_t m) {
      return archive::AddDirectory(c, a, d, r, m, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_BOOL, KL_T_INT>(),
    ZipSyntax<archive::AddDirectory, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_BOOL, KL_T_INT,
              KL_T_TEXT_CELL>()};

// _zipExtraitFichier_old/_zipExtractFile_old (6 unavailable): by name, then
// by index: (archive, file[, destination[, options[, procedure[, user value]]]])
inline constexpr KLSyntax k_zipExtractFile_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V n) { return archive::ExtractFile(c, a, n, {}); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::ExtractFile, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t i) { return archive::ExtractFileAt(c, a, i, {}); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<archive::ExtractFileAt, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>()};

// _zipExtraitTout_old/_zipExtractAll_old (3 unavailable): (archive[, destination[, options[, procedure[, user value]]]])
inline constexpr KLSyntax k_zipExtractAll_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a) { return archive::ExtractAll(c, a, {}); }, KL_T_INT, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::ExtractAll, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>()};

// _zipSupprimeFichier_old/_zipDeleteFile_old: (archive, name or index)
inline constexpr KLSyntax k_zipDeleteFile_old[] = {
    ZipSyntax<archive::DeleteFile, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::DeleteFileAt, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>()};

// _zipSupprimeTout_old/_zipDeleteAll_old: (archive)
inline constexpr KLSyntax k_zipDeleteAll_old[] = {ZipSyntax<archive::DeleteAll, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipDécoupe_old/_zipSplit_old: (archive, part size[, destination directory[, part name[, first part size[,
// procedure[, user value]]]]]); the procedure gets (part file, part number, user value) after each part.
inline constexpr KLSyntax k_zipSplit_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s) { return archive::Split(c, a, s, {}, {}, 0, {}, 0); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s, zipsyn::V d) { return archive::Split(c, a, s, d, {}, 0, {}, 0); },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s, zipsyn::V d, zipsyn::V n) {
      return archive::Split(c, a, s, d, n, 0, {}, 0);
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s, zipsyn::V d, zipsyn::V n, int32_t f) {
      return archive::Split(c, a, s, d, n, f, {}, 0);
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s, zipsyn::V d, zipsyn::V n, int32_t f, zipsyn::V p) {
      return archive::Split(c, a, s, d, n, f, p, 0);
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::Split, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_INT>()};

// _zipRegroupe_old/_zipMerge_old: (archive[, destination file])
inline constexpr KLSyntax k_zipMerge_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a) { return archive::Merge(c, a, {}); }, KL_T_INT, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::Merge, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// _zipNbPartie_old/_zipNbPart_old: (archive)
inline constexpr KLSyntax k_zipNbPart_old[] = {ZipSyntax<archive::PartCount, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipNbPartieNécessaire_old/_zipNbPartNeeded_old: (archive, part size[, first part size])
inline constexpr KLSyntax k_zipNbPartNeeded_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t s) { return archive::PartsNeeded(c, a, s, 0); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<archive::PartsNeeded, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};

// _zipNbFichier_old/_zipNbFile_old: (archive)
inline constexpr KLSyntax k_zipNbFile_old[] = {ZipSyntax<archive::FileCount, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipInfoFichier_old/_zipInfoFile_old: (archive, name or index)
inline constexpr KLSyntax k_zipInfoFile_old[] = {
    ZipSyntax<archive::InfoFile, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::InfoFileAt, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

// _zipListeFichier_old/_zipListFile_old: (archive)
inline constexpr KLSyntax k_zipListFile_old[] = {ZipSyntax<archive::ListFiles, KL_T_TEXT, KL_T_TEXT_CELL>()};

// _zipChercheFichier_old/_zipFindFile_old: (archive, name or pattern[, start index[, case sensitive]])
inline constexpr KLSyntax k_zipFindFile_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V n) { return archive::FindFile(c, a, n, 1, false); }, KL_T_INT,
              KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V n, int32_t s) { return archive::FindFile(c, a, n, s, false); },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<archive::FindFile, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_BOOL>()};

// _zipExtraitChemin_old/_zipExtractPath_old: (archive, name or index)
inline constexpr KLSyntax k_zipExtractPath_old[] = {
    ZipSyntax<archive::ExtractPath, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::ExtractPathAt, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

// _zipTailleFichier_old/_zipFileSize_old: (archive, name or index[, compressed size])
inline constexpr KLSyntax k_zipFileSize_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V n) { return archive::FileSize(c, a, n, false); }, KL_T_INT64,
              KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, int32_t i) { return archive::FileSizeAt(c, a, i, false); }, KL_T_INT64,
              KL_T_TEXT_CELL, KL_T_INT>(),
    ZipSyntax<archive::FileSize, KL_T_INT64, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_BOOL>(),
    ZipSyntax<archive::FileSizeAt, KL_T_INT64, KL_T_TEXT_CELL, KL_T_INT, KL_T_BOOL>()};

// _zipTaille_old/_zipSize_old: (archive[, compressed size])
inline constexpr KLSyntax k_zipSize_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a) { return archive::Size(c, a, false); }, KL_T_INT64, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::Size, KL_T_INT64, KL_T_TEXT_CELL, KL_T_BOOL>()};

// _zipEstMulti_old/_zipIsMulti_old: (archive)
inline constexpr KLSyntax k_zipIsMulti_old[] = {ZipSyntax<archive::IsMulti, KL_T_BOOL, KL_T_TEXT_CELL>()};

// _zipMsgErreur_old/_zipMsgError_old: (error number)
inline constexpr KLSyntax k_zipMsgError_old[] = {ZipSyntax<archive::MessageError, KL_T_TEXT, KL_T_INT>()};

// _zipFichierEnCours_old/_zipCurrentFile_old: (archive)
inline constexpr KLSyntax k_zipCurrentFile_old[] = {ZipSyntax<archive::CurrentFile, KL_T_TEXT, KL_T_TEXT_CELL>()};

// _zipChangeChemin_old/_zipChangePath_old: (archive, name or index, new name or directory)
inline constexpr KLSyntax k_zipChangePath_old[] = {
    ZipSyntax<archive::ChangePath, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<archive::ChangePathAt, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>()};

// _zipCréeExe_old/_zipCreateExe_old: (archive, executable[, title[, message[, default directory[, command]]]])
inline constexpr KLSyntax k_zipCreateExe_old[] = {
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V e) { return archive::CreateExe(c, a, e, {}, {}, {}, {}); },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V e, zipsyn::V t) {
      return archive::CreateExe(c, a, e, t, {}, {}, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V e, zipsyn::V t, zipsyn::V m) {
      return archive::CreateExe(c, a, e, t, m, {}, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    ZipSyntax<[](zipsyn::C c, zipsyn::V a, zipsyn::V e, zipsyn::V t, zipsyn::V m, zipsyn::V d) {
      return archive::CreateExe(c, a, e, t, m, d, {});
    },
              KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    ZipSyntax<archive::CreateExe, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL,
              KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// _zipAjouteListeFichier_old/_zipAddFileList_old: (archive, files one a line)
inline constexpr KLSyntax k_zipAddFileList_old[] = {
    ZipSyntax<archive::AddFileList, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// _zipSupprimeListeFichier_old/_zipDeleteFileList_old: (archive, names one a line)
inline constexpr KLSyntax k_zipDeleteFileList_old[] = {
    ZipSyntax<archive::DeleteFileList, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

}  // namespace kp::syn
