// kp160std — PNG and .ico decoding for the notification icon. zlib inflates
// the PNG data; the rest (chunks, filters, interlacing, pixel formats, the
// icon directory and its bitmaps) is here.
#include "desktop/icon_file.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace kp::desktop {
namespace {

using platform::tray::Image;
using Bytes = std::span<const uint8_t>;

constexpr uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};

uint32_t Be32(const uint8_t* p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }
uint16_t Le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t Le32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

bool IsPng(Bytes b) { return b.size() >= 8 && std::memcmp(b.data(), kPngSignature, 8) == 0; }

uint8_t Paeth(int a, int b, int c) {
  const int p = a + b - c;
  const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return static_cast<uint8_t>(a);
  return static_cast<uint8_t>(pb <= pc ? b : c);
}

// Undoes the filters of one pass in place; `rows` lines of `rowBytes`, each
// after its filter byte. False for an unknown filter type.
bool Unfilter(uint8_t* data, size_t rows, size_t rowBytes, size_t bpp) {
  uint8_t* previous = nullptr;
  for (size_t y = 0; y < rows; ++y) {
    uint8_t* line = data + y * (rowBytes + 1);
    const uint8_t type = line[0];
    uint8_t* x = line + 1;
    for (size_t i = 0; i < rowBytes; ++i) {
      const int a = i >= bpp ? x[i - bpp] : 0;
      const int b = previous ? previous[i] : 0;
      const int c = previous && i >= bpp ? previous[i - bpp] : 0;
      switch (type) {
        case 0: break;
        case 1: x[i] = static_cast<uint8_t>(x[i] + a); break;
        case 2: x[i] = static_cast<uint8_t>(x[i] + b); break;
        case 3: x[i] = static_cast<uint8_t>(x[i] + ((a + b) >> 1)); break;
        case 4: x[i] = static_cast<uint8_t>(x[i] + Paeth(a, b, c)); break;
        default: return false;
      }
    }
    previous = x;
  }
  return true;
}

struct PngHeader {
  uint32_t width = 0, height = 0;
  int depth = 0, colour = 0, channels = 0;
  bool interlaced = false;
};

struct Pass {
  int x0, y0, dx, dy;
};
constexpr Pass kAdam7[7] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                            {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
constexpr Pass kWhole[1] = {{0, 0, 1, 1}};

size_t PassSize(uint32_t whole, int start, int step) {
  return whole > static_cast<uint32_t>(start) ? (whole - start + step - 1) / step : 0;
}

}  // namespace

std::optional<Image> DecodePng(Bytes b) {
  if (!IsPng(b)) return std::nullopt;
  PngHeader h;
  std::vector<uint8_t> palette;  // RGB triples
  std::vector<uint8_t> paletteAlpha;
  std::vector<uint8_t> trns;
  std::vector<uint8_t> compressed;
  bool haveHeader = false, ended = false;
  size_t at = 8;
  while (!ended) {
    if (b.size() - at < 12) return std::nullopt;
    const uint32_t length = Be32(&b[at]);
    if (length > b.size() - at - 12) return std::nullopt;
    const uint8_t* type = &b[at + 4];
    const uint8_t* data = &b[at + 8];
    const uint32_t crc = static_cast<uint32_t>(crc32(crc32(0, nullptr, 0), type, length + 4));
    if (crc != Be32(data + length)) return std::nullopt;
    const std::string name(reinterpret_cast<const char*>(type), 4);
    if (!haveHeader && name != "IHDR") return std::nullopt;
    if (name == "IHDR") {
      if (haveHeader || length != 13) return std::nullopt;
      haveHeader = true;
      h.width = Be32(data);
      h.height = Be32(data + 4);
      h.depth = data[8];
      h.colour = data[9];
      if (data[10] != 0 || data[11] != 0 || data[12] > 1) return std::nullopt;
      h.interlaced = data[12] == 1;
      if (h.width == 0 || h.height == 0 || h.width > kMaxIconSide || h.height > kMaxIconSide) return std::nullopt;
      const int d = h.depth;
      switch (h.colour) {
        case 0:
          h.channels = 1;
          if (d != 1 && d != 2 && d != 4 && d != 8 && d != 16) return std::nullopt;
          break;
        case 2:
          h.channels = 3;
          if (d != 8 && d != 16) return std::nullopt;
          break;
        case 3:
          h.channels = 1;
          if (d != 1 && d != 2 && d != 4 && d != 8) return std::nullopt;
          break;
        case 4:
          h.channels = 2;
          if (d != 8 && d != 16) return std::nullopt;
          break;
        case 6:
          h.channels = 4;
          if (d != 8 && d != 16) return std::nullopt;
          break;
        default: return std::nullopt;
      }
    } else if (name == "PLTE") {
      if (length % 3 || length == 0 || length > 768) return std::nullopt;
      palette.assign(data, data + length);
    } else if (name == "tRNS") {
      trns.assign(data, data + length);
    } else if (name == "IDAT") {
      if (compressed.size() + length > (64u << 20)) return std::nullopt;
      compressed.insert(compressed.end(), data, data + length);
    } else if (name == "IEND") {
      ended = true;
    } else if (!(type[0] & 0x20)) {
      return std::nullopt;  // a critical chunk we do not know
    }
    at += 12 + length;
  }
  if (h.colour == 3) {
    if (palette.empty()) return std::nullopt;
    paletteAlpha.assign(palette.size() / 3, 255);
    for (size_t i = 0; i < trns.size() && i < paletteAlpha.size(); ++i) paletteAlpha[i] = trns[i];
  }

  const size_t bitsPerPixel = static_cast<size_t>(h.channels) * h.depth;
  const size_t bpp = std::max<size_t>(1, bitsPerPixel / 8);
  const std::span<const Pass> passes = h.interlaced ? std::span<const Pass>(kAdam7) : std::span<const Pass>(kWhole);
  size_t total = 0;
  for (const Pass& p : passes) {
    const size_t w = PassSize(h.width, p.x0, p.dx), rows = PassSize(h.height, p.y0, p.dy);
    if (w && rows) total += rows * ((w * bitsPerPixel + 7) / 8 + 1);
  }
  std::vector<uint8_t> raw(total);
  z_stream z{};
  if (inflateInit(&z) != Z_OK) return std::nullopt;
  z.next_in = compressed.data();
  z.avail_in = static_cast<uInt>(compressed.size());
  z.next_out = raw.data();
  z.avail_out = static_cast<uInt>(raw.size());
  const int status = inflate(&z, Z_FINISH);
  const size_t produced = raw.size() - z.avail_out;
  inflateEnd(&z);
  if ((status != Z_STREAM_END && status != Z_BUF_ERROR && status != Z_OK) || produced != raw.size())
    return std::nullopt;

  Image image;
  image.width = static_cast<int32_t>(h.width);
  image.height = static_cast<int32_t>(h.height);
  image.argb.assign(size_t{h.width} * h.height, 0);
  const uint32_t maxSample = (1u << h.depth) - 1;
  // A sample of the tRNS chunk (grey, or red, green, blue); a value no
  // sample can have when the chunk does not give it.
  const auto trnsSample = [&](size_t i) {
    return trns.size() >= 2 * (i + 1) ? uint32_t{trns[2 * i]} << 8 | trns[2 * i + 1] : 0x10000u;
  };
  uint8_t* cursor = raw.data();
  for (const Pass& p : passes) {
    const size_t w = PassSize(h.width, p.x0, p.dx), rows = PassSize(h.height, p.y0, p.dy);
    if (!w || !rows) continue;
    const size_t rowBytes = (w * bitsPerPixel + 7) / 8;
    if (!Unfilter(cursor, rows, rowBytes, bpp)) return std::nullopt;
    for (size_t y = 0; y < rows; ++y) {
      const uint8_t* line = cursor + y * (rowBytes + 1) + 1;
      for (size_t x = 0; x < w; ++x) {
        // Samples at the file's depth.
        uint32_t s[4] = {0, 0, 0, 0};
        for (int c = 0; c < h.channels; ++c) {
          const size_t bit = (x * h.channels + c) * h.depth;
          if (h.depth == 16) {
            s[c] = uint32_t{line[bit / 8]} << 8 | line[bit / 8 + 1];
          } else if (h.depth == 8) {
            s[c] = line[bit / 8];
          } else {
            s[c] = (line[bit / 8] >> (8 - h.depth - bit % 8)) & maxSample;
          }
        }
        const auto to8 = [&](uint32_t v) { return h.depth == 16 ? v >> 8 : v * 255 / maxSample; };
        uint32_t r, g, bl, a = 255;
        switch (h.colour) {
          case 0:
            r = g = bl = to8(s[0]);
            if (trnsSample(0) == s[0]) a = 0;
            break;
          case 2:
            r = to8(s[0]), g = to8(s[1]), bl = to8(s[2]);
            if (trnsSample(0) == s[0] && trnsSample(1) == s[1] && trnsSample(2) == s[2]) a = 0;
            break;
          case 3:
            if (s[0] >= paletteAlpha.size()) return std::nullopt;
            r = palette[s[0] * 3], g = palette[s[0] * 3 + 1], bl = palette[s[0] * 3 + 2], a = paletteAlpha[s[0]];
            break;
          case 4: r = g = bl = to8(s[0]), a = to8(s[1]); break;
          default: r = to8(s[0]), g = to8(s[1]), bl = to8(s[2]), a = to8(s[3]); break;
        }
        const size_t px = (p.y0 + y * p.dy) * h.width + p.x0 + x * p.dx;
        image.argb[px] = a << 24 | r << 16 | g << 8 | bl;
      }
    }
    cursor += rows * (rowBytes + 1);
  }
  return image;
}

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
