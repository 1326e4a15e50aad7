// kp — one-line KL expressions and how their results are shown (see eval.h).
#include "eval.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "script_parser.h"
#include "text.h"

namespace kphost {
namespace {

std::string Hex(const std::vector<uint8_t>& bytes) {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (uint8_t b : bytes) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

std::string ShortestReal(double r) {
  char buf[64];
  const auto [end, ec] = std::to_chars(buf, buf + sizeof buf, r);
  return ec == std::errc() ? std::string(buf, end) : std::string("nan");
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

Evaluator::Evaluator(Library& library) : interpreter_(library) {
  // Several calls on one line: the record of the last one that left one.
  interpreter_.onLibraryError = [this](const ErrorState& error, const std::string&) {
    if (current_) current_->error = error;
  };
}

Outcome Evaluator::Evaluate(std::string_view line) {
  Outcome outcome;
  current_ = &outcome;
  try {
    outcome.value = interpreter_.Run(Parse(line, ""));
  } catch (const ScriptError& e) {
    // The JSON message stays one sentence (and the calls it went through);
    // the quoted expression is for people.
    outcome.failure = e.Summary();
    for (const auto& step : e.trail) outcome.failure += "\n  " + step;
    outcome.excerpt = e.Excerpt();
  }
  current_ = nullptr;
  return outcome;
}

// A currency cell as the decimal it stands for: the value with `scale`
// decimals ("0.15" for 15 at scale 2; "1500" for 15 at scale -2).
static std::string CurrencyText(int64_t value, int16_t scale) {
  const uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  std::string digits = std::to_string(magnitude);
  if (scale < 0) {
    if (value != 0)
      digits += scale < -30 ? "e" + std::to_string(-scale) : std::string(static_cast<size_t>(-scale), '0');
  } else if (scale > 0) {
    const auto n = static_cast<size_t>(scale);
    if (digits.size() <= n) digits.insert(0, n - digits.size() + 1, '0');
    digits.insert(digits.size() - n, ".");
  }
  return (value < 0 ? "-" : "") + digits;
}

std::string Display(const Value& v) {
  switch (v.type & ~uint32_t{KL_T_FLAG_8000}) {
    case KL_T_NONE: return "";
    case KL_T_BOOL: return v.integer ? "True" : "False";
    case KL_T_REAL: {
      std::string out = ShortestReal(v.real);
      if (out.find_first_of(".eni") == std::string::npos) out += ".0";  // 2.0 stays a real to the eye
      return out;
    }
    case KL_T_CURRENCY: return CurrencyText(v.integer, v.scale);
    case KL_T_TEXT: return Utf8(v.text);
    case KL_T_BUFFER: return Hex(v.bytes);
    default: return std::to_string(v.integer);
  }
}

std::string DescribeError(const ErrorState& e) {
  // Some failures are reported as the system's error alone, with no number
  // or text of the library's.
  std::string out;
  if (e.id != 0 || !e.message.empty() || !e.systemError)
    out = "error " + std::to_string(e.id) + " (level " + std::to_string(e.level) + "): " + Utf8(e.message);
  if (e.systemError)
    out += (out.empty() ? "" : "\n") + ("system error " + std::to_string(e.systemError) + ": " + Utf8(e.systemText));
  return out;
}

std::string Json(const Outcome& o) {
  std::string value;
  switch (o.value.type) {
    case KL_T_NONE: value = "null"; break;
    case KL_T_BOOL: value = o.value.integer ? "true" : "false"; break;
    case KL_T_REAL: value = std::isfinite(o.value.real) ? ShortestReal(o.value.real) : "null"; break;
    case KL_T_TEXT: value = JsonString(o.value.text); break;
    case KL_T_BUFFER: value = "{\"hex\": \"" + Hex(o.value.bytes) + "\"}"; break;
    case KL_T_CURRENCY: value = CurrencyText(o.value.integer, o.value.scale); break;
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
