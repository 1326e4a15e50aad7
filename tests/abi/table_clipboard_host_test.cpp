// TableVersPressePapier through the host under an Xvfb of the test's own:
// a table a script builds, copied by the library, read back by xclip (an
// independent client); a failed export leaves the clipboard as it was.
#include <cstdlib>

#include "script_suite.h"
#include "support/xvfb.h"
#include "text.h"

namespace {

using kphost::Library;
using kphost::Value;

// What xclip reads from the clipboard; bounded, so that a library that
// stopped answering fails the test instead of hanging it.
std::string XclipOut() { return kp::test::Shell("timeout 60 xclip -o -selection clipboard 2>/dev/null"); }

class TableClipboardHost : public kp::abi::TableScriptSuite {
 protected:
  void SetUp() override {
    for (const char* tool : {"Xvfb", "xclip", "timeout"})
      if (!kp::test::OnPath(tool)) GTEST_SKIP() << tool << " is not installed";
    kp::test::Xvfb::Shared();
    TableScriptSuite::SetUp();
    if (HasFatalFailure()) return;
    Run(R"(TableCreate("Ventes", "Article", "Prix", "Note")
TableAddRow("Ventes", "Pomme", 1.5, "été")
TableAddRow("Ventes", "Poire", "", "a	b")
TableAddRow("Ventes", "Clef 𝄞", 2, "fin"))");
  }
};

TEST_F(TableClipboardHost, EverySyntaxCopiesTheTextOfTableVersTexte) {
  // Each syntax with the same arguments as TableVersTexte's; the clipboard
  // holds exactly that text, in UTF-8 for xclip.
  for (const char* args : {R"("Ventes")", R"("Ventes", 0)", R"("Ventes", 1, "3,1")", R"("Ventes", 0, "2-3", ";")",
                           R"("ventes", "1;3")", R"("Ventes", "3, 1", " | ")"}) {
    const Value text = Run(std::string("TableVersTexte(") + args + ")");
    ASSERT_TRUE(errors_.empty()) << args;
    ASSERT_FALSE(text.text.empty()) << args;
    const Value copied = Run(std::string("TableVersPressePapier(") + args + ")");
    EXPECT_EQ(copied.type, uint32_t{KL_T_BOOL}) << args;
    EXPECT_TRUE(copied.integer) << args;
    EXPECT_EQ(XclipOut(), kphost::Utf8(text.text)) << args;
  }
  EXPECT_TRUE(errors_.empty());
  // One literal check, so that a change in both functions at once is seen.
  EXPECT_EQ(XclipOut(), "Note | Article\r\nété | Pomme\r\na b | Poire\r\nfin | Clef 𝄞");
  EXPECT_TRUE(Run("TableToClipboard(\"Ventes\", 0, \"2\")").integer);
  EXPECT_EQ(XclipOut(), "1.5\r\n\r\n2");
}

TEST_F(TableClipboardHost, AnEmptyExportEmptiesTheClipboard) {
  Run(R"(TableCreate("Vide", "A", "B"))");
  EXPECT_TRUE(Run("TableVersPressePapier(\"Ventes\")").integer);
  EXPECT_TRUE(Run("TableVersPressePapier(\"Vide\", 0)").integer);
  EXPECT_EQ(XclipOut(), "");
  EXPECT_TRUE(Run("TableVersPressePapier(\"Vide\")").integer);
  EXPECT_EQ(XclipOut(), "A\tB");
  EXPECT_TRUE(errors_.empty());
}

TEST_F(TableClipboardHost, AFailedExportLeavesTheClipboardAlone) {
  ASSERT_TRUE(Run("TableVersPressePapier(\"Ventes\", 0, \"1\")").integer);
  ASSERT_EQ(XclipOut(), "Pomme\r\nPoire\r\nClef 𝄞");
  struct Case {
    const char* call;
    int32_t error;
  };
  for (const Case& c :
       {Case{R"(TableVersPressePapier("Achats"))", 80225}, Case{R"(TableVersPressePapier("Ventes", 2))", 80227},
        Case{R"(TableVersPressePapier("Ventes", 1, "4"))", 80226},
        Case{R"(TableVersPressePapier("Ventes", "0-2", ";"))", 80226}}) {
    errors_.clear();
    const Value v = Run(c.call);
    EXPECT_EQ(v.type, uint32_t{KL_T_BOOL}) << c.call;
    EXPECT_FALSE(v.integer) << c.call;
    EXPECT_EQ(errors_, std::vector<int32_t>{c.error}) << c.call;
    EXPECT_EQ(XclipOut(), "Pomme\r\nPoire\r\nClef 𝄞") << c.call;
  }
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

}  // namespace
