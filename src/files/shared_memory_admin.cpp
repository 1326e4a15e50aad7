// kp160std — the administration block of a shared memory block: which
// processes have it open, so that a change is notified to the others. Its
// layout is shared with processes of other builds: byte 0 the version, byte 1
// the count, then the identifiers, four little-endian bytes each.
#include "files/shared_memory.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kp::files {

namespace {

uint32_t Slot(const uint8_t* block, size_t i) {
  uint32_t pid = 0;
  for (int b = 3; b >= 0; --b) pid = (pid << 8) | block[4 + 4 * i + b];
  return pid;
}

void SetSlot(uint8_t* block, size_t i, uint32_t pid) {
  for (int b = 0; b < 4; ++b) block[4 + 4 * i + b] = static_cast<uint8_t>(pid >> (8 * b));
}

}  // namespace

bool AdminUsable(const uint8_t* block) { return block[0] <= kAdminVersion; }

std::vector<uint32_t> AdminOthers(const uint8_t* block, uint32_t self) {
  std::vector<uint32_t> out;
  const size_t count = std::min<size_t>(block[1], kAdminSlots);
  for (size_t i = 0; i < count; ++i) {
    const uint32_t pid = Slot(block, i);
    if (pid != self) out.push_back(pid);
  }
  return out;
}

bool AdminEnrol(uint8_t* block, uint32_t pid) {
  const size_t count = std::min<size_t>(block[1], kAdminSlots);
  for (size_t i = 0; i < count; ++i) {
    if (Slot(block, i) == pid) return true;
  }
  if (count >= kAdminSlots) return false;
  SetSlot(block, count, pid);
  block[1] = static_cast<uint8_t>(count + 1);
  return true;
}

void AdminWithdraw(uint8_t* block, uint32_t pid) {
  for (size_t i = 0; i < kAdminSlots; ++i) {
    if (Slot(block, i) != pid) continue;
    for (size_t j = i; j + 1 < kAdminSlots; ++j) SetSlot(block, j, Slot(block, j + 1));
    SetSlot(block, kAdminSlots - 1, 0);
    if (block[1] > 0) block[1] = static_cast<uint8_t>(std::min<size_t>(block[1], kAdminSlots) - 1);
    return;
  }
}

}  // namespace kp::files
