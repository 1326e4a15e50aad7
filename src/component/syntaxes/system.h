// kp160std — syntaxes of the system functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"
#include "system/display.h"
#include "system/exe_info.h"
#include "system/input.h"
#include "system/process.h"
#include "system/sysinfo.h"

namespace kp::syn {

namespace procsyn {
using system::ListProcesses;
inline std::u16string Columns(ExecContext* c, std::initializer_list<int32_t> columns) {
  return ListProcesses(c, std::span<const int32_t>(columns.begin(), columns.size()));
}
}  // namespace procsyn

// ExeInfo/ExeInfo
inline constexpr KLSyntax kExeInfo[] = {
    Syntax<[](ExecContext* c, std::u16string_view keyword) { return system::ExeInfo(c, keyword, std::nullopt); },
           KL_T_TEXT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view keyword, std::u16string_view file) {
      return system::ExeInfo(c, keyword, file);
    }, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// SysXRes/SysXRes
inline constexpr KLSyntax kSysXRes[] = {
    Syntax<system::ScreenWidth, KL_T_INT>()};

// SysYRes/SysYRes
inline constexpr KLSyntax kSysYRes[] = {
    Syntax<system::ScreenHeight, KL_T_INT>()};

// SysMétrique/SysMetric
inline constexpr KLSyntax kSysMetric[] = {
    Syntax<system::SystemMetric, KL_T_INT, KL_T_INT>()};

// SysCouleurRes/SysColorRes
inline constexpr KLSyntax kSysColorRes[] = {
    Syntax<system::ColourDepth, KL_T_INT>()};

// SysInstance/SysInstance
// signature chosen here: ([window title]): the program's own instance, or that of the window's owner
inline constexpr KLSyntax kSysInstance[] = {
    Syntax<[](ExecContext* c) { return system::Instance(c); }, KL_T_INSTANCE>(),
    Syntax<[](ExecContext* c, std::u16string_view title) { return system::Instance(c, title); }, KL_T_INSTANCE,
           KL_T_TEXT_CELL>()};

// ExeLancé/ExeRunning
inline constexpr KLSyntax kExeRunning[] = {
    Syntax<[](ExecContext* c) { return system::CountRunning(c); }, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view n) { return system::CountRunning(c, n); }, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<system::IsRunning, KL_T_BOOL, KL_T_INT>()};

// SysFenTitre/SysWinTitle
// signature chosen here: (window) reads the title, (window, title) sets it
inline constexpr KLSyntax kSysWinTitle[] = {
    Syntax<system::WindowTitle, KL_T_TEXT, KL_T_INT>(),
    Syntax<system::SetWindowTitle, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>()};

// SysCouleur/SysColor
// signature chosen here: (index) reads a system colour, (index, colour) sets it
inline constexpr KLSyntax kSysColor[] = {
    Syntax<system::SystemColour, KL_T_INT, KL_T_INT>(),
    Syntax<system::SetSystemColour, KL_T_BOOL, KL_T_INT, KL_T_INT>()};

// SysRep/SysDir
// signature chosen here: the third form adds whether to create the folder
inline constexpr KLSyntax kSysDir[] = {
    Syntax<[](ExecContext* c) { return system::SpecialFolder(c, system::srWindows, false); }, KL_T_TEXT>(),
    Syntax<[](ExecContext* c, int32_t k) { return system::SpecialFolder(c, k, false); }, KL_T_TEXT, KL_T_INT>(),
    Syntax<system::SpecialFolder, KL_T_TEXT, KL_T_INT, KL_T_BOOL>()};

// ExeTermine/ExeTerminate
inline constexpr KLSyntax kExeTerminate[] = {
    Syntax<[](ExecContext* c, std::u16string_view n) { return system::Terminate(c, n); }, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, int32_t id) { return system::Terminate(c, id); }, KL_T_BOOL, KL_T_INT>()};

// ToucheEnfoncé/KeyPress
inline constexpr KLSyntax kKeyPress[] = {
    Syntax<system::KeyState, KL_T_INT, KL_T_INT>(),
    Syntax<system::KeyPressed, KL_T_BOOL, KL_T_INT, KL_T_BOOL>()};

// SysFenHandle/SysWinHandle
// signature chosen here: (window name)
inline constexpr KLSyntax kSysWinHandle[] = {
    Syntax<system::WindowHandle, KL_T_WINDOW, KL_T_TEXT_CELL>()};

// SysFenActive/SysWinActive
// signature chosen here: () reads the active window, (window) activates it
inline constexpr KLSyntax kSysWinActive[] = {
    Syntax<system::ActiveWindow, KL_T_WINDOW>(),
    Syntax<system::ActivateWindow, KL_T_BOOL, KL_T_INT>()};

// SysFenAffiche/SysWinShow
// without a mode the window is shown (sfaVisible)
inline constexpr KLSyntax kSysWinShow[] = {
    Syntax<[](ExecContext* c, int32_t w) { return system::ShowWindow(c, w); }, KL_T_INT, KL_T_INT>(),
    Syntax<system::ShowWindow, KL_T_INT, KL_T_INT, KL_T_INT>()};

// SysHandleValide/SysValidHandle
// signature chosen here: (window)
inline constexpr KLSyntax kSysValidHandle[] = {
    Syntax<system::ValidHandle, KL_T_BOOL, KL_T_INT>()};

// RéseauConnecte/NetworkConnect
// signature chosen here: (local name, remote name[, user[, password]])
// POSIX has no network drives a user may connect: declared without an
// implementation there (docs/sysinfo.md)
inline constexpr KLSyntax kNetworkConnect[] = {
#ifdef _WIN32
    Syntax<[](ExecContext* c, std::u16string_view l, std::u16string_view r) {
      return system::NetworkConnect(c, l, r, {}, {});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view l, std::u16string_view r, std::u16string_view u) {
      return system::NetworkConnect(c, l, r, u, {});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<system::NetworkConnect, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
#else
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
#endif

// TexteLargeur/TextWidth
// signature chosen here: (text[, font as "name,size in pixels"])
inline constexpr KLSyntax kTextWidth[] = {
    Syntax<[](ExecContext* c, std::u16string_view t) { return system::TextWidth(c, t); }, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<system::TextWidth, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// TexteHauteur/TextHeight
// signature chosen here: (text[, font as "name,size in pixels"])
inline constexpr KLSyntax kTextHeight[] = {
    Syntax<[](ExecContext* c, std::u16string_view t) { return system::TextHeight(c, t); }, KL_T_INT,
           KL_T_TEXT_CELL>(),
    Syntax<system::TextHeight, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// SysNomExe/SysNameExe
inline constexpr KLSyntax kSysNameExe[] = {
    Syntax<system::ModuleFile, KL_T_TEXT, KL_T_INT>()};

// SysEspace/SysSpace
inline constexpr KLSyntax kSysSpace[] = {
    Syntax<[](ExecContext* c) { return system::Space(c, system::sysProgramSpace); }, KL_T_VARIANT>(),
    Syntax<system::Space, KL_T_VARIANT, KL_T_INT>()};

// LanceAppliAssociée/ShellExecute
inline constexpr KLSyntax kShellExecute[] = {
    Syntax<[](ExecContext* c, std::u16string_view f) { return system::ShellExecute(c, f, {}); }, KL_T_BOOL,
           KL_T_TEXT_DIRECT>(),
    Syntax<system::ShellExecute, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>()};

// ZigouigouiARoulette/ZigouigouiARoulette
// signature chosen here: () with a text result
inline constexpr KLSyntax kZigouigouiARoulette[] = {
    Unavailable<KL_T_TEXT>()};

// SysVersionWindows/SysWindowsVersion
inline constexpr KLSyntax kSysWindowsVersion[] = {
    Syntax<[](ExecContext* c) { return system::WindowsVersion(c, system::sysVersionName); }, KL_T_TEXT>(),
    Syntax<system::WindowsVersion, KL_T_TEXT, KL_T_INT>()};

// EnvoieTouche/SendKey
// a target window name is a window title
inline constexpr KLSyntax kSendKey[] = {
    Syntax<[](ExecContext* c, std::u16string_view k) { return system::SendKeys(c, k); }, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view k, std::u16string_view w) { return system::SendKeys(c, k, w); },
           KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view k, int32_t w) { return system::SendKeys(c, k, w); }, KL_T_BOOL,
           KL_T_TEXT_CELL, KL_T_INT>()};

// LanceAppli/ExeRun
inline constexpr KLSyntax kExeRun[] = {
    Syntax<[](ExecContext* c, std::u16string_view l) { return system::Run(c, l, system::exeActive, system::exeDontWait); },
           KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view l, int32_t w) { return system::Run(c, l, w, system::exeDontWait); },
           KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<system::Run, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, std::u16string_view l) { return system::Run(c, l, system::exeActive, system::exeDontWait); },
           KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view l, int32_t w) { return system::Run(c, l, w, system::exeDontWait); },
           KL_T_INT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<system::Run, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>(),
    // the trailing text is accepted and ignored on this platform
    Syntax<[](ExecContext* c, std::u16string_view l, int32_t w, int32_t m, std::u16string_view) {
      return system::Run(c, l, w, m);
    }, KL_T_INT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT, KL_T_TEXT_CELL>()};

// DDELance/DDEStart
// signature chosen here: the same seven forms as LanceAppli; without a
// conversation mechanism here, it starts the program as LanceAppli does, so
// its row shares LanceAppli's syntaxes.
inline constexpr const auto& kDDEStart = kExeRun;


// VersionWindows/WindowsVersion
// signature chosen here: () as the first form of SysVersionWindows
inline constexpr KLSyntax kWindowsVersion[] = {
    Syntax<[](ExecContext* c) { return system::WindowsVersion(c, system::sysVersionName); }, KL_T_TEXT>()};

// SysArrête/SysShutdown
inline constexpr KLSyntax kSysShutdown[] = {
    Syntax<system::Shutdown, KL_T_BOOL, KL_T_INT>()};

// ToucheEnfoncée/KeyPressed
inline constexpr KLSyntax kKeyPressed[] = {
    Syntax<system::KeyState, KL_T_INT, KL_T_INT>(),
    Syntax<system::KeyPressed, KL_T_BOOL, KL_T_INT, KL_T_BOOL>()};

// ExeListeProcessus/ExeListProcess
inline constexpr KLSyntax kExeListProcess[] = {
    Syntax<[](ExecContext* c) { return procsyn::Columns(c, {}); }, KL_T_TEXT>(),
    Syntax<[](ExecContext* c, int32_t a) { return procsyn::Columns(c, {a}); }, KL_T_TEXT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t a, int32_t b) { return procsyn::Columns(c, {a, b}); }, KL_T_TEXT, KL_T_INT,
           KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t a, int32_t b, int32_t d) { return procsyn::Columns(c, {a, b, d}); }, KL_T_TEXT,
           KL_T_INT, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t a, int32_t b, int32_t d, int32_t e) { return procsyn::Columns(c, {a, b, d, e}); },
           KL_T_TEXT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t a, int32_t b, int32_t d, int32_t e, int32_t f) {
      return procsyn::Columns(c, {a, b, d, e, f});
    }, KL_T_TEXT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>(),
    // the sixth column is taken and ignored, on purpose
    Syntax<[](ExecContext* c, int32_t a, int32_t b, int32_t d, int32_t e, int32_t f, int32_t) {
      return procsyn::Columns(c, {a, b, d, e, f});
    }, KL_T_TEXT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT, KL_T_INT>()};

// ExeListeDLL/ExeListDLL
inline constexpr KLSyntax kExeListDLL[] = {
    Syntax<[](ExecContext* c) { return system::ListModules(c); }, KL_T_TEXT>(),
    Syntax<[](ExecContext* c, int32_t id) { return system::ListModules(c, id); }, KL_T_TEXT, KL_T_INT>()};

// PiloteSaisie/EmulateInput
// signature chosen here: (keys[, modifier keys])
inline constexpr KLSyntax kEmulateInput[] = {
    Syntax<[](ExecContext* c, std::u16string_view k) { return system::DriveInput(c, k); }, KL_T_BOOL,
           KL_T_TEXT_CELL>(),
    Syntax<system::DriveInput, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// SysListeOrientationEcran/SysListScreenOrientation
inline constexpr KLSyntax kSysListScreenOrientation[] = {
    Syntax<system::ListScreenOrientations, KL_T_TEXT>()};

// SysOrientationEcran/SysScreenOrientation
inline constexpr KLSyntax kSysScreenOrientation[] = {
    Syntax<system::ScreenOrientation, KL_T_TEXT>(),
    Syntax<system::SetScreenOrientation, KL_T_TEXT, KL_T_TEXT_CELL>()};

// PiloteSouris/EmulateMouse
// signature chosen here: (mouse action, x, y) with a screen point
inline constexpr KLSyntax kEmulateMouse[] = {
    Syntax<system::DriveMouse, KL_T_BOOL, KL_T_INT, KL_T_INT, KL_T_INT>()};

// SysIMEI/SysIMEI
// the optional variable cannot be declared with a single syntax; () is declared
inline constexpr KLSyntax kSysIMEI[] = {
    Syntax<system::Imei, KL_T_TEXT>()};

// SysMiseEnVeille/SysStandby
inline constexpr KLSyntax kSysStandby[] = {
    Syntax<[](ExecContext* c, int32_t source) { return system::Standby(c, source, system::kStandbyReadOnly); },
           KL_T_INT, KL_T_INT>(),
    Syntax<system::Standby, KL_T_INT, KL_T_INT, KL_T_INT>()};

// SysNumSérie/SysSerialNum
inline constexpr KLSyntax kSysSerialNum[] = {
    Syntax<system::SerialNumber, KL_T_TEXT>()};

// SysRepCarteStockage/SysDirStorageCard
inline constexpr KLSyntax kSysDirStorageCard[] = {
    Syntax<system::StorageCards, KL_T_TEXT>()};

// PiloteSouris/DriveMouse
// signature chosen here: (mouse action, x, y) with a screen point
inline constexpr KLSyntax kDriveMouse[] = {
    Syntax<system::DriveMouse, KL_T_BOOL, KL_T_INT, KL_T_INT, KL_T_INT>()};

// PiloteSaisie/DriveInput
// signature chosen here: (keys[, modifier keys])
inline constexpr KLSyntax kDriveInput[] = {
    Syntax<[](ExecContext* c, std::u16string_view k) { return system::DriveInput(c, k); }, KL_T_BOOL,
           KL_T_TEXT_CELL>(),
    Syntax<system::DriveInput, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>()};

// SysNombreEcran/SysNumberScreen
inline constexpr KLSyntax kSysNumberScreen[] = {
    Syntax<system::ScreenCount, KL_T_INT>()};

// ExeDonnePID/ExeGetPID
inline constexpr KLSyntax kExeGetPID[] = {
    Syntax<[](ExecContext* c) { return system::GetPID(c, system::exePID); }, KL_T_INT>(),
    Syntax<system::GetPID, KL_T_INT, KL_T_INT>()};

}  // namespace kp::syn
