// kp160std — file handles on the POSIX device file system: CreateFile and
// the calls on its descriptors, and the temporary directory and names.
//
// CreateFile opens the leaf relative to its held parent (see beneath.h) and
// takes regular files only: a FIFO, a socket or a device node inside the
// root is refused with 5, and the open itself is non-blocking, so that no
// such object can stall it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/filesystem_internal.h"
#include "platform/posix/syscalls.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

using detail::Fail;

FileHandle CreateFile(std::u16string_view name, uint32_t access, uint32_t share, uint32_t disposition,
                      uint32_t flags, bool* created) {
  if (created) *created = false;
  Location r;
  if (!detail::Locate(name, &r)) return kInvalidFile;
  if (disposition < kCreateNew || disposition > kTruncateExisting) return Fail(win32::kInvalidParameter), kInvalidFile;
  // A directory, a FIFO, a socket or a device node is no file to open here.
  if (r.exists && (r.isRoot || !S_ISREG(r.st.st_mode))) return Fail(win32::kAccessDenied), kInvalidFile;
  const bool write = access & kGenericWrite;
  if (r.exists && detail::ReadOnly(r.st) &&
      (write || disposition == kCreateAlways || disposition == kTruncateExisting))
    return Fail(win32::kAccessDenied), kInvalidFile;
  int mode = (access & kGenericRead) && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  switch (disposition) {
    case kCreateNew:
      if (r.exists) return Fail(win32::kFileExists), kInvalidFile;
      mode |= O_CREAT | O_EXCL;
      break;
    case kCreateAlways:
      mode |= O_CREAT | O_TRUNC;
      break;
    case kOpenExisting:
      if (!r.exists) return Fail(win32::kFileNotFound), kInvalidFile;
      break;
    case kOpenAlways:
      mode |= O_CREAT;
      break;
    case kTruncateExisting:
      if (!r.exists) return Fail(win32::kFileNotFound), kInvalidFile;
      mode |= O_TRUNC;
      break;
  }
  // Truncation needs write access on POSIX; the Win32 call asks for it too.
  if ((mode & O_TRUNC) && (mode & O_ACCMODE) == O_RDONLY) mode = (mode & ~O_ACCMODE) | O_RDWR;
  const int fd = detail::OpenRegular(r, mode, 0666);
  if (fd < 0) return kInvalidFile;
  if (created) *created = !r.exists;
  SetLastError(r.exists && (disposition == kCreateAlways || disposition == kOpenAlways) ? win32::kAlreadyExists
                                                                                          : win32::kSuccess);
  return fd;
}

bool ReadFile(FileHandle file, void* buffer, uint32_t count, uint32_t* read) {
  if (read) *read = 0;
  uint32_t done = 0;
  while (done < count) {
    const ssize_t n = sys::Sys().read(static_cast<int>(file), static_cast<char*>(buffer) + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    // Win32 reads of a handle opened for writing only fail with 5, as do reads of a directory.
    if (n < 0) return Fail(errno == EISDIR || errno == EBADF ? win32::kAccessDenied : Win32FromErrno(errno));
    if (n == 0) break;
    done += static_cast<uint32_t>(n);
  }
  if (read) *read = done;
  return true;
}

bool WriteFile(FileHandle file, const void* buffer, uint32_t count, uint32_t* written) {
  if (written) *written = 0;
  uint32_t done = 0;
  int error = 0;
  while (done < count) {
    const ssize_t n = sys::Sys().write(static_cast<int>(file), static_cast<const char*>(buffer) + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = errno;
      break;
    }
    done += static_cast<uint32_t>(n);
  }
  if (written) *written = done;
  if (done < count) return Fail(error == EBADF ? win32::kAccessDenied : Win32FromErrno(error));
  return true;
}

bool SetFilePointer(FileHandle file, int64_t distance, uint32_t origin, int64_t* position) {
  if (origin > 2) return Fail(win32::kInvalidParameter);
  const int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : SEEK_END;
  const off_t base = lseek(static_cast<int>(file), 0, whence);
  if (base < 0) return Fail(Win32FromErrno(errno));
  if (distance < 0 && -distance > base) return Fail(win32::kNegativeSeek);
  const off_t at = lseek(static_cast<int>(file), static_cast<off_t>(distance), whence);
  if (at < 0) return Fail(Win32FromErrno(errno));
  if (position) *position = at;
  return true;
}

bool SetEndOfFile(FileHandle file) {
  const off_t at = lseek(static_cast<int>(file), 0, SEEK_CUR);
  if (at < 0) return Fail(Win32FromErrno(errno));
  if (sys::Sys().ftruncate(static_cast<int>(file), at) != 0) return Fail(errno == EINVAL || errno == EBADF ? win32::kAccessDenied : Win32FromErrno(errno));
  return true;
}

bool ReserveSpace(FileHandle file, int64_t size) {
  if (size <= 0) return true;
  if (sys::Sys().fallocate(static_cast<int>(file), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) return true;
  if (errno == EOPNOTSUPP || errno == ENOSYS) return true;
  return Fail(Win32FromErrno(errno));
}

int64_t GetFileSize(FileHandle file) {
  struct stat st {};
  if (fstat(static_cast<int>(file), &st) != 0) return Fail(Win32FromErrno(errno)), -1;
  return st.st_size;
}

bool CloseHandle(FileHandle file) {
  if (file < 0) return Fail(win32::kInvalidHandle);
  return sys::Sys().close(static_cast<int>(file)) == 0 ? true : Fail(Win32FromErrno(errno));
}

std::u16string GetTempPath() {
  if (NativeRoot()) return u"/tmp/";
  CreateDirectory(u"\\Temp");
  return u"\\Temp\\";
}

uint32_t GetTempFileName(std::u16string_view directory, std::u16string_view prefix, uint32_t unique,
                         std::u16string* name) {
  std::u16string base(directory);
  if (base.empty() || (base.back() != u'\\' && base.back() != u'/')) base += u'\\';
  base += prefix.substr(0, 3);
  auto make = [&](uint32_t n) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "%X", n & 0xFFFF);
    std::u16string full = base;
    for (const char* p = hex; *p; ++p) full += static_cast<char16_t>(*p);
    return full + u".tmp";
  };
  if (unique != 0) {
    *name = make(unique);
    return unique & 0xFFFF;
  }
  // A process-wide counter keeps two calls apart even when the first name was deleted again.
  static std::atomic<uint32_t> calls{0};
  const auto start = static_cast<uint32_t>(
      ((static_cast<uint64_t>(time(nullptr)) ^ (getpid() << 4)) + calls.fetch_add(1) * 7919) & 0xFFFF);
  for (uint32_t i = 0; i < 0x10000; ++i) {
    const uint32_t n = ((start + i) & 0xFFFF) ? (start + i) & 0xFFFF : 1;
    const std::u16string candidate = make(n);
    const FileHandle f = CreateFile(candidate, kGenericWrite, 0, kCreateNew, 0);
    if (f != kInvalidFile) {
      CloseHandle(f);
      *name = candidate;
      SetLastError(win32::kSuccess);
      return n;
    }
    if (LastError() != win32::kFileExists) return 0;
  }
  SetLastError(win32::kFileExists);
  return 0;
}

}  // namespace kp::platform::fs

namespace kp::platform::fs {

uint32_t ReadWholeFile(std::u16string_view name, std::string* bytes) {
  bytes->clear();
  Location at;
  if (!detail::Locate(name, &at)) return LastError();
  if (at.isRoot) return win32::kPathNotFound;
  if (!at.exists) return win32::kFileNotFound;
  // A directory, a FIFO, a socket or a device node is refused before it is
  // opened; the open never waits for a writer. One swapped in since is
  // refused by the read itself (EISDIR, ESPIPE: pread reads only what can
  // seek), and the descriptor's type is asked before reading past the size
  // seen, so nothing endless is read: this spares a stat on every read.
  if (!S_ISREG(at.st.st_mode)) return win32::kAccessDenied;
  const UniqueFd fd(OpenAt(at, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!fd) return Win32FromErrno(errno);
  // One read for the whole file as it was sized, one byte more to see that
  // it ended there; a file that grew since is read on to its end.
  size_t have = 0;
  size_t want = static_cast<size_t>(at.st.st_size) + 1;
  bool checked = false;
  while (true) {
    bytes->resize(have + want);
    const ssize_t n = sys::Sys().pread(fd.get(), bytes->data() + have, want, static_cast<off_t>(have));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int e = errno;
      bytes->clear();
      return e == EISDIR || e == ESPIPE ? win32::kAccessDenied : Win32FromErrno(e);
    }
    have += static_cast<size_t>(n);
    if (static_cast<size_t>(n) < want) break;
    if (!checked) {
      struct stat st {};
      const bool known = fstat(fd.get(), &st) == 0;
      if (!known || !S_ISREG(st.st_mode)) {
        const uint32_t code = known ? win32::kAccessDenied : Win32FromErrno(errno);
        bytes->clear();
        return code;
      }
      checked = true;
    }
    want = 16384;
  }
  bytes->resize(have);
  return win32::kSuccess;
}

}  // namespace kp::platform::fs
