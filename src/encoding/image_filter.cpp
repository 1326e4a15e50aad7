// kp160std — the image picker filter (see image_filter.h).
#include "encoding/image_filter.h"

#include "abi/vm.h"

namespace kp::encoding {

std::u16string GraphicFilter(ExecContext* context) {
  const KLLanguage* language = Language(context);
  const bool french = !language || language->code == 12 || language->code == 0;
  std::u16string out = french ? u"Toutes les images" : u"All images";
  out += u" (*.bmp;*.gif;*.jpg;*.jpeg;*.png)\t*.bmp;*.gif;*.jpg;*.jpeg;*.png";
  out += u"\r\nBitmap (*.bmp)\t*.bmp";
  out += u"\r\nGIF (*.gif)\t*.gif";
  out += u"\r\nJPEG (*.jpg;*.jpeg)\t*.jpg;*.jpeg";
  out += u"\r\nPNG (*.png)\t*.png";
  return out;
}

}  // namespace kp::encoding
