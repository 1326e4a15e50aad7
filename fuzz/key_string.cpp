// The key-string parser on arbitrary UTF-16 text and options: no crash, a
// failed parse leaves an empty queue, a good one never passes the record
// limit, and every record is a keyboard or a mouse record with known flags.
// The limit is kept small so that a long repeat count shows up as an error,
// not as time.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "system/key_string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  using namespace kp::system::keys;
  const uint32_t options = data[0] & 7;
  std::u16string text((size - 1) / 2, u'\0');
  std::memcpy(text.data(), data + 1, text.size() * 2);
  KeyStringEnv env;
  env.vkKeyScan = UsVkKeyScan;
  env.clientToScreen = [](int32_t* x, int32_t* y) { *x += 7, *y -= 3; };
  env.screenWidth = 800;
  env.screenHeight = 600;
  env.maxRecords = 4096;
  const ParseResult r = Parse(text, options, env);
  if (!r.ok() && !r.records.empty()) __builtin_trap();
  if (r.records.size() > env.maxRecords) __builtin_trap();
  for (const auto& rec : r.records) {
    if (rec.type == kKeyboard) {
      if (rec.flags > kCharUp) __builtin_trap();
    } else if (rec.type == kMouse) {
      if (rec.flags != kMoveAbsolute && (rec.x != 0 || rec.y != 0)) __builtin_trap();
    } else {
      __builtin_trap();
    }
  }
  return 0;
}
