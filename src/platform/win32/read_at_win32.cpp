// kp160std — a read at an offset on Windows: the position is set, then read
// from, as a plain seek and read would do.
#include "platform/read_at.h"

namespace kp::platform::fs {

bool ReadFileAt(FileHandle file, int64_t offset, void* buffer, uint32_t count, uint32_t* read) {
  *read = 0;
  return SetFilePointer(file, offset, 0, nullptr) && ReadFile(file, buffer, count, read);
}

}  // namespace kp::platform::fs

namespace kp::platform::fs {

// Not available here: the line reader reads each line from the file instead.
bool FileView::Map(FileHandle, int64_t, uint64_t) { return false; }
void FileView::Unmap() {}
bool ReadView(FileView&, void (*work)(void*), void* arg) {
  work(arg);
  return true;
}

}  // namespace kp::platform::fs
