#include "eval.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "text.h"

namespace kphost {
namespace {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Parser {
 public:
  Parser(std::string_view text, Library& library, std::map<std::string, Value>& names, Outcome& outcome)
      : s_(text), library_(library), names_(names), outcome_(outcome) {}

  Value Statement() {
    Skip();
    const size_t start = pos_;
    std::string name = Identifier();
    Skip();
    if (!name.empty() && Peek() == '=') {
      ++pos_;
      Value v = Expression();
      End();
      names_[FoldName(name)] = v;
      return v;
    }
    pos_ = start;
    Value v = Expression();
    End();
    return v;
  }

 private:
  char Peek() const { return pos_ < s_.size() ? s_[pos_] : '\0'; }
  void Skip() {
    while (pos_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[pos_]))) ++pos_;
  }
  [[noreturn]] void Fail(const std::string& what) const {
    throw Failure(what + " at column " + std::to_string(pos_ + 1));
  }
  void End() {
    Skip();
    if (pos_ != s_.size()) Fail("unexpected '" + std::string(1, s_[pos_]) + "'");
  }
  static bool NameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || static_cast<unsigned char>(c) >= 0x80;
  }
  std::string Identifier() {
    const size_t start = pos_;
    if (pos_ < s_.size() && (std::isdigit(static_cast<unsigned char>(s_[pos_])) || s_[pos_] == '.')) return {};
    while (pos_ < s_.size() && NameChar(s_[pos_])) ++pos_;
    return std::string(s_.substr(start, pos_ - start));
  }

  Value Expression() {
    Skip();
    const char c = Peek();
    if (c == '"') return Text();
    if (c == '-' || std::isdigit(static_cast<unsigned char>(c))) return Number();
    if ((c == 'x' || c == 'X') && pos_ + 1 < s_.size() && s_[pos_ + 1] == '"') {
      ++pos_;
      return Buffer();
    }
    const std::string name = Identifier();
    if (name.empty()) Fail(c ? "unexpected '" + std::string(1, c) + "'" : "an expression is missing");
    Skip();
    if (Peek() == '(') return Call(name);
    const std::string folded = FoldName(name);
    if (folded == "true" || folded == "vrai") return Value::Bool(true);
    if (folded == "false" || folded == "faux") return Value::Bool(false);
    if (auto it = names_.find(folded); it != names_.end()) return it->second;
    if (const auto* constant = library_.FindConstant(name)) {
      if (constant->kind == KL_CONST_KIND_TEXT) return Value::Text(constant->text);
      if (constant->kind == KL_CONST_KIND_NONE) throw Failure(name + ": this constant is not available on this platform");
      return Value{KL_T_INT, constant->value};
    }
    throw Failure("unknown name " + name);
  }

  Value Text() {
    ++pos_;  // opening quote
    std::string raw;
    for (;;) {
      if (pos_ >= s_.size()) Fail("a text is not closed");
      const char c = s_[pos_++];
      if (c == '"') {
        if (Peek() == '"') {
          raw += '"';
          ++pos_;
          continue;
        }
        break;
      }
      raw += c;
    }
    return Value::Text(Utf16(raw));
  }

  Value Number() {
    const size_t start = pos_;
    if (Peek() == '-') ++pos_;
    int base = 10;
    if (Peek() == '0' && pos_ + 1 < s_.size() && (s_[pos_ + 1] == 'x' || s_[pos_ + 1] == 'X')) {
      base = 16;
      pos_ += 2;
    }
    const size_t digits = pos_;
    while (pos_ < s_.size() && std::isxdigit(static_cast<unsigned char>(s_[pos_])) &&
           (base == 16 || std::isdigit(static_cast<unsigned char>(s_[pos_]))))
      ++pos_;
    if (pos_ == digits) Fail("a number is expected");
    if (Peek() == '.') {
      ++pos_;
      while (pos_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[pos_]))) ++pos_;
      return Value::Real(std::stod(std::string(s_.substr(start, pos_ - start))));
    }
    const std::string text(s_.substr(start, pos_ - start));
    errno = 0;
    char* end = nullptr;
    const long long n = std::strtoll(text.c_str(), &end, 0);
    if (errno == ERANGE) Fail("the number " + text + " does not fit in 64 bits");
    // Hexadecimal up to 0xFFFFFFFF reads as a 32-bit pattern, as colours are written.
    if (base == 16 && n > INT32_MAX && n <= UINT32_MAX) return Value{KL_T_INT, static_cast<int32_t>(n)};
    return Value::Int(n);
  }

  Value Buffer() {
    ++pos_;
    std::vector<uint8_t> bytes;
    std::string hex;
    while (pos_ < s_.size() && s_[pos_] != '"') {
      if (!std::isspace(static_cast<unsigned char>(s_[pos_]))) hex += s_[pos_];
      ++pos_;
    }
    if (pos_ >= s_.size()) Fail("a buffer is not closed");
    ++pos_;
    if (hex.size() % 2) Fail("a buffer needs two hexadecimal digits per byte");
    for (size_t i = 0; i < hex.size(); i += 2) {
      if (!std::isxdigit(static_cast<unsigned char>(hex[i])) || !std::isxdigit(static_cast<unsigned char>(hex[i + 1])))
        Fail("a buffer holds only hexadecimal digits");
      bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return Value::Buffer(std::move(bytes));
  }

  Value Call(const std::string& name) {
    ++pos_;  // '('
    std::vector<Value> args;
    Skip();
    if (Peek() != ')') {
      for (;;) {
        args.push_back(Expression());
        Skip();
        if (Peek() == ',') {
          ++pos_;
          continue;
        }
        if (Peek() == ')') break;
        Fail("',' or ')' expected");
      }
    }
    ++pos_;
    const FunctionInfo* function = library_.FindFunction(name);
    if (!function) throw Failure("unknown function " + name);
    Value result;
    std::string why;
    // The VM reads the error record after each call and clears it before
    // the next.
    library_.program().ClearError();
    const auto status = library_.Call(*function, args, result, why);
    if (status != Library::CallStatus::Ok) throw Failure(why);
    ErrorState error = library_.program().ReadError();
    if (error.present()) outcome_.error = std::move(error);
    library_.program().ClearError();
    return result;
  }

  std::string_view s_;
  size_t pos_ = 0;
  Library& library_;
  std::map<std::string, Value>& names_;
  Outcome& outcome_;
};

std::string Hex(const std::vector<uint8_t>& bytes) {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (uint8_t b : bytes) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

std::string JsonString(std::u16string_view text) {
  std::string out = "\"";
  for (char16_t c : text) {
    switch (c) {
      case u'"': out += "\\\""; break;
      case u'\\': out += "\\\\"; break;
      case u'\n': out += "\\n"; break;
      case u'\r': out += "\\r"; break;
      case u'\t': out += "\\t"; break;
      default:
        if (c < 0x20 || (c >= 0xD800 && c < 0xE000)) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(c));
          out += buf;
        } else {
          out += Utf8(std::u16string_view(&c, 1));
        }
    }
  }
  return out + "\"";
}

}  // namespace

Outcome Evaluator::Evaluate(std::string_view line) {
  Outcome outcome;
  try {
    outcome.value = Parser(line, library_, names_, outcome).Statement();
  } catch (const Failure& f) {
    outcome.failure = f.what();
  }
  return outcome;
}

std::string Display(const Value& v) {
  switch (v.type & ~uint32_t{KL_T_FLAG_8000}) {
    case KL_T_NONE: return "";
    case KL_T_BOOL: return v.integer ? "True" : "False";
    case KL_T_REAL: {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%.17g", v.real);
      return buf;
    }
    case KL_T_CURRENCY: return std::to_string(v.integer) + " (scale " + std::to_string(v.scale) + ")";
    case KL_T_TEXT: return Utf8(v.text);
    case KL_T_BUFFER: return Hex(v.bytes);
    default: return std::to_string(v.integer);
  }
}

std::string Json(const Outcome& o) {
  std::string value;
  switch (o.value.type) {
    case KL_T_NONE: value = "null"; break;
    case KL_T_BOOL: value = o.value.integer ? "true" : "false"; break;
    case KL_T_REAL: {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%.17g", o.value.real);
      value = buf;
      break;
    }
    case KL_T_TEXT: value = JsonString(o.value.text); break;
    case KL_T_BUFFER: value = "{\"hex\": \"" + Hex(o.value.bytes) + "\"}"; break;
    default: value = std::to_string(o.value.integer);
  }
  std::string error = "null";
  if (!o.ok()) {
    error = "{\"id\": 0, \"level\": 0, \"message\": " + JsonString(Utf16(o.failure)) + ", \"system\": 0, \"host\": true}";
  } else if (o.error.present()) {
    error = "{\"id\": " + std::to_string(o.error.id) + ", \"level\": " + std::to_string(o.error.level) +
            ", \"message\": " + JsonString(o.error.message) + ", \"system\": " + std::to_string(o.error.systemError);
    if (!o.error.systemText.empty()) error += ", \"systemText\": " + JsonString(o.error.systemText);
    error += "}";
  }
  return "{\"type\": " + std::to_string(o.value.type) + ", \"value\": " + value + ", \"error\": " + error + "}";
}

}  // namespace kphost
