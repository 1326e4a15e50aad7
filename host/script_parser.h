// kp — the syntax tree of KL scripts and the parser that builds it.
//
// A script is statements and procedure declarations, one statement per line
// (or several separated by ';'). Keywords have an English and a French
// spelling and match whatever the case:
//
//   IF c THEN … [ELSE …] END            SI c ALORS … [SINON …] FIN
//   WHILE c … END                       TANTQUE c … FIN
//   FOR i = a TO b [STEP s] … END       POUR i = a À b [PAS s] … FIN   (A for À)
//   PROCEDURE p(x, y) … END             PROCÉDURE p(x, y) … FIN
//   RETURN [e]                          RENVOYER [e]
//   AND OR NOT TRUE FALSE               ET OU PAS VRAI FAUX
//
// Precedence, loosest first: OR; AND; NOT; comparisons (= <> < <= > >=,
// which do not chain); + -; * / %; unary -. The statement `name = e` assigns;
// `=` inside an expression compares. TO/À/A and STEP/PAS are keywords only
// in a FOR header, so `a` stays a usable variable name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "script_error.h"
#include "vm.h"

namespace kphost {

enum class Op { Neg, Not, Add, Sub, Mul, Div, Mod, Eq, Ne, Lt, Le, Gt, Ge, And, Or };
const char* OpName(Op op);

struct Expr {
  enum Kind { Literal, Name, Unary, Binary, Call } kind = Literal;
  ScriptPosition at;
  Value value;       // Literal
  std::string name;  // Name, Call: as written
  Op op = Op::Add;   // Unary, Binary
  std::vector<std::unique_ptr<Expr>> operands;  // Unary: 1, Binary: 2, Call: the arguments
};

struct Stmt {
  enum Kind { Assign, Evaluate, If, While, For, Return } kind = Evaluate;
  ScriptPosition at;
  std::string name;  // Assign, For: the variable as written
  std::unique_ptr<Expr> value;  // Assign, Evaluate; If/While: the condition; For: the start; Return: null or e
  std::unique_ptr<Expr> limit, step;  // For; step may be null
  std::vector<std::unique_ptr<Stmt>> body, otherwise;  // otherwise: If's ELSE
};

struct Procedure {
  std::string name;
  std::string file;
  std::shared_ptr<const std::string> source;  // the text of `file`, quoted in errors
  ScriptPosition at;
  std::vector<std::string> params;
  std::vector<std::unique_ptr<Stmt>> body;
};

struct Script {
  std::string file;
  std::shared_ptr<const std::string> source;  // the whole text, quoted in errors
  std::vector<std::shared_ptr<const Procedure>> procedures;
  std::vector<std::unique_ptr<Stmt>> statements;
};

// Throws ScriptError. Nesting (blocks, parentheses, operators) deeper than
// kMaxNesting is refused rather than risking the stack.
Script Parse(std::string_view source, const std::string& file);
constexpr int kMaxNesting = 200;

}  // namespace kphost
