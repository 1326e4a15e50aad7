// kp160std — the clipboard, in Win32 terms: Unicode text (format 13) in and
// out, which formats it holds, and the size of an image on it.
//
// Calls follow the Win32 clipboard: a failure returns false and sets the
// thread's last error (platform::LastError) to a Win32 number: kNoDisplay
// when there is no display to talk to, 1460 (timeout) when the clipboard's
// owner does not answer in time, 8 when the data is too large to take.
//
// On POSIX (posix/clipboard_x11.cpp) the clipboard is the X CLIPBOARD
// selection of the display named by $DISPLAY, on connections of its own
// (not the desktop's): reading opens one for the call; writing makes the
// library the selection's owner, served by a thread of the library until
// another client takes the selection. When the library is unloaded (or the
// program ends) while it still owns the selection, the text is handed to a
// running clipboard manager so that it outlives the program. On Windows
// (win32/clipboard_win32.cpp) the calls go to the real API, with no owner
// window.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kp::platform::clipboard {

// ERROR_DEVICE_NOT_CONNECTED, as the desktop's calls give it.
constexpr uint32_t kNoDisplay = 1167;

// The standard formats the functions here speak of, by their Win32 numbers.
constexpr int32_t kCfText = 1;
constexpr int32_t kCfBitmap = 2;
constexpr int32_t kCfOemText = 7;
constexpr int32_t kCfDib = 8;
constexpr int32_t kCfUnicodeText = 13;
constexpr int32_t kCfDibV5 = 17;

// The Unicode text on the clipboard, whole (zero characters included).
// True with an empty text when the clipboard holds no text; false with the
// last error set when the clipboard cannot be read.
bool GetText(std::u16string* text);

// Empties the clipboard and puts `text` on it as Unicode text.
bool SetText(std::u16string_view text);

// Empties the clipboard and puts `bytes` on it as they are, as the content
// of format 13 with their own size: a reader sees them as UTF-16LE text up
// to its first zero character.
bool SetBytes(std::span<const uint8_t> bytes);

// Whether data of format `format` can be had from the clipboard
// (IsClipboardFormatAvailable, with the formats Windows derives from
// another counted as present). False with the last error 0 when it cannot.
bool HasFormat(int32_t format);

// The size in pixels of the image on the clipboard; true with 0 x 0 when it
// holds no image (or one whose size cannot be read).
bool ImageSize(int32_t* width, int32_t* height);

// How long a read waits for the clipboard's owner to answer each step of a
// transfer before it gives up with 1460 (default 5000 ms). For tests.
void SetTimeout(uint32_t milliseconds);

}  // namespace kp::platform::clipboard
