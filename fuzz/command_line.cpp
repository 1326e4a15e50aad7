// The Windows command-line splitter on arbitrary UTF-16 text: never reads past
// the line, and gives back any argument list quoted the way Windows programs
// quote one (the input, cut at each U+0000, is the list).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "system/command_line.h"

namespace {

// The usual quoting: plain when it has no blank or quote, otherwise quoted,
// with the backslashes before a quote (or the closing quote) doubled.
std::u16string Quote(const std::u16string& arg) {
  if (!arg.empty() && arg.find_first_of(u" \t\"") == std::u16string::npos) return arg;
  std::u16string out = u"\"";
  size_t slashes = 0;
  for (char16_t c : arg) {
    if (c == u'\\') {
      ++slashes;
      continue;
    }
    out.append(c == u'"' ? 2 * slashes + 1 : slashes, u'\\');
    slashes = 0;
    out += c;
  }
  out.append(2 * slashes, u'\\');
  return out + u"\"";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * 2);
  (void)kp::system::SplitWindowsCommandLine(text);

  std::vector<std::u16string> args;
  std::u16string line;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find(u'\0', start);
    args.push_back(text.substr(start, end == text.npos ? text.npos : end - start));
    if (!line.empty() || args.size() > 1) line += u' ';
    line += Quote(args.back());
    if (end == text.npos) break;
    start = end + 1;
  }
  if (kp::system::SplitWindowsArguments(line) != args) __builtin_trap();
  return 0;
}
