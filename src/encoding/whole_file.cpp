// kp160std — whole-file reading and replacing (see whole_file.h).
#include "encoding/whole_file.h"

#include <algorithm>
#include <string>

#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::encoding {
namespace fs = platform::fs;

bool ReadWholeFile(std::u16string_view name, Bytes* out) {
  const fs::FileHandle f = fs::CreateFile(name, fs::kGenericRead, fs::kShareRead, fs::kOpenExisting, 0);
  if (f == fs::kInvalidFile) return false;
  bool ok = true;
  const int64_t size = fs::GetFileSize(f);
  if (size < 0) {
    ok = false;
  } else if (size > kMaxWholeFile) {
    platform::SetLastError(8);
    ok = false;
  } else {
    out->resize(static_cast<size_t>(size));
    size_t done = 0;
    while (ok && done < out->size()) {
      uint32_t got = 0;
      if (!fs::ReadFile(f, out->data() + done, static_cast<uint32_t>(out->size() - done), &got))
        ok = false;
      else if (got == 0)
        out->resize(done);  // the file shrank meanwhile: what was there
      done += got;
    }
  }
  const uint32_t error = platform::LastError();
  fs::CloseHandle(f);
  if (!ok) platform::SetLastError(error);
  return ok;
}

bool ReplaceWholeFile(std::u16string_view name, std::span<const uint8_t> bytes) {
  const std::u16string temporary = std::u16string(name) + u".kp-partial";
  const fs::FileHandle f = fs::CreateFile(temporary, fs::kGenericWrite, 0, fs::kCreateAlways, 0);
  if (f == fs::kInvalidFile) return false;
  bool ok = true;
  size_t done = 0;
  while (ok && done < bytes.size()) {
    uint32_t wrote = 0;
    const size_t chunk = std::min<size_t>(bytes.size() - done, 1u << 30);
    if (!fs::WriteFile(f, bytes.data() + done, static_cast<uint32_t>(chunk), &wrote) || wrote == 0) ok = false;
    done += wrote;
  }
  uint32_t error = platform::LastError();
  if (!fs::CloseHandle(f) && ok) {
    ok = false;
    error = platform::LastError();
  }
  if (ok) {
    // The old destination goes only once the new one is complete.
    if (fs::GetFileAttributes(name) != fs::kInvalidAttributes && !fs::DeleteFile(name)) {
      ok = false;
      error = platform::LastError();
    } else if (!fs::MoveFile(temporary, name)) {
      ok = false;
      error = platform::LastError();
    }
  }
  if (!ok) {
    fs::DeleteFile(temporary);
    platform::SetLastError(error);
  }
  return ok;
}

}  // namespace kp::encoding
