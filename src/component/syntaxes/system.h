// kp160std — syntaxes of the system functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

  // VersPressePapier/ToClipboard
inline constexpr KLSyntax kToClipboard[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // PressePapier/Clipboard —, 1 unavailable
inline constexpr KLSyntax kClipboard[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ExeInfo/ExeInfo
inline constexpr KLSyntax kExeInfo[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysXRes/SysXRes
inline constexpr KLSyntax kSysXRes[] = {
    Unavailable<KL_T_NONE>()};
  // SysYRes/SysYRes
inline constexpr KLSyntax kSysYRes[] = {
    Unavailable<KL_T_NONE>()};
  // SysMétrique/SysMetric
inline constexpr KLSyntax kSysMetric[] = {
    Unavailable<KL_T_NONE>()};
  // SysCouleurRes/SysColorRes
inline constexpr KLSyntax kSysColorRes[] = {
    Unavailable<KL_T_NONE>()};
  // SysInstance/SysInstance
inline constexpr KLSyntax kSysInstance[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ExeLancé/ExeRunning
inline constexpr KLSyntax kExeRunning[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysFenTitre/SysWinTitle
inline constexpr KLSyntax kSysWinTitle[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysCouleur/SysColor —, 1 unavailable
inline constexpr KLSyntax kSysColor[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysRep/SysDir
inline constexpr KLSyntax kSysDir[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ExeTermine/ExeTerminate
inline constexpr KLSyntax kExeTerminate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ToucheEnfoncé/KeyPress
inline constexpr KLSyntax kKeyPress[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysFenHandle/SysWinHandle
inline constexpr KLSyntax kSysWinHandle[] = {
    Unavailable<KL_T_NONE>()};
  // SysFenActive/SysWinActive —, 1 unavailable
inline constexpr KLSyntax kSysWinActive[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysFenAffiche/SysWinShow
inline constexpr KLSyntax kSysWinShow[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysHandleValide/SysValidHandle
inline constexpr KLSyntax kSysValidHandle[] = {
    Unavailable<KL_T_NONE>()};
  // RéseauConnecte/NetworkConnect
inline constexpr KLSyntax kNetworkConnect[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // TexteLargeur/TextWidth
inline constexpr KLSyntax kTextWidth[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // TexteHauteur/TextHeight
inline constexpr KLSyntax kTextHeight[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysNomExe/SysNameExe
inline constexpr KLSyntax kSysNameExe[] = {
    Unavailable<KL_T_NONE>()};
  // SysEspace/SysSpace
inline constexpr KLSyntax kSysSpace[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // InstalleIcone/IconInstall
inline constexpr KLSyntax kIconInstall[] = {
    Unavailable<KL_T_NONE>()};
  // LanceAppliAssociée/ShellExecute
inline constexpr KLSyntax kShellExecute[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ZigouigouiARoulette/ZigouigouiARoulette
inline constexpr KLSyntax kZigouigouiARoulette[] = {
    Unavailable<KL_T_NONE>()};
  // CréeRaccourci/CreateShortCut
inline constexpr KLSyntax kCreateShortCut[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysVersionWindows/SysWindowsVersion
inline constexpr KLSyntax kSysWindowsVersion[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // EnvoieTouche/SendKey
inline constexpr KLSyntax kSendKey[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DDELance/DDEStart
inline constexpr KLSyntax kDDEStart[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // LanceAppli/ExeRun
inline constexpr KLSyntax kExeRun[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysIconeAjoute/SysIconAdd
inline constexpr KLSyntax kSysIconAdd[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysIconeModifie/SysIconModify
inline constexpr KLSyntax kSysIconModify[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysIconeSupprime/SysIconDelete
inline constexpr KLSyntax kSysIconDelete[] = {
    Unavailable<KL_T_NONE>()};
  // PressePapierHauteur/ClipboardHeight
inline constexpr KLSyntax kClipboardHeight[] = {
    Unavailable<KL_T_NONE>()};
  // PressePapierLargeur/ClipboardWidth
inline constexpr KLSyntax kClipboardWidth[] = {
    Unavailable<KL_T_NONE>()};
  // PressePapierFormat/ClipboardFormat
inline constexpr KLSyntax kClipboardFormat[] = {
    Unavailable<KL_T_NONE>()};
  // VersionWindows/WindowsVersion
inline constexpr KLSyntax kWindowsVersion[] = {
    Unavailable<KL_T_NONE>()};
  // SysArrête/SysShutdown
inline constexpr KLSyntax kSysShutdown[] = {
    Unavailable<KL_T_NONE>()};
  // ToucheEnfoncée/KeyPressed
inline constexpr KLSyntax kKeyPressed[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SupprimeRaccourci/DeleteShortCut
inline constexpr KLSyntax kDeleteShortCut[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ExeListeProcessus/ExeListProcess
inline constexpr KLSyntax kExeListProcess[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // ExeListeDLL/ExeListDLL
inline constexpr KLSyntax kExeListDLL[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // PiloteSaisie/EmulateInput
inline constexpr KLSyntax kEmulateInput[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysListeOrientationEcran/SysListScreenOrientation
inline constexpr KLSyntax kSysListScreenOrientation[] = {
    Unavailable<KL_T_NONE>()};
  // SysOrientationEcran/SysScreenOrientation
inline constexpr KLSyntax kSysScreenOrientation[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // PiloteSouris/EmulateMouse
inline constexpr KLSyntax kEmulateMouse[] = {
    Unavailable<KL_T_NONE>()};
  // SysIMEI/SysIMEI
inline constexpr KLSyntax kSysIMEI[] = {
    Unavailable<KL_T_NONE>()};
  // SysMiseEnVeille/SysStandby
inline constexpr KLSyntax kSysStandby[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysNumSérie/SysSerialNum
inline constexpr KLSyntax kSysSerialNum[] = {
    Unavailable<KL_T_NONE>()};
  // SysRepCarteStockage/SysDirStorageCard
inline constexpr KLSyntax kSysDirStorageCard[] = {
    Unavailable<KL_T_NONE>()};
  // PiloteSouris/DriveMouse
inline constexpr KLSyntax kDriveMouse[] = {
    Unavailable<KL_T_NONE>()};
  // PiloteSaisie/DriveInput
inline constexpr KLSyntax kDriveInput[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // SysNombreEcran/SysNumberScreen
inline constexpr KLSyntax kSysNumberScreen[] = {
    Unavailable<KL_T_NONE>()};
  // ExeDonnePID/ExeGetPID
inline constexpr KLSyntax kExeGetPID[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // PressePapierUnicode/ClipboardUnicode
inline constexpr KLSyntax kClipboardUnicode[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
