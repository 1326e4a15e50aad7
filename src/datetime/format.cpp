// kp160std — dates, times and durations as text and back.
#include "datetime/format.h"

#include <cinttypes>
#include <cstdio>

#include "datetime/calendar.h"
#include "datetime/mask.h"
#include "platform/timezone.h"

namespace kp::datetime {
namespace {

void ReplaceAll(std::u16string& s, std::u16string_view from, std::u16string_view to) {
  for (size_t i = s.find(from); i != std::u16string::npos; i = s.find(from, i + to.size())) s.replace(i, from.size(), to);
}

std::u16string Printf(const char* format, int value) {
  char text[24];
  const int n = std::snprintf(text, sizeof text, format, value);
  return Widen(std::string_view(text, static_cast<size_t>(n)));
}

bool SameLetters(std::u16string_view a, std::u16string_view b) {
  if (a.size() < b.size()) return false;
  for (size_t i = 0; i < b.size(); ++i) {
    char16_t c = a[i];
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
    if (c != b[i]) return false;
  }
  return true;
}

int64_t AtoiPrefix(std::u16string_view s) {
  int64_t v = 0;
  for (char16_t c : s) {
    if (!IsDigit(c)) break;
    v = v * 10 + (c - u'0');
  }
  return v;
}

}  // namespace

std::u16string DateToString(ExecContext* context, std::u16string_view date, std::u16string_view mask) {
  DateParts d;
  if (mask == kSystemMask) {
    // Checked before the empty date; an invalid date gives "" silently here.
    if (!ParseDate(date, d, nullptr)) return {};
    std::u16string system = platform::SystemDateMask();
    if (system.empty()) system = u"JJ/MM/AAAA";
    return FormatDateMask(context, d, system, true);
  }
  if (date.empty()) return {};
  if (!ParseDate(date, d, context)) return {};
  if (!mask.empty()) return FormatDateMask(context, d, mask);
  char text[32];
  const int n = std::snprintf(text, sizeof text, "%02d/%02d/%04d", d.day, d.month, d.year);
  return Widen(std::string_view(text, static_cast<size_t>(n)));
}

std::u16string NormaliseDateMask(std::u16string_view mask) {
  std::u16string m(mask);
  // Kept in this order: once "mm" became "MM" the "mmm" and "mmmm" steps
  // (and the four-letter year steps) find nothing.
  if (m.find(u"Jjj") == std::u16string::npos) ReplaceAll(m, u"jj", u"JJ");
  ReplaceAll(m, u"dd", u"DD");
  if (m.find(u"Mm") == std::u16string::npos) {
    ReplaceAll(m, u"mm", u"MM");
    ReplaceAll(m, u"mmm", u"MMM");
    ReplaceAll(m, u"mmmm", u"MMMM");
  }
  ReplaceAll(m, u"aa", u"AA");
  ReplaceAll(m, u"aaaa", u"AAAA");
  ReplaceAll(m, u"yy", u"YY");
  ReplaceAll(m, u"yyyy", u"YYYY");
  return m;
}

std::u16string ParseBuiltInMask(std::u16string_view text, std::u16string_view mask) {
  std::u16string year, month, day;
  size_t i = 0, j = 0;  // mask, text
  auto remaining = [&] { return j < text.size() ? text.size() - j : 0; };
  while (i < mask.size()) {
    const auto rest = mask.substr(i);
    if ((SameLetters(rest, u"AAAA") || SameLetters(rest, u"YYYY")) && remaining() >= 4) {
      year = text.substr(j, 4);
      i += 4, j += 4;
    } else if ((SameLetters(rest, u"AA") || SameLetters(rest, u"YY")) && remaining() >= 2 &&
               AtoiPrefix(text.substr(j, 2)) <= 99) {
      const auto two = text.substr(j, 2);
      year = (AtoiPrefix(two) <= 50 ? u"20" : u"19") + std::u16string(two);
      i += 2, j += 2;
    } else if (SameLetters(rest, u"MM") && remaining() >= 2) {
      month = text.substr(j, 2);
      i += 2, j += 2;
    } else if ((SameLetters(rest, u"JJ") || SameLetters(rest, u"DD")) && remaining() >= 2 &&
               AtoiPrefix(text.substr(j, 2)) != 0) {
      day = text.substr(j, 2);
      i += 2, j += 2;
    } else {
      ++i, ++j;  // anything else: one character of each is skipped unread
    }
  }
  if (year.empty() || month.empty() || day.empty()) return {};
  return year + month + day;
}

std::u16string StringToDate(ExecContext* context, std::u16string_view text, std::u16string_view mask) {
  if (text.empty()) return {};
  if (mask.empty()) return ParseBuiltInMask(text, u"JJ/MM/AAAA");
  const auto d = ParseDateMask(context, text, NormaliseDateMask(mask));
  if (!d) return {};
  auto result = FormatDate(*d);
  if (result.size() > 20) result.resize(20);
  return result;
}

std::u16string TimeToString(ExecContext* context, std::u16string_view time, std::u16string_view mask) {
  TimeParts t;
  if (!ParseTime(time, t, context)) return {};
  if (mask.empty()) {
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", t.hours, t.minutes, t.seconds, t.hundredths);
    return Widen(std::string_view(text, static_cast<size_t>(n)));
  }
  // Kept in this order: "AP" goes first, so in "APMM" the "M" of "AM" joins
  // the next "M" and that pair becomes the minutes.
  std::u16string out(mask);
  int32_t hours = t.hours;
  if (out.find(u"AP") != std::u16string::npos) {
    ReplaceAll(out, u"AP", hours < 12 ? u"AM" : u"PM");
    if (hours == 12) ReplaceAll(out, u"AM", u"PM");
    else hours = hours % 12 == 0 ? 12 : hours % 12;
  }
  ReplaceAll(out, u"HH", Printf("%02d", hours));
  ReplaceAll(out, u"H:", Printf("%d:", hours));
  ReplaceAll(out, u"MM", Printf("%02d", t.minutes));
  ReplaceAll(out, u"SS", Printf("%02d", t.seconds));
  ReplaceAll(out, u"CC", Printf("%02d", t.hundredths));
  return out;
}

Duration StringToDuration(ExecContext*, std::u16string_view text, int32_t form) {
  const bool hundredths = form == kDurationHundredths;
  bool negative = false;
  if (!text.empty() && (text.front() == u'-' || text.front() == u'+')) {
    negative = text.front() == u'-';
    text.remove_prefix(1);
  }
  const size_t tail = hundredths ? 8 : 9;  // fraction + seconds + minutes + hours
  if (text.size() < tail + 1) return {};
  for (char16_t c : text)
    if (!IsDigit(c)) return {};
  const size_t split = text.size() - tail;
  const auto rest = text.substr(split);
  const int64_t fraction = hundredths ? Digits(rest.substr(6, 2)) * 10 : Digits(rest.substr(6, 3));
  // Kept on purpose: no field is range-checked ("0009900000" is 99 minutes).
  uint64_t days = 0;
  for (char16_t c : text.substr(0, split)) days = days * 10 + static_cast<uint64_t>(c - u'0');
  const uint64_t value = days * 86400000u + static_cast<uint64_t>(Digits(rest.substr(0, 2)) * 3600000 +
                                                                 Digits(rest.substr(2, 2)) * 60000 +
                                                                 Digits(rest.substr(4, 2)) * 1000 + fraction);
  return {static_cast<int64_t>(negative ? 0 - value : value)};
}

Duration StringToDurationMask(ExecContext* context, std::u16string_view text, std::u16string_view mask) {
  if (mask.empty()) return StringToDuration(context, text, 0);
  return {ParseDurationMask(text, mask).value_or(0)};
}

std::u16string DurationToString(ExecContext*, int64_t milliseconds, int32_t form) {
  const uint64_t a = milliseconds < 0 ? 0 - static_cast<uint64_t>(milliseconds) : static_cast<uint64_t>(milliseconds);
  const auto days = static_cast<unsigned long long>(a / 86400000);
  const auto hours = static_cast<int>(a % 86400000 / 3600000);
  const auto minutes = static_cast<int>(a % 3600000 / 60000);
  const auto seconds = static_cast<int>(a % 60000 / 1000);
  const auto ms = static_cast<int>(a % 1000);
  // Kept on purpose: form 1 prints the millisecond remainder with two
  // digits, not the hundredths, so 1.05 s reads "000000150".
  const char* format = form == kDurationHundredths ? "%s%llu%02d%02d%02d%02d" : "%s%llu%02d%02d%02d%03d";
  char text[64];
  int n = std::snprintf(text, sizeof text, format, milliseconds < 0 ? "-" : "", days, hours, minutes, seconds, ms);
  if (n > 24) n = 24;
  return Widen(std::string_view(text, static_cast<size_t>(n)));
}

std::u16string DurationToStringMask(ExecContext* context, int64_t milliseconds, std::u16string_view mask) {
  if (mask.empty()) return DurationToString(context, milliseconds, 0);
  return FormatDurationMask(milliseconds, mask);
}

}  // namespace kp::datetime
