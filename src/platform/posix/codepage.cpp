// kp160std — the ANSI code page on POSIX, through iconv.
#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/codepage.h"

namespace kp::platform {

namespace {

std::string IconvName(uint32_t codePage) {
  if (codePage == kCodePageUtf8) return "UTF-8";
  if (codePage == 20127) return "ASCII";
  if (codePage >= 28591 && codePage <= 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
}

// One converter per call: iconv_t is not shareable between threads, and these
// conversions are not on a hot path that a cache would pay for.
class Converter {
 public:
  Converter(const std::string& to, const std::string& from) : cd_(iconv_open(to.c_str(), from.c_str())) {}
  ~Converter() {
    if (ok()) iconv_close(cd_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
  // Converts one unit; false when the input cannot be converted.
  bool Convert(const char* in, size_t inSize, std::string* out) {
    char buffer[16];
    char* src = const_cast<char*>(in);
    char* dst = buffer;
    size_t left = sizeof buffer;
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd_, &src, &inSize, &dst, &left) == static_cast<size_t>(-1) || inSize != 0) return false;
    out->append(buffer, dst);
    return true;
  }
  iconv_t raw() { return cd_; }

 private:
  iconv_t cd_;
};

}  // namespace

uint32_t AnsiCodePage() {
  if (const char* v = std::getenv("KP_CODEPAGE"); v && *v) {
    const unsigned long n = std::strtoul(v, nullptr, 10);
    if (n > 0 && n < 65536) return static_cast<uint32_t>(n);
  }
  return 1252;
}

std::string ToCodePage(std::u16string_view text, uint32_t codePage) {
  Converter c(IconvName(codePage), "UTF-16LE");
  std::string out;
  if (!c.ok()) {
    for (char16_t ch : text) out += ch < 0x80 ? static_cast<char>(ch) : '?';
    return out;
  }
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t ch = text[i];
    if (ch < 0x80 && codePage != 1200) {
      out += static_cast<char>(ch);
      continue;
    }
    char units[4] = {static_cast<char>(ch & 0xFF), static_cast<char>(ch >> 8)};
    size_t size = 2;
    if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      units[2] = static_cast<char>(text[i + 1] & 0xFF);
      units[3] = static_cast<char>(text[i + 1] >> 8);
      size = 4;
      ++i;
    }
    if (!c.Convert(units, size, &out)) out += '?';
  }
  return out;
}

std::u16string FromCodePage(std::string_view bytes, uint32_t codePage) {
  std::u16string out;
  // ASCII reads the same in every code page this library meets: no converter needed.
  bool ascii = true;
  for (char b : bytes) ascii = ascii && static_cast<unsigned char>(b) < 0x80;
  if (ascii) return std::u16string(bytes.begin(), bytes.end());
  Converter c("UTF-16LE", IconvName(codePage));
  if (!c.ok()) {
    for (char b : bytes) out += static_cast<unsigned char>(b) < 0x80 ? static_cast<char16_t>(b) : u'\uFFFD';
    return out;
  }
  std::string utf16(bytes.size() * 2 + 16, '\0');
  char* src = const_cast<char*>(bytes.data());
  size_t left = bytes.size();
  char* dst = utf16.data();
  size_t room = utf16.size();
  while (left > 0) {
    if (iconv(c.raw(), &src, &left, &dst, &room) != static_cast<size_t>(-1)) break;
    if (errno == E2BIG) {
      const size_t used = static_cast<size_t>(dst - utf16.data());
      utf16.resize(utf16.size() * 2);
      dst = utf16.data() + used;
      room = utf16.size() - used;
      continue;
    }
    // A byte the code page does not define (or a cut sequence): U+FFFD, go on.
    if (room < 2) {
      const size_t used = static_cast<size_t>(dst - utf16.data());
      utf16.resize(utf16.size() * 2);
      dst = utf16.data() + used;
      room = utf16.size() - used;
    }
    *dst++ = static_cast<char>(0xFD);
    *dst++ = static_cast<char>(0xFF);
    room -= 2;
    ++src;
    --left;
    iconv(c.raw(), nullptr, nullptr, nullptr, nullptr);
  }
  const size_t used = static_cast<size_t>(dst - utf16.data());
  out.resize(used / 2);
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = static_cast<char16_t>(static_cast<uint8_t>(utf16[2 * i]) | (static_cast<uint8_t>(utf16[2 * i + 1]) << 8));
  return out;
}

}  // namespace kp::platform
