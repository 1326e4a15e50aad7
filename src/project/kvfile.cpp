// kp160std — CKVFile and CEltProjetFile.
#include "project/kvfile.h"

#include <cstring>

#include "abi/error.h"

namespace kp::project {

namespace {

uint32_t U32(const uint8_t* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24); }
uint16_t U16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint64_t U64(const uint8_t* p) { return U32(p) | (static_cast<uint64_t>(U32(p + 4)) << 32); }

void Begin(CXError* record) {
  SetLevel(record, 3);
  Stamp(record);
}

}  // namespace

bool CKVFile::ReadHeader(int64_t position, uint32_t expectedType) {
  uint8_t raw[kKVHeaderSize];
  if (!stream_.Seek(position, 0) || !stream_.Read(raw, sizeof raw, nullptr)) {
    SetInfoItem(record_, 1, stream_.Name());
    return false;
  }
  header_.signature = U32(raw);
  header_.headerSize = U32(raw + 4);
  header_.fileType = U32(raw + 8);
  header_.number1 = U16(raw + 12);
  header_.byte1 = raw[14];
  header_.byte2 = raw[15];
  header_.number2 = U16(raw + 16);
  header_.number3 = U16(raw + 18);
  const std::u16string& name = stream_.Name();
  if (header_.signature != kKVSignature) {
    Begin(record_);
    AddInternalMessage(record_, u"##(CKVFile)-Signature gérée=<%1!u!>, signature lue=<%2!u!>##",
                       {kKVSignature, header_.signature});
    AddMessage(record_, 28555, {u"16.0", name});
    SetInfoItem(record_, 1, name);
    return false;
  }
  if (expectedType != 0 && expectedType != header_.fileType) {
    Begin(record_);
    AddInternalMessage(record_, u"##(CKVFile)-Type demandé=<%1!u!>, type lu=<%2!u!>##",
                       {expectedType, header_.fileType});
    AddMessage(record_, 28259, {name, 28160});
    SetInfoItem(record_, 1, name);
    return false;
  }
  fileType_ = header_.fileType;
  if (header_.headerSize < kKVHeaderSize) {
    Begin(record_);
    AddInternalMessage(record_, u"##(CKVFile)-Taille entête attendue=<%1!u!>, Taille entête lue=<%2!u!>##",
                       {kKVHeaderSize, header_.headerSize});
    AddMessage(record_, 28011, {name, 27904});
    SetInfoItem(record_, 1, name);
    return false;
  }
  dataPosition_ = position + header_.headerSize;
  if (!stream_.Seek(dataPosition_, 0)) {
    SetInfoItem(record_, 1, name);
    return false;
  }
  return true;
}

bool CEltProjetFile::ReadExact(int64_t position, void* buffer, uint32_t count) {
  uint32_t got = 0;
  if (stream_.Seek(position, 0) && stream_.Read(buffer, count, &got) && got == count) return true;
  Begin(record_);
  AddInternalMessage(record_, u"##(CEltProjetFile)-Octet attendu=<%1!u!>, octet lu=<%2!u!>##", {count, got});
  SetInfoItem(record_, 1, stream_.Name());
  return false;
}

bool CEltProjetFile::ReadHeader(int64_t elementPosition) {
  uint8_t raw[8];
  header_ = EltHeader{};
  if (!ReadExact(elementPosition + 8, raw, 4)) return false;
  header_.word = U32(raw);
  if (!ReadExact(elementPosition + 12, raw, 4)) return false;
  header_.versionWord = U32(raw);
  header_.minorVersion = static_cast<uint16_t>(header_.versionWord & 0xFFFF);
  header_.majorVersion = static_cast<uint16_t>(header_.versionWord >> 16);
  const uint16_t major = header_.majorVersion;
  // Kept on purpose: versions from 4 up pass without comparison, and the
  // special form 0x2fff? passes whatever the supported version.
  const bool accepted = major >= 4 || (major >= 1 && major <= supportedMajor_) ||
                        (header_.versionWord & ~0xFu) == 0x2fff0u;
  if (!accepted) {
    Begin(record_);
    AddInternalMessage(record_,
                       u"##(CEltProjetFile)-Version entete majeure attendu=<%1!u!>, Version entete majeure lu=<%2!u!>##",
                       {supportedMajor_, major});
    SetInfoItem(record_, 1, stream_.Name());
    return false;
  }
  int64_t offset = 32;
  if (major != 1) {
    if (!ReadExact(elementPosition + 16, raw, 8)) return false;
    offset = static_cast<int64_t>(U64(raw));
  }
  // A hostile offset wraps instead of overflowing; the next read will fail on it.
  header_.dataPosition = static_cast<int64_t>(static_cast<uint64_t>(elementPosition) + static_cast<uint64_t>(offset));
  if (major >= 2 || header_.minorVersion != 0) {
    if (!ReadExact(elementPosition + 24, raw, 8)) return false;
    header_.extra = U64(raw);
    header_.hasExtra = true;
  }
  return true;
}

bool CEltProjetFile::ReadLinkBefore(int64_t position, int64_t* link) {
  uint8_t raw[8];
  if (position < 8) {
    Begin(record_);
    AddInternalMessage(record_, u"##(CEltProjetFile)-Octet attendu=<%1!u!>, octet lu=<%2!u!>##", {8, 0});
    SetInfoItem(record_, 1, stream_.Name());
    return false;
  }
  if (!ReadExact(position - 8, raw, 8)) return false;
  *link = static_cast<int64_t>(U64(raw));
  return true;
}

}  // namespace kp::project
