// kp160std — symbols of loaded modules on POSIX: a module handle is what
// dlopen returned.
#include <dlfcn.h>

#include "platform/platform.h"

namespace kp::platform {

void* FindSymbol(uintptr_t module, const char* name) {
  if (!module || !name) return nullptr;
  return dlsym(reinterpret_cast<void*>(module), name);
}

}  // namespace kp::platform
