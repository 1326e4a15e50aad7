// kp — the reference VM side: loads the library exactly as a VM does and
// calls its functions.
//
// A Library runs the start-up order (conversion services, GeneralParam 2005,
// 2006 and 2008, CommandeComposante 2, the table reads, Execution 5123 and
// 3985) and ends the run with Execution 4875 when destroyed. It owns one
// Program: the ExecContext handed to every entry function, with its error
// record, language, trace, procedures and project answers.
//
// Not thread-safe: one thread drives a Library, as a VM drives one program.
// The one exception is PostProcedure (slot 22), which the library may call
// from any thread: the call is queued and runs on the program's thread when
// it reaches RunPosted or WaitPosted.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kp160std/abi.h"

namespace kphost {

// A KL value as the host sees it. `type` is a KLTypeCode: 0 none, 1 bool,
// 8 int, 9 int64, 12 real, 14/15 handles, 19 text, 27 duration, 28 buffer,
// 10 currency (integer holds the value, scale the 16-bit word).
struct Value {
  uint32_t type = KL_T_NONE;
  int64_t integer = 0;
  double real = 0;
  int16_t scale = 0;
  std::u16string text;
  std::vector<uint8_t> bytes;

  static Value None() { return {}; }
  static Value Bool(bool b) { return Value{KL_T_BOOL, b ? 1 : 0}; }
  static Value Int(int64_t n) {
    return Value{n >= INT32_MIN && n <= INT32_MAX ? uint32_t{KL_T_INT} : uint32_t{KL_T_INT64}, n};
  }
  static Value Real(double r) { return Value{KL_T_REAL, 0, r}; }
  static Value Text(std::u16string t) { return Value{KL_T_TEXT, 0, 0, 0, std::move(t)}; }
  static Value Buffer(std::vector<uint8_t> b) { return Value{KL_T_BUFFER, 0, 0, 0, {}, std::move(b)}; }
};

struct ErrorState {
  int32_t id = 0;
  int32_t level = 1;
  int32_t debugCode = 0;
  std::u16string message;
  uint32_t systemError = 0;
  std::u16string systemText;
  std::u16string module;
  // A system error alone (a failed clock change) is an error too.
  bool present() const { return level != 1 || id != 0 || !message.empty() || systemError != 0; }
};

struct SyntaxInfo {
  KLEntryFunction entry = nullptr;
  uint32_t result = 0;
  std::vector<uint32_t> params;
};

struct FunctionInfo {
  size_t index = 0;
  std::string french, english;  // UTF-8
  uint32_t flags = 0;
  uint32_t identifier = 0;
  std::vector<SyntaxInfo> syntaxes;
  bool available() const;
};

struct ConstantInfo {
  std::string french, english;
  uint32_t flags = 0;
  uint32_t kind = 0;
  int32_t value = 0;
  std::u16string text;  // kind 0x1208
};

struct VariableInfo {
  std::string french, english;
  uint32_t flags = 0;
  uint32_t identifier = 0;
};

// The running program: the ExecContext of every call.
class Program {
 public:
  Program();
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  ExecContext* context() { return &wrapped_.base; }
  CXError& error() { return error_; }
  ErrorState ReadError() const;
  void ClearError();

  void SetLanguage(int32_t code);  // 12 French, anything else English
  const KLLanguage& language() const { return language_; }

  // Answer of the VM service question (code 9 gates the clock).
  std::function<int32_t(int32_t code)> service = [](int32_t) { return 1; };
  // The program's procedures, called back by the library. A procedure that
  // throws makes CallProcedure answer 0; the exception does not cross the
  // library's frames.
  std::map<std::string, std::function<Value(const std::vector<Value>&)>> procedures;  // folded names

  // Runs, on this thread, the calls PostProcedure had queued when RunPosted
  // began; how many ran. A call posted meanwhile waits for the next safe
  // point. Re-entered (from a posted procedure) it runs nothing. An exception
  // of a procedure propagates; the calls behind it stay queued.
  size_t RunPosted();
  // Runs posted calls as they arrive until `timeout` has passed.
  void WaitPosted(std::chrono::milliseconds timeout);
  bool HasPosted() const { return postedCount_.load(std::memory_order_acquire) > 0; }
  std::vector<std::u16string> trace;
  bool traceActive = false;
  std::map<int32_t, std::u16string> project;

 private:
  friend struct ProgramOps;
  struct Wrapped {
    ExecContext base;
    Program* self;
  };
  Wrapped wrapped_;
  CXError error_{};
  KLLanguage language_{};
  struct Posted {
    std::string procedure;  // folded name
    std::vector<Value> args;
  };
  // Handles of FindProcedure are indexes + 1 into procedureHandles_; it and
  // posted_ are shared with the threads that post.
  mutable std::mutex mutex_;
  std::condition_variable postedReady_;
  std::vector<std::string> procedureHandles_;
  std::deque<Posted> posted_;
  std::atomic<size_t> postedCount_{0};
  bool runningPosted_ = false;
  Value lastProcedureResult_;
};

class Library {
 public:
  // Loads and starts the library; null with `error` set when it cannot.
  static std::unique_ptr<Library> Load(const std::string& path, std::string& error, int32_t language = 12,
                                       uintptr_t hookModule = 0);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  const std::vector<FunctionInfo>& functions() const { return functions_; }
  const std::vector<ConstantInfo>& constants() const { return constants_; }
  const std::vector<VariableInfo>& variables() const { return variables_; }
  const std::vector<std::string>& typeNames() const { return typeNames_; }

  // By either name, case folded; accents may be left out when that spells
  // one row only ("Paques" finds Pâques).
  const FunctionInfo* FindFunction(std::string_view name) const;
  const ConstantInfo* FindConstant(std::string_view name) const;

  enum class CallStatus { Ok, NoMatch, Unavailable };
  // Values the library assigned to by-reference arguments (variant
  // parameters) during a call, by argument index; nullopt where it did not.
  using Assigned = std::vector<std::optional<Value>>;
  // Picks the syntax whose parameters match `args` (exact types first, then
  // the conversions a VM makes) and calls its entry function.
  CallStatus Call(const FunctionInfo& function, const std::vector<Value>& args, Value& result, std::string& why,
                  Assigned* assigned = nullptr);
  // Calls one given syntax; the arguments must fit its parameters.
  void CallSyntax(const SyntaxInfo& syntax, const std::vector<Value>& args, Value& result,
                  Assigned* assigned = nullptr);

  Program& program() { return *program_; }
  void SetLanguage(int32_t code);

  // The raw exports, for ABI tests.
  struct Exports {
    decltype(&InfoComposante) info = nullptr;
    decltype(&CommandeComposante) command = nullptr;
    decltype(&Execution) execution = nullptr;
    decltype(&GeneralParam) general = nullptr;
    decltype(&DeclareProxy) declareProxy = nullptr;
    decltype(&pQueryProxy) queryProxy = nullptr;
    decltype(&bInitKLConvFromVM) initConversion = nullptr;
    decltype(&nfCompacte) compact = nullptr;
  };
  const Exports& exports() const { return exports_; }
  void* handle() const { return handle_; }
  // Outcome of the start-up calls, for tests.
  int32_t conversionBound() const { return conversionBound_; }

  // String blocks and variants the host made for the library and that are
  // still alive: both are 0 between calls when nothing leaks.
  static int64_t LiveBlocks();
  // A text block from the VM's string manager, as the VM hands the library
  // texts it is to own (type instances' members, for instance).
  static KLStringHolder MakeTextBlock(std::u16string_view text);
  static int64_t LiveVariants();
  // Calls the library made to the VM services object (variants, objects,
  // information), counted for tests.
  static int64_t ServiceCalls();
  // How the library released string blocks and converted 8-bit text.
  struct Counts {
    int64_t threadManagerFrees = 0;  // through the per-thread manager (TLS index)
    int64_t serviceFrees = 0;        // through the string service (2006)
    int64_t conversions = 0;         // nConversionDepassement and its Ex form
    int64_t conversionEnds = 0;      // FinConversion
  };
  static Counts Counters();
  // The IVMServices object of every call: its table has exactly 150
  // operations and an inaccessible page right after it.
  static const IVMServices* Services();
  // Answers of the VM services object's information question, by number.
  static std::map<int32_t, std::u16string>& VMInformation();

  // The tables a script builds (the content of table controls): by name,
  // whatever the ASCII case. The library reads them through the table
  // operations of the VM services object.
  struct Table {
    std::vector<std::u16string> titles;
    std::vector<std::vector<std::u16string>> rows;  // each as long as titles
  };
  static std::map<std::u16string, Table>& VMTables();  // folded names
  static std::u16string TableKey(std::u16string_view name);

  // Message texts the VM's callback answers (CommandeComposante 2); empty
  // map: the library's own block answers.
  static std::map<uint32_t, std::u16string>& VMMessages();

 private:
  Library() = default;
  bool Start(std::string& error, int32_t language, uintptr_t hookModule);
  void ReadTables();

  void* handle_ = nullptr;
  Exports exports_;
  int32_t conversionBound_ = 0;
  std::unique_ptr<Program> program_;
  std::vector<FunctionInfo> functions_;
  std::vector<ConstantInfo> constants_;
  std::vector<VariableInfo> variables_;
  std::vector<std::string> typeNames_;
  std::map<std::string, size_t> functionIndex_;
  std::map<std::string, size_t> constantIndex_;
  // The same names with the accents dropped too ("paques"): a name typed
  // without its accents is found when it spells one row only.
  std::map<std::string, size_t> looseFunctionIndex_;
  std::map<std::string, size_t> looseConstantIndex_;
};

std::string TypeName(uint32_t code);
// Why a call matched none of the function's syntaxes: the argument types
// given, then each syntax, under `name` (the one the caller wrote).
std::string NoSyntaxTakes(const FunctionInfo& function, const std::vector<Value>& args, const std::string& name);

}  // namespace kphost
