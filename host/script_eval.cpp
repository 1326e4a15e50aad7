// kp — the interpreter of KL scripts (see script_eval.h).
#include "script_eval.h"

#include <chrono>

#include "eval.h"
#include "names.h"
#include "script_ops.h"
#include "text.h"

namespace kphost {

Interpreter::Interpreter(Library& library) : library_(library) {}

Interpreter::~Interpreter() {
  for (const auto& [name, proc] : procedures_) library_.program().procedures.erase(name);
}

void Interpreter::AddFunction(FunctionInfo function) {
  const std::string french = FoldName(function.french), english = FoldName(function.english);
  functions_[french] = function;
  functions_[english] = std::move(function);
}

std::string Interpreter::Where(ScriptPosition at) const { return DescribePosition(file_, at); }

void Interpreter::Fail(ScriptPosition at, const std::string& what) const {
  ScriptError error(file_, at, what);
  if (source_) error.Quote(*source_);
  throw error;
}

Value Interpreter::Run(const Script& script) {
  file_ = script.file;
  source_ = script.source;
  frames_.clear();
  for (const auto& proc : script.procedures) {
    const std::string folded = FoldName(proc->name);
    procedures_[folded] = proc;
    library_.program().procedures[folded] = [this, proc](const std::vector<Value>& args) {
      // Called by the library (slot 21) or from a posted call (slot 22).
      const std::string outer = file_;
      const auto outerSource = source_;
      try {
        Value v = CallProcedure(*proc, args, nullptr);
        file_ = outer;
        source_ = outerSource;
        return v;
      } catch (const ScriptError& e) {
        file_ = outer;
        source_ = outerSource;
        pending_ = e;
        throw;
      }
    };
  }
  Value last;
  for (const auto& s : script.statements) {
    SafePoint(s->at);
    lastValue_ = Value{};
    const Flow flow = Execute(*s);
    const bool valued = s->kind == Stmt::Evaluate || s->kind == Stmt::Assign || s->kind == Stmt::Return;
    last = valued ? std::move(lastValue_) : Value{};
    if (flow == Flow::Return) break;
  }
  // Calls posted by the last statement still run before the script ends.
  if (library_.program().HasPosted()) library_.program().RunPosted();
  return last;
}

void Interpreter::SafePoint(ScriptPosition at) {
  if (stop && stop->load()) Fail(at, "interrupted");
  if (!library_.program().HasPosted()) return;
  pending_.reset();
  library_.program().RunPosted();
}

Interpreter::Flow Interpreter::Execute(const std::vector<std::unique_ptr<Stmt>>& block) {
  for (const auto& s : block) {
    SafePoint(s->at);
    if (Execute(*s) == Flow::Return) return Flow::Return;
  }
  return Flow::Next;
}

Interpreter::Flow Interpreter::Execute(const Stmt& s) {
  try {
    switch (s.kind) {
      case Stmt::Assign:
        lastValue_ = Evaluate(*s.value);
        Assign(FoldName(s.name), lastValue_);
        return Flow::Next;
      case Stmt::Evaluate: lastValue_ = Evaluate(*s.value); return Flow::Next;
      case Stmt::If: return Execute(Condition(*s.value, "the condition of IF") ? s.body : s.otherwise);
      case Stmt::While:
        while (Condition(*s.value, "the condition of WHILE")) {
          if (Execute(s.body) == Flow::Return) return Flow::Return;
          SafePoint(s.at);  // an empty body is still interruptible
        }
        return Flow::Next;
      case Stmt::For: {
        const Value from = Evaluate(*s.value), to = Evaluate(*s.limit);
        const Value step = s.step ? Evaluate(*s.step) : Value::Int(1);
        if (!IsInteger(from) || !IsInteger(to) || !IsInteger(step)) {
          const bool fromWrong = !IsInteger(from), toWrong = !fromWrong && !IsInteger(to);
          const Value& wrong = fromWrong ? from : toWrong ? to : step;
          const Expr& where = fromWrong ? *s.value : toWrong ? *s.limit : *s.step;
          Fail(StartOf(where), "FOR counts with integers, not " + KindName(wrong));
        }
        if (step.integer == 0) Fail(StartOf(*s.step), "FOR with a step of 0 never ends");
        const std::string var = FoldName(s.name);
        // The limit is read once; the variable is the loop's, but the body
        // may read it (assigning it does not change the count).
        for (int64_t i = from.integer; step.integer > 0 ? i <= to.integer : i >= to.integer;) {
          Assign(var, Value::Int(i));
          if (Execute(s.body) == Flow::Return) return Flow::Return;
          SafePoint(s.at);
          if (__builtin_add_overflow(i, step.integer, &i)) break;
        }
        return Flow::Next;
      }
      case Stmt::Return:
        if (!frames_.empty()) frames_.back().result = s.value ? Evaluate(*s.value) : Value{};
        else if (s.value) lastValue_ = Evaluate(*s.value);
        return Flow::Return;
    }
  } catch (const ValueError& e) {
    Fail(s.at, e.what());
  }
  return Flow::Next;
}

// Where an expression begins: an operator's position is its own, so a
// binary one begins where its left side does.
ScriptPosition Interpreter::StartOf(const Expr& e) { return e.kind == Expr::Binary ? StartOf(*e.operands[0]) : e.at; }

bool Interpreter::Condition(const Expr& e, const char* what) {
  const Value v = Evaluate(e);
  try {
    return Truth(v, what);
  } catch (const ValueError& x) {
    Fail(StartOf(e), x.what());  // the condition, not the IF or WHILE before it
  }
}

Value* Interpreter::Find(const std::string& folded) {
  if (!frames_.empty()) {
    auto& locals = frames_.back().locals;
    if (auto it = locals.find(folded); it != locals.end()) return &it->second;
  }
  if (auto it = globals_.find(folded); it != globals_.end()) return &it->second;
  return nullptr;
}

void Interpreter::Assign(const std::string& folded, Value v) {
  if (Value* existing = Find(folded)) {
    *existing = std::move(v);
  } else if (!frames_.empty()) {
    frames_.back().locals[folded] = std::move(v);
  } else {
    globals_[folded] = std::move(v);
  }
}

Value Interpreter::Evaluate(const Expr& e) {
  switch (e.kind) {
    case Expr::Literal: return e.value;
    case Expr::Name: {
      const std::string folded = FoldName(e.name);
      if (const Value* v = Find(folded)) return *v;
      if (const auto* constant = library_.FindConstant(e.name)) {
        if (constant->kind == KL_CONST_KIND_TEXT) return Value::Text(constant->text);
        if (constant->kind == KL_CONST_KIND_NONE) Fail(e.at, e.name + ": this constant is not available on this platform");
        return Value{KL_T_INT, constant->value};
      }
      if (procedures_.count(folded) || functions_.count(folded) || library_.FindFunction(e.name))
        Fail(e.at, e.name + " is called with parentheses: " + e.name + "()");
      Fail(e.at, "unknown name " + e.name + DidYouMean(library_, e.name));
    }
    case Expr::Unary:
      try {
        return ApplyUnary(e.op, Evaluate(*e.operands[0]));
      } catch (const ValueError& x) {
        Fail(e.at, x.what());
      }
    case Expr::Binary: {
      if (e.op == Op::And || e.op == Op::Or) {
        try {
          const bool left = Truth(Evaluate(*e.operands[0]), e.op == Op::And ? "the left of AND" : "the left of OR");
          if (left == (e.op == Op::Or)) return Value::Bool(left);
          return Value::Bool(Truth(Evaluate(*e.operands[1]), e.op == Op::And ? "the right of AND" : "the right of OR"));
        } catch (const ValueError& x) {
          Fail(e.at, x.what());
        }
      }
      const Value left = Evaluate(*e.operands[0]);
      const Value right = Evaluate(*e.operands[1]);
      try {
        return ApplyBinary(e.op, left, right);
      } catch (const ValueError& x) {
        Fail(e.at, x.what());
      }
    }
    case Expr::Call: return CallNamed(e);
  }
  return {};
}

Value Interpreter::CallNamed(const Expr& e) {
  std::vector<Value> args;
  args.reserve(e.operands.size());
  for (const auto& a : e.operands) args.push_back(Evaluate(*a));
  const std::string folded = FoldName(e.name);
  bool handled = false;
  Value v = Builtin(folded, e, args, handled);
  if (handled) return v;
  if (auto it = procedures_.find(folded); it != procedures_.end()) {
    const auto keep = it->second;  // the prompt may redefine it meanwhile
    return CallProcedure(*keep, std::move(args), &e.at);
  }
  if (auto it = functions_.find(folded); it != functions_.end()) return CallFunction(it->second, e, std::move(args));
  if (const FunctionInfo* f = library_.FindFunction(e.name)) return CallFunction(*f, e, std::move(args));
  Fail(e.at, "unknown function " + e.name + DidYouMean(library_, e.name));
}

Value Interpreter::Builtin(const std::string& folded, const Expr& e, const std::vector<Value>& args, bool& handled) {
  handled = true;
  if (folded == "trace") {
    std::string line;
    for (size_t i = 0; i < args.size(); ++i) line += (i ? " " : "") + Display(args[i]);
    if (trace) trace(line);
    return {};
  }
  if (folded == "wait" || folded == "attends") {
    if (args.size() != 1 || !IsInteger(args[0]) || args[0].integer < 0)
      Fail(e.at, e.name + " takes one integer: milliseconds");
    pending_.reset();
    library_.program().WaitPosted(std::chrono::milliseconds(args[0].integer));
    return {};
  }
  // A table control for the table export: TableCreate(name, titles...)
  // makes it (again, empty), TableAddRow(name, cells...) appends a row;
  // cells are texts as Trace shows them, missing ones empty.
  if (folded == "tablecreate" || folded == "tablecrée") {
    if (args.empty() || args[0].type != KL_T_TEXT) Fail(e.at, e.name + " takes a table name, then its titles");
    Library::Table table;
    for (size_t i = 1; i < args.size(); ++i) table.titles.push_back(Utf16(Display(args[i])));
    Library::VMTables()[Library::TableKey(args[0].text)] = std::move(table);
    return {};
  }
  if (folded == "tableaddrow" || folded == "tableajouteligne") {
    if (args.empty() || args[0].type != KL_T_TEXT) Fail(e.at, e.name + " takes a table name, then its cells");
    auto it = Library::VMTables().find(Library::TableKey(args[0].text));
    if (it == Library::VMTables().end()) Fail(e.at, "no table " + Utf8(args[0].text) + " (TableCreate makes one)");
    Library::Table& table = it->second;
    if (args.size() - 1 > table.titles.size())
      Fail(e.at, e.name + ": " + std::to_string(args.size() - 1) + " cells for " +
                     std::to_string(table.titles.size()) + " columns");
    std::vector<std::u16string> row(table.titles.size());
    for (size_t i = 1; i < args.size(); ++i) row[i - 1] = Utf16(Display(args[i]));
    table.rows.push_back(std::move(row));
    return {};
  }
  handled = false;
  return {};
}

Value Interpreter::CallProcedure(const Procedure& p, std::vector<Value> args, const ScriptPosition* from) {
  const ScriptPosition at = from ? *from : p.at;
  // Called back by the library: the place to show is the declaration.
  const std::string& file = from ? file_ : p.file;
  const auto& source = from ? source_ : p.source;
  auto fail = [&](const std::string& what) {
    ScriptError error(file, at, what);
    if (source) error.Quote(*source);
    throw error;
  };
  if (args.size() != p.params.size())
    fail(p.name + " takes " + std::to_string(p.params.size()) + " argument(s), not " + std::to_string(args.size()));
  if (static_cast<int>(frames_.size()) >= maxDepth)
    fail("recursion deeper than " + std::to_string(maxDepth) + " calls (in " + p.name + ")");
  Frame& frame = frames_.emplace_back(Frame{&p, {}, {}});
  for (size_t i = 0; i < args.size(); ++i) frame.locals[FoldName(p.params[i])] = std::move(args[i]);
  const std::string caller = file_;
  const auto callerSource = source_;
  file_ = p.file;
  source_ = p.source;
  try {
    Execute(p.body);
  } catch (ScriptError& error) {
    file_ = caller;
    source_ = callerSource;
    frames_.pop_back();
    if (error.trail.size() < 8) error.trail.push_back("in " + p.name + (from ? ", called at " + Where(at) : ""));
    throw;
  }
  file_ = caller;
  source_ = callerSource;
  Value result = std::move(frame.result);
  frames_.pop_back();
  return result;
}

Value Interpreter::CallFunction(const FunctionInfo& f, const Expr& e, std::vector<Value> args) {
  Program& program = library_.program();
  Value result;
  std::string why;
  Library::Assigned assigned;
  pending_.reset();
  program.ClearError();
  const auto status = library_.Call(f, args, result, why, &assigned);
  // Named as the script wrote it, in that name's language.
  if (status == Library::CallStatus::NoMatch)
    why = NoSyntaxTakes(f, args, FoldName(e.name) == FoldName(f.english) ? f.english : f.french);
  if (status != Library::CallStatus::Ok) Fail(e.at, why);
  // The VM reads the record after each call and clears it before the next.
  const ErrorState error = program.ReadError();
  program.ClearError();
  if (pending_) {
    ScriptError failure = *pending_;
    pending_.reset();
    if (failure.trail.size() < 8) failure.trail.push_back("called back by " + e.name + " at " + Where(e.at));
    throw failure;
  }
  if (error.present()) {
    ++libraryErrors_;
    if (onLibraryError) onLibraryError(error, Where(e.at));
  }
  // A variable handed to a variant parameter is the variable itself.
  for (size_t i = 0; i < assigned.size() && i < e.operands.size(); ++i) {
    if (!assigned[i] || e.operands[i]->kind != Expr::Name) continue;
    const std::string folded = FoldName(e.operands[i]->name);
    if (Find(folded)) Assign(folded, std::move(*assigned[i]));
  }
  return result;
}

}  // namespace kphost
