// kp — the parser of KL scripts (see script_parser.h).
#include "script_parser.h"

#include <initializer_list>

#include "script_lexer.h"
#include "text.h"

namespace kphost {
namespace {

// The two spellings of each keyword, folded.
bool Is(const Token& t, std::initializer_list<std::string_view> spellings) {
  if (t.kind != Token::Name) return false;
  for (auto s : spellings)
    if (t.folded == s) return true;
  return false;
}
const std::initializer_list<std::string_view> kIf{"if", "si"}, kThen{"then", "alors"}, kElse{"else", "sinon"},
    kEnd{"end", "fin"}, kWhile{"while", "tantque"}, kFor{"for", "pour"}, kTo{"to", "a", "\xc3\xa0"},
    kStep{"step", "pas"}, kProcedure{"procedure", "proc\xc3\xa9" "dure"}, kReturn{"return", "renvoyer"},
    kAnd{"and", "et"}, kOr{"or", "ou"}, kNot{"not", "pas"}, kTrue{"true", "vrai"}, kFalse{"false", "faux"};

bool Reserved(const Token& t) {
  for (const auto* set : {&kIf, &kThen, &kElse, &kEnd, &kWhile, &kFor, &kProcedure, &kReturn, &kAnd, &kOr, &kNot,
                          &kTrue, &kFalse})
    if (Is(t, *set)) return true;
  return false;
}

class Parser {
 public:
  Parser(std::vector<Token> tokens, const std::string& file, std::shared_ptr<const std::string> source)
      : t_(std::move(tokens)), file_(file), source_(std::move(source)) {}

  Script Run() {
    Script script;
    script.file = file_;
    script.source = source_;
    SkipSeparators();
    while (Peek().kind != Token::End) {
      if (Is(Peek(), kProcedure)) {
        script.procedures.push_back(ProcedureDeclaration());
      } else {
        if (Is(Peek(), kEnd) || Is(Peek(), kElse)) Fail(Peek(), "'" + Peek().text + "' without a block to close");
        script.statements.push_back(Statement());
      }
      EndOfStatement();
    }
    return script;
  }

 private:
  const Token& Peek(size_t ahead = 0) const { return t_[std::min(pos_ + ahead, t_.size() - 1)]; }
  const Token& Next() {
    const Token& t = t_[pos_];
    if (pos_ + 1 < t_.size()) ++pos_;
    return t;
  }
  bool IsSymbol(const Token& t, std::string_view s) const { return t.kind == Token::Symbol && t.text == s; }
  static std::string Shown(const Token& t) {
    switch (t.kind) {
      case Token::End: return "the end of the text";
      case Token::LineEnd: return "the end of the line";
      case Token::Literal: return "a value";
      default: return "'" + t.text + "'";
    }
  }
  [[noreturn]] void Fail(const Token& t, const std::string& what) const {
    throw ScriptError(file_, t.at, what, t.kind == Token::End);
  }
  void Expect(std::string_view symbol, const char* what) {
    if (!IsSymbol(Peek(), symbol)) Fail(Peek(), std::string(what) + " expected, not " + Shown(Peek()));
    Next();
  }
  // The ')' of the '(' at `open`: when the text ends first, the message
  // says where the parenthesis was opened, since line ends inside
  // parentheses are blanks and the end may be far below it.
  void ExpectClose(ScriptPosition open, const char* what) {
    if (Peek().kind == Token::End) Fail(Peek(), "the '(' opened at " + Opened(open) + " is not closed");
    Expect(")", what);
  }
  static std::string Opened(ScriptPosition at) {
    return "line " + std::to_string(at.line) + ", column " + std::to_string(at.column);
  }
  void SkipSeparators() {
    while (Peek().kind == Token::LineEnd || IsSymbol(Peek(), ";")) Next();
  }
  // A statement ends at a line end, ';', the end of the text, or where the
  // enclosing block's END/ELSE begins (so `IF c THEN x = 1 END` fits a line).
  void EndOfStatement() {
    const Token& t = Peek();
    if (t.kind == Token::LineEnd || IsSymbol(t, ";")) {
      SkipSeparators();
      return;
    }
    if (t.kind == Token::End || Is(t, kEnd) || Is(t, kElse)) return;
    Fail(t, "the statement should end before " + Shown(t));
  }

  struct Nest {
    Parser& p;
    Nest(Parser& parser, const Token& at) : p(parser) {
      if (++p.depth_ > kMaxNesting) p.Fail(at, "nesting deeper than " + std::to_string(kMaxNesting) + " levels");
    }
    ~Nest() { --p.depth_; }
  };

  std::string NameOf(const char* what) {
    const Token& t = Peek();
    if (t.kind != Token::Name || Reserved(t)) Fail(t, std::string(what) + " expected, not " + Shown(t));
    return Next().text;
  }

  std::shared_ptr<const Procedure> ProcedureDeclaration() {
    auto proc = std::make_shared<Procedure>();
    proc->at = Next().at;
    proc->file = file_;
    proc->source = source_;
    proc->name = NameOf("a procedure name");
    const ScriptPosition open = Peek().at;
    Expect("(", "'('");
    if (!IsSymbol(Peek(), ")")) {
      for (;;) {
        const Token& at = Peek();
        std::string param = NameOf("a parameter name");
        for (const auto& p : proc->params)
          if (FoldName(p) == at.folded) Fail(at, "the parameter " + param + " is named twice");
        proc->params.push_back(std::move(param));
        if (!IsSymbol(Peek(), ",")) break;
        Next();
      }
    }
    ExpectClose(open, "',' or ')'");
    proc->body = Block("procedure " + proc->name, proc->at);
    return proc;
  }

  // Statements up to END (consumed) or, when `allowElse`, ELSE (left).
  // `opened`: where the block's keyword is, for a block left open.
  std::vector<std::unique_ptr<Stmt>> Block(const std::string& what, ScriptPosition opened, bool allowElse = false) {
    std::vector<std::unique_ptr<Stmt>> body;
    SkipSeparators();
    for (;;) {
      const Token& t = Peek();
      if (t.kind == Token::End) Fail(t, "END expected to close the " + what + " opened at " + Opened(opened));
      if (Is(t, kEnd)) break;
      if (Is(t, kElse)) {
        if (allowElse) return body;
        Fail(t, "'" + t.text + "' outside an IF");
      }
      if (Is(t, kProcedure)) Fail(t, "a procedure is declared outside any block");
      body.push_back(Statement());
      EndOfStatement();
    }
    Next();  // END
    return body;
  }
  std::unique_ptr<Stmt> Statement() {
    const Token& first = Peek();
    Nest nest(*this, first);
    auto s = std::make_unique<Stmt>();
    s->at = first.at;
    if (Is(first, kIf)) {
      Next();
      s->kind = Stmt::If;
      s->value = Expression();
      if (!Is(Peek(), kThen)) Fail(Peek(), "THEN expected after the condition, not " + Shown(Peek()));
      Next();
      s->body = Block("IF", first.at, true);
      if (Is(Peek(), kElse)) {  // else the block ended at END, already taken
        const ScriptPosition otherwise = Next().at;
        s->otherwise = Block("ELSE", otherwise);
      }
      return s;
    }
    if (Is(first, kWhile)) {
      Next();
      s->kind = Stmt::While;
      s->value = Expression();
      s->body = Block("WHILE", s->at);
      return s;
    }
    if (Is(first, kFor)) {
      Next();
      s->kind = Stmt::For;
      s->name = NameOf("the loop variable");
      Expect("=", "'='");
      s->value = Expression();
      if (!Is(Peek(), kTo)) Fail(Peek(), "TO expected, not " + Shown(Peek()));
      Next();
      s->limit = Expression();
      if (Is(Peek(), kStep)) {
        Next();
        s->step = Expression();
      }
      s->body = Block("FOR", s->at);
      return s;
    }
    if (Is(first, kReturn)) {
      Next();
      s->kind = Stmt::Return;
      const Token& t = Peek();
      if (t.kind != Token::LineEnd && t.kind != Token::End && !IsSymbol(t, ";") && !Is(t, kEnd) && !Is(t, kElse))
        s->value = Expression();
      return s;
    }
    if (first.kind == Token::Name && !Reserved(first) && IsSymbol(Peek(1), "=")) {
      s->kind = Stmt::Assign;
      s->name = Next().text;
      Next();  // '='
      s->value = Expression();
      return s;
    }
    s->kind = Stmt::Evaluate;
    s->value = Expression();
    return s;
  }

  std::unique_ptr<Expr> Make(Expr::Kind kind, ScriptPosition at) {
    auto e = std::make_unique<Expr>();
    e->kind = kind;
    e->at = at;
    return e;
  }
  std::unique_ptr<Expr> Binary(Op op, ScriptPosition at, std::unique_ptr<Expr> l, std::unique_ptr<Expr> r) {
    auto e = Make(Expr::Binary, at);
    e->op = op;
    e->operands.push_back(std::move(l));
    e->operands.push_back(std::move(r));
    return e;
  }

  std::unique_ptr<Expr> Expression() {
    Nest nest(*this, Peek());
    auto left = AndExpr();
    while (Is(Peek(), kOr)) {
      const ScriptPosition at = Next().at;
      left = Binary(Op::Or, at, std::move(left), AndExpr());
    }
    return left;
  }
  std::unique_ptr<Expr> AndExpr() {
    auto left = NotExpr();
    while (Is(Peek(), kAnd)) {
      const ScriptPosition at = Next().at;
      left = Binary(Op::And, at, std::move(left), NotExpr());
    }
    return left;
  }
  std::unique_ptr<Expr> NotExpr() {
    if (Is(Peek(), kNot)) {
      Nest nest(*this, Peek());
      auto e = Make(Expr::Unary, Next().at);
      e->op = Op::Not;
      e->operands.push_back(NotExpr());
      return e;
    }
    return Comparison();
  }
  bool ComparisonOp(Op& op) const {
    const Token& t = Peek();
    if (t.kind != Token::Symbol) return false;
    static const std::pair<std::string_view, Op> kOps[] = {{"=", Op::Eq}, {"<>", Op::Ne}, {"<", Op::Lt},
                                                           {"<=", Op::Le}, {">", Op::Gt},  {">=", Op::Ge}};
    for (auto [text, o] : kOps)
      if (t.text == text) {
        op = o;
        return true;
      }
    return false;
  }
  std::unique_ptr<Expr> Comparison() {
    auto left = Sum();
    Op op;
    if (!ComparisonOp(op)) return left;
    const ScriptPosition at = Next().at;
    left = Binary(op, at, std::move(left), Sum());
    if (ComparisonOp(op)) Fail(Peek(), "comparisons do not chain: join them with AND");
    return left;
  }
  std::unique_ptr<Expr> Sum() {
    auto left = Product();
    while (IsSymbol(Peek(), "+") || IsSymbol(Peek(), "-")) {
      const Token& t = Next();
      const Op op = t.text == "+" ? Op::Add : Op::Sub;
      left = Binary(op, t.at, std::move(left), Product());
    }
    return left;
  }
  std::unique_ptr<Expr> Product() {
    auto left = Unary();
    while (IsSymbol(Peek(), "*") || IsSymbol(Peek(), "/") || IsSymbol(Peek(), "%")) {
      const Token& t = Next();
      const Op op = t.text == "*" ? Op::Mul : t.text == "/" ? Op::Div : Op::Mod;
      left = Binary(op, t.at, std::move(left), Unary());
    }
    return left;
  }
  std::unique_ptr<Expr> Unary() {
    if (IsSymbol(Peek(), "-")) {
      Nest nest(*this, Peek());
      auto e = Make(Expr::Unary, Next().at);
      e->op = Op::Neg;
      e->operands.push_back(Unary());
      return e;
    }
    return Primary();
  }
  std::unique_ptr<Expr> Primary() {
    const Token& t = Peek();
    if (t.kind == Token::Literal) {
      auto e = Make(Expr::Literal, t.at);
      e->value = Next().value;
      return e;
    }
    if (IsSymbol(t, "(")) {
      const ScriptPosition open = Next().at;
      auto e = Expression();
      ExpectClose(open, "')'");
      return e;
    }
    if (Is(t, kTrue) || Is(t, kFalse)) {
      auto e = Make(Expr::Literal, t.at);
      e->value = Value::Bool(Is(t, kTrue));
      Next();
      return e;
    }
    if (t.kind != Token::Name || Reserved(t)) Fail(t, "an expression expected, not " + Shown(t));
    const Token& name = Next();
    if (!IsSymbol(Peek(), "(")) {
      auto e = Make(Expr::Name, name.at);
      e->name = name.text;
      return e;
    }
    auto e = Make(Expr::Call, name.at);
    e->name = name.text;
    const ScriptPosition open = Next().at;  // '('
    if (!IsSymbol(Peek(), ")")) {
      for (;;) {
        e->operands.push_back(Expression());
        if (!IsSymbol(Peek(), ",")) break;
        Next();
      }
    }
    ExpectClose(open, "',' or ')'");
    return e;
  }

  std::vector<Token> t_;
  size_t pos_ = 0;
  const std::string& file_;
  std::shared_ptr<const std::string> source_;
  int depth_ = 0;
};

}  // namespace

const char* OpName(Op op) {
  switch (op) {
    case Op::Neg: return "-";
    case Op::Not: return "NOT";
    case Op::Add: return "+";
    case Op::Sub: return "-";
    case Op::Mul: return "*";
    case Op::Div: return "/";
    case Op::Mod: return "%";
    case Op::Eq: return "=";
    case Op::Ne: return "<>";
    case Op::Lt: return "<";
    case Op::Le: return "<=";
    case Op::Gt: return ">";
    case Op::Ge: return ">=";
    case Op::And: return "AND";
    case Op::Or: return "OR";
  }
  return "?";
}

Script Parse(std::string_view source, const std::string& file) {
  auto text = std::make_shared<const std::string>(source);
  try {
    return Parser(Lex(source, file), file, text).Run();
  } catch (ScriptError& e) {
    e.Quote(source);
    throw;
  }
}

}  // namespace kphost
