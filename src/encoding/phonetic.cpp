// kp160std — the Soundex2 phonetic code (see phonetic.h).
#include "encoding/phonetic.h"

#include <utility>

namespace kp::encoding {
namespace {

// Upper-case Latin letters without their accents: "" for a character that
// is not a letter (it is dropped).
std::string_view Fold(char16_t c) {
  static constexpr std::string_view kLatin1[64] = {
      "A", "A", "A", "A", "A", "A", "AE", "C", "E", "E", "E", "E", "I", "I", "I", "I",   // U+00C0
      "D", "N", "O", "O", "O", "O", "O",  "",  "O", "U", "U", "U", "U", "Y", "",  "SS",  // U+00D0
  };
  static constexpr char kAscii[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  if (c >= u'a' && c <= u'z') return {kAscii + (c - u'a'), 1};
  if (c >= u'A' && c <= u'Z') return {kAscii + (c - u'A'), 1};
  if (c >= 0xE0 && c <= 0xFF && c != 0xF7) c = c == 0xFF ? 0xDD : c - 0x20;  // lower-case Latin-1 (ÿ as Ý)
  if (c >= 0xC0 && c <= 0xDF) return kLatin1[c - 0xC0];
  if (c == 0x152 || c == 0x153) return "OE";
  if (c == 0x178) return "Y";
  if (c == 0x160 || c == 0x161) return "S";
  if (c == 0x17D || c == 0x17E) return "Z";
  return {};
}

void ReplaceAll(std::string* s, std::string_view from, std::string_view to) {
  std::string out;
  size_t at = 0;
  for (size_t found; (found = s->find(from, at)) != std::string::npos; at = found + from.size()) {
    out.append(*s, at, found - at);
    out += to;
  }
  out.append(*s, at, std::string::npos);
  *s = std::move(out);
}

bool IsVowel(char c) { return c == 'A' || c == 'E' || c == 'I' || c == 'O' || c == 'U'; }

}  // namespace

std::string Soundex2(std::u16string_view text) {
  std::string s;
  for (char16_t c : text) s += Fold(c);
  if (s.empty()) return s;
  if (s.size() == 1) return s + "   ";
  // 1. Primary groups, each over the whole word in this order.
  static constexpr std::pair<std::string_view, std::string_view> kPrimary[] = {
      {"GUI", "KI"}, {"GUE", "KE"}, {"GA", "KA"}, {"GO", "KO"}, {"GU", "K"}, {"CA", "KA"},
      {"CO", "KO"},  {"CU", "KU"},  {"Q", "K"},   {"CC", "K"},  {"CK", "K"}};
  for (auto [from, to] : kPrimary) ReplaceAll(&s, from, to);
  // 2. Every vowel but Y, except the first letter, becomes A.
  for (size_t i = 1; i < s.size(); ++i)
    if (IsVowel(s[i])) s[i] = 'A';
  // 3. Prefixes.
  static constexpr std::pair<std::string_view, std::string_view> kPrefixes[] = {
      {"MAC", "MCC"}, {"ASA", "AZA"}, {"KN", "NN"}, {"PF", "FF"}, {"SCH", "SSS"}, {"PH", "FF"}};
  for (auto [from, to] : kPrefixes)
    if (s.compare(0, from.size(), from) == 0) {
      s.replace(0, from.size(), to);
      break;
    }
  // 4. H goes unless after C or S; 5. then Y goes unless after A.
  std::string t;
  for (size_t i = 0; i < s.size(); ++i)
    if (s[i] != 'H' || (i > 0 && (s[i - 1] == 'C' || s[i - 1] == 'S'))) t += s[i];
  s.clear();
  for (size_t i = 0; i < t.size(); ++i)
    if (t[i] != 'Y' || (i > 0 && t[i - 1] == 'A')) s += t[i];
  // 6. A final A, T, D or S goes.
  if (!s.empty() && std::string_view("ATDS").find(s.back()) != std::string_view::npos) s.pop_back();
  // 7. Every A but a first one goes.
  t.clear();
  for (size_t i = 0; i < s.size(); ++i)
    if (i == 0 || s[i] != 'A') t += s[i];
  // 8. Runs of one letter become one letter.
  s.clear();
  for (char c : t)
    if (s.empty() || s.back() != c) s += c;
  // 9. Four characters.
  s.resize(4, ' ');
  return s;
}

std::u16string Phonetic(ExecContext*, std::u16string_view text) {
  const std::string code = Soundex2(text);
  return std::u16string(code.begin(), code.end());
}

}  // namespace kp::encoding
