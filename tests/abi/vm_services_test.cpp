// What the library asks of the VM beyond SetResult goes through the VM
// services object of the ExecContext, never through later slots of the
// IVMServices table. The host's table has exactly 150 operations and an
// inaccessible page after it, so a read past SetResult faults; the calls run
// in a child process (a death test) so that a fault fails the test instead of
// ending the whole run.
#include <csignal>
#include <cstdlib>
#include <thread>

#include <unistd.h>

#include "abi_support.h"
#include "eval.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
// AddressSanitizer catches the fault, reports it and exits with status 1.
const auto kFaulted = ::testing::ExitedWithCode(1);
#elif defined(_WIN32)
// An access violation ends a Windows process with its exception code.
const auto kFaulted = ::testing::ExitedWithCode(static_cast<int>(0xC0000005u));
#else
const auto kFaulted = ::testing::KilledBySignal(SIGSEGV);
#endif

using kphost::Library;
using kphost::Value;

TEST(VMServicesDeathTest, TheHostTableEndsAfterSetResult) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto* slots = reinterpret_cast<const volatile KLSlot*>(Library::Services()->ops);
  // Slot 149 is SetResult and readable; slot 150 is on the guard page.
  EXPECT_NE(slots[KL_VM_SLOT_SETRESULT], nullptr);
  EXPECT_EXIT(
      {
        KLSlot past = slots[KL_VM_MIN_OPERATIONS];
        std::exit(past == nullptr ? 3 : 4);
      },
      kFaulted, "");
}

TEST(VMServicesDeathTest, VariantResultsNeedNoSlotAfterSetResult) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto lib = kp::abi::Load();
        if (!lib) std::exit(10);
        kphost::Evaluator e(*lib);
        const int64_t before = Library::ServiceCalls();
        // Hasard with bounds and INILit both answer with a variant (code 31).
        const auto dice = e.Evaluate("Hasard(1, 6)");
        if (!dice.ok() || dice.value.type != KL_T_INT || dice.value.integer < 1 || dice.value.integer > 6)
          std::exit(11);
        if (Library::ServiceCalls() <= before) std::exit(12);  // the variant came from the services object
        if (Library::LiveVariants() != 0) std::exit(13);       // and was released after SetResult
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

// A program whose VM offers no services object gets a clean error for a
// variant result, not a crash.
TEST(VMServices, NoServicesObjectIsAnErrorNotACrash) {
  auto lib = kp::abi::Load();
  ExecContext* context = lib->program().context();
  KLVMServices* saved = context->services;
  context->services = nullptr;
  const auto* f = lib->FindFunction("Hasard");
  ASSERT_NE(f, nullptr);
  Value result;
  std::string why;
  EXPECT_EQ(lib->Call(*f, {Value::Int(1), Value::Int(6)}, result, why), Library::CallStatus::Ok) << why;
  context->services = saved;
  EXPECT_EQ(result.type, uint32_t{KL_T_NONE}) << "no result was handed over";
  EXPECT_TRUE(lib->program().ReadError().present());
  EXPECT_EQ(Library::LiveVariants(), 0);
  lib->program().ClearError();
}

// A text result's block is freed through the per-thread string manager the
// VM keeps under its thread-local index; on a thread whose slot is empty,
// through the string service.
TEST(StringBlocks, ReleasedThroughTheThreadManagerOfTheVM) {
  auto lib = kp::abi::Load();
  const auto* f = lib->FindFunction("DateSys");
  ASSERT_NE(f, nullptr);
  auto call = [&] {
    Value result;
    std::string why;
    EXPECT_EQ(lib->Call(*f, {}, result, why), Library::CallStatus::Ok) << why;
    EXPECT_EQ(result.text.size(), 8u);
  };
  const auto before = Library::Counters();
  call();
  const auto loader = Library::Counters();
  EXPECT_EQ(loader.threadManagerFrees - before.threadManagerFrees, 1);
  EXPECT_EQ(loader.serviceFrees, before.serviceFrees);
  std::thread(call).join();  // the host filled the slot of its loading thread only
  const auto other = Library::Counters();
  EXPECT_EQ(other.threadManagerFrees, loader.threadManagerFrees);
  EXPECT_EQ(other.serviceFrees - loader.serviceFrees, 1);
  EXPECT_EQ(Library::LiveBlocks(), 0);
}

}  // namespace

namespace {

// 8-bit text of the families (text files, INI files) goes through the VM's
// conversion services, each result handed back to FinConversion.
TEST(Conversions, TextFilesAndIniFilesConvertThroughTheVM) {
  auto lib = kp::abi::Load();
  kphost::Evaluator e(*lib);
  const std::string dir = "\\conv" + std::to_string(getpid());
  ASSERT_EQ(e.Evaluate("fRepCr\xc3\xa9" "e(\"" + dir + "\")").value.integer, 1);
  const auto before = Library::Counters();
  EXPECT_EQ(e.Evaluate("INIEcrit(\"S\", \"K\", \"\xc3\xa9t\xc3\xa9\", \"" + dir + "\\c.ini\")").value.integer, 1);
  const auto written = Library::Counters();
  EXPECT_GT(written.conversions, before.conversions);
  EXPECT_EQ(written.conversionEnds - before.conversionEnds, written.conversions - before.conversions);
  const auto read = e.Evaluate("INILit(\"S\", \"K\", \"\", \"" + dir + "\\c.ini\")");
  EXPECT_EQ(read.value.text, u"\u00e9t\u00e9");
  EXPECT_GT(Library::Counters().conversions, written.conversions);
  const auto saved = Library::Counters();
  EXPECT_EQ(e.Evaluate("fSauveTexte(\"" + dir + "\\t.txt\", \"caf\xc3\xa9\")").value.integer, 1);
  EXPECT_EQ(e.Evaluate("fChargeTexte(\"" + dir + "\\t.txt\")").value.text, u"caf\u00e9");
  const auto after = Library::Counters();
  EXPECT_GE(after.conversions - saved.conversions, 2);
  EXPECT_EQ(after.conversionEnds - saved.conversionEnds, after.conversions - saved.conversions);
}

}  // namespace
