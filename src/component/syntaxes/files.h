// kp160std — syntaxes of the files functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

  // fRepAttribut/fDirAttribute
inline constexpr KLSyntax kfDirAttribute[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fCompare/fCompare
inline constexpr KLSyntax kfCompare[] = {
    Unavailable<KL_T_NONE>()};
  // fExtraitChemin/fExtractPath
inline constexpr KLSyntax kfExtractPath[] = {
    Unavailable<KL_T_NONE>()};
  // _zipCrée_old/_zipCreate_old
inline constexpr KLSyntax k_zipCreate_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipOuvre_old/_zipOpen_old
inline constexpr KLSyntax k_zipOpen_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipFerme_old/_zipClose_old
inline constexpr KLSyntax k_zipClose_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipAjouteFichier_old/_zipAddFile_old
inline constexpr KLSyntax k_zipAddFile_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipAjouteRépertoire_old/_zipAddDirectory_old
inline constexpr KLSyntax k_zipAddDirectory_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipExtraitFichier_old/_zipExtractFile_old —, 6 unavailable
inline constexpr KLSyntax k_zipExtractFile_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipExtraitTout_old/_zipExtractAll_old —, 3 unavailable
inline constexpr KLSyntax k_zipExtractAll_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipSupprimeFichier_old/_zipDeleteFile_old
inline constexpr KLSyntax k_zipDeleteFile_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipSupprimeTout_old/_zipDeleteAll_old
inline constexpr KLSyntax k_zipDeleteAll_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipDécoupe_old/_zipSplit_old
inline constexpr KLSyntax k_zipSplit_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipRegroupe_old/_zipMerge_old
inline constexpr KLSyntax k_zipMerge_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipNbPartie_old/_zipNbPart_old
inline constexpr KLSyntax k_zipNbPart_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipNbPartieNécessaire_old/_zipNbPartNeeded_old
inline constexpr KLSyntax k_zipNbPartNeeded_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipNbFichier_old/_zipNbFile_old
inline constexpr KLSyntax k_zipNbFile_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipInfoFichier_old/_zipInfoFile_old
inline constexpr KLSyntax k_zipInfoFile_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipListeFichier_old/_zipListFile_old
inline constexpr KLSyntax k_zipListFile_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipChercheFichier_old/_zipFindFile_old
inline constexpr KLSyntax k_zipFindFile_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipExtraitChemin_old/_zipExtractPath_old
inline constexpr KLSyntax k_zipExtractPath_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipTailleFichier_old/_zipFileSize_old
inline constexpr KLSyntax k_zipFileSize_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipTaille_old/_zipSize_old
inline constexpr KLSyntax k_zipSize_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipEstMulti_old/_zipIsMulti_old
inline constexpr KLSyntax k_zipIsMulti_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipMsgErreur_old/_zipMsgError_old
inline constexpr KLSyntax k_zipMsgError_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipFichierEnCours_old/_zipCurrentFile_old
inline constexpr KLSyntax k_zipCurrentFile_old[] = {
    Unavailable<KL_T_NONE>()};
  // fRépertoireTemp/fTempPath
inline constexpr KLSyntax kfTempPath[] = {
    Unavailable<KL_T_NONE>()};
  // fFichierTemp/fTempFile
inline constexpr KLSyntax kfTempFile[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipChangeChemin_old/_zipChangePath_old
inline constexpr KLSyntax k_zipChangePath_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fAttribut/fAttribute
inline constexpr KLSyntax kfAttribute[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fOuvre/fOpen
inline constexpr KLSyntax kfOpen[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fFerme/fClose
inline constexpr KLSyntax kfClose[] = {
    Unavailable<KL_T_NONE>()};
  // fLitLigne/fReadLine
inline constexpr KLSyntax kfReadLine[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fEcritLigne/fWriteLine
inline constexpr KLSyntax kfWriteLine[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fPositionne/fSeek
inline constexpr KLSyntax kfSeek[] = {
    Unavailable<KL_T_NONE>()};
  // fCrée/fCreate
inline constexpr KLSyntax kfCreate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fCopieFichier/fCopyFile
inline constexpr KLSyntax kfCopyFile[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRenomme/fRename
inline constexpr KLSyntax kfRename[] = {
    Unavailable<KL_T_NONE>()};
  // fSupprime/fDelete
inline constexpr KLSyntax kfDelete[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fSélecteur/fSelect
inline constexpr KLSyntax kfSelect[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRepCrée/fMakeDir
inline constexpr KLSyntax kfMakeDir[] = {
    Unavailable<KL_T_NONE>()};
  // fRepSupprime/fRemoveDir
inline constexpr KLSyntax kfRemoveDir[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fDate/fDate
inline constexpr KLSyntax kfDate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fHeure/fTime
inline constexpr KLSyntax kfTime[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRepSélecteur/fSelectDir
inline constexpr KLSyntax kfSelectDir[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fLit/fRead
inline constexpr KLSyntax kfRead[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fFiltreImage/fGraphicFilter
inline constexpr KLSyntax kfGraphicFilter[] = {
    Unavailable<KL_T_NONE>()};
  // fEcrit/fWrite
inline constexpr KLSyntax kfWrite[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fTaille/fSize
inline constexpr KLSyntax kfSize[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRep/fDir
inline constexpr KLSyntax kfDir[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fListeFichier/fListFile
inline constexpr KLSyntax kfListFile[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fCrypte/fCrypt
inline constexpr KLSyntax kfCrypt[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fDécrypte/fUncrypt
inline constexpr KLSyntax kfUncrypt[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // _zipCréeExe_old/_zipCreateExe_old
inline constexpr KLSyntax k_zipCreateExe_old[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRepCrée_55/fMakeDir_55
inline constexpr KLSyntax kfMakeDir_55[] = {
    Unavailable<KL_T_NONE>()};
  // fChargeTexte/fLoadText
inline constexpr KLSyntax kfLoadText[] = {
    Unavailable<KL_T_NONE>()};
  // fSauveTexte/fSaveText
inline constexpr KLSyntax kfSaveText[] = {
    Unavailable<KL_T_NONE>()};
  // fFichierExiste/fFileExist
inline constexpr KLSyntax kfFileExist[] = {
    Unavailable<KL_T_NONE>()};
  // _zipAjouteListeFichier_old/_zipAddFileList_old
inline constexpr KLSyntax k_zipAddFileList_old[] = {
    Unavailable<KL_T_NONE>()};
  // _zipSupprimeListeFichier_old/_zipDeleteFileList_old
inline constexpr KLSyntax k_zipDeleteFileList_old[] = {
    Unavailable<KL_T_NONE>()};
  // fRépertoireExiste/fDirectoryExist
inline constexpr KLSyntax kfDirectoryExist[] = {
    Unavailable<KL_T_NONE>()};
  // fDéplaceFichier/fMoveFile
inline constexpr KLSyntax kfMoveFile[] = {
    Unavailable<KL_T_NONE>()};
  // fListeRépertoire/fListDirectory
inline constexpr KLSyntax kfListDirectory[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fAttributLectureSeule/fAttributeReadOnly
inline constexpr KLSyntax kfAttributeReadOnly[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fChangeTaille/fChangeSize
inline constexpr KLSyntax kfChangeSize[] = {
    Unavailable<KL_T_NONE>()};
  // fDateHeure/fDateTime
inline constexpr KLSyntax kfDateTime[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRepTaille/fDirSize
inline constexpr KLSyntax kfDirSize[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fOuvreFichierTemp/fOpenTempFile
inline constexpr KLSyntax kfOpenTempFile[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fNomFichier/fNameOfFile
inline constexpr KLSyntax kfNameOfFile[] = {
    Unavailable<KL_T_NONE>()};
  // fMemAttend/fMemWait
inline constexpr KLSyntax kfMemWait[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fMemOuvre/fMemOpen
inline constexpr KLSyntax kfMemOpen[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fMemExiste/fMemExist
inline constexpr KLSyntax kfMemExist[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fRepParent/fParentDir
inline constexpr KLSyntax kfParentDir[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fSéparateur/fSeparator
inline constexpr KLSyntax kfSeparator[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // fSep/fSep
inline constexpr KLSyntax kfSep[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
