// kp160std — message texts by number: the VM's callback first, then the
// library's own message block (message_block.h), in the current language
// (French when the language code is 12, else English).
//
// Thread-safety: any thread; the callback is called on the caller's thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kp160std/abi.h"

namespace kp {

// The text of message `number`; nullopt when neither the VM's callback nor
// the library's block has it. A text that exists but is empty comes back
// empty, not nullopt: the error record tells the two apart.
std::optional<std::u16string> FetchMessageText(uint32_t number);

// The same, empty when there is none.
std::u16string MessageText(uint32_t number);
// The text of an error or warning identifier (81702 and the like): the
// message its row of the error table names; empty when it names none.
std::u16string ErrorMessageText(int32_t errorId);

// CommandeComposante 3: copies the text (truncated, zero-terminated) and
// returns its length in code units, 0 when there is none.
uint32_t CopyMessageText(uint32_t number, kl_char* buffer, uint32_t capacity);

// CommandeComposante 4: the attribute byte of the library's own record, -1
// when it has none.
int32_t MessageAttribute(uintptr_t number);

}  // namespace kp
