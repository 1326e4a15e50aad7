// kp160std — string blocks (StringHolder) from the VM's string memory manager.
//
// A block is a 20-byte header followed by the text (zero-terminated UTF-16)
// or bytes; the holder points just past the header. Blocks come from the
// manager of GeneralParam 2008, or from the library's own one before the VM
// hands its manager over, and are released through the string service of
// GeneralParam 2006 when one is set. Release a block on the thread that got it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "kp160std/abi.h"

namespace kp {

// Null and empty texts are the same thing to a KL program.
inline std::u16string_view View(const kl_char* text) { return text ? std::u16string_view(text) : std::u16string_view(); }

// Null for the empty text; throws std::bad_alloc when the manager has no memory.
KLStringHolder MakeTextHolder(std::u16string_view text);
KLStringHolder MakeBytesHolder(std::span<const uint8_t> bytes);
void ReleaseHolder(KLStringHolder& holder);

std::u16string_view HolderText(KLStringHolder holder);
std::span<const uint8_t> HolderBytes(KLStringHolder holder);

// A result cell that owns its holder and releases it when the call is done,
// even when the VM failed the copy.
class HolderCell {
 public:
  explicit HolderCell(KLStringHolder holder) : holder_(holder) {}
  ~HolderCell() { ReleaseHolder(holder_); }
  HolderCell(const HolderCell&) = delete;
  HolderCell& operator=(const HolderCell&) = delete;
  const void* address() const { return &holder_; }

 private:
  KLStringHolder holder_;
};

}  // namespace kp
