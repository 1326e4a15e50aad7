// VérifieExpressionRégulière on arbitrary expressions (the first half of the
// input, as UTF-16) and subjects (the second half): never a crash, a hang or
// an exhausted stack; an invalid expression always comes with a reason.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "encoding/regex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const size_t half = size / 4 * 2;
  std::u16string expression(half / 2, u'\0'), subject((size - half) / 2, u'\0');
  std::memcpy(expression.data(), data, expression.size() * 2);
  std::memcpy(subject.data(), data + half, subject.size() * 2);
  std::string error;
  const auto matched = kp::encoding::FullMatch(subject, expression, &error);
  if (!matched && error.empty()) __builtin_trap();
  return 0;
}
