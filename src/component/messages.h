// kp160std — message texts by number: the VM's callback first, then the
// library's own message block.
#pragma once

#include <cstdint>
#include <string>

#include "kp160std/abi.h"

namespace kp {

// The text of message `number` in the current language; empty when neither
// the VM's callback nor the library's block has it.
std::u16string MessageText(uint32_t number);

// CommandeComposante 3: copies the text (truncated, zero-terminated) and
// returns its length in code units, 0 when there is none.
uint32_t CopyMessageText(uint32_t number, kl_char* buffer, uint32_t capacity);

// CommandeComposante 4: the attribute byte of the library's own record, -1
// when it has none.
int32_t MessageAttribute(uintptr_t number);

}  // namespace kp
