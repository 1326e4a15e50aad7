// The error record: Raise, RaiseText, SetSystemError, Clear, the information
// items and the table behind them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "abi/error.h"
#include "abi/error_table.h"
#include "abi/state.h"
#include "platform/platform.h"
#include "support/fake_context.h"

namespace kp {
namespace {

using test::FakeContext;

// The library state is process-wide: every test puts it back.
struct StateGuard {
  LibraryState saved = State();
  ~StateGuard() { State() = saved; }
};

std::u16string Text(const KLErrorText& t) { return t.text ? std::u16string(t.text, t.length) : std::u16string(); }

uint32_t KL_CALL VmTexts(uint32_t number, kl_char* buffer, uint32_t capacity) {
  const char16_t* text = nullptr;
  if (number == 29600) text = u"VM: %1!s! n'est pas absolu";
  if (number == 28003) text = u"Valeur %1!u";  // never closed: cannot be formatted
  if (number == 25193) text = u"";             // exists, but empty
  if (!text) return 0;
  const uint32_t n = static_cast<uint32_t>(std::char_traits<char16_t>::length(text));
  std::memcpy(buffer, text, (std::min(n, capacity - 1) + 1) * sizeof(kl_char));
  return n ? n : 1;  // an empty text still answers
}

class ErrorTest : public ::testing::Test {
 protected:
  StateGuard guard;
  FakeContext context;
  CXError* record() { return &context.error(); }
  void SetUp() override {
    State().languageCode = KL_LANGUAGE_FRENCH;
    State().messageCallback = nullptr;
  }
};

TEST_F(ErrorTest, UnknownIdentifierGivesLevelThreeAndNamesIt) {
  Raise(context, 79999, {u"ignored"});
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(context.errorId(), 0);  // not stored: only the text names it
  EXPECT_EQ(context.message(), u"##(CXError)-Pas de définition d'erreur dans gstErrorDef pour l'identifiant <79999>##");
  EXPECT_EQ(Text(record()->module), u"KP160STD.DLL");
  EXPECT_EQ(Text(record()->version), u"16.0.97.7");
}

TEST_F(ErrorTest, SecondRaiseKeepsItsIdAndLevelAndJoinsMessages) {
  Raise(context, 80126, {29});
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(record()->debugCode, 1);
  Raise(context, 80100);
  EXPECT_EQ(context.errorId(), 80100);
  EXPECT_EQ(context.level(), 2);
  EXPECT_EQ(record()->debugCode, 2);
  EXPECT_EQ(context.message(),
            u"Date invalide : le jour doit être compris entre 1 et 29.\r\n"
            u"La liste des processus en cours n'est pas disponible.");
  EXPECT_EQ(Text(record()->module), u"KP160STD.DLL");  // stamped once, not twice
}

TEST_F(ErrorTest, EnglishProgramsReadEnglishTexts) {
  State().languageCode = 9;
  Raise(context, 80210, {6, 5});
  EXPECT_EQ(context.message(), u"Invalid bounds: the lower bound <6> exceeds the upper bound <5>.");
  SetSystemError(context, 5);
  EXPECT_EQ(context.systemText(), u"Access is denied.");
}

TEST_F(ErrorTest, SystemErrorAddsItsTextAndZeroClearsIt) {
  Raise(context, 80063, {u"\\Temp"});
  const std::u16string message = context.message();
  SetSystemError(context, 5);
  EXPECT_EQ(context.message(), message);
  EXPECT_EQ(context.systemError(), 5u);
  EXPECT_EQ(context.systemText(), u"Accès refusé.");

  SetSystemError(context, 0);
  EXPECT_EQ(context.systemError(), 0u);
  EXPECT_EQ(context.systemText(), u"");
  EXPECT_EQ(context.message(), message);

  SetSystemError(context, 3);
  SetSystemError(context, 0xDEAD);  // no text for it: the old one must not stay
  EXPECT_EQ(context.systemError(), 0xDEADu);
  EXPECT_EQ(context.systemText(), u"");
}

TEST_F(ErrorTest, LevelOneRowClearsTheRecord) {
  Raise(context, 80022);
  SetSystemError(context, 6);
  SetInfoItem(record(), 1, u"\\a.txt");
  Raise(context, 80160);
  EXPECT_EQ(context.level(), 1);
  EXPECT_EQ(context.errorId(), 0);
  EXPECT_EQ(context.message(), u"");
  EXPECT_EQ(context.systemText(), u"");
  EXPECT_EQ(record()->info[0].text, nullptr);
}

TEST_F(ErrorTest, RowWithoutTextSetsLevelButNoMessage) {
  Raise(context, 80001);
  EXPECT_EQ(context.errorId(), 80001);
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(context.message(), u"");
}

TEST_F(ErrorTest, WarningRowsKeepTheirSeverity) {
  Raise(context, 81702, {u"\\win.ini", 32});
  EXPECT_EQ(context.level(), 65538);
  EXPECT_EQ(context.message(), u"Le fichier INI <\\win.ini> dépasse 32 Ko : sa lecture peut être lente.");
}

TEST_F(ErrorTest, VmTextsComeFirstAndTheirFaultsAreReported) {
  State().messageCallback = &VmTexts;
  Raise(context, 80600, {u"a.txt"});
  EXPECT_EQ(context.message(), u"VM: a.txt n'est pas absolu");

  context.clearError();
  Raise(context, 80067, {u"\\x"});  // the VM has no text 29067: the block's
  EXPECT_EQ(context.message(), u"Le fichier <\\x> n'existe pas.");

  context.clearError();
  AddMessage(record(), 28003, {7});
  EXPECT_EQ(context.message(), u"##(CXError)-Message non formaté : <Valeur %1!u>##");

  context.clearError();
  platform::SetLastError(87);
  RaiseText(context, 25193);
  EXPECT_EQ(context.message(), u"##(CXError)-Ressource <25193> vide. LastError = <87>##");
}

TEST_F(ErrorTest, MissingTextIsNamed) {
  RaiseText(context, 12345, {1});
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(context.message(), u"##(CXError)-Ressource <12345> non chargée##");
}

TEST_F(ErrorTest, OutOfMemoryStartsAFreshRecord) {
  Raise(context, 80022);
  SetInfoItem(record(), 2, u"old");
  RaiseOutOfMemory(context);
  EXPECT_EQ(context.message(), u"Mémoire insuffisante pour terminer l'opération.");
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(context.errorId(), 0);
  EXPECT_EQ(context.systemError(), 14u);
  EXPECT_EQ(context.systemText(), u"Espace de stockage insuffisant pour traiter cette opération.");
  EXPECT_EQ(record()->info[1].text, nullptr);
  EXPECT_EQ(Text(record()->module), u"KP160STD.DLL");
}

TEST_F(ErrorTest, InformationItems) {
  SetInfoItem(record(), 1, u"\\a.txt");
  SetInfoItem(record(), 1, u"\\b.txt");  // replaces, through the record's operations
  SetInfoItem(record(), 12, 42);
  SetInfoItem(record(), 15, u"17");
  SetInfoItem(record(), 33, -1);
  SetInfoItem(record(), 21, u"only flagged");
  SetInfoItem(record(), 0, u"ignored");
  SetInfoItem(record(), 34, u"ignored");
  const KLErrorInfo* info = record()->info;
  EXPECT_EQ(info[0].item, 1u);
  EXPECT_EQ(std::u16string(info[0].text), u"\\b.txt");
  EXPECT_EQ(info[11].item, 12u);
  EXPECT_EQ(info[11].number, 42u);
  EXPECT_EQ(info[11].text, nullptr);
  EXPECT_EQ(info[14].number, 17u);
  EXPECT_EQ(std::u16string(info[32].text), u"-1");
  EXPECT_EQ(record()->item21Flagged, 1u);
  EXPECT_EQ(info[20].item, 0u);
  EXPECT_EQ(info[20].text, nullptr);

  Clear(record());
  for (const auto& i : record()->info) {
    EXPECT_EQ(i.item, 0u);
    EXPECT_EQ(i.text, nullptr);
  }
  EXPECT_EQ(record()->item21Flagged, 0u);
}

TEST_F(ErrorTest, InternalMessagesUseTheHashForm) {
  RaiseInternal(context);
  EXPECT_EQ(context.errorId(), kInternalErrorId);
  EXPECT_EQ(context.level(), 3);
  EXPECT_EQ(record()->debugCode, 3);
  EXPECT_EQ(context.message(), u"##(CEntryFrame)-Exception inattendue pendant l'appel d'une fonction##");

  context.clearError();
  RaiseInternal(record(), u"CKVFile", u"Type demandé=<%1!u!>, type lu=<%2!u!>", {3, 4});
  EXPECT_EQ(context.message(), u"##(CKVFile)-Type demandé=<3>, type lu=<4>##");

  context.clearError();
  SetLevel(record(), 3);
  Stamp(record());
  AddInternalMessage(record(), u"##(IXStream)-A lire=<%1!u!>, lu=<%2!u!>##", {20, 4});
  AddMessage(record(), 28003, {u"\\f.dat"});
  EXPECT_EQ(context.message(),
            u"##(IXStream)-A lire=<20>, lu=<4>##\r\nErreur de lecture ou d'écriture dans le fichier <\\f.dat>.");
  EXPECT_EQ(context.level(), 3);
}

TEST_F(ErrorTest, NullContextOrRecordIsHarmless) {
  Raise(static_cast<ExecContext*>(nullptr), 80022);
  RaiseOutOfMemory(static_cast<CXError*>(nullptr));
  SetInfoItem(static_cast<CXError*>(nullptr), 1, 1);
  RaiseInternal(static_cast<ExecContext*>(nullptr));
  SUCCEED();
}

// --- the table -------------------------------------------------------------

TEST(ErrorTable, RowsAreWellFormed) {
  std::set<uint32_t> ids;
  for (const auto& row : gstErrorDef) {
    EXPECT_TRUE(ids.insert(row[kErrorId]).second) << "duplicate " << row[kErrorId];
    EXPECT_GE(row[kErrorId], 80001u);
    EXPECT_LE(row[kErrorId], 81916u);
    EXPECT_LE(row[kErrorDebugCode], 3u);
    const uint32_t severity = row[kErrorSeverity];
    const bool warning = row[kErrorId] >= 81700 && row[kErrorId] <= 81702;
    EXPECT_EQ(severity == 65538u, warning) << row[kErrorId];
    EXPECT_TRUE(severity == 1 || severity == 2 || severity == 3 || warning) << row[kErrorId];
  }
  EXPECT_EQ(ids.size(), 302u);
}

TEST(ErrorTable, TellingRows) {
  struct Row {
    uint32_t id, text;
    int debug;  // -1: any
    uint32_t severity;
  };
  for (const Row& want : {Row{80001, 0, -1, 3}, Row{80002, 0, -1, 3}, Row{80003, 28308, -1, 3},
                          Row{80014, 6215, -1, 2}, Row{80022, 639, 1, 3}, Row{80100, 763, 2, 2},
                          Row{80160, 814, -1, 1}, Row{81830, 6754, -1, 2}}) {
    const uint32_t* row = FindErrorDef(static_cast<int32_t>(want.id));
    ASSERT_NE(row, nullptr) << want.id;
    EXPECT_EQ(row[kErrorText], want.text) << want.id;
    EXPECT_EQ(row[kErrorSeverity], want.severity) << want.id;
    if (want.debug >= 0) {
      EXPECT_EQ(row[kErrorDebugCode], static_cast<uint32_t>(want.debug)) << want.id;
    }
  }
}

// Every identifier a family raises or sends to the trace, from the families'
// own descriptions; a family that raises one without a row would report
// "Pas de définition" instead.
TEST(ErrorTable, EveryRaisedIdentifierHasARow) {
  const uint32_t raised[] = {
      80021, 80022, 80023, 80041, 80042, 80051, 80053, 80054, 80058, 80059, 80062, 80063, 80065, 80066,
      80067, 80100, 80101, 80102, 80103, 80104, 80105, 80106, 80107, 80108, 80110, 80120, 80121, 80122,
      80123, 80124, 80125, 80126, 80127, 80128, 80129, 80130, 80131, 80132, 80133, 80134, 80135, 80140, 80144,
      80145, 80146, 80147, 80202, 80203, 80204, 80210, 80231, 80260, 80291, 80292, 80293, 80295, 80400,
      80404, 80406, 80600, 80700, 80800, 81504, 81506, 81507, 81508, 81509, 81510, 81512, 81630, 81631,
      81632, 81633, 81634, 81700, 81701, 81702, 81812};
  for (uint32_t id : raised) {
    const uint32_t* row = FindErrorDef(static_cast<int32_t>(id));
    ASSERT_NE(row, nullptr) << id;
    EXPECT_NE(row[kErrorText], 0u) << id;
  }
}

}  // namespace
}  // namespace kp
