// The file functions as a KL program sees them through the host: the name
// rule (absolute, 260 characters at most) on every function, the file
// layer's messages in both languages, fLit's failure value and fSupprime's
// patterns. Each test has a device of its own under a fresh temporary
// directory.
#include <stdlib.h>
#ifndef _WIN32
#include <signal.h>
#endif

#include <filesystem>
#include <fstream>
#include <string>

#include "abi_support.h"
#include "eval.h"
#include "support/temp_dir.h"
#include "text.h"

namespace {

using kphost::Outcome;

class FilesThroughTheHost : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(tmp_.ok());
    dir_ = tmp_.path();
    const char* old = getenv("KP_PREFIX");
    hadPrefix_ = old != nullptr;
    if (old) oldPrefix_ = old;
    setenv("KP_PREFIX", dir_.c_str(), 1);
    std::filesystem::create_directories(dir_ + "/fs");
  }
  void TearDown() override {
    if (hadPrefix_)
      setenv("KP_PREFIX", oldPrefix_.c_str(), 1);
    else
      unsetenv("KP_PREFIX");
  }

  Outcome Eval(kphost::Library& lib, const std::string& line) {
    kphost::Evaluator evaluator(lib);
    Outcome o = evaluator.Evaluate(line);
    EXPECT_TRUE(o.ok()) << line << ": " << o.failure;
    return o;
  }
  std::string Host(const std::string& relative) const { return dir_ + "/fs/" + relative; }
  void Put(const std::string& relative, const std::string& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(Host(relative)).parent_path());
    std::ofstream out(Host(relative), std::ios::binary);
    ASSERT_TRUE(out) << relative;
    out << bytes;
  }
  bool Exists(const std::string& relative) const { return std::filesystem::exists(Host(relative)); }

  kp::test::TempDir tmp_{"kp-abi-files"};  // removed with everything in it after TearDown
  std::string dir_;

 private:
  bool hadPrefix_ = false;
  std::string oldPrefix_;
};

TEST_F(FilesThroughTheHost, LayerFailuresShowTheirMessageInBothLanguages) {
  std::u16string french;
  for (int32_t language : {KL_LANGUAGE_FRENCH, 9}) {
    SCOPED_TRACE(language);
    auto lib = kp::abi::Load(language);
    ASSERT_TRUE(lib);
    const Outcome moved = Eval(*lib, R"(fRenomme("/missing.txt", "/elsewhere.txt"))");
    EXPECT_EQ(moved.value.integer, 0);
    EXPECT_EQ(moved.error.systemError, 2u);
    const std::string text = kphost::Utf8(moved.error.message);
    EXPECT_EQ(text.find("28124"), std::string::npos) << "a real text, not a missing resource: " << text;
    EXPECT_NE(text.find("/missing.txt"), std::string::npos) << text;
    EXPECT_NE(text.find("/elsewhere.txt"), std::string::npos) << text;
    if (language == KL_LANGUAGE_FRENCH)
      french = moved.error.message;
    else
      EXPECT_NE(moved.error.message, french);

    const Outcome deleted = Eval(*lib, R"(fSupprime("/missing.txt"))");
    EXPECT_EQ(deleted.error.systemError, 2u);
    const std::string gone = kphost::Utf8(deleted.error.message);
    EXPECT_EQ(gone.find("28123"), std::string::npos) << gone;
    EXPECT_NE(gone.find("/missing.txt"), std::string::npos) << gone;
  }
}

// A new prefix has no file system yet: the first call makes it, and a
// missing file in it is "file not found" (2), not "path not found" (3).
TEST_F(FilesThroughTheHost, AFreshPrefixGetsItsFileSystemOnFirstUse) {
  std::filesystem::remove_all(dir_ + "/fs");
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  const Outcome missing = Eval(*lib, R"(fOuvre("/missing.txt", foLecture))");
  EXPECT_EQ(missing.value.integer, -1);
  EXPECT_EQ(missing.error.systemError, 2u);
  kphost::Evaluator evaluator(*lib);
  ASSERT_GE(evaluator.Evaluate(R"(h = fCrée("/new.txt"))").value.integer, 2);
  evaluator.Evaluate("fFerme(h)");
  EXPECT_TRUE(Exists("new.txt"));
}

TEST_F(FilesThroughTheHost, ReadFailuresAnswerTheEmptyText) {
  Put("data.bin", "abc");
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  const Outcome invalid = Eval(*lib, "fLit(77, 4)");
  EXPECT_EQ(invalid.error.id, 80022);
  EXPECT_EQ(invalid.value.type, uint32_t{KL_T_TEXT});
  EXPECT_TRUE(invalid.value.text.empty());
  kphost::Evaluator evaluator(*lib);
  ASSERT_GE(evaluator.Evaluate(R"(h = fOuvre("/data.bin", foLecture))").value.integer, 2);
  const Outcome negative = evaluator.Evaluate("fLit(h, -1)");
  EXPECT_EQ(negative.value.type, uint32_t{KL_T_TEXT});
  // A read that finds the end of the file is no failure: an empty buffer.
  EXPECT_EQ(evaluator.Evaluate("fLit(h, 3)").value.bytes, (std::vector<uint8_t>{'a', 'b', 'c'}));
  const Outcome atEnd = evaluator.Evaluate("fLit(h, 3)");
  EXPECT_EQ(atEnd.value.type, uint32_t{KL_T_BUFFER});
  EXPECT_TRUE(atEnd.value.bytes.empty());
  EXPECT_FALSE(atEnd.error.present());
  evaluator.Evaluate("fFerme(h)");
}

TEST_F(FilesThroughTheHost, RelativeNamesAreRefusedEverywhere) {
  Put("a.txt", "A");
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  for (const char* call :
       {R"(fRep("*.txt"))", R"(fRep("dir", frRépertoire))", R"(fRenomme("a.txt", "/b.txt"))",
        R"(fRenomme("/a.txt", "b.txt"))", R"(fFichierTemp("kp", "tmp"))", R"(fOuvreFichierTemp(0, "kp", "tmp"))"}) {
    SCOPED_TRACE(call);
    const Outcome o = Eval(*lib, call);
    EXPECT_EQ(o.error.id, 80600);
    EXPECT_TRUE(o.value.text.empty());
  }
  EXPECT_TRUE(Exists("a.txt")) << "the refused rename moved nothing";
  // fRep checks its attributes first, and continues an enumeration without a name.
  EXPECT_EQ(Eval(*lib, R"(fRep("rel", 3))").error.id, 80053);
  kphost::Evaluator evaluator(*lib);
  EXPECT_EQ(evaluator.Evaluate(R"(fRep("/*.txt"))").value.text, u"a.txt");
  EXPECT_TRUE(evaluator.Evaluate(R"(fRep(""))").value.text.empty());
}

TEST_F(FilesThroughTheHost, NamesOfMoreThan260CharactersAreRefusedBeforeAnyWork) {
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  // Twenty levels of 250 characters: nothing of it may be made.
  std::string deep;
  for (int i = 0; i < 20; ++i) deep += "/" + std::string(249, 'd');
  const std::string at260 = "/" + std::string(129, 'm') + "/" + std::string(129, 'n');
  const std::string at261 = "/" + std::string(260, 'n');
  struct Case {
    std::string call;
    int64_t failure;
  };
  const Case cases[] = {
      {"fRepCrée(\"" + deep + "\")", 0},
      {"fRepCrée_55(\"" + deep + "\")", -1},
      {"fOuvre(\"" + at261 + "\")", -1},
      {"fCrée(\"" + at261 + "\")", -1},
      {"fSauveTexte(\"" + at261 + "\", \"x\")", 0},
      {"fFichierExiste(\"" + at261 + "\")", 0},
      {"fRépertoireExiste(\"" + at261 + "\")", 0},
      {"fTaille(\"" + at261 + "\")", -1},
      {"fCopieFichier(\"/a.txt\", \"" + at261 + "\")", 0},
      {"fRenomme(\"/a.txt\", \"" + at261 + "\")", 0},
      {"fSupprime(\"" + at261 + "\")", 0},
  };
  Put("a.txt", "A");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.call.substr(0, 24));
    const Outcome o = Eval(*lib, c.call);
    EXPECT_EQ(o.value.integer, c.failure);
    EXPECT_EQ(o.error.systemError, 206u);
  }
  for (const char* call : {"fChargeTexte", "fAttribut", "fDate", "fRepParent"}) {
    const Outcome o = Eval(*lib, std::string(call) + "(\"" + at261 + "\")");
    EXPECT_TRUE(o.value.text.empty()) << call;
    EXPECT_EQ(o.error.systemError, 206u) << call;
  }
  // Nothing was made, nothing moved.
  size_t entries = 0;
  for (const auto& e : std::filesystem::directory_iterator(dir_ + "/fs")) entries += e.path().filename() != "a.txt";
  EXPECT_EQ(entries, 0u);
  EXPECT_TRUE(Exists("a.txt"));
  // 260 characters are still a name.
  const Outcome made = Eval(*lib, "fRepCrée(\"" + at260 + "\")");
  EXPECT_EQ(made.value.integer, 1);
  EXPECT_FALSE(made.error.present());
}

TEST_F(FilesThroughTheHost, DeletingToTheRecycleBinTakesPatterns) {
  Put("d/a.txt", "1");
  Put("d/b.txt", "2");
  Put("d/keep.dat", "3");
  Put("d/sub.txt/inner", "4");
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  const Outcome o = Eval(*lib, R"(fSupprime("/d/*.txt", frVersCorbeille))");
  EXPECT_EQ(o.value.integer, 1);
  EXPECT_FALSE(o.error.present());
  EXPECT_FALSE(Exists("d/a.txt"));
  EXPECT_FALSE(Exists("d/b.txt"));
  EXPECT_FALSE(Exists("d/sub.txt")) << "the shell's operation takes the directories a pattern names";
  EXPECT_TRUE(Exists("d/keep.dat"));
  const Outcome none = Eval(*lib, R"(fSupprime("/d/*.txt", frVersCorbeille))");
  EXPECT_EQ(none.value.integer, 0);
  EXPECT_EQ(none.error.systemError, 2u);
}

TEST_F(FilesThroughTheHost, ReadLineSeesLinesAppendedAfterTheEnd) {
  Put("log.txt", "first\r\n");
  auto lib = kp::abi::Load();
  ASSERT_TRUE(lib);
  kphost::Evaluator evaluator(*lib);
  ASSERT_GE(evaluator.Evaluate(R"(h = fOuvre("/log.txt", foLecture))").value.integer, 2);
  EXPECT_EQ(evaluator.Evaluate("fLitLigne(h)").value.text, u"first");
  EXPECT_EQ(evaluator.Evaluate("fLitLigne(h)").value.text, u"\x04");
  {
    std::ofstream more(Host("log.txt"), std::ios::binary | std::ios::app);
    ASSERT_TRUE(more);
    more << "second\r\n";
  }
  EXPECT_EQ(evaluator.Evaluate("fLitLigne(h)").value.text, u"second");
  EXPECT_EQ(evaluator.Evaluate("fLitLigne(h)").value.text, u"\x04");
  evaluator.Evaluate("fFerme(h)");
}

}  // namespace

#ifndef _WIN32
// fLitLigne's mapped window puts a SIGBUS handler of the library in place;
// the handler's code leaves with the library, so unloading it puts the
// previous handler back.
TEST_F(FilesThroughTheHost, TheLineReadersBusHandlerLeavesWithTheLibrary) {
  Put("lines.txt", "one\r\ntwo\r\n");
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGBUS, nullptr, &before), 0);
  {
    auto lib = kp::abi::Load();
    ASSERT_TRUE(lib);
    kphost::Evaluator evaluator(*lib);
    ASSERT_TRUE(evaluator.Evaluate(R"(h = fOuvre("\lines.txt", foLecture))").ok());
    EXPECT_EQ(kphost::Utf8(evaluator.Evaluate("fLitLigne(h)").value.text), "one");
    struct sigaction during {};
    ASSERT_EQ(sigaction(SIGBUS, nullptr, &during), 0);
    EXPECT_TRUE(during.sa_flags & SA_SIGINFO) << "the window was read without the guard";
  }
  struct sigaction after {};
  ASSERT_EQ(sigaction(SIGBUS, nullptr, &after), 0);
  EXPECT_EQ(after.sa_flags & SA_SIGINFO, before.sa_flags & SA_SIGINFO);
  EXPECT_EQ(reinterpret_cast<void*>(after.sa_handler), reinterpret_cast<void*>(before.sa_handler));
}
#endif
