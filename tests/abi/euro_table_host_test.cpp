// The euro family and TableVersTexte through the host: currency cells as
// the VM receives them, and tables a script builds read back by the library
// through the table operations of the VM services object.
#include "script_suite.h"

namespace {

using kphost::Library;
using kphost::Value;

class EuroTableHost : public kp::abi::TableScriptSuite {};

TEST_F(EuroTableHost, CurrencyCellsReachTheVm) {
  Value v = Run("eVersEuro(100, \"FRF\")");
  EXPECT_EQ(v.type, uint32_t{KL_T_CURRENCY});
  EXPECT_EQ(v.integer, 1524);
  EXPECT_EQ(v.scale, 2);
  EXPECT_EQ(kphost::Display(v), "15.24");
  EXPECT_EQ(kphost::Display(Run("eDifférenceArrondi()")), "-0.00490172");
  // A currency argument: the result of one conversion fed to the next. Two
  // steps round the euro amount to cents (511.29); eChangeDevise does not.
  EXPECT_EQ(kphost::Display(Run("eVersDevise(eVersEuro(1000, \"DEM\"), \"FRF\")")), "3353.84");
  EXPECT_EQ(kphost::Display(Run("eChangeDevise(1000, \"DEM\", \"FRF\")")), "3353.85");
  Run("eDeviseAffParDéfaut(\"ITL\")");
  EXPECT_EQ(kphost::Display(Run("eVersDevise(1.0)")), "1936");
  EXPECT_EQ(kphost::Display(Run("eDeviseAffParDéfaut()")), "ITL");
  EXPECT_TRUE(Run("eInitDevise()").integer);
  EXPECT_EQ(kphost::Display(Run("eDeviseAffParDéfaut()")), "EUR");
  EXPECT_TRUE(errors_.empty());
  Run("eVersEuro(1, \"USD\")");
  EXPECT_EQ(errors_, std::vector<int32_t>{80207});
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

TEST_F(EuroTableHost, ScriptTablesReadBackThroughTheServices) {
  Run(R"(TableCreate("Ventes", "Article", "Prix")
TableAddRow("ventes", "Pomme", 1.5)
TableAjouteLigne("VENTES", "Poire"))");
  EXPECT_EQ(Run("TableVersTexte(\"Ventes\")").text, u"Article\tPrix\r\nPomme\t1.5\r\nPoire\t");
  EXPECT_EQ(Run("TableToText(\"Ventes\", 0, \"2\")").text, u"1.5\r\n");
  EXPECT_TRUE(errors_.empty());
  EXPECT_EQ(Run("TableVersTexte(\"Achats\")").text, u"");
  EXPECT_EQ(errors_, std::vector<int32_t>{80225});
  EXPECT_THROW(Run("TableAddRow(\"Ventes\", 1, 2, 3)"), kphost::ScriptError);
  EXPECT_THROW(Run("TableAddRow(\"Achats\", 1)"), kphost::ScriptError);
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

TEST_F(EuroTableHost, HundredThousandRowsThroughTheHost) {
  Library::Table& t = Library::VMTables()[u"big"];
  t.titles = {u"n", u"carré"};
  for (int i = 0; i < 100000; ++i) {
    const std::string a = std::to_string(i), b = std::to_string(int64_t{i} * i);
    t.rows.push_back({std::u16string(a.begin(), a.end()), std::u16string(b.begin(), b.end())});
  }
  const Value v = Run("TableVersTexte(\"Big\", 0)");
  EXPECT_TRUE(errors_.empty());
  size_t lines = 1;
  for (char16_t c : v.text) lines += c == u'\n';
  EXPECT_EQ(lines, 100000u);
  EXPECT_EQ(v.text.substr(v.text.size() - 16), u"99999\t9999800001");
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

}  // namespace
