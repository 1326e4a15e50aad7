// kp160std — the size of a text in a font on POSIX (see display.h): the font
// file fontconfig matches for the name and pixel size, measured with
// FreeType. Faces are kept open by file and size; one lock guards them, as a
// FreeType library object is not to be used from two threads at once.
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <cmath>
#include <map>
#include <mutex>
#include <string>

#include "platform/display.h"
#include "platform/platform.h"
#include "platform/posix/fs_names.h"
#include "platform/win32_errors.h"

namespace kp::platform::display {
namespace {

std::mutex gTextLock;
FT_Library gFreeType = nullptr;
std::map<std::pair<std::string, int>, FT_Face> gFaces;  // (file and index, size) -> face

// "name[,size]" with the defaults for what is missing; false for a bad size.
bool ParseFont(std::u16string_view font, std::string* name, int* size) {
  std::u16string_view n = font, z;
  if (const size_t comma = font.find(u','); comma != std::u16string_view::npos) {
    n = font.substr(0, comma);
    z = font.substr(comma + 1);
  }
  while (!n.empty() && n.front() == u' ') n.remove_prefix(1);
  while (!n.empty() && n.back() == u' ') n.remove_suffix(1);
  if (n.empty()) n = kDefaultFontName;
  if (!fs::names::ToUtf8(n, name)) return false;
  *size = kDefaultFontSize;
  while (!z.empty() && z.front() == u' ') z.remove_prefix(1);
  while (!z.empty() && z.back() == u' ') z.remove_suffix(1);
  if (!z.empty()) {
    int v = 0;
    for (char16_t c : z) {
      if (c < u'0' || c > u'9' || v > 100000) return false;
      v = v * 10 + (c - u'0');
    }
    *size = v;
  }
  return *size >= 1 && *size <= 1000;
}

// fontconfig's configuration parser loses a block of its own while it reads
// the configuration files; the leak checker is told to look away for the
// time of that one load, which stays for the life of the process.
bool LoadFontconfig() {
  static bool loaded = false;
  if (loaded) return true;
#if defined(__SANITIZE_ADDRESS__)
  __lsan_disable();
#endif
  loaded = FcInit();
#if defined(__SANITIZE_ADDRESS__)
  __lsan_enable();
#endif
  return loaded;
}

FT_Face Face(const std::string& name, int size) {
  if (!LoadFontconfig()) return nullptr;
  if (!gFreeType && FT_Init_FreeType(&gFreeType)) return nullptr;
  FcPattern* pattern = FcPatternCreate();
  FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(name.c_str()));
  FcPatternAddDouble(pattern, FC_PIXEL_SIZE, size);
  FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result;
  FcPattern* match = FcFontMatch(nullptr, pattern, &result);
  FcPatternDestroy(pattern);
  if (!match) return nullptr;
  FcChar8* file = nullptr;
  int index = 0;
  std::string path;
  if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) path = reinterpret_cast<char*>(file);
  FcPatternGetInteger(match, FC_INDEX, 0, &index);
  FcPatternDestroy(match);
  if (path.empty()) return nullptr;
  const auto key = std::make_pair(path + "#" + std::to_string(index), size);
  if (auto it = gFaces.find(key); it != gFaces.end()) return it->second;
  FT_Face face = nullptr;
  if (FT_New_Face(gFreeType, path.c_str(), index, &face)) return nullptr;
  if (FT_Set_Pixel_Sizes(face, 0, FT_UInt(size))) {
    FT_Done_Face(face);
    return nullptr;
  }
  gFaces.emplace(key, face);
  return face;
}

}  // namespace

bool MeasureText(std::u16string_view text, std::u16string_view font, int32_t* width, int32_t* height) {
  std::string name;
  int size = 0;
  if (!ParseFont(font, &name, &size)) {
    SetLastError(win32::kInvalidParameter);
    return false;
  }
  std::lock_guard<std::mutex> hold(gTextLock);
  FT_Face face = Face(name, size);
  if (!face) {
    SetLastError(win32::kFileNotFound);
    return false;
  }
  FT_Pos pen = 0;  // 26.6
  FT_UInt previous = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    const FT_UInt glyph = FT_Get_Char_Index(face, c);
    if (previous && glyph && FT_HAS_KERNING(face)) {
      FT_Vector k;
      if (!FT_Get_Kerning(face, previous, glyph, FT_KERNING_DEFAULT, &k)) pen += k.x;
    }
    // Unhinted advances, rounded once at the end: the width a layout with
    // sub-pixel positions gives, not one grown by a pixel per glyph.
    if (!FT_Load_Glyph(face, glyph, FT_LOAD_NO_HINTING)) pen += face->glyph->advance.x;
    previous = glyph;
  }
  *width = int32_t((pen + 32) / 64);
  *height = int32_t((face->size->metrics.ascender - face->size->metrics.descender + 63) / 64);
  return true;
}

}  // namespace kp::platform::display
