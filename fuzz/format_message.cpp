// Fuzz target: the message formatter and the error record's use of it.
//
// Input: byte 0 is the number of inserts (mod 8); each insert is a text when
// the next byte is odd, else a number from the following 8 bytes; the rest is
// the message text as UTF-16.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "component/error.h"
#include "platform/format_message.h"
#include "support/fake_context.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  size_t at = 1;
  const size_t count = data[0] % 8;
  std::vector<std::u16string> texts;
  std::vector<kp::platform::FormatArgument> arguments;
  texts.reserve(count);
  for (size_t i = 0; i < count && at < size; ++i) {
    const bool isText = data[at++] & 1;
    if (isText) {
      const size_t n = at < size ? data[at++] : 0;
      std::u16string t;
      for (size_t k = 0; k < n && at < size; ++k) t += static_cast<char16_t>(data[at++]);
      texts.push_back(std::move(t));
      arguments.push_back({true, 0, texts.back()});
    } else {
      uint64_t v = 0;
      for (int k = 0; k < 8 && at < size; ++k) v = v << 8 | data[at++];
      arguments.push_back({false, v, {}});
    }
  }
  std::u16string text;
  for (; at + 1 < size; at += 2) text += static_cast<char16_t>(data[at] | data[at + 1] << 8);

  const auto out = kp::platform::FormatMessageFromString(text, arguments);
  if (out && out->size() > text.size() * (kp::platform::kMaxFieldWidth + 1) + 64 * 256 * arguments.size() + 16)
    __builtin_trap();  // no output may grow without bound

  // The same text through the error record (the not-formatted path too).
  kp::test::FakeContext context;
  std::vector<kp::Insert> inserts;
  for (const auto& a : arguments) inserts.push_back(a.isText ? kp::Insert(a.text) : kp::Insert(a.number));
  kp::AddInternalMessage(&context.error(), text, {});
  return 0;
}
