// kp160std — syntaxes of the unavailable functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

// MemSupprime/MemDelete
inline constexpr KLSyntax kMemDelete[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// MemPositionne/MemSetPosition
inline constexpr KLSyntax kMemSetPosition[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// MemModifie/MemModify
inline constexpr KLSyntax kMemModify[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_VARIANT>()};

// MemAjoute/MemAdd
inline constexpr KLSyntax kMemAdd[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_VARIANT>()};

// MemRécupère/MemRetrieve
inline constexpr KLSyntax kMemRetrieve[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT>()};

// MemRecherche/MemSeek
inline constexpr KLSyntax kMemSeek[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_VARIANT>()};

// MemPremier/MemFirst
inline constexpr KLSyntax kMemFirst[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>()};

// MemSuivant/MemNext
inline constexpr KLSyntax kMemNext[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>()};

// MemDernier/MemLast
inline constexpr KLSyntax kMemLast[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>()};

// MemPrécédent/MemPrevious
inline constexpr KLSyntax kMemPrevious[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL>()};

// MemOccurrence/MemCount
inline constexpr KLSyntax kMemCount[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MemTrouvé/MemFound
inline constexpr KLSyntax kMemFound[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MemEnDehors/MemOut
inline constexpr KLSyntax kMemOut[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MemEnCours/MemCurrent
inline constexpr KLSyntax kMemCurrent[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MemSupprimeTout/MemDeleteAll
inline constexpr KLSyntax kMemDeleteAll[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MemTri/MemSort_55
inline constexpr KLSyntax kMemSort_55[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// MemCrée/MemCreate
inline constexpr KLSyntax kMemCreate[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MemExiste/MemExist
inline constexpr KLSyntax kMemExist[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MemValClé/MemKeyVal
inline constexpr KLSyntax kMemKeyVal[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_CELL, KL_T_INT>()};

// CurseurPos/CursorPos
inline constexpr KLSyntax kCursorPos[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// SysDonneFocus/SysSetFocus
inline constexpr KLSyntax kSysSetFocus[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// SysIconisé/SysIconize
inline constexpr KLSyntax kSysIconize[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// SelectCouleur/SelectColor
inline constexpr KLSyntax kSelectColor[] = {
    Unavailable<KL_T_INT, KL_T_INT, KL_T_INT>()};

// RéseauDéconnecte/NetworkDisconnect
inline constexpr KLSyntax kNetworkDisconnect[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// RéseauNomRep/NetworkDirName
inline constexpr KLSyntax kNetworkDirName[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// SysModeErreur/SysErrorMode
inline constexpr KLSyntax kSysErrorMode[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// MCIInit/MCIStart
inline constexpr KLSyntax kMCIStart[] = {
    Unavailable<KL_T_BOOL>()};

// MCITermine/MCIStop
inline constexpr KLSyntax kMCIStop[] = {
    Unavailable<KL_T_BOOL>()};

// MCIExécute/MCIExecute
inline constexpr KLSyntax kMCIExecute[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIMsgErr/MCIMsgErr
inline constexpr KLSyntax kMCIMsgErr[] = {
    Unavailable<KL_T_TEXT>()};

// MCIRécupère/MCIRetrieve
inline constexpr KLSyntax kMCIRetrieve[] = {
    Unavailable<KL_T_TEXT>()};

// MCIVolume/MCIVolume
inline constexpr KLSyntax kMCIVolume[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>()};

// SysRécupèreMenu/SysGetMenu
inline constexpr KLSyntax kSysGetMenu[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// SysRécupèreSousMenu/SysGetSubMenu
inline constexpr KLSyntax kSysGetSubMenu[] = {
    Unavailable<KL_T_INT, KL_T_INT, KL_T_INT>()};

// MCIErr/MCIErr
inline constexpr KLSyntax kMCIErr[] = {
    Unavailable<KL_T_INT>()};

// ExplorerAccepte/ExplorerAccept
inline constexpr KLSyntax kExplorerAccept[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_BOOL>()};

// ExplorerRécupère/ExplorerRetrieve
inline constexpr KLSyntax kExplorerRetrieve[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// CurseurCapture/CursorCapture
inline constexpr KLSyntax kCursorCapture[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_BOOL>()};

// PoliceListe/FontList
inline constexpr KLSyntax kFontList[] = {
    Unavailable<KL_T_TEXT>()};

// RéseauUtilisateur/NetworkUser
inline constexpr KLSyntax kNetworkUser[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// fCompacte/fCompress
inline constexpr KLSyntax kfCompress[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fDécompacte/fUncompress
inline constexpr KLSyntax kfUncompress[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fTailleDécompacté/fSizeUncompressed
inline constexpr KLSyntax kfSizeUncompressed[] = {
    Unavailable<KL_T_INT64, KL_T_TEXT_DIRECT>()};

// SysRécupèreDC/SysGetDC
inline constexpr KLSyntax kSysGetDC[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// SysLibèreDC/SysReleaseDC
inline constexpr KLSyntax kSysReleaseDC[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT>()};

// fTailleCompacté/fSizeCompressed
inline constexpr KLSyntax kfSizeCompressed[] = {
    Unavailable<KL_T_INT64, KL_T_TEXT_DIRECT>()};

// fStopCompacte/fStopCompress
inline constexpr KLSyntax kfStopCompress[] = {
    Unavailable<KL_T_BOOL>()};

// _xlsOuvre_old/_xlsOpen_old
inline constexpr KLSyntax k_xlsOpen_old[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_DIRECT>()};

// _xlsFerme_old/_xlsClose_old
inline constexpr KLSyntax k_xlsClose_old[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// _xlsVersion_old/_xlsVersion_old
inline constexpr KLSyntax k_xlsVersion_old[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// _xlsNbColonnes_old/_xlsNbColumns_old
inline constexpr KLSyntax k_xlsNbColumns_old[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// _xlsNbLignes_old/_xlsNbRows_old
inline constexpr KLSyntax k_xlsNbRows_old[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// _xlsTypeColonne_old/_xlsColumnType_old
inline constexpr KLSyntax k_xlsColumnType_old[] = {
    Unavailable<KL_T_INT, KL_T_INT, KL_T_INT>()};

// _xlsTitreColonne_old/_xlsColumnTitle_old
inline constexpr KLSyntax k_xlsColumnTitle_old[] = {
    Unavailable<KL_T_TEXT, KL_T_INT, KL_T_INT>()};

// _xlsDonnée_old/_xlsData_old
inline constexpr KLSyntax k_xlsData_old[] = {
    Unavailable<KL_T_TEXT, KL_T_INT, KL_T_INT, KL_T_INT>()};

// _xlsMsgErreur_old/_xlsMsgError_old
inline constexpr KLSyntax k_xlsMsgError_old[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// fCheminCourt/fShortPath
inline constexpr KLSyntax kfShortPath[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// fDisqueInfo/fDriveInfo
inline constexpr KLSyntax kfDriveInfo[] = {
    Unavailable<KL_T_VARIANT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// DDEConnecte/DDEConnect
inline constexpr KLSyntax kDDEConnect[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// DDERécupère/DDERetrieve
inline constexpr KLSyntax kDDERetrieve[] = {
    Unavailable<KL_T_TEXT, KL_T_INT, KL_T_TEXT_CELL>()};

// DDEErreur/DDEError
inline constexpr KLSyntax kDDEError[] = {
    Unavailable<KL_T_INT>()};

// DDEDéconnecte/DDEDisconnect
inline constexpr KLSyntax kDDEDisconnect[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// DDEExécute/DDEExecute
inline constexpr KLSyntax kDDEExecute[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>()};

// DDEEnvoie/DDESend
inline constexpr KLSyntax kDDESend[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// DDESujet/DDETopic
inline constexpr KLSyntax kDDETopic[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// DDEDestinataire/DDERecipient
inline constexpr KLSyntax kDDERecipient[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// DDEChaîne/DDEString
inline constexpr KLSyntax kDDEString[] = {
    Unavailable<KL_T_TEXT>()};

// DDEItem/DDEItem
inline constexpr KLSyntax kDDEItem[] = {
    Unavailable<KL_T_TEXT>()};

// DDELien/DDELink
inline constexpr KLSyntax kDDELink[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>()};

// DDEFinLien/DDEUnLink
inline constexpr KLSyntax kDDEUnLink[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>()};

// DDELienTiède/DDEWarmLink
inline constexpr KLSyntax kDDEWarmLink[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>()};

// SysEnvironnement/SysEnvironment
inline constexpr KLSyntax kSysEnvironment[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// fBloque/fLock
inline constexpr KLSyntax kfLock[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT64>(),
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT64, KL_T_INT64>()};

// fDébloque/fUnlock
inline constexpr KLSyntax kfUnlock[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>(),
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT64>(),
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT64, KL_T_INT64>()};

// fDisqueEnCours/fCurrentDrive
inline constexpr KLSyntax kfCurrentDrive[] = {
    Unavailable<KL_T_TEXT>()};

// fDisquePrêt/fDriveReady
inline constexpr KLSyntax kfDriveReady[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// fNomCourt/fShortName
inline constexpr KLSyntax kfShortName[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// fNomLong/fLongName
inline constexpr KLSyntax kfLongName[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// fRepEnCours/fCurrentDir
inline constexpr KLSyntax kfCurrentDir[] = {
    Unavailable<KL_T_TEXT>()};

// fSélecteurImage/fImageSelect
inline constexpr KLSyntax kfImageSelect[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// fRepCopie/fCopyDir
inline constexpr KLSyntax kfCopyDir[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// fRepDéplace/fMoveDir
inline constexpr KLSyntax kfMoveDir[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// DDEEvénement/DDEEvent
inline constexpr KLSyntax kDDEEvent[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>()};

// _TableVersExcel_old/_TableToExcel_old
inline constexpr KLSyntax k_TableToExcel_old[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// TableVersWord/TableToWord
inline constexpr KLSyntax kTableToWord[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// fCheminLong/fLongPath
inline constexpr KLSyntax kfLongPath[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// CurseurEnCours/CursorInUse
inline constexpr KLSyntax kCursorInUse[] = {
    Unavailable<KL_T_INT>()};

// CurseurCharge/CursorLoad
inline constexpr KLSyntax kCursorLoad[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_DIRECT>()};

// CurseurModifie/CursorModify
inline constexpr KLSyntax kCursorModify[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// CurseurDécharge/CursorUnload
inline constexpr KLSyntax kCursorUnload[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// DDEModifie/DDEUpdate
inline constexpr KLSyntax kDDEUpdate[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// CurseurAffiche/CursorDisplay
inline constexpr KLSyntax kCursorDisplay[] = {
    Unavailable<KL_T_BOOL, KL_T_BOOL>()};

// _xlsNbColonne_old/_xlsNbColumn_old
inline constexpr KLSyntax k_xlsNbColumn_old[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// _xlsNbLigne_old/_xlsNbRow_old
inline constexpr KLSyntax k_xlsNbRow_old[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// MemTrie/MemSort
inline constexpr KLSyntax kMemSort[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// fRepDroit/fDirAttrib
inline constexpr KLSyntax kfDirAttrib[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_DIRECT>()};

// TableVersXML/TableToXML
inline constexpr KLSyntax kTableToXML[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// MCIOuvre/MCIOpen
inline constexpr KLSyntax kMCIOpen[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// MCIFerme/MCIClose
inline constexpr KLSyntax kMCIClose[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIJoue/MCIPlay
inline constexpr KLSyntax kMCIPlay[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIDébut/MCIBeginning
inline constexpr KLSyntax kMCIBeginning[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIFin/MCIEnd
inline constexpr KLSyntax kMCIEnd[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIPosition/MCIPosition
inline constexpr KLSyntax kMCIPosition[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// MCIPause/MCIPause
inline constexpr KLSyntax kMCIPause[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIArrêt/MCIStopPlaying
inline constexpr KLSyntax kMCIStopPlaying[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// MCIFormatPosition/MCIPositionFormat
inline constexpr KLSyntax kMCIPositionFormat[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// MCITaille/MCISize
inline constexpr KLSyntax kMCISize[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// MCITailleFenêtre/MCIWindowSize
inline constexpr KLSyntax kMCIWindowSize[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// MCIEtat/MCIStatus
inline constexpr KLSyntax kMCIStatus[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MCILargeur/MCIWidth
inline constexpr KLSyntax kMCIWidth[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MCIHauteur/MCIHeight
inline constexpr KLSyntax kMCIHeight[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MCIPiste/MCITrack
inline constexpr KLSyntax kMCITrack[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// MCINombrePiste/MCITrackCount
inline constexpr KLSyntax kMCITrackCount[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// TwainVersBMP/TwainToBMP
inline constexpr KLSyntax kTwainToBMP[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// TwainVersChamp/TwainToControl
inline constexpr KLSyntax kTwainToControl[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// TwainVersPressePapier/TwainToClipboard
inline constexpr KLSyntax kTwainToClipboard[] = {
    Unavailable<KL_T_BOOL>()};

// TwainSelectSource/TwainSelectSource
inline constexpr KLSyntax kTwainSelectSource[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// TwainVersJPEG/TwainToJPEG
inline constexpr KLSyntax kTwainToJPEG[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// TwainVersGIF/TwainToGIF
inline constexpr KLSyntax kTwainToGIF[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// TwainListeSource/TwainListSource
inline constexpr KLSyntax kTwainListSource[] = {
    Unavailable<KL_T_TEXT>()};

// TwainSourceEnCours/TwainCurrentSource
inline constexpr KLSyntax kTwainCurrentSource[] = {
    Unavailable<KL_T_TEXT>()};

// TwainZoneScan/TwainScanZone
inline constexpr KLSyntax kTwainScanZone[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};

// TwainLargeurSource/TwainSourceWidth
inline constexpr KLSyntax kTwainSourceWidth[] = {
    Unavailable<KL_T_INT>()};

// TwainHauteurSource/TwainSourceHeight
inline constexpr KLSyntax kTwainSourceHeight[] = {
    Unavailable<KL_T_INT>()};

// TwainEtat/TwainState
inline constexpr KLSyntax kTwainState[] = {
    Unavailable<KL_T_INT>()};

// ExePriorité/ExePriority
inline constexpr KLSyntax kExePriority[] = {
    Unavailable<KL_T_INT, KL_T_INT>()};

// fDétecteStockageAmovible/fDetectRemovableStorage
inline constexpr KLSyntax kfDetectRemovableStorage[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// USBListePériphérique/USBListDevice
inline constexpr KLSyntax kUSBListDevice[] = {
    Unavailable<KL_T_TEXT>()};

// USBDéconnecte/USBDisconnect
inline constexpr KLSyntax kUSBDisconnect[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// USBPropriété/USBProperty
inline constexpr KLSyntax kUSBProperty[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

// USBRecherche/USBFind
inline constexpr KLSyntax kUSBFind[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// PlanificateurAjouteTâche/SchedulerAddTask
inline constexpr KLSyntax kSchedulerAddTask[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// PlanificateurAjouteHoraire/SchedulerAddTrigger
inline constexpr KLSyntax kSchedulerAddTrigger[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// PlanificateurEtatTâche/SchedulerTaskStatus
inline constexpr KLSyntax kSchedulerTaskStatus[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// PlanificateurListeTâche/SchedulerTaskList
inline constexpr KLSyntax kSchedulerTaskList[] = {
    Unavailable<KL_T_TEXT>()};

// PlanificateurModifieTâche/SchedulerModifyTask
inline constexpr KLSyntax kSchedulerModifyTask[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// PlanificateurPropriétésHoraire/SchedulerTriggerProperties
inline constexpr KLSyntax kSchedulerTriggerProperties[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

// PlanificateurPropriétésTâche/SchedulerTaskProperties
inline constexpr KLSyntax kSchedulerTaskProperties[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// PlanificateurRAZ/SchedulerReset
inline constexpr KLSyntax kSchedulerReset[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// PlanificateurSupprimeHoraire/SchedulerDeleteTrigger
inline constexpr KLSyntax kSchedulerDeleteTrigger[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// PlanificateurSupprimeTâche/SchedulerDeleteTask
inline constexpr KLSyntax kSchedulerDeleteTask[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// PlanificateurOuvrePropriétésTâche/SchedulerOpenTaskProperties
inline constexpr KLSyntax kSchedulerOpenTaskProperties[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// PlanificateurModifieHoraire/SchedulerModifyTrigger
inline constexpr KLSyntax kSchedulerModifyTrigger[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// USBDétecteStockageAmovible/USBDetectRemovableStorage
inline constexpr KLSyntax kUSBDetectRemovableStorage[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ZoneRépétéeVersWord/LooperToWord
inline constexpr KLSyntax kLooperToWord[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// ZoneRépétéeVersXML/LooperToXML
inline constexpr KLSyntax kLooperToXML[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// MCIDébut/MCIBegining
inline constexpr KLSyntax kMCIBegining[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// SysListeCarteGraphique/SysListVideoCard
inline constexpr KLSyntax kSysListVideoCard[] = {
    Unavailable<KL_T_TEXT>()};

// SysListeEcran/SysListScreen
inline constexpr KLSyntax kSysListScreen[] = {
    Unavailable<KL_T_TEXT>()};

// SysNomEcranPrincipal/SysNameMainScreen
inline constexpr KLSyntax kSysNameMainScreen[] = {
    Unavailable<KL_T_TEXT>()};

// SysListeRésolutionEcran/SysListScreenResolution
inline constexpr KLSyntax kSysListScreenResolution[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// SysRésolutionEcran/SysScreenResolution
inline constexpr KLSyntax kSysScreenResolution[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// SysChangeRésolutionEcran/SysChangeScreenResolution
inline constexpr KLSyntax kSysChangeScreenResolution[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// ServiceDésinstalle/ServiceUninstall
inline constexpr KLSyntax kServiceUninstall[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceInstalle/ServiceInstall
inline constexpr KLSyntax kServiceInstall[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceModifie/ServiceModify
inline constexpr KLSyntax kServiceModify[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceAttendEtat/ServiceWaitStatus
inline constexpr KLSyntax kServiceWaitStatus[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};

// ServiceEtat/ServiceStatus
inline constexpr KLSyntax kServiceStatus[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// ServiceInfo/ServiceInfo
inline constexpr KLSyntax kServiceInfo[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// ServiceListe/ServiceList
inline constexpr KLSyntax kServiceList[] = {
    Unavailable<KL_T_TEXT>()};

// ServiceRelance/ServiceContinue
inline constexpr KLSyntax kServiceContinue[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceActualise/ServiceRefresh
inline constexpr KLSyntax kServiceRefresh[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceContrôle/ServiceControl
inline constexpr KLSyntax kServiceControl[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// ServicePause/ServicePause
inline constexpr KLSyntax kServicePause[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceDémarre/ServiceStart
inline constexpr KLSyntax kServiceStart[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceArrête/ServiceStop
inline constexpr KLSyntax kServiceStop[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceRedémarre/ServiceRestart
inline constexpr KLSyntax kServiceRestart[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// CorbeilleListeFichier/RecycleBinListFile
inline constexpr KLSyntax kRecycleBinListFile[] = {
    Unavailable<KL_T_TEXT>()};

// CorbeilleVide/RecycleBinClear
inline constexpr KLSyntax kRecycleBinClear[] = {
    Unavailable<KL_T_BOOL>()};

// CorbeilleSupprime/RecycleBinDelete
inline constexpr KLSyntax kRecycleBinDelete[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// CorbeilleRestaure/RecycleBinRestore
inline constexpr KLSyntax kRecycleBinRestore[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// VersPressePapierRTF/ToClipboardRTF
inline constexpr KLSyntax kToClipboardRTF[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// PressePapierRTF/ClipboardRTF
inline constexpr KLSyntax kClipboardRTF[] = {
    Unavailable<KL_T_TEXT>()};

// SysChangeEnvironnement/SysChangeEnvironment
inline constexpr KLSyntax kSysChangeEnvironment[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>()};

// LanceAppliDistante/ExeRemoteRun
inline constexpr KLSyntax kExeRemoteRun[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// AppliListeVersion/AppliListVersion
inline constexpr KLSyntax kAppliListVersion[] = {
    Unavailable<KL_T_TEXT>()};

// AppliInfoVersion/AppliVersionInfo
inline constexpr KLSyntax kAppliVersionInfo[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};

// AppliActiveVersion/AppliActivateVersion
inline constexpr KLSyntax kAppliActivateVersion[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// AppliSupprimeVersion/AppliDeleteVersion
inline constexpr KLSyntax kAppliDeleteVersion[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// RéseauNomDomaine/NetworkDomainName
inline constexpr KLSyntax kNetworkDomainName[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// SysDocRécentAjoute/SysRecentDocAdd
inline constexpr KLSyntax kSysRecentDocAdd[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// SysDocRécentListe/SysRecentDocList
inline constexpr KLSyntax kSysRecentDocList[] = {
    Unavailable<KL_T_TEXT>()};

// SysMiniatureAjouteBouton/SysThumbnailAddButton
inline constexpr KLSyntax kSysThumbnailAddButton[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// SysMiniatureSupprimeBouton/SysThumbnailDeleteButton
inline constexpr KLSyntax kSysThumbnailDeleteButton[] = {
    Unavailable<KL_T_BOOL, KL_T_INT>()};

// SysMiniatureSupprimeTout/SysThumbnailDeleteAll
inline constexpr KLSyntax kSysThumbnailDeleteAll[] = {
    Unavailable<KL_T_BOOL>()};

// SysIconeAjouteImage/SysIconAddImage
inline constexpr KLSyntax kSysIconAddImage[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// SysIconeSupprimeImage/SysIconDeleteImage
inline constexpr KLSyntax kSysIconDeleteImage[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// fCréeLien/fCreateLink
inline constexpr KLSyntax kfCreateLink[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_INT>()};

// AppliInstalleVersion/AppliInstallVersion
inline constexpr KLSyntax kAppliInstallVersion[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// ServiceExiste/ServiceExist
inline constexpr KLSyntax kServiceExist[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// SysMiniatureModifieBouton/SysThumbnailModifyButton
inline constexpr KLSyntax kSysThumbnailModifyButton[] = {
    Unavailable<KL_T_BOOL, KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>()};

// CertificatListe/CertificateList
inline constexpr KLSyntax kCertificateList[] = {
    Unavailable<KL_T_TEXT>()};

// CertificatSélecteur/CertificateSelect
inline constexpr KLSyntax kCertificateSelect[] = {
    Unavailable<KL_T_TEXT>()};

// CertificatSigneChaîne/CertificateSignString
inline constexpr KLSyntax kCertificateSignString[] = {
    Unavailable<KL_T_BUFFER, KL_T_BUFFER, KL_T_TEXT_CELL>()};

// CertificatSigneFichier/CertificateSignFile
inline constexpr KLSyntax kCertificateSignFile[] = {
    Unavailable<KL_T_BUFFER, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// CertificatVérifieChaîne/CertificateCheckString
inline constexpr KLSyntax kCertificateCheckString[] = {
    Unavailable<KL_T_INT, KL_T_BUFFER, KL_T_BUFFER>()};

// CertificatVérifieFichierSignatureBuffer/CertificateCheckFileSignatureBuffer
inline constexpr KLSyntax kCertificateCheckFileSignatureBuffer[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_DIRECT, KL_T_BUFFER>()};

// CertificatOuvrePropriétés/CertificateOpenProperties
inline constexpr KLSyntax kCertificateOpenProperties[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// CertificatVérifieDuplicata/CertificateCheckDuplicate
inline constexpr KLSyntax kCertificateCheckDuplicate[] = {
    Unavailable<KL_T_INT, KL_T_BUFFER>()};

// CertificatExtrait/CertificateExtract
inline constexpr KLSyntax kCertificateExtract[] = {
    Unavailable<KL_T_BUFFER, KL_T_BUFFER>()};

// AnnéeEnCours/CurrentYear
inline constexpr KLSyntax kCurrentYear[] = {
    Unavailable<KL_T_INT>()};

// MoisEnCours/CurrentMonth
inline constexpr KLSyntax kCurrentMonth[] = {
    Unavailable<KL_T_INT>()};

// DateHeureSys/SysDateTime
inline constexpr KLSyntax kSysDateTime[] = {
    Unavailable<KL_T_TEXT>()};

// DernierJourDuMois/LastDayOfMonth
inline constexpr KLSyntax kLastDayOfMonth[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// PremierJourDuMois/FirstDayOfMonth
inline constexpr KLSyntax kFirstDayOfMonth[] = {
    Unavailable<KL_T_TEXT, KL_T_TEXT_CELL>()};

// fChargeBuffer/fLoadBuffer
inline constexpr KLSyntax kfLoadBuffer[] = {
    Unavailable<KL_T_BUFFER, KL_T_TEXT_DIRECT>()};

// fSauveBuffer/fSaveBuffer
inline constexpr KLSyntax kfSaveBuffer[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_BUFFER>()};

// HTMLVersRVB/HTMLToRGB
inline constexpr KLSyntax kHTMLToRGB[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// RVBVersHTML/RGBToHTML
inline constexpr KLSyntax kRGBToHTML[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// SysRectangleEcran/SysScreenRectangle
inline constexpr KLSyntax kSysScreenRectangle[] = {
    Unavailable<KL_T_TEXT>()};

// HexaVersEntier/HexaToInt
inline constexpr KLSyntax kHexaToInt[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_CELL>()};

// EntierVersHexa/IntToHexa
inline constexpr KLSyntax kIntToHexa[] = {
    Unavailable<KL_T_TEXT, KL_T_INT>()};

// fEstUneImage/fIsImage
inline constexpr KLSyntax kfIsImage[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_DIRECT>()};

// CertificatVérifieFichierSignatureFichier/CertificateCheckFileSignatureFile
inline constexpr KLSyntax kCertificateCheckFileSignatureFile[] = {
    Unavailable<KL_T_INT, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>()};

// RegistreRenomme/RegistryRename
inline constexpr KLSyntax kRegistryRename[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// RegistreCopieClé/RegistryCopyKey
inline constexpr KLSyntax kRegistryCopyKey[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// SysDocRécentListe/SystRecentDocList
inline constexpr KLSyntax kSystRecentDocList[] = {
    Unavailable<KL_T_TEXT>()};

}  // namespace kp::syn
