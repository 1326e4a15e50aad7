// The KL script lexer and parser on arbitrary text: no crash, no hang, no
// unbounded recursion, and an error always points inside the text (and
// quoting its line works whatever the line holds).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "script_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const kphost::Script script = kphost::Parse(text, "fuzz.kl");
    for (const auto& proc : script.procedures)
      if (proc->name.empty()) std::abort();
  } catch (const kphost::ScriptError& e) {
    int lines = 1;
    for (char c : text) lines += c == '\n';
    if (e.at().line < 1 || e.at().line > lines || e.at().column < 1 ||
        static_cast<size_t>(e.at().column) > size + 1)
      std::abort();
    // The message quotes the line with a caret under the column.
    if (e.Describe().rfind("fuzz.kl:", 0) != 0) std::abort();
  }
  return 0;
}
