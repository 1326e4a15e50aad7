// kp160std — the display-mask engine.
#include "datetime/mask.h"

#include <array>
#include <cstdint>
#include <vector>

#include "datetime/names.h"

namespace kp::datetime {
namespace {

enum class Kind { Literal, Day, DayName, Month, MonthName, Year, Days, Hours, Minutes, Seconds, Hundredths, Millis };
enum class Case { AsGiven, Capital };

struct Token {
  Kind kind = Kind::Literal;
  int width = 0;      // digits: 1 means "one or two"; names: 3 short, 4 long
  Case letterCase = Case::AsGiven;
  std::u16string_view text;  // literal text
};

// A date token is at most four letters long: looking no further keeps a mask
// of a long run of one letter linear.
size_t Run(std::u16string_view s, size_t i, size_t limit = SIZE_MAX) {
  size_t n = 1;
  while (n < limit && i + n < s.size() && s[i + n] == s[i]) ++n;
  return n;
}

// "Jjj", "Jjjj", "Mmm", "Mmmm", "Ddd", "Dddd": a capital then its lower case.
size_t CapitalRun(std::u16string_view s, size_t i) {
  const char16_t lower = static_cast<char16_t>(s[i] + 32);
  size_t n = 1;
  while (n < 4 && i + n < s.size() && s[i + n] == lower) ++n;
  return n;
}

size_t Quoted(std::u16string_view mask, size_t i, std::vector<Token>& out) {
  const size_t close = mask.find(u'\'', i + 1);
  const size_t stop = close == std::u16string_view::npos ? mask.size() : close;
  out.push_back({Kind::Literal, 0, Case::AsGiven, mask.substr(i + 1, stop - i - 1)});
  return stop + (close == std::u16string_view::npos ? 0 : 1);
}

// `singleLetters`: "J", "D" and "M" alone are one-or-two-digit fields, as in
// the device's own date formats. In a program's mask they are plain text, as
// any letter outside a token is ("Date: JJ/MM/AAAA"): a lone letter cannot
// be told from ordinary words.
std::vector<Token> DateTokens(std::u16string_view mask, bool singleLetters) {
  std::vector<Token> out;
  for (size_t i = 0; i < mask.size();) {
    const char16_t c = mask[i];
    if (c == u'\'') {
      i = Quoted(mask, i, out);
      continue;
    }
    if (c == u'J' || c == u'D' || c == u'M') {
      const bool month = c == u'M';
      const size_t capital = CapitalRun(mask, i);
      if (capital >= 3) {
        const int width = capital >= 4 ? 4 : 3;
        out.push_back({month ? Kind::MonthName : Kind::DayName, width, Case::Capital, {}});
        i += static_cast<size_t>(width);
        continue;
      }
      const size_t run = Run(mask, i, 4);
      const int width = run >= 4 ? 4 : static_cast<int>(run);
      if (width == 1 && !singleLetters) {
        out.push_back({Kind::Literal, 0, Case::AsGiven, mask.substr(i, 1)});
        ++i;
        continue;
      }
      if (width >= 3)
        out.push_back({month ? Kind::MonthName : Kind::DayName, width, Case::AsGiven, {}});
      else
        out.push_back({month ? Kind::Month : Kind::Day, width, Case::AsGiven, {}});
      i += static_cast<size_t>(width);
      continue;
    }
    if (c == u'A' || c == u'Y') {
      const size_t run = Run(mask, i, 4);
      if (run >= 2) {
        const int width = run >= 4 ? 4 : 2;
        out.push_back({Kind::Year, width, Case::AsGiven, {}});
        i += static_cast<size_t>(width);
        continue;
      }
    }
    out.push_back({Kind::Literal, 0, Case::AsGiven, mask.substr(i, 1)});
    ++i;
  }
  return out;
}

std::vector<Token> DurationTokens(std::u16string_view mask) {
  std::vector<Token> out;
  for (size_t i = 0; i < mask.size();) {
    const char16_t c = mask[i];
    if (c == u'\'') {
      i = Quoted(mask, i, out);
      continue;
    }
    Kind kind = Kind::Literal;
    switch (c) {
      case u'J':
      case u'D': kind = Kind::Days; break;
      case u'H': kind = Kind::Hours; break;
      case u'M': kind = Kind::Minutes; break;
      case u'S': kind = Kind::Seconds; break;
      case u'C': kind = Kind::Hundredths; break;
      case u'L': kind = Kind::Millis; break;
      default: break;
    }
    if (kind == Kind::Literal) {
      out.push_back({kind, 0, Case::AsGiven, mask.substr(i, 1)});
      ++i;
      continue;
    }
    const size_t run = Run(mask, i);
    int width = static_cast<int>(run);
    if (kind == Kind::Hundredths) width = 2;
    if (kind == Kind::Millis) width = 3;
    out.push_back({kind, width, Case::AsGiven, {}});
    i += run;
  }
  return out;
}

void AppendNumber(std::u16string& out, uint64_t value, int width) {
  char16_t digits[24];
  int n = 0;
  do {
    digits[n++] = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (int k = n; k < width; ++k) out.push_back(u'0');
  while (n > 0) out.push_back(digits[--n]);
}

char16_t Fold(char16_t c) {
  if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) return static_cast<char16_t>(c + 32);
  return c;
}

std::u16string Capitalised(std::u16string name) {
  if (!name.empty() && ((name[0] >= u'a' && name[0] <= u'z') || (name[0] >= 0xE0 && name[0] <= 0xFE && name[0] != 0xF7)))
    name[0] = static_cast<char16_t>(name[0] - 32);
  return name;
}

bool AlphaNumeric(char16_t c) { return IsDigit(c) || Fold(c) != c || (c >= u'a' && c <= u'z') || c >= 0xDF; }

// Up to `max` digits at `pos`, at least `min`; the value, or -1.
int64_t ReadDigits(std::u16string_view text, size_t& pos, size_t min, size_t max) {
  size_t n = 0;
  int64_t v = 0;
  while (n < max && pos + n < text.size() && IsDigit(text[pos + n])) {
    if (v < (int64_t{1} << 58)) v = v * 10 + (text[pos + n] - u'0');
    ++n;
  }
  if (n < min) return -1;
  pos += n;
  return v;
}

// The longest name of `names` (1-based) that starts the text, without regard
// to case; 0 when none does.
int32_t MatchName(std::u16string_view text, size_t& pos, const std::vector<std::u16string>& names) {
  int32_t best = 0;
  size_t bestLength = 0;
  for (size_t k = 0; k < names.size(); ++k) {
    const auto& name = names[k];
    if (name.empty() || name.size() <= bestLength || pos + name.size() > text.size()) continue;
    bool same = true;
    for (size_t i = 0; i < name.size() && same; ++i) same = Fold(text[pos + i]) == Fold(name[i]);
    if (same) {
      best = static_cast<int32_t>(k + 1);
      bestLength = name.size();
    }
  }
  pos += bestLength;
  return best;
}

bool MatchLiteral(std::u16string_view text, size_t& pos, std::u16string_view literal) {
  for (char16_t c : literal) {
    if (pos >= text.size()) return false;
    const char16_t t = text[pos];
    // Any separator stands for any other: "15-03-2024" reads with "JJ/MM/AAAA".
    if (Fold(t) != Fold(c) && (AlphaNumeric(t) || AlphaNumeric(c))) return false;
    ++pos;
  }
  return true;
}

bool Numeric(Kind k) { return k != Kind::Literal && k != Kind::DayName && k != Kind::MonthName; }

}  // namespace

std::u16string FormatDateMask(ExecContext* context, const DateParts& date, std::u16string_view mask,
                              bool deviceFormat) {
  std::u16string out;
  out.reserve(mask.size() + 8);
  for (const Token& t : DateTokens(mask, deviceFormat)) {
    switch (t.kind) {
      case Kind::Literal: out += t.text; break;
      case Kind::Day: AppendNumber(out, static_cast<uint64_t>(date.day), t.width); break;
      case Kind::Month: AppendNumber(out, static_cast<uint64_t>(date.month), t.width); break;
      case Kind::Year:
        AppendNumber(out, static_cast<uint64_t>(t.width == 4 ? date.year : date.year % 100), t.width);
        break;
      case Kind::DayName: {
        const auto n = DayNumber(date.day, date.month, date.year);
        const int32_t weekday = n ? RawWeekdayIndex(static_cast<int32_t>(*n)) : -1;
        auto name = t.width == 4 ? DayName(context, weekday) : ShortDayName(context, weekday);
        out += t.letterCase == Case::Capital ? Capitalised(std::move(name)) : name;
        break;
      }
      case Kind::MonthName: {
        auto name = t.width == 4 ? MonthName(context, date.month) : ShortMonthName(context, date.month);
        out += t.letterCase == Case::Capital ? Capitalised(std::move(name)) : name;
        break;
      }
      default: break;
    }
  }
  return out;
}

std::optional<DateParts> ParseDateMask(ExecContext* context, std::u16string_view text, std::u16string_view mask,
                                       bool deviceFormat) {
  const auto tokens = DateTokens(mask, deviceFormat);
  DateParts d{-1, -1, -1};
  std::vector<std::u16string> days, months;
  size_t pos = 0;
  for (size_t k = 0; k < tokens.size(); ++k) {
    const Token& t = tokens[k];
    const bool packed = k + 1 < tokens.size() && Numeric(tokens[k + 1].kind);
    switch (t.kind) {
      case Kind::Literal:
        if (!MatchLiteral(text, pos, t.text)) return std::nullopt;
        break;
      case Kind::Day:
      case Kind::Month: {
        // One letter: one or two digits, unless another number follows at once.
        const size_t min = t.width == 1 && !packed ? 1 : 2;
        const int64_t v = ReadDigits(text, pos, min, 2);
        if (v < 0) return std::nullopt;
        (t.kind == Kind::Day ? d.day : d.month) = static_cast<int32_t>(v);
        break;
      }
      case Kind::Year: {
        const int64_t v = ReadDigits(text, pos, static_cast<size_t>(t.width), static_cast<size_t>(t.width));
        if (v < 0) return std::nullopt;
        // Two digits: 50 and below are this century, above 50 the last one.
        d.year = static_cast<int32_t>(t.width == 4 ? v : (v <= 50 ? 2000 + v : 1900 + v));
        break;
      }
      case Kind::DayName: {
        if (days.empty())
          for (int32_t w = 0; w < 7; ++w) days.push_back(DayName(context, w)), days.push_back(ShortDayName(context, w));
        if (MatchName(text, pos, days) == 0) return std::nullopt;  // the weekday is read, not checked
        break;
      }
      case Kind::MonthName: {
        if (months.empty())
          for (int32_t m = 1; m <= 12; ++m) months.push_back(MonthName(context, m)), months.push_back(ShortMonthName(context, m));
        const int32_t found = MatchName(text, pos, months);
        if (found == 0) return std::nullopt;
        d.month = (found + 1) / 2;
        break;
      }
      default: break;
    }
  }
  while (pos < text.size() && text[pos] == u' ') ++pos;
  if (pos != text.size() || d.year < 0 || d.month < 0 || d.day < 0) return std::nullopt;
  DateParts checked;
  if (!ParseDate(FormatDate(d), checked, nullptr)) return std::nullopt;
  return checked;
}

namespace {

constexpr int64_t kUnitMs[] = {86400000, 3600000, 60000, 1000, 10, 1};

int UnitIndex(Kind k) {
  switch (k) {
    case Kind::Days: return 0;
    case Kind::Hours: return 1;
    case Kind::Minutes: return 2;
    case Kind::Seconds: return 3;
    case Kind::Hundredths: return 4;
    case Kind::Millis: return 5;
    default: return -1;
  }
}

}  // namespace

std::u16string FormatDurationMask(int64_t milliseconds, std::u16string_view mask) {
  const auto tokens = DurationTokens(mask);
  // The largest unit of the mask carries the whole: "HH:MM" shows 25 hours.
  int top = 6;
  for (const Token& t : tokens)
    if (const int u = UnitIndex(t.kind); u >= 0 && u < top) top = u;
  const uint64_t magnitude = milliseconds < 0 ? 0 - static_cast<uint64_t>(milliseconds) : static_cast<uint64_t>(milliseconds);
  std::u16string out;
  if (milliseconds < 0) out.push_back(u'-');
  for (const Token& t : tokens) {
    const int u = UnitIndex(t.kind);
    if (u < 0) {
      out += t.text;
      continue;
    }
    uint64_t rest = magnitude;
    // Hundredths and milliseconds both count within the second.
    if (u > top) rest %= static_cast<uint64_t>(kUnitMs[u >= 4 ? 3 : u - 1]);
    // Hundredths come from the millisecond remainder, truncated.
    AppendNumber(out, rest / static_cast<uint64_t>(kUnitMs[u]), t.width);
  }
  return out;
}

std::optional<int64_t> ParseDurationMask(std::u16string_view text, std::u16string_view mask) {
  const auto tokens = DurationTokens(mask);
  size_t pos = 0;
  bool negative = false;
  if (pos < text.size() && (text[pos] == u'-' || text[pos] == u'+')) negative = text[pos++] == u'-';
  int64_t total = 0;
  for (size_t k = 0; k < tokens.size(); ++k) {
    const Token& t = tokens[k];
    const int u = UnitIndex(t.kind);
    if (u < 0) {
      if (!MatchLiteral(text, pos, t.text)) return std::nullopt;
      continue;
    }
    // A number directly followed by another takes exactly its width; else
    // as many digits as there are.
    const bool packed = k + 1 < tokens.size() && UnitIndex(tokens[k + 1].kind) >= 0;
    const size_t width = static_cast<size_t>(t.width);
    const int64_t v = ReadDigits(text, pos, packed ? width : 1, packed ? width : 18);
    if (v < 0) return std::nullopt;
    const auto add = static_cast<uint64_t>(v) * static_cast<uint64_t>(kUnitMs[u]);
    total = static_cast<int64_t>(static_cast<uint64_t>(total) + add);  // wraps, never traps
  }
  if (pos != text.size()) return std::nullopt;
  return negative ? static_cast<int64_t>(0 - static_cast<uint64_t>(total)) : total;
}

}  // namespace kp::datetime
