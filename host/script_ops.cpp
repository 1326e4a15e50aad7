// kp — the operators of KL scripts (see script_ops.h).
#include "script_ops.h"

#include <cstring>

#include "eval.h"
#include "text.h"

namespace kphost {
namespace {

uint32_t Plain(const Value& v) { return v.type & ~uint32_t{KL_T_FLAG_8000}; }
bool IsReal(const Value& v) { return Plain(v) == KL_T_REAL; }
bool IsNumber(const Value& v) { return IsInteger(v) || IsReal(v); }
double AsReal(const Value& v) { return IsReal(v) ? v.real : static_cast<double>(v.integer); }

[[noreturn]] void Refuse(Op op, const Value& l, const Value& r) {
  if (Plain(l) == KL_T_NONE || Plain(r) == KL_T_NONE)
    throw ValueError(std::string("'") + OpName(op) + "' lacks a value (a procedure that returns nothing?)");
  throw ValueError(std::string("'") + OpName(op) + "' does not take " + KindName(l) + " and " + KindName(r));
}

template <typename F>
Value Checked(F op, const Value& l, const Value& r) {
  int64_t n = 0;
  if (op(l.integer, r.integer, &n)) throw ValueError("integer overflow");
  return Value::Int(n);
}
bool Add(int64_t a, int64_t b, int64_t* n) { return __builtin_add_overflow(a, b, n); }
bool Sub(int64_t a, int64_t b, int64_t* n) { return __builtin_sub_overflow(a, b, n); }
bool Mul(int64_t a, int64_t b, int64_t* n) { return __builtin_mul_overflow(a, b, n); }

int Compare(Op op, const Value& l, const Value& r) {
  if (IsNumber(l) && IsNumber(r)) {
    if (IsInteger(l) && IsInteger(r)) return l.integer < r.integer ? -1 : l.integer > r.integer;
    const double a = AsReal(l), b = AsReal(r);
    return a < b ? -1 : a > b;
  }
  if (Plain(l) == KL_T_TEXT && Plain(r) == KL_T_TEXT) return l.text.compare(r.text) < 0 ? -1 : l.text != r.text;
  if (Plain(l) == KL_T_BUFFER && Plain(r) == KL_T_BUFFER)
    return l.bytes < r.bytes ? -1 : l.bytes != r.bytes;
  if (Plain(l) == KL_T_BOOL && Plain(r) == KL_T_BOOL && (op == Op::Eq || op == Op::Ne))
    return l.integer != r.integer;
  Refuse(op, l, r);
}

}  // namespace

bool IsInteger(const Value& v) {
  switch (Plain(v)) {
    case KL_T_INT:
    case KL_T_INT64:
    case KL_T_INSTANCE:
    case KL_T_WINDOW:
    case KL_T_DURATION: return true;
    default: return false;
  }
}

std::string KindName(const Value& v) {
  switch (Plain(v)) {
    case KL_T_NONE: return "no value";
    case KL_T_BOOL: return "a boolean";
    case KL_T_INT:
    case KL_T_INT64: return "an integer";
    case KL_T_REAL: return "a real";
    case KL_T_TEXT: return "a text";
    case KL_T_BUFFER: return "a buffer";
    case KL_T_CURRENCY: return "a currency";
    case KL_T_DURATION: return "a duration";
    default: return "a " + TypeName(v.type);
  }
}

bool Truth(const Value& v, const char* what) {
  if (Plain(v) != KL_T_BOOL) throw ValueError(std::string(what) + " must be a boolean, not " + KindName(v));
  return v.integer != 0;
}

Value ApplyUnary(Op op, const Value& v) {
  if (op == Op::Not) return Value::Bool(!Truth(v, "the operand of NOT"));
  if (IsReal(v)) return Value::Real(-v.real);
  if (!IsInteger(v)) throw ValueError("'-' does not take " + KindName(v));
  if (v.integer == INT64_MIN) throw ValueError("integer overflow");
  return Value::Int(-v.integer);
}

Value ApplyBinary(Op op, const Value& l, const Value& r) {
  switch (op) {
    case Op::Add:
      if (Plain(l) == KL_T_TEXT || Plain(r) == KL_T_TEXT) {
        if (Plain(l) == KL_T_NONE || Plain(r) == KL_T_NONE) Refuse(op, l, r);
        const std::u16string a = Plain(l) == KL_T_TEXT ? l.text : Utf16(Display(l));
        const std::u16string b = Plain(r) == KL_T_TEXT ? r.text : Utf16(Display(r));
        return Value::Text(a + b);
      }
      if (Plain(l) == KL_T_BUFFER && Plain(r) == KL_T_BUFFER) {
        std::vector<uint8_t> joined = l.bytes;
        joined.insert(joined.end(), r.bytes.begin(), r.bytes.end());
        return Value::Buffer(std::move(joined));
      }
      if (IsInteger(l) && IsInteger(r)) return Checked(Add, l, r);
      if (IsNumber(l) && IsNumber(r)) return Value::Real(AsReal(l) + AsReal(r));
      Refuse(op, l, r);
    case Op::Sub:
      if (IsInteger(l) && IsInteger(r)) return Checked(Sub, l, r);
      if (IsNumber(l) && IsNumber(r)) return Value::Real(AsReal(l) - AsReal(r));
      Refuse(op, l, r);
    case Op::Mul:
      if (IsInteger(l) && IsInteger(r)) return Checked(Mul, l, r);
      if (IsNumber(l) && IsNumber(r)) return Value::Real(AsReal(l) * AsReal(r));
      Refuse(op, l, r);
    case Op::Div:
      if (!IsNumber(l) || !IsNumber(r)) Refuse(op, l, r);
      if (AsReal(r) == 0) throw ValueError("division by zero");
      return Value::Real(AsReal(l) / AsReal(r));
    case Op::Mod:
      if (!IsInteger(l) || !IsInteger(r)) Refuse(op, l, r);
      if (r.integer == 0) throw ValueError("division by zero");
      if (r.integer == -1) return Value::Int(0);  // INT64_MIN % -1 traps on x86
      return Value::Int(l.integer % r.integer);
    case Op::Eq: return Value::Bool(Compare(op, l, r) == 0);
    case Op::Ne: return Value::Bool(Compare(op, l, r) != 0);
    case Op::Lt: return Value::Bool(Compare(op, l, r) < 0);
    case Op::Le: return Value::Bool(Compare(op, l, r) <= 0);
    case Op::Gt: return Value::Bool(Compare(op, l, r) > 0);
    case Op::Ge: return Value::Bool(Compare(op, l, r) >= 0);
    default: throw ValueError(std::string("'") + OpName(op) + "' is not a binary operator here");
  }
}

}  // namespace kphost
