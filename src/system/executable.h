// kp160std — what ExeInfo reads from an executable file: its kind from the
// headers, and its version resource (the fixed file version and the string
// table), read by our own code from the file's bytes so that it answers the
// same on every platform for any Windows executable, 32- or 64-bit.
//
// Every offset read from the file is checked against the file's size and
// against the block it lies in; a damaged file gives "no answer", never a
// read outside it. Nothing is kept between calls.
//
// Thread-safety: pure functions over the source they are given.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kp::system {

// Where the reader takes its bytes: a file, or bytes in memory.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual uint64_t Size() const = 0;
  // Copies `count` bytes at `offset` into `out`; false when they are not all
  // there (a short file, a failed read).
  virtual bool ReadAt(uint64_t offset, void* out, size_t count) const = 0;
};

class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::basic_string_view<uint8_t> bytes) : bytes_(bytes) {}
  uint64_t Size() const override { return bytes_.size(); }
  bool ReadAt(uint64_t offset, void* out, size_t count) const override;

 private:
  std::basic_string_view<uint8_t> bytes_;
};

// The kind as ExeInfo("MODE") names it: "DOS", "16", "32", "64", or empty for
// a file that is not an executable (or whose header cannot be read whole).
std::u16string ExecutableKind(const ByteSource& file);

struct VersionResource {
  // The fixed file version (major, minor, build, revision), when the
  // resource carries the fixed block with its signature.
  std::optional<std::array<uint16_t, 4>> fileVersion;
  // The string tables in file order: their key ("040904B0": language and
  // code page in hexadecimal) and their (name, value) pairs.
  struct Table {
    std::u16string key;
    std::vector<std::pair<std::u16string, std::u16string>> strings;
  };
  std::vector<Table> tables;
  // The (language, code page) pairs of the translation list, in order.
  std::vector<std::pair<uint16_t, uint16_t>> translations;

  // The value of `name` (compared without regard to ASCII case) from the
  // table of the first translation that has one, else from the first table;
  // nullopt when there is no such string.
  std::optional<std::u16string> String(std::u16string_view name) const;
};

// The first version resource of a PE file (type 16, first name, first
// language); nullopt when the file is not a PE image or has none.
std::optional<VersionResource> ReadVersionResource(const ByteSource& file);

// The version block itself (a VS_VERSIONINFO record), for a resource already
// in memory; nullopt when it is not one.
std::optional<VersionResource> ParseVersionBlock(std::basic_string_view<uint8_t> block);

}  // namespace kp::system
