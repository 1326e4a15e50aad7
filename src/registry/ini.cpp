// kp160std — the INI-file engine.
#include "registry/ini.h"

#include <chrono>
#include <cstring>
#include <vector>

#include "abi/strings.h"
#include "abi/vm.h"
#include "files/path_rule.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/text.h"

namespace kp::registry {

namespace {

struct Line {
  size_t begin = 0;
  size_t end = 0;   // content end, without CR LF
  size_t next = 0;  // start of the following line
};

// ASCII reads the same in every code page: the usual section, key and
// value need no converter (opening one costs more than the whole search).
std::string EightBit(std::u16string_view text) {
  std::string out(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] >= 0x80) return ToEightBit(text);
    out[i] = static_cast<char>(text[i]);
  }
  return out;
}

std::u16string Unicode(std::string_view bytes) {
  std::u16string out(bytes.size(), u'\0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x80) return FromEightBit(bytes);
    out[i] = c;
  }
  return out;
}

std::vector<Line> SplitLines(std::string_view file) {
  std::vector<Line> lines;
  size_t at = 0;
  while (at < file.size()) {
    size_t lf = file.find('\n', at);
    const size_t next = lf == std::string_view::npos ? file.size() : lf + 1;
    size_t end = lf == std::string_view::npos ? file.size() : lf;
    if (end > at && file[end - 1] == '\r') --end;
    lines.push_back(Line{at, end, next});
    at = next;
  }
  return lines;
}

// What the reader compares and tests per byte, decided once for the 256
// bytes of the code page rather than converting each byte on every look.
struct AnsiTables {
  char16_t fold[256];
  bool letterOrDigit[256];
  AnsiTables() {
    for (int b = 0; b < 256; ++b) {
      const char c = static_cast<char>(b);
      const char16_t u = platform::FromAnsi(std::string_view(&c, 1))[0];
      fold[b] = platform::reg::FoldChar(u);
      letterOrDigit[b] = IsLetterOrDigit(u);
    }
  }
};

const AnsiTables& Ansi() {
  static const AnsiTables tables;
  return tables;
}

bool StartsWithFolded(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  const char16_t* fold = Ansi().fold;
  for (size_t i = 0; i < prefix.size(); ++i)
    if (fold[static_cast<unsigned char>(text[i])] != fold[static_cast<unsigned char>(prefix[i])]) return false;
  return true;
}

bool IsHeader(std::string_view line) { return !line.empty() && line[0] == '[' && line.find(']') != std::string_view::npos; }

bool AnsiLetterOrDigit(char c) { return Ansi().letterOrDigit[static_cast<unsigned char>(c)]; }

// The line is an entry for `key`: it begins with it and the next character is
// not a letter or digit.
bool KeyLine(std::string_view line, std::string_view key, bool folded) {
  if (line.size() <= key.size()) return false;
  if (folded ? !StartsWithFolded(line, key) : !line.starts_with(key)) return false;
  return !AnsiLetterOrDigit(line[key.size()]);
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

std::string Header(std::string_view section) { return "[" + std::string(section) + "]"; }

std::string Entry(std::string_view key, std::string_view value) {
  return std::string(key) + " = " + std::string(value) + "\r\n";
}

void EndWithNewline(std::string& file) {
  if (!file.empty() && file.back() != '\n') file += "\r\n";
}

}  // namespace

// One pass over the bytes, line by line, without splitting the file first:
// a file is read far more often than written, and the key sought is often
// near its end.
std::optional<std::string> IniReadBytes(std::string_view file, std::string_view section, std::string_view key) {
  size_t at = 0;
  // The next line's content, without its CR LF; false at the end of the file.
  auto nextLine = [&](std::string_view* line) {
    if (at >= file.size()) return false;
    const char* base = file.data();
    const auto* lf = static_cast<const char*>(std::memchr(base + at, '\n', file.size() - at));
    const size_t next = lf ? static_cast<size_t>(lf - base) + 1 : file.size();
    size_t end = lf ? static_cast<size_t>(lf - base) : file.size();
    if (end > at && file[end - 1] == '\r') --end;
    *line = file.substr(at, end - at);
    at = next;
    return true;
  };
  std::string_view t;
  if (section.empty()) {
    std::string out;
    while (nextLine(&t))
      if (IsHeader(t)) out.append(t.substr(1, t.find(']') - 1)).append("\r\n");
    return out;
  }
  // Only "[" itself folds to "[", so the section's line is among the lines
  // that begin with that byte: jump from one "[" to the next instead of
  // looking at every line.
  const std::string header = Header(section);
  bool found = false;
  for (size_t open = file.find('['); !found && open != std::string_view::npos; open = file.find('[', open + 1)) {
    if (open > 0 && file[open - 1] != '\n') continue;
    at = open;
    found = nextLine(&t) && StartsWithFolded(t, header);
  }
  if (!found) return std::nullopt;
  std::string keys;
  while (nextLine(&t)) {
    if (IsHeader(t)) break;
    if (!t.empty() && t[0] == ';') continue;
    const size_t equals = t.find('=');
    if (equals == std::string_view::npos) continue;
    if (key.empty()) {
      keys.append(Trim(t.substr(0, equals))).append("\r\n");
    } else if (KeyLine(t, key, true)) {
      std::string_view value = t.substr(equals + 1);
      while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
      return std::string(value);
    }
  }
  if (key.empty()) return keys;
  return std::nullopt;
}

bool IniWriteBytes(std::string& file, std::string_view section, std::optional<std::string_view> key,
                   std::optional<std::string_view> value) {
  if (section.empty()) return false;
  const auto lines = SplitLines(file);
  auto text = [&](const Line& l) { return std::string_view(file).substr(l.begin, l.end - l.begin); };
  const std::string header = Header(section);
  size_t i = 0;
  while (i < lines.size() && !text(lines[i]).starts_with(header)) ++i;  // exact case, kept on purpose
  const bool hasKey = key && !key->empty();
  if (i == lines.size()) {
    if (!hasKey) return true;
    EndWithNewline(file);
    file += header + "\r\n";
    if (value) file += Entry(*key, *value);
    return true;
  }
  if (!hasKey) {
    size_t end = i + 1;
    while (end < lines.size() && !IsHeader(text(lines[end]))) ++end;
    const size_t to = end < lines.size() ? lines[end].begin : file.size();
    file.erase(lines[i].begin, to - lines[i].begin);
    return true;
  }
  for (size_t j = i + 1; j < lines.size(); ++j) {
    const auto t = text(lines[j]);
    if (IsHeader(t) || t.empty()) {
      // New keys go before the blank line or header that closes the section.
      if (value) file.insert(lines[j].begin, Entry(*key, *value));
      return true;
    }
    if (KeyLine(t, *key, false)) {
      file.replace(lines[j].begin, lines[j].next - lines[j].begin, value ? Entry(*key, *value) : std::string());
      return true;
    }
  }
  if (value) {
    EndWithNewline(file);
    file += Entry(*key, *value);
  }
  return true;
}

std::u16string IniRead(std::u16string_view section, std::u16string_view key,
                       std::optional<std::u16string_view> fallback, uint32_t capacity, std::u16string_view file,
                       uint32_t* error) {
  uint32_t rc = win32::kPathNotFound;
  std::u16string answer(fallback.value_or(std::u16string_view()));
  if (capacity != 0) {
    // The file is found once, by its device name, and read in one go.
    std::string bytes;
    rc = platform::fs::ReadWholeFile(file, &bytes);
    if (rc == win32::kSuccess) {
      if (auto found = IniReadBytes(bytes, EightBit(section), EightBit(key))) answer = Unicode(*found);
    }
    if (answer.size() > capacity - 1) answer.resize(capacity - 1);
  } else {
    rc = win32::kSuccess;
    answer.clear();
  }
  if (error) *error = rc;
  return answer;
}

bool IniWrite(std::u16string_view section, std::optional<std::u16string_view> key,
              std::optional<std::u16string_view> value, std::u16string_view file, uint32_t* error) {
  uint32_t rc = win32::kInvalidParameter;
  const auto path = platform::fs::DeviceRelativePath(file);
  if (!path) rc = win32::kPathNotFound;
  if (path && !section.empty()) {
    const std::string s = ToEightBit(section);
    std::optional<std::string> k, v;
    if (key) k = ToEightBit(*key);
    if (value) v = ToEightBit(*value);
    // The read, the change and the rewrite are one step for other writers.
    rc = platform::reg::UpdateDeviceFile(*path, [&](std::string* bytes) {
      const std::string before = *bytes;
      return IniWriteBytes(*bytes, s, k, v) && *bytes != before;
    });
  }
  if (error) *error = rc;
  return rc == win32::kSuccess;
}

bool IniDeleteFile(std::u16string_view file, uint32_t* error) {
  const auto path = platform::fs::DeviceRelativePath(file);
  uint32_t rc = path ? platform::reg::DeleteDeviceFile(*path) : win32::kPathNotFound;
  if (rc == win32::kFileNotFound) rc = win32::kSuccess;
  if (error) *error = rc;
  return rc == win32::kSuccess;
}

int64_t IniFileSize(std::u16string_view file) {
  const auto path = platform::fs::DeviceRelativePath(file);
  return path ? platform::reg::DeviceFileSize(*path) : -1;
}

Value IniReadFunction(ExecContext* context, std::u16string_view section, std::u16string_view key,
                      std::u16string_view fallback, std::u16string_view file) {
  const std::u16string_view path = file.empty() ? kDefaultIniFile : file;
  const auto started = std::chrono::steady_clock::now();
  uint32_t error = 0;
  std::u16string answer = IniRead(section, key, fallback, kIniReadCapacity, path, &error);
  // A missing file is the ordinary case of a default; anything else (a
  // FIFO, a directory, no access) is told to the program.
  if (error != win32::kSuccess && error != win32::kFileNotFound && error != win32::kPathNotFound)
    files::RecordSystemError(context, error);
  if (TraceActive(context)) {
    const auto micro =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started).count();
    Trace(context, u"INILit " + std::u16string(path) + u" : " + Ascii(std::to_string(micro)) + u" us");
  }
  return answer;
}

bool IniWriteFunction(ExecContext* context, std::u16string_view section, std::optional<std::u16string_view> key,
                      std::optional<std::u16string_view> value, std::u16string_view file) {
  if (section.empty() && file.empty()) return false;
  const std::u16string_view path = file.empty() ? kDefaultIniFile : file;
  // Every device has this directory; the emulated one is made on the
  // first write to the default file. Any other missing directory fails.
  if (file.empty()) platform::fs::CreateDirectory(u"\\Windows");
  uint32_t error = 0;
  const bool ok = IniWrite(section, key, value, path, &error);
  if (!ok) files::RecordSystemError(context, error);
  if (TraceActive(context)) {
    std::u16string line = u"INIEcrit " + std::u16string(path) + u" [" + std::u16string(section) + u"]";
    if (key) line += u" " + std::u16string(*key);
    if (value) line += u" = " + std::u16string(*value);
    Trace(context, line + (ok ? u" : ok" : u" : failed"));
  }
  return ok;
}

}  // namespace kp::registry
