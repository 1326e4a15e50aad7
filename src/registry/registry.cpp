// kp160std — the registry functions of KL.
#include "registry/registry.h"

#include <cstring>
#include <vector>

#include "abi/error.h"
#include "abi/state.h"
#include "abi/vm.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"
#include "registry/keypath.h"
#include "registry/text.h"

namespace kp::registry {

namespace reg = platform::reg;

namespace {

// Bytes asked of the registry when a value's size is unknown.
constexpr uint32_t kUnknownSizeBuffer = 32768;
// The buffer for sub-key names, in characters.
constexpr uint32_t kSubKeyNameCapacity = 256;
constexpr uint32_t kDeletionNameCapacity = 32768;
// Error item that marks an error as not fatal to the program's continuation.
constexpr uint32_t kNotFatalItem = 21;

uint32_t Open(std::u16string_view path, uint32_t access, reg::KeyHolder& key) {
  const KeyPath p = SplitKeyPath(path);
  if (!p.root) return win32::kInvalidHandle;
  return reg::OpenKey(p.root, p.subKey, access, key.out());
}

std::u16string PlatformMessage(uint32_t code) { return platform::SystemErrorText(code, State().languageCode); }

void ReportWriteFailure(ExecContext* context, std::u16string_view key, std::u16string_view name, uint32_t code) {
  Raise(context, kErrCannotWrite, {key, name, PlatformMessage(code)});
  SetSystemError(context, code);
  if (code == win32::kAccessDenied) SetInfoItem(context, kNotFatalItem, 1);
}

// Reads a value the way RegistreLit does, in one query when the value fits
// the first buffer (most do); a larger one is asked again with a buffer of
// twice its size, zero-filled, in case it grows meanwhile.
bool ReadNamed(reg::HKey key, std::u16string_view name, uint32_t* type, Bytes* data) {
  constexpr uint32_t kFirstTry = 256;
  Bytes buffer(kFirstTry, 0);
  uint32_t got = kFirstTry;
  uint32_t rc = reg::QueryValue(key, name, type, buffer.data(), &got);
  if (rc == win32::kMoreData) {
    buffer.assign(static_cast<size_t>(got) * 2 + 2, 0);
    got = static_cast<uint32_t>(buffer.size());
    rc = reg::QueryValue(key, name, type, buffer.data(), &got);
  }
  if (rc != win32::kSuccess) return false;
  buffer.resize(got);
  *data = std::move(buffer);
  return true;
}

bool ReadIndexed(reg::HKey key, uint32_t zeroBased, std::u16string* name, uint32_t* type, Bytes* data) {
  uint32_t size = 0;
  if (reg::EnumValue(key, zeroBased, nullptr, type, nullptr, &size) != win32::kSuccess) return false;
  if (size == 0xFFFFFFFFu) size = kUnknownSizeBuffer;
  Bytes buffer(static_cast<size_t>(size) + 2, 0);
  uint32_t got = static_cast<uint32_t>(buffer.size());
  if (reg::EnumValue(key, zeroBased, name, type, buffer.data(), &got) != win32::kSuccess) return false;
  buffer.resize(got);
  *data = std::move(buffer);
  return true;
}

uint32_t Swap16(uint32_t v) { return (v << 16) | (v >> 16); }

uint32_t Dword(std::span<const uint8_t> data) {
  uint32_t v = 0;
  std::memcpy(&v, data.data(), std::min<size_t>(4, data.size()));
  return v;
}

std::u16string NameOfIndex(reg::HKey key, int32_t index, bool* ok) {
  std::u16string name;
  *ok = index == 0 ||
        (index > 0 && reg::EnumValue(key, static_cast<uint32_t>(index - 1), &name, nullptr, nullptr, nullptr) ==
                          win32::kSuccess);
  return name;
}

std::u16string SubKeyPrefix(const KeyPath& p) {
  std::u16string prefix(p.rootName);
  prefix += u'\\';
  if (!p.subKey.empty()) {
    prefix += p.subKey;
    prefix += u'\\';
  }
  return prefix;
}

bool DeleteTree(ExecContext* context, std::u16string_view path) {
  const KeyPath p = SplitKeyPath(path);
  // "X\\" or "X\\\\Y": an empty name inside the path is refused, as every
  // other registry call refuses it; taking it further would name children
  // that can never be opened.
  if (p.subKey.find(u"\\\\") != std::u16string_view::npos || p.subKey.ends_with(u'\\')) return false;
  {
    reg::KeyHolder probe;
    if (!p.root || reg::OpenKey(p.root, p.subKey, reg::kQueryValue, probe.out()) != win32::kSuccess) return true;
  }
  // Each pass reads the sub-keys once and deletes them in order; another
  // pass takes those created meanwhile. A pass that finds the same first
  // sub-key as the one before made no progress: stop there instead of
  // looping forever.
  reg::KeyHolder k;
  if (reg::OpenKey(p.root, p.subKey, reg::kEnumerateSubKeys, k.out()) != win32::kSuccess) return false;
  const std::u16string prefix = SubKeyPrefix(p);
  std::vector<std::u16string> names;
  std::u16string previous;
  for (bool first = true;; first = false) {
    names.clear();
    // The buffer holds any name a database may hold, even one longer than
    // the 255 characters a key can be created with today.
    const uint32_t rc = reg::EnumKeys(k.get(), 0, &names, kDeletionNameCapacity);
    if (names.empty()) break;
    if (!first && names.front() == previous) return false;
    previous = names.front();
    for (const auto& name : names)
      if (!DeleteTree(context, prefix + name)) return false;
    if (rc != win32::kSuccess) break;  // the key's own deletion tells
  }
  if (p.subKey.empty()) return false;  // a root is never deleted
  return reg::DeleteKey(p.root, p.subKey) == win32::kSuccess;
}

}  // namespace

std::u16string_view TypeName(uint32_t type) {
  switch (type) {
    case reg::kSz: return u"REG_SZ";
    case reg::kExpandSz: return u"REG_EXPAND_SZ";
    case reg::kBinary: return u"REG_BINARY";
    case reg::kDword: return u"REG_DWORD";
    case reg::kDwordBigEndian: return u"REG_DWORD_BIG_ENDIAN";
    case reg::kMultiSz: return u"REG_MULTI_SZ";
    case reg::kQword: return u"REG_QWORD";
    default: return {};
  }
}

Value ValueFromData(uint32_t type, std::span<const uint8_t> data) {
  switch (type) {
    case reg::kSz: {
      std::u16string text(data.size() / 2, u'\0');
      std::memcpy(text.data(), data.data(), text.size() * 2);
      text.resize(std::u16string_view(text.c_str()).size());
      return text;
    }
    // Kept on purpose: expandable and multi-strings come back as raw bytes.
    case reg::kExpandSz:
    case reg::kBinary:
    case reg::kMultiSz: return Bytes(data.begin(), data.end());
    case reg::kDword: return static_cast<int32_t>(Dword(data));
    case reg::kDwordBigEndian: return static_cast<int32_t>(Swap16(Dword(data)));
    case reg::kQword: {
      int64_t v = 0;
      std::memcpy(&v, data.data(), std::min<size_t>(8, data.size()));
      return v;
    }
    case reg::kNone:
    case 6:
    case 8: return std::u16string();
    default: return Value{};  // 9, 10 and 12 up: no value
  }
}

Value QueryValue(ExecContext* context, std::u16string_view key, std::u16string_view name, bool* success) {
  if (success) *success = false;
  if (key.empty() && name.empty()) return std::u16string();
  uint32_t type = reg::kNone;
  Bytes data;
  // The common case, an existing value, in one read; a missing key or value
  // is told apart below.
  if (const KeyPath p = SplitKeyPath(key); p.root && reg::ReadValue(p.root, p.subKey, name, &type, &data) == 0) {
    if (success) *success = true;
    return ValueFromData(type, data);
  }
  reg::KeyHolder k;
  bool ok = Open(key, reg::kQueryValue, k) == win32::kSuccess;
  if (ok && !ReadNamed(k.get(), name, &type, &data)) {
    // The default value of an existing key reads as an empty text.
    ok = name.empty();
    type = ok ? reg::kSz : reg::kNone;
    data.assign(1, 0);
  }
  if (success) *success = ok;
  return ok ? ValueFromData(type, data) : Value{std::u16string()};
}

Value QueryValueAt(ExecContext* context, std::u16string_view key, int32_t index, bool* success) {
  if (index == 0) return QueryValue(context, key, {}, success);
  if (success) *success = false;
  reg::KeyHolder k;
  if (index < 0 || Open(key, reg::kQueryValue | reg::kEnumerateSubKeys, k) != win32::kSuccess)
    return std::u16string();
  uint32_t type = reg::kNone;
  Bytes data;
  if (!ReadIndexed(k.get(), static_cast<uint32_t>(index - 1), nullptr, &type, &data)) return std::u16string();
  if (success) *success = true;
  return ValueFromData(type, data);
}

Bytes TextBytes(std::u16string_view text, bool withTerminator) {
  Bytes out((text.size() + (withTerminator ? 1 : 0)) * 2, 0);
  if (!text.empty()) std::memcpy(out.data(), text.data(), text.size() * 2);
  return out;
}

Bytes DwordBytes(int32_t value) {
  Bytes out(4);
  std::memcpy(out.data(), &value, 4);
  return out;
}

Bytes RealBytes(double value) {
  Bytes out(8);
  std::memcpy(out.data(), &value, 8);
  return out;
}

Bytes CurrencyBytes(int64_t value, int16_t scale) {
  Bytes out(10);
  std::memcpy(out.data(), &value, 8);
  std::memcpy(out.data() + 8, &scale, 2);
  return out;
}

bool SetValue(ExecContext* context, std::u16string_view key, std::u16string_view name, uint32_t type,
              std::span<const uint8_t> data) {
  if (key.empty()) return false;
  reg::KeyHolder k;
  uint32_t rc = Open(key, reg::kSetValue, k);
  if (rc == win32::kSuccess) rc = reg::SetValue(k.get(), name, type, data.data(), static_cast<uint32_t>(data.size()));
  if (rc == win32::kSuccess) return true;
  ReportWriteFailure(context, key, name, rc);
  return false;
}

bool SetValueAt(ExecContext* context, std::u16string_view key, int32_t index, uint32_t type,
                std::span<const uint8_t> data) {
  if (key.empty()) return false;
  reg::KeyHolder k;
  if (uint32_t rc = Open(key, reg::kQueryValue | reg::kSetValue | reg::kEnumerateSubKeys, k)) {
    ReportWriteFailure(context, key, {}, rc);
    return false;
  }
  bool found = false;
  const std::u16string name = NameOfIndex(k.get(), index, &found);
  if (!found) return false;  // no value at that index: no report
  const uint32_t rc = reg::SetValue(k.get(), name, type, data.data(), static_cast<uint32_t>(data.size()));
  if (rc == win32::kSuccess) return true;
  ReportWriteFailure(context, key, name, rc);
  return false;
}

namespace {

// The running program's memory as the VM addresses it. Only a 32-bit process
// can take a 32-bit integer for an address; elsewhere the syntax refuses.
bool MemoryBytes(int32_t address, int32_t size, Bytes* out) {
  if (size < 0) return false;
  out->assign(static_cast<size_t>(size), 0);
  if (size == 0) return true;
#if UINTPTR_MAX == 0xFFFFFFFFu
  if (address == 0) return false;
  std::memcpy(out->data(), reinterpret_cast<const void*>(static_cast<uintptr_t>(static_cast<uint32_t>(address))),
              out->size());
  return true;
#else
  (void)address;
  return false;
#endif
}

}  // namespace

bool SetMemory(ExecContext* context, std::u16string_view key, std::u16string_view name, int32_t address,
               int32_t size) {
  if (key.empty()) return false;
  Bytes data;
  if (!MemoryBytes(address, size, &data)) {
    ReportWriteFailure(context, key, name, win32::kInvalidParameter);
    return false;
  }
  return SetValue(context, key, name, reg::kBinary, data);
}

bool SetMemoryAt(ExecContext* context, std::u16string_view key, int32_t index, int32_t address, int32_t size) {
  if (key.empty()) return false;
  Bytes data;
  if (!MemoryBytes(address, size, &data)) {
    ReportWriteFailure(context, key, {}, win32::kInvalidParameter);
    return false;
  }
  return SetValueAt(context, key, index, reg::kBinary, data);
}

namespace {

// The type and bytes of a typed write; false for an unknown type name.
bool TypedData(const Value& value, std::u16string_view typeName, uint32_t* type, Bytes* data) {
  const std::u16string name = platform::reg::FoldName(typeName);
  if (name == u"REG_DWORD" || name == u"REG_DWORD_BIG_ENDIAN") {
    const bool big = name.size() > 9;
    uint32_t v = static_cast<uint32_t>(static_cast<int32_t>(ToInteger(value)));
    if (big) v = Swap16(v);
    *type = big ? reg::kDwordBigEndian : reg::kDword;
    *data = DwordBytes(static_cast<int32_t>(v));
  } else if (name == u"REG_SZ" || name == u"REG_EXPAND_SZ") {
    *type = name == u"REG_SZ" ? reg::kSz : reg::kExpandSz;
    *data = TextBytes(ToText(value), true);
  } else if (name == u"REG_MULTI_SZ") {
    // The text holds its strings separated by NULs; the list ends with an
    // empty string, added here when the text does not end with one.
    std::u16string text = ToText(value);
    if (text.empty() || text.back() != u'\0') text += u'\0';
    *type = reg::kMultiSz;
    *data = TextBytes(text, true);
  } else if (name == u"REG_QWORD") {
    const int64_t v = ToInteger(value);
    *type = reg::kQword;
    data->assign(8, 0);
    std::memcpy(data->data(), &v, 8);
  } else if (name == u"REG_BINARY") {
    *type = reg::kBinary;
    *data = RawBytes(value);
  } else {
    return false;
  }
  return true;
}

}  // namespace

bool SetTypedValue(ExecContext* context, std::u16string_view key, std::u16string_view name, const Value& value,
                   std::u16string_view typeName) {
  if (key.empty()) return false;
  uint32_t type = 0;
  Bytes data;
  if (!TypedData(value, typeName, &type, &data)) {
    Raise(context, kErrUnknownType, {typeName});
    return false;
  }
  return SetValue(context, key, name, type, data);
}

bool SetTypedValueAt(ExecContext* context, std::u16string_view key, int32_t index, const Value& value,
                     std::u16string_view typeName) {
  if (key.empty()) return false;
  uint32_t type = 0;
  Bytes data;
  if (!TypedData(value, typeName, &type, &data)) {
    Raise(context, kErrUnknownType, {typeName});
    return false;
  }
  return SetValueAt(context, key, index, type, data);
}

std::u16string FirstSubKey(ExecContext* context, std::u16string_view key) {
  const KeyPath p = SplitKeyPath(key);
  reg::KeyHolder k;
  if (!p.root || reg::OpenKey(p.root, p.subKey, reg::kEnumerateSubKeys, k.out()) != win32::kSuccess) return {};
  std::u16string name;
  if (reg::EnumKey(k.get(), 0, &name, kSubKeyNameCapacity) != win32::kSuccess) return {};
  return SubKeyPrefix(p) + name;
}

std::u16string NextKey(ExecContext* context, std::u16string_view key) {
  const KeyPath p = SplitKeyPath(key);
  if (!p.root || p.subKey.empty()) return {};
  const size_t cut = p.subKey.rfind(u'\\');
  const std::u16string_view parent = cut == std::u16string_view::npos ? std::u16string_view() : p.subKey.substr(0, cut);
  const std::u16string_view own = cut == std::u16string_view::npos ? p.subKey : p.subKey.substr(cut + 1);
  reg::KeyHolder k;
  if (reg::OpenKey(p.root, parent, reg::kEnumerateSubKeys, k.out()) != win32::kSuccess) return {};
  // No state between calls: the parent is read again from the start, once.
  std::vector<std::u16string> names;
  reg::EnumKeys(k.get(), 0, &names, kSubKeyNameCapacity);
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i] != own) continue;  // case-sensitive, as the names come back
    if (i + 1 == names.size()) return {};
    return SubKeyPrefix(KeyPath{p.rootName, p.root, parent}) + names[i + 1];
  }
  return {};
}

bool DeleteKey(ExecContext* context, std::u16string_view key) {
  if (key.empty()) {
    Raise(context, kErrEmptyKey);
    return false;
  }
  return DeleteTree(context, key);
}

bool CreateKey(ExecContext* context, std::u16string_view key) {
  if (key.empty()) return false;
  const KeyPath p = SplitKeyPath(key);
  reg::KeyHolder k;
  uint32_t disposition = 0;
  const uint32_t rc =
      p.root ? reg::CreateKey(p.root, p.subKey, reg::kAllAccess, k.out(), &disposition) : win32::kInvalidHandle;
  if (rc != win32::kSuccess) {
    Raise(context, kErrCannotCreate, {key});
    SetSystemError(context, rc);
    return false;
  }
  if (disposition == reg::kCreatedNewKey) return true;
  // An existing key is no error, unless one is already pending in the record.
  if (CXError* record = ErrorRecord(context); record && record->level != 1) {
    const uint32_t pending = record->systemError;
    Raise(context, kErrCannotWrite, {key, u"", PlatformMessage(pending)});
    SetInfoItem(context, kNotFatalItem, 1);
  }
  return false;
}

bool KeyExists(ExecContext* context, std::u16string_view key) {
  if (key.empty()) return false;
  reg::KeyHolder k;
  return Open(key, reg::kQueryValue, k) == win32::kSuccess;
}

bool ValueExists(ExecContext* context, std::u16string_view key, std::u16string_view name) {
  if (key.empty()) return false;
  reg::KeyHolder k;
  if (Open(key, reg::kQueryValue, k) != win32::kSuccess) return false;
  return name.empty() || reg::QueryValue(k.get(), name, nullptr, nullptr, nullptr) == win32::kSuccess;
}

bool ValueExistsAt(ExecContext* context, std::u16string_view key, int32_t index) {
  if (key.empty()) return false;
  reg::KeyHolder k;
  if (Open(key, reg::kQueryValue | reg::kEnumerateSubKeys, k) != win32::kSuccess) return false;
  bool found = false;
  NameOfIndex(k.get(), index, &found);
  return found;
}

bool DeleteValue(ExecContext* context, std::u16string_view key, std::u16string_view name) {
  if (key.empty() || name.empty()) return false;
  {
    reg::KeyHolder probe;
    if (Open(key, reg::kQueryValue, probe) != win32::kSuccess ||
        reg::QueryValue(probe.get(), name, nullptr, nullptr, nullptr) != win32::kSuccess)
      return true;  // deliberately a success: nothing to delete
  }
  reg::KeyHolder k;
  uint32_t rc = Open(key, reg::kSetValue, k);
  if (rc == win32::kSuccess) rc = reg::DeleteValue(k.get(), name);
  if (rc == win32::kSuccess) return true;
  Raise(context, kErrCannotCreate, {key});
  SetSystemError(context, rc);
  return false;
}

std::u16string ListValues(ExecContext* context, std::u16string_view key, bool withTypes) {
  if (key.empty()) return {};
  reg::KeyHolder k;
  if (Open(key, reg::kRead, k) != win32::kSuccess) return {};
  // One read of the whole key; a failure part way keeps what came before it.
  std::u16string out;
  reg::VisitValues(k.get(), 0, false, [&](const reg::ValueEntry& v) {
    if (v.index) out += u"\r\n";
    out += v.name;
    if (withTypes) {
      out += u'\t';
      out += v.type == reg::kSz || v.type == reg::kExpandSz || v.type == reg::kMultiSz ? u'T'
             : v.type == reg::kDword || v.type == reg::kDwordBigEndian                 ? u'N'
                                                                                        : u'B';
    }
    return true;
  });
  return out;
}

std::u16string ValueType(ExecContext* context, std::u16string_view key, std::u16string_view name) {
  reg::KeyHolder k;
  uint32_t type = reg::kNone;
  if (Open(key, reg::kQueryValue, k) != win32::kSuccess ||
      reg::QueryValue(k.get(), name, &type, nullptr, nullptr) != win32::kSuccess)
    return {};
  return std::u16string(TypeName(type));
}

std::u16string ValueTypeAt(ExecContext* context, std::u16string_view key, int32_t index) {
  if (index == 0) return ValueType(context, key, {});
  reg::KeyHolder k;
  uint32_t type = reg::kNone;
  if (index < 0 || Open(key, reg::kQueryValue | reg::kEnumerateSubKeys, k) != win32::kSuccess ||
      reg::EnumValue(k.get(), static_cast<uint32_t>(index - 1), nullptr, &type, nullptr, nullptr) != win32::kSuccess)
    return {};
  return std::u16string(TypeName(type));
}

}  // namespace kp::registry
