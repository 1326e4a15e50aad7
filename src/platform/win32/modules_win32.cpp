// kp160std — symbols of loaded modules on Windows: a module handle is an
// HMODULE.
#include "platform/win32/windows_api.h"

#include "platform/platform.h"

namespace kp::platform {

void* FindSymbol(uintptr_t module, const char* name) {
  if (!module || !name) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

}  // namespace kp::platform
