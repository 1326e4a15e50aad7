// The shortcut text form read from arbitrary UTF-16 text (the input's bytes
// taken in pairs): never reads past the text, and what it reads writes back
// to a text that reads the same.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "desktop/shortcut.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * 2);
  const auto read = kp::desktop::ReadShortcutText(text);
  if (!read) return 0;
  if (read->target.size() + read->parameters.size() > text.size()) __builtin_trap();
  // A target with a space but no quotes, or with a quote, cannot come back
  // the same way; the others must.
  if (read->target.find(u'"') != std::u16string::npos) return 0;
  const auto again = kp::desktop::ShortcutText(read->target, read->parameters);
  if (!again) return 0;
  const auto twice = kp::desktop::ReadShortcutText(*again);
  if (!twice || twice->target != read->target || twice->parameters != read->parameters) __builtin_trap();
  return 0;
}
