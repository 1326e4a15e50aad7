// kp160std — executable headers and version resources, read from the file's
// bytes (see the header). Layouts are the PE/COFF format's: the MS-DOS header,
// the NT headers, the section table, the three-level resource tree
// (type, name, language) and the VS_VERSIONINFO block tree.
#include "system/executable.h"

#include <algorithm>
#include <cstring>

namespace kp::system {

namespace {

uint16_t U16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t U32(const uint8_t* p) { return U16(p) | static_cast<uint32_t>(U16(p + 2)) << 16; }

constexpr uint16_t kMz = 0x5A4D;
constexpr uint32_t kPeSignature = 0x00004550;  // "PE\0\0"
constexpr uint16_t kPe32 = 0x10B;
constexpr uint16_t kPe32Plus = 0x20B;
constexpr uint32_t kResourceTypeVersion = 16;
constexpr uint32_t kFixedSignature = 0xFEEF04BD;
// A version block is a few kilobytes; anything claiming more is not read.
constexpr uint32_t kMaxVersionBlock = 1u << 20;
// Directory entries looked at per level: real files have a handful.
constexpr uint32_t kMaxEntries = 4096;

size_t Align4(size_t n) { return (n + 3) & ~size_t{3}; }

struct Section {
  uint32_t virtualAddress, virtualSize, rawSize, rawOffset;
};

// The NT headers and the section table, enough to find the resource tree.
struct Image {
  std::vector<Section> sections;
  uint32_t resourceRva = 0;
  uint32_t resourceSize = 0;
};

std::optional<Image> ReadImage(const ByteSource& file) {
  uint8_t dos[64];
  if (!file.ReadAt(0, dos, sizeof dos) || U16(dos) != kMz) return std::nullopt;
  const uint32_t nt = U32(dos + 60);
  uint8_t coff[24];
  if (!file.ReadAt(nt, coff, sizeof coff) || U32(coff) != kPeSignature) return std::nullopt;
  const uint16_t sectionCount = U16(coff + 6);
  const uint16_t optionalSize = U16(coff + 20);
  std::vector<uint8_t> optional(optionalSize);
  if (optionalSize < 2 || !file.ReadAt(nt + 24ull, optional.data(), optional.size())) return std::nullopt;
  const uint16_t magic = U16(optional.data());
  size_t countAt = 0, directoriesAt = 0;
  if (magic == kPe32) {
    countAt = 92, directoriesAt = 96;
  } else if (magic == kPe32Plus) {
    countAt = 108, directoriesAt = 112;
  } else {
    return std::nullopt;
  }
  Image image;
  // The resource directory is the third data directory (index 2).
  if (optionalSize >= directoriesAt + 24 && U32(optional.data() + countAt) > 2) {
    image.resourceRva = U32(optional.data() + directoriesAt + 16);
    image.resourceSize = U32(optional.data() + directoriesAt + 20);
  }
  const uint64_t tableAt = nt + 24ull + optionalSize;
  if (tableAt + sectionCount * 40ull > file.Size()) return std::nullopt;
  std::vector<uint8_t> table(sectionCount * size_t{40});
  if (!table.empty() && !file.ReadAt(tableAt, table.data(), table.size())) return std::nullopt;
  for (size_t i = 0; i < sectionCount; ++i) {
    const uint8_t* s = table.data() + i * 40;
    image.sections.push_back({U32(s + 12), U32(s + 8), U32(s + 16), U32(s + 20)});
  }
  return image;
}

// The file offset of `count` bytes at `rva`, when they all lie in one
// section's data in the file.
std::optional<uint64_t> FileOffset(const Image& image, uint32_t rva, uint32_t count) {
  for (const Section& s : image.sections) {
    const uint64_t span = std::max(s.virtualSize, s.rawSize);
    if (rva < s.virtualAddress || rva >= s.virtualAddress + span) continue;
    const uint64_t within = rva - s.virtualAddress;
    if (within + count > s.rawSize) return std::nullopt;
    return s.rawOffset + within;
  }
  return std::nullopt;
}

// One resource directory: its entries (name or id, and where they lead),
// read from the resource tree at `offset` from its start.
struct Entry {
  uint32_t name;    // an id, or a name's offset with the top bit set
  uint32_t target;  // a subdirectory's offset with the top bit set, else a data entry's
};

std::optional<std::vector<Entry>> ReadDirectory(const ByteSource& file, uint64_t treeAt, uint32_t treeSize,
                                                uint32_t offset) {
  uint8_t head[16];
  if (offset + 16ull > treeSize || !file.ReadAt(treeAt + offset, head, sizeof head)) return std::nullopt;
  const uint32_t count = std::min<uint32_t>(uint32_t{U16(head + 12)} + U16(head + 14), kMaxEntries);
  if (offset + 16ull + count * 8ull > treeSize) return std::nullopt;
  std::vector<uint8_t> raw(count * size_t{8});
  if (count && !file.ReadAt(treeAt + offset + 16, raw.data(), raw.size())) return std::nullopt;
  std::vector<Entry> entries(count);
  for (uint32_t i = 0; i < count; ++i) entries[i] = {U32(raw.data() + i * 8), U32(raw.data() + i * 8 + 4)};
  return entries;
}

constexpr uint32_t kHighBit = 0x80000000u;

// The entry with id `id`, else (when `orFirst`) the first entry that leads
// where `wantDirectory` says.
std::optional<Entry> Pick(const std::vector<Entry>& entries, std::optional<uint32_t> id, bool wantDirectory) {
  const auto fits = [&](const Entry& e) { return ((e.target & kHighBit) != 0) == wantDirectory; };
  if (id) {
    for (const Entry& e : entries)
      if (e.name == *id && fits(e)) return e;
  }
  for (const Entry& e : entries)
    if (fits(e)) return e;
  return std::nullopt;
}

// --- the version block ------------------------------------------------------

// One node of the block: wLength, wValueLength, wType, a key, a value, then
// its children, each aligned on four bytes from the block's start.
struct Node {
  size_t start = 0, end = 0;
  uint16_t valueLength = 0, type = 0;
  std::u16string key;
  size_t valueAt = 0;     // where the value starts
  size_t childrenAt = 0;  // where the children start
};

std::optional<Node> ReadNode(std::basic_string_view<uint8_t> block, size_t at, size_t limit) {
  if (at + 6 > limit) return std::nullopt;
  Node n;
  n.start = at;
  const uint16_t length = U16(block.data() + at);
  if (length < 6) return std::nullopt;
  n.end = std::min(limit, at + length);
  n.valueLength = U16(block.data() + at + 2);
  n.type = U16(block.data() + at + 4);
  size_t p = at + 6;
  for (;; p += 2) {
    if (p + 2 > n.end) return std::nullopt;  // a key without its terminator
    const char16_t c = U16(block.data() + p);
    if (c == 0) break;
    n.key += c;
  }
  n.valueAt = std::min(Align4(p + 2), n.end);
  // Text values count in characters, binary ones in bytes.
  const size_t valueBytes = n.type == 1 ? n.valueLength * size_t{2} : n.valueLength;
  n.childrenAt = std::min(Align4(n.valueAt + valueBytes), n.end);
  return n;
}

// Calls `visit` for each child of `parent`; stops at the first damaged one.
template <class Visit>
void ForEachChild(std::basic_string_view<uint8_t> block, const Node& parent, Visit visit) {
  size_t at = parent.childrenAt;
  while (at + 6 <= parent.end) {
    const auto child = ReadNode(block, at, parent.end);
    if (!child) return;
    visit(*child);
    at = Align4(child->end);
  }
}

// A text value: up to its terminator or the end of its node.
std::u16string TextValue(std::basic_string_view<uint8_t> block, const Node& n) {
  std::u16string out;
  for (size_t p = n.valueAt; p + 2 <= n.end; p += 2) {
    const char16_t c = U16(block.data() + p);
    if (c == 0) break;
    out += c;
  }
  return out;
}

bool SameAsciiCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t x = a[i], y = b[i];
    if (x >= u'a' && x <= u'z') x -= 32;
    if (y >= u'a' && y <= u'z') y -= 32;
    if (x != y) return false;
  }
  return true;
}

}  // namespace

bool MemorySource::ReadAt(uint64_t offset, void* out, size_t count) const {
  if (offset > bytes_.size() || count > bytes_.size() - offset) return false;
  if (count) std::memcpy(out, bytes_.data() + offset, count);
  return true;
}

std::u16string ExecutableKind(const ByteSource& file) {
  uint8_t dos[64];
  if (!file.ReadAt(0, dos, sizeof dos) || U16(dos) != kMz) return {};
  // A relocation table anywhere but right after the header: an MS-DOS program.
  if (U16(dos + 24) != 64) return u"DOS";
  uint8_t header[248];
  if (!file.ReadAt(U32(dos + 60), header, sizeof header)) return {};
  switch (U16(header)) {
    case 0x3357:  // "W3"
    case 0x454C:  // "LE"
    case 0x454E:  // "NE"
    case 0x584C:  // "LX"
      return u"16";
    case 0x4550:  // "PE": the optional header's magic tells 64-bit images
      return U16(header + 24) == kPe32Plus ? u"64" : u"32";
    case kMz:
      return u"DOS";
    default:
      return {};
  }
}

std::optional<VersionResource> ReadVersionResource(const ByteSource& file) {
  const auto image = ReadImage(file);
  if (!image || !image->resourceRva || !image->resourceSize) return std::nullopt;
  // The tree must lie in the file; it is read where it is, entry by entry.
  uint32_t treeSize = image->resourceSize;
  std::optional<uint64_t> treeAt;
  while (treeSize >= 16 && !(treeAt = FileOffset(*image, image->resourceRva, treeSize))) treeSize /= 2;
  if (!treeAt) return std::nullopt;

  const auto types = ReadDirectory(file, *treeAt, treeSize, 0);
  if (!types) return std::nullopt;
  std::optional<Entry> type;
  for (const Entry& e : *types)
    if (e.name == kResourceTypeVersion && (e.target & kHighBit)) type = e;
  if (!type) return std::nullopt;
  // The version resource is named 1; another name is taken when 1 is missing.
  const auto names = ReadDirectory(file, *treeAt, treeSize, type->target & ~kHighBit);
  if (!names) return std::nullopt;
  const auto name = Pick(*names, 1u, true);
  if (!name) return std::nullopt;
  const auto languages = ReadDirectory(file, *treeAt, treeSize, name->target & ~kHighBit);
  if (!languages) return std::nullopt;
  const auto language = Pick(*languages, std::nullopt, false);
  if (!language) return std::nullopt;

  uint8_t data[16];
  if (language->target + 16ull > treeSize || !file.ReadAt(*treeAt + language->target, data, sizeof data))
    return std::nullopt;
  const uint32_t rva = U32(data), size = U32(data + 4);
  if (size < 6 || size > kMaxVersionBlock) return std::nullopt;
  const auto at = FileOffset(*image, rva, size);
  if (!at) return std::nullopt;
  std::vector<uint8_t> block(size);
  if (!file.ReadAt(*at, block.data(), block.size())) return std::nullopt;
  return ParseVersionBlock({block.data(), block.size()});
}

std::optional<VersionResource> ParseVersionBlock(std::basic_string_view<uint8_t> block) {
  const auto root = ReadNode(block, 0, block.size());
  if (!root || root->key != u"VS_VERSION_INFO") return std::nullopt;
  VersionResource out;
  if (root->valueLength >= 52 && root->valueAt + 52 <= root->end &&
      U32(block.data() + root->valueAt) == kFixedSignature) {
    const uint8_t* fixed = block.data() + root->valueAt;
    const uint32_t ms = U32(fixed + 8), ls = U32(fixed + 12);
    out.fileVersion = std::array<uint16_t, 4>{static_cast<uint16_t>(ms >> 16), static_cast<uint16_t>(ms),
                                              static_cast<uint16_t>(ls >> 16), static_cast<uint16_t>(ls)};
  }
  ForEachChild(block, *root, [&](const Node& info) {
    if (info.key == u"StringFileInfo") {
      ForEachChild(block, info, [&](const Node& table) {
        VersionResource::Table t{table.key, {}};
        ForEachChild(block, table, [&](const Node& s) { t.strings.emplace_back(s.key, TextValue(block, s)); });
        out.tables.push_back(std::move(t));
      });
    } else if (info.key == u"VarFileInfo") {
      ForEachChild(block, info, [&](const Node& var) {
        if (var.key != u"Translation") return;
        const size_t end = std::min(var.end, var.valueAt + var.valueLength);
        for (size_t p = var.valueAt; p + 4 <= end; p += 4)
          out.translations.emplace_back(U16(block.data() + p), U16(block.data() + p + 2));
      });
    }
  });
  return out;
}

std::optional<std::u16string> VersionResource::String(std::u16string_view name) const {
  const auto lookIn = [&](const Table& t) -> std::optional<std::u16string> {
    for (const auto& [key, value] : t.strings)
      if (SameAsciiCase(key, name)) return value;
    return std::nullopt;
  };
  static constexpr char16_t kHex[] = u"0123456789ABCDEF";
  for (const auto& [language, codePage] : translations) {
    std::u16string key(8, u'0');
    const uint32_t both = uint32_t{language} << 16 | codePage;
    for (int i = 0; i < 8; ++i) key[i] = kHex[(both >> (28 - 4 * i)) & 15];
    for (const Table& t : tables)
      if (SameAsciiCase(t.key, key))
        if (auto v = lookIn(t)) return v;
  }
  for (const Table& t : tables)
    if (auto v = lookIn(t)) return v;
  return std::nullopt;
}

}  // namespace kp::system
