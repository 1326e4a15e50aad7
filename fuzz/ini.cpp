// The INI engine on random files and random writes: the file stays readable,
// a written entry reads back, and no line outside the written section is lost
// or changed.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "registry/ini.h"

namespace {

struct Span {
  size_t begin, end;
};

std::vector<std::string> Lines(const std::string& s, size_t from, size_t to) {
  std::vector<std::string> out;
  size_t at = from;
  while (at < to) {
    size_t lf = s.find('\n', at);
    size_t next = lf == std::string::npos || lf >= to ? to : lf + 1;
    out.push_back(s.substr(at, next - at));
    at = next;
  }
  return out;
}

// The byte range of the first section whose header begins with "[name]"
// exactly, up to the next header line; nullopt when there is none.
std::optional<Span> Section(const std::string& s, const std::string& name) {
  const std::string header = "[" + name + "]";
  size_t at = 0;
  std::optional<size_t> begin;
  while (at < s.size()) {
    size_t lf = s.find('\n', at);
    size_t next = lf == std::string::npos ? s.size() : lf + 1;
    std::string line = s.substr(at, next - at);
    const bool isHeader = !line.empty() && line[0] == '[' && line.find(']') != std::string::npos;
    if (begin && isHeader) return Span{*begin, at};
    if (!begin && line.compare(0, header.size(), header) == 0) begin = at;
    at = next;
  }
  if (begin) return Span{*begin, s.size()};
  return std::nullopt;
}

std::string Pick(FuzzedDataProvider& in, const char* alphabet, size_t maxLength) {
  std::string out;
  const size_t n = in.ConsumeIntegralInRange<size_t>(0, maxLength);
  const size_t a = std::char_traits<char>::length(alphabet);
  for (size_t i = 0; i < n; ++i) out += alphabet[in.ConsumeIntegralInRange<size_t>(0, a - 1)];
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  // Lower-case ASCII only, so that the reader's and the writer's section
  // matches (with and without case) find the same lines.
  std::string file = in.ConsumeRandomLengthString(4096);
  for (auto& c : file) {
    c = static_cast<char>(c & 0x7F);
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  for (int op = 0; op < 8 && in.remaining_bytes(); ++op) {
    const std::string section = Pick(in, "ab01", 3);
    const bool withKey = in.ConsumeBool();
    const std::string key = Pick(in, "ab01", 3);
    const bool withValue = in.ConsumeBool();
    std::string value = Pick(in, "ab ;=[]x\t", 8);
    while (!value.empty() && (value[0] == ' ' || value[0] == '\t')) value.erase(0, 1);
    const std::string before = file;
    const auto span = Section(before, section);
    std::optional<std::string_view> k, v;
    if (withKey) k = key;
    if (withValue) v = value;
    const bool ok = kp::registry::IniWriteBytes(file, section, k, v);
    if (section.empty()) {
      if (ok || file != before) abort();
      continue;
    }
    if (!ok) abort();
    if (!span) {
      if (file.compare(0, before.size(), before) != 0) abort();  // only appended
    } else {
      // Everything before the section and after it is untouched.
      if (file.compare(0, span->begin, before, 0, span->begin) != 0) abort();
      const std::string tail = before.substr(span->end);
      if (file.size() < tail.size() || file.compare(file.size() - tail.size(), tail.size(), tail) != 0) abort();
      if (withKey && !key.empty()) {
        // Inside it, at most the one line for the key is replaced or removed.
        auto oldLines = Lines(before, span->begin, span->end);
        auto newLines = Lines(file, span->begin, file.size() - tail.size());
        auto others = [&](const std::vector<std::string>& lines) {
          size_t n = 0;
          for (const auto& l : lines) n += l.compare(0, key.size(), key) != 0;
          return n;
        };
        if (others(oldLines) != others(newLines)) abort();
      }
    }
    if (withKey && !key.empty() && withValue) {
      const auto back = kp::registry::IniReadBytes(file, section, key);
      if (!back || *back != value) abort();
    }
    // Readable: listing sections and keys never fails.
    (void)kp::registry::IniReadBytes(file, "", "");
    (void)kp::registry::IniReadBytes(file, section, "");
  }
  return 0;
}
