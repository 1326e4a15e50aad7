// kp160std — string blocks (StringHolder) from the VM's string memory manager.
//
// A block is a 20-byte header followed by the text (zero-terminated UTF-16)
// or bytes; the holder points just past the header. Blocks come from the
// manager of GeneralParam 2008, or from the library's own one before the VM
// hands its manager over. A block is released through the per-thread string
// manager the VM keeps under its thread-local index (GeneralParam 2005) when
// the VM gave one and this thread's slot holds a manager; else through the
// string service of GeneralParam 2006 when one is set; else through the
// manager that allocated it.
//
// 8-bit text (the ANSI code page) is converted here too: through the VM's
// conversion services when bInitKLConvFromVM bound them, else with the
// platform's code page.
//
// Thread-safety: release a block on the thread that got it; conversions from
// any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
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

// UTF-16 to 8-bit text of the ANSI code page and back. A character the code
// page cannot hold becomes "?"; the VM's services decide it when bound.
std::string ToEightBit(std::u16string_view text);
std::u16string FromEightBit(std::string_view bytes);
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
