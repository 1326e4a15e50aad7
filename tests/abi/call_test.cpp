// Calls through the entry functions, as the VM makes them.
#include <cstdio>
#include <ctime>
#include <set>

#include "abi_support.h"
#include "eval.h"

namespace {

using kphost::Library;
using kphost::Value;

Value Call(Library& lib, const char* name, std::vector<Value> args) {
  const auto* f = lib.FindFunction(name);
  EXPECT_NE(f, nullptr) << name;
  Value result;
  std::string why;
  EXPECT_EQ(lib.Call(*f, args, result, why), Library::CallStatus::Ok) << why;
  return result;
}

TEST(Call, ParityAndTheSystemDate) {
  auto lib = kp::abi::Load();
  EXPECT_EQ(Call(*lib, "EstPair", {Value::Int(4)}).integer, 1);
  EXPECT_EQ(Call(*lib, "IsEven", {Value::Int(-3)}).integer, 0);
  EXPECT_EQ(Call(*lib, "estimpair", {Value::Int(-3)}).type, uint32_t{KL_T_BOOL});
  const Value date = Call(*lib, "DateSys", {});
  EXPECT_EQ(date.type, uint32_t{KL_T_TEXT});
  // Independent reference: the C library's local date (the test device's
  // clock is never set away from the host's).
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char expected[64];
  std::snprintf(expected, sizeof expected, "%04d%02d%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  EXPECT_EQ(std::u16string(expected, expected + 8), date.text);
  EXPECT_EQ(Library::LiveBlocks(), 0) << "the text result's block was released";
  EXPECT_FALSE(lib->program().ReadError().present());
}

TEST(Call, NamesMatchWhateverTheCase) {
  auto lib = kp::abi::Load();
  EXPECT_EQ(lib->FindFunction("DATESYS"), lib->FindFunction("datesys"));
  EXPECT_NE(lib->FindFunction("P\xc3\xa2ques"), nullptr);  // UTF-8 from the terminal
  EXPECT_EQ(lib->FindFunction("P\xc3\xa2ques"), lib->FindFunction("Easter"));
  EXPECT_EQ(lib->FindFunction("NoSuchFunction"), nullptr);
}

TEST(Call, WrongArgumentsAndUnavailableSyntaxes) {
  auto lib = kp::abi::Load();
  Value result;
  std::string why;
  const auto* even = lib->FindFunction("EstPair");
  EXPECT_EQ(lib->Call(*even, {}, result, why), Library::CallStatus::NoMatch);
  EXPECT_EQ(lib->Call(*even, {Value::Text(u"4")}, result, why), Library::CallStatus::NoMatch);
  EXPECT_NE(why.find("EstPair"), std::string::npos);
  // Any row without an implementation answers Unavailable, never a crash.
  for (const auto& f : lib->functions()) {
    if (f.available()) continue;
    std::vector<Value> args;
    for (uint32_t code : f.syntaxes[0].params) {
      switch (code & ~uint32_t{KL_T_FLAG_8000}) {
        case KL_T_TEXT_CELL:
        case KL_T_TEXT_DIRECT: args.push_back(Value::Text(u"x")); break;
        case KL_T_BOOL: args.push_back(Value::Bool(true)); break;
        case KL_T_BUFFER: args.push_back(Value::Buffer({1})); break;
        case KL_T_INT64: args.push_back(Value{KL_T_INT64, 1}); break;
        default: args.push_back(Value::Int(1));
      }
    }
    EXPECT_EQ(lib->Call(f, args, result, why), Library::CallStatus::Unavailable) << f.french;
  }
}

// Functions whose hostile call would act on the machine rather than the
// device prefix: they get their own tests.
const std::set<std::string> kNotForHostileCalls = {
    "ExeTermine", "SysArrête", "SysMiseEnVeille", "LanceAppli", "LanceAppliAssociée", "EnvoieTouche",
    "PiloteSouris", "PiloteSaisie", "VersPressePapier", "AppliDéclencheMAJ", "SysFenAffiche", "DDELance"};

TEST(Call, HostileArgumentsNeverCrash) {
  auto lib = kp::abi::Load();
  const std::u16string huge(100000, u'A');
  const std::vector<Value> texts = {Value::Text(u""), Value::Text(huge), Value::Text(u"\\..\\..\\etc\\passwd"),
                                    Value::Text(u"%1!s!%2%%%")};
  const std::vector<Value> ints = {Value::Int(0), Value::Int(-1), Value::Int(INT32_MIN), Value::Int(INT32_MAX)};
  size_t calls = 0;
  for (const auto& f : lib->functions()) {
    if (kNotForHostileCalls.count(f.french)) continue;
    for (const auto& s : f.syntaxes) {
      if (!s.entry) continue;
      for (size_t variant = 0; variant < 4; ++variant) {
        std::vector<Value> args;
        for (uint32_t code : s.params) {
          switch (code & ~uint32_t{KL_T_FLAG_8000}) {
            case KL_T_TEXT_CELL:
            case KL_T_TEXT_DIRECT: args.push_back(texts[variant]); break;
            case KL_T_BUFFER: args.push_back(variant % 2 ? Value::Buffer(std::vector<uint8_t>(70000, 0xFF)) : Value::Buffer({})); break;
            case KL_T_BOOL: args.push_back(Value::Bool(variant % 2)); break;
            case KL_T_INT64: args.push_back(Value{KL_T_INT64, variant % 2 ? INT64_MIN : INT64_MAX}); break;
            case KL_T_VARIANT: args.push_back(variant % 2 ? texts[variant] : ints[variant]); break;
            default: args.push_back(ints[variant]);
          }
        }
        Value result;
        lib->CallSyntax(s, args, result);
        lib->program().ClearError();
        ++calls;
      }
    }
  }
  EXPECT_GT(calls, 0u);
  EXPECT_EQ(Library::LiveBlocks(), 0);
  EXPECT_EQ(Library::LiveVariants(), 0);
}

TEST(Call, HostCommandLine) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX by nature: a sh command line with single quotes; kp.exe --json is compared with kp by ./kp test";
#endif
  // The JSON form is what tools build on: one object per expression.
  const std::string command = std::string(KP_HOST_PATH) + " eval --json 'EstPair(4)' 'x = DateSys()' 'EstImpair(\"a\")' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::string> lines;
  char buffer[4096];
  while (std::fgets(buffer, sizeof buffer, pipe)) lines.emplace_back(buffer);
  const int status = pclose(pipe);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "{\"type\": 1, \"value\": true, \"error\": null}\n");
  EXPECT_EQ(lines[1].rfind("{\"type\": 19, \"value\": \"", 0), 0u) << lines[1];
  EXPECT_NE(lines[2].find("\"host\": true"), std::string::npos) << lines[2];
  EXPECT_NE(WEXITSTATUS(status), 0) << "a host failure is a non-zero exit";
}

}  // namespace

namespace {

// Handles persist between the calls of one program: create, write, close,
// reopen by another case, read.
TEST(Call, FileRoundTripAndNoEscape) {
  auto lib = kp::abi::Load();
  kphost::Evaluator e(*lib);
  auto run = [&](const char* expression) {
    auto o = e.Evaluate(expression);
    EXPECT_TRUE(o.ok()) << expression << ": " << o.failure;
    return o;
  };
  run("fMakeDir(\"\\Round Trip\")");
  const auto h = run("h = fCreate(\"\\Round Trip\\a.txt\")");
  ASSERT_GE(h.value.integer, 2);
  run("fEcritLigne(h, \"caf\xc3\xa9\")");
  EXPECT_TRUE(run("fFerme(h)").value.integer >= 0);
  run("h = fOuvre(\"\\ROUND TRIP\\A.TXT\", foLecture)");
  EXPECT_EQ(run("fLitLigne(h)").value.text, u"caf\u00e9");
  run("fFerme(h)");
  const auto escape = run("fOuvre(\"\\..\\..\\etc\\passwd\", foLecture)");
  EXPECT_EQ(escape.value.integer, -1);
  EXPECT_NE(escape.error.systemError, 0u);
  EXPECT_EQ(run("fOuvre(\"relative.txt\", foLecture)").error.id, 80600);
  EXPECT_EQ(kphost::Library::LiveBlocks(), 0);
}

}  // namespace

namespace {

// RegistreEcrit's plain syntaxes through the entry functions, each value read
// back with its type: by name and by index.
TEST(Call, RegistryWritesEachKindByNameAndByIndex) {
  auto lib = kp::abi::Load();
  kphost::Evaluator e(*lib);
  const std::string key = "k = \"HKEY_CURRENT_USER\\Software\\AbiWrite" + std::to_string(getpid()) + "\"";
  ASSERT_TRUE(e.Evaluate(key).ok());
  EXPECT_EQ(e.Evaluate("RegistreCr\xc3\xa9" "eCl\xc3\xa9(k)").value.integer, 1);
  struct Step {
    const char* write;
    const char* read;
    const char* type;
    std::string shown;
  };
  const Step steps[] = {
      {"RegistreEcrit(k, \"t\", \"ab\")", "RegistreLit(k, \"t\")", "REG_SZ", "ab"},
      {"RegistreEcrit(k, 1, \"cd\")", "RegistreLit(k, 1)", "REG_SZ", "cd"},
      {"RegistreEcrit(k, \"t\", -2)", "RegistreLit(k, \"t\")", "REG_DWORD", "-2"},
      {"RegistreEcrit(k, 1, True)", "RegistreLit(k, 1)", "REG_DWORD", "1"},
      {"RegistreEcrit(k, \"t\", 1.5)", "RegistreLit(k, \"t\")", "REG_BINARY", "000000000000F83F"},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.write);
    EXPECT_EQ(e.Evaluate(s.write).value.integer, 1);
    const auto read = e.Evaluate(s.read);
    EXPECT_FALSE(read.error.present());
    EXPECT_EQ(kphost::Display(read.value), s.shown);
    EXPECT_EQ(kphost::Display(e.Evaluate("RegistreTypeValeur(k, \"t\")").value), s.type);
  }
  EXPECT_EQ(e.Evaluate("RegistreSupprimeCl\xc3\xa9(k)").value.integer, 1);
}

}  // namespace
