// KL scripts in the host: the parser and interpreter against the built
// library, and the VM operations a script's procedures and variables go
// through (FindProcedure, CallProcedure, PostProcedure, AssignReference).
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "script_suite.h"
#include "support/temp_dir.h"

namespace {

using kphost::FunctionInfo;
using kphost::Library;
using kphost::Parse;
using kphost::ScriptError;
using kphost::SyntaxInfo;

class Script : public kp::abi::ScriptSuite {
 protected:
  void SetUp() override {
    ScriptSuite::SetUp();
    if (HasFatalFailure()) return;
    in_->trace = [this](const std::string& line) { out_.push_back(line); };
  }
  // The error a script stops with; fails the test when it runs through.
  ScriptError ErrorOf(std::string_view source, const std::string& file = "t.kl") {
    try {
      Run(source, file);
    } catch (const ScriptError& e) {
      return e;
    }
    ADD_FAILURE() << "no error from: " << source;
    return ScriptError("", {}, "");
  }
  std::string Shown(std::string_view source) { return kphost::Display(Run(source)); }

  std::vector<std::string> out_;
};

TEST_F(Script, Precedence) {
  EXPECT_EQ(Shown("1 + 2 * 3"), "7");
  EXPECT_EQ(Shown("(1 + 2) * 3"), "9");
  EXPECT_EQ(Shown("10 - 4 - 3"), "3") << "left to right";
  EXPECT_EQ(Shown("-2 * -3 + 1"), "7");
  EXPECT_EQ(Shown("7 % 3 * 2"), "2");
  EXPECT_EQ(Shown("7 / 2"), "3.5") << "'/' is always real";
  EXPECT_EQ(Shown("4 / 2"), "2.0");
  EXPECT_EQ(Shown("1 + 0.5"), "1.5");
  EXPECT_EQ(Shown("-7 % 3"), "-1");
  EXPECT_EQ(Shown("NOT 1 = 2"), "True") << "NOT is looser than '='";
  EXPECT_EQ(Shown("False OR True AND False"), "False") << "AND is tighter than OR";
  EXPECT_EQ(Shown("NOT False AND False"), "False") << "NOT is tighter than AND";
  EXPECT_EQ(Shown("1 + 2 = 3 AND \"b\" > \"a\""), "True");
  EXPECT_EQ(Shown("\"n=\" + 1 + 2"), "n=12") << "a text on the left makes '+' join";
  EXPECT_EQ(Shown("1 + 2 + \"=n\""), "3=n");
  EXPECT_EQ(Shown("x\"0A\" + x\"1B\""), "0A1B");
  EXPECT_EQ(Shown("0xFFFFFFFF"), "-1") << "a 32-bit pattern, as colours are written";
}

TEST_F(Script, IntegerWidthAndOverflow) {
  EXPECT_EQ(Run("2147483647 + 1").type, uint32_t{KL_T_INT64});
  EXPECT_EQ(Run("-2147483648").type, uint32_t{KL_T_INT});
  EXPECT_EQ(Run("9223372036854775807").integer, INT64_MAX);
  EXPECT_NE(std::string(ErrorOf("x = 9223372036854775807 + 1").what()).find("overflow"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("x = 3 * 4611686018427387904").what()).find("overflow"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("x = 1 % 0").what()).find("division by zero"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("x = 1 / 0.0").what()).find("division by zero"), std::string::npos);
}

TEST_F(Script, BothKeywordSets) {
  Run(R"(// English
PROCEDURE kind(n)
  IF n % 2 = 0 THEN
    RETURN "even"
  ELSE
    RETURN "odd"
  END
END
i = 0
WHILE i < 2
  i = i + 1
END
FOR k = i TO 3
  Trace(k, kind(k), NOT True OR False AND True)
END)");
  const auto english = out_;
  out_.clear();
  Run(R"(// Français, en minuscules
procédure sorte(n)
  si n % 2 = 0 alors
    renvoyer "even"
  sinon
    renvoyer "odd"
  fin
fin
i = 0
tantque i < 2
  i = i + 1
fin
POUR k = i À 3
  Trace(k, Sorte(k), PAS Vrai OU Faux ET Vrai)
FIN)");
  EXPECT_EQ(out_, english);
  EXPECT_EQ(english, (std::vector<std::string>{"2 even False", "3 odd False"}));
  out_.clear();
  Run("POUR j = 9 A 1 PAS -4\n Trace(j)\nFIN\nFOR j = 1 TO 0\n Trace(\"never\")\nEND");
  EXPECT_EQ(out_, (std::vector<std::string>{"9", "5", "1"}));
  out_.clear();
  Run("a = 2\nPOUR i = a A a + 1\n  Trace(i * a)\nFIN");  // A is a keyword only in a FOR header
  EXPECT_EQ(out_, (std::vector<std::string>{"4", "6"}));
}

TEST_F(Script, ProceduresCallEachOtherAndKeepTheirLocals) {
  Run(R"(
total = 100
PROCEDURE square(x)
  y = x * x        // y is local: no global y exists
  RETURN y
END
PROCEDURE sumOfSquares(a, b)
  total = total + 1  // the global
  RETURN square(a) + square(square(b))
END
PROCEDURE fib(n)
  SI n < 2 ALORS RENVOYER n FIN
  RENVOYER fib(n - 1) + fib(n - 2)
END
PROCEDURE nothing()
  RETURN
END
Trace(sumOfSquares(3, 2), total, fib(15), "[" + Display() + "]")
PROCEDURE Display()
  RETURN "later declared, still found"
END
)");
  EXPECT_EQ(out_, (std::vector<std::string>{"25 101 610 [later declared, still found]"}));
  EXPECT_EQ(in_->globals().count("y"), 0u);
  EXPECT_EQ(Run("nothing()").type, uint32_t{KL_T_NONE});
  EXPECT_NE(std::string(ErrorOf("x = nothing() + 1").what()).find("lacks a value"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("square(1, 2)").what()).find("takes 1 argument(s), not 2"), std::string::npos);
}

TEST_F(Script, RecursionLimit) {
  in_->maxDepth = 40;
  const ScriptError e = ErrorOf("PROCEDURE down(n)\n  RETURN down(n + 1)\nEND\ndown(0)");
  EXPECT_NE(std::string(e.what()).find("recursion deeper than 40"), std::string::npos) << e.what();
  EXPECT_EQ(e.at().line, 2);
  EXPECT_EQ(e.trail.size(), 8u) << "the trail is cut, not 40 lines long";
  // The interpreter is whole again after the failure.
  EXPECT_EQ(Shown("PROCEDURE up(n)\n SI n = 0 ALORS RENVOYER 0 FIN\n RENVOYER 1 + up(n - 1)\nFIN\nup(39)"), "39");
}

TEST_F(Script, ErrorsCarryFileLineAndColumn) {
  auto at = [](const ScriptError& e) { return std::to_string(e.at().line) + ":" + std::to_string(e.at().column); };
  ScriptError e = ErrorOf("x = 1\n\ny = x +* 2", "a.kl");
  EXPECT_EQ(at(e), "3:8");
  EXPECT_EQ(e.Describe().rfind("a.kl:3:8: an expression expected", 0), 0u) << e.Describe();
  EXPECT_EQ(at(ErrorOf("Trace(\"open)")), "1:7");
  EXPECT_EQ(at(ErrorOf("été = \"é\" + 1 < 2 < 3")), "1:19") << "columns count characters";
  EXPECT_EQ(at(ErrorOf("x = 1 $ 2")), "1:7");
  EXPECT_EQ(at(ErrorOf("IF 1 = 1 THEN\n  x = 2\nELSE\n  ELSE")), "4:3");
  EXPECT_EQ(at(ErrorOf("END")), "1:1");
  EXPECT_EQ(at(ErrorOf("IF True THEN\n PROCEDURE p()\n END\nEND")), "2:2");
  // Running: the statement or operator that failed.
  e = ErrorOf("PROCEDURE f(t)\n  RETURN t - 1\nEND\n\nTrace(f(\"a\"))", "b.kl");
  EXPECT_EQ(e.Describe(),
            "b.kl:2:12: '-' does not take a text and an integer\n"
            "    RETURN t - 1\n"
            "             ^\n"
            "  in f, called at b.kl:5:7");
  EXPECT_EQ(at(ErrorOf("x = 1\nNoSuchFunction(x)")), "2:1");
  EXPECT_EQ(at(ErrorOf("x = 1\nTrace(undefined)")), "2:7");
  EXPECT_EQ(at(ErrorOf("WHILE 1\nEND")), "1:7") << "the condition, not the WHILE";
  EXPECT_NE(std::string(ErrorOf("IF 1 THEN END").what()).find("must be a boolean, not an integer"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("EstPair(\"4\")").what()).find("no syntax takes"), std::string::npos);
  EXPECT_NE(std::string(ErrorOf("x = DateSys").what()).find("called with parentheses"), std::string::npos);
  // Text that ends inside a construct is "incomplete": the prompt reads on.
  // The prompt hands the parser each line with its line end: an open
  // parenthesis must still read as unfinished then.
  for (const char* open : {"IF x THEN", "x = (1 +", "x = (1 +\n", "EstPair(\n", "Trace(1,\n  2,\n",
                           "PROCEDURE p()\n x = 1", "FOR i = 1 TO 3\n"}) {
    try {
      Parse(open, "");
      ADD_FAILURE() << open;
    } catch (const ScriptError& error) {
      EXPECT_TRUE(error.incomplete()) << open;
    }
  }
  try {
    Parse("x = )", "");
  } catch (const ScriptError& error) {
    EXPECT_FALSE(error.incomplete());
  }
}

TEST_F(Script, ParseErrorsQuoteTheLineWithACaretUnderTheColumn) {
  EXPECT_EQ(ErrorOf("x = 1\n\n  y = x +* 2", "a.kl").Describe(),
            "a.kl:3:10: an expression expected, not '*'\n"
            "    y = x +* 2\n"
            "           ^");
  // Columns count characters: the caret is under the '<' after "été".
  EXPECT_EQ(ErrorOf("été = 1 < 2 < 3", "").Describe(),
            "column 13: comparisons do not chain: join them with AND\n"
            "    été = 1 < 2 < 3\n"
            "                ^");
  // A byte-order mark, as Windows editors write, is neither shown nor counted.
  EXPECT_EQ(ErrorOf("\xEF\xBB\xBFx = 1 $", "t.kl").Excerpt(), "    x = 1 $\n          ^\n");
  // A tab before the column stays a tab in the caret's line.
  EXPECT_EQ(ErrorOf("x = 1\t$", "t.kl").Excerpt(), "    x = 1\t$\n         \t^\n");
  // An error at the end of the line points just past it.
  EXPECT_EQ(ErrorOf("x = 1 +\n").Excerpt(), "    x = 1 +\n           ^\n");
  // A text that ends with the error has no line to quote.
  EXPECT_EQ(ErrorOf("IF True THEN\n").Excerpt(), "");
}

TEST_F(Script, AnUnclosedBlockOrParenthesisSaysWhereItOpened) {
  auto message = [this](std::string_view source) { return std::string(ErrorOf(source).what()); };
  EXPECT_EQ(message("x = 1\nIF x = 1 THEN\n  WHILE False\n  END\n"),
            "END expected to close the IF opened at line 2, column 1");
  EXPECT_EQ(message("SI Vrai ALORS\nSINON\n  Trace(1)"), "END expected to close the ELSE opened at line 2, column 1");
  EXPECT_EQ(message("PROCEDURE p()\n  FOR i = 1 TO 2\n  END"),
            "END expected to close the procedure p opened at line 1, column 1");
  // Line ends inside parentheses are blanks, so the end of the text may be
  // far below the parenthesis left open.
  EXPECT_EQ(message("x = 1\nTrace(EstPair(4),\n  (1 + 2\n\n"), "the '(' opened at line 3, column 3 is not closed");
  EXPECT_EQ(message("Trace(EstPair(4)\n"), "the '(' opened at line 1, column 6 is not closed");
  // Spread over lines, a call runs as one statement.
  Run("Trace(EstPair(4),\n      IsOdd(3)\n)\nTrace(\"after\")");
  EXPECT_EQ(out_, (std::vector<std::string>{"True True", "after"}));
}

TEST_F(Script, AWrongConditionIsReportedAtTheCondition) {
  auto at = [this](std::string_view source) {
    const ScriptError e = ErrorOf(source);
    return std::to_string(e.at().line) + ":" + std::to_string(e.at().column);
  };
  EXPECT_EQ(at("IF 1 THEN END"), "1:4");
  EXPECT_EQ(at("x = 2\n  SI x + 1 ALORS FIN"), "2:6") << "where the condition begins, not its operator";
  EXPECT_EQ(at("n = 0\nWHILE n\n n = n + 1\nEND"), "2:7");
  EXPECT_EQ(at("IF True AND 3 THEN END"), "1:9") << "an operand of AND: the operator is the place";
  EXPECT_EQ(at("FOR i = 1 TO \"3\"\nEND"), "1:14");
  EXPECT_EQ(at("FOR i = 1 TO 3 STEP 0\nEND"), "1:21");
  const ScriptError e = ErrorOf("IF 1 THEN END", "c.kl");
  EXPECT_EQ(e.Describe(),
            "c.kl:1:4: the condition of IF must be a boolean, not an integer\n    IF 1 THEN END\n       ^");
}

TEST_F(Script, NestingIsBounded) {
  const std::string deep = std::string(kphost::kMaxNesting + 5, '(') + "1" + std::string(kphost::kMaxNesting + 5, ')');
  EXPECT_NE(std::string(ErrorOf(deep).what()).find("nesting deeper"), std::string::npos);
  std::string blocks;
  for (int i = 0; i < kphost::kMaxNesting + 5; ++i) blocks += "IF True THEN\n";
  EXPECT_NE(std::string(ErrorOf(blocks).what()).find("nesting deeper"), std::string::npos);
  const std::string fine = std::string(50, '(') + "1" + std::string(50, ')');
  EXPECT_EQ(Shown(fine), "1");
}

TEST_F(Script, LibraryCallsByEitherName) {
  Run("d = DateSys()\nsame = d = DateSys()\nTrace(EstPair(4), IsEven(3), same, EstImpair(-3))");
  EXPECT_EQ(out_, (std::vector<std::string>{"True False True True"}));
  EXPECT_EQ(in_->globals().at("d").text.size(), 8u);
  EXPECT_FALSE(lib_->program().ReadError().present());
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

// --- the VM operations, through the real frame ---------------------------
// Functions of a stand-in component, called as the library's are: they do
// what a library function that takes procedures or references would do.
std::thread gLater;

int32_t KL_CALL AssignEntry(CallContext*, ExecContext* context, void** args) {
  auto* value = static_cast<KLVariant*>(args[1]);
  KLValue v{};
  value->ops->Get(value, &v);
  context->ops->AssignReference(context, static_cast<KLVariant*>(args[0]), &v);
  return 0;
}

int32_t KL_CALL CallBackEntry(CallContext* call, ExecContext* context, void** args) {
  const uintptr_t p = context->ops->FindProcedure(context, static_cast<const kl_char*>(args[0]));
  KLValue arg{};
  arg.type = KL_T_INT;
  arg.u.i32 = *static_cast<int32_t*>(args[1]);
  KLValue result{};
  const int32_t ok = p ? context->ops->CallProcedure(context, p, 1, &arg, &result) : 0;
  const int32_t cell = ok ? result.u.i32 : -1;
  call->vm->ops->SetResult(call->vm, call->resultHandle, &cell, KL_T_INT);
  return 0;
}

// Posts from another thread, which is gone before the function returns.
int32_t KL_CALL PostEntry(CallContext* call, ExecContext* context, void** args) {
  const uintptr_t p = context->ops->FindProcedure(context, static_cast<const kl_char*>(args[0]));
  const int32_t n = *static_cast<int32_t*>(args[1]);
  int32_t posted = 0;
  std::thread poster([&] {
    for (int32_t i = 1; i <= n; ++i) {
      KLValue arg{};
      arg.type = KL_T_INT;
      arg.u.i32 = i;
      posted += context->ops->PostProcedure(context, p, 1, &arg);
    }
  });
  poster.join();
  call->vm->ops->SetResult(call->vm, call->resultHandle, &posted, KL_T_INT);
  return 0;
}

// Posts once from a thread that outlives the call, after a delay.
int32_t KL_CALL PostLaterEntry(CallContext*, ExecContext* context, void** args) {
  const uintptr_t p = context->ops->FindProcedure(context, static_cast<const kl_char*>(args[0]));
  const int32_t ms = *static_cast<int32_t*>(args[1]);
  gLater = std::thread([context, p, ms] {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    KLValue arg{};
    arg.type = KL_T_TEXT;
    static const kl_char kText[] = u"late";
    arg.u.text = kText;
    arg.size = 4;
    context->ops->PostProcedure(context, p, 1, &arg);
  });
  return 0;
}

FunctionInfo Stand(const char* name, KLEntryFunction entry, std::vector<uint32_t> params, uint32_t result = 0) {
  FunctionInfo f;
  f.french = f.english = name;
  f.syntaxes.push_back(SyntaxInfo{entry, result, std::move(params)});
  return f;
}

class ScriptVM : public Script {
 protected:
  void SetUp() override {
    Script::SetUp();
    in_->AddFunction(Stand("Assign", &AssignEntry, {KL_T_VARIANT, KL_T_VARIANT}));
    in_->AddFunction(Stand("CallBack", &CallBackEntry, {KL_T_TEXT_DIRECT, KL_T_INT}, KL_T_INT));
    in_->AddFunction(Stand("Post", &PostEntry, {KL_T_TEXT_DIRECT, KL_T_INT}, KL_T_INT));
    in_->AddFunction(Stand("PostLater", &PostLaterEntry, {KL_T_TEXT_DIRECT, KL_T_INT}));
  }
  void TearDown() override {
    if (gLater.joinable()) gLater.join();
    lib_->program().RunPosted();  // nothing left for the next test
  }
};

TEST_F(ScriptVM, ByReferenceVariablesReceiveTheAssignedValue) {
  Run(R"(
x = 1
Assign(x, "new")
PROCEDURE inner()
  local = 5
  Assign(local, local * 2)
  RETURN local
END
y = 7
Assign(y + 0, 99)        // an expression is no variable: nothing to write
Assign(7, 99)
Trace(x, inner(), y)
)");
  EXPECT_EQ(out_, (std::vector<std::string>{"new 10 7"}));
  EXPECT_EQ(in_->globals().at("x").type, uint32_t{KL_T_TEXT});
  EXPECT_EQ(Library::LiveVariants(), 0);
}

TEST_F(ScriptVM, TheLibraryCallsProceduresBack) {
  Run("PROCEDURE twice(n)\n  RETURN n * 2\nEND\nTrace(CallBack(\"TWICE\", 21), CallBack(\"nosuch\", 1))");
  EXPECT_EQ(out_, (std::vector<std::string>{"42 -1"}));
  // Through the slots directly, as the library makes them.
  ExecContext* c = lib_->program().context();
  const uintptr_t p = c->ops->FindProcedure(c, u"Twice");
  ASSERT_NE(p, 0u);
  EXPECT_EQ(c->ops->FindProcedure(c, u"twice"), p) << "one handle per procedure";
  EXPECT_EQ(c->ops->FindProcedure(c, u"absent"), 0u);
  KLValue arg{}, result{};
  arg.type = KL_T_INT;
  arg.u.i32 = 5;
  ASSERT_EQ(c->ops->CallProcedure(c, p, 1, &arg, &result), 1);
  EXPECT_EQ(result.type, uint32_t{KL_T_INT});
  EXPECT_EQ(result.u.i32, 10);
  EXPECT_EQ(c->ops->CallProcedure(c, p + 1000, 1, &arg, &result), 0);
  EXPECT_EQ(c->ops->CallProcedure(c, p, 2, nullptr, &result), 0);
}

TEST_F(ScriptVM, AFailureInACalledBackProcedureStopsTheScript) {
  const ScriptError e = ErrorOf("PROCEDURE bad(n)\n  RETURN n / 0\nEND\nx = CallBack(\"bad\", 1)\nTrace(\"not reached\")",
                                "c.kl");
  EXPECT_EQ(e.Describe(),
            "c.kl:2:12: division by zero\n    RETURN n / 0\n             ^\n  in bad\n"
            "  called back by CallBack at c.kl:4:5");
  EXPECT_TRUE(out_.empty());
  // Directly: the slot answers 0 and nothing escapes into the caller.
  ExecContext* c = lib_->program().context();
  KLValue arg{};
  arg.type = KL_T_INT;
  EXPECT_EQ(c->ops->CallProcedure(c, c->ops->FindProcedure(c, u"bad"), 1, &arg, nullptr), 0);
}

TEST_F(ScriptVM, PostedCallsRunBetweenStatementsOnTheScriptThread) {
  Run(R"(
hits = ""
PROCEDURE tick(n)
  hits = hits + n
END
Trace(Post("tick", 3), hits)   // queued, not yet run: this statement is not over
Trace(hits)
)");
  EXPECT_EQ(out_, (std::vector<std::string>{"3 ", "123"}));
  // Slot 22 refuses an unknown handle and queues nothing.
  ExecContext* c = lib_->program().context();
  KLValue arg{};
  EXPECT_EQ(c->ops->PostProcedure(c, 0, 1, &arg), 0);
  EXPECT_EQ(c->ops->PostProcedure(c, 12345, 1, &arg), 0);
  EXPECT_FALSE(lib_->program().HasPosted());
}

TEST_F(ScriptVM, WaitRunsCallsPostedWhileWaiting) {
  const auto start = std::chrono::steady_clock::now();
  Run(R"(
got = "nothing"
PROCEDURE arrived(t)
  got = t
END
PostLater("arrived", 30)
Trace(got)
Attends(2000)
Trace(got)
)");
  EXPECT_EQ(out_, (std::vector<std::string>{"nothing", "late"}));
  // Wait lasts its whole time; only the arrival is checked, not the clock.
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2000));
}

TEST_F(ScriptVM, ProceduresLeaveTheProgramWithTheirInterpreter) {
  Run("PROCEDURE gone()\nEND");
  ExecContext* c = lib_->program().context();
  EXPECT_NE(c->ops->FindProcedure(c, u"gone"), 0u);
  in_.reset();
  EXPECT_EQ(c->ops->FindProcedure(c, u"gone"), 0u);
}

// --- the command line ------------------------------------------------------
std::pair<int, std::string> Host(const std::string& arguments) {
  FILE* pipe = popen((std::string(KP_HOST_PATH) + " " + arguments + " 2>&1").c_str(), "r");
  if (!pipe) return {-1, ""};
  std::string out;
  char buffer[4096];
  while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
  const int status = pclose(pipe);
  return {WEXITSTATUS(status), out};
}

TEST(ScriptCommand, RunReportsWhereTheScriptStopped) {
  const kp::test::TempDir temp("kp-script");
  ASSERT_TRUE(temp.ok());
  const std::string dir = temp.path();
  const std::string good = dir + "/good.kl", bad = dir + "/bad.kl";
  FILE* f = std::fopen(good.c_str(), "w");
  ASSERT_NE(f, nullptr) << good;
  std::fputs("POUR i = 1 A 3\n  SI EstPair(i) ALORS Trace(i, \"pair\") FIN\nFIN\n", f);
  ASSERT_EQ(std::fclose(f), 0);
  f = std::fopen(bad.c_str(), "w");
  ASSERT_NE(f, nullptr) << bad;
  std::fputs("Trace(\"first\")\nx = 1 + \"a\" - 1\nTrace(\"never\")\n", f);
  ASSERT_EQ(std::fclose(f), 0);
  auto [status, out] = Host("run " + good);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(out, "2 pair\n");
  std::tie(status, out) = Host("run " + bad);
  EXPECT_EQ(status, 2);
  EXPECT_EQ(out, "first\n" + bad + ":2:13: '-' does not take a text and an integer\n" + "    x = 1 + \"a\" - 1\n" +
                     "                ^\n");
  std::tie(status, out) = Host("run " + dir + "/absent.kl");
  EXPECT_EQ(status, 2);
  // Piped into the prompt, lines are a script.
  std::tie(status, out) = Host("repl < " + good);
  EXPECT_EQ(out, "2 pair\n");
}

}  // namespace
