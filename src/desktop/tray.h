// kp160std — the program's notification icon: SysIconeAjoute,
// SysIconeModifie, SysIconeSupprime.
//
// One icon per program, kept in one record: the icon file, the tooltip, and
// the KL procedures for the clicks, resolved through the VM when the icon is
// added. A click posts its procedure to the VM (PostProcedure, no argument)
// from the icon's thread; the program runs it at its next safe point. The
// icon file is a device file, .png or .ico (desktop/icon_file.h).
//
// Failures give false: 80146 naming an unknown procedure; 80600 or 206 for
// the icon file's name; the system code of a file that cannot be read; 13
// (invalid data) for a file that is not an icon; 80014 with 1167 without a
// display; 1168 when no notification area runs, or, for SysIconeModifie and
// SysIconeSupprime, when no icon is shown.
//
// Thread-safety: the program's thread calls these; the click handler (the
// icon's thread) only reads the record under its lock.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::desktop {

// `procedures` in this order: left click, right click, double click, middle
// click, pointer over the icon; an empty name means none. A second call
// replaces the record and the icon shown.
bool AddTrayIcon(ExecContext* context, std::u16string_view icon, std::u16string_view tooltip,
                 std::span<const std::u16string_view> procedures);
// An empty `icon` keeps the image; no tooltip keeps the tooltip.
bool ModifyTrayIcon(ExecContext* context, std::u16string_view icon, std::optional<std::u16string_view> tooltip);
bool DeleteTrayIcon(ExecContext* context);
// When the VM's last program has ended: the icon goes with it, so that no
// click posts to a context that no longer exists. Any thread.
void EndTrayIcon();
// The window of the icon shown (an X window id, or the message window's
// handle); 0 without one.
uint64_t TrayIconWindow();

}  // namespace kp::desktop
