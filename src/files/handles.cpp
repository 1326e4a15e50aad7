// kp160std — the handle table.
#include "files/handles.h"

#include <new>

namespace kp::files {

namespace {
constexpr int32_t kInUse = -2;
}

void HandleTable::Reset() {
  slots_.clear();
  firstFree_ = -1;
  issued_ = 0;
  inUse_ = 0;
  Add(nullptr);
  Add(nullptr);
}

int32_t HandleTable::Add(std::unique_ptr<HandleEntry> entry) {
  int32_t index;
  if (firstFree_ >= 0) {
    index = firstFree_;
    firstFree_ = slots_[static_cast<size_t>(index)].link;
  } else {
    if (issued_ >= capacity()) {
      try {
        // Added slots read as all-ones bytes, as the table always filled them.
        slots_.resize(slots_.size() + kGrowth, Slot{-1, reinterpret_cast<HandleEntry*>(~uintptr_t{0})});
      } catch (const std::bad_alloc&) {
        return -1;
      }
    }
    index = issued_++;
  }
  slots_[static_cast<size_t>(index)] = Slot{kInUse, entry.release()};
  ++inUse_;
  return index;
}

HandleEntry* HandleTable::Get(int32_t handle) const {
  if (handle < 2 || handle >= issued_) return nullptr;
  const Slot& slot = slots_[static_cast<size_t>(handle)];
  return slot.link == kInUse ? slot.entry : nullptr;
}

std::unique_ptr<HandleEntry> HandleTable::Release(int32_t handle) {
  HandleEntry* entry = Get(handle);
  if (!entry) return nullptr;
  slots_[static_cast<size_t>(handle)] = Slot{firstFree_, nullptr};
  firstFree_ = handle;
  if (inUse_ > 0) --inUse_;
  return std::unique_ptr<HandleEntry>(entry);
}

void HandleTable::CloseAll() {
  for (int32_t i = 0; i < issued_; ++i) {
    Slot& slot = slots_[static_cast<size_t>(i)];
    if (slot.link != kInUse || !slot.entry) continue;
    std::unique_ptr<HandleEntry> entry(slot.entry);
    slot.entry = nullptr;
    CloseEntry(*entry);
  }
  Reset();
}

void CloseEntry(HandleEntry& entry) {
  if (entry.kind == HandleEntry::kDiskFile) {
    entry.view.Unmap();
    if (entry.stream) entry.stream->Close();
    entry.stream.reset();
  } else {
    if (entry.other) entry.other->Close();
    entry.other.reset();
  }
}

HandleTable& Handles() {
  static HandleTable table;
  return table;
}

}  // namespace kp::files
