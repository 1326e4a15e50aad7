// kp160std — Min, Max and EstNumérique/IsNumeric.
#include "numbers/numeric.h"

#include <charconv>
#include <cmath>
#include <string>

#include "abi/error.h"
#include "abi/error_ids.h"

namespace kp::numbers {
namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

// The text in a message: long lists are cut.
std::u16string Shown(std::u16string_view text) {
  return text.size() > 80 ? std::u16string(text.substr(0, 80)) + u"…" : std::u16string(text);
}

double Pick(ExecContext* context, double a, double b, bool larger) {
  if (std::isnan(a) || std::isnan(b)) {
    Raise(context, kErrNumberNotFinite);
    return 0;
  }
  return (larger ? a < b : b < a) ? b : a;
}

double Extreme(ExecContext* context, const Value& values, bool larger) {
  if (const auto* i = std::get_if<int32_t>(&values)) return *i;
  if (const auto* i = std::get_if<int64_t>(&values)) return static_cast<double>(*i);
  if (const auto* r = std::get_if<double>(&values)) return Pick(context, *r, *r, larger);
  const auto* text = std::get_if<std::u16string>(&values);
  if (!text) {
    Raise(context, kErrNotANumberValue);
    return 0;
  }
  const std::u16string_view all = *text;
  double best = 0;
  size_t start = 0;
  for (bool first = true;; first = false) {
    size_t stop = start;
    while (stop < all.size() && all[stop] != u'\t' && all[stop] != u'\r' && all[stop] != u'\n') ++stop;
    const std::u16string_view element = all.substr(start, stop - start);
    const auto v = ParseNumericText(element);
    if (!v) {
      Raise(context, kErrNotNumericText, {Shown(element)});
      return 0;
    }
    if (first || (larger ? best < *v : *v < best)) best = *v;
    if (stop == all.size()) break;
    start = stop + (all[stop] == u'\r' && stop + 1 < all.size() && all[stop + 1] == u'\n' ? 2 : 1);
  }
  return best;
}

}  // namespace

std::optional<double> ParseNumericText(std::u16string_view text) {
  size_t i = 0, n = text.size();
  while (i < n && IsBlank(text[i])) ++i;
  while (n > i && IsBlank(text[n - 1])) --n;
  // The ASCII copy that from_chars reads: no '+', the separator as '.'.
  std::string ascii;
  ascii.reserve(n - i);
  if (i < n && (text[i] == u'+' || text[i] == u'-')) {
    if (text[i] == u'-') ascii.push_back('-');
    ++i;
  }
  size_t intDigits = 0, fracDigits = 0;
  // The magnitude's decimal order, to tell an underflow from an overflow.
  int64_t order = 0;
  bool significant = false;
  for (; i < n && IsDigit(text[i]); ++i, ++intDigits) {
    ascii.push_back(static_cast<char>(text[i]));
    if (significant || text[i] != u'0') significant = true, ++order;
  }
  if (i < n && (text[i] == u'.' || text[i] == u',')) {
    ascii.push_back('.');
    for (++i; i < n && IsDigit(text[i]); ++i, ++fracDigits) {
      ascii.push_back(static_cast<char>(text[i]));
      if (!significant) {
        if (text[i] != u'0')
          significant = true;
        else
          --order;
      }
    }
  }
  if (intDigits + fracDigits == 0) return std::nullopt;
  int64_t exponent = 0;
  if (i < n && (text[i] == u'e' || text[i] == u'E')) {
    ascii.push_back('e');
    ++i;
    bool negative = false;
    if (i < n && (text[i] == u'+' || text[i] == u'-')) {
      negative = text[i] == u'-';
      ascii.push_back(static_cast<char>(text[i]));
      ++i;
    }
    const size_t digitsAt = i;
    for (; i < n && IsDigit(text[i]); ++i) {
      ascii.push_back(static_cast<char>(text[i]));
      if (exponent < 100000000) exponent = exponent * 10 + (text[i] - u'0');  // saturates: far past any real
    }
    if (i == digitsAt) return std::nullopt;
    if (negative) exponent = -exponent;
  }
  if (i != n) return std::nullopt;
  if (!significant) return ascii[0] == '-' ? -0.0 : 0.0;
  double value = 0;
  const auto [end, error] = std::from_chars(ascii.data(), ascii.data() + ascii.size(), value);
  if (error == std::errc::result_out_of_range) {
    // Too small for a real reads as zero; too large is not a number.
    if (order + exponent <= 0) return ascii[0] == '-' ? -0.0 : 0.0;
    return std::nullopt;
  }
  if (error != std::errc{} || end != ascii.data() + ascii.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

bool IsNumericValue(const Value& value) {
  if (std::holds_alternative<int32_t>(value) || std::holds_alternative<int64_t>(value)) return true;
  if (const auto* r = std::get_if<double>(&value)) return std::isfinite(*r);
  if (const auto* t = std::get_if<std::u16string>(&value)) return ParseNumericText(*t).has_value();
  return false;
}

bool IsNumeric(ExecContext*, VariantArg value) { return IsNumericValue(value.Get().value_or(Value{})); }

double Max(ExecContext* context, double a, double b) { return Pick(context, a, b, true); }
double Min(ExecContext* context, double a, double b) { return Pick(context, a, b, false); }

double MaxOf(ExecContext* context, const Value& values) { return Extreme(context, values, true); }
double MinOf(ExecContext* context, const Value& values) { return Extreme(context, values, false); }
double MaxOfArg(ExecContext* context, VariantArg values) { return MaxOf(context, values.Get().value_or(Value{})); }
double MinOfArg(ExecContext* context, VariantArg values) { return MinOf(context, values.Get().value_or(Value{})); }

}  // namespace kp::numbers
