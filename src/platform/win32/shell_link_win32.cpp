// kp160std — a real shell link on Windows: IShellLinkW filled in and saved
// through IPersistFile, COM initialised for the call.
#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

#include <string>

#include "platform/platform.h"
#include "platform/shell_link.h"
#include "platform/win32/device_win32.h"

namespace kp::platform {
namespace {

std::wstring W(std::u16string_view s) { return std::wstring(s.begin(), s.end()); }

uint32_t CodeOf(HRESULT hr) {
  return HRESULT_FACILITY(hr) == FACILITY_WIN32 ? static_cast<uint32_t>(HRESULT_CODE(hr)) : 31u;  // general failure
}

}  // namespace

bool CreateShellLink(std::u16string_view path, const ShellLink& link) {
  const HRESULT init = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  IShellLinkW* shell = nullptr;
  HRESULT hr = ::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                  reinterpret_cast<void**>(&shell));
  if (SUCCEEDED(hr)) {
    hr = shell->SetPath(W(link.target).c_str());
    if (SUCCEEDED(hr) && !link.arguments.empty()) hr = shell->SetArguments(W(link.arguments).c_str());
    if (SUCCEEDED(hr) && !link.workingDirectory.empty())
      hr = shell->SetWorkingDirectory(W(link.workingDirectory).c_str());
    if (SUCCEEDED(hr) && !link.iconFile.empty()) hr = shell->SetIconLocation(W(link.iconFile).c_str(), link.iconIndex);
    IPersistFile* file = nullptr;
    if (SUCCEEDED(hr)) hr = shell->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
    if (SUCCEEDED(hr)) {
      // The link's own file goes where the device's files go (under
      // KP_PREFIX when it is set); what it points to is kept as given.
      const std::wstring where = win32dev::SystemPath(path);
      hr = where.empty() ? HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND) : file->Save(where.c_str(), TRUE);
      file->Release();
    }
    shell->Release();
  }
  if (SUCCEEDED(init)) ::CoUninitialize();
  if (FAILED(hr)) {
    SetLastError(CodeOf(hr));
    return false;
  }
  return true;
}

}  // namespace kp::platform
