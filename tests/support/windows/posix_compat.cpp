// The POSIX calls of posix_compat.h that need <windows.h>, kept out of the
// header so that its macros never reach the tests.
#include <windows.h>

#include <cerrno>

extern "C" long sysconf(int name) {
  if (name != _SC_PAGESIZE) {
    errno = EINVAL;
    return -1;
  }
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return static_cast<long>(info.dwPageSize);
}
