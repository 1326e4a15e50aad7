// TableVersTexte over a stand-in VM services object holding one table: the
// layout, the column lists, the options, large and hostile tables.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "numbers/table_export.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;
using kp::test::FakeContext;

struct FakeTable {
  std::u16string name = u"Clients";
  std::vector<std::u16string> titles;
  std::vector<std::vector<std::u16string>> rows;
  int64_t calls = 0;
};
FakeTable* gTable = nullptr;

bool Named(const kl_char* name) { return name && gTable && std::u16string_view(name) == gTable->name; }

int32_t Copy(const std::u16string& text, kl_char* buffer, uint32_t capacity) {
  const size_t n = std::min<size_t>(text.size(), capacity - 1);
  std::memcpy(buffer, text.data(), n * sizeof(kl_char));
  buffer[n] = 0;
  return static_cast<int32_t>(text.size());
}

int32_t KL_CALL Columns(KLVMServices*, const kl_char* name) {
  return Named(name) ? static_cast<int32_t>(gTable->titles.size()) : -1;
}
int32_t KL_CALL Rows(KLVMServices*, const kl_char* name) {
  return Named(name) ? static_cast<int32_t>(gTable->rows.size()) : -1;
}
int32_t KL_CALL Title(KLVMServices*, const kl_char* name, int32_t column, kl_char* buffer, uint32_t capacity) {
  ++gTable->calls;
  if (!Named(name) || column < 0 || column >= static_cast<int32_t>(gTable->titles.size())) return -1;
  return Copy(gTable->titles[column], buffer, capacity);
}
int32_t KL_CALL Cell(KLVMServices*, const kl_char* name, int32_t row, int32_t column, kl_char* buffer,
                     uint32_t capacity) {
  ++gTable->calls;
  if (!Named(name) || row < 0 || row >= static_cast<int32_t>(gTable->rows.size()) || column < 0 ||
      column >= static_cast<int32_t>(gTable->titles.size()))
    return -1;
  return Copy(gTable->rows[row][column], buffer, capacity);
}

const KLVMServicesOps kOps{nullptr, nullptr, nullptr, &Columns, &Title, &Rows, &Cell};

class TableExport : public ::testing::Test {
 protected:
  void SetUp() override {
    table_.titles = {u"Nom", u"Ville", u"Solde"};
    table_.rows = {{u"Durand", u"Lyon", u"12.50"}, {u"Martin", u"Brest", u"-3"}, {u"Petit", u"", u"0"}};
    gTable = &table_;
    ctx_.get()->services = &services_;
  }
  void TearDown() override { gTable = nullptr; }

  FakeTable table_;
  KLVMServices services_{&kOps};
  FakeContext ctx_;
};

TEST_F(TableExport, TitlesThenRowsTabsAndCrLfWithoutTrailingSeparator) {
  EXPECT_EQ(TableToText(ctx_, u"Clients"),
            u"Nom\tVille\tSolde\r\nDurand\tLyon\t12.50\r\nMartin\tBrest\t-3\r\nPetit\t\t0");
  EXPECT_EQ(TableToTextOptions(ctx_, u"Clients", 0), u"Durand\tLyon\t12.50\r\nMartin\tBrest\t-3\r\nPetit\t\t0");
  EXPECT_EQ(TableToTextOptions(ctx_, u"Clients", kTableWithTitles), TableToText(ctx_, u"Clients"));
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(TableExport, ColumnListsAndSeparators) {
  EXPECT_EQ(TableToTextColumns(ctx_, u"Clients", u"3, 1"), u"Solde\tNom\r\n12.50\tDurand\r\n-3\tMartin\r\n0\tPetit");
  EXPECT_EQ(TableToTextOptionsColumns(ctx_, u"Clients", 0, u"2-3;1"),
            u"Lyon\t12.50\tDurand\r\nBrest\t-3\tMartin\r\n\t0\tPetit");
  EXPECT_EQ(TableToTextColumnsSeparator(ctx_, u"Clients", u"1,1", u";"),
            u"Nom;Nom\r\nDurand;Durand\r\nMartin;Martin\r\nPetit;Petit");
  EXPECT_EQ(TableToTextFull(ctx_, u"Clients", 0, u"  ", u" | "),
            u"Durand | Lyon | 12.50\r\nMartin | Brest | -3\r\nPetit |  | 0");
  // An empty separator is the tab.
  EXPECT_EQ(TableToTextFull(ctx_, u"Clients", 0, u"1-2", u""), u"Durand\tLyon\r\nMartin\tBrest\r\nPetit\t");
  EXPECT_FALSE(ctx_.hasError());

  std::vector<int32_t> columns;
  for (const char16_t* bad :
       {u"0", u"4", u"1,", u",1", u"a", u"1-", u"3-1", u"1 2", u"-1", u"+1", u"1..2", u"99999999999", u"1-99999"}) {
    EXPECT_FALSE(ParseColumnList(bad, 3, &columns)) << kp::test::Utf8(bad);
    ctx_.clearError();
    EXPECT_EQ(TableToTextColumns(ctx_, u"Clients", bad), u"") << kp::test::Utf8(bad);
    EXPECT_EQ(ctx_.errorId(), kp::kErrBadColumnList) << kp::test::Utf8(bad);
  }
  ASSERT_TRUE(ParseColumnList(u" 2 - 3 ; 1 ,2", 3, &columns));
  EXPECT_EQ(columns, (std::vector<int32_t>{2, 3, 1, 2}));
}

TEST_F(TableExport, CellsThatWouldBreakTheLayoutAndLongCells) {
  const std::u16string longCell(5000, u'x');
  table_.rows = {{u"a\tb", u"line1\r\nline2", longCell}};
  EXPECT_EQ(TableToTextOptions(ctx_, u"Clients", 0), u"a b\tline1  line2\t" + longCell);
}

TEST_F(TableExport, EmptyTables) {
  table_.rows.clear();
  EXPECT_EQ(TableToText(ctx_, u"Clients"), u"Nom\tVille\tSolde");
  EXPECT_EQ(TableToTextOptions(ctx_, u"Clients", 0), u"");
  table_.titles.clear();
  EXPECT_EQ(TableToText(ctx_, u"Clients"), u"");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(TableExport, HundredThousandRows) {
  table_.rows.clear();
  std::u16string expected = u"Nom\tVille\tSolde";
  for (int i = 0; i < 100000; ++i) {
    const std::string digits = std::to_string(i);
    const std::u16string n(digits.begin(), digits.end());
    table_.rows.push_back({u"n" + n, u"v", n});
    expected += u"\r\nn" + n + u"\tv\t" + n;
  }
  EXPECT_EQ(TableToText(ctx_, u"Clients"), expected);
  EXPECT_FALSE(ctx_.hasError());
  // One ask per cell: the buffer is kept from one cell to the next.
  EXPECT_EQ(table_.calls, 3 + 300000);
}

TEST_F(TableExport, FailuresGiveTheEmptyTextAndAnError) {
  EXPECT_EQ(TableToText(ctx_, u"Fournisseurs"), u"");
  EXPECT_EQ(ctx_.errorId(), kp::kErrUnknownTable);
  ctx_.clearError();
  EXPECT_EQ(TableToText(ctx_, u""), u"");
  EXPECT_EQ(ctx_.errorId(), kp::kErrUnknownTable);
  ctx_.clearError();
  for (int32_t options : {2, -1, 0x100}) {
    EXPECT_EQ(TableToTextOptions(ctx_, u"Clients", options), u"");
    EXPECT_EQ(ctx_.errorId(), kp::kErrBadTableOptions);
    ctx_.clearError();
  }
  // A VM without the table operations, or without a services object.
  const KLVMServicesOps partial{nullptr, nullptr, nullptr, &Columns, nullptr, &Rows, &Cell};
  KLVMServices withoutTitles{&partial};
  ctx_.get()->services = &withoutTitles;
  EXPECT_EQ(TableToText(ctx_, u"Clients"), u"");
  EXPECT_EQ(ctx_.errorId(), kp::kErrNoTableService);
  ctx_.clearError();
  ctx_.get()->services = nullptr;
  EXPECT_EQ(TableToText(ctx_, u"Clients"), u"");
  EXPECT_EQ(ctx_.errorId(), kp::kErrNoTableService);
}

}  // namespace
