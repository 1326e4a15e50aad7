// kp160std — the VM's thread-local slot on Windows: the index is a TlsAlloc
// index. TlsGetValue sets the last error even on success; the caller's last
// error is kept.
#include "platform/win32/windows_api.h"

#include "platform/tls.h"

namespace kp::platform {

void* ThreadSlotValue(uint32_t index) {
  const DWORD saved = ::GetLastError();
  void* value = ::TlsGetValue(index);
  ::SetLastError(saved);
  return value;
}

}  // namespace kp::platform
