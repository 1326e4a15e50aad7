// Walks over a whole key: the seam's one-read enumeration agrees with the
// index calls, and the family's listing, search, sub-key walk and tree
// deletion give every entry of a big key, in order, with its content.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "registry/registry.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

namespace reg = platform::reg;

std::u16string Ascii(const std::string& s) { return std::u16string(s.begin(), s.end()); }

std::vector<std::u16string> Lines(std::u16string_view text) {
  std::vector<std::u16string> out;
  if (text.empty()) return out;
  for (size_t at = 0;;) {
    const size_t end = text.find(u"\r\n", at);
    out.emplace_back(text.substr(at, end == std::u16string_view::npos ? std::u16string_view::npos : end - at));
    if (end == std::u16string_view::npos) return out;
    at = end + 2;
  }
}

void Set(reg::HKey key, std::u16string_view name, uint32_t type, const Bytes& data) {
  ASSERT_EQ(reg::SetValue(key, name, type, data.data(), static_cast<uint32_t>(data.size())), 0u) << Utf8(name);
}

struct Expected {
  std::u16string name;
  uint32_t type = 0;
  Bytes data;
};

class WholeKey : public FreshDevice {
 protected:
  static constexpr std::u16string_view kKey = u"HKEY_CURRENT_USER\\Big";
};

// Every entry the one-read calls give is the one the index calls give at the
// same index, from any start, with the same access checks and errors.
TEST_F(WholeKey, OneReadAgreesWithIndexEnumeration) {
  reg::KeyHolder k;
  ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"Big", reg::kAllAccess, k.out(), nullptr), 0u);
  // Created out of name order; a rewrite keeps its place and first case.
  for (std::u16string_view name : {u"zeta", u"Alpha", u"", u"mid", u"beta"})
    Set(k.get(), name, reg::kSz, registry::TextBytes(name, true));
  Set(k.get(), u"ALPHA", reg::kBinary, Bytes(3000, 7));
  for (std::u16string_view sub : {u"b", u"A", u"c", u"Ab", u"\u00e9t\u00e9"}) {
    reg::KeyHolder child;
    ASSERT_EQ(reg::CreateKey(k.get(), sub, reg::kAllAccess, child.out(), nullptr), 0u);
  }

  for (uint32_t from = 0; from <= 6; ++from) {
    std::vector<Expected> byIndex;
    for (uint32_t i = from;; ++i) {
      Expected e;
      uint32_t size = 0;
      if (reg::EnumValue(k.get(), i, &e.name, &e.type, nullptr, &size) != 0) break;
      e.data.resize(size);
      ASSERT_EQ(reg::EnumValue(k.get(), i, nullptr, nullptr, e.data.data(), &size), 0u);
      byIndex.push_back(e);
    }
    std::vector<Expected> visited;
    uint32_t next = from;
    ASSERT_EQ(
        reg::VisitValues(k.get(), from, true,
                         [&](const reg::ValueEntry& v) {
                           EXPECT_EQ(v.index, next++);
                           EXPECT_EQ(v.size, v.data.size());
                           visited.push_back({std::u16string(v.name), v.type, Bytes(v.data.begin(), v.data.end())});
                           return true;
                         }),
        0u);
    ASSERT_EQ(visited.size(), byIndex.size()) << from;
    for (size_t i = 0; i < visited.size(); ++i) {
      EXPECT_EQ(visited[i].name, byIndex[i].name);
      EXPECT_EQ(visited[i].type, byIndex[i].type);
      EXPECT_EQ(visited[i].data, byIndex[i].data);
    }

    std::vector<std::u16string> keysByIndex, keys;
    std::u16string name;
    for (uint32_t i = from; reg::EnumKey(k.get(), i, &name) == 0; ++i) keysByIndex.push_back(name);
    ASSERT_EQ(reg::EnumKeys(k.get(), from, &keys), 0u);
    EXPECT_EQ(keys, keysByIndex) << from;
  }
  std::vector<std::u16string> keys;
  ASSERT_EQ(reg::EnumKeys(k.get(), 0, &keys), 0u);
  EXPECT_EQ(keys, (std::vector<std::u16string>{u"A", u"Ab", u"b", u"c", u"\u00e9t\u00e9"}));

  // Without data: names, types and sizes only; a visit that says stop stops.
  std::vector<std::u16string> names;
  ASSERT_EQ(reg::VisitValues(k.get(), 0, false,
                             [&](const reg::ValueEntry& v) {
                               EXPECT_TRUE(v.data.empty());
                               if (v.name == u"Alpha") EXPECT_EQ(v.size, 3000u);
                               names.emplace_back(v.name);
                               return v.name != u"";
                             }),
            0u);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"zeta", u"Alpha", u""}));

  // A name too long for the buffer ends the list with 234, as EnumKey does.
  keys.clear();
  EXPECT_EQ(reg::EnumKeys(k.get(), 0, &keys, 3), 234u);
  EXPECT_EQ(keys, (std::vector<std::u16string>{u"A", u"Ab", u"b", u"c"}));

  // Access checks and a key deleted under an open handle.
  auto never = [](const reg::ValueEntry&) {
    ADD_FAILURE() << "visited";
    return false;
  };
  {
    reg::KeyHolder setOnly, enumOnly;
    ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Big", reg::kSetValue, setOnly.out()), 0u);
    ASSERT_EQ(reg::OpenKey(reg::kCurrentUser, u"Big", reg::kEnumerateSubKeys, enumOnly.out()), 0u);
    EXPECT_EQ(reg::VisitValues(setOnly.get(), 0, true, never), 5u);
    EXPECT_EQ(reg::EnumKeys(setOnly.get(), 0, &keys), 5u);
    EXPECT_EQ(reg::VisitValues(enumOnly.get(), 0, false, never), 5u);
    EXPECT_EQ(reg::VisitValues(0x1234, 0, false, never), 6u);
  }
  EXPECT_EQ(reg::VisitValues(k.get(), 6, true, never), 0u);  // past the last: nothing, no error
  reg::KeyHolder gone;
  ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"Gone", reg::kAllAccess, gone.out(), nullptr), 0u);
  ASSERT_EQ(reg::DeleteKey(reg::kCurrentUser, u"Gone"), 0u);
  EXPECT_EQ(reg::VisitValues(gone.get(), 0, true, never), 1018u);
  keys.clear();
  EXPECT_EQ(reg::EnumKeys(gone.get(), 0, &keys), 1018u);
  EXPECT_TRUE(keys.empty());
}

// A database made before values had their order index: the registry adds
// the index when it opens it, and the values still list in creation order.
TEST_F(WholeKey, DatabaseWithoutTheOrderIndexIsUpgraded) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir_ + "/registry.db").c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db,
                         "CREATE TABLE keys(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name TEXT NOT NULL,"
                         " fold TEXT NOT NULL, UNIQUE(parent, fold));"
                         "CREATE TABLE vals(key INTEGER NOT NULL, name TEXT NOT NULL, fold TEXT NOT NULL,"
                         " type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, fold));"
                         "INSERT INTO keys VALUES(2, 0, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER');"
                         "INSERT INTO keys VALUES(10, 2, 'Big', 'BIG');"
                         "INSERT INTO vals VALUES(10, 'b', 'B', 4, x'01000000');"
                         "INSERT INTO vals VALUES(10, 'C', 'C', 1, x'7800');"
                         "INSERT INTO vals VALUES(10, 'a', 'A', 3, x'00');",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  EXPECT_EQ(registry::ListValues(ctx_, kKey, true), u"b\tN\r\nC\tT\r\na\tB");
  ASSERT_EQ(sqlite3_open((dir_ + "/registry.db").c_str(), &db), SQLITE_OK);
  sqlite3_stmt* s = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db,
                               "SELECT 1 FROM sqlite_master WHERE type='index' AND tbl_name='vals'"
                               " AND sql LIKE '%(key)'",
                               -1, &s, nullptr),
            SQLITE_OK);
  EXPECT_EQ(sqlite3_step(s), SQLITE_ROW);
  sqlite3_finalize(s);
  sqlite3_close(db);
}

// A key of 10,000 values: the listing names every one, in creation order,
// with its type letter; the search finds the matches among them, each once,
// in order, with their texts.
TEST_F(WholeKey, TenThousandValuesListAndSearch) {
  constexpr int kValues = 10000;
  std::vector<int> order(kValues);
  for (int i = 0; i < kValues; ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(11));
  std::vector<std::u16string> listing;
  std::vector<std::u16string> matches;
  {
    reg::KeyHolder k;
    ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"Big", reg::kAllAccess, k.out(), nullptr), 0u);
    for (int n : order) {
      const std::u16string name = u"v" + Ascii(std::to_string(n));
      // Every 397th value holds the searched word in its text.
      const bool marked = n % 397 == 0;
      const std::u16string text = marked ? u"a Needle " + Ascii(std::to_string(n)) : u"hay " + name;
      switch (n % 3) {
        case 0: Set(k.get(), name, reg::kSz, registry::TextBytes(text, true)); break;
        case 1: Set(k.get(), name, reg::kDword, registry::DwordBytes(n)); break;
        default: Set(k.get(), name, reg::kBinary, Bytes{1, 2, 3}); break;
      }
      if (HasFatalFailure()) return;
      listing.push_back(name + u"\t" + (n % 3 == 0 ? u"T" : n % 3 == 1 ? u"N" : u"B"));
      if (marked && n % 3 == 0) matches.push_back(std::u16string(kKey) + u"\t\t" + name + u"\t" + text);
    }
  }
  ASSERT_GT(matches.size(), 5u);

  EXPECT_EQ(Lines(registry::ListValues(ctx_, kKey, true)), listing);
  std::vector<std::u16string> plain = Lines(registry::ListValues(ctx_, kKey, false));
  ASSERT_EQ(plain.size(), listing.size());
  for (size_t i = 0; i < plain.size(); ++i) ASSERT_EQ(plain[i] + listing[i].substr(plain[i].size()), listing[i]);

  // Search and resume through every match; the last value found by name.
  std::vector<std::u16string> found;
  for (std::u16string at(kKey); found.size() <= matches.size();) {
    at = registry::Seek(ctx_, at, u"needle", registry::kSeekValueContents);
    if (at.empty()) break;
    found.push_back(at);
  }
  EXPECT_EQ(found, matches);
  const std::u16string last = u"v" + Ascii(std::to_string(order.back()));
  const std::u16string byName = registry::Seek(ctx_, kKey, last, registry::kSeekValueNames | registry::kSeekWholeWord);
  EXPECT_EQ(byName.substr(0, byName.find(u'\t', kKey.size() + 2)), std::u16string(kKey) + u"\t\t" + last);
}

// Sub-keys: the stateless first/next walk, the search by sub-key name and
// the deletion of the tree each see every sub-key once, in folded-name order.
TEST_F(WholeKey, ManySubKeysWalkSearchAndDelete) {
  constexpr int kKeys = 400;
  std::vector<std::u16string> names;
  {
    reg::KeyHolder k;
    ASSERT_EQ(reg::CreateKey(reg::kCurrentUser, u"Big", reg::kAllAccess, k.out(), nullptr), 0u);
    for (int i = kKeys - 1; i >= 0; --i) {
      char buffer[16];
      std::snprintf(buffer, sizeof buffer, i % 2 ? "k%04d" : "K%04dx", i);
      names.push_back(Ascii(buffer));
      reg::KeyHolder child;
      ASSERT_EQ(reg::CreateKey(k.get(), names.back() + u"\\leaf", reg::kAllAccess, child.out(), nullptr), 0u);
      Set(child.get(), u"v", reg::kDword, registry::DwordBytes(i));
    }
  }
  std::sort(names.begin(), names.end(),
            [](const auto& a, const auto& b) { return reg::FoldName(a) < reg::FoldName(b); });

  std::vector<std::u16string> walk;
  for (auto at = registry::FirstSubKey(ctx_, kKey); !at.empty() && walk.size() <= names.size();
       at = registry::NextKey(ctx_, at))
    walk.push_back(at);
  ASSERT_EQ(walk.size(), names.size());
  for (size_t i = 0; i < names.size(); ++i) EXPECT_EQ(walk[i], std::u16string(kKey) + u"\\" + names[i]);

  // "X" is only in the upper-case names: each of them once, in order.
  std::vector<std::u16string> found, expected;
  for (const auto& n : names)
    if (n.back() == u'x') expected.push_back(std::u16string(kKey) + u"\t" + n);
  for (std::u16string at(kKey); found.size() <= expected.size();) {
    at = registry::Seek(ctx_, at, u"x", registry::kSeekSubKeyNames | registry::kSeekDescend);
    if (at.empty()) break;
    found.push_back(at);
  }
  EXPECT_EQ(found, expected);

  EXPECT_TRUE(registry::DeleteKey(ctx_, kKey));
  EXPECT_FALSE(registry::KeyExists(ctx_, kKey));
  EXPECT_EQ(registry::FirstSubKey(ctx_, u"HKEY_CURRENT_USER"), u"");
}

}  // namespace
}  // namespace kp::test
