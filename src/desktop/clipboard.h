// kp160std — the clipboard: PressePapier, PressePapierUnicode,
// VersPressePapier, PressePapierHauteur, PressePapierLargeur and
// PressePapierFormat, over platform/clipboard.h.
//
// Text only, UTF-16 inside: a text read stops at its first zero character,
// as a Unicode text block of the platform does. A failure gives the
// function's failure value (the empty text, False, 0) with the Win32 error
// in the error record: 80014 with 1167 when there is no display, 80170 with
// the platform's code when the clipboard cannot be read or written (1460
// when its owner does not answer in time).
//
// SetClipboardText is the family's entry for other families that put text on
// the clipboard (a table turned into text, for instance).
//
// Thread-safety: any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp::desktop {

// PressePapier(), PressePapierUnicode(): the text on the clipboard; the
// empty text when it holds none (an image, nothing at all).
std::u16string ClipboardText(ExecContext* context);

// VersPressePapier(text): replaces the clipboard's content with the text.
bool SetClipboardText(ExecContext* context, std::u16string_view text);
// VersPressePapier(buffer): the bytes as they are, as the clipboard's text
// content (UTF-16LE up to its first zero character).
bool SetClipboardBytes(ExecContext* context, std::span<const uint8_t> bytes);
// VersPressePapier(value): a text or a buffer as above; any other value
// gives False and changes nothing.
bool SetClipboardValue(ExecContext* context, const VariantArg& value);

// PressePapierLargeur(), PressePapierHauteur(): the size in pixels of the
// image on the clipboard; 0 when it holds no image.
int32_t ClipboardWidth(ExecContext* context);
int32_t ClipboardHeight(ExecContext* context);

// PressePapierFormat(format): whether the clipboard can give data in that
// format (1 text, 2 bitmap, 7 OEM text, 8 DIB, 13 Unicode text, 17 DIBV5;
// any other format is never present); a format below 1 is refused with
// 80173.
bool ClipboardHasFormat(ExecContext* context, int32_t format);

}  // namespace kp::desktop
