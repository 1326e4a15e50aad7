// kp160std — message texts (interim: the library's own block is being built).
#include "component/messages.h"

#include <algorithm>

#include "component/state.h"

namespace kp {

std::u16string MessageText(uint32_t number) {
  if (auto cb = State().messageCallback) {
    std::u16string buffer(4096, u'\0');
    const uint32_t n = cb(number, buffer.data(), static_cast<uint32_t>(buffer.size()));
    if (n) {
      buffer.resize(std::min<size_t>(n, buffer.size()));
      return buffer;
    }
  }
  return {};
}

uint32_t CopyMessageText(uint32_t number, kl_char* buffer, uint32_t capacity) {
  const std::u16string text = MessageText(number);
  if (text.empty() || !buffer || capacity == 0) return 0;
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(text.size()), capacity - 1);
  std::copy_n(text.data(), n, buffer);
  buffer[n] = 0;
  return n;
}

int32_t MessageAttribute(uintptr_t) { return -1; }

}  // namespace kp
