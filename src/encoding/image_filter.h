// kp160std — fFiltreImage: the file-picker filter of the image formats the
// device decodes (BMP, GIF, JPEG, PNG), one line per choice ("\r\n"
// between lines), each "description\tpatterns" with the patterns separated
// by ";": all images first, then each format. French when the program's
// language is French (or unknown), English otherwise.
//
// Thread-safety: any thread.
#pragma once

#include <string>

#include "kp160std/abi.h"

namespace kp::encoding {

std::u16string GraphicFilter(ExecContext* context);

}  // namespace kp::encoding
