// kp160std — PNG and .ico decoding for the notification icon. libpng
// decodes the PNG images; the icon directory and its bitmaps are read here.
#include "desktop/icon_file.h"

#if KP_HAVE_LIBPNG
#include <png.h>
#else
#include <zlib.h>
#endif

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace kp::desktop {
namespace {

using platform::tray::Image;
using Bytes = std::span<const uint8_t>;

constexpr uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};

uint16_t Le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t Le32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

bool IsPng(Bytes b) { return b.size() >= 8 && std::memcmp(b.data(), kPngSignature, 8) == 0; }

}  // namespace

#if KP_HAVE_LIBPNG

namespace {

// libpng reports through longjmp. The two functions that call setjmp hold
// only trivially destructible locals, so a jump skips no destructor; the
// buffers live in DecodePng, which never has a jump cross it.
struct Source {
  Bytes bytes;
  size_t at;
};

void Read(png_structp png, png_bytep out, size_t length) {
  auto* source = static_cast<Source*>(png_get_io_ptr(png));
  if (length > source->bytes.size() - source->at) png_error(png, "truncated");
  std::memcpy(out, source->bytes.data() + source->at, length);
  source->at += length;
}

// Quiet: a damaged icon is reported to the caller as one, not on stderr.
void Fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void Warn(png_structp, png_const_charp) {}

// The header, and the transforms to 8-bit RGBA: palettes, low depths and
// tRNS expanded, 16-bit samples scaled, grey made RGB, an opaque alpha added
// where the image has none. Gamma is left alone: samples are used as stored.
bool ReadHeader(png_structp png, png_infop info, uint32_t* width, uint32_t* height) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != size_t{png_get_image_width(png, info)} * 4) return false;
  *width = png_get_image_width(png, info);
  *height = png_get_image_height(png, info);
  return true;
}

// The rows, then the chunks after them up to IEND, so that a file cut short
// or with a bad checksum anywhere is refused.
bool ReadRows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

}  // namespace

std::optional<Image> DecodePng(Bytes b) {
  if (!IsPng(b)) return std::nullopt;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, &Fail, &Warn);
  if (!png) return std::nullopt;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return std::nullopt;
  }
  Source source{b, 0};
  png_set_read_fn(png, &source, &Read);
  // Larger images are refused in the header; ancillary chunks with a bad
  // checksum too (libpng would only drop them).
  png_set_user_limits(png, kMaxIconSide, kMaxIconSide);
  png_set_crc_action(png, PNG_CRC_DEFAULT, PNG_CRC_ERROR_QUIT);
  uint32_t width = 0, height = 0;
  std::optional<Image> image;
  if (ReadHeader(png, info, &width, &height)) {
    std::vector<uint8_t> rgba(size_t{width} * height * 4);
    std::vector<png_bytep> rows(height);
    for (uint32_t y = 0; y < height; ++y) rows[y] = &rgba[size_t{y} * width * 4];
    if (ReadRows(png, rows.data())) {
      image.emplace();
      image->width = static_cast<int32_t>(width);
      image->height = static_cast<int32_t>(height);
      image->argb.resize(size_t{width} * height);
      for (size_t i = 0; i < image->argb.size(); ++i) {
        const uint8_t* p = &rgba[i * 4];
        image->argb[i] = uint32_t{p[3]} << 24 | uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
      }
    }
  }
  png_destroy_read_struct(&png, &info, nullptr);
  return image;
}

#else

// No libpng for this build's target (the Windows cross build): the system
// decodes the PNG (CreateIconFromResourceEx, platform/win32/tray_win32.cpp).
// What is checked here is what libpng would refuse too, so that both builds
// refuse the same files, and before the icon is made (a change of image has
// no answer from the icon's thread): the chunks and their CRCs up to IEND, a
// first IHDR of a known kind within the size limit, and pixel data that
// inflates to exactly the rows the header asks for, each with a known filter.
static uint32_t Be32(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

// The length of every row of the filtered image (its filter byte included),
// in the order they are stored; empty for a kind PNG does not have.
static std::vector<uint32_t> RowLengths(uint32_t width, uint32_t height, uint8_t depth, uint8_t colour,
                                        uint8_t interlace) {
  int channels = 0;
  switch (colour) {
    case 0: channels = depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16 ? 1 : 0; break;
    case 3: channels = depth == 1 || depth == 2 || depth == 4 || depth == 8 ? 1 : 0; break;
    case 2: channels = depth == 8 || depth == 16 ? 3 : 0; break;
    case 4: channels = depth == 8 || depth == 16 ? 2 : 0; break;
    case 6: channels = depth == 8 || depth == 16 ? 4 : 0; break;
    default: break;
  }
  std::vector<uint32_t> rows;
  if (channels == 0 || interlace > 1) return rows;
  const auto add = [&](uint32_t columns, uint32_t count) {
    if (columns == 0) return;
    const uint32_t length = 1 + (columns * channels * depth + 7) / 8;
    rows.insert(rows.end(), count, length);
  };
  if (interlace == 0) {
    add(width, height);
  } else {
    // Adam7: first column, first row, column step, row step of each pass.
    static constexpr uint32_t kPasses[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                               {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    for (const auto& pass : kPasses) {
      const uint32_t columns = width > pass[0] ? (width - pass[0] + pass[2] - 1) / pass[2] : 0;
      const uint32_t count = height > pass[1] ? (height - pass[1] + pass[3] - 1) / pass[3] : 0;
      add(columns, count);
    }
  }
  return rows;
}

// Whether the concatenated IDAT data inflates to exactly these rows.
static bool InflatesToRows(const std::vector<Bytes>& data, const std::vector<uint32_t>& rows) {
  z_stream z{};
  if (inflateInit(&z) != Z_OK) return false;
  uint8_t out[16384];
  size_t row = 0, inRow = 0;
  bool ok = true, ended = false;
  for (size_t part = 0; ok && !ended && part < data.size(); ++part) {
    z.next_in = const_cast<Bytef*>(data[part].data());
    z.avail_in = static_cast<uInt>(data[part].size());
    // Until this part is used up and nothing more is pending (a full output
    // buffer may leave output to come without more input).
    bool more = true;
    while (ok && !ended && more) {
      z.next_out = out;
      z.avail_out = sizeof out;
      const int status = inflate(&z, Z_NO_FLUSH);
      ended = status == Z_STREAM_END;
      ok = status == Z_OK || status == Z_BUF_ERROR || ended;  // Z_BUF_ERROR: the next part is needed
      more = status == Z_OK && (z.avail_in > 0 || z.avail_out == 0);
      for (const uint8_t* p = out; ok && p < z.next_out; ++p) {
        if (row == rows.size() || (inRow == 0 && *p > 4)) {  // too long, or not a filter
          ok = false;
        } else if (++inRow == rows[row]) {
          ++row;
          inRow = 0;
        }
      }
    }
  }
  inflateEnd(&z);
  return ok && ended && row == rows.size() && inRow == 0;
}

std::optional<Image> DecodePng(Bytes b) {
  if (!IsPng(b)) return std::nullopt;
  Image image;
  std::vector<uint32_t> rows;
  std::vector<Bytes> data;
  for (size_t at = 8;;) {
    if (b.size() - at < 12) return std::nullopt;
    const uint32_t length = Be32(&b[at]);
    if (length > b.size() - at - 12) return std::nullopt;
    const uint8_t* type = &b[at + 4];
    const uint32_t crc = static_cast<uint32_t>(crc32(crc32(0, nullptr, 0), type, length + 4));
    if (crc != Be32(type + 4 + length)) return std::nullopt;
    const bool header = std::memcmp(type, "IHDR", 4) == 0;
    if (header != (at == 8)) return std::nullopt;
    if (header) {
      if (length != 13) return std::nullopt;
      const uint8_t* h = type + 4;
      const uint32_t width = Be32(h), height = Be32(h + 4);
      if (width == 0 || height == 0 || width > kMaxIconSide || height > kMaxIconSide) return std::nullopt;
      if (h[10] != 0 || h[11] != 0) return std::nullopt;  // the one compression and filter method
      rows = RowLengths(width, height, h[8], h[9], h[12]);
      if (rows.empty()) return std::nullopt;
      image.width = static_cast<int32_t>(width);
      image.height = static_cast<int32_t>(height);
    }
    if (std::memcmp(type, "IDAT", 4) == 0) data.push_back(b.subspan(at + 8, length));
    at += size_t{length} + 12;
    if (std::memcmp(type, "IEND", 4) == 0) break;
  }
  if (data.empty() || !InflatesToRows(data, rows)) return std::nullopt;
  image.png.assign(b.begin(), b.end());
  return image;
}

#endif

namespace {

// One BMP entry of an icon: the header, the colours, the XOR rows and the
// AND mask, rows from the bottom.
std::optional<Image> DecodeIconBitmap(Bytes b) {
  if (b.size() < 40) return std::nullopt;
  const uint32_t headerSize = Le32(&b[0]);
  const int32_t width = static_cast<int32_t>(Le32(&b[4]));
  const int32_t doubled = static_cast<int32_t>(Le32(&b[8]));
  const uint16_t bits = Le16(&b[14]);
  const uint32_t compression = Le32(&b[16]);
  uint32_t colours = Le32(&b[32]);
  if (headerSize < 40 || headerSize > b.size()) return std::nullopt;
  if (width <= 0 || width > kMaxIconSide || doubled <= 0 || doubled % 2 || doubled / 2 > kMaxIconSide)
    return std::nullopt;
  if (compression != 0 && !(compression == 3 && bits == 32)) return std::nullopt;
  if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return std::nullopt;
  const int32_t height = doubled / 2;
  size_t at = headerSize;
  if (compression == 3 && headerSize == 40) at += 12;  // the three masks follow a short header
  std::vector<uint32_t> table;
  if (bits <= 8) {
    if (colours == 0 || colours > (1u << bits)) colours = 1u << bits;
    if (b.size() - std::min(b.size(), at) < colours * 4) return std::nullopt;
    for (uint32_t i = 0; i < colours; ++i, at += 4) table.push_back(uint32_t{b[at + 2]} << 16 | b[at + 1] << 8 | b[at]);
  }
  const size_t xorStride = ((size_t{static_cast<uint32_t>(width)} * bits + 31) / 32) * 4;
  const size_t andStride = ((size_t{static_cast<uint32_t>(width)} + 31) / 32) * 4;
  if (at > b.size() || b.size() - at < xorStride * height) return std::nullopt;
  const uint8_t* xorRows = &b[at];
  const size_t andAt = at + xorStride * height;
  const bool haveMask = b.size() >= andAt && b.size() - andAt >= andStride * height;
  Image image;
  image.width = width;
  image.height = height;
  image.argb.assign(size_t{static_cast<uint32_t>(width)} * height, 0);
  bool anyAlpha = false;
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* row = xorRows + (height - 1 - y) * xorStride;
    for (int32_t x = 0; x < width; ++x) {
      uint32_t pixel;
      if (bits == 32) {
        const uint8_t* p = row + x * 4;
        pixel = uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | p[1] << 8 | p[0];
        anyAlpha |= p[3] != 0;
      } else if (bits == 24) {
        const uint8_t* p = row + x * 3;
        pixel = 0xff000000u | uint32_t{p[2]} << 16 | p[1] << 8 | p[0];
      } else {
        const size_t bit = size_t{static_cast<uint32_t>(x)} * bits;
        const uint32_t index = (row[bit / 8] >> (8 - bits - bit % 8)) & ((1u << bits) - 1);
        if (index >= table.size()) return std::nullopt;
        pixel = 0xff000000u | table[index];
      }
      image.argb[size_t{static_cast<uint32_t>(y)} * width + x] = pixel;
    }
  }
  // The AND mask gives transparency where the pixels carry no alpha.
  if (haveMask && !anyAlpha) {
    for (int32_t y = 0; y < height; ++y) {
      const uint8_t* row = &b[andAt + (height - 1 - y) * andStride];
      for (int32_t x = 0; x < width; ++x) {
        uint32_t& pixel = image.argb[size_t{static_cast<uint32_t>(y)} * width + x];
        const bool transparent = (row[x / 8] >> (7 - x % 8)) & 1;
        pixel = transparent ? 0 : (pixel | 0xff000000u);
      }
    }
  } else if (!anyAlpha) {
    for (uint32_t& pixel : image.argb) pixel |= 0xff000000u;
  }
  return image;
}

}  // namespace

std::optional<Image> DecodeIcon(Bytes b) {
  if (IsPng(b)) return DecodePng(b);
  if (b.size() < 6 || Le16(&b[0]) != 0 || (Le16(&b[2]) != 1 && Le16(&b[2]) != 2)) return std::nullopt;
  const uint16_t count = Le16(&b[4]);
  if (count == 0 || b.size() - 6 < size_t{count} * 16) return std::nullopt;
  // The largest entry, the deepest among equals.
  int best = -1;
  uint32_t bestSide = 0, bestBits = 0;
  for (int i = 0; i < count; ++i) {
    const uint8_t* e = &b[6 + i * 16];
    const uint32_t side = std::max(e[0] ? e[0] : 256u, e[1] ? e[1] : 256u);
    const uint32_t bits = Le16(e + 6);
    const uint32_t size = Le32(e + 8), offset = Le32(e + 12);
    if (offset > b.size() || size > b.size() - offset || size == 0) continue;
    if (best < 0 || side > bestSide || (side == bestSide && bits > bestBits)) {
      best = i;
      bestSide = side;
      bestBits = bits;
    }
  }
  if (best < 0) return std::nullopt;
  const uint8_t* e = &b[6 + best * 16];
  const Bytes entry = b.subspan(Le32(e + 12), Le32(e + 8));
  return IsPng(entry) ? DecodePng(entry) : DecodeIconBitmap(entry);
}

}  // namespace kp::desktop
