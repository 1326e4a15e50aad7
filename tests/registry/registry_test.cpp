#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <random>
#include <set>

#include "platform/registry.h"
#include "registry/keypath.h"
#include "registry/registry.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

namespace reg = platform::reg;
using registry::SplitKeyPath;

struct Raw {
  uint32_t rc = 0;
  uint32_t type = 0;
  Bytes data;
};

// What the registry holds, read under the family's feet.
Raw ReadRaw(reg::HKey root, std::u16string_view sub, std::u16string_view name) {
  Raw out;
  reg::KeyHolder k;
  out.rc = reg::OpenKey(root, sub, reg::kQueryValue, k.out());
  if (out.rc) return out;
  uint32_t size = 0;
  out.rc = reg::QueryValue(k.get(), name, &out.type, nullptr, &size);
  if (out.rc) return out;
  out.data.resize(size);
  out.rc = reg::QueryValue(k.get(), name, &out.type, out.data.data(), &size);
  return out;
}

std::u16string Ascii(const std::string& s) { return std::u16string(s.begin(), s.end()); }

// ASCII-only, independent of the family's folding.
bool HasFoo(std::u16string_view s) {
  std::u16string lower(s);
  for (auto& c : lower) c = c >= u'A' && c <= u'Z' ? c + 32 : c;
  return lower.find(u"foo") != std::u16string::npos;
}

void MakeKey(reg::HKey root, std::u16string_view sub) {
  reg::KeyHolder k;
  ASSERT_EQ(reg::CreateKey(root, sub, reg::kAllAccess, k.out(), nullptr), 0u);
}

TEST(RegistryKeyPath, Grammar) {
  struct Case {
    std::u16string_view path, root, sub;
    bool handle;
  } cases[] = {
      {u"HKEY_CURRENT_USER\\Software\\Test", u"HKEY_CURRENT_USER", u"Software\\Test", true},
      {u"Software\\Test", u"HKEY_CLASSES_ROOT", u"Software\\Test", true},  // no root: the classes root
      {u"Software\\Test\\", u"HKEY_CLASSES_ROOT", u"Software\\Test", true},
      {u"\\Software\\", u"HKEY_CLASSES_ROOT", u"Software", true},
      {u"HKEY_CURRENT_USERSoftware", u"HKEY_CURRENT_USER", u"Software", true},  // separator optional
      {u"hkey_current_user\\X", u"HKEY_CLASSES_ROOT", u"hkey_current_user\\X", true},  // case-sensitive
      {u"HKEY_LOCAL_MACHINE", u"HKEY_LOCAL_MACHINE", u"", true},
      {u"HKEY_USERS\\.DEFAULT", u"HKEY_USERS", u".DEFAULT", true},
      {u"HKEY_CURRENT_CONFIG\\System", u"HKEY_CURRENT_CONFIG", u"System", false},
      {u"HKEY_DYN_DATA", u"HKEY_DYN_DATA", u"", false},
      {u"HKEY_PERFORMANCE_DATA\\", u"HKEY_PERFORMANCE_DATA", u"", false},
      {u"HKEY_CURRENT_USER\\\\A", u"HKEY_CURRENT_USER", u"\\A", true},  // only one "\" is skipped
      {u"", u"HKEY_CLASSES_ROOT", u"", true},
  };
  for (const auto& c : cases) {
    const auto p = SplitKeyPath(c.path);
    EXPECT_EQ(p.rootName, c.root) << Utf8(c.path);
    EXPECT_EQ(p.subKey, c.sub) << Utf8(c.path);
    EXPECT_EQ(p.root != 0, c.handle) << Utf8(c.path);
  }
}

class RegistryPlatform : public FreshDevice {};

TEST_F(RegistryPlatform, NamesFoldCaseAndKeepIt) {
  MakeKey(reg::kCurrentUser, u"Software\\Été");
  reg::KeyHolder k;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"SOFTWARE\\éTÉ", reg::kAllAccess, k.out()), 0u);
  const uint8_t one[] = {1};
  ASSERT_EQ(reg::SetValue(k.get(), u"MixedCase", reg::kBinary, one, 1), 0u);
  const uint8_t two[] = {2, 2};
  ASSERT_EQ(reg::SetValue(k.get(), u"MIXEDCASE", reg::kDword, two, 2), 0u);  // same value
  std::u16string name;
  uint32_t type = 0, size = 8;
  uint8_t data[8] = {};
  ASSERT_EQ(reg::EnumValue(k.get(), 0, &name, &type, data, &size), 0u);
  EXPECT_EQ(name, u"MixedCase");
  EXPECT_EQ(type, reg::kDword);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(reg::EnumValue(k.get(), 1, &name, nullptr, nullptr, nullptr), 259u);
  reg::KeyHolder root;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"software", reg::kEnumerateSubKeys, root.out()), 0u);
  ASSERT_EQ(reg::EnumKey(root.get(), 0, &name), 0u);
  EXPECT_EQ(name, u"Été");
}

TEST_F(RegistryPlatform, AccessMasksAndWin32Errors) {
  MakeKey(reg::kCurrentUser, u"A\\B");
  reg::KeyHolder readOnly;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"A", reg::kQueryValue, readOnly.out()), 0u);
  const uint8_t byte = 7;
  EXPECT_EQ(reg::SetValue(readOnly.get(), u"v", reg::kBinary, &byte, 1), 5u);
  EXPECT_EQ(reg::EnumKey(readOnly.get(), 0, nullptr), 5u);
  reg::KeyHolder setOnly;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"A", reg::kSetValue, setOnly.out()), 0u);
  EXPECT_EQ(reg::SetValue(setOnly.get(), u"v", reg::kBinary, &byte, 1), 0u);
  EXPECT_EQ(reg::QueryValue(setOnly.get(), u"v", nullptr, nullptr, nullptr), 5u);
  uint32_t size = 0;
  EXPECT_EQ(reg::QueryValue(readOnly.get(), u"v", nullptr, nullptr, &size), 0u);
  EXPECT_EQ(size, 1u);
  uint8_t small = 0;
  size = 0;
  EXPECT_EQ(reg::QueryValue(readOnly.get(), u"v", nullptr, &small, &size), 234u);
  EXPECT_EQ(reg::QueryValue(readOnly.get(), u"missing", nullptr, nullptr, nullptr), 2u);
  EXPECT_EQ(reg::OpenKey(reg::kCurrentUser, u"A\\Nope", reg::kRead, readOnly.out()), 2u);
  EXPECT_EQ(reg::DeleteKey(reg::kCurrentUser, u"A"), 5u);  // it has a sub-key
  EXPECT_EQ(reg::DeleteKey(reg::kCurrentUser, u"A\\B"), 0u);
  EXPECT_EQ(reg::DeleteKey(reg::kCurrentUser, u"A"), 0u);
  // A handle to a deleted key says so.
  EXPECT_EQ(reg::QueryValue(setOnly.get(), u"v", nullptr, nullptr, &size), 5u);
  reg::KeyHolder gone;
  ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"C", reg::kAllAccess, gone.out(), nullptr), 0u);
  ASSERT_EQ(reg::DeleteKey(reg::kCurrentUser, u"C"), 0u);
  EXPECT_EQ(reg::SetValue(gone.get(), u"v", reg::kBinary, &byte, 1), 1018u);
  EXPECT_EQ(reg::CloseKey(0x12345), 6u);
}

// Paths longer than one statement resolves at once, every level matched
// without case, names outside ASCII (a lone surrogate included, which the
// registry hands to SQLite as UTF-16), and which error a miss gives.
TEST_F(RegistryPlatform, DeepPathsResolveLevelByLevel) {
  const std::u16string names[] = {u"Ab", u"Été", u"Σοφία", u"Жук", u"鍵", u"x\xD800y", u"\xD83D\xDE00", u"z"};
  std::u16string created, asked;
  for (int level = 0; level < 19; ++level) {
    const std::u16string& name = names[level % 8];
    created += (level ? u"\\" : u"") + name;
    asked += (level ? u"\\" : u"") + reg::FoldName(name);
  }
  MakeKey(reg::kCurrentUser, created);
  reg::KeyHolder k;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, asked, reg::kAllAccess, k.out()), 0u);
  const uint8_t byte = 3;
  ASSERT_EQ(reg::SetValue(k.get(), u"v", reg::kBinary, &byte, 1), 0u);
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, created, u"V").data, Bytes{3});
  // Every prefix is a key of its own, and a path one level too deep is not.
  for (size_t at = created.find(u'\\'); at != std::u16string::npos; at = created.find(u'\\', at + 1))
    EXPECT_EQ(ReadRaw(reg::kCurrentUser, created.substr(0, at), u"v").rc, 2u) << at;  // key there, value not
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, created + u"\\Deeper", u"v").rc, 2u);
  std::u16string wrongMiddle = created;
  wrongMiddle[wrongMiddle.find(u"Жук")] = u'Ч';
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, wrongMiddle, u"v").rc, 2u);

  // Below a handle whose key was deleted: 1018 whether the sub-key path is
  // empty or not, 2 below a live one.
  MakeKey(reg::kCurrentUser, u"Gone");
  reg::KeyHolder gone;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Gone", reg::kAllAccess, gone.out()), 0u);
  reg::KeyHolder sub;
  EXPECT_EQ(reg::OpenKey(gone.get(), u"Missing", reg::kRead, sub.out()), 2u);
  ASSERT_EQ(reg::DeleteKey(reg::kCurrentUser, u"Gone"), 0u);
  EXPECT_EQ(reg::OpenKey(gone.get(), u"Missing", reg::kRead, sub.out()), 1018u);
  EXPECT_EQ(reg::OpenKey(gone.get(), u"", reg::kRead, sub.out()), 1018u);
}

// Keys and values another connection stored, letting SQLite convert the
// UTF-16 names itself, are found by name in any case: the registry's own
// conversion of names must give the same bytes.
TEST_F(RegistryPlatform, FindsWhatAnotherConnectionStored) {
  MakeKey(reg::kCurrentUser, u"Shared");  // creates the database
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open_v2((dir_ + "/registry.db").c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  sqlite3_busy_timeout(db, 30000);
  auto insert = [&](const char* sql, std::initializer_list<std::u16string_view> texts) {
    sqlite3_stmt* s = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, sql, -1, &s, nullptr), SQLITE_OK);
    int i = 0;
    for (auto t : texts) sqlite3_bind_text16(s, ++i, t.data(), static_cast<int>(t.size() * 2), SQLITE_TRANSIENT);
    EXPECT_EQ(sqlite3_step(s), SQLITE_DONE);
    sqlite3_finalize(s);
  };
  // A name the registry converts itself, then one it leaves to SQLite.
  const std::u16string key = u"Ключ-σ-é-鍵", inner = u"x\xDBFF";
  insert("INSERT INTO keys(parent, name, fold) SELECT id, ?1, ?2 FROM keys WHERE parent=2 AND fold='SHARED'",
         {key, reg::FoldName(key)});
  insert("INSERT INTO keys(parent, name, fold) SELECT id, ?1, ?2 FROM keys WHERE fold=?3",
         {inner, reg::FoldName(inner), reg::FoldName(key)});
  for (auto parent : {key, inner})
    insert("INSERT INTO vals(key, name, fold, type, data) SELECT id, ?1, ?2, 3, x'2A' FROM keys WHERE fold=?3",
           {u"Zähler-値", reg::FoldName(u"Zähler-値"), reg::FoldName(parent)});
  sqlite3_close_v2(db);
  for (std::u16string_view path : {u"shared\\ключ-Σ-É-鍵", u"shared\\ключ-Σ-É-鍵\\X\xDBFF"}) {
    const auto read = ReadRaw(reg::kCurrentUser, path, u"ZÄHLER-値");
    EXPECT_EQ(read.rc, 0u) << Utf8(path);
    EXPECT_EQ(read.data, Bytes{0x2A}) << Utf8(path);
  }
}

class RegistryFunctions : public FreshDevice {
 protected:
  void SetUp() override {
    FreshDevice::SetUp();
    MakeKey(reg::kCurrentUser, u"Software\\T");
  }
  static constexpr std::u16string_view kKey = u"HKEY_CURRENT_USER\\Software\\T";
};

TEST_F(RegistryFunctions, EachWriteSyntaxStoresItsTypeAndBytes) {
  using registry::SetValue;
  using registry::SetValueAt;
  // Syntax 1 by name: terminator included; syntax 6 by index: not.
  ASSERT_TRUE(SetValue(ctx_, kKey, u"s", reg::kSz, registry::TextBytes(u"ab", true)));
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, u"Software\\T", u"s").data, (Bytes{'a', 0, 'b', 0, 0, 0}));
  ASSERT_TRUE(SetValueAt(ctx_, kKey, 1, reg::kSz, registry::TextBytes(u"ab", false)));
  Raw s = ReadRaw(reg::kCurrentUser, u"Software\\T", u"s");
  EXPECT_EQ(s.type, reg::kSz);
  EXPECT_EQ(s.data, (Bytes{'a', 0, 'b', 0}));

  ASSERT_TRUE(SetValue(ctx_, kKey, u"d", reg::kDword, registry::DwordBytes(-2)));
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, u"Software\\T", u"d").data, (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  ASSERT_TRUE(SetValue(ctx_, kKey, u"r", reg::kBinary, registry::RealBytes(1.5)));
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, u"Software\\T", u"r").data, (Bytes{0, 0, 0, 0, 0, 0, 0xF8, 0x3F}));
  ASSERT_TRUE(SetValue(ctx_, kKey, u"c", reg::kBinary, registry::CurrencyBytes(0x0102030405060708, -2)));
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, u"Software\\T", u"c").data,
            (Bytes{8, 7, 6, 5, 4, 3, 2, 1, 0xFE, 0xFF}));
  // Syntax 5 with a size of 0, and a refusal when the address cannot be read.
  ASSERT_TRUE(registry::SetMemory(ctx_, kKey, u"m", 0, 0));
  Raw m = ReadRaw(reg::kCurrentUser, u"Software\\T", u"m");
  EXPECT_EQ(m.type, reg::kBinary);
  EXPECT_TRUE(m.data.empty());
  EXPECT_FALSE(registry::SetMemory(ctx_, kKey, u"m", 0, 16));
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotWrite);
  ctx_.clearError();

  // By index: the second value in creation order is "d".
  ASSERT_TRUE(SetValueAt(ctx_, kKey, 2, reg::kDword, registry::DwordBytes(1)));
  EXPECT_EQ(ReadRaw(reg::kCurrentUser, u"Software\\T", u"d").data, (Bytes{1, 0, 0, 0}));
  EXPECT_FALSE(SetValueAt(ctx_, kKey, 99, reg::kDword, registry::DwordBytes(1)));
  EXPECT_FALSE(ctx_.hasError());  // no value at that index: no report

  // A missing key is not created: 80293 with the platform's text.
  EXPECT_FALSE(SetValue(ctx_, u"HKEY_CURRENT_USER\\Nope", u"x", reg::kDword, registry::DwordBytes(1)));
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotWrite);
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  EXPECT_FALSE(SetValue(ctx_, u"", u"x", reg::kDword, registry::DwordBytes(1)));
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(RegistryFunctions, TypedWritesConvertTheValue) {
  struct Case {
    Value value;
    std::u16string_view typeName;
    uint32_t type;
    Bytes bytes;
  } cases[] = {
      {Value{std::u16string(u"305419896")}, u"reg_dword", reg::kDword, {0x78, 0x56, 0x34, 0x12}},
      // Half-words exchanged, not bytes.
      {Value{int32_t{0x12345678}}, u"REG_DWORD_BIG_ENDIAN", reg::kDwordBigEndian, {0x34, 0x12, 0x78, 0x56}},
      {Value{int32_t{42}}, u"REG_SZ", reg::kSz, {'4', 0, '2', 0, 0, 0}},
      {Value{std::u16string(u"%P%")}, u"REG_EXPAND_SZ", reg::kExpandSz, {'%', 0, 'P', 0, '%', 0, 0, 0}},
      {Value{std::u16string(u"a\0b", 3)}, u"REG_MULTI_SZ", reg::kMultiSz, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
      {Value{int64_t{-1}}, u"REG_QWORD", reg::kQword, Bytes(8, 0xFF)},
      {Value{Bytes{9, 8, 7}}, u"REG_BINARY", reg::kBinary, {9, 8, 7}},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(registry::SetTypedValue(ctx_, kKey, u"v", c.value, c.typeName)) << Utf8(c.typeName);
    const Raw raw = ReadRaw(reg::kCurrentUser, u"Software\\T", u"v");
    EXPECT_EQ(raw.type, c.type) << Utf8(c.typeName);
    EXPECT_EQ(raw.data, c.bytes) << Utf8(c.typeName);
  }
  EXPECT_FALSE(registry::SetTypedValue(ctx_, kKey, u"v", Value{int32_t{1}}, u"REG_LINK"));
  EXPECT_EQ(ctx_.errorId(), registry::kErrUnknownType);
}

TEST_F(RegistryFunctions, ReadsBuildTheValueFromTheType) {
  using registry::QueryValue;
  bool ok = true;
  EXPECT_EQ(QueryValue(ctx_, u"", u"", &ok), Value{std::u16string()});
  // The default value of an existing key: an empty text, and a success.
  EXPECT_EQ(QueryValue(ctx_, kKey, u"", &ok), Value{std::u16string()});
  EXPECT_TRUE(ok);
  EXPECT_EQ(QueryValue(ctx_, kKey, u"missing", &ok), Value{std::u16string()});
  EXPECT_FALSE(ok);
  EXPECT_EQ(QueryValue(ctx_, u"HKEY_CURRENT_CONFIG\\X", u"", &ok), Value{std::u16string()});
  EXPECT_FALSE(ok);

  reg::KeyHolder k;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Software\\T", reg::kAllAccess, k.out()), 0u);
  auto put = [&](std::u16string_view name, uint32_t type, Bytes data) {
    ASSERT_EQ(reg::SetValue(k.get(), name, type, data.data(), static_cast<uint32_t>(data.size())), 0u);
  };
  put(u"text", reg::kSz, {'h', 0, 'i', 0});  // stored without terminator
  put(u"big", reg::kDwordBigEndian, {0x78, 0x56, 0x34, 0x12});
  put(u"expand", reg::kExpandSz, {'x', 0, 0, 0});
  put(u"q", reg::kQword, {1, 0, 0, 0, 0, 0, 0, 0x80});
  put(u"link", 6, {1, 2});
  put(u"odd", 9, {1, 2});
  EXPECT_EQ(QueryValue(ctx_, kKey, u"TEXT", &ok), Value{std::u16string(u"hi")});
  EXPECT_TRUE(ok);
  EXPECT_EQ(QueryValue(ctx_, kKey, u"big"), Value{int32_t{0x56781234}});
  EXPECT_EQ(QueryValue(ctx_, kKey, u"expand"), (Value{Bytes{'x', 0, 0, 0}}));  // raw bytes, kept on purpose
  EXPECT_EQ(QueryValue(ctx_, kKey, u"q"), Value{int64_t{INT64_MIN + 1}});
  EXPECT_EQ(QueryValue(ctx_, kKey, u"link"), Value{std::u16string()});
  EXPECT_EQ(QueryValue(ctx_, kKey, u"odd"), Value{});
  // By index, in creation order; 0 is the default value.
  EXPECT_EQ(registry::QueryValueAt(ctx_, kKey, 2, &ok), Value{int32_t{0x56781234}});
  EXPECT_TRUE(ok);
  EXPECT_EQ(registry::QueryValueAt(ctx_, kKey, 7, &ok), Value{std::u16string()});
  EXPECT_FALSE(ok);
  registry::QueryValueAt(ctx_, kKey, 0, &ok);
  EXPECT_TRUE(ok);

  EXPECT_EQ(registry::ValueType(ctx_, kKey, u"big"), u"REG_DWORD_BIG_ENDIAN");
  EXPECT_EQ(registry::ValueTypeAt(ctx_, kKey, 3), u"REG_EXPAND_SZ");
  EXPECT_EQ(registry::ValueType(ctx_, kKey, u"link"), u"");
  EXPECT_EQ(registry::ValueType(ctx_, kKey, u"missing"), u"");
  EXPECT_EQ(registry::ListValues(ctx_, kKey, true), u"text\tT\r\nbig\tN\r\nexpand\tT\r\nq\tB\r\nlink\tB\r\nodd\tB");
  EXPECT_EQ(registry::ListValues(ctx_, kKey, false), u"text\r\nbig\r\nexpand\r\nq\r\nlink\r\nodd");
  EXPECT_EQ(registry::ListValues(ctx_, u"HKEY_CURRENT_USER\\Software", true), u"");
  EXPECT_FALSE(ctx_.hasError());  // reads never report
}

TEST_F(RegistryFunctions, EnumerationCreationExistenceAndDeletion) {
  EXPECT_TRUE(registry::CreateKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\b"));
  EXPECT_TRUE(registry::CreateKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\A\\deep\\er"));
  EXPECT_TRUE(registry::CreateKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\c\\"));
  EXPECT_FALSE(registry::CreateKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\B"));  // exists
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_FALSE(registry::CreateKey(ctx_, u"HKEY_CURRENT_CONFIG\\X"));
  EXPECT_EQ(ctx_.errorId(), registry::kErrCannotCreate);
  ctx_.clearError();

  std::vector<std::u16string> walk;
  for (auto k = registry::FirstSubKey(ctx_, kKey); !k.empty(); k = registry::NextKey(ctx_, k)) walk.push_back(k);
  EXPECT_EQ(walk, (std::vector<std::u16string>{u"HKEY_CURRENT_USER\\Software\\T\\A",
                                               u"HKEY_CURRENT_USER\\Software\\T\\b",
                                               u"HKEY_CURRENT_USER\\Software\\T\\c"}));
  EXPECT_EQ(registry::FirstSubKey(ctx_, u"HKEY_CURRENT_USER"), u"HKEY_CURRENT_USER\\Software");
  EXPECT_EQ(registry::NextKey(ctx_, u"HKEY_CURRENT_USER\\Software"), u"");
  EXPECT_EQ(registry::NextKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\a"), u"");  // case-sensitive
  EXPECT_EQ(registry::FirstSubKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\c"), u"");
  EXPECT_EQ(registry::FirstSubKey(ctx_, {}), u"");  // the classes root is empty

  EXPECT_TRUE(registry::KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\A\\DEEP"));
  EXPECT_TRUE(registry::ValueExists(ctx_, kKey, u""));
  EXPECT_FALSE(registry::ValueExists(ctx_, kKey, u"v"));
  EXPECT_TRUE(registry::SetValue(ctx_, kKey, u"v", reg::kDword, registry::DwordBytes(1)));
  EXPECT_TRUE(registry::ValueExists(ctx_, kKey, u"V"));
  EXPECT_TRUE(registry::ValueExistsAt(ctx_, kKey, 1));
  EXPECT_FALSE(registry::ValueExistsAt(ctx_, kKey, 2));
  EXPECT_FALSE(registry::KeyExists(ctx_, u""));

  EXPECT_TRUE(registry::DeleteValue(ctx_, kKey, u"v"));
  EXPECT_FALSE(registry::ValueExists(ctx_, kKey, u"v"));
  EXPECT_TRUE(registry::DeleteValue(ctx_, kKey, u"v"));  // missing: still a success
  EXPECT_FALSE(registry::DeleteValue(ctx_, kKey, u""));

  EXPECT_TRUE(registry::DeleteKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\A"));  // depth-first
  EXPECT_FALSE(registry::KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\A"));
  EXPECT_TRUE(registry::KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\b"));
  EXPECT_TRUE(registry::DeleteKey(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\A"));  // missing: True
  EXPECT_FALSE(registry::DeleteKey(ctx_, u""));
  EXPECT_EQ(ctx_.errorId(), registry::kErrEmptyKey);
}

// The search visits every match of a generated tree exactly once when each
// call is given the previous result.
TEST_F(RegistryFunctions, SeekResumesThroughEveryMatchOnce) {
  std::mt19937 random(7);
  std::set<std::u16string> expected;  // "key\tname" for sub-keys, "key\t\tvalue" for values
  std::vector<std::u16string> keys{u"Software\\T"};
  const char16_t* words[] = {u"alpha", u"Foo", u"barfoo", u"foobar", u"x", u"food", u"zed"};
  for (int i = 0; i < 60; ++i) {
    const std::u16string parent = keys[random() % keys.size()];
    const std::u16string name = std::u16string(words[random() % 7]) + Ascii(std::to_string(i));
    MakeKey(reg::kCurrentUser, parent + u"\\" + name);
    keys.push_back(parent + u"\\" + name);
    if (HasFoo(name))
      expected.insert(u"HKEY_CURRENT_USER\\" + parent + u"\t" + name);
  }
  for (int i = 0; i < 80; ++i) {
    const std::u16string key = keys[random() % keys.size()];
    const std::u16string name = std::u16string(words[random() % 7]) + Ascii(std::to_string(i));
    const std::u16string content = words[random() % 7];
    reg::KeyHolder k;
    ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, key, reg::kSetValue, k.out()), 0u);
    const Bytes data = registry::TextBytes(content, true);
    ASSERT_EQ(reg::SetValue(k.get(), name, reg::kSz, data.data(), static_cast<uint32_t>(data.size())), 0u);
    if (HasFoo(name) || HasFoo(content))
      expected.insert(u"HKEY_CURRENT_USER\\" + key + u"\t\t" + name);
  }
  ASSERT_GT(expected.size(), 20u);
  std::multiset<std::u16string> seen;
  std::u16string at = u"HKEY_CURRENT_USER\\Software\\T";
  for (int guard = 0; guard < 1000; ++guard) {
    at = registry::Seek(ctx_, at, u"FOO");
    if (at.empty()) break;
    // Drop the value's text: the position is the key and the name.
    const size_t third = at.find(u'\t', at.find(u"\t\t") == std::u16string::npos ? at.size() : at.find(u"\t\t") + 2);
    seen.insert(third == std::u16string::npos ? at : at.substr(0, third));
  }
  EXPECT_EQ(seen.size(), expected.size());
  EXPECT_EQ(std::set<std::u16string>(seen.begin(), seen.end()), expected);
}

TEST_F(RegistryFunctions, SeekOptions) {
  MakeKey(reg::kCurrentUser, u"Software\\T\\Sub\\Inner");
  reg::KeyHolder k;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Software\\T\\Sub", reg::kSetValue, k.out()), 0u);
  const Bytes data = registry::TextBytes(u"say\tinner one", true);
  ASSERT_EQ(reg::SetValue(k.get(), u"v", reg::kSz, data.data(), static_cast<uint32_t>(data.size())), 0u);
  // Values of the sub-key come before its own sub-keys; the text keeps its tab.
  EXPECT_EQ(registry::Seek(ctx_, kKey, u"inner"), u"HKEY_CURRENT_USER\\Software\\T\\Sub\t\tv\tsay\tinner one");
  EXPECT_EQ(registry::Seek(ctx_, u"HKEY_CURRENT_USER\\Software\\T\\Sub\t\tv\tsay\tinner one", u"inner"),
            u"HKEY_CURRENT_USER\\Software\\T\\Sub\tInner");
  // Sub-key names only, and no descent: nothing below the first level.
  EXPECT_EQ(registry::Seek(ctx_, kKey, u"inner", registry::kSeekSubKeyNames), u"");
  EXPECT_EQ(registry::Seek(ctx_, kKey, u"inner", registry::kSeekSubKeyNames | registry::kSeekDescend),
            u"HKEY_CURRENT_USER\\Software\\T\\Sub\tInner");
  // Whole word: "inn" touches a letter.
  EXPECT_EQ(registry::Seek(ctx_, kKey, u"inn", 15 | registry::kSeekWholeWord), u"");
  EXPECT_EQ(registry::Seek(ctx_, kKey, u"ONE", 15 | registry::kSeekWholeWord),
            u"HKEY_CURRENT_USER\\Software\\T\\Sub\t\tv\tsay\tinner one");
  EXPECT_EQ(registry::Seek(ctx_, u"HKEY_CURRENT_USER\\Nope", u"x"), u"");
}

// Two processes writing the same key at the same time lose nothing.
TEST_F(RegistryFunctions, TwoProcessesWriteAtOnce) {
  constexpr int kEach = 150;
  auto writeMany = [](char16_t tag) {
    FakeContext c;
    int failures = 0;
    for (int i = 0; i < kEach; ++i) {
      const std::u16string name = std::u16string(1, tag) + Ascii(std::to_string(i));
      if (!registry::SetValue(c, kKey, name, reg::kDword, registry::DwordBytes(i))) ++failures;
    }
    return failures;
  };
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(writeMany(u'c') == 0 ? 0 : 1);
  EXPECT_EQ(writeMany(u'p'), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  reg::KeyHolder k;
  reg::KeyInfo info;
  ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Software\\T", reg::kRead, k.out()), 0u);
  ASSERT_EQ(reg::QueryInfoKey(k.get(), &info), 0u);
  EXPECT_EQ(info.values, 2u * kEach);
  for (int i = 0; i < kEach; i += 37) {
    EXPECT_EQ(registry::QueryValue(ctx_, kKey, u"c" + Ascii(std::to_string(i))), Value{int32_t{i}});
  }
}

}  // namespace
}  // namespace kp::test
