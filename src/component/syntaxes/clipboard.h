// kp160std — syntaxes of the clipboard functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"
#include "desktop/clipboard.h"

namespace kp::syn {

// VersPressePapier/ToClipboard
inline constexpr KLSyntax kToClipboard[] = {Syntax<desktop::SetClipboardText, KL_T_BOOL, KL_T_TEXT_CELL>(),
                                            Syntax<desktop::SetClipboardValue, KL_T_BOOL, KL_T_VARIANT>()};

// PressePapier/Clipboard (1 unavailable)
// signature chosen here: the second form names a clipboard format
inline constexpr KLSyntax kClipboard[] = {Syntax<desktop::ClipboardText, KL_T_TEXT>(),
                                          Unavailable<KL_T_TEXT, KL_T_INT>()};

// PressePapierHauteur/ClipboardHeight
inline constexpr KLSyntax kClipboardHeight[] = {Syntax<desktop::ClipboardHeight, KL_T_INT>()};

// PressePapierLargeur/ClipboardWidth
inline constexpr KLSyntax kClipboardWidth[] = {Syntax<desktop::ClipboardWidth, KL_T_INT>()};

// PressePapierFormat/ClipboardFormat
// signature chosen here: (format) tells whether the clipboard holds it
inline constexpr KLSyntax kClipboardFormat[] = {Syntax<desktop::ClipboardHasFormat, KL_T_BOOL, KL_T_INT>()};

// PressePapierUnicode/ClipboardUnicode
inline constexpr KLSyntax kClipboardUnicode[] = {Syntax<desktop::ClipboardText, KL_T_TEXT>()};

}  // namespace kp::syn
