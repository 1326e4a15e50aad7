// kp160std — message texts: the VM's callback, then the library's block.
#include "abi/messages.h"

#include <algorithm>

#include "abi/error_table.h"
#include "abi/message_block.h"
#include "abi/state.h"

namespace kp {
namespace {

// Longer texts are cut: the callback writes into a buffer of this size.
constexpr uint32_t kCallbackCapacity = 4096;

}  // namespace

std::optional<std::u16string> FetchMessageText(uint32_t number) {
  if (auto callback = State().messageCallback) {
    std::u16string buffer(kCallbackCapacity, u'\0');
    const uint32_t n = callback(number, buffer.data(), kCallbackCapacity);
    if (n) {
      buffer.resize(std::min<uint32_t>(n, kCallbackCapacity - 1));
      buffer.resize(std::char_traits<char16_t>::length(buffer.c_str()));  // stop at a terminator
      return buffer;
    }
  }
  return BlockMessageText(number, French());
}

std::u16string MessageText(uint32_t number) { return FetchMessageText(number).value_or(std::u16string()); }

std::u16string ErrorMessageText(int32_t errorId) {
  const uint32_t* row = FindErrorDef(errorId);
  return row && row[kErrorText] ? MessageText(row[kErrorText]) : std::u16string();
}

uint32_t CopyMessageText(uint32_t number, kl_char* buffer, uint32_t capacity) {
  const std::u16string text = MessageText(number);
  if (text.empty() || !buffer || capacity == 0) return 0;
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(text.size()), capacity - 1);
  std::copy_n(text.data(), n, buffer);
  buffer[n] = 0;
  return n;
}

int32_t MessageAttribute(uintptr_t number) {
  if (static_cast<uint32_t>(number) != number) return -1;
  return BlockMessageAttribute(static_cast<uint32_t>(number));
}

}  // namespace kp
