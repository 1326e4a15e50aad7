// kp160std — the registry seam: the handful of registry calls the registry
// family and the parameter store need, with the semantics and error numbers
// of the Win32 registry API (0 is success; 2 not found, 5 access denied, 6
// bad handle, 161 bad path, 234 more data, 259 no more items, 1018 key
// deleted).
//
// On Windows these are the Reg* calls. On POSIX the registry is one SQLite
// database in the device prefix (registry.db): every write is a transaction,
// the database runs in WAL mode with a busy timeout, so several processes may
// write at once without losing anything. Key and value names compare without
// regard to case and keep the case they were created with; types and bytes
// are stored exactly as written. Sub-keys enumerate in name order (as the
// Windows registry does), values in creation order.
//
// A key handle carries the access it was opened with and every call checks
// it as Windows does: querying and enumerating values needs query-value (1),
// setting and deleting values set-value (2), enumerating sub-keys
// enumerate-sub-keys (8), creating a sub-key create-sub-key (4). The four
// root keys are always open with full access and CloseKey ignores them.
//
// Thread-safety: every call may be made from any thread; a handle may be used
// from any thread until it is closed. On POSIX a child created by fork opens
// its own connection on first use.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kp::platform::reg {

using HKey = uintptr_t;  // 0 is no key

constexpr HKey kClassesRoot = 0x80000000u;
constexpr HKey kCurrentUser = 0x80000001u;
constexpr HKey kLocalMachine = 0x80000002u;
constexpr HKey kUsers = 0x80000003u;

// Access rights.
constexpr uint32_t kQueryValue = 0x0001;
constexpr uint32_t kSetValue = 0x0002;
constexpr uint32_t kCreateSubKey = 0x0004;
constexpr uint32_t kEnumerateSubKeys = 0x0008;
constexpr uint32_t kRead = 0x20019;
constexpr uint32_t kAllAccess = 0xF003F;

// Value types.
constexpr uint32_t kNone = 0;
constexpr uint32_t kSz = 1;
constexpr uint32_t kExpandSz = 2;
constexpr uint32_t kBinary = 3;
constexpr uint32_t kDword = 4;
constexpr uint32_t kDwordBigEndian = 5;
constexpr uint32_t kMultiSz = 7;
constexpr uint32_t kQword = 11;

// CreateKey dispositions.
constexpr uint32_t kCreatedNewKey = 1;
constexpr uint32_t kOpenedExistingKey = 2;

// The case folding behind the POSIX registry's name comparisons, shared with
// the code above the seam that compares names the same way: upper case of the
// Latin, Greek and Cyrillic letters, whatever the host's locale.
constexpr char16_t FoldChar(char16_t c) {
  if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 32);
  if (c < 0xE0) return c == 0xB5 ? char16_t{0x39C} : c;
  if (c <= 0xFE) return c == 0xF7 ? c : static_cast<char16_t>(c - 32);
  if (c == 0xFF) return 0x178;
  if (c >= 0x100 && c <= 0x17F) {
    // Latin Extended-A pairs upper and lower case at even/odd, shifted by one
    // in two runs.
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? c : static_cast<char16_t>(c - 1);
    if (c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F) return c;
    return (c & 1) ? static_cast<char16_t>(c - 1) : c;
  }
  if (c >= 0x3B1 && c <= 0x3CB && c != 0x3C2) return static_cast<char16_t>(c - 32);
  if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 32);
  if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 80);
  return c;
}

inline std::u16string FoldName(std::u16string_view s) {
  std::u16string out(s);
  for (auto& c : out) c = FoldChar(c);
  return out;
}

// `subKey` is a path of names separated by "\"; empty opens the key itself.
uint32_t OpenKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out);
// Creates every missing key along the path; `disposition` may be null.
uint32_t CreateKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out, uint32_t* disposition);
uint32_t CloseKey(HKey key);

// As RegQueryValueExW: with `data` null only the type and size are given;
// a buffer smaller than the value gives 234 with the size needed. `type`,
// `data` and `size` may each be null (size must be given with data).
uint32_t QueryValue(HKey key, std::u16string_view name, uint32_t* type, uint8_t* data, uint32_t* size);
uint32_t SetValue(HKey key, std::u16string_view name, uint32_t type, const uint8_t* data, uint32_t size);
// The whole value `name` of the key at `subKey` below the open key `parent`,
// as OpenKey, QueryValue and CloseKey would give it, in one call (on POSIX
// one statement: the common read costs one database read, not three). 2
// when the key or the value is missing: the caller tells them apart itself.
uint32_t ReadValue(HKey parent, std::u16string_view subKey, std::u16string_view name, uint32_t* type,
                   std::vector<uint8_t>* data);
uint32_t DeleteValue(HKey key, std::u16string_view name);
// Deletes a sub-key that has no sub-keys of its own (5 when it has some).
uint32_t DeleteKey(HKey parent, std::u16string_view subKey);

// The value at a zero-based index (259 past the last): its name, and type
// and data as QueryValue gives them.
uint32_t EnumValue(HKey key, uint32_t index, std::u16string* name, uint32_t* type, uint8_t* data, uint32_t* size);
// The name of the sub-key at a zero-based index (259 past the last); names
// longer than `capacity` - 1 characters give 234.
uint32_t EnumKey(HKey key, uint32_t index, std::u16string* name, uint32_t capacity = 256);

// Whole-key walks (listing, search, deleting a tree). Stepping EnumValue or
// EnumKey through every index costs, on POSIX, a skip over every entry
// before the index, so a walk of n entries would cost n^2; these read the
// key once, in the same order, with the same access checks and errors as
// the index calls.

// One value as VisitValues gives it: its zero-based enumeration index, name,
// type and size in bytes; `data` holds the bytes only when they were asked
// for. The views are valid only during the visit.
struct ValueEntry {
  uint32_t index = 0;
  std::u16string_view name;
  uint32_t type = 0;
  uint32_t size = 0;
  std::span<const uint8_t> data;
};
// Calls `visit` for each value of the key from zero-based index `from` on, in
// EnumValue's order, until it returns false. `visit` must not call the
// registry: on POSIX the connection is held for the whole walk. No value at
// `from` is success with no visit.
uint32_t VisitValues(HKey key, uint32_t from, bool withData, const std::function<bool(const ValueEntry&)>& visit);
// Appends the names of the key's sub-keys from zero-based index `from` on, in
// EnumKey's order. Stops before the first name longer than `capacity` - 1
// characters and gives 234, as EnumKey would at that index.
uint32_t EnumKeys(HKey key, uint32_t from, std::vector<std::u16string>* names, uint32_t capacity = 256);

struct KeyInfo {
  uint32_t subKeys = 0;
  uint32_t maxSubKeyLength = 0;  // characters
  uint32_t values = 0;
  uint32_t maxValueNameLength = 0;  // characters
  uint32_t maxValueLength = 0;      // bytes
};
uint32_t QueryInfoKey(HKey key, KeyInfo* info);

// Closes a key at the end of a scope.
// The longest key name (one level) and value name a key or value can be
// created with; longer ones fail with 87.
constexpr std::size_t kMaxKeyNameLength = 255;
constexpr std::size_t kMaxValueNameLength = 16383;

class KeyHolder {
 public:
  KeyHolder() = default;
  explicit KeyHolder(HKey key) : key_(key) {}
  ~KeyHolder() { reset(); }
  KeyHolder(const KeyHolder&) = delete;
  KeyHolder& operator=(const KeyHolder&) = delete;
  HKey get() const { return key_; }
  HKey* out() {
    reset();
    return &key_;
  }
  void reset() {
    if (key_) CloseKey(key_);
    key_ = 0;
  }

 private:
  HKey key_ = 0;
};

// --- device files used by the INI engine ----------------------------------
// `path` is a device path already checked by the caller: names separated by
// "/", relative to the device root, no "." or ".." component. On POSIX it
// lives under <device prefix>/fs/ and is resolved beneath it (a link never
// leads out); on Windows it is taken from the root of the current drive.
// Errors are Win32 numbers: 2 no such file, 3 a directory on the way is
// missing, 5 a read-only file or one that is no regular file (a directory,
// FIFO, socket or device is never opened for reading), 32 another writer
// holds the file for longer than a few seconds.
uint32_t ReadDeviceFile(std::string_view path, std::string* bytes);
// Reads the file (created empty when missing; no directory is made) and
// hands its bytes to `edit`; when `edit` returns true the file's content is
// replaced by them. On POSIX the whole step holds an exclusive lock that
// every writer and deleter of the file takes, so concurrent updates
// serialize, and the new content is renamed over the old, so readers never
// see a half-written file.
uint32_t UpdateDeviceFile(std::string_view path, const std::function<bool(std::string* bytes)>& edit);
// Replaces the whole content, as UpdateDeviceFile.
uint32_t WriteDeviceFile(std::string_view path, std::string_view bytes);
uint32_t DeleteDeviceFile(std::string_view path);
// -1 when the file does not exist.
int64_t DeviceFileSize(std::string_view path);

}  // namespace kp::platform::reg
