// kp160std — the library's own message block.
//
// The block lies in the binary between the markers "KORVAN RES BLOC START"
// and "KORVAN RES BLOC STOP". It holds records of a 16-bit number, an
// attribute byte, a length byte (in 4-byte units) and the coded text padded
// with zero bytes to that length (at least one zero byte ends the text); the
// word 0xFFFF ends the records. A record therefore starts 4 bytes plus the
// previous record's length after the previous one.
//
// Two languages: the French text of message n is the record numbered n, the
// English text the record numbered n | 0x8000. A message whose text is the
// same in both languages has the first record only, and serves both. All
// message numbers are below 0x8000, so the French records come first and the
// whole block is sorted by number: 215 messages in two languages and one
// language-neutral message make the 431 records.
//
// Coding: the text's UTF-8 bytes, each shifted within 1..255 by a key that
// depends on the record number and the byte's place, so that no coded byte is
// zero and the same text codes differently in two records.
//
// The offset table is built on first use; lookups are binary searches.
//
// Thread-safety: any thread (the table is a function-local static).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace kp {

constexpr size_t kMessageBlockRecords = 493;
constexpr uint16_t kEnglishRecordBit = 0x8000;

// The text of message `number` in French or English; nullopt when the block
// has no such message. Numbers of 0x8000 and above are never messages.
std::optional<std::u16string> BlockMessageText(uint32_t number, bool french);

// The attribute byte of message `number`; -1 when there is none.
int32_t BlockMessageAttribute(uint32_t number);

// For tests: the block bytes from the start marker to the end of the stop
// marker, and each record's offset in it, in block order.
std::span<const uint8_t> MessageBlockBytes();
std::span<const uint32_t> MessageBlockOffsets();
// The offset of the record numbered exactly `recordNumber`, found by binary
// search; -1 when there is none.
int64_t FindMessageRecord(uint16_t recordNumber);

}  // namespace kp
