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
    Unavailable<KL_T_NONE>()};
  // MemPositionne/MemSetPosition
inline constexpr KLSyntax kMemSetPosition[] = {
    Unavailable<KL_T_NONE>()};
  // MemModifie/MemModify
inline constexpr KLSyntax kMemModify[] = {
    Unavailable<KL_T_NONE>()};
  // MemAjoute/MemAdd
inline constexpr KLSyntax kMemAdd[] = {
    Unavailable<KL_T_NONE>()};
  // MemRécupère/MemRetrieve
inline constexpr KLSyntax kMemRetrieve[] = {
    Unavailable<KL_T_NONE>()};
  // MemRecherche/MemSeek
inline constexpr KLSyntax kMemSeek[] = {
    Unavailable<KL_T_NONE>()};
  // MemPremier/MemFirst
inline constexpr KLSyntax kMemFirst[] = {
    Unavailable<KL_T_NONE>()};
  // MemSuivant/MemNext
inline constexpr KLSyntax kMemNext[] = {
    Unavailable<KL_T_NONE>()};
  // MemDernier/MemLast
inline constexpr KLSyntax kMemLast[] = {
    Unavailable<KL_T_NONE>()};
  // MemPrécédent/MemPrevious
inline constexpr KLSyntax kMemPrevious[] = {
    Unavailable<KL_T_NONE>()};
  // MemOccurrence/MemCount
inline constexpr KLSyntax kMemCount[] = {
    Unavailable<KL_T_NONE>()};
  // MemTrouvé/MemFound
inline constexpr KLSyntax kMemFound[] = {
    Unavailable<KL_T_NONE>()};
  // MemEnDehors/MemOut
inline constexpr KLSyntax kMemOut[] = {
    Unavailable<KL_T_NONE>()};
  // MemEnCours/MemCurrent
inline constexpr KLSyntax kMemCurrent[] = {
    Unavailable<KL_T_NONE>()};
  // MemSupprimeTout/MemDeleteAll
inline constexpr KLSyntax kMemDeleteAll[] = {
    Unavailable<KL_T_NONE>()};
  // MemTri/MemSort_55
inline constexpr KLSyntax kMemSort_55[] = {
    Unavailable<KL_T_NONE>()};
  // MemCrée/MemCreate
inline constexpr KLSyntax kMemCreate[] = {
    Unavailable<KL_T_NONE>()};
  // MemExiste/MemExist
inline constexpr KLSyntax kMemExist[] = {
    Unavailable<KL_T_NONE>()};
  // MemValClé/MemKeyVal
inline constexpr KLSyntax kMemKeyVal[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurPos/CursorPos
inline constexpr KLSyntax kCursorPos[] = {
    Unavailable<KL_T_NONE>()};
  // SysDonneFocus/SysSetFocus
inline constexpr KLSyntax kSysSetFocus[] = {
    Unavailable<KL_T_NONE>()};
  // SysIconisé/SysIconize
inline constexpr KLSyntax kSysIconize[] = {
    Unavailable<KL_T_NONE>()};
  // SelectCouleur/SelectColor
inline constexpr KLSyntax kSelectColor[] = {
    Unavailable<KL_T_NONE>()};
  // RéseauDéconnecte/NetworkDisconnect
inline constexpr KLSyntax kNetworkDisconnect[] = {
    Unavailable<KL_T_NONE>()};
  // RéseauNomRep/NetworkDirName
inline constexpr KLSyntax kNetworkDirName[] = {
    Unavailable<KL_T_NONE>()};
  // SysModeErreur/SysErrorMode
inline constexpr KLSyntax kSysErrorMode[] = {
    Unavailable<KL_T_NONE>()};
  // MCIInit/MCIStart
inline constexpr KLSyntax kMCIStart[] = {
    Unavailable<KL_T_NONE>()};
  // MCITermine/MCIStop
inline constexpr KLSyntax kMCIStop[] = {
    Unavailable<KL_T_NONE>()};
  // MCIExécute/MCIExecute
inline constexpr KLSyntax kMCIExecute[] = {
    Unavailable<KL_T_NONE>()};
  // MCIMsgErr/MCIMsgErr
inline constexpr KLSyntax kMCIMsgErr[] = {
    Unavailable<KL_T_NONE>()};
  // MCIRécupère/MCIRetrieve
inline constexpr KLSyntax kMCIRetrieve[] = {
    Unavailable<KL_T_NONE>()};
  // MCIVolume/MCIVolume
inline constexpr KLSyntax kMCIVolume[] = {
    Unavailable<KL_T_NONE>()};
  // SysRécupèreMenu/SysGetMenu
inline constexpr KLSyntax kSysGetMenu[] = {
    Unavailable<KL_T_NONE>()};
  // SysRécupèreSousMenu/SysGetSubMenu
inline constexpr KLSyntax kSysGetSubMenu[] = {
    Unavailable<KL_T_NONE>()};
  // MCIErr/MCIErr
inline constexpr KLSyntax kMCIErr[] = {
    Unavailable<KL_T_NONE>()};
  // ExplorerAccepte/ExplorerAccept
inline constexpr KLSyntax kExplorerAccept[] = {
    Unavailable<KL_T_NONE>()};
  // ExplorerRécupère/ExplorerRetrieve
inline constexpr KLSyntax kExplorerRetrieve[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurCapture/CursorCapture
inline constexpr KLSyntax kCursorCapture[] = {
    Unavailable<KL_T_NONE>()};
  // PoliceListe/FontList
inline constexpr KLSyntax kFontList[] = {
    Unavailable<KL_T_NONE>()};
  // RéseauUtilisateur/NetworkUser
inline constexpr KLSyntax kNetworkUser[] = {
    Unavailable<KL_T_NONE>()};
  // fCompacte/fCompress
inline constexpr KLSyntax kfCompress[] = {
    Unavailable<KL_T_NONE>()};
  // fDécompacte/fUncompress
inline constexpr KLSyntax kfUncompress[] = {
    Unavailable<KL_T_NONE>()};
  // fTailleDécompacté/fSizeUncompressed
inline constexpr KLSyntax kfSizeUncompressed[] = {
    Unavailable<KL_T_NONE>()};
  // SysRécupèreDC/SysGetDC
inline constexpr KLSyntax kSysGetDC[] = {
    Unavailable<KL_T_NONE>()};
  // SysLibèreDC/SysReleaseDC
inline constexpr KLSyntax kSysReleaseDC[] = {
    Unavailable<KL_T_NONE>()};
  // fTailleCompacté/fSizeCompressed
inline constexpr KLSyntax kfSizeCompressed[] = {
    Unavailable<KL_T_NONE>()};
  // fStopCompacte/fStopCompress
inline constexpr KLSyntax kfStopCompress[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsOuvre_old/_xlsOpen_old
inline constexpr KLSyntax k_xlsOpen_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsFerme_old/_xlsClose_old
inline constexpr KLSyntax k_xlsClose_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsVersion_old/_xlsVersion_old
inline constexpr KLSyntax k_xlsVersion_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsNbColonnes_old/_xlsNbColumns_old
inline constexpr KLSyntax k_xlsNbColumns_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsNbLignes_old/_xlsNbRows_old
inline constexpr KLSyntax k_xlsNbRows_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsTypeColonne_old/_xlsColumnType_old
inline constexpr KLSyntax k_xlsColumnType_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsTitreColonne_old/_xlsColumnTitle_old
inline constexpr KLSyntax k_xlsColumnTitle_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsDonnée_old/_xlsData_old
inline constexpr KLSyntax k_xlsData_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsMsgErreur_old/_xlsMsgError_old
inline constexpr KLSyntax k_xlsMsgError_old[] = {
    Unavailable<KL_T_NONE>()};
  // fCheminCourt/fShortPath
inline constexpr KLSyntax kfShortPath[] = {
    Unavailable<KL_T_NONE>()};
  // fDisqueInfo/fDriveInfo
inline constexpr KLSyntax kfDriveInfo[] = {
    Unavailable<KL_T_NONE>()};
  // DDEConnecte/DDEConnect
inline constexpr KLSyntax kDDEConnect[] = {
    Unavailable<KL_T_NONE>()};
  // DDERécupère/DDERetrieve
inline constexpr KLSyntax kDDERetrieve[] = {
    Unavailable<KL_T_NONE>()};
  // DDEErreur/DDEError
inline constexpr KLSyntax kDDEError[] = {
    Unavailable<KL_T_NONE>()};
  // DDEDéconnecte/DDEDisconnect
inline constexpr KLSyntax kDDEDisconnect[] = {
    Unavailable<KL_T_NONE>()};
  // DDEExécute/DDEExecute
inline constexpr KLSyntax kDDEExecute[] = {
    Unavailable<KL_T_NONE>()};
  // DDEEnvoie/DDESend
inline constexpr KLSyntax kDDESend[] = {
    Unavailable<KL_T_NONE>()};
  // DDESujet/DDETopic
inline constexpr KLSyntax kDDETopic[] = {
    Unavailable<KL_T_NONE>()};
  // DDEDestinataire/DDERecipient
inline constexpr KLSyntax kDDERecipient[] = {
    Unavailable<KL_T_NONE>()};
  // DDEChaîne/DDEString
inline constexpr KLSyntax kDDEString[] = {
    Unavailable<KL_T_NONE>()};
  // DDEItem/DDEItem
inline constexpr KLSyntax kDDEItem[] = {
    Unavailable<KL_T_NONE>()};
  // DDELien/DDELink
inline constexpr KLSyntax kDDELink[] = {
    Unavailable<KL_T_NONE>()};
  // DDEFinLien/DDEUnLink
inline constexpr KLSyntax kDDEUnLink[] = {
    Unavailable<KL_T_NONE>()};
  // DDELienTiède/DDEWarmLink
inline constexpr KLSyntax kDDEWarmLink[] = {
    Unavailable<KL_T_NONE>()};
  // SysEnvironnement/SysEnvironment
inline constexpr KLSyntax kSysEnvironment[] = {
    Unavailable<KL_T_NONE>()};
  // fBloque/fLock
inline constexpr KLSyntax kfLock[] = {
    Unavailable<KL_T_NONE>()};
  // fDébloque/fUnlock
inline constexpr KLSyntax kfUnlock[] = {
    Unavailable<KL_T_NONE>()};
  // fDisqueEnCours/fCurrentDrive
inline constexpr KLSyntax kfCurrentDrive[] = {
    Unavailable<KL_T_NONE>()};
  // fDisquePrêt/fDriveReady
inline constexpr KLSyntax kfDriveReady[] = {
    Unavailable<KL_T_NONE>()};
  // fNomCourt/fShortName
inline constexpr KLSyntax kfShortName[] = {
    Unavailable<KL_T_NONE>()};
  // fNomLong/fLongName
inline constexpr KLSyntax kfLongName[] = {
    Unavailable<KL_T_NONE>()};
  // fRepEnCours/fCurrentDir
inline constexpr KLSyntax kfCurrentDir[] = {
    Unavailable<KL_T_NONE>()};
  // fSélecteurImage/fImageSelect
inline constexpr KLSyntax kfImageSelect[] = {
    Unavailable<KL_T_NONE>()};
  // fRepCopie/fCopyDir
inline constexpr KLSyntax kfCopyDir[] = {
    Unavailable<KL_T_NONE>()};
  // fRepDéplace/fMoveDir
inline constexpr KLSyntax kfMoveDir[] = {
    Unavailable<KL_T_NONE>()};
  // DDEEvénement/DDEEvent
inline constexpr KLSyntax kDDEEvent[] = {
    Unavailable<KL_T_NONE>()};
  // _TableVersExcel_old/_TableToExcel_old
inline constexpr KLSyntax k_TableToExcel_old[] = {
    Unavailable<KL_T_NONE>()};
  // TableVersWord/TableToWord
inline constexpr KLSyntax kTableToWord[] = {
    Unavailable<KL_T_NONE>()};
  // fCheminLong/fLongPath
inline constexpr KLSyntax kfLongPath[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurEnCours/CursorInUse
inline constexpr KLSyntax kCursorInUse[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurCharge/CursorLoad
inline constexpr KLSyntax kCursorLoad[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurModifie/CursorModify
inline constexpr KLSyntax kCursorModify[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurDécharge/CursorUnload
inline constexpr KLSyntax kCursorUnload[] = {
    Unavailable<KL_T_NONE>()};
  // DDEModifie/DDEUpdate
inline constexpr KLSyntax kDDEUpdate[] = {
    Unavailable<KL_T_NONE>()};
  // CurseurAffiche/CursorDisplay
inline constexpr KLSyntax kCursorDisplay[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsNbColonne_old/_xlsNbColumn_old
inline constexpr KLSyntax k_xlsNbColumn_old[] = {
    Unavailable<KL_T_NONE>()};
  // _xlsNbLigne_old/_xlsNbRow_old
inline constexpr KLSyntax k_xlsNbRow_old[] = {
    Unavailable<KL_T_NONE>()};
  // MemTrie/MemSort
inline constexpr KLSyntax kMemSort[] = {
    Unavailable<KL_T_NONE>()};
  // fRepDroit/fDirAttrib
inline constexpr KLSyntax kfDirAttrib[] = {
    Unavailable<KL_T_NONE>()};
  // TableVersXML/TableToXML
inline constexpr KLSyntax kTableToXML[] = {
    Unavailable<KL_T_NONE>()};
  // MCIOuvre/MCIOpen
inline constexpr KLSyntax kMCIOpen[] = {
    Unavailable<KL_T_NONE>()};
  // MCIFerme/MCIClose
inline constexpr KLSyntax kMCIClose[] = {
    Unavailable<KL_T_NONE>()};
  // MCIJoue/MCIPlay
inline constexpr KLSyntax kMCIPlay[] = {
    Unavailable<KL_T_NONE>()};
  // MCIDébut/MCIBeginning
inline constexpr KLSyntax kMCIBeginning[] = {
    Unavailable<KL_T_NONE>()};
  // MCIFin/MCIEnd
inline constexpr KLSyntax kMCIEnd[] = {
    Unavailable<KL_T_NONE>()};
  // MCIPosition/MCIPosition
inline constexpr KLSyntax kMCIPosition[] = {
    Unavailable<KL_T_NONE>()};
  // MCIPause/MCIPause
inline constexpr KLSyntax kMCIPause[] = {
    Unavailable<KL_T_NONE>()};
  // MCIArrêt/MCIStopPlaying
inline constexpr KLSyntax kMCIStopPlaying[] = {
    Unavailable<KL_T_NONE>()};
  // MCIFormatPosition/MCIPositionFormat
inline constexpr KLSyntax kMCIPositionFormat[] = {
    Unavailable<KL_T_NONE>()};
  // MCITaille/MCISize
inline constexpr KLSyntax kMCISize[] = {
    Unavailable<KL_T_NONE>()};
  // MCITailleFenêtre/MCIWindowSize
inline constexpr KLSyntax kMCIWindowSize[] = {
    Unavailable<KL_T_NONE>()};
  // MCIEtat/MCIStatus
inline constexpr KLSyntax kMCIStatus[] = {
    Unavailable<KL_T_NONE>()};
  // MCILargeur/MCIWidth
inline constexpr KLSyntax kMCIWidth[] = {
    Unavailable<KL_T_NONE>()};
  // MCIHauteur/MCIHeight
inline constexpr KLSyntax kMCIHeight[] = {
    Unavailable<KL_T_NONE>()};
  // MCIPiste/MCITrack
inline constexpr KLSyntax kMCITrack[] = {
    Unavailable<KL_T_NONE>()};
  // MCINombrePiste/MCITrackCount
inline constexpr KLSyntax kMCITrackCount[] = {
    Unavailable<KL_T_NONE>()};
  // TwainVersBMP/TwainToBMP
inline constexpr KLSyntax kTwainToBMP[] = {
    Unavailable<KL_T_NONE>()};
  // TwainVersChamp/TwainToControl
inline constexpr KLSyntax kTwainToControl[] = {
    Unavailable<KL_T_NONE>()};
  // TwainVersPressePapier/TwainToClipboard
inline constexpr KLSyntax kTwainToClipboard[] = {
    Unavailable<KL_T_NONE>()};
  // TwainSelectSource/TwainSelectSource
inline constexpr KLSyntax kTwainSelectSource[] = {
    Unavailable<KL_T_NONE>()};
  // TwainVersJPEG/TwainToJPEG
inline constexpr KLSyntax kTwainToJPEG[] = {
    Unavailable<KL_T_NONE>()};
  // TwainVersGIF/TwainToGIF
inline constexpr KLSyntax kTwainToGIF[] = {
    Unavailable<KL_T_NONE>()};
  // TwainListeSource/TwainListSource
inline constexpr KLSyntax kTwainListSource[] = {
    Unavailable<KL_T_NONE>()};
  // TwainSourceEnCours/TwainCurrentSource
inline constexpr KLSyntax kTwainCurrentSource[] = {
    Unavailable<KL_T_NONE>()};
  // TwainZoneScan/TwainScanZone
inline constexpr KLSyntax kTwainScanZone[] = {
    Unavailable<KL_T_NONE>()};
  // TwainLargeurSource/TwainSourceWidth
inline constexpr KLSyntax kTwainSourceWidth[] = {
    Unavailable<KL_T_NONE>()};
  // TwainHauteurSource/TwainSourceHeight
inline constexpr KLSyntax kTwainSourceHeight[] = {
    Unavailable<KL_T_NONE>()};
  // TwainEtat/TwainState
inline constexpr KLSyntax kTwainState[] = {
    Unavailable<KL_T_NONE>()};
  // ExePriorité/ExePriority
inline constexpr KLSyntax kExePriority[] = {
    Unavailable<KL_T_NONE>()};
  // fDétecteStockageAmovible/fDetectRemovableStorage
inline constexpr KLSyntax kfDetectRemovableStorage[] = {
    Unavailable<KL_T_NONE>()};
  // USBListePériphérique/USBListDevice
inline constexpr KLSyntax kUSBListDevice[] = {
    Unavailable<KL_T_NONE>()};
  // USBDéconnecte/USBDisconnect
inline constexpr KLSyntax kUSBDisconnect[] = {
    Unavailable<KL_T_NONE>()};
  // USBPropriété/USBProperty
inline constexpr KLSyntax kUSBProperty[] = {
    Unavailable<KL_T_NONE>()};
  // USBRecherche/USBFind
inline constexpr KLSyntax kUSBFind[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurAjouteTâche/SchedulerAddTask
inline constexpr KLSyntax kSchedulerAddTask[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurAjouteHoraire/SchedulerAddTrigger
inline constexpr KLSyntax kSchedulerAddTrigger[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurEtatTâche/SchedulerTaskStatus
inline constexpr KLSyntax kSchedulerTaskStatus[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurListeTâche/SchedulerTaskList
inline constexpr KLSyntax kSchedulerTaskList[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurModifieTâche/SchedulerModifyTask
inline constexpr KLSyntax kSchedulerModifyTask[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurPropriétésHoraire/SchedulerTriggerProperties
inline constexpr KLSyntax kSchedulerTriggerProperties[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurPropriétésTâche/SchedulerTaskProperties
inline constexpr KLSyntax kSchedulerTaskProperties[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurRAZ/SchedulerReset
inline constexpr KLSyntax kSchedulerReset[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurSupprimeHoraire/SchedulerDeleteTrigger
inline constexpr KLSyntax kSchedulerDeleteTrigger[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurSupprimeTâche/SchedulerDeleteTask
inline constexpr KLSyntax kSchedulerDeleteTask[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurOuvrePropriétésTâche/SchedulerOpenTaskProperties
inline constexpr KLSyntax kSchedulerOpenTaskProperties[] = {
    Unavailable<KL_T_NONE>()};
  // PlanificateurModifieHoraire/SchedulerModifyTrigger
inline constexpr KLSyntax kSchedulerModifyTrigger[] = {
    Unavailable<KL_T_NONE>()};
  // USBDétecteStockageAmovible/USBDetectRemovableStorage
inline constexpr KLSyntax kUSBDetectRemovableStorage[] = {
    Unavailable<KL_T_NONE>()};
  // ZoneRépétéeVersWord/LooperToWord
inline constexpr KLSyntax kLooperToWord[] = {
    Unavailable<KL_T_NONE>()};
  // ZoneRépétéeVersXML/LooperToXML
inline constexpr KLSyntax kLooperToXML[] = {
    Unavailable<KL_T_NONE>()};
  // MCIDébut/MCIBegining
inline constexpr KLSyntax kMCIBegining[] = {
    Unavailable<KL_T_NONE>()};
  // SysListeCarteGraphique/SysListVideoCard
inline constexpr KLSyntax kSysListVideoCard[] = {
    Unavailable<KL_T_NONE>()};
  // SysListeEcran/SysListScreen
inline constexpr KLSyntax kSysListScreen[] = {
    Unavailable<KL_T_NONE>()};
  // SysNomEcranPrincipal/SysNameMainScreen
inline constexpr KLSyntax kSysNameMainScreen[] = {
    Unavailable<KL_T_NONE>()};
  // SysListeRésolutionEcran/SysListScreenResolution
inline constexpr KLSyntax kSysListScreenResolution[] = {
    Unavailable<KL_T_NONE>()};
  // SysRésolutionEcran/SysScreenResolution
inline constexpr KLSyntax kSysScreenResolution[] = {
    Unavailable<KL_T_NONE>()};
  // SysChangeRésolutionEcran/SysChangeScreenResolution
inline constexpr KLSyntax kSysChangeScreenResolution[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceDésinstalle/ServiceUninstall
inline constexpr KLSyntax kServiceUninstall[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceInstalle/ServiceInstall
inline constexpr KLSyntax kServiceInstall[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceModifie/ServiceModify
inline constexpr KLSyntax kServiceModify[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceAttendEtat/ServiceWaitStatus
inline constexpr KLSyntax kServiceWaitStatus[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceEtat/ServiceStatus
inline constexpr KLSyntax kServiceStatus[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceInfo/ServiceInfo
inline constexpr KLSyntax kServiceInfo[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceListe/ServiceList
inline constexpr KLSyntax kServiceList[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceRelance/ServiceContinue
inline constexpr KLSyntax kServiceContinue[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceActualise/ServiceRefresh
inline constexpr KLSyntax kServiceRefresh[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceContrôle/ServiceControl
inline constexpr KLSyntax kServiceControl[] = {
    Unavailable<KL_T_NONE>()};
  // ServicePause/ServicePause
inline constexpr KLSyntax kServicePause[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceDémarre/ServiceStart
inline constexpr KLSyntax kServiceStart[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceArrête/ServiceStop
inline constexpr KLSyntax kServiceStop[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceRedémarre/ServiceRestart
inline constexpr KLSyntax kServiceRestart[] = {
    Unavailable<KL_T_NONE>()};
  // CorbeilleListeFichier/RecycleBinListFile
inline constexpr KLSyntax kRecycleBinListFile[] = {
    Unavailable<KL_T_NONE>()};
  // CorbeilleVide/RecycleBinClear
inline constexpr KLSyntax kRecycleBinClear[] = {
    Unavailable<KL_T_NONE>()};
  // CorbeilleSupprime/RecycleBinDelete
inline constexpr KLSyntax kRecycleBinDelete[] = {
    Unavailable<KL_T_NONE>()};
  // CorbeilleRestaure/RecycleBinRestore
inline constexpr KLSyntax kRecycleBinRestore[] = {
    Unavailable<KL_T_NONE>()};
  // VersPressePapierRTF/ToClipboardRTF
inline constexpr KLSyntax kToClipboardRTF[] = {
    Unavailable<KL_T_NONE>()};
  // PressePapierRTF/ClipboardRTF
inline constexpr KLSyntax kClipboardRTF[] = {
    Unavailable<KL_T_NONE>()};
  // SysChangeEnvironnement/SysChangeEnvironment
inline constexpr KLSyntax kSysChangeEnvironment[] = {
    Unavailable<KL_T_NONE>()};
  // LanceAppliDistante/ExeRemoteRun
inline constexpr KLSyntax kExeRemoteRun[] = {
    Unavailable<KL_T_NONE>()};
  // AppliListeVersion/AppliListVersion
inline constexpr KLSyntax kAppliListVersion[] = {
    Unavailable<KL_T_NONE>()};
  // AppliInfoVersion/AppliVersionInfo
inline constexpr KLSyntax kAppliVersionInfo[] = {
    Unavailable<KL_T_NONE>()};
  // AppliActiveVersion/AppliActivateVersion
inline constexpr KLSyntax kAppliActivateVersion[] = {
    Unavailable<KL_T_NONE>()};
  // AppliSupprimeVersion/AppliDeleteVersion
inline constexpr KLSyntax kAppliDeleteVersion[] = {
    Unavailable<KL_T_NONE>()};
  // RéseauNomDomaine/NetworkDomainName
inline constexpr KLSyntax kNetworkDomainName[] = {
    Unavailable<KL_T_NONE>()};
  // SysDocRécentAjoute/SysRecentDocAdd
inline constexpr KLSyntax kSysRecentDocAdd[] = {
    Unavailable<KL_T_NONE>()};
  // SysDocRécentListe/SysRecentDocList
inline constexpr KLSyntax kSysRecentDocList[] = {
    Unavailable<KL_T_NONE>()};
  // SysMiniatureAjouteBouton/SysThumbnailAddButton
inline constexpr KLSyntax kSysThumbnailAddButton[] = {
    Unavailable<KL_T_NONE>()};
  // SysMiniatureSupprimeBouton/SysThumbnailDeleteButton
inline constexpr KLSyntax kSysThumbnailDeleteButton[] = {
    Unavailable<KL_T_NONE>()};
  // SysMiniatureSupprimeTout/SysThumbnailDeleteAll
inline constexpr KLSyntax kSysThumbnailDeleteAll[] = {
    Unavailable<KL_T_NONE>()};
  // SysIconeAjouteImage/SysIconAddImage
inline constexpr KLSyntax kSysIconAddImage[] = {
    Unavailable<KL_T_NONE>()};
  // SysIconeSupprimeImage/SysIconDeleteImage
inline constexpr KLSyntax kSysIconDeleteImage[] = {
    Unavailable<KL_T_NONE>()};
  // fCréeLien/fCreateLink
inline constexpr KLSyntax kfCreateLink[] = {
    Unavailable<KL_T_NONE>()};
  // AppliInstalleVersion/AppliInstallVersion
inline constexpr KLSyntax kAppliInstallVersion[] = {
    Unavailable<KL_T_NONE>()};
  // ServiceExiste/ServiceExist
inline constexpr KLSyntax kServiceExist[] = {
    Unavailable<KL_T_NONE>()};
  // SysMiniatureModifieBouton/SysThumbnailModifyButton
inline constexpr KLSyntax kSysThumbnailModifyButton[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatListe/CertificateList
inline constexpr KLSyntax kCertificateList[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatSélecteur/CertificateSelect
inline constexpr KLSyntax kCertificateSelect[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatSigneChaîne/CertificateSignString
inline constexpr KLSyntax kCertificateSignString[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatSigneFichier/CertificateSignFile
inline constexpr KLSyntax kCertificateSignFile[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatVérifieChaîne/CertificateCheckString
inline constexpr KLSyntax kCertificateCheckString[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatVérifieFichierSignatureBuffer/CertificateCheckFileSignatureBuffer
inline constexpr KLSyntax kCertificateCheckFileSignatureBuffer[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatOuvrePropriétés/CertificateOpenProperties
inline constexpr KLSyntax kCertificateOpenProperties[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatVérifieDuplicata/CertificateCheckDuplicate
inline constexpr KLSyntax kCertificateCheckDuplicate[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatExtrait/CertificateExtract
inline constexpr KLSyntax kCertificateExtract[] = {
    Unavailable<KL_T_NONE>()};
  // AnnéeEnCours/CurrentYear
inline constexpr KLSyntax kCurrentYear[] = {
    Unavailable<KL_T_NONE>()};
  // MoisEnCours/CurrentMonth
inline constexpr KLSyntax kCurrentMonth[] = {
    Unavailable<KL_T_NONE>()};
  // DateHeureSys/SysDateTime
inline constexpr KLSyntax kSysDateTime[] = {
    Unavailable<KL_T_NONE>()};
  // DernierJourDuMois/LastDayOfMonth
inline constexpr KLSyntax kLastDayOfMonth[] = {
    Unavailable<KL_T_NONE>()};
  // PremierJourDuMois/FirstDayOfMonth
inline constexpr KLSyntax kFirstDayOfMonth[] = {
    Unavailable<KL_T_NONE>()};
  // fChargeBuffer/fLoadBuffer
inline constexpr KLSyntax kfLoadBuffer[] = {
    Unavailable<KL_T_NONE>()};
  // fSauveBuffer/fSaveBuffer
inline constexpr KLSyntax kfSaveBuffer[] = {
    Unavailable<KL_T_NONE>()};
  // HTMLVersRVB/HTMLToRGB
inline constexpr KLSyntax kHTMLToRGB[] = {
    Unavailable<KL_T_NONE>()};
  // RVBVersHTML/RGBToHTML
inline constexpr KLSyntax kRGBToHTML[] = {
    Unavailable<KL_T_NONE>()};
  // SysRectangleEcran/SysScreenRectangle
inline constexpr KLSyntax kSysScreenRectangle[] = {
    Unavailable<KL_T_NONE>()};
  // HexaVersEntier/HexaToInt
inline constexpr KLSyntax kHexaToInt[] = {
    Unavailable<KL_T_NONE>()};
  // EntierVersHexa/IntToHexa
inline constexpr KLSyntax kIntToHexa[] = {
    Unavailable<KL_T_NONE>()};
  // fEstUneImage/fIsImage
inline constexpr KLSyntax kfIsImage[] = {
    Unavailable<KL_T_NONE>()};
  // CertificatVérifieFichierSignatureFichier/CertificateCheckFileSignatureFile
inline constexpr KLSyntax kCertificateCheckFileSignatureFile[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreRenomme/RegistryRename
inline constexpr KLSyntax kRegistryRename[] = {
    Unavailable<KL_T_NONE>()};
  // RegistreCopieClé/RegistryCopyKey
inline constexpr KLSyntax kRegistryCopyKey[] = {
    Unavailable<KL_T_NONE>()};
  // SysDocRécentListe/SystRecentDocList
inline constexpr KLSyntax kSystRecentDocList[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
