// The reference records: their parser, their agreement with the tables the
// library hands out (every row and constant documented once, every syntax's
// parameter count), their examples run through kp eval, and what kp help,
// kp list and the name look-ups make of them.
#include <map>
#include <set>

#include "abi/host_process.h"
#include "abi_support.h"
#include "eval.h"
#include "help.h"
#include "names.h"
#include "reference.h"
#include "support/temp_dir.h"
#include "text.h"

namespace {

using kphost::Library;
using kphost::ref::Parsed;
using kphost::ref::Record;

Parsed ParseText(const std::string& text) {
  Parsed p;
  kphost::ref::ParseRecords(text, "t", p);
  return p;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string out;
  for (const auto& l : lines) out += l + "\n";
  return out;
}

TEST(ReferenceParser, ReadsEveryKey) {
  const Parsed p = ParseText(
      "# comment\n"
      "function Pâques\n"
      "  summary: Easter Sunday. | Le dimanche de Pâques.\n"
      "  syntax: year\n"
      "    year: the year | l'année\n"
      "  syntax:\n"
      "    unavailable: not here | pas ici\n"
      "  result: the date | la date\n"
      "  fails: \"\" with error 1 | \"\" avec l'erreur 1\n"
      "  example: Pâques(2025) => 20250420\n"
      "  example: Pâques(\"x\") =>\n"
      "  note: one | un\n"
      "\n"
      "constant foUnicode\n"
      "  value-meaning: UTF-16 | UTF-16\n");
  EXPECT_EQ(Joined(p.errors), "");
  ASSERT_EQ(p.records.size(), 2u);
  const Record& f = p.records[0];
  EXPECT_EQ(f.name, "Pâques");
  EXPECT_EQ(f.line, 2);
  ASSERT_EQ(f.syntaxes.size(), 2u);
  EXPECT_EQ(f.syntaxes[0].names, std::vector<std::string>{"year"});
  EXPECT_EQ(f.syntaxes[0].params[0].meaning.fr, "l'année");
  EXPECT_TRUE(f.syntaxes[1].names.empty());
  EXPECT_EQ(f.syntaxes[1].unavailable.en, "not here");
  ASSERT_EQ(f.examples.size(), 2u);
  EXPECT_EQ(f.examples[0].expression, "Pâques(2025)");
  EXPECT_EQ(f.examples[0].output, "20250420");
  EXPECT_EQ(f.examples[1].output, "") << "an empty output";
  EXPECT_EQ(f.fails.en, "\"\" with error 1");
  EXPECT_EQ(p.records[1].kind, Record::Kind::Constant);
  EXPECT_EQ(p.records[1].valueMeaning.en, "UTF-16");
}

TEST(ReferenceParser, SaysWhatIsWrongAndWhere) {
  const std::map<std::string, std::string> cases = {
      {"function A\n  summary: English only\n", "t.ref:2: summary: English, then \" | \", then French"},
      {"function A\n  summary: x |  \n", "t.ref:2: summary: English, then"},
      {"function A\n\tsummary: x | y\n", "t.ref:2: indent with spaces"},
      {"  summary: x | y\n", "t.ref:1: a key outside any record"},
      {"function A\n  syntax: a, b\n    a: x | y\n", "parameter b has no meaning line"},
      {"function A\n  syntax: a\n    c: x | y\n", "c is not among this syntax's parameters"},
      {"function A\n  colour: x | y\n", "unknown key colour"},
      {"function A\n  summary: x | y\n  summary: x | y\n", "summary given twice"},
      {"function A\n  example: A(1)\n", "example: EXPRESSION => what kp eval prints"},
      {"function A\n  summary: x | y\n", "A: result missing"},
      {"constant B\n  summary: x | y\n", "summary belongs to a function"},
      {"constant B\n", "B: a constant needs value-meaning"},
      {"function A B\n", "function takes one name"},
      {"procedure A\n", "a record starts with function or constant"},
      {"function A\n  unavailable: x | y\n  result: r | r\n", "an unavailable row has no result"},
      {"function A\n      a: x | y\n", "indented by 6 spaces"},
  };
  for (const auto& [text, expected] : cases) {
    const std::string errors = Joined(ParseText(text).errors);
    EXPECT_NE(errors.find(expected), std::string::npos) << "input:\n" << text << "errors:\n" << errors;
  }
  EXPECT_EQ(Joined(ParseText("function A\n  unavailable: no | non\n").errors), "") << "an unavailable row";
}

class Reference : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { lib_ = kp::abi::Load(9).release(); }
  static void TearDownTestSuite() {
    delete lib_;
    lib_ = nullptr;
  }
  void SetUp() override { ASSERT_NE(lib_, nullptr); }
  static std::string Help(const std::string& name, bool french) {
    std::string out;
    EXPECT_TRUE(kphost::RenderHelp(*lib_, name, french, out)) << out;
    return out;
  }
  static Library* lib_;
};
Library* Reference::lib_ = nullptr;

// Names listed a few to a line, so a long list of missing records stays
// readable.
std::string Listed(const std::vector<std::string>& names) {
  std::string out;
  for (size_t i = 0; i < names.size(); ++i) out += (i % 8 ? ", " : "\n  ") + names[i];
  return out;
}

TEST_F(Reference, RecordFilesParseCleanly) {
  EXPECT_EQ(Joined(kphost::ref::Embedded().errors), "") << "in src/component/reference/";
}

// Expected to fail while some families' record files are not written yet:
// the message lists the rows and constants still missing.
TEST_F(Reference, EveryRowAndConstantHasExactlyOneRecord) {
  std::map<std::string, std::vector<const Record*>> functions, constants;
  for (const auto& r : kphost::ref::Embedded().records)
    (r.kind == Record::Kind::Function ? functions : constants)[kphost::FoldName(r.name)].push_back(&r);
  std::vector<std::string> missingF, missingC, twice, unknown;
  std::set<std::string> seenF, seenC;
  for (const auto& f : lib_->functions()) {
    const std::string key = kphost::FoldName(f.french);
    seenF.insert(key);
    auto it = functions.find(key);
    if (it == functions.end())
      missingF.push_back(f.french);
    else if (it->second.size() > 1)
      twice.push_back(f.french + " (" + it->second[0]->file + ", " + it->second[1]->file + ")");
  }
  for (const auto& c : lib_->constants()) {
    const std::string key = kphost::FoldName(c.french);
    seenC.insert(key);
    auto it = constants.find(key);
    if (it == constants.end())
      missingC.push_back(c.french);
    else if (it->second.size() > 1)
      twice.push_back(c.french + " (" + it->second[0]->file + ", " + it->second[1]->file + ")");
  }
  for (const auto& [key, records] : functions)
    if (!seenF.count(key)) unknown.push_back("function " + records[0]->name + " (" + records[0]->file + ".ref)");
  for (const auto& [key, records] : constants)
    if (!seenC.count(key)) unknown.push_back("constant " + records[0]->name + " (" + records[0]->file + ".ref)");
  EXPECT_TRUE(missingF.empty()) << missingF.size() << " of " << lib_->functions().size()
                                << " function rows have no record:" << Listed(missingF);
  EXPECT_TRUE(missingC.empty()) << missingC.size() << " of " << lib_->constants().size()
                                << " constants have no record:" << Listed(missingC);
  EXPECT_TRUE(twice.empty()) << "documented twice:" << Listed(twice);
  EXPECT_TRUE(unknown.empty()) << "records of names the tables do not have:" << Listed(unknown);
}

// The records that exist agree with the tables: one syntax line per syntax,
// as many names as parameters, an example for a row callable here.
TEST_F(Reference, RecordsAgreeWithTheTables) {
  size_t checked = 0;
  for (const auto& f : lib_->functions()) {
    const Record* r = kphost::FunctionRecord(f);
    if (!r) continue;
    ++checked;
    const std::string where = r->file + ".ref:" + std::to_string(r->line) + ": " + f.french;
    if (!r->unavailable.empty()) {
      EXPECT_FALSE(f.available()) << where << ": marked unavailable but callable here";
      if (r->syntaxes.empty()) continue;
    }
    EXPECT_TRUE(f.available() || !r->unavailable.empty()) << where << ": not callable here, and no unavailable: reason";
    EXPECT_EQ(r->syntaxes.size(), f.syntaxes.size()) << where << ": syntax lines against the table's syntaxes";
    if (r->syntaxes.size() != f.syntaxes.size()) continue;
    for (size_t i = 0; i < f.syntaxes.size(); ++i)
      EXPECT_EQ(r->syntaxes[i].names.size(), f.syntaxes[i].params.size())
          << where << ": syntax " << i + 1 << " (line " << r->syntaxes[i].line << ")";
  }
  EXPECT_GT(checked, 0u);
}

// Every example, run by kp eval in a fresh device, prints what its record
// says. One process per record: one record's side effects (the clock, the
// registry) never reach another's; a record's examples run in their order.
TEST_F(Reference, ExamplesPrintWhatTheRecordsSay) {
  size_t run = 0;
  for (const auto& r : kphost::ref::Embedded().records) {
    std::vector<std::string> args{"eval"};
    std::string expected;
    for (const auto& e : r.examples) {
      if (e.none) continue;
      args.push_back(e.expression);
      expected += e.output + "\n";
    }
    if (args.size() == 1) continue;
    const kp::test::TempDir device("kp-example");
    ASSERT_TRUE(device.ok());
    const auto got = kp::test::RunHost(args, device.path());
    run += args.size() - 1;
    EXPECT_FALSE(got.timedOut) << r.file << ".ref:" << r.line << ": " << r.name << ": kp eval did not finish";
    if (got.out == expected) continue;
    std::string shown;
    for (size_t i = 1; i < args.size(); ++i) shown += " '" + args[i] + "'";
    ADD_FAILURE() << r.file << ".ref:" << r.line << ": " << r.name << ": kp eval" << shown << "\nprinted:\n"
                  << got.out << "expected:\n"
                  << expected << "stderr:\n"
                  << got.err;
  }
  EXPECT_GT(run, 0u);
}

TEST_F(Reference, HelpShowsEverySyntaxInWordsInBothLanguages) {
  const std::string en = Help("Paques", false);
  EXPECT_EQ(en.rfind("Easter / Pâques — function, available here\n", 0), 0u) << en;
  EXPECT_NE(en.find("  Easter(date: text) -> text\n"), std::string::npos) << en;
  EXPECT_NE(en.find("  Easter(year: integer) -> text\n"), std::string::npos) << en;
  EXPECT_NE(en.find("Example: Pâques(2025)  =>  20250420\n"), std::string::npos) << en;
  const std::string fr = Help("EASTER", true);
  EXPECT_EQ(fr.rfind("Pâques / Easter — fonction, disponible ici\n", 0), 0u) << fr;
  EXPECT_NE(fr.find("  Pâques(year: entier) -> texte\n"), std::string::npos) << fr;
  EXPECT_NE(fr.find("Exemple : "), std::string::npos) << fr;

  const std::string twoParams = Help("DateToString", false);
  EXPECT_NE(twoParams.find("  DateToString(date: text, mask: text) -> text\n"), std::string::npos) << twoParams;
  EXPECT_EQ(twoParams.find("(direct)"), std::string::npos) << "types in words, not ABI codes";

  const std::string constant = Help("foUnicode", false);
  EXPECT_EQ(constant.rfind("foUnicode / foUnicode — constant, integer 4096 (0x1000)\n", 0), 0u) << constant;
  EXPECT_NE(Help("foUnicode", true).find("constante, entier 4096"), std::string::npos);
}

TEST_F(Reference, HelpOfAnUnknownNameSuggests) {
  std::string out;
  EXPECT_FALSE(kphost::RenderHelp(*lib_, "DateVersChaine2", false, out));
  EXPECT_NE(out.find("did you mean DateVersChaîne"), std::string::npos) << out;
}

TEST_F(Reference, ListMatchesNamesAndDescriptionsAccentsFolded) {
  const std::string crc = kphost::RenderList(*lib_, "crc", false);
  EXPECT_NE(crc.find("sComputeCrc16"), std::string::npos) << crc;
  EXPECT_NE(crc.find("sComputeCrc32"), std::string::npos) << crc;
  const std::string paques = kphost::RenderList(*lib_, "PAQUES", true);
  EXPECT_NE(paques.find("Pâques"), std::string::npos) << paques;
  EXPECT_NE(paques.find(" oui"), std::string::npos) << paques;
  // A description matches too: Easter's summary speaks of Sunday.
  EXPECT_NE(kphost::RenderList(*lib_, "sunday", false).find("Easter"), std::string::npos);
  EXPECT_EQ(kphost::RenderList(*lib_, "no such thing at all", false), "");
}

TEST_F(Reference, NamesTypedWithoutAccentsOrMisspelt) {
  ASSERT_NE(lib_->FindFunction("Paques"), nullptr);
  EXPECT_EQ(lib_->FindFunction("paques")->french, "Pâques");
  EXPECT_EQ(lib_->FindFunction("DATEVERSCHAINE")->french, "DateVersChaîne");
  EXPECT_EQ(lib_->FindConstant("scFenetre")->french, "scFenêtre");
  EXPECT_EQ(lib_->FindFunction("Pâqu"), nullptr);

  EXPECT_EQ(kphost::ClosestNames(*lib_, "Paqes").at(0), "Pâques");
  EXPECT_EQ(kphost::ClosestNames(*lib_, "EstPiar").at(0), "EstPair");
  EXPECT_EQ(kphost::ClosestNames(*lib_, "IsEvn").at(0), "IsEven") << "the spelling that came closest is shown";
  EXPECT_TRUE(kphost::ClosestNames(*lib_, "qqqqqqqqqqqq").empty());
  EXPECT_EQ(kphost::EditDistance("pâques", "paques"), 1u);
  EXPECT_EQ(kphost::FoldAccents("ŒuvreÉtéÇa"), "oeuvreeteca");

  kphost::Evaluator evaluator(*lib_);
  const auto accepted = evaluator.Evaluate("Paques(2025)");
  EXPECT_TRUE(accepted.ok()) << accepted.failure;
  EXPECT_EQ(kphost::Display(accepted.value), "20250420");
  const auto unknown = evaluator.Evaluate("Paqes(2025)");
  EXPECT_NE(unknown.failure.find("unknown function Paqes; did you mean Pâques?"), std::string::npos) << unknown.failure;
  EXPECT_NE(evaluator.Evaluate("foUnicod").failure.find("did you mean foUnicode"), std::string::npos);
}

// The commands themselves: arguments, streams, exit status.
TEST(ReferenceCommands, HelpAndListFromTheCommandLine) {
  const kp::test::TempDir device("kp-help");
  ASSERT_TRUE(device.ok());
  const auto help = kp::test::RunHost({"help", "--lang", "fr", "datevers chaine"}, device.path());
  EXPECT_EQ(help.status, 2) << "a space is not folded away";
  EXPECT_NE(help.err.find("aucune fonction ni constante"), std::string::npos) << help.err;
  const auto fr = kp::test::RunHost({"help", "--lang", "fr", "DateVersChaine"}, device.path());
  EXPECT_EQ(fr.status, 0) << fr.err;
  EXPECT_EQ(fr.out.rfind("DateVersChaîne / DateToString — fonction", 0), 0u) << fr.out;
  const auto list = kp::test::RunHost({"list", "crc"}, device.path());
  EXPECT_EQ(list.status, 0);
  EXPECT_NE(list.out.find("sCalculeCrc32"), std::string::npos) << list.out;
  const auto none = kp::test::RunHost({"list", "zzzzqqqq"}, device.path());
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.out, "");
  EXPECT_EQ(kp::test::RunHost({"help", "--lang", "de", "EstPair"}, device.path()).status, 2);
}

}  // namespace
