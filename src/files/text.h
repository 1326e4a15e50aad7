// kp160std — whole-file text and temporary files: fChargeTexte,
// fSauveTexte, fFichierTemp, fOuvreFichierTemp, fRépertoireTemp,
// fSéparateur, fSep and fCompare.
//
// ANSI text goes through the current code page (platform/codepage.h).
// Thread-safety: used from the thread that runs the KL program.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp::files {

// Separator kinds.
constexpr int32_t fSeparatorPlatform = 0, fSeparatorWindows = 1, fSeparatorUnix = 2;

std::u16string LoadText(ExecContext* context, std::u16string_view name);
// A text is saved as ANSI without a mark; a buffer byte for byte.
bool SaveText(ExecContext* context, std::u16string_view name, const Value& content);
bool SaveTextArg(ExecContext* context, std::u16string_view name, VariantArg content);
std::u16string TempFile(ExecContext* context, std::u16string_view prefix, std::u16string_view directory);
int32_t OpenTempFile(ExecContext* context, int32_t mode, std::u16string_view prefix, std::u16string_view directory);
std::u16string TempPath(ExecContext* context);
std::u16string Separator(ExecContext* context, std::u16string_view path, int32_t kind);
// The third form: every separator becomes the given text.
std::u16string SeparatorText(ExecContext* context, std::u16string_view path, std::u16string_view separator);
std::u16string Sep(ExecContext* context);
// True when both files exist and hold the same bytes.
bool Compare(ExecContext* context, std::u16string_view first, std::u16string_view second);

}  // namespace kp::files
