// kp160std — RegistreCherche: a depth-first search of the registry that a
// previous result resumes.
//
// The walk at one key looks at its values in enumeration order (names, then
// text contents), then at its sub-keys in enumeration order: each sub-key's
// name, then, with option 8, the sub-key's own walk before the next sub-key.
// Every value and every sub-key is one position of that walk. A result names
// the position it stopped at:
//
//   sub-key match   "<key path>\t<sub-key name>"
//   value match     "<key path>\t\t<value name>\t<value text>"
//
// and a search given a result starts right after that position, so calling
// again with each previous result visits every match once. With option 8 a
// resumed walk does not know where the first search started, so once the
// start key's subtree is done it goes on with the keys that follow it in the
// walk of the whole root (see docs/registry.md).
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/keypath.h"
#include "registry/registry.h"
#include "registry/text.h"

namespace kp::registry {

namespace reg = platform::reg;

namespace {

constexpr uint32_t kSubKeyNameCapacity = 256;
constexpr uint32_t kAllValuesDone = 0xFFFFFFFFu;
// Deeper keys are not descended into; the registry itself allows 512 levels.
constexpr int kMaxDepth = 512;

struct Search {
  std::u16string_view rootName;
  reg::HKey root = 0;
  std::u16string_view searched;
  int32_t options = 0;

  bool Matches(std::u16string_view text) const {
    return ContainsFolded(text, searched, (options & kSeekWholeWord) != 0);
  }
};

std::u16string Join(std::u16string_view parent, std::u16string_view name) {
  if (parent.empty()) return std::u16string(name);
  std::u16string out(parent);
  out += u'\\';
  out += name;
  return out;
}

// The text of a value for matching and for the result: texts up to their
// first NUL, multi-strings joined by "\r\n", numbers in decimal.
std::u16string ValueText(uint32_t type, std::span<const uint8_t> data, bool* isText) {
  *isText = type == reg::kSz || type == reg::kExpandSz || type == reg::kMultiSz;
  if (*isText) {
    std::u16string units(data.size() / 2, u'\0');
    if (!units.empty()) std::memcpy(units.data(), data.data(), units.size() * 2);
    if (type != reg::kMultiSz) return units.substr(0, units.find(u'\0'));
    std::u16string out;
    size_t at = 0;
    while (at < units.size() && units[at] != u'\0') {
      const size_t end = std::min(units.find(u'\0', at), units.size());
      if (!out.empty()) out += u"\r\n";
      out.append(units, at, end - at);
      at = end + 1;
    }
    return out;
  }
  if (type == reg::kDword || type == reg::kDwordBigEndian || type == reg::kQword)
    return ToText(ValueFromData(type, data));
  return {};
}

std::optional<std::u16string> WalkKey(const Search& s, const std::u16string& sub, uint32_t valueFrom,
                                      uint32_t subFrom, int depth) {
  reg::KeyHolder k;
  if (reg::OpenKey(s.root, sub, reg::kRead, k.out()) != win32::kSuccess) return std::nullopt;
  const std::u16string path = JoinKeyPath(s.rootName, sub);
  // Each key is read once, values and then sub-key names, so a walk costs
  // time in proportion to the entries it passes.
  std::optional<std::u16string> found;
  if ((s.options & (kSeekValueNames | kSeekValueContents)) && valueFrom != kAllValuesDone) {
    // The data is read even for names alone: a match gives the value's text.
    reg::VisitValues(k.get(), valueFrom, true, [&](const reg::ValueEntry& v) {
      bool isText = false;
      std::u16string text = ValueText(v.type, v.data, &isText);
      const bool byName = (s.options & kSeekValueNames) && s.Matches(v.name);
      const bool byContent = (s.options & kSeekValueContents) && isText && s.Matches(text);
      if (!byName && !byContent) return true;
      found = path + u"\t\t" + std::u16string(v.name) + u"\t" + text;
      return false;
    });
    if (found) return found;
  }
  std::vector<std::u16string> names;
  reg::EnumKeys(k.get(), subFrom, &names, kSubKeyNameCapacity);
  k.reset();
  for (const auto& name : names) {
    if ((s.options & kSeekSubKeyNames) && s.Matches(name)) return path + u"\t" + name;
    if ((s.options & kSeekDescend) && depth < kMaxDepth) {
      if (auto below = WalkKey(s, Join(sub, name), 0, 0, depth + 1)) return below;
    }
  }
  return std::nullopt;
}

// Where to go on among a key's sub-keys after the one named `own`: the index
// after it, or, when it is gone, the first one that sorts after it.
std::optional<uint32_t> SubKeyAfter(const Search& s, std::u16string_view sub, std::u16string_view own) {
  reg::KeyHolder k;
  if (reg::OpenKey(s.root, sub, reg::kEnumerateSubKeys, k.out()) != win32::kSuccess) return std::nullopt;
  const std::u16string folded = reg::FoldName(own);
  std::vector<std::u16string> names;
  reg::EnumKeys(k.get(), 0, &names, kSubKeyNameCapacity);
  for (uint32_t i = 0; i < names.size(); ++i) {
    const std::u16string f = reg::FoldName(names[i]);
    if (f == folded) return i + 1;
    if (f > folded) return i;
  }
  return static_cast<uint32_t>(names.size());
}

uint32_t ValueAfter(const Search& s, std::u16string_view sub, std::u16string_view own) {
  reg::KeyHolder k;
  if (reg::OpenKey(s.root, sub, reg::kQueryValue, k.out()) != win32::kSuccess) return kAllValuesDone;
  const std::u16string folded = reg::FoldName(own);
  uint32_t after = kAllValuesDone;  // gone: go on with the sub-keys
  reg::VisitValues(k.get(), 0, false, [&](const reg::ValueEntry& v) {
    if (reg::FoldName(v.name) != folded) return true;
    after = v.index + 1;
    return false;
  });
  return after;
}

int Depth(std::u16string_view sub) {
  if (sub.empty()) return 0;
  int depth = 1;
  for (char16_t c : sub) depth += c == u'\\';
  return depth;
}

}  // namespace

std::u16string Seek(ExecContext* context, std::u16string_view start, std::u16string_view searched,
                    int32_t options) {
  if (searched.empty()) return {};
  // Up to four tab-separated fields; the last takes the rest, tabs included,
  // since a value's text may hold tabs.
  std::u16string_view fields[4];
  int count = 0;
  for (std::u16string_view rest = start; count < 4;) {
    const size_t tab = count < 3 ? rest.find(u'\t') : std::u16string_view::npos;
    fields[count++] = rest.substr(0, tab);
    if (tab == std::u16string_view::npos) break;
    rest.remove_prefix(tab + 1);
  }
  const KeyPath p = SplitKeyPath(fields[0]);
  if (!p.root) return {};
  Search s{p.rootName, p.root, searched, options};
  std::u16string sub(p.subKey);

  if (count == 1) return WalkKey(s, sub, 0, 0, Depth(sub)).value_or(std::u16string());

  std::optional<std::u16string> found;
  if (count == 2) {
    const auto next = SubKeyAfter(s, sub, fields[1]);
    if (!next) return {};
    // The matching sub-key's own walk comes first, then its next siblings.
    if (options & kSeekDescend) {
      reg::KeyHolder probe;
      const std::u16string child = Join(sub, fields[1]);
      if (reg::OpenKey(s.root, child, reg::kQueryValue, probe.out()) == win32::kSuccess) {
        probe.reset();
        found = WalkKey(s, child, 0, 0, Depth(child));
      }
    }
    if (!found) found = WalkKey(s, sub, kAllValuesDone, *next, Depth(sub));
  } else {
    found = WalkKey(s, sub, ValueAfter(s, sub, fields[2]), 0, Depth(sub));
  }
  // Climb: each ancestor goes on with the sub-keys after the one just done.
  while (!found && (options & kSeekDescend) && !sub.empty()) {
    const size_t cut = sub.rfind(u'\\');
    const std::u16string own = cut == std::u16string::npos ? sub : sub.substr(cut + 1);
    sub = cut == std::u16string::npos ? std::u16string() : sub.substr(0, cut);
    const auto next = SubKeyAfter(s, sub, own);
    if (!next) break;
    found = WalkKey(s, sub, kAllValuesDone, *next, Depth(sub));
  }
  return found.value_or(std::u16string());
}

}  // namespace kp::registry
