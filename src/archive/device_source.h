// kp160std — libzip sources over the device file system.
//
// libzip reads and writes through a zip_source; these sources do every file
// access through platform::fs, so an archive or a file added to one obeys the
// device's rules (the device root, no escape by "..", the case of names) like
// every other file function.
//
// Writing an archive goes to a temporary file beside it, which takes the
// archive's place in one step (ReplaceFile) only once libzip has written it
// whole: a failed write leaves the old archive as it was.
//
// Thread-safety: a source belongs to one zip_t, used by one thread at a time.
#pragma once

#include <zip.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::archive {

// A readable and writable source for the archive file `name`. A missing file
// reads as "no such file", which libzip's ZIP_CREATE turns into a new archive.
// `prefix` (the stub of a self-extracting archive) is written before the
// archive's own bytes; the archive's offsets count it, so the result is a
// plain zip file with leading bytes, as readers expect. Null on failure
// (`error` filled).
zip_source_t* ArchiveSource(std::u16string_view name, std::string prefix, zip_error_t* error);

// A read-only source over the file `name`, for zip_file_add; its size and
// modification time are the file's. Null (with `error`) when it cannot be read.
zip_source_t* FileSource(zip_t* zip, std::u16string_view name, zip_error_t* error);

// The platform's last error behind the last failure of a source (0 when
// none): the libzip error keeps only errno-like numbers, the error record
// wants Win32 ones.
uint32_t LastSourceSystemError();

}  // namespace kp::archive
