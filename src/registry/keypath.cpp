// kp160std — the key-path grammar.
#include "registry/keypath.h"

namespace kp::registry {

namespace {

struct Root {
  std::u16string_view name;
  platform::reg::HKey handle;
};

// Matched in this order, so a longer name never hides behind a shorter one.
constexpr Root kRoots[] = {
    {u"HKEY_CLASSES_ROOT", platform::reg::kClassesRoot},
    {u"HKEY_CURRENT_USER", platform::reg::kCurrentUser},
    {u"HKEY_LOCAL_MACHINE", platform::reg::kLocalMachine},
    {u"HKEY_USERS", platform::reg::kUsers},
    {u"HKEY_PERFORMANCE_DATA", 0},
    {u"HKEY_CURRENT_CONFIG", 0},
    {u"HKEY_DYN_DATA", 0},
};

}  // namespace

KeyPath SplitKeyPath(std::u16string_view path) {
  KeyPath out{kRoots[0].name, kRoots[0].handle, path};
  for (const Root& root : kRoots) {
    if (path.starts_with(root.name)) {
      out = KeyPath{root.name, root.handle, path.substr(root.name.size())};
      break;
    }
  }
  if (out.subKey.starts_with(u'\\')) out.subKey.remove_prefix(1);
  if (out.subKey.ends_with(u'\\')) out.subKey.remove_suffix(1);
  return out;
}

std::u16string JoinKeyPath(std::u16string_view rootName, std::u16string_view subKey) {
  std::u16string out(rootName);
  if (!subKey.empty()) {
    out += u'\\';
    out += subKey;
  }
  return out;
}

}  // namespace kp::registry
