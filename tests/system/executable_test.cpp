// The executable reader on images made here byte by byte: each kind of
// header, a version resource found through the section table and the
// resource tree, and damaged or cut files answered without a read outside.
#include "system/executable.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kp::system {
namespace {

using Bytes = std::vector<uint8_t>;

void Put16(Bytes& b, size_t at, uint16_t v) {
  if (b.size() < at + 2) b.resize(at + 2);
  b[at] = v & 0xFF, b[at + 1] = v >> 8;
}
void Put32(Bytes& b, size_t at, uint32_t v) {
  Put16(b, at, v & 0xFFFF);
  Put16(b, at + 2, v >> 16);
}
void Pad4(Bytes& b) { b.resize((b.size() + 3) & ~size_t{3}); }

// One node of a version block: header, key, value, children.
Bytes Node(std::u16string_view key, uint16_t type, const Bytes& value, const std::vector<Bytes>& children,
           uint16_t valueLength) {
  Bytes b(6);
  for (char16_t c : key) Put16(b, b.size(), c);
  Put16(b, b.size(), 0);
  Pad4(b);
  b.insert(b.end(), value.begin(), value.end());
  for (const Bytes& c : children) {
    Pad4(b);
    b.insert(b.end(), c.begin(), c.end());
  }
  Put16(b, 0, static_cast<uint16_t>(b.size()));
  Put16(b, 2, valueLength);
  Put16(b, 4, type);
  return b;
}
Bytes Text(std::u16string_view key, std::u16string_view value) {
  Bytes v;
  for (char16_t c : value) Put16(v, v.size(), c);
  Put16(v, v.size(), 0);
  return Node(key, 1, v, {}, static_cast<uint16_t>(value.size() + 1));
}

Bytes VersionBlock() {
  Bytes fixed(52);
  Put32(fixed, 0, 0xFEEF04BD);
  Put32(fixed, 8, 0x00030007);   // 3.7
  Put32(fixed, 12, 0x0000FFFF);  // .0.65535
  const Bytes french = Node(u"040C04B0", 1, {}, {Text(u"CompanyName", u"Société"), Text(u"Only", u"fr")}, 0);
  const Bytes english = Node(u"040904B0", 1, {}, {Text(u"CompanyName", u"Company")}, 0);
  const Bytes strings = Node(u"StringFileInfo", 1, {}, {english, french}, 0);
  Bytes pairs;
  Put32(pairs, 0, 0x04B0040C);  // French first
  Put32(pairs, 4, 0x04B00409);
  const Bytes vars = Node(u"VarFileInfo", 1, {}, {Node(u"Translation", 0, pairs, {}, 8)}, 0);
  return Node(u"VS_VERSION_INFO", 0, fixed, {strings, vars}, 52);
}

// A one-section image whose only resource is `block` as version 1.
Bytes Image(bool wide, const Bytes& block) {
  Bytes b(64);
  Put16(b, 0, 0x5A4D);
  Put16(b, 24, 64);
  Put32(b, 60, 64);
  const uint16_t optionalSize = wide ? 240 : 224;
  Put32(b, 64, 0x00004550);
  Put16(b, 68, wide ? 0x8664 : 0x14C);
  Put16(b, 70, 1);  // one section
  Put16(b, 84, optionalSize);
  const size_t optional = 88, directories = optional + (wide ? 112 : 96);
  Put16(b, optional, wide ? 0x20B : 0x10B);
  Put32(b, optional + (wide ? 108 : 92), 16);
  const uint32_t rva = 0x1000, raw = 0x200;
  Bytes tree(0x58);
  Put16(tree, 14, 1), Put32(tree, 16, 16), Put32(tree, 20, 0x80000018);       // type 16
  Put16(tree, 0x18 + 14, 1), Put32(tree, 0x28, 1), Put32(tree, 0x2C, 0x80000030);  // name 1
  Put16(tree, 0x30 + 14, 1), Put32(tree, 0x40, 0x409), Put32(tree, 0x44, 0x48);  // language, data entry
  Put32(tree, 0x48, rva + 0x58), Put32(tree, 0x4C, static_cast<uint32_t>(block.size()));
  tree.insert(tree.end(), block.begin(), block.end());
  Put32(b, directories + 16, rva), Put32(b, directories + 20, static_cast<uint32_t>(tree.size()));
  const size_t section = optional + optionalSize;
  std::memcpy(b.data() + section, ".rsrc\0\0", 8);
  Put32(b, section + 8, static_cast<uint32_t>(tree.size()));
  Put32(b, section + 12, rva);
  Put32(b, section + 16, static_cast<uint32_t>(tree.size()));
  Put32(b, section + 20, raw);
  b.resize(raw);
  b.insert(b.end(), tree.begin(), tree.end());
  return b;
}

std::u16string Kind(const Bytes& b) { return ExecutableKind(MemorySource({b.data(), b.size()})); }

TEST(Executable, KindFromTheHeaders) {
  Bytes pe = Image(false, VersionBlock());
  EXPECT_EQ(Kind(pe), u"32");
  EXPECT_EQ(Kind(Image(true, VersionBlock())), u"64");
  Bytes b = pe;
  for (uint16_t signature : {0x454E, 0x454C, 0x584C, 0x3357}) {
    Put16(b, 64, signature);
    EXPECT_EQ(Kind(b), u"16") << signature;
  }
  Put16(b, 64, 0x5A4D);
  EXPECT_EQ(Kind(b), u"DOS");
  Put16(b, 64, 0x1234);
  EXPECT_EQ(Kind(b), u"");
  b = pe;
  Put16(b, 24, 0x1C);  // relocations elsewhere: an MS-DOS program, whatever follows
  EXPECT_EQ(Kind(b), u"DOS");
  b = pe;
  Put16(b, 0, 0x4D5A);  // "ZM"
  EXPECT_EQ(Kind(b), u"");
  b = pe;
  Put32(b, 60, 0xFFFFFFF0);  // headers beyond the end
  EXPECT_EQ(Kind(b), u"");
  // Cut before the whole NT header: no answer rather than a guess.
  EXPECT_EQ(Kind(Bytes(pe.begin(), pe.begin() + 64 + 247)), u"");
  EXPECT_EQ(Kind(Bytes(pe.begin(), pe.begin() + 63)), u"");
}

TEST(Executable, VersionResourceThroughTheResourceTree) {
  for (bool wide : {false, true}) {
    const Bytes image = Image(wide, VersionBlock());
    const auto v = ReadVersionResource(MemorySource({image.data(), image.size()}));
    ASSERT_TRUE(v.has_value()) << wide;
    ASSERT_TRUE(v->fileVersion.has_value());
    EXPECT_EQ(*v->fileVersion, (std::array<uint16_t, 4>{3, 7, 0, 65535}));
    // The first translation (French) wins over file order; names in any case.
    EXPECT_EQ(v->String(u"companyname"), u"Société");
    EXPECT_EQ(v->String(u"Only"), u"fr");
    EXPECT_EQ(v->String(u"Missing"), std::nullopt);
    ASSERT_EQ(v->translations.size(), 2u);
    EXPECT_EQ(v->translations[1], (std::pair<uint16_t, uint16_t>{0x409, 0x4B0}));
  }
}

TEST(Executable, WithoutTranslationsTheFirstTableAnswers) {
  const Bytes english = Node(u"040904B0", 1, {}, {Text(u"X", u"en")}, 0);
  const Bytes french = Node(u"040C04B0", 1, {}, {Text(u"X", u"fr")}, 0);
  const Bytes block = Node(u"VS_VERSION_INFO", 0, {}, {Node(u"StringFileInfo", 1, {}, {english, french}, 0)}, 0);
  const auto v = ParseVersionBlock({block.data(), block.size()});
  ASSERT_TRUE(v.has_value());
  EXPECT_FALSE(v->fileVersion.has_value());  // no fixed block
  EXPECT_EQ(v->String(u"X"), u"en");
}

TEST(Executable, DamagedFilesGiveNoAnswerAndReadNothingOutside) {
  const Bytes image = Image(false, VersionBlock());
  // Every cut of the file: the memory source refuses reads past its end, and
  // ASan watches the copies.
  for (size_t n = 0; n < image.size(); ++n) {
    const Bytes cut(image.begin(), image.begin() + n);
    const auto v = ReadVersionResource(MemorySource({cut.data(), cut.size()}));
    EXPECT_FALSE(v.has_value()) << n;
  }
  // Every byte of the version block set to 0xFF in turn: whatever is read
  // stays inside the block.
  const Bytes block = VersionBlock();
  for (size_t i = 0; i < block.size(); ++i) {
    Bytes bad = block;
    bad[i] = 0xFF;
    (void)ParseVersionBlock({bad.data(), bad.size()});
  }
  // Not a version block at all.
  const Bytes other = Node(u"SOMETHING_ELSE", 0, {}, {}, 0);
  EXPECT_FALSE(ParseVersionBlock({other.data(), other.size()}).has_value());
  // An image with no resource directory.
  Bytes bare = image;
  Put32(bare, 88 + 96 + 16, 0);
  EXPECT_FALSE(ReadVersionResource(MemorySource({bare.data(), bare.size()})).has_value());
}

}  // namespace
}  // namespace kp::system
