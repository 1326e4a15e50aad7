// kp160std — the typed-file header (CKVFile) and the project-file element
// header (CEltProjetFile), read through an IXStream.
//
// Both report a failure into the error record they were given (null: not
// reported) with their consistency texts, set information item 1 to the
// file name and return false; the stream stays where the last read left it.
// Thread-safety: one reader per stream, one thread at a time.
#pragma once

#include <cstdint>

#include "kp160std/abi.h"
#include "project/stream.h"

namespace kp::project {

// "OTL" and a zero byte, read as a little-endian number.
constexpr uint32_t kKVSignature = 0x004C544Fu;
constexpr uint32_t kKVHeaderSize = 20;

struct KVHeader {
  uint32_t signature = 0;
  uint32_t headerSize = 0;
  uint32_t fileType = 0;
  uint16_t number1 = 0;
  uint8_t byte1 = 0;
  uint8_t byte2 = 0;
  uint16_t number2 = 0;
  uint16_t number3 = 0;
};

class CKVFile {
 public:
  CKVFile(IXStream& stream, CXError* record) : stream_(stream), record_(record) {}
  // Reads and checks the 20-byte header at `position`; `expectedType` 0
  // takes whatever type the file has. On success the stream stands at the
  // data (position + header size: a longer header is skipped).
  bool ReadHeader(int64_t position, uint32_t expectedType);
  const KVHeader& header() const { return header_; }
  uint32_t fileType() const { return fileType_; }
  int64_t dataPosition() const { return dataPosition_; }

 private:
  IXStream& stream_;
  CXError* record_;
  KVHeader header_;
  uint32_t fileType_ = 0;
  int64_t dataPosition_ = 0;
};

struct EltHeader {
  uint32_t word = 0;          // at element + 8
  uint16_t minorVersion = 0;  // low half of the version word
  uint16_t majorVersion = 0;  // high half
  uint32_t versionWord = 0;
  int64_t dataPosition = 0;   // element position + data offset
  uint64_t extra = 0;         // read when major >= 2 or minor != 0
  bool hasExtra = false;
};

class CEltProjetFile {
 public:
  CEltProjetFile(IXStream& stream, CXError* record, uint16_t supportedMajor)
      : stream_(stream), record_(record), supportedMajor_(supportedMajor) {}
  bool ReadHeader(int64_t elementPosition);
  const EltHeader& header() const { return header_; }
  // The link to the previous element: the 8 bytes that end at `position`.
  bool ReadLinkBefore(int64_t position, int64_t* link);

 private:
  bool ReadExact(int64_t position, void* buffer, uint32_t count);

  IXStream& stream_;
  CXError* record_;
  uint16_t supportedMajor_;
  EltHeader header_;
};

}  // namespace kp::project
