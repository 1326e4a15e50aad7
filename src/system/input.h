// kp160std — keyboard and mouse emulation: EnvoieTouche (a key string parsed
// by key_string.h and played into a window), ToucheEnfoncé (the asynchronous
// state of a key), PiloteSaisie and PiloteSouris (lower-level input with no
// window brought forward).
//
// Playing follows the platform's way: the target window (given, or the active
// one) is brought to the foreground and given the focus, then every record is
// sent by itself, a record with a delay carrying the tick count it is due at,
// and the target is given time to react. Without a display every call fails
// with the Win32 error in the error record and the function's failure value.
//
// Thread-safety: any thread; the refusal flag is one atomic.
#pragma once

#include <cstdint>
#include <string_view>

#include "kp160std/abi.h"
#include "system/key_string.h"

namespace kp::system {

// EnvoieTouche: into the active window, a window named by its title, or a
// window handle. False without sending anything for a parse error, a window
// name that names no window, or while emulation is refused (81504).
bool SendKeys(ExecContext* context, std::u16string_view keys);
bool SendKeys(ExecContext* context, std::u16string_view keys, std::u16string_view windowName);
bool SendKeys(ExecContext* context, std::u16string_view keys, int32_t window);

// The mode in which the library refuses input emulation (EnvoieTouche then
// raises 81504). Off at load; a host that must not type into the desktop
// turns it on.
void RefuseInputEmulation(bool refuse);
bool InputEmulationRefused();

// ToucheEnfoncé(key): the platform's asynchronous key state, negative while
// the key is down. ToucheEnfoncé(key, now): with now, whether the key is down
// at this moment; without, whether the state is not zero (the boolean form
// of the same answer). A key outside 0-255 raises 80010 and gives 0/False.
int32_t KeyState(ExecContext* context, int32_t virtualKey);
bool KeyPressed(ExecContext* context, int32_t virtualKey, bool now);

// PiloteSaisie(keys[, modifiers]): the key string played into whatever has
// the keyboard focus, no window brought forward, key names allowed and mouse
// names not (they are PiloteSouris's affair); the modifiers (1 Shift, 2 Ctrl,
// 4 Alt, as the prefixes "+", "^", "%") are held over the whole string.
// True when every record was sent.
constexpr int32_t kDriveShift = 1, kDriveControl = 2, kDriveAlt = 4;
bool DriveInput(ExecContext* context, std::u16string_view keys, int32_t modifiers = 0);

// PiloteSouris(action, x, y): a click, double click, press or release of a
// button at the screen point (x, y), after moving the pointer there.
constexpr int32_t kMouseLeftClick = 1, kMouseRightClick = 2, kMouseLeftDoubleClick = 3,
                  kMouseRightDoubleClick = 4, kMouseLeftDown = 5, kMouseRightDown = 6, kMouseLeftUp = 7,
                  kMouseRightUp = 8;
bool DriveMouse(ExecContext* context, int32_t action, int32_t x, int32_t y);

// Plays a parsed queue (exposed for the benchmark and the tests): the target
// brought forward unless `target` is 0, each record sent by itself, delays
// made absolute, then the wait for the target. False at the first record the
// platform refuses.
bool Play(const std::vector<keys::InputRecord>& records, uint32_t target);

}  // namespace kp::system
