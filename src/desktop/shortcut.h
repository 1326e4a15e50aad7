// kp160std — shortcuts: CréeRaccourci and SupprimeRaccourci.
//
// A shortcut is a file "<directory>\<name>.lnk" of the device. Its directory
// comes from the kind: kind 1 (raccourciProgramme) starts from the shell's
// start-menu folder (folder 11 of the device profile); kinds 0, 2 and 3 use
// the sub-directory alone, from the device root. The file holds the
// handheld's own text form of a shortcut, "NN#command", NN being the number
// of characters of the command (the target, quoted when it holds a space,
// then a space and the parameters when there are any), written in the ANSI
// code page, so that the file reads the same on a handheld. Windows writes a
// shell link instead where it can (docs/desktop.md).
//
// Failures give false with the error recorded: 80231 (with the system code)
// when a shortcut cannot be created, the file layer's report when one cannot
// be deleted. Stateless: any thread may call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::desktop {

// Location kinds.
constexpr int32_t shortcutFree = 0, shortcutProgram = 1, shortcutDesktop = 2, shortcutQuickLaunch = 3;

// What the longer syntaxes of CréeRaccourci add. The icon and the working
// directory only reach a Windows shell link: the text form has no room for
// them.
struct ShortcutExtras {
  std::u16string_view parameters;
  std::u16string_view subDirectory;
  std::u16string_view iconFile;
  int32_t iconIndex = 0;
  std::u16string_view workingDirectory;
};

bool CreateShortcut(ExecContext* context, int32_t kind, std::u16string_view name, std::u16string_view target,
                    const ShortcutExtras& extras = {});
bool DeleteShortcut(ExecContext* context, int32_t kind, std::u16string_view name,
                    std::u16string_view subDirectory = {});

// The text form: "NN#command". nullopt (with the Win32 code in *why) when
// the target is empty or holds a quote, or the command holds a line break.
std::optional<std::u16string> ShortcutText(std::u16string_view target, std::u16string_view parameters,
                                           uint32_t* why = nullptr);

// Reads a text form back: the target (its quotes removed) and the
// parameters. nullopt when the text is not "NN#command" with NN counting the
// characters that follow (a line end after the command is allowed).
struct ShortcutCommand {
  std::u16string target;
  std::u16string parameters;
};
std::optional<ShortcutCommand> ReadShortcutText(std::u16string_view text);

// The device path of a shortcut, as both functions build it (the start-menu
// folder asked of the device for kind 1); nullopt with the Win32 code in
// *why for a name or sub-directory that is not allowed or a path that is too
// long.
std::optional<std::u16string> ShortcutPath(int32_t kind, std::u16string_view name, std::u16string_view subDirectory,
                                           uint32_t* why);

}  // namespace kp::desktop
