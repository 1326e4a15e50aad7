// kp160std — the file-handle functions (fLitLigne's line reader is in
// file_lines.cpp).
#include "abi/error_ids.h"
#include "files/file_io.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <regex>
#include <vector>

#include "abi/error.h"
#include "abi/strings.h"
#include "abi/messages.h"
#include "files/file_io_parts.h"
#include "files/path_rule.h"
#include "files/shared_memory.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

using detail::DiskStream;
using detail::kAnsiEnd;
using detail::kUnicodeEnd;
using detail::Valid;

constexpr uint8_t kMark[2] = {0xFF, 0xFE};

// A shared-memory block's entry: its file functions live in shared_memory.cpp.
HandleEntry* Block(int32_t handle) {
  HandleEntry* entry = Handles().Get(handle);
  return entry && entry->kind == HandleEntry::kOther ? entry : nullptr;
}

bool Put(ExecContext* context, project::IXStream& stream, const void* data, size_t size) {
  uint32_t done = 0;
  if (stream.Write(data, static_cast<uint32_t>(size), &done) && done == size) return true;
  RecordSystemError(context, stream.LastSystemError());
  return false;
}

std::wstring Wide(std::u16string_view s) {
  std::wstring out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    uint32_t c = s[i];
    if (sizeof(wchar_t) == 4 && c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
        s[i + 1] <= 0xDFFF)
      c = 0x10000 + ((c - 0xD800) << 10) + (s[++i] - 0xDC00);
    out += static_cast<wchar_t>(c);
  }
  return out;
}

std::u16string Narrow(std::wstring_view s) {
  std::u16string out;
  for (wchar_t w : s) {
    const auto c = static_cast<uint32_t>(w);
    if (c >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
  }
  return out;
}

}  // namespace

int32_t Open(ExecContext* context, std::u16string_view name, int32_t mode) {
  if (!CheckName(context, name)) return -1;
  std::unique_ptr<project::IXStream> stream;
  try {
    stream = std::make_unique<project::IXStream>();
  } catch (const std::bad_alloc&) {
    Raise(context, kErrNoMemoryForFile);
    return -1;
  }
  uint32_t access;
  if (mode == 0 || (mode & foWrite))
    access = fs::kGenericRead | fs::kGenericWrite;
  else if (mode & foRead)
    access = fs::kGenericRead;
  else
    access = fs::kGenericWrite;
  const uint32_t share = fs::kShareRead | fs::kShareWrite;
  uint32_t disposition = fs::kOpenExisting;
  if (mode & foCreateIfNotExist)
    disposition = fs::kOpenAlways;
  else if (mode & foCreate)
    disposition = fs::kCreateAlways;
  const bool tracing = TraceActive(context);
  const uint32_t before = tracing ? platform::TickCount() : 0;
  bool created = false;
  bool opened = stream->Open(name, access, share, disposition, fs::kFlagRandomAccess, &created);
  if (!opened && tracing)
    Trace(context, FormatText(ErrorMessageText(kErrWarningSlowOpen), {name, platform::TickCount() - before}));
  // Kept on purpose: a file that refuses reading and writing may still take writing alone.
  if (!opened && (mode & foWrite))
    opened = stream->Open(name, fs::kGenericWrite, share, disposition, fs::kFlagRandomAccess, &created);
  if (!opened) {
    RecordSystemError(context, stream->LastSystemError());
    return -1;
  }
  if ((mode & foAdd) && !stream->Seek(0, 2)) {
    RecordSystemError(context, stream->LastSystemError());
    return -1;
  }
  auto entry = std::make_unique<HandleEntry>();
  entry->stream = std::move(stream);
  HandleEntry* raw = entry.get();
  const int32_t handle = Handles().Add(std::move(entry));
  if (handle < 0) {
    Raise(context, kErrOpenFileTableFull);
    return -1;
  }
  if (!(mode & foUnicode)) return handle;
  raw->unicode = true;
  project::IXStream& s = *raw->stream;
  if ((mode & foCreate) || ((mode & foCreateIfNotExist) && created)) {
    // Kept on purpose: when the mark cannot be written the handle stays in the table.
    if (!Put(context, s, kMark, sizeof kMark)) return -1;
    return handle;
  }
  if (mode & foAdd) return handle;
  uint8_t mark[2] = {};
  uint32_t got = 0;
  if (!s.Read(mark, 2, &got) || got != 2 || mark[0] != 0xFF || mark[1] != 0xFE) s.Seek(0, 0);
  return handle;
}

int32_t Create(ExecContext* context, std::u16string_view name, int32_t mode) {
  return Open(context, name, mode | foCreate | foReadWrite);
}

int32_t Close(ExecContext* context, int32_t handle) {
  std::unique_ptr<HandleEntry> entry = Handles().Release(handle);
  if (!entry) {
    Raise(context, kErrBadFileHandle, {handle});
    return -1;
  }
  CloseEntry(*entry);
  return 0;
}

bool ReadLineInto(ExecContext* context, int32_t handle, std::u16string_view pattern,
                  std::span<const VariantArg> variables) {
  HandleEntry* entry = Valid(context, handle);
  project::IXStream* stream = DiskStream(entry);
  if (!stream) return false;
  std::u16string line;
  if (!stream->ReadLine(&line, 256, entry->unicode)) {
    RecordSystemError(context, stream->LastSystemError());
    return false;
  }
  if (!entry->unicode) {
    std::string bytes(line.begin(), line.end());
    line = FromEightBit(bytes);
  }
  std::wregex re;
  try {
    re.assign(pattern.empty() ? std::wstring(L".*") : Wide(pattern), std::regex::ECMAScript);
  } catch (const std::regex_error&) {
    return false;
  }
  const std::wstring subject = Wide(line);
  std::wsmatch match;
  if (!std::regex_match(subject, match, re)) {
    if (!variables.empty() && !AssignReference(context, variables[0], Value{std::u16string()})) return false;
    return true;
  }
  for (size_t i = 0; i < variables.size() && i + 1 < match.size(); ++i) {
    if (!match[i + 1].matched) break;
    if (!AssignReference(context, variables[i], Value{Narrow(match[i + 1].str())})) return false;
  }
  return true;
}

Value Read(ExecContext* context, int32_t handle, int32_t count) {
  if (HandleEntry* block = Block(handle)) return MemRead(context, *block, count);
  HandleEntry* entry = Valid(context, handle);
  project::IXStream* stream = DiskStream(entry);
  // Failures answer the empty text; only a read that found nothing gives an empty buffer.
  if (!stream || count < 0) return Value{std::u16string()};
  Bytes bytes;
  // No more than the file still holds: a huge count must not cost a huge block.
  const int64_t left = std::max<int64_t>(0, stream->Size() - stream->Position());
  const uint32_t wanted = static_cast<uint32_t>(std::min<int64_t>(count, left));
  try {
    bytes.assign(static_cast<size_t>(wanted) + 1, 0);
  } catch (const std::bad_alloc&) {
    Raise(context, kErrNoMemoryForFile);
    return Value{std::u16string()};
  }
  uint32_t got = 0;
  if (!stream->Read(bytes.data(), wanted, &got)) {
    RecordSystemError(context, stream->LastSystemError());
    return Value{std::u16string()};
  }
  bytes.resize(got);
  return Value{std::move(bytes)};
}

int32_t ReadToAddress(ExecContext* context, int32_t handle, int32_t count, uintptr_t address) {
  void* memory = reinterpret_cast<void*>(address);
  if (count < 0 || !fs::MemoryWritable(memory, static_cast<size_t>(count))) {
    Raise(context, kErrMemoryAreaNotAccessible);
    return 0;
  }
  if (HandleEntry* block = Block(handle)) return MemReadTo(context, *block, memory, count);
  project::IXStream* stream = DiskStream(Valid(context, handle));
  if (!stream) return 0;
  uint32_t got = 0;
  if (!stream->Read(memory, static_cast<uint32_t>(count), &got)) {
    RecordSystemError(context, stream->LastSystemError());
    return 0;
  }
  return static_cast<int32_t>(got);
}

bool WriteLine(ExecContext* context, int32_t handle, std::u16string_view text) {
  if (HandleEntry* block = Block(handle)) return MemWriteLine(context, *block, text);
  HandleEntry* entry = Valid(context, handle);
  project::IXStream* stream = DiskStream(entry);
  if (!stream) return false;
  if (entry->unicode) {
    return Put(context, *stream, text.data(), text.size() * 2) && Put(context, *stream, kUnicodeEnd, 4);
  }
  const std::string ansi = ToEightBit(text);
  return Put(context, *stream, ansi.data(), ansi.size()) && Put(context, *stream, kAnsiEnd, 2);
}

bool WriteLineFromAddress(ExecContext* context, int32_t handle, uintptr_t address, int32_t count) {
  HandleEntry* block = Block(handle);
  project::IXStream* stream = block ? nullptr : DiskStream(Valid(context, handle));
  if (!stream && !block) return false;
  const void* memory = reinterpret_cast<const void*>(address);
  if (count > 0 && !fs::MemoryReadable(memory, static_cast<size_t>(count))) {
    Raise(context, kErrMemoryAreaNotAccessible);
    return true;
  }
  if (block) return MemWriteLineFrom(context, *block, memory, count);
  // Kept on purpose: this form always ends with a UTF-16 line end, and a
  // failed write is recorded but still answers true.
  if (count > 0) Put(context, *stream, memory, static_cast<size_t>(count));
  Put(context, *stream, kUnicodeEnd, 4);
  return true;
}

int32_t Write(ExecContext* context, int32_t handle, std::span<const uint8_t> bytes, int32_t count) {
  HandleEntry* block = Block(handle);
  project::IXStream* stream = block ? nullptr : DiskStream(Valid(context, handle));
  if (!stream && !block) return -1;
  size_t size = bytes.size();
  if (count != -1) size = count < 0 ? 0 : std::min(size, static_cast<size_t>(count));
  if (block) return MemWrite(context, *block, bytes.data(), size);
  uint32_t done = 0;
  if (size > 0 && !stream->Write(bytes.data(), static_cast<uint32_t>(size), &done)) {
    RecordSystemError(context, stream->LastSystemError());
    return -1;
  }
  return static_cast<int32_t>(done);
}

int32_t WriteFromAddress(ExecContext* context, int32_t handle, uintptr_t address, int32_t count) {
  const void* memory = reinterpret_cast<const void*>(address);
  if (count < 0 || !fs::MemoryReadable(memory, static_cast<size_t>(count))) {
    Raise(context, kErrMemoryAreaNotAccessible);
    return -1;
  }
  if (HandleEntry* block = Block(handle)) return MemWrite(context, *block, memory, static_cast<size_t>(count));
  project::IXStream* stream = DiskStream(Valid(context, handle));
  if (!stream) return -1;
  uint32_t done = 0;
  if (count > 0 && !stream->Write(memory, static_cast<uint32_t>(count), &done)) {
    RecordSystemError(context, stream->LastSystemError());
    return -1;
  }
  return static_cast<int32_t>(done);
}

int64_t Seek(ExecContext* context, int32_t handle, int64_t position, int32_t origin) {
  HandleEntry* block = Block(handle);
  project::IXStream* stream = block ? nullptr : DiskStream(Valid(context, handle));
  if (!stream && !block) return -1;
  if (origin < 0 || origin > 2) {
    Raise(context, kErrBadSeekOrigin, {origin});
    return -1;
  }
  if (block) return MemSeek(context, *block, position, origin);
  if (!stream->Seek(position, static_cast<uint32_t>(origin))) {
    RecordSystemError(context, stream->LastSystemError());
    return -1;
  }
  return stream->Position();
}

bool ChangeSize(ExecContext* context, int32_t handle, int64_t size) {
  HandleEntry* entry = Valid(context, handle);
  if (!entry) return false;
  project::IXStream* stream = DiskStream(entry);
  if (!stream) {
    Raise(context, kErrChangeSizeNeedsDiskFile);
    return false;
  }
  const int64_t old = stream->Position();
  if (!stream->SetSize(size)) {
    RecordSystemError(context, stream->LastSystemError());
    stream->Seek(old, 0);
    return false;
  }
  if (old == 0)
    stream->Seek(0, 0);
  else if (old >= size)
    stream->Seek(size, 0);
  else
    stream->Seek(old, 0);
  return true;
}

int64_t SizeOfHandle(ExecContext* context, int32_t handle) {
  if (HandleEntry* block = Block(handle)) return MemSize(context, *block);
  project::IXStream* stream = DiskStream(Valid(context, handle));
  if (!stream) return -1;
  const int64_t size = stream->Size();
  if (size < 0) RecordSystemError(context, stream->LastSystemError());
  return size;
}

std::u16string NameOfFile(ExecContext* context, int32_t handle) {
  project::IXStream* stream = DiskStream(Valid(context, handle));
  return stream ? stream->Name() : std::u16string();
}

}  // namespace kp::files
