// The key-path splitter and the INI files' device-path mapping on any text:
// no crash, and the parts always put back the path they came from.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/filesystem.h"
#include "registry/keypath.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string path(size / 2, u'\0');
  if (!path.empty()) std::memcpy(path.data(), data, path.size() * 2);
  // Bias towards the grammar: byte 0x01 stands for a root name prefix.
  if (size % 2 && size && data[size - 1] < 7) {
    static const char16_t* roots[] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",
                                      u"HKEY_PERFORMANCE_DATA", u"HKEY_CURRENT_CONFIG", u"HKEY_DYN_DATA"};
    path = roots[data[size - 1]] + path;
  }
  const auto p = kp::registry::SplitKeyPath(path);
  // The sub-key is the rest after the root name (or the whole path), less at
  // most one "\" at each end.
  std::u16string_view rest = path;
  if (rest.starts_with(p.rootName)) rest.remove_prefix(p.rootName.size());
  else if (p.rootName != u"HKEY_CLASSES_ROOT") abort();
  if (rest.starts_with(u'\\')) rest.remove_prefix(1);
  if (rest.ends_with(u'\\')) rest.remove_suffix(1);
  if (rest != p.subKey) abort();
  const bool handled = p.rootName == u"HKEY_CLASSES_ROOT" || p.rootName == u"HKEY_CURRENT_USER" ||
                       p.rootName == u"HKEY_LOCAL_MACHINE" || p.rootName == u"HKEY_USERS";
  if (handled != (p.root != 0)) abort();

  if (auto relative = kp::platform::fs::DeviceRelativePath(path)) {
    // Never empty, never an empty, "." or ".." component: it stays under the root.
    if (relative->empty() || relative->front() == '/' || relative->back() == '/') abort();
    size_t start = 0;
    while (start <= relative->size()) {
      size_t end = relative->find('/', start);
      if (end == std::string::npos) end = relative->size();
      const std::string name = relative->substr(start, end - start);
      if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos) abort();
      start = end + 1;
    }
  }
  return 0;
}
