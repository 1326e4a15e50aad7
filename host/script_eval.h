// kp — runs KL scripts against a loaded library, as a VM runs a program.
//
// Names (variables, procedures, functions) match whatever the case. A call
// resolves to: the built-ins Trace and Wait (Attends); a procedure of the
// script; a function added with AddFunction; a library function by either
// name, through Library::Call. After each library call the error record is
// read, handed to onLibraryError and cleared. A variable passed where the
// function takes a variant is passed by reference: when the function
// assigns it (slot 23), the variable holds the new value after the call.
//
// Variables assigned outside procedures are global. Inside a procedure a
// name is its parameter or local if it has one, else the global if there is
// one, else a new local. Procedures are registered in Program::procedures,
// so the library can find, call and post to them; posted calls run between
// statements and during Wait.
//
// One thread: the Library's. Not re-entrant across Interpreters sharing a
// Library (the last one created owns the procedure names it registers).
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "script_error.h"
#include "script_parser.h"
#include "vm.h"

namespace kphost {

class Interpreter {
 public:
  explicit Interpreter(Library& library);
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // Declares the script's procedures (a later one replaces an earlier one of
  // the same name), then runs its statements. Returns the value of the last
  // top-level statement when it is an expression or an assignment (what the
  // prompt shows), else none. Throws ScriptError; the globals and the
  // procedures declared so far stay.
  Value Run(const Script& script);

  // Output of Trace(…), one line per call.
  std::function<void(const std::string& line)> trace;
  // The error record a library call left, with where the call is.
  std::function<void(const ErrorState& error, const std::string& where)> onLibraryError;
  // Procedure calls deeper than this stop the script.
  int maxDepth = 200;
  // Set from another thread or a signal handler: the script stops at its
  // next statement or loop turn with "interrupted".
  const std::atomic<bool>* stop = nullptr;

  // A function of another component, called through the same frame as the
  // library's (tests use it to stand in for library functions that call back).
  void AddFunction(FunctionInfo function);

  std::map<std::string, Value>& globals() { return globals_; }  // folded names
  const std::map<std::string, std::shared_ptr<const Procedure>>& procedures() const { return procedures_; }
  int libraryErrors() const { return libraryErrors_; }

 private:
  struct Frame {
    const Procedure* procedure;
    std::map<std::string, Value> locals;  // folded names
    Value result;
  };
  enum class Flow { Next, Return };

  Flow Execute(const std::vector<std::unique_ptr<Stmt>>& block);
  Flow Execute(const Stmt& s);
  Value Evaluate(const Expr& e);
  Value CallNamed(const Expr& e);
  // `at`: the call in the script; null when the library calls back.
  Value CallProcedure(const Procedure& p, std::vector<Value> args, const ScriptPosition* at);
  Value CallFunction(const FunctionInfo& f, const Expr& e, std::vector<Value> args);
  Value Builtin(const std::string& folded, const Expr& e, const std::vector<Value>& args, bool& handled);
  Value* Find(const std::string& folded);
  void Assign(const std::string& folded, Value v);
  void SafePoint(ScriptPosition at);
  bool Condition(const Expr& e, const char* what);
  static ScriptPosition StartOf(const Expr& e);
  [[noreturn]] void Fail(ScriptPosition at, const std::string& what) const;
  std::string Where(ScriptPosition at) const;

  Library& library_;
  std::map<std::string, Value> globals_;
  std::map<std::string, std::shared_ptr<const Procedure>> procedures_;
  std::map<std::string, FunctionInfo> functions_;
  std::deque<Frame> frames_;  // references stay valid as calls nest
  std::string file_;  // of the code running now
  std::shared_ptr<const std::string> source_;  // its text, quoted in errors
  // A failure inside a procedure the library called back: the library only
  // sees CallProcedure answer 0; the script stops when the library returns.
  std::optional<ScriptError> pending_;
  int libraryErrors_ = 0;
  Value lastValue_;  // of the statement that ran last, for Run's answer
};

}  // namespace kphost
