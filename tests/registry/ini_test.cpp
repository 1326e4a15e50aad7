#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/registry.h"
#include "registry/ini.h"
#include "registry/text.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

using registry::IniReadBytes;
using registry::IniWriteBytes;

std::string Write(std::string file, std::string_view section, std::optional<std::string_view> key,
                  std::optional<std::string_view> value) {
  EXPECT_TRUE(IniWriteBytes(file, section, key, value));
  return file;
}

TEST(IniEngine, ReadsSectionsKeysAndValues) {
  const std::string file =
      "; settings\r\n[Main]\r\nK2 = two\r\nK = one\r\n;K = commented\r\nKey_x=\t  spaced  \r\n\r\n"
      "[Other]\nname=lf only\n[Empty]\r\n";
  EXPECT_EQ(IniReadBytes(file, "Main", "K"), "one");  // not K2
  EXPECT_EQ(IniReadBytes(file, "main", "k"), "one");  // the reader ignores case
  EXPECT_EQ(IniReadBytes(file, "Main", "Key_x"), "spaced  ");  // leading blanks skipped, trailing kept
  EXPECT_EQ(IniReadBytes(file, "Main", "Ke"), std::nullopt);   // "y" follows: a longer key
  EXPECT_EQ(IniReadBytes(file, "Other", "name"), "lf only");
  EXPECT_EQ(IniReadBytes(file, "Main", ""), "K2\r\nK\r\nKey_x\r\n");
  EXPECT_EQ(IniReadBytes(file, "", ""), "Main\r\nOther\r\nEmpty\r\n");
  EXPECT_EQ(IniReadBytes(file, "Empty", ""), "");
  EXPECT_EQ(IniReadBytes(file, "Missing", "K"), std::nullopt);
  EXPECT_EQ(IniReadBytes(file, "Other", "K"), std::nullopt);  // the scan stops at the next header
}

// The reader as first written: the file split into lines, each byte
// converted before it is folded or classified. The single-pass reader must
// give the same answer on any bytes.
std::optional<std::string> ReferenceRead(std::string_view file, std::string_view section, std::string_view key) {
  std::vector<std::string_view> lines;
  for (size_t at = 0; at < file.size();) {
    const size_t lf = file.find('\n', at);
    const size_t next = lf == std::string_view::npos ? file.size() : lf + 1;
    size_t end = lf == std::string_view::npos ? file.size() : lf;
    if (end > at && file[end - 1] == '\r') --end;
    lines.push_back(file.substr(at, end - at));
    at = next;
  }
  auto fold = [](char c) { return platform::reg::FoldChar(platform::FromAnsi(std::string_view(&c, 1))[0]); };
  auto startsFolded = [&](std::string_view t, std::string_view p) {
    if (t.size() < p.size()) return false;
    for (size_t i = 0; i < p.size(); ++i)
      if (fold(t[i]) != fold(p[i])) return false;
    return true;
  };
  auto isHeader = [](std::string_view t) { return !t.empty() && t[0] == '[' && t.find(']') != t.npos; };
  auto trim = [](std::string_view t) {
    while (!t.empty() && (t.front() == ' ' || t.front() == '\t')) t.remove_prefix(1);
    while (!t.empty() && (t.back() == ' ' || t.back() == '\t')) t.remove_suffix(1);
    return t;
  };
  if (section.empty()) {
    std::string out;
    for (auto t : lines)
      if (isHeader(t)) out.append(t.substr(1, t.find(']') - 1)).append("\r\n");
    return out;
  }
  const std::string header = "[" + std::string(section) + "]";
  size_t i = 0;
  while (i < lines.size() && !startsFolded(lines[i], header)) ++i;
  if (i == lines.size()) return std::nullopt;
  std::string keys;
  for (++i; i < lines.size(); ++i) {
    const auto t = lines[i];
    if (isHeader(t)) break;
    if (!t.empty() && t[0] == ';') continue;
    const size_t equals = t.find('=');
    if (equals == t.npos) continue;
    if (key.empty()) {
      keys.append(trim(t.substr(0, equals))).append("\r\n");
    } else if (t.size() > key.size() && startsFolded(t, key) &&
               !registry::IsLetterOrDigit(platform::FromAnsi(t.substr(key.size(), 1))[0])) {
      auto value = t.substr(equals + 1);
      while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
      return std::string(value);
    }
  }
  if (key.empty()) return keys;
  return std::nullopt;
}

// Files made of pieces that stress the edges: CR without LF, bare LF, headers
// without "]", letters of the upper half whose case folds (é/É, š/Š, ÿ/Ÿ) or
// that are letters without case (ª, µ), separators that are not letters.
TEST(IniEngine, ReaderAgreesWithTheLineByLineReference) {
  const std::vector<std::string> pieces = {"[", "]", "=", ";", "\r\n", "\n", "\r", " ", "\t", "k", "K", "2",
                                           "_", "S", "s", "\xE9", "\xC9", "\x9A", "\x8A", "\xFF", "\x9F",
                                           "\xAA", "\xB5", "\xD7", "\x81", "[S]", "[s\xE9]\r\n", "k = v\r\n"};
  const std::vector<std::string> names = {"", "S", "s", "S\xC9", "s\xE9", "k", "K", "k2", "\x8A", "\xFF", "\xB5"};
  std::mt19937 random(1234);
  for (int round = 0; round < 3000; ++round) {
    std::string file;
    const int count = static_cast<int>(random() % 40);
    for (int i = 0; i < count; ++i) file += pieces[random() % pieces.size()];
    for (const auto& section : names) {
      for (const auto& key : names) {
        ASSERT_EQ(IniReadBytes(file, section, key), ReferenceRead(file, section, key))
            << "file \"" << file << "\" section \"" << section << "\" key \"" << key << "\"";
      }
    }
  }
}

TEST(IniEngine, WritesInPlace) {
  const std::string base = "[A]\r\nx = 1\r\n\r\n[B]\r\ny = 2\r\n";
  // A new key goes before the blank line closing the section.
  EXPECT_EQ(Write(base, "A", "z", "3"), "[A]\r\nx = 1\r\nz = 3\r\n\r\n[B]\r\ny = 2\r\n");
  EXPECT_EQ(Write(base, "A", "x", "  9"), "[A]\r\nx =   9\r\n\r\n[B]\r\ny = 2\r\n");
  EXPECT_EQ(Write(base, "A", "x", std::nullopt), "[A]\r\n\r\n[B]\r\ny = 2\r\n");  // no value: deleted
  EXPECT_EQ(Write(base, "B", "w", "4"), base + "w = 4\r\n");
  EXPECT_EQ(Write(base, "C", "k", "v"), base + "[C]\r\nk = v\r\n");
  EXPECT_EQ(Write("[A]\r\nx = 1", "C", "k", "v"), "[A]\r\nx = 1\r\n[C]\r\nk = v\r\n");
  EXPECT_EQ(Write(base, "A", std::nullopt, std::nullopt), "[B]\r\ny = 2\r\n");  // the whole section
  EXPECT_EQ(Write(base, "B", "", std::nullopt), "[A]\r\nx = 1\r\n\r\n");
  // The writer's section match is case-sensitive: a second section appears.
  EXPECT_EQ(Write(base, "a", "x", "5"), base + "[a]\r\nx = 5\r\n");
  EXPECT_EQ(Write("[A]\r\nx2 = 1\r\n", "A", "x", "5"), "[A]\r\nx2 = 1\r\nx = 5\r\n");
  std::string none = base;
  EXPECT_FALSE(IniWriteBytes(none, "", "x", "1"));
}

TEST(IniDevicePath, MapsAbsolutePathsAndRefusesEscapes) {
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"\\Windows\\win.ini"), "Windows/win.ini");
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"/x//y.ini"), "x/y.ini");
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"\\Mes documents\\été.ini"), "Mes documents/\xC3\xA9t\xC3\xA9.ini");
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"relative.ini"), std::nullopt);
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"\\a\\..\\..\\etc\\passwd"), std::nullopt);
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"/a/./b"), std::nullopt);
  EXPECT_EQ(platform::fs::DeviceRelativePath(u"\\"), std::nullopt);
  EXPECT_EQ(platform::fs::DeviceRelativePath(std::u16string(u"\\a\0b", 4)), std::nullopt);
}

class IniFiles : public FreshDevice {
 protected:
  std::string HostContent(const std::string& relative) {
    std::ifstream in(HostFile(relative), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
};

TEST_F(IniFiles, ReadAndWriteThroughTheDevice) {
  EXPECT_EQ(registry::IniRead(u"S", u"k", u"fallback", 100, u"\\No\\such.ini"), u"fallback");
  EXPECT_EQ(registry::IniRead(u"S", u"k", u"fallback", 4, u"\\No\\such.ini"), u"fal");  // capacity - 1
  EXPECT_EQ(registry::IniRead(u"S", u"k", u"fallback", 0, u"\\No\\such.ini"), u"");
  ASSERT_TRUE(std::filesystem::create_directories(HostFile("Data")));
  ASSERT_TRUE(registry::IniWrite(u"Réglages", u"Clé", u"Évènement €", u"\\Data\\app.ini"));
  EXPECT_EQ(HostContent("Data/app.ini"), "[R\xE9glages]\r\nCl\xE9 = \xC9v\xE8nement \x80\r\n");  // Windows-1252
  EXPECT_EQ(registry::IniRead(u"réglages", u"clé", std::nullopt, 100, u"/Data/app.ini"), u"Évènement €");
  EXPECT_FALSE(registry::IniWrite(u"S", u"k", u"v", u"\\..\\escape.ini"));
  EXPECT_FALSE(registry::IniWrite(u"S", u"k", u"v", u"relative.ini"));

  FakeContext ctx;
  ctx.traceActive = true;
  EXPECT_TRUE(registry::IniWriteFunction(ctx, u"Main", u"Width", u"640", {}));  // the default file
  EXPECT_EQ(HostContent("Windows/win.ini"), "[Main]\r\nWidth = 640\r\n");
  EXPECT_EQ(registry::IniReadFunction(ctx, u"Main", u"Width", u"", {}), Value{std::u16string(u"640")});
  EXPECT_EQ(ctx.trace.size(), 2u);
  EXPECT_TRUE(registry::IniWriteFunction(ctx, u"Main", std::nullopt, std::nullopt, {}));
  EXPECT_EQ(HostContent("Windows/win.ini"), "");
  EXPECT_FALSE(registry::IniWriteFunction(ctx, u"", std::nullopt, std::nullopt, {}));
}

// A file shaped like the ones found on devices: comments, odd spacing, a
// section without blank line, a value holding "=".
TEST_F(IniFiles, RealWorldFileKeepsEveryOtherLine) {
  const std::string original =
      "; Application settings\r\n"
      "[Connection]\r\n"
      "Server=192.168.0.10\r\n"
      "Port = 8080\r\n"
      "Url = http://host/path?a=1&b=2\r\n"
      "\r\n"
      "[Display]\r\n"
      "Font=Tahoma,8\r\n"
      "Colors = 0x00FF00\r\n"
      "[Sync]\r\n"
      "Last = 20240101\r\n";
  std::string file = original;
  EXPECT_EQ(IniReadBytes(file, "CONNECTION", "url"), "http://host/path?a=1&b=2");
  ASSERT_TRUE(IniWriteBytes(file, "Connection", "Port", "9090"));
  ASSERT_TRUE(IniWriteBytes(file, "Connection", "Timeout", "30"));
  ASSERT_TRUE(IniWriteBytes(file, "Display", "Theme", "dark"));
  ASSERT_TRUE(IniWriteBytes(file, "Sync", "Last", std::nullopt));
  EXPECT_EQ(file,
            "; Application settings\r\n"
            "[Connection]\r\n"
            "Server=192.168.0.10\r\n"
            "Port = 9090\r\n"
            "Url = http://host/path?a=1&b=2\r\n"
            "Timeout = 30\r\n"
            "\r\n"
            "[Display]\r\n"
            "Font=Tahoma,8\r\n"
            "Colors = 0x00FF00\r\n"
            "Theme = dark\r\n"
            "[Sync]\r\n");
  EXPECT_EQ(IniReadBytes(file, "Display", "Font"), "Tahoma,8");
}

}  // namespace
}  // namespace kp::test
