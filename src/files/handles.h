// kp160std — the process-wide handle table of open files (and of the other
// streams, such as shared-memory blocks, that share its numbers).
//
// Slots hold {link, entry}: a slot in use has link -2; a free slot's link is
// the next free slot (-1 ends the chain). The most recently released number
// is reused first; the array grows by 5 slots. Handles 0 and 1 are
// placeholders, so the first handle a KL program sees is 2.
//
// Thread-safety: no lock, on purpose; the table is used from the thread that runs
// the KL program. Every stream still open is closed, without reporting,
// when the library is unloaded (the table's destructor).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/read_at.h"
#include "project/stream.h"

namespace kp::files {

// A stream of another kind in the table: closed through its own routine.
class OtherStream {
 public:
  virtual ~OtherStream() = default;
  virtual void Close() = 0;
};

struct HandleEntry {
  enum Kind : uint32_t { kDiskFile = 0, kOther = 1 };
  Kind kind = kDiskFile;
  std::unique_ptr<project::IXStream> stream;  // kDiskFile
  std::unique_ptr<OtherStream> other;         // kOther
  bool unicode = false;
  // fLitLigne's mapped window on a disk file (see MappedLine in file_io.cpp),
  // the file's size when it last asked, and whether mapping was refused.
  platform::fs::FileView view;
  int64_t knownSize = -1;
  bool noView = false;
  // fLitLigne's last line (ReadLine hands out a view of it): reused from
  // line to line, so a line costs no allocation. Its size is its capacity;
  // the line is the first characters.
  std::u16string line;
};

class HandleTable {
 public:
  static constexpr int32_t kGrowth = 5;
  HandleTable() { Reset(); }
  ~HandleTable() { CloseAll(); }
  HandleTable(const HandleTable&) = delete;
  HandleTable& operator=(const HandleTable&) = delete;

  // The handle number; -1 when the table cannot grow. Takes ownership.
  int32_t Add(std::unique_ptr<HandleEntry> entry);
  // Null unless the slot is in use and the number is 2 or more.
  HandleEntry* Get(int32_t handle) const;
  // Frees the slot and hands the entry back; null for an invalid handle.
  std::unique_ptr<HandleEntry> Release(int32_t handle);
  // Closes every stream without reporting and empties the table, then adds
  // the two placeholders again.
  void CloseAll();

  int32_t inUse() const { return inUse_; }
  int32_t capacity() const { return static_cast<int32_t>(slots_.size()); }

 private:
  struct Slot {
    int32_t link;
    HandleEntry* entry;
  };
  void Reset();

  std::vector<Slot> slots_;
  int32_t firstFree_ = -1;
  int32_t issued_ = 0;
  int32_t inUse_ = 0;
};

HandleTable& Handles();

// Closes an entry's stream as fFerme does.
void CloseEntry(HandleEntry& entry);

}  // namespace kp::files
