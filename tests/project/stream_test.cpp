// IXStream's exact and inexact transfers and its reports; the typed-file
// header (CKVFile) and the project-file element header (CEltProjetFile).
#include <cstring>

#include "files/files_fixture.h"
#include "platform/filesystem.h"
#include "project/kvfile.h"
#include "project/stream.h"

namespace kp::test {
namespace {

namespace fs = platform::fs;
using project::CEltProjetFile;
using project::CKVFile;
using project::IXStream;

using StreamTest = FilesTest;

std::string Le32(uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }
std::string Le16(uint16_t v) { return std::string{char(v), char(v >> 8)}; }
std::string Le64(uint64_t v) { return Le32(uint32_t(v)) + Le32(uint32_t(v >> 32)); }

std::string Header(uint32_t size, uint32_t type, const std::string& signature = std::string("OTL\0", 4)) {
  return signature + Le32(size) + Le32(type) + Le16(0x1234) + "\x05\x06" + Le16(7) + Le16(8);
}

bool OpenRead(IXStream& s, std::u16string_view name) {
  return s.Open(name, fs::kGenericRead, 3, fs::kOpenExisting, fs::kFlagRandomAccess);
}

TEST_F(StreamTest, ExactShortReadFailsWithSystemErrorZero) {
  PutFile("s.bin", "abcdef");
  IXStream s(&ctx_.error());
  ASSERT_TRUE(OpenRead(s, u"\\s.bin"));
  char buffer[16] = {};
  uint32_t got = 0;
  EXPECT_TRUE(s.Read(buffer, 4, &got));
  EXPECT_EQ(got, 4u);
  EXPECT_EQ(s.Position(), 4);
  EXPECT_TRUE(s.Read(buffer, 10, &got));  // inexact: short is fine
  EXPECT_EQ(got, 2u);
  EXPECT_FALSE(ctx_.hasError());
  ASSERT_TRUE(s.Seek(2, 0));
  EXPECT_FALSE(s.Read(buffer, 10, nullptr));
  EXPECT_EQ(s.Position(), 6);
  EXPECT_EQ(ctx_.level(), 3);
  EXPECT_EQ(ctx_.systemError(), 0u);
  const std::u16string m = ctx_.message();
  EXPECT_NE(m.find(u"##(IXStream)-bExact=<1>##"), std::u16string::npos) << Utf8(m);
  EXPECT_NE(m.find(u"##(IXStream)-A lire=<10>, lu=<4>##"), std::u16string::npos);
  EXPECT_NE(m.find(u"##(IXStream)-Handle=<"), std::u16string::npos);
  // The next read starts by clearing the record.
  EXPECT_TRUE(s.Read(buffer, 0, &got));
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(StreamTest, WriteOnReadOnlyStreamReportsTheSystemError) {
  PutFile("w.bin", "");
  IXStream s(&ctx_.error());
  ASSERT_TRUE(OpenRead(s, u"\\w.bin"));
  uint32_t put = 0;
  EXPECT_FALSE(s.Write("xy", 2, &put));
  EXPECT_EQ(ctx_.systemError(), 5u);
  EXPECT_NE(ctx_.message().find(u"##(IXStream)-A écrire=<2>, écrit=<0>##"), std::u16string::npos);
  IXStream missing(&ctx_.error());
  ctx_.clearError();
  EXPECT_FALSE(OpenRead(missing, u"\\none"));
  EXPECT_EQ(missing.LastSystemError(), 2u);
  EXPECT_NE(ctx_.message().find(u"##(IXStream)-Access=<80000000>##"), std::u16string::npos);
}

TEST_F(StreamTest, WritesClearTheRecordAsReadsDo) {
  PutFile("c.bin", "abc");
  IXStream s(&ctx_.error());
  ASSERT_TRUE(s.Open(u"\\c.bin", fs::kGenericRead | fs::kGenericWrite, 3, fs::kOpenExisting, 0));
  char buffer[8];
  ASSERT_FALSE(s.Read(buffer, 8, nullptr));  // an exact read that comes short
  ASSERT_TRUE(ctx_.hasError());
  uint32_t put = 0;
  EXPECT_TRUE(s.Write("de", 2, &put));
  EXPECT_FALSE(ctx_.hasError()) << Utf8(ctx_.message());
  // A failed write tells of itself only, not of the read before it.
  ASSERT_FALSE(s.Read(buffer, 8, nullptr));
  IXStream reader(&ctx_.error());
  ASSERT_TRUE(OpenRead(reader, u"\\c.bin"));
  ASSERT_FALSE(reader.Read(buffer, 8, nullptr));
  EXPECT_FALSE(reader.Write("x", 1, &put));
  const std::u16string m = ctx_.message();
  EXPECT_EQ(m.find(u"A lire"), std::u16string::npos) << Utf8(m);
  EXPECT_NE(m.find(u"A écrire=<1>"), std::u16string::npos) << Utf8(m);
}

TEST_F(StreamTest, ReadLineStopsAtCrLfOnly) {
  PutFile("l.txt", std::string("a\rb\nc\r\nnext"));
  IXStream s;
  ASSERT_TRUE(OpenRead(s, u"\\l.txt"));
  std::u16string line;
  ASSERT_TRUE(s.ReadLine(&line, 256, false));
  EXPECT_EQ(line, u"a\rb\nc");
  ASSERT_TRUE(s.ReadLine(&line, 3, false));
  EXPECT_EQ(line, u"nex");
}

TEST_F(StreamTest, TypedHeaderAcceptsTwentyAndSkipsLongerHeaders) {
  PutFile("ok.kv", "pre" + Header(20, 9) + "DATA");
  PutFile("long.kv", Header(24, 9) + "skipDATA");
  IXStream s(&ctx_.error());
  ASSERT_TRUE(OpenRead(s, u"\\ok.kv"));
  CKVFile kv(s, &ctx_.error());
  ASSERT_TRUE(kv.ReadHeader(3, 9));
  EXPECT_EQ(kv.dataPosition(), 23);
  EXPECT_EQ(kv.header().number1, 0x1234);
  EXPECT_EQ(kv.header().byte2, 6);
  EXPECT_EQ(kv.header().number3, 8);
  char data[4];
  EXPECT_TRUE(s.Read(data, 4, nullptr));
  EXPECT_EQ(std::string(data, 4), "DATA");
  IXStream l(&ctx_.error());
  ASSERT_TRUE(OpenRead(l, u"\\long.kv"));
  CKVFile any(l, &ctx_.error());
  ASSERT_TRUE(any.ReadHeader(0, 0));
  EXPECT_EQ(any.fileType(), 9u);
  EXPECT_EQ(any.dataPosition(), 24);
}

TEST_F(StreamTest, TypedHeaderFailures) {
  PutFile("small.kv", Header(19, 9));
  PutFile("type.kv", Header(20, 4));
  PutFile("sig.kv", Header(20, 9, std::string("OTM\0", 4)));
  PutFile("short.kv", "OTL");
  struct Case {
    const char16_t* name;
    const char16_t* text;
  } cases[] = {
      {u"\\small.kv", u"##(CKVFile)-Taille entête attendue=<20>, Taille entête lue=<19>##"},
      {u"\\type.kv", u"##(CKVFile)-Type demandé=<9>, type lu=<4>##"},
      {u"\\sig.kv", u"##(CKVFile)-Signature gérée=<5002319>, signature lue=<5067855>##"},
      {u"\\short.kv", u"##(IXStream)-A lire=<20>, lu=<3>##"},
  };
  for (const Case& c : cases) {
    ctx_.clearError();
    IXStream s(&ctx_.error());
    ASSERT_TRUE(OpenRead(s, c.name));
    CKVFile kv(s, &ctx_.error());
    EXPECT_FALSE(kv.ReadHeader(0, 9));
    EXPECT_EQ(ctx_.level(), 3);
    EXPECT_NE(ctx_.message().find(c.text), std::u16string::npos) << Utf8(ctx_.message());
    EXPECT_EQ(ctx_.error().info[0].item, 1u);
  }
}

TEST_F(StreamTest, ElementVersionsAndOffsets) {
  auto element = [](uint16_t major, uint16_t minor, uint64_t offset) {
    return std::string(8, 'x') + Le32(0xAABBCCDD) + Le32((uint32_t(major) << 16) | minor) + Le64(offset) +
           Le64(0x1122334455667788ull);
  };
  struct Case {
    uint16_t major, minor;
    bool accepted;
    int64_t data;
  } cases[] = {
      {1, 0, true, 100 + 32},       // major 1: the offset is fixed at 32
      {2, 0, true, 100 + 64},       // supported
      {3, 0, false, 0},             // above the supported one
      {5, 0, true, 100 + 64},       // from 4 up, unchecked
      {0, 0, false, 0},
      {2, 0xfff3, true, 100 + 64},  // the special form (below the supported one anyway)
  };
  for (const Case& c : cases) {
    PutFile("e.prj", std::string(100, '\0') + element(c.major, c.minor, 64));
    ctx_.clearError();
    IXStream s(&ctx_.error());
    ASSERT_TRUE(OpenRead(s, u"\\e.prj"));
    CEltProjetFile e(s, &ctx_.error(), 2);
    EXPECT_EQ(e.ReadHeader(100), c.accepted) << c.major;
    if (c.accepted) {
      EXPECT_EQ(e.header().dataPosition, c.data);
      EXPECT_EQ(e.header().word, 0xAABBCCDDu);
      EXPECT_EQ(e.header().hasExtra, c.major >= 2 || c.minor != 0);
    } else {
      EXPECT_NE(ctx_.message().find(u"Version entete majeure attendu=<2>"), std::u16string::npos);
    }
  }
  // The special form passes even when its major version is above the supported one.
  PutFile("e.prj", std::string(100, '\0') + element(2, 0xfff5, 64));
  IXStream s(&ctx_.error());
  ASSERT_TRUE(OpenRead(s, u"\\e.prj"));
  EXPECT_TRUE(CEltProjetFile(s, &ctx_.error(), 1).ReadHeader(100));
}

TEST_F(StreamTest, ShortLinkReadNamesBothCounts) {
  PutFile("link.prj", Le32(0x01020304));
  IXStream s(&ctx_.error());
  ASSERT_TRUE(OpenRead(s, u"\\link.prj"));
  CEltProjetFile e(s, &ctx_.error(), 2);
  int64_t link = 0;
  EXPECT_FALSE(e.ReadLinkBefore(4, &link));  // only 4 bytes lie before it
  EXPECT_NE(ctx_.message().find(u"##(CEltProjetFile)-Octet attendu=<8>, octet lu=<0>##"), std::u16string::npos);
  PutFile("link2.prj", Le64(0x0807060504030201ull) + Le32(1));
  IXStream t(&ctx_.error());
  ASSERT_TRUE(OpenRead(t, u"\\link2.prj"));
  CEltProjetFile f(t, &ctx_.error(), 2);
  EXPECT_TRUE(f.ReadLinkBefore(8, &link));
  EXPECT_EQ(link, 0x0807060504030201ll);
  ctx_.clearError();
  EXPECT_FALSE(f.ReadHeader(0));  // the version word lies past the end: 4 bytes asked, none there
  EXPECT_NE(ctx_.message().find(u"Octet attendu=<4>, octet lu=<"), std::u16string::npos);
}

}  // namespace
}  // namespace kp::test
