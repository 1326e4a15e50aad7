// Fuzz target: the reference records' parser. Any text must parse into
// records and errors without a crash, a hang or a leak, and every error
// must name its file and line.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "reference.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  kphost::ref::Parsed parsed;
  kphost::ref::ParseRecords(text, "fuzz", parsed);
  for (const auto& e : parsed.errors)
    if (e.rfind("fuzz.ref:", 0) != 0) std::abort();
  for (const auto& r : parsed.records) {
    if (r.name.empty()) std::abort();
    for (const auto& s : r.syntaxes)
      if (s.params.size() > s.names.size()) std::abort();
  }
  // A second file appended to the same result keeps the first's records.
  const size_t before = parsed.records.size();
  kphost::ref::ParseRecords(text, "fuzz", parsed);
  if (parsed.records.size() != 2 * before) std::abort();
  return 0;
}
