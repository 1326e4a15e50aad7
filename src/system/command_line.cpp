// kp160std — the Windows C runtime's command-line rules (see the header).
#include "system/command_line.h"

namespace kp::system {

namespace {

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

}  // namespace

std::vector<std::u16string> SplitWindowsArguments(std::u16string_view line) {
  std::vector<std::u16string> out;
  size_t i = 0;
  const size_t n = line.size();
  for (;;) {
    while (i < n && IsBlank(line[i])) ++i;
    if (i >= n) break;
    std::u16string arg;
    bool quoted = false;
    while (i < n) {
      const char16_t c = line[i];
      if (c == u'\\') {
        size_t slashes = 0;
        while (i < n && line[i] == u'\\') ++slashes, ++i;
        if (i < n && line[i] == u'"') {
          arg.append(slashes / 2, u'\\');
          if (slashes % 2 == 1) {
            arg += u'"';
            ++i;
          }
          // An even count leaves the quote to the branch below.
        } else {
          arg.append(slashes, u'\\');
        }
        continue;
      }
      if (c == u'"') {
        if (quoted && i + 1 < n && line[i + 1] == u'"') {
          arg += u'"';  // "" inside a quoted part: a quote, and the part goes on
          i += 2;
          continue;
        }
        quoted = !quoted;
        ++i;
        continue;
      }
      if (!quoted && IsBlank(c)) break;
      arg += c;
      ++i;
    }
    out.push_back(std::move(arg));
  }
  return out;
}

std::vector<std::u16string> SplitWindowsCommandLine(std::u16string_view line) {
  // The program name knows no escapes: quotes only switch blanks off, so
  // "C:\a b\"x is the name C:\a b\x.
  std::u16string program;
  bool quoted = false;
  size_t i = 0;
  for (; i < line.size(); ++i) {
    const char16_t c = line[i];
    if (c == u'"') {
      quoted = !quoted;
      continue;
    }
    if (!quoted && IsBlank(c)) break;
    program += c;
  }
  std::vector<std::u16string> out{std::move(program)};
  for (auto& a : SplitWindowsArguments(line.substr(i))) out.push_back(std::move(a));
  return out;
}

}  // namespace kp::system
