// kp — calling a function: the syntax that fits the arguments, the argument
// cells and blocks as the ABI lays them out, the result through SetResult and
// the values the library assigned to by-reference arguments.
#include <cstring>
#include <deque>

#include "vm_internal.h"

namespace kphost {
using namespace detail;

namespace {

uint32_t Plain(uint32_t code) { return code & ~uint32_t{KL_T_FLAG_8000}; }

// 2: same type; 1: a conversion the VM makes; 0: no.
int Fit(uint32_t param, const Value& v) {
  switch (Plain(param)) {
    case KL_T_VARIANT: return 1;
    case KL_T_BOOL: return v.type == KL_T_BOOL ? 2 : (v.type == KL_T_INT ? 1 : 0);
    case KL_T_INT: return v.type == KL_T_INT ? 2 : (v.type == KL_T_BOOL ? 1 : 0);
    case KL_T_INT64: return v.type == KL_T_INT64 ? 2 : (v.type == KL_T_INT ? 1 : 0);
    case KL_T_TEXT_CELL:
    case KL_T_TEXT_DIRECT: return v.type == KL_T_TEXT ? 2 : 0;
    case KL_T_BUFFER: return v.type == KL_T_BUFFER ? 2 : (v.type == KL_T_TEXT ? 1 : 0);
    case KL_T_REAL: return v.type == KL_T_REAL ? 2 : (v.type == KL_T_INT || v.type == KL_T_INT64 ? 1 : 0);
    case KL_T_CURRENCY: return v.type == KL_T_CURRENCY ? 2 : (v.type == KL_T_INT || v.type == KL_T_REAL ? 1 : 0);
    case KL_T_DURATION: return v.type == KL_T_DURATION ? 2 : (v.type == KL_T_INT || v.type == KL_T_INT64 ? 1 : 0);
    case KL_T_INSTANCE:
    case KL_T_WINDOW: return v.type == KL_T_INT ? 1 : 0;
    case KL_T_DATE:
    case KL_T_TIME:
    case KL_T_DATETIME: return v.type == KL_T_TEXT ? 1 : 0;
    case KL_T_ARRAY: return 1;
    default: return 0;
  }
}

}  // namespace

Library::CallStatus Library::Call(const FunctionInfo& function, const std::vector<Value>& args, Value& result,
                                  std::string& why, Assigned* assigned) {
  const SyntaxInfo* best = nullptr;
  const SyntaxInfo* unavailable = nullptr;
  int bestScore = -1;
  for (const auto& s : function.syntaxes) {
    if (s.params.size() != args.size()) continue;
    int score = 0;
    bool fits = true;
    for (size_t i = 0; i < args.size() && fits; ++i) {
      const int f = Fit(s.params[i], args[i]);
      fits = f > 0;
      score += f;
    }
    if (!fits) continue;
    if (!s.entry) {
      if (!unavailable) unavailable = &s;
      continue;
    }
    if (score > bestScore) {
      best = &s;
      bestScore = score;
    }
  }
  if (!best) {
    if (unavailable) {
      why = function.french + "/" + function.english + ": this syntax is not available on this platform";
      return CallStatus::Unavailable;
    }
    why = NoSyntaxTakes(function, args, function.french);
    return CallStatus::NoMatch;
  }
  CallSyntax(*best, args, result, assigned);
  return CallStatus::Ok;
}

void Library::CallSyntax(const SyntaxInfo& syntax, const std::vector<Value>& args, Value& result,
                         Assigned* assigned) {
  // Cells live until the call returns; a deque keeps their addresses.
  std::deque<int64_t> numbers;
  std::deque<const kl_char*> textCells;
  std::deque<KLCurrency> currencies;
  std::deque<KLStringHolder> blocks;
  std::vector<std::pair<size_t, HostVariant*>> variants;  // argument index, variant
  std::vector<std::u16string> texts;
  texts.reserve(args.size());
  std::vector<void*> elements(args.size() + 1, nullptr);

  for (size_t i = 0; i < args.size(); ++i) {
    const Value& v = args[i];
    switch (Plain(syntax.params[i])) {
      case KL_T_BOOL:
      case KL_T_INT: {
        numbers.push_back(0);
        const int32_t n = static_cast<int32_t>(v.integer);
        std::memcpy(&numbers.back(), &n, sizeof n);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_INT64:
      case KL_T_DURATION:
        numbers.push_back(v.integer);
        elements[i] = &numbers.back();
        break;
      case KL_T_INSTANCE:
      case KL_T_WINDOW: {
        numbers.push_back(0);
        const uint32_t h = static_cast<uint32_t>(v.integer);
        std::memcpy(&numbers.back(), &h, sizeof h);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_REAL: {
        numbers.push_back(0);
        const double r = v.type == KL_T_REAL ? v.real : static_cast<double>(v.integer);
        std::memcpy(&numbers.back(), &r, sizeof r);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_CURRENCY: {
        currencies.push_back(v.type == KL_T_CURRENCY ? KLCurrency{v.integer, v.scale}
                             : v.type == KL_T_REAL     ? KLCurrency{static_cast<int64_t>(v.real * 10000), 4}
                                                       : KLCurrency{v.integer, 0});
        elements[i] = &currencies.back();
        break;
      }
      case KL_T_DATE:
      case KL_T_TIME:
      case KL_T_DATETIME:
      case KL_T_TEXT_CELL:
        texts.push_back(v.text);
        textCells.push_back(texts.back().c_str());
        elements[i] = &textCells.back();
        break;
      case KL_T_TEXT_DIRECT:
        texts.push_back(v.text);
        elements[i] = const_cast<char16_t*>(texts.back().c_str());
        break;
      case KL_T_BUFFER: {
        const bool isText = v.type == KL_T_TEXT;
        blocks.push_back(isText ? MakeBlock(v.text.data(), static_cast<uint32_t>(v.text.size() * 2))
                                : MakeBlock(v.bytes.data(), static_cast<uint32_t>(v.bytes.size())));
        elements[i] = &blocks.back();
        break;
      }
      default: {
        variants.emplace_back(i, NewHostVariant(v));
        elements[i] = &variants.back().second->base;
        break;
      }
    }
  }

  static uint32_t nextHandle = 1;
  CallContext call{};
  call.vm = &gServices;
  call.resultHandle = nextHandle++;
  result = Value{};
  gPending = PendingResult{call.resultHandle, &result, false};
  syntax.entry(&call, program_->context(), elements.data());
  gPending = PendingResult{};

  for (auto* b : blocks)
    if (b) ManagerFree(&gManager, const_cast<KLStringHeader*>(HeaderOf(b)));
  if (assigned) assigned->assign(args.size(), std::nullopt);
  for (auto [index, v] : variants) {
    if (assigned && v->assigned) (*assigned)[index] = std::move(v->value);
    VariantRelease(&v->base, 1);
  }
}

std::string TypeName(uint32_t code) {
  // In words: how a text parameter is laid out (a cell or the pointer
  // itself) is the ABI's business, not the caller's.
  switch (code & ~uint32_t{KL_T_FLAG_8000}) {
    case KL_T_NONE: return "nothing";
    case KL_T_BOOL: return "boolean";
    case KL_T_INT: return "integer";
    case KL_T_INT64: return "8-byte integer";
    case KL_T_CURRENCY: return "currency";
    case KL_T_REAL: return "real";
    case KL_T_INSTANCE: return "instance";
    case KL_T_WINDOW: return "window";
    case KL_T_TEXT_CELL:
    case KL_T_TEXT_DIRECT:
    case KL_T_TEXT: return "text";
    case KL_T_DATE: return "date";
    case KL_T_TIME: return "time";
    case KL_T_DATETIME: return "date-time";
    case KL_T_DURATION: return "duration";
    case KL_T_BUFFER: return "buffer";
    case KL_T_VARIANT: return "any value";
    case KL_T_ARRAY: return "array";
    default: return "type " + std::to_string(code);
  }
}

std::string NoSyntaxTakes(const FunctionInfo& function, const std::vector<Value>& args, const std::string& name) {
  std::string given;
  for (size_t i = 0; i < args.size(); ++i) given += (i ? ", " : "") + TypeName(args[i].type);
  std::string out = name + ": no syntax takes (" + given + ")";
  for (const auto& s : function.syntaxes) {
    std::string params;
    for (size_t i = 0; i < s.params.size(); ++i) params += (i ? ", " : "") + TypeName(s.params[i]);
    out += "; " + name + "(" + params + ")";
    if (Plain(s.result) != KL_T_NONE) out += " -> " + TypeName(s.result);
    if (!s.entry) out += " (not available here)";
  }
  return out + "; see kp help " + name;
}

}  // namespace kphost
