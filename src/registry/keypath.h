// kp160std — the key-path grammar shared by every registry function.
//
// A KL key path is a root name followed by a sub-key path. The root is found
// by a case-sensitive prefix match against the seven root names; a path that
// starts with none of them is a sub-key of HKEY_CLASSES_ROOT (kept on purpose:
// "Software\Test" names HKEY_CLASSES_ROOT\Software\Test). The separator after
// the root is optional, so "HKEY_CURRENT_USERSoftware" names the sub-key
// "Software" of the current user. One leading and one trailing "\" of the
// sub-key path are dropped. Only four roots have a handle; the other three
// are recognised and then fail as keys that cannot be opened.
//
// Thread-safety: pure; any thread.
#pragma once

#include <string>
#include <string_view>

#include "platform/registry.h"

namespace kp::registry {

struct KeyPath {
  std::u16string_view rootName;  // one of the seven names, static storage
  platform::reg::HKey root = 0;  // 0 for the three roots without a handle
  std::u16string_view subKey;    // a view into the path given
};

KeyPath SplitKeyPath(std::u16string_view path);

// "ROOT\sub\key", or "ROOT" alone for an empty sub-key.
std::u16string JoinKeyPath(std::u16string_view rootName, std::u16string_view subKey);

}  // namespace kp::registry
