// kp160std — the library's own message block, coded at compile time from
// message_texts.h.
#include "abi/message_block.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "abi/message_texts.h"

namespace kp {
namespace {

// Only the block itself may hold the markers: a reader that scans the binary
// for them must land on the block, so they are no variables of their own.
constexpr std::string_view StartMarker() { return "KORVAN RES BLOC START"; }
constexpr std::string_view StopMarker() { return "KORVAN RES BLOC STOP"; }
constexpr uint32_t kFirstRecord = static_cast<uint32_t>(StartMarker().size());
constexpr size_t kMaxCodedLength = 255 * 4 - 1;  // the length byte counts 4-byte units

constexpr size_t Length(const char8_t* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

constexpr size_t PaddedLength(const char8_t* s) { return (Length(s) + 1 + 3) / 4 * 4; }

constexpr uint8_t Key(uint16_t recordNumber, size_t place) {
  return static_cast<uint8_t>((recordNumber * 7u + place * 29u + 101u) % 255u);
}

// Bytes are 1..255 on both sides.
constexpr uint8_t Code(uint8_t b, uint8_t key) { return static_cast<uint8_t>((b - 1u + key) % 255u + 1u); }
constexpr uint8_t Decode(uint8_t c, uint8_t key) { return static_cast<uint8_t>((c - 1u + 255u - key) % 255u + 1u); }

constexpr size_t CountRecords() {
  size_t n = 0;
  for (const auto& m : kMessageTexts) n += m.english ? 2 : 1;
  return n;
}

constexpr size_t BlockSize() {
  size_t size = StartMarker().size() + 2 + StopMarker().size();
  for (const auto& m : kMessageTexts) size += 4 + PaddedLength(m.french) + (m.english ? 4 + PaddedLength(m.english) : 0);
  return size;
}

constexpr bool TableIsValid() {
  uint16_t previous = 0;
  for (const auto& m : kMessageTexts) {
    if (m.number == 0 || m.number >= kEnglishRecordBit || m.number <= previous) return false;
    if (Length(m.french) > kMaxCodedLength || (m.english && Length(m.english) > kMaxCodedLength)) return false;
    previous = m.number;
  }
  return true;
}

static_assert(TableIsValid(), "message numbers sorted, unique, below 0x8000, texts short enough");
static_assert(CountRecords() == kMessageBlockRecords, "the block holds exactly kMessageBlockRecords records");

using Block = std::array<uint8_t, BlockSize()>;

constexpr size_t PutRecord(Block& block, size_t at, uint16_t number, uint8_t attribute, const char8_t* text) {
  const size_t length = Length(text);
  const size_t padded = PaddedLength(text);
  block[at] = static_cast<uint8_t>(number & 0xFF);
  block[at + 1] = static_cast<uint8_t>(number >> 8);
  block[at + 2] = attribute;
  block[at + 3] = static_cast<uint8_t>(padded / 4);
  at += 4;
  for (size_t i = 0; i < length; ++i) block[at + i] = Code(static_cast<uint8_t>(text[i]), Key(number, i));
  for (size_t i = length; i < padded; ++i) block[at + i] = 0;
  return at + padded;
}

constexpr Block BuildBlock() {
  Block block{};
  size_t at = 0;
  for (char c : StartMarker()) block[at++] = static_cast<uint8_t>(c);
  for (const auto& m : kMessageTexts) at = PutRecord(block, at, m.number, m.attribute, m.french);
  for (const auto& m : kMessageTexts)
    if (m.english) at = PutRecord(block, at, m.number | kEnglishRecordBit, m.attribute, m.english);
  block[at++] = 0xFF;
  block[at++] = 0xFF;
  for (char c : StopMarker()) block[at++] = static_cast<uint8_t>(c);
  return block;
}

// Kept in the binary as bytes, markers included, whatever the optimiser
// thinks of it.
[[gnu::used]] alignas(4) constexpr Block kMessageBlock = BuildBlock();

uint16_t RecordNumber(uint32_t offset) {
  return static_cast<uint16_t>(kMessageBlock[offset] | kMessageBlock[offset + 1] << 8);
}

const std::vector<uint32_t>& Offsets() {
  static const std::vector<uint32_t> offsets = [] {
    std::vector<uint32_t> table;
    table.reserve(kMessageBlockRecords);
    uint32_t at = kFirstRecord;
    while (RecordNumber(at) != 0xFFFF) {
      table.push_back(at);
      at += 4 + 4u * kMessageBlock[at + 3];
    }
    return table;
  }();
  return offsets;
}

std::u16string DecodeText(uint32_t offset) {
  const uint16_t number = RecordNumber(offset);
  const uint8_t* coded = kMessageBlock.data() + offset + 4;
  const size_t limit = 4u * kMessageBlock[offset + 3];
  std::string utf8;
  for (size_t i = 0; i < limit && coded[i]; ++i) utf8 += static_cast<char>(Decode(coded[i], Key(number, i)));
  // The texts are our own, valid UTF-8; a stray byte still cannot run past
  // the text.
  std::u16string text;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<uint8_t>(utf8[i]);
    const size_t extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
    uint32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
    if (extra && i + extra >= utf8.size()) break;
    for (size_t k = 1; k <= extra; ++k) c = c << 6 | (static_cast<uint8_t>(utf8[i + k]) & 0x3F);
    i += extra + 1;
    if (c >= 0x10000) {
      c -= 0x10000;
      text += static_cast<char16_t>(0xD800 + (c >> 10));
      text += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      text += static_cast<char16_t>(c);
    }
  }
  return text;
}

}  // namespace

std::span<const uint8_t> MessageBlockBytes() { return kMessageBlock; }

std::span<const uint32_t> MessageBlockOffsets() { return Offsets(); }

int64_t FindMessageRecord(uint16_t recordNumber) {
  const auto& offsets = Offsets();
  auto it = std::lower_bound(offsets.begin(), offsets.end(), recordNumber,
                             [](uint32_t offset, uint16_t n) { return RecordNumber(offset) < n; });
  if (it == offsets.end() || RecordNumber(*it) != recordNumber) return -1;
  return *it;
}

std::optional<std::u16string> BlockMessageText(uint32_t number, bool french) {
  if (number == 0 || number >= kEnglishRecordBit) return std::nullopt;
  const auto n = static_cast<uint16_t>(number);
  if (!french) {
    const int64_t english = FindMessageRecord(n | kEnglishRecordBit);
    if (english >= 0) return DecodeText(static_cast<uint32_t>(english));
  }
  const int64_t record = FindMessageRecord(n);
  if (record < 0) return std::nullopt;
  return DecodeText(static_cast<uint32_t>(record));
}

int32_t BlockMessageAttribute(uint32_t number) {
  if (number == 0 || number >= kEnglishRecordBit) return -1;
  const int64_t record = FindMessageRecord(static_cast<uint16_t>(number));
  return record < 0 ? -1 : kMessageBlock[static_cast<size_t>(record) + 2];
}

}  // namespace kp
