// Every loop that deletes a tree of keys makes progress or stops: paths with
// a trailing or doubled separator, and children whose names cannot be opened
// again, once made these loops spin forever.
#include <gtest/gtest.h>

#include <sqlite3.h>

#include "registry/parameters.h"
#include "registry/registry.h"
#include "registry_fixture.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

using namespace kp::registry;

constexpr double kLimit = 10;

class DeletionLoops : public FreshDevice {
 protected:
  void TearDown() override {
    ReleaseParameterStore(ctx_);
    FreshDevice::TearDown();
  }
};

TEST_F(DeletionLoops, ParameterKeyEndingWithASeparator) {
  InitParameter(ctx_, kParamRegistry, std::u16string_view(u"Software\\PP\\"));
  SaveParameter(ctx_, u"S1.a", u"1");
  ASSERT_TRUE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\PP\\S1"));
  EXPECT_TRUE(WithinSeconds(kLimit, "SupprimeParamètre()", [&] { return DeleteAllParameters(ctx_); }));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\PP\\S1"));
}

TEST_F(DeletionLoops, SectionNameEndingWithADotOrASlash) {
  InitParameter(ctx_, kParamRegistry, std::u16string_view(u"Software\\PP"));
  SaveParameter(ctx_, u"S1.Sub.b", u"1");
  SaveParameter(ctx_, u"S2.Sub.b", u"1");
  EXPECT_TRUE(WithinSeconds(kLimit, "SupprimeParamètre(\"S1.\")", [&] { return DeleteParameter(ctx_, u"S1."); }));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\PP\\S1"));
  EXPECT_TRUE(WithinSeconds(kLimit, "SupprimeParamètre(\"S2/\")", [&] { return DeleteParameter(ctx_, u"S2/"); }));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\PP\\S2"));
}

TEST_F(DeletionLoops, KeyPathWithAnEmptyNameIsRefused) {
  ASSERT_TRUE(CreateKey(ctx_, u"HKEY_CURRENT_USER\\X\\Y"));
  EXPECT_FALSE(WithinSeconds(kLimit, "RegistreSupprimeClé(\"X\\\\\")",
                             [&] { return DeleteKey(ctx_, u"HKEY_CURRENT_USER\\X\\\\"); }));
  EXPECT_FALSE(WithinSeconds(kLimit, "RegistreSupprimeClé(\"X\\\\Y\")",
                             [&] { return DeleteKey(ctx_, u"HKEY_CURRENT_USER\\X\\\\Y"); }));
  EXPECT_TRUE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\X\\Y"));  // nothing was deleted
  EXPECT_TRUE(WithinSeconds(kLimit, "RegistreSupprimeClé(\"X\\\")",
                            [&] { return DeleteKey(ctx_, u"HKEY_CURRENT_USER\\X\\"); }));  // one trailing "\" is fine
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\X"));
}

TEST_F(DeletionLoops, ChildWithALoneSurrogateInItsName) {
  const std::u16string odd = std::u16string(u"HKEY_CURRENT_USER\\L\\a") + char16_t(0xD800) + u"b";
  ASSERT_TRUE(CreateKey(ctx_, odd + u"\\deeper"));
  EXPECT_TRUE(KeyExists(ctx_, odd));
  EXPECT_TRUE(WithinSeconds(kLimit, "RegistreSupprimeClé over a lone surrogate",
                            [&] { return DeleteKey(ctx_, u"HKEY_CURRENT_USER\\L"); }));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\L"));

  InitParameter(ctx_, kParamRegistry, std::u16string_view(u"Software\\PS"));
  SaveParameter(ctx_, std::u16string(u"a") + char16_t(0xDC00) + u".v", u"1");
  EXPECT_TRUE(WithinSeconds(kLimit, "SupprimeParamètre() over a lone surrogate",
                            [&] { return DeleteAllParameters(ctx_); }));
}

TEST_F(DeletionLoops, NamesBeyondTheLimitsAreRefusedAndOldOnesStillDeleted) {
  const std::u16string longest(255, u'k');
  EXPECT_TRUE(CreateKey(ctx_, u"HKEY_CURRENT_USER\\N\\" + longest));
  EXPECT_FALSE(CreateKey(ctx_, u"HKEY_CURRENT_USER\\N\\" + longest + u"k"));
  EXPECT_TRUE(SetValue(ctx_, u"HKEY_CURRENT_USER\\N", std::u16string(16383, u'v'), platform::reg::kDword,
                       DwordBytes(1)));
  EXPECT_FALSE(SetValue(ctx_, u"HKEY_CURRENT_USER\\N", std::u16string(16384, u'v'), platform::reg::kDword,
                        DwordBytes(1)));

  // A database written before the limit may hold a longer name: it must not
  // keep its parent from being deleted.
  ASSERT_TRUE(CreateKey(ctx_, u"HKEY_CURRENT_USER\\Old\\short\\below"));
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir_ + "/registry.db").c_str(), &db), SQLITE_OK);
  const std::string longName(600, 'L');
  const std::string sql = "UPDATE keys SET name='" + longName + "', fold='" + longName + "' WHERE name='short'";
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(sqlite3_changes(db), 1);
  sqlite3_close(db);
  EXPECT_TRUE(WithinSeconds(kLimit, "RegistreSupprimeClé over a 600-character name",
                            [&] { return DeleteKey(ctx_, u"HKEY_CURRENT_USER\\Old"); }));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Old"));
}

}  // namespace
}  // namespace kp::test
