// The error identifier names against gstErrorDef and the message texts: one
// name per row and one row per name, and a text in both languages for every
// row that has one.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "abi/error_ids.h"
#include "abi/error_table.h"
#include "abi/message_block.h"
#include "abi/message_texts.h"

namespace kp {
namespace {

const MessageDefinition* FindText(uint32_t number) {
  for (const auto& m : kMessageTexts)
    if (m.number == number) return &m;
  return nullptr;
}

TEST(ErrorIds, NamesAndNumbersAreUnique) {
  std::set<int32_t> ids;
  std::set<std::string_view> names;
  for (const auto& e : kNamedErrorIds) {
    EXPECT_TRUE(ids.insert(e.id).second) << "number named twice: " << e.id << " " << e.name;
    EXPECT_TRUE(names.insert(e.name).second) << "name used twice: " << e.name;
    EXPECT_TRUE(std::string_view(e.name).starts_with("kErr")) << e.name;
  }
}

TEST(ErrorIds, EveryNameHasExactlyOneRow) {
  for (const auto& e : kNamedErrorIds) {
    const auto rows = std::count_if(std::begin(gstErrorDef), std::end(gstErrorDef),
                                    [&](const auto& row) { return row[kErrorId] == static_cast<uint32_t>(e.id); });
    EXPECT_EQ(rows, 1) << e.name << " = " << e.id;
  }
}

TEST(ErrorIds, EveryRowHasAName) {
  std::set<uint32_t> named;
  for (const auto& e : kNamedErrorIds) named.insert(static_cast<uint32_t>(e.id));
  std::set<uint32_t> rows;
  for (const auto& row : gstErrorDef) {
    rows.insert(row[kErrorId]);
    EXPECT_TRUE(named.count(row[kErrorId])) << "row without a name: " << row[kErrorId];
  }
  EXPECT_EQ(named, rows);
  EXPECT_EQ(std::size(kNamedErrorIds), static_cast<size_t>(kErrorDefRows));
}

// A name that calls an identifier reserved must be one whose row carries the
// shared "reserved" text, and the other way round: otherwise a name promises
// a meaning the text does not give, or hides one it does.
TEST(ErrorIds, ReservedNamesMatchTheReservedText) {
  for (const auto& e : kNamedErrorIds) {
    const uint32_t* row = FindErrorDef(e.id);
    ASSERT_NE(row, nullptr) << e.name;
    const bool reservedName = std::string_view(e.name).starts_with("kErrReserved");
    EXPECT_EQ(reservedName, row[kErrorText] == kReservedErrorText) << e.name;
    if (reservedName) {
      EXPECT_EQ(std::string(e.name), "kErrReserved" + std::to_string(e.id));
    }
  }
}

// Every message number the table gives has a French and an English text,
// both in the source table and in the coded block. Only the internal
// consistency form is the same in both languages (a null English text); a
// row gaining another language-neutral text is a slip.
TEST(ErrorIds, EveryRowTextExistsInBothLanguages) {
  std::set<uint32_t> neutral;
  for (const auto& row : gstErrorDef) {
    const uint32_t number = row[kErrorText];
    if (number == 0) continue;
    SCOPED_TRACE("error " + std::to_string(row[kErrorId]) + ", text " + std::to_string(number));
    const MessageDefinition* text = FindText(number);
    ASSERT_NE(text, nullptr);
    ASSERT_NE(text->french, nullptr);
    EXPECT_NE(text->french[0], u8'\0');
    if (text->english == nullptr) {
      neutral.insert(number);
    } else {
      EXPECT_NE(text->english[0], u8'\0');
    }
    const auto french = BlockMessageText(number, true);
    const auto english = BlockMessageText(number, false);
    ASSERT_TRUE(french.has_value());
    ASSERT_TRUE(english.has_value());
    EXPECT_FALSE(french->empty());
    EXPECT_FALSE(english->empty());
  }
  EXPECT_EQ(neutral, std::set<uint32_t>{kInternalFormText});
}

// The rows without any text are the two the table has always had so.
TEST(ErrorIds, OnlyTheFirstTwoRowsHaveNoText) {
  std::set<int32_t> untexted;
  for (const auto& row : gstErrorDef)
    if (row[kErrorText] == 0) untexted.insert(static_cast<int32_t>(row[kErrorId]));
  EXPECT_EQ(untexted, (std::set<int32_t>{kErrNoText1, kErrNoText2}));
}

}  // namespace
}  // namespace kp
