// kp — accent folding, edit distance and the closest names.
#include "names.h"

#include <algorithm>

#include "text.h"

namespace kphost {
namespace {

// Latin-1 letters U+00C0..U+00FF without their accents (lower case: the
// input is folded first); "" where a letter is kept as it is.
const char* const kLatin1[64] = {
    "a", "a", "a", "a", "a", "a", "ae", "c", "e", "e", "e", "e", "i", "i", "i",  "i",   // C0-CF
    "d", "n", "o", "o", "o", "o", "o",  "",  "o", "u", "u", "u", "u", "y", "th", "ss",  // D0-DF
    "a", "a", "a", "a", "a", "a", "ae", "c", "e", "e", "e", "e", "i", "i", "i",  "i",   // E0-EF
    "d", "n", "o", "o", "o", "o", "o",  "",  "o", "u", "u", "u", "u", "y", "th", "y"};  // F0-FF

}  // namespace

std::string FoldAccents(std::string_view utf8) {
  const std::u16string wide = Utf16(FoldName(utf8));
  std::u16string out;
  out.reserve(wide.size());
  for (char16_t c : wide) {
    if (c >= 0xC0 && c <= 0xFF && *kLatin1[c - 0xC0]) {
      for (const char* p = kLatin1[c - 0xC0]; *p; ++p) out += static_cast<char16_t>(*p);
    } else if (c == 0x152 || c == 0x153) {
      out += u"oe";
    } else if (c == 0x160 || c == 0x161) {
      out += u's';
    } else if (c == 0x178) {
      out += u'y';
    } else if (c == 0x17D || c == 0x17E) {
      out += u'z';
    } else {
      out += c;
    }
  }
  return Utf8(out);
}

size_t EditDistance(std::string_view a, std::string_view b) {
  const std::u16string x = Utf16(a), y = Utf16(b);
  std::vector<size_t> row(y.size() + 1);
  for (size_t j = 0; j <= y.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= x.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= y.size(); ++j) {
      const size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (x[i - 1] == y[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[y.size()];
}

std::vector<std::string> ClosestNames(const Library& library, std::string_view name, size_t most) {
  const std::string wanted = FoldAccents(name);
  if (wanted.empty()) return {};
  // Near enough: a third of the name's letters wrong, at least one, at most 4.
  const size_t length = Utf16(wanted).size();
  const size_t limit = std::clamp<size_t>(length / 3, 1, 4);
  // (distance, name shown), one per row: the spelling that came closest.
  std::vector<std::pair<size_t, std::string>> near;
  auto consider = [&](const std::string& french, const std::string& english) {
    const size_t df = EditDistance(wanted, FoldAccents(french));
    const size_t de = EditDistance(wanted, FoldAccents(english));
    if (std::min(df, de) <= limit) near.emplace_back(std::min(df, de), df <= de ? french : english);
  };
  for (const auto& f : library.functions()) consider(f.french, f.english);
  for (const auto& c : library.constants()) consider(c.french, c.english);
  std::sort(near.begin(), near.end());
  std::vector<std::string> out;
  for (const auto& [distance, shown] : near) {
    if (out.size() == most) break;
    if (std::find(out.begin(), out.end(), shown) == out.end()) out.push_back(shown);
  }
  return out;
}

std::string DidYouMean(const Library& library, std::string_view name) {
  const auto names = ClosestNames(library, name);
  if (names.empty()) return "";
  std::string text = "; did you mean ";
  for (size_t i = 0; i < names.size(); ++i) text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
  return text + "?";
}

}  // namespace kphost
