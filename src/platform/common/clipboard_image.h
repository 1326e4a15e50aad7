// kp160std — the size of an image from the first bytes of its file, for the
// clipboard's images (PNG, BMP, GIF, JPEG), which X clients offer as files,
// and from a device-independent bitmap's header, which Windows offers.
//
// Thread-safety: a pure function.
#pragma once

#include <cstdint>
#include <string_view>

namespace kp::platform::clipboard {

// False (sizes untouched) when the bytes are none of those formats or are
// cut before the size.
bool ReadImageSize(std::string_view bytes, int32_t* width, int32_t* height);
// The same for a bitmap's info header (core or later), as a BMP file holds
// it after its 14-byte file header.
bool ReadDibSize(std::string_view header, int32_t* width, int32_t* height);

}  // namespace kp::platform::clipboard
