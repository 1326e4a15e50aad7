// Errors travel from each family to the VM through the error record, in the
// language the VM asked for.
#include "abi_support.h"
#include "eval.h"
#include "text.h"

namespace {

using kphost::Outcome;

Outcome Eval(kphost::Library& lib, const char* expression) {
  kphost::Evaluator evaluator(lib);
  Outcome o = evaluator.Evaluate(expression);
  EXPECT_TRUE(o.ok()) << o.failure;
  return o;
}

struct Case {
  const char* expression;
  int32_t id;
  uint32_t system;
  const char* insert;  // a piece of the message that comes from the call
};

// One real failure per family built so far.
const Case kCases[] = {
    {"EntierVersHeure(-1)", 80120, 0, "-1"},
    {"DateVersEntier(\"2004A101\")", 80122, 0, nullptr},
    {"Hasard(5, 1)", 80210, 0, "5"},
    {"TSL(400, 0, 0)", 80202, 0, nullptr},
    {"RegistreEcrit(\"HKEY_CURRENT_USER\\Missing\\Key\", \"v\", 1)", 80293, 2, "Missing"},
    {"InitParam\xc3\xa8tre(7)", 80700, 0, nullptr},
};

TEST(ErrorsThroughTheHost, EachFamilyInBothLanguages) {
  for (int32_t language : {KL_LANGUAGE_FRENCH, 9}) {
    auto lib = kp::abi::Load(language);
    for (const Case& c : kCases) {
      SCOPED_TRACE(c.expression);
      const Outcome o = Eval(*lib, c.expression);
      EXPECT_EQ(o.error.id, c.id);
      EXPECT_EQ(o.error.level, 3);
      EXPECT_EQ(o.error.systemError, c.system);
      EXPECT_EQ(o.error.module, u"KP160STD.DLL");
      const std::string message = kphost::Utf8(o.error.message);
      EXPECT_EQ(message.find("##"), std::string::npos) << "a real text, not a fall-back: " << message;
      if (c.insert) EXPECT_NE(message.find(c.insert), std::string::npos) << message;
      if (c.system) EXPECT_FALSE(o.error.systemText.empty());
    }
  }
  // The same error reads differently in the two languages.
  auto fr = kp::abi::Load(KL_LANGUAGE_FRENCH);
  const auto french = Eval(*fr, "EntierVersHeure(-1)").error.message;
  fr.reset();
  auto en = kp::abi::Load(9);
  EXPECT_NE(Eval(*en, "EntierVersHeure(-1)").error.message, french);
}

TEST(ErrorsThroughTheHost, RecordIsClearedBetweenCalls) {
  auto lib = kp::abi::Load();
  kphost::Evaluator evaluator(*lib);
  EXPECT_EQ(evaluator.Evaluate("EntierVersHeure(-1)").error.id, 80120);
  const Outcome next = evaluator.Evaluate("EntierVersHeure(100)");
  EXPECT_FALSE(next.error.present());
  EXPECT_EQ(next.value.text, u"00000100");
}

TEST(ErrorsThroughTheHost, MessageCallbackOfTheVMComesFirst) {
  auto lib = kp::abi::Load();
  // Error 80120 loads message 29120; the library's own block has it.
  kl_char buffer[512];
  uintptr_t words[5] = {0, 29120, reinterpret_cast<uintptr_t>(buffer), 512, 0};
  ASSERT_GT(lib->exports().command(KL_CMD_MESSAGE_TEXT, reinterpret_cast<uintptr_t>(words), 0, 0), 0u);
  // Once the VM's callback answers that number, its text wins.
  auto& messages = kphost::Library::VMMessages();
  messages[29120] = u"VM text <%1!d!>";
  const auto message = Eval(*lib, "EntierVersHeure(-1)").error.message;
  messages.clear();
  EXPECT_EQ(message, u"VM text <-1>");
}

}  // namespace
