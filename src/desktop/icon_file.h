// kp160std — the image of a notification icon from the bytes of an icon
// file: a PNG image, or a Windows icon (.ico) whose entries hold a BMP
// (1, 4, 8, 24 or 32 bits a pixel, with its AND mask) or a PNG. The largest
// entry of an .ico is taken (the deepest among equals). The kind is told by
// the content, not by the name.
//
// PNG (through libpng): every colour type and bit depth, interlaced or not,
// with the palette's and the tRNS chunk's transparency, samples as stored (no
// gamma applied); every chunk's CRC is checked and the file must reach IEND.
// Where the build has no libpng (Windows) the file is checked alike (chunks,
// CRCs, the kind, the rows' inflated data) and the image keeps the file's
// bytes (Image::png) for the system to decode.
// Images are limited to 1024 x 1024 pixels (an icon is small; this bounds
// what a hostile file can make us allocate).
//
// Stateless: any thread may call.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/tray.h"

namespace kp::desktop {

constexpr int32_t kMaxIconSide = 1024;

std::optional<platform::tray::Image> DecodeIcon(std::span<const uint8_t> bytes);
std::optional<platform::tray::Image> DecodePng(std::span<const uint8_t> bytes);

}  // namespace kp::desktop
