// kp160std — what the parts of the POSIX device file system share: device
// names resolved beneath the root (beneath.h) into a held parent directory
// and a leaf, the object behind a Location opened without following a link,
// the attribute bits, and the time conversion.
//
// Nothing here hands a host path string to the kernel to walk: an operation
// acts on the parent's handle and the leaf, or on a descriptor of the object
// itself. Where a call has no descriptor form that works on every kind of
// object (chmod, the extended attributes, utimens on an O_PATH descriptor),
// it goes through /proc/self/fd/N, which names exactly the object held and
// is never walked as a path below the root.
//
// Thread-safety: as the seam (platform/filesystem.h).
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/filesystem.h"
#include "platform/posix/beneath.h"

namespace kp::platform::fs::detail {

// Sets the thread's last error and answers false.
bool Fail(uint32_t code);

// Resolves a device path ("\a\b", "/a/b") beneath the root; false with the
// Win32 error set (3 for ".", "..", an empty or relative name is 3/123 as
// before, 123 for a NUL or a lone surrogate).
bool Locate(std::u16string_view name, Location* out);

// A descriptor of the located object itself (O_PATH, never a link); an
// invalid one with errno set otherwise (ELOOP when a link was swapped in at
// the leaf since the walk).
UniqueFd OpenObject(const Location& at);
// The same for the entry `leaf` of the directory `dir`.
UniqueFd OpenObjectAt(int dir, const char* leaf);

// "/proc/self/fd/N": the path that names the object held by `fd`.
std::string FdPath(int fd);

// Opens the leaf for its bytes (`flags` as open's; O_NOFOLLOW and O_CLOEXEC
// added): with O_NONBLOCK, so that a FIFO or a device cannot stall the open,
// then refused with 5 unless it is a regular file; the descriptor is made
// blocking again. -1 with the Win32 error set on failure (80 when O_EXCL
// finds the name taken).
int OpenRegular(const Location& at, int flags, mode_t mode = 0);

// The Win32 attributes of an object: `fd` an OpenObject descriptor of it (or
// -1 when none could be had: then only the bits the status gives), `leaf`
// its name (names starting with "." read as hidden where the host keeps no
// extended attributes).
uint32_t AttributesOf(int fd, const std::string& leaf, const struct stat& st);
// The hidden/system/archive bits kept on the object (kept-bits text), or
// empty when none are kept.
std::string KeptAttributeText(int fd);
// Keeps `text` as the object's kept bits; false with errno set.
bool KeepAttributeText(int fd, const std::string& text);

bool ReadOnly(const struct stat& st);
FileTimes TimesOf(const struct stat& st);
int64_t ToFileTime(const timespec& t);
timespec FromFileTime(int64_t ft);

}  // namespace kp::platform::fs::detail
