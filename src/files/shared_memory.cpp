// kp160std — blocks of memory shared between processes, their lock, their
// notification of changes and the listener thread (the administration block
// of the processes that have a block open is in shared_memory_admin.cpp).
#include "files/shared_memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "abi/strings.h"
#include "abi/vm.h"
#include "files/file_io.h"
#include "files/path_rule.h"
#include "platform/codepage.h"
#include "platform/named_objects.h"
#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::files {

namespace named = platform::named;

namespace {

constexpr int32_t kSemaphoreMaximum = 0x7FFFFFFF;
constexpr uint32_t kListenerWaitMs = 1000;

std::u16string Decimal(uint32_t n) {
  std::u16string out;
  for (char c : std::to_string(n)) out += static_cast<char16_t>(c);
  return out;
}

std::u16string FullName(std::u16string_view name, int32_t scope) {
  std::u16string full = scope == kMemScopeLocal ? u"Local\\" : u"Global\\";
  full += name;
  return full;
}

std::u16string NotificationName(const std::u16string& full, uint32_t pid) { return full + u"_SEMN" + Decimal(pid); }
std::u16string ReceiptName(const std::u16string& full, uint32_t pid) { return full + u"_SEMF" + Decimal(pid); }

// Releases the semaphore `name` once, when it exists.
void ReleaseNamed(const std::u16string& name) {
  const named::Handle h = named::OpenSemaphore(name);
  if (!h) return;
  named::ReleaseSemaphore(h, 1, nullptr);
  named::CloseHandle(h);
}

class SharedBlock;

// What the process shares with its listener thread.
struct Notification {
  std::mutex mutex;  // the critical section
  std::vector<SharedBlock*> listed;
  std::thread listener;
  bool running = false;
  bool stop = false;
  named::Handle wake = named::kNoHandle;  // set to stop the listener at once
};

// Never destroyed: blocks still open are closed by the handle table's own
// destructor, after any function-local static of this file may be gone. In
// static storage, and without heap memory while no block has a procedure,
// so that a library unloaded idle leaves nothing behind.
Notification& State() {
  alignas(Notification) static unsigned char storage[sizeof(Notification)];
  static Notification* state = new (storage) Notification;
  return *state;
}

void RunListener();

}  // namespace

// --- the block -----------------------------------------------------------------

namespace {

class SharedBlock final : public OtherStream {
 public:
  ~SharedBlock() override { Close(); }

  // The closing routine (fFerme, or a failed opening): idempotent.
  void Close() override;

  bool Lock() {
    if (!mutex_) return false;
    const uint32_t r = named::WaitForObject(mutex_, named::kInfinite);
    // Abandoned by a process that died holding it: ours now, and the block
    // is used as that process left it.
    return r == named::kWaitObject0 || r == named::kWaitAbandoned0;
  }
  void Unlock() { named::ReleaseMutex(mutex_); }

  // Enrolled identifiers other than this process's, read under the lock.
  std::vector<uint32_t> OthersLocked() const { return admin_ ? AdminOthers(admin_, self_) : std::vector<uint32_t>{}; }

  // Writes at the position, clipped at the end of the block on purpose;
  // the clipped count in `done`. Notifies after the write.
  bool Write(const void* data, size_t size, uint32_t* done) {
    *done = 0;
    if (!view_) return Failed(win32::kInvalidHandle);
    if (!writable_) return Failed(win32::kAccessDenied);
    if (!Lock()) return Failed(platform::LastError());
    const std::vector<uint32_t> others = OthersLocked();
    // Receipts of an earlier write nobody waited for must not answer for this one.
    for (uint32_t pid : others) {
      const named::Handle receipt = named::OpenSemaphore(ReceiptName(name_, pid));
      if (!receipt) continue;
      while (named::WaitForObject(receipt, 0) == named::kWaitObject0) {
      }
      named::CloseHandle(receipt);
    }
    const uint64_t room = position_ < size_ ? size_ - position_ : 0;
    const size_t n = static_cast<size_t>(std::min<uint64_t>(size, room));
    if (n) std::memcpy(static_cast<uint8_t*>(view_) + position_, data, n);
    position_ += n;
    Unlock();
    for (uint32_t pid : others) ReleaseNamed(NotificationName(name_, pid));
    *done = static_cast<uint32_t>(n);
    return true;
  }

  bool Read(void* buffer, size_t size, uint32_t* done) {
    *done = 0;
    if (!view_) return Failed(win32::kInvalidHandle);
    if (!Lock()) return Failed(platform::LastError());
    const uint64_t left = position_ < size_ ? size_ - position_ : 0;
    const size_t n = static_cast<size_t>(std::min<uint64_t>(size, left));
    if (n) std::memcpy(buffer, static_cast<const uint8_t*>(view_) + position_, n);
    position_ += n;
    Unlock();
    *done = static_cast<uint32_t>(n);
    return true;
  }

  // Origin 1 counts from the position, any other from the start; the
  // result must stay within the block, else the position is kept.
  bool Seek(int64_t distance, int32_t origin) {
    if (!view_) return Failed(win32::kInvalidHandle);
    const int64_t from = origin == 1 ? static_cast<int64_t>(position_) : 0;
    if ((distance > 0 && from > INT64_MAX - distance)) return Failed(win32::kNegativeSeek);
    const int64_t to = from + distance;
    if (to < 0 || static_cast<uint64_t>(to) > size_) return Failed(win32::kNegativeSeek);
    position_ = static_cast<uint64_t>(to);
    return true;
  }

  // One line from the position, to CR LF (not part of it) or the end of
  // the block, as fLitLigne reads a file.
  bool ReadLine(bool unicode, std::u16string* line) {
    line->clear();
    if (!view_) return Failed(win32::kInvalidHandle);
    if (!Lock()) return Failed(platform::LastError());
    const auto* bytes = static_cast<const uint8_t*>(view_);
    const size_t unit = unicode ? 2 : 1;
    const size_t endSize = unicode ? 4 : 2;
    static constexpr uint8_t kUnicodeEnd[4] = {0x0D, 0x00, 0x0A, 0x00};
    static constexpr uint8_t kAnsiEnd[2] = {0x0D, 0x0A};
    const uint8_t* end = unicode ? kUnicodeEnd : kAnsiEnd;
    const size_t start = static_cast<size_t>(position_);
    size_t stop = static_cast<size_t>(size_);
    size_t next = stop;
    for (size_t i = start; i + endSize <= size_; i += unit) {
      if (bytes[i] == 0x0D && std::memcmp(bytes + i, end, endSize) == 0) {
        stop = i;
        next = i + endSize;
        break;
      }
    }
    std::string content(reinterpret_cast<const char*>(bytes + start), stop - start);
    position_ = next;
    Unlock();
    if (unicode) {
      line->resize(content.size() / 2);
      for (size_t i = 0; i + 1 < content.size(); i += 2)
        (*line)[i / 2] =
            static_cast<char16_t>(static_cast<uint8_t>(content[i]) | (static_cast<uint8_t>(content[i + 1]) << 8));
    } else {
      *line = FromEightBit(content);
    }
    return true;
  }

  uint64_t position() const { return position_; }
  uint64_t size() const { return size_; }
  uint32_t lastError() const { return lastError_; }
  const std::u16string& name() const { return name_; }

  // Steps 2 to 10 of the opening; false with the system code in lastError().
  bool Open(std::u16string_view userName, int64_t requested, int32_t scope, bool writable, bool* createdHere);
  bool Attach(ExecContext* context, std::u16string_view procedure);

  // For the listener.
  ExecContext* context_ = nullptr;
  uintptr_t procedure_ = 0;

 private:
  bool Failed(uint32_t code) {
    lastError_ = code;
    return false;
  }

  std::u16string name_;
  uint64_t requested_ = 0;
  bool writable_ = false;
  named::Handle mapping_ = named::kNoHandle;
  void* view_ = nullptr;
  uint64_t size_ = 0;
  named::Handle adminMapping_ = named::kNoHandle;
  uint8_t* admin_ = nullptr;
  bool adminCreated_ = false;
  named::Handle mutex_ = named::kNoHandle;
  named::Handle notification_ = named::kNoHandle;
  named::Handle receipt_ = named::kNoHandle;
  uint64_t position_ = 0;
  uint32_t lastError_ = 0;
  bool closed_ = false;
  uint32_t self_ = named::CurrentProcessId();
};

bool SharedBlock::Open(std::u16string_view userName, int64_t requested, int32_t scope, bool writable,
                       bool* createdHere) {
  name_ = FullName(userName, scope);
  requested_ = static_cast<uint64_t>(requested);
  writable_ = writable;
  *createdHere = false;
  // The lock: created owned, or waited for when another process made it.
  mutex_ = named::CreateMutex(name_ + u"_MTX", true);
  if (!mutex_) return Failed(platform::LastError());
  if (platform::LastError() == win32::kAlreadyExists && !Lock()) return Failed(platform::LastError());
  const auto failUnlocked = [&](uint32_t code) {
    Unlock();
    return Failed(code);
  };
  bool existed = false;
  mapping_ = named::OpenMapping(name_, true);
  if (mapping_) {
    existed = true;
    adminMapping_ = named::OpenMapping(name_ + u"_ADM", true);
    if (!adminMapping_) {
      adminMapping_ = named::CreateMapping(name_ + u"_ADM", kAdminSize, true);
      if (!adminMapping_) return failUnlocked(platform::LastError());
      adminCreated_ = true;
    }
  } else {
    mapping_ = named::CreateMapping(name_, requested_, writable);
    if (!mapping_) return failUnlocked(platform::LastError());
    // Another process may have made it between the two calls: then it is its block.
    existed = platform::LastError() == win32::kAlreadyExists;
    adminMapping_ = named::CreateMapping(name_ + u"_ADM", kAdminSize, true);
    if (!adminMapping_) return failUnlocked(platform::LastError());
    adminCreated_ = platform::LastError() != win32::kAlreadyExists;
  }
  *createdHere = !existed;
  // An existing block is mapped whole: it keeps its own size whatever was asked.
  view_ = named::MapView(mapping_, writable, existed ? 0 : static_cast<size_t>(requested_));
  if (!view_) return failUnlocked(platform::LastError());
  size_ = named::ViewRegionSize(view_);
  admin_ = static_cast<uint8_t*>(named::MapView(adminMapping_, true, kAdminSize));
  if (!admin_) return failUnlocked(platform::LastError());
  if (adminCreated_) {
    std::memset(admin_, 0, kAdminSize);
    admin_[0] = kAdminVersion;
  } else if (!AdminUsable(admin_)) {
    // A later version's block: used without notification.
    named::UnmapView(admin_);
    admin_ = nullptr;
  }
  Unlock();
  return true;
}

bool SharedBlock::Attach(ExecContext* context, std::u16string_view procedure) {
  Notification& state = State();
  if (!context) return false;
  const uintptr_t record = FindProcedure(context, procedure);
  if (!record) return false;
  const uint32_t self = named::CurrentProcessId();
  notification_ = named::CreateSemaphore(NotificationName(name_, self), 0, kSemaphoreMaximum);
  receipt_ = named::CreateSemaphore(ReceiptName(name_, self), 0, kSemaphoreMaximum);
  if (!notification_ || !receipt_) return false;
  std::lock_guard guard(state.mutex);
  context_ = context;
  procedure_ = record;
  const bool listed =
      std::any_of(state.listed.begin(), state.listed.end(), [&](const SharedBlock* b) { return b->name_ == name_; });
  if (!listed) state.listed.push_back(this);
  if (!state.running) {
    if (!state.wake) state.wake = named::CreateEvent(u"", false, false);
    if (!state.wake) return false;
    try {
      if (state.listener.joinable()) state.listener.join();
      state.stop = false;
      state.listener = std::thread(RunListener);
    } catch (const std::exception&) {
      return false;
    }
    state.running = true;
  }
  return !admin_ || AdminEnrol(admin_, self);
}

void SharedBlock::Close() {
  if (closed_) return;
  closed_ = true;
  bool idle = false;
  {
    Notification& state = State();
    std::lock_guard guard(state.mutex);
    const size_t before = state.listed.size();
    std::erase(state.listed, this);
    if (state.listed.empty()) state.listed.shrink_to_fit();
    idle = before > 0 && state.listed.empty() && state.running;
  }
  // The last block with a procedure: the listener has nothing left to do.
  if (idle) StopMemListener();
  const bool locked = mutex_ && Lock();
  if (admin_) AdminWithdraw(admin_, named::CurrentProcessId());
  if (view_) named::UnmapView(view_);
  if (admin_) named::UnmapView(admin_);
  view_ = nullptr;
  admin_ = nullptr;
  if (locked) Unlock();
  for (named::Handle h : {mapping_, adminMapping_, mutex_, notification_, receipt_}) {
    if (h) named::CloseHandle(h);
  }
  mapping_ = adminMapping_ = mutex_ = notification_ = receipt_ = named::kNoHandle;
}

void RunListener() {
  Notification& state = State();
  const uint32_t self = named::CurrentProcessId();
  std::unique_lock guard(state.mutex);
  while (!state.stop) {
    // The semaphores are opened anew each round: a block closed meanwhile
    // cannot pull its handles from under the wait.
    std::vector<named::Handle> waits;
    std::vector<SharedBlock*> blocks;
    for (SharedBlock* b : state.listed) {
      const named::Handle h = named::OpenSemaphore(NotificationName(b->name(), self));
      if (!h) continue;
      waits.push_back(h);
      blocks.push_back(b);
      if (waits.size() + 1 >= named::kMaximumWaitObjects) break;
    }
    waits.push_back(state.wake);
    guard.unlock();
    const uint32_t r = named::WaitForObjects(waits, false, kListenerWaitMs);
    guard.lock();
    const size_t i = r - named::kWaitObject0;
    if (r != named::kWaitFailed && i < blocks.size() && !state.stop) {
      SharedBlock* b = blocks[i];
      // Still listed: the block was not closed while we waited.
      if (std::find(state.listed.begin(), state.listed.end(), b) != state.listed.end()) {
        const Value argument{b->name()};
        PostProcedure(b->context_, b->procedure_, std::span<const Value>(&argument, 1));
        ReleaseNamed(ReceiptName(b->name(), self));
      }
    }
    for (size_t k = 0; k + 1 < waits.size(); ++k) named::CloseHandle(waits[k]);
    if (r == named::kWaitFailed) {
      // Nothing to wait for would spin: pause as a time-out would.
      guard.unlock();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      guard.lock();
    }
  }
  state.running = false;
}

SharedBlock* BlockOf(HandleEntry& entry) { return static_cast<SharedBlock*>(entry.other.get()); }

// Stops the listener when the library is unloaded.
struct ListenerStopper {
  ~ListenerStopper() { StopMemListener(); }
} gListenerStopper;

}  // namespace

void StopMemListener() {
  Notification& state = State();
  std::thread listener;
  {
    std::lock_guard guard(state.mutex);
    state.stop = true;
    if (state.wake) named::SetEvent(state.wake);
    listener = std::move(state.listener);
  }
  if (listener.joinable()) listener.join();
  std::lock_guard guard(state.mutex);
  state.running = false;
  if (state.wake) {
    named::CloseHandle(state.wake);
    state.wake = named::kNoHandle;
  }
}

// --- the functions ----------------------------------------------------------------

int32_t MemOpen(ExecContext* context, std::u16string_view name, int32_t size, int32_t scope, int32_t mode,
                std::u16string_view procedure) {
  std::unique_ptr<SharedBlock> block(new (std::nothrow) SharedBlock);
  if (!block) {
    Raise(context, kErrNoMemoryForFile);
    return -1;
  }
  bool createdHere = false;
  if (!block->Open(name, static_cast<int64_t>(size), scope, (mode & foWrite) != 0, &createdHere)) {
    const uint32_t code = block->lastError();
    block->Close();
    RaiseSystem(context, kErrCannotOpenSharedMemory, code, {code});
    return -1;
  }
  if (!procedure.empty()) {
    SharedBlock* raw = block.get();
    if (!raw->Lock()) {
      block->Close();
      Raise(context, kErrTooManySharedMemoryNotifications);
      return -1;
    }
    const bool attached = raw->Attach(context, procedure);
    raw->Unlock();
    if (!attached) {
      block->Close();
      Raise(context, kErrTooManySharedMemoryNotifications);
      return -1;
    }
  }
  SharedBlock* raw = block.get();
  auto entry = std::make_unique<HandleEntry>();
  entry->kind = HandleEntry::kOther;
  entry->other = std::move(block);
  HandleEntry* rawEntry = entry.get();
  const int32_t handle = Handles().Add(std::move(entry));
  if (handle < 0) return -1;
  if (mode & foUnicode) {
    rawEntry->unicode = true;
    if (createdHere) {
      static constexpr uint8_t kMark[2] = {0xFF, 0xFE};
      uint32_t done = 0;
      if (!raw->Write(kMark, 2, &done) || done != 2) {
        const uint32_t code = raw->lastError() ? raw->lastError() : win32::kHandleEof;
        RaiseSystem(context, kErrCannotOpenSharedMemory, code, {code});
        return -1;
      }
    } else {
      uint8_t mark[2] = {};
      uint32_t got = 0;
      if (!raw->Read(mark, 2, &got) || got != 2 || mark[0] != 0xFF || mark[1] != 0xFE) raw->Seek(0, 0);
    }
  }
  return handle;
}

bool MemExist(ExecContext* context, std::u16string_view name, int32_t scope) {
  const std::u16string full = FullName(name, scope);
  const named::Handle mapping = named::OpenMapping(full, false);
  if (!mapping) return false;
  const named::Handle admin = named::OpenMapping(full + u"_ADM", false);
  if (admin) named::CloseHandle(admin);
  named::CloseHandle(mapping);
  return true;
}

bool MemWait(ExecContext* context, int32_t handle, int32_t timeoutMs) {
  HandleEntry* entry = Handles().Get(handle);
  if (!entry) {
    Raise(context, kErrBadFileHandle, {handle});
    return false;
  }
  if (entry->kind != HandleEntry::kOther) {
    Raise(context, kErrNeedsSharedMemory);
    return false;
  }
  SharedBlock* block = BlockOf(*entry);
  const uint32_t timeout = timeoutMs < 1 ? named::kInfinite : static_cast<uint32_t>(timeoutMs);
  std::vector<uint32_t> others;
  if (block->Lock()) {
    others = block->OthersLocked();
    block->Unlock();
  }
  std::vector<named::Handle> receipts;
  for (uint32_t pid : others) {
    // A process gone with its semaphores has nothing left to answer.
    if (const named::Handle h = named::OpenSemaphore(ReceiptName(block->name(), pid))) receipts.push_back(h);
    if (receipts.size() == named::kMaximumWaitObjects) break;
  }
  if (receipts.empty()) return true;
  const uint32_t r = named::WaitForObjects(receipts, true, timeout);
  for (named::Handle h : receipts) named::CloseHandle(h);
  return r == named::kWaitObject0;
}

// --- the file functions on a block -----------------------------------------------

std::u16string MemReadLine(ExecContext* context, HandleEntry& entry) {
  SharedBlock* block = BlockOf(entry);
  if (block->position() >= block->size()) return std::u16string(kEndOfFile);
  std::u16string line;
  if (!block->ReadLine(entry.unicode, &line)) {
    RecordSystemError(context, block->lastError());
    return {};
  }
  return line;
}

Value MemRead(ExecContext* context, HandleEntry& entry, int32_t count) {
  SharedBlock* block = BlockOf(entry);
  if (count < 0) return Value{Bytes{}};
  const uint64_t left = block->position() < block->size() ? block->size() - block->position() : 0;
  Bytes bytes;
  try {
    bytes.assign(static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(count), left)), 0);
  } catch (const std::bad_alloc&) {
    Raise(context, kErrNoMemoryForFile);
    return Value{Bytes{}};
  }
  uint32_t got = 0;
  if (!block->Read(bytes.data(), bytes.size(), &got)) {
    RecordSystemError(context, block->lastError());
    return Value{Bytes{}};
  }
  bytes.resize(got);
  return Value{std::move(bytes)};
}

int32_t MemReadTo(ExecContext* context, HandleEntry& entry, void* memory, int32_t count) {
  SharedBlock* block = BlockOf(entry);
  uint32_t got = 0;
  if (!block->Read(memory, static_cast<size_t>(std::max(count, 0)), &got)) {
    RecordSystemError(context, block->lastError());
    return 0;
  }
  return static_cast<int32_t>(got);
}

bool MemWriteLine(ExecContext* context, HandleEntry& entry, std::u16string_view text) {
  SharedBlock* block = BlockOf(entry);
  // One write, so one notification, for the line and its end.
  std::string bytes;
  if (entry.unicode) {
    bytes.assign(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    bytes.append("\r\0\n\0", 4);
  } else {
    bytes = ToEightBit(text);
    bytes.append("\r\n", 2);
  }
  uint32_t done = 0;
  if (!block->Write(bytes.data(), bytes.size(), &done)) {
    RecordSystemError(context, block->lastError());
    return false;
  }
  return true;
}

bool MemWriteLineFrom(ExecContext* context, HandleEntry& entry, const void* memory, int32_t count) {
  SharedBlock* block = BlockOf(entry);
  std::string bytes;
  if (count > 0) bytes.assign(static_cast<const char*>(memory), static_cast<size_t>(count));
  bytes.append("\r\0\n\0", 4);
  uint32_t done = 0;
  if (!block->Write(bytes.data(), bytes.size(), &done)) RecordSystemError(context, block->lastError());
  return true;
}

int32_t MemWrite(ExecContext* context, HandleEntry& entry, const void* data, size_t size) {
  SharedBlock* block = BlockOf(entry);
  uint32_t done = 0;
  if (!block->Write(data, size, &done)) {
    RecordSystemError(context, block->lastError());
    return -1;
  }
  return static_cast<int32_t>(done);
}

int64_t MemSeek(ExecContext* context, HandleEntry& entry, int64_t position, int32_t origin) {
  SharedBlock* block = BlockOf(entry);
  if (!block->Seek(position, origin)) {
    RecordSystemError(context, block->lastError());
    return -1;
  }
  return static_cast<int64_t>(block->position());
}

int64_t MemSize(ExecContext* context, HandleEntry& entry) { return static_cast<int64_t>(BlockOf(entry)->size()); }

}  // namespace kp::files
