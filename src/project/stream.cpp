// kp160std — IXStream.
#include "project/stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "abi/error.h"
#include "platform/platform.h"
#include "platform/read_at.h"
#include "platform/win32_errors.h"

namespace kp::project {

namespace {

constexpr uint32_t kSignalPending = 162;
constexpr uint32_t kFileMessage = 28003;
constexpr uint32_t kFileMessageInsert = 27904;

bool StillMoving(uint32_t code) { return code == win32::kIoPending || code == kSignalPending; }

constexpr uint32_t kReadAhead = 64 * 1024;

}  // namespace

IXStream::~IXStream() { Close(); }

bool IXStream::Open(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition, uint32_t flags,
                    bool* created) {
  Close();
  name_.assign(name);
  access_ = access;
  position_ = 0;
  file_ = platform::fs::CreateFile(name, access, share, disposition, flags, created);
  if (file_ != platform::fs::kInvalidFile) {
    lastError_ = 0;
    return true;
  }
  lastError_ = platform::LastError();
  if (record_) {
    Stamp(record_);
    SetLevel(record_, 3);
    SetSystemError(record_, lastError_);
    AddInternalMessage(record_, u"##(IXStream)-Access=<%1!x!>##", {access});
    AddMessage(record_, kFileMessage, {name_, kFileMessageInsert});
    SetInfoItem(record_, 1, name_);
  }
  return false;
}

void IXStream::Close() {
  platformMoved_ = false;
  if (file_ != platform::fs::kInvalidFile) platform::fs::CloseHandle(file_);
  file_ = platform::fs::kInvalidFile;
}

void IXStream::Report(bool reading, uint32_t asked, uint32_t moved, bool exact, uint32_t system) {
  lastError_ = system;
  if (!record_) return;
  SetLevel(record_, 3);
  Stamp(record_);
  SetSystemError(record_, system);
  AddInternalMessage(record_, u"##(IXStream)-Handle=<%1!p!>##", {reinterpret_cast<const void*>(file_)});
  AddInternalMessage(record_, u"##(IXStream)-bExact=<%1!d!>##", {exact ? 1 : 0});
  if (reading)
    AddInternalMessage(record_, u"##(IXStream)-A lire=<%1!u!>, lu=<%2!u!>##", {asked, moved});
  else
    AddInternalMessage(record_, u"##(IXStream)-A écrire=<%1!u!>, écrit=<%2!u!>##", {asked, moved});
  AddMessage(record_, kFileMessage, {name_, kFileMessageInsert});
  SetInfoItem(record_, 1, name_);
}

bool IXStream::Realign() {
  if (!platformMoved_) return true;
  platformMoved_ = false;
  if (platform::fs::SetFilePointer(file_, position_, 0, nullptr)) return true;
  lastError_ = platform::LastError();
  return false;
}

bool IXStream::Read(void* buffer, uint32_t count, uint32_t* done) {
  if (record_) Clear(record_);
  if (done) *done = 0;
  if (!Realign()) {
    Report(true, count, 0, done == nullptr, lastError_);
    return false;
  }
  uint32_t total = 0;
  bool ok = true;
  uint32_t system = 0;
  while (total < count) {
    uint32_t got = 0;
    if (platform::fs::ReadFile(file_, static_cast<char*>(buffer) + total, count - total, &got)) {
      total += got;
      break;
    }
    total += got;
    system = platform::LastError();
    // Kept on purpose: a transfer still in progress or interrupted goes on at the advanced place.
    if (StillMoving(system)) continue;
    ok = false;
    break;
  }
  position_ += total;
  if (done) *done = total;
  if (!ok || (!done && total < count)) {
    Report(true, count, total, done == nullptr, ok ? 0 : system);
    return false;
  }
  lastError_ = 0;
  return true;
}

bool IXStream::Write(const void* buffer, uint32_t count, uint32_t* done) {
  // As a read: the record tells of this transfer only.
  if (record_) Clear(record_);
  if (done) *done = 0;
  if (!Realign()) {
    Report(false, count, 0, done == nullptr, lastError_);
    return false;
  }
  uint32_t total = 0;
  bool ok = true;
  uint32_t system = 0;
  while (total < count) {
    uint32_t put = 0;
    if (platform::fs::WriteFile(file_, static_cast<const char*>(buffer) + total, count - total, &put)) {
      total += put;
      if (put == 0) break;
      continue;
    }
    total += put;
    system = platform::LastError();
    if (StillMoving(system)) continue;
    ok = false;
    break;
  }
  position_ += total;
  if (done) *done = total;
  if (!ok || (!done && total < count)) {
    Report(false, count, total, done == nullptr, ok ? 0 : system);
    return false;
  }
  lastError_ = 0;
  return true;
}

bool IXStream::Seek(int64_t distance, uint32_t origin) {
  if (origin == 1 && !Realign()) return false;
  // Whatever the outcome, the platform position is now the one a plain stream would have.
  platformMoved_ = false;
  int64_t at = 0;
  if (!platform::fs::SetFilePointer(file_, distance, origin, &at)) {
    lastError_ = platform::LastError();
    return false;
  }
  position_ = at;
  return true;
}

int64_t IXStream::Size() {
  const int64_t size = platform::fs::GetFileSize(file_);
  if (size < 0) lastError_ = platform::LastError();
  return size;
}

bool IXStream::SetSize(int64_t size) {
  if (!Seek(size, 0)) return false;
  if (!platform::fs::SetEndOfFile(file_)) {
    lastError_ = platform::LastError();
    return false;
  }
  return true;
}

bool IXStream::ReadLine(std::u16string* line, size_t maxChars, bool unicode) {
  line->clear();
  const size_t unit = unicode ? 2 : 1;
  uint8_t block[256];
  bool lastWasCr = false;
  bool crKept = false;
  while (true) {
    const int64_t start = position_;
    uint32_t got = 0;
    if (!Read(block, sizeof block, &got)) return false;
    if (got < unit) return true;
    const uint32_t usable = got - got % static_cast<uint32_t>(unit);
    for (uint32_t i = 0; i < usable; i += static_cast<uint32_t>(unit)) {
      const char16_t c = unicode ? static_cast<char16_t>(block[i] | (block[i + 1] << 8)) : block[i];
      if (lastWasCr && c == u'\n') {
        if (crKept) line->pop_back();
        // Resume right after the terminator; a line cut at maxChars drops its rest.
        if (line->size() > maxChars) line->resize(maxChars);
        return Seek(start + i + static_cast<int64_t>(unit), 0);
      }
      lastWasCr = c == u'\r';
      crKept = lastWasCr && line->size() <= maxChars;
      if (line->size() <= maxChars) line->push_back(c);
    }
    if (got < sizeof block) {
      if (line->size() > maxChars) line->resize(maxChars);
      return true;
    }
  }
}

bool IXStream::Peek(int64_t at, uint32_t count, uint32_t asked, const uint8_t** bytes, uint32_t* got,
                    bool* atEnd) {
  *bytes = nullptr;
  *got = 0;
  *atEnd = false;
  if (!buffer_) {
    // Without room for the read-ahead a small buffer still gives the same bytes.
    buffer_.reset(new (std::nothrow) uint8_t[kReadAhead]);
    capacity_ = buffer_ ? kReadAhead : 0;
    if (!buffer_) {
      buffer_.reset(new (std::nothrow) uint8_t[256]);
      capacity_ = buffer_ ? 256 : 0;
    }
    if (!buffer_) {
      lastError_ = win32::kNotEnoughMemory;
      return false;
    }
  }
  if (record_) Clear(record_);
  // One system call where the system allows it: the cost of every line.
  platformMoved_ = true;
  const uint32_t want = std::min(count, capacity_);
  uint32_t total = 0;
  while (total < want) {
    uint32_t n = 0;
    if (platform::fs::ReadFileAt(file_, at + total, buffer_.get() + total, want - total, &n)) {
      total += n;
      break;
    }
    total += n;
    const uint32_t system = platform::LastError();
    if (StillMoving(system)) continue;
    Report(true, asked, std::min(total, asked), false, system);
    return false;
  }
  *bytes = buffer_.get();
  *got = total;
  *atEnd = total < want;
  lastError_ = 0;
  return true;
}

void IXStream::MoveTo(int64_t at) {
  position_ = at;
  platformMoved_ = true;
}

}  // namespace kp::project
