// kp160std — libzip sources over the device file system (see device_source.h).
#include "archive/device_source.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/random.h"

namespace kp::archive {

namespace fs = platform::fs;

namespace {

thread_local uint32_t tLastSystemError = 0;

constexpr int64_t kUnixEpochAsFileTime = 116444736000000000LL;
constexpr uint32_t kWin32FileNotFound = 2;
constexpr uint32_t kWin32PathNotFound = 3;

// An empty archive: the end-of-central-directory record alone. libzip removes
// an archive left without entries; a KL program that created one expects the
// file to stay.
constexpr unsigned char kEmptyArchive[22] = {0x50, 0x4b, 0x05, 0x06};

struct Source {
  std::u16string name;
  std::string prefix;
  bool writable = false;
  fs::FileHandle in = fs::kInvalidFile;
  fs::FileHandle out = fs::kInvalidFile;
  std::u16string temp;
  zip_error_t error;
  // For a file added to an archive: its size and time, taken when the source
  // is made so that the entry's header agrees with what is read.
  int64_t size = -1;
  time_t mtime = 0;

  Source() { zip_error_init(&error); }
  ~Source() {
    if (in != fs::kInvalidFile) fs::CloseHandle(in);
    if (out != fs::kInvalidFile) fs::CloseHandle(out);
    if (!temp.empty()) fs::DeleteFile(temp);
    zip_error_fini(&error);
  }
};

int64_t Fail(Source* s, int zipError) {
  tLastSystemError = platform::LastError();
  // libzip tells "no such file" from other read errors by errno.
  const int sys = (tLastSystemError == kWin32FileNotFound || tLastSystemError == kWin32PathNotFound) ? ENOENT : EIO;
  zip_error_set(&s->error, zipError, sys);
  return -1;
}

bool WriteAll(fs::FileHandle file, const void* data, uint64_t length) {
  const auto* p = static_cast<const unsigned char*>(data);
  while (length > 0) {
    const uint32_t chunk = length > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(length);
    uint32_t written = 0;
    if (!fs::WriteFile(file, p, chunk, &written) || written != chunk) return false;
    p += chunk;
    length -= chunk;
  }
  return true;
}

// A name beside the archive that no other writer picks.
std::u16string TempName(std::u16string_view name) {
  static const char16_t kHex[] = u"0123456789abcdef";
  std::u16string t(name);
  t += u".kp";
  platform::Guid g;
  platform::CreateGuid(g);
  uint64_t r = (uint64_t{g.data1} << 32) ^ (uint64_t{g.data2} << 16) ^ g.data3 ^ (uint64_t{g.data4[0]} << 40);
  static uint64_t counter = 0;
  r ^= ++counter;
  for (int i = 0; i < 12; ++i, r >>= 4) t += kHex[r & 15];
  t += u".tmp";
  return t;
}

bool BeginWrite(Source* s) {
  for (int attempt = 0; attempt < 8; ++attempt) {
    s->temp = TempName(s->name);
    s->out = fs::CreateFile(s->temp, fs::kGenericRead | fs::kGenericWrite, 0, fs::kCreateNew, 0);
    if (s->out != fs::kInvalidFile) break;
    s->temp.clear();
    if (platform::LastError() != 80 && platform::LastError() != 183) return false;
  }
  if (s->out == fs::kInvalidFile) return false;
  return s->prefix.empty() || WriteAll(s->out, s->prefix.data(), s->prefix.size());
}

bool CommitWrite(Source* s) {
  const bool closed = fs::CloseHandle(s->out);
  s->out = fs::kInvalidFile;
  if (!closed || !fs::ReplaceFile(s->temp, s->name)) return false;
  s->temp.clear();
  return true;
}

void RollbackWrite(Source* s) {
  if (s->out != fs::kInvalidFile) fs::CloseHandle(s->out);
  s->out = fs::kInvalidFile;
  if (!s->temp.empty()) fs::DeleteFile(s->temp);
  s->temp.clear();
}

int64_t Seek(Source* s, fs::FileHandle file, void* data, uint64_t length) {
  int64_t position = 0, size = fs::GetFileSize(file);
  if (size < 0 || !fs::SetFilePointer(file, 0, 1, &position)) return Fail(s, ZIP_ER_SEEK);
  const int64_t target = zip_source_seek_compute_offset(position, size, data, length, &s->error);
  if (target < 0) return -1;
  if (!fs::SetFilePointer(file, target, 0, &position)) return Fail(s, ZIP_ER_SEEK);
  return 0;
}

int64_t Tell(Source* s, fs::FileHandle file) {
  int64_t position = 0;
  if (!fs::SetFilePointer(file, 0, 1, &position)) return Fail(s, ZIP_ER_TELL);
  return position;
}

int64_t Stat(Source* s, void* data, uint64_t length) {
  auto* st = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &s->error);
  if (!st) return -1;
  zip_stat_init(st);
  if (s->size < 0) {
    // The archive itself: its size now (libzip asks again after a write).
    fs::FileHandle f = fs::CreateFile(s->name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0);
    if (f == fs::kInvalidFile) return Fail(s, ZIP_ER_READ);
    const int64_t size = fs::GetFileSize(f);
    fs::CloseHandle(f);
    if (size < 0) return Fail(s, ZIP_ER_READ);
    st->size = static_cast<uint64_t>(size);
  } else {
    st->size = static_cast<uint64_t>(s->size);
    st->mtime = s->mtime;
    st->valid |= ZIP_STAT_MTIME;
  }
  st->valid |= ZIP_STAT_SIZE;
  return sizeof(zip_stat_t);
}

int64_t Callback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
  auto* s = static_cast<Source*>(state);
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return s->writable ? ZIP_SOURCE_SUPPORTS_WRITABLE : ZIP_SOURCE_SUPPORTS_SEEKABLE;
    case ZIP_SOURCE_OPEN:
      s->in = fs::CreateFile(s->name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0);
      if (s->in == fs::kInvalidFile) return Fail(s, ZIP_ER_OPEN);
      return 0;
    case ZIP_SOURCE_READ: {
      const uint32_t count = length > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(length);
      uint32_t read = 0;
      if (!fs::ReadFile(s->in, data, count, &read)) return Fail(s, ZIP_ER_READ);
      return read;
    }
    case ZIP_SOURCE_CLOSE:
      if (s->in != fs::kInvalidFile) fs::CloseHandle(s->in);
      s->in = fs::kInvalidFile;
      return 0;
    case ZIP_SOURCE_STAT:
      return Stat(s, data, length);
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(&s->error, data, length);
    case ZIP_SOURCE_FREE:
      delete s;
      return 0;
    case ZIP_SOURCE_SEEK:
      return Seek(s, s->in, data, length);
    case ZIP_SOURCE_TELL:
      return Tell(s, s->in);
    case ZIP_SOURCE_BEGIN_WRITE:
      return BeginWrite(s) ? 0 : Fail(s, ZIP_ER_TMPOPEN);
    case ZIP_SOURCE_WRITE:
      return WriteAll(s->out, data, length) ? static_cast<int64_t>(length) : Fail(s, ZIP_ER_WRITE);
    case ZIP_SOURCE_SEEK_WRITE:
      return Seek(s, s->out, data, length);
    case ZIP_SOURCE_TELL_WRITE:
      return Tell(s, s->out);
    case ZIP_SOURCE_COMMIT_WRITE:
      if (CommitWrite(s)) return 0;
      {
        const int64_t r = Fail(s, ZIP_ER_RENAME);
        RollbackWrite(s);
        return r;
      }
    case ZIP_SOURCE_ROLLBACK_WRITE:
      RollbackWrite(s);
      return 0;
    case ZIP_SOURCE_REMOVE:
      // The archive lost its last entry: it stays, empty (see kEmptyArchive).
      if (!BeginWrite(s) || !WriteAll(s->out, kEmptyArchive, sizeof kEmptyArchive) || !CommitWrite(s)) {
        const int64_t r = Fail(s, ZIP_ER_REMOVE);
        RollbackWrite(s);
        return r;
      }
      return 0;
    default:
      zip_error_set(&s->error, ZIP_ER_OPNOTSUPP, 0);
      return -1;
  }
}

}  // namespace

uint32_t LastSourceSystemError() { return tLastSystemError; }

zip_source_t* ArchiveSource(std::u16string_view name, std::string prefix, zip_error_t* error) {
  auto s = std::make_unique<Source>();
  s->name = name;
  s->prefix = std::move(prefix);
  s->writable = true;
  zip_source_t* source = zip_source_function_create(Callback, s.get(), error);
  if (source) s.release();
  return source;
}

zip_source_t* FileSource(zip_t* zip, std::u16string_view name, zip_error_t* error) {
  tLastSystemError = 0;
  fs::FileHandle f = fs::CreateFile(name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0);
  if (f == fs::kInvalidFile) {
    tLastSystemError = platform::LastError();
    zip_error_set(error, ZIP_ER_OPEN, 0);
    return nullptr;
  }
  const int64_t size = fs::GetFileSize(f);
  fs::CloseHandle(f);
  fs::FileTimes times;
  if (size < 0 || !fs::GetFileTimes(name, &times)) {
    tLastSystemError = platform::LastError();
    zip_error_set(error, ZIP_ER_READ, 0);
    return nullptr;
  }
  auto s = std::make_unique<Source>();
  s->name = name;
  s->size = size;
  s->mtime = static_cast<time_t>((times.write - kUnixEpochAsFileTime) / 10000000);
  zip_source_t* source = zip_source_function_create(Callback, s.get(), error);
  if (source) s.release();
  return source;
}

}  // namespace kp::archive
