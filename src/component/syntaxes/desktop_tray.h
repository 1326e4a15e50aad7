// kp160std — syntaxes of the shortcut and notification-icon rows, in table
// order of their rows (docs/desktop.md, "Shortcuts" and "Notification icon").
#pragma once

#include <array>

#include "component/frame.h"
#include "desktop/shortcut.h"
#include "desktop/tray.h"

namespace kp::syn {

namespace desk {
using Text = std::u16string_view;
inline bool Shortcut(ExecContext* c, int32_t kind, Text name, Text target, desktop::ShortcutExtras extras) {
  return desktop::CreateShortcut(c, kind, name, target, extras);
}
inline bool AddIcon(ExecContext* c, Text icon, Text tip, std::initializer_list<Text> procedures) {
  return desktop::AddTrayIcon(c, icon, tip, std::span<const Text>(procedures.begin(), procedures.size()));
}
}  // namespace desk

// InstalleIcone/IconInstall
// signature chosen here: (icon file); kept without an implementation (the
// program has no window of its own here to give an icon to)
inline constexpr KLSyntax kIconInstall[] = {
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};

// CréeRaccourci/CreateShortCut
// signature chosen here: (kind, name, target[, parameters[, sub-directory[, icon file[, icon index[, working directory]]]]])
inline constexpr KLSyntax kCreateShortCut[] = {
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t) { return desk::Shortcut(c, k, n, t, {}); },
           KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t, desk::Text p) {
      return desk::Shortcut(c, k, n, t, {.parameters = p});
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t, desk::Text p, desk::Text s) {
      return desk::Shortcut(c, k, n, t, {.parameters = p, .subDirectory = s});
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t, desk::Text p, desk::Text s, desk::Text i) {
      return desk::Shortcut(c, k, n, t, {.parameters = p, .subDirectory = s, .iconFile = i});
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>(),
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t, desk::Text p, desk::Text s, desk::Text i,
              int32_t x) {
      return desk::Shortcut(c, k, n, t, {.parameters = p, .subDirectory = s, .iconFile = i, .iconIndex = x});
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT,
           KL_T_INT>(),
    Syntax<[](ExecContext* c, int32_t k, desk::Text n, desk::Text t, desk::Text p, desk::Text s, desk::Text i,
              int32_t x, desk::Text w) {
      return desk::Shortcut(c, k, n, t,
                            {.parameters = p, .subDirectory = s, .iconFile = i, .iconIndex = x, .workingDirectory = w});
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT,
           KL_T_INT, KL_T_TEXT_DIRECT>()};

// SysIconeAjoute/SysIconAdd
// signature chosen here: (icon[, tooltip[, procedures for: left click, right
// click, double click, middle click, pointer over]])
inline constexpr KLSyntax kSysIconAdd[] = {
    Syntax<[](ExecContext* c, desk::Text i) { return desk::AddIcon(c, i, {}, {}); }, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t) { return desk::AddIcon(c, i, t, {}); }, KL_T_BOOL,
           KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t, desk::Text a) { return desk::AddIcon(c, i, t, {a}); },
           KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t, desk::Text a, desk::Text b) {
      return desk::AddIcon(c, i, t, {a, b});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t, desk::Text a, desk::Text b, desk::Text d) {
      return desk::AddIcon(c, i, t, {a, b, d});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t, desk::Text a, desk::Text b, desk::Text d, desk::Text e) {
      return desk::AddIcon(c, i, t, {a, b, d, e});
    }, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t, desk::Text a, desk::Text b, desk::Text d, desk::Text e,
              desk::Text f) { return desk::AddIcon(c, i, t, {a, b, d, e, f}); },
           KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL,
           KL_T_TEXT_CELL>()};

// SysIconeModifie/SysIconModify
inline constexpr KLSyntax kSysIconModify[] = {
    Syntax<[](ExecContext* c, desk::Text i) { return desktop::ModifyTrayIcon(c, i, std::nullopt); }, KL_T_BOOL,
           KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, desk::Text i, desk::Text t) { return desktop::ModifyTrayIcon(c, i, t); }, KL_T_BOOL,
           KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

// SysIconeSupprime/SysIconDelete
inline constexpr KLSyntax kSysIconDelete[] = {
    Syntax<desktop::DeleteTrayIcon, KL_T_BOOL>()};

// SupprimeRaccourci/DeleteShortCut
inline constexpr KLSyntax kDeleteShortCut[] = {
    Syntax<[](ExecContext* c, int32_t k, desk::Text n) { return desktop::DeleteShortcut(c, k, n, {}); }, KL_T_BOOL,
           KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<desktop::DeleteShortcut, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

}  // namespace kp::syn
