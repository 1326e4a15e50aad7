// kp160std — the screen and the windows: SysXRes, SysYRes, SysMétrique,
// SysCouleurRes, SysNombreEcran, SysCouleur, SysInstance, SysFenTitre,
// SysFenHandle, SysFenActive, SysFenAffiche, SysHandleValide, the screen
// orientation (SysListeOrientationEcran, SysOrientationEcran) and the size of
// a text (TexteLargeur, TexteHauteur).
//
// Thin calls over platform/display.h: a platform failure gives the
// function's failure value with the Win32 error in the error record (1167
// when there is no display). Window arguments are the 32-bit handles the
// other window functions give.
//
// Thread-safety: any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::system {

int32_t ScreenWidth(ExecContext* context);
int32_t ScreenHeight(ExecContext* context);
// A platform metric (GetSystemMetrics); 80143 and 0 for an index the
// platform does not know.
int32_t SystemMetric(ExecContext* context, int32_t index);
int32_t ColourDepth(ExecContext* context);
int32_t ScreenCount(ExecContext* context);

// System colours: the index is an "sc" constant (bit 30 set) or the bare
// COLOR_ number 0-20. Read from the device registry,
// HKEY_CURRENT_USER\Control Panel\Colors, where each is an "R G B" text;
// a colour missing there (or unreadable) has the classic scheme's value.
// The result is a KL colour (red + green x 256 + blue x 65536); -1 and 80010
// for an unknown index.
int32_t SystemColour(ExecContext* context, int32_t index);
// Writes the "R G B" text there; False and 80010 for an unknown index or a
// colour outside 0-0xFFFFFF.
bool SetSystemColour(ExecContext* context, int32_t index, int32_t colour);

// SysInstance(): the running program's instance; (window title): the
// instance of the window's owner (on X, its process id), 0 when unknown.
Handle Instance(ExecContext* context);
Handle Instance(ExecContext* context, std::u16string_view windowTitle);

std::u16string WindowTitle(ExecContext* context, int32_t window);
bool SetWindowTitle(ExecContext* context, int32_t window, std::u16string_view title);
// The first window with this exact title; 0 when none.
Handle WindowHandle(ExecContext* context, std::u16string_view title);
// SysFenActive(): the active window; (window): brings it to the foreground.
Handle ActiveWindow(ExecContext* context);
bool ActivateWindow(ExecContext* context, int32_t window);
// SysFenAffiche: 80140 and 0 when the handle is not a window. Modes 0-11
// are the platform's show commands, 12 repaints the window and 13 brings it
// to the foreground (sfaRafraîchie, sfaRéactive); without a mode, 5 (shown).
constexpr int32_t kShowRefresh = 12, kShowActivate = 13, kShowDefault = 5;
int32_t ShowWindow(ExecContext* context, int32_t window, int32_t mode = kShowDefault);
bool ValidHandle(ExecContext* context, int32_t window);

// The orientations the display accepts among "0", "90", "180", "270", in
// that order, "\r\n" between them; 80147 and empty when none.
std::u16string ListScreenOrientations(ExecContext* context);
// The current orientation; 80147 and empty when it cannot be read.
std::u16string ScreenOrientation(ExecContext* context);
// Sets it: 80700 for another text (the orientation unchanged), 80147 when
// the display refuses; the orientation read back afterwards.
std::u16string SetScreenOrientation(ExecContext* context, std::u16string_view orientation);

// The orientation calls the functions above make: the platform's, or a
// test's stand-in (null puts the platform's back).
struct OrientationOps {
  bool (*get)(int32_t* orientation);
  bool (*test)(int32_t orientation);
  bool (*set)(int32_t orientation);
};
void UseOrientationOps(const OrientationOps* ops);

// TexteLargeur/TexteHauteur(text[, font]): the width and height in pixels of
// the text on one line; the font is "name[,size in pixels]", by default
// "Tahoma,12" (whatever font the system substitutes for Tahoma). -1 with
// the platform error when the font cannot be had or the font text is bad.
int32_t TextWidth(ExecContext* context, std::u16string_view text, std::u16string_view font = {});
int32_t TextHeight(ExecContext* context, std::u16string_view text, std::u16string_view font = {});

}  // namespace kp::system
