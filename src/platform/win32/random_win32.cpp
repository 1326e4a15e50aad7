// kp160std — randomness on Windows: identifiers from ole32's CoCreateGuid,
// loaded for the call and unloaded again so that the library does not keep
// COM's DLL mapped (the runtime generator is common/rand.cpp).
#include "platform/win32/windows_api.h"

#include <cstring>

#include "platform/random.h"

namespace kp::platform {

bool CreateGuid(Guid& out) {
  HMODULE ole32 = ::LoadLibraryW(L"ole32.dll");
  if (!ole32) return false;
  using CreateFn = HRESULT(WINAPI*)(GUID*);
  auto create = reinterpret_cast<CreateFn>(reinterpret_cast<void*>(::GetProcAddress(ole32, "CoCreateGuid")));
  bool ok = false;
  if (create) {
    GUID g{};
    if (create(&g) >= 0) {  // a negative HRESULT is a failure
      out.data1 = g.Data1;
      out.data2 = g.Data2;
      out.data3 = g.Data3;
      std::memcpy(out.data4, g.Data4, 8);
      ok = true;
    }
  }
  ::FreeLibrary(ole32);
  return ok;
}

}  // namespace kp::platform
