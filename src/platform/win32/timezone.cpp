// kp160std — time zone and locale on Windows: GetTimeZoneInformation with the
// zone's own transition rules, GetDateFormatW and GetLocaleInfoW.
#include <windows.h>

#include <string>

#include "platform/timezone.h"

namespace kp::platform {
namespace {

bool Leap(int y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

int MonthDays(int y, int m) {
  static const int kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && Leap(y) ? 29 : kLength[m];
}

// Day of week (0 = Sunday) by Sakamoto's method.
int Weekday(int y, int m, int d) {
  static const int t[12] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  if (m < 3) y -= 1;
  return (y + y / 4 - y / 100 + y / 400 + t[m - 1] + d) % 7;
}

// Minutes from the start of the year.
long long MinuteOfYear(int y, int m, int d, int h, int mi) {
  long long days = d - 1;
  for (int k = 1; k < m; ++k) days += MonthDays(y, k);
  return (days * 24 + h) * 60 + mi;
}

// A transition of the zone in year y, in the zone's wall clock of the moment
// before it: "day-in-month" form (wYear 0: occurrence wDay of wDayOfWeek,
// 5 = the last) or an absolute date.
long long Transition(const SYSTEMTIME& rule, int y) {
  int day = rule.wDay;
  if (rule.wYear == 0) {
    const int first = Weekday(y, rule.wMonth, 1);
    day = 1 + (rule.wDayOfWeek - first + 7) % 7 + 7 * (rule.wDay - 1);
    while (day > MonthDays(y, rule.wMonth)) day -= 7;
  }
  return MinuteOfYear(y, rule.wMonth, day, rule.wHour, rule.wMinute);
}

std::u16string DateFormat(const wchar_t* picture, int y, int m, int d) {
  SYSTEMTIME st{};
  st.wYear = static_cast<WORD>(y);
  st.wMonth = static_cast<WORD>(m);
  st.wDay = static_cast<WORD>(d);
  wchar_t buffer[256];
  const int n = GetDateFormatW(LOCALE_USER_DEFAULT, 0, &st, picture, buffer, 256);
  if (n <= 1) return {};
  return std::u16string(reinterpret_cast<const char16_t*>(buffer), static_cast<size_t>(n - 1));
}

}  // namespace

std::optional<int32_t> ZoneBias(const SystemTime& t, bool asUniversal) {
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.day > MonthDays(t.year, t.month)) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return std::nullopt;
  }
  TIME_ZONE_INFORMATION zone{};
  if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) return std::nullopt;
  if (zone.DaylightDate.wMonth == 0 || zone.StandardDate.wMonth == 0) return static_cast<int32_t>(zone.Bias);
  const int y = t.year;
  // Daylight time starts at a standard-time wall clock and ends at a
  // daylight-time one; judged in universal time both are shifted by the bias
  // in force just before them.
  long long start = Transition(zone.DaylightDate, y);
  long long end = Transition(zone.StandardDate, y);
  if (asUniversal) {
    start += zone.Bias + zone.StandardBias;
    end += zone.Bias + zone.DaylightBias;
  }
  const long long now = MinuteOfYear(y, t.month, t.day, t.hour, t.minute);
  const bool daylight = start < end ? (now >= start && now < end) : (now >= start || now < end);
  return static_cast<int32_t>(zone.Bias + (daylight ? zone.DaylightBias : zone.StandardBias));
}

std::u16string LocaleDayName(int32_t weekday) {
  if (weekday < 0 || weekday > 6) return {};
  return DateFormat(L"dddd", 2010, 10, 3 + weekday);  // 3 October 2010 was a Sunday
}

std::u16string LocaleMonthName(int32_t month) {
  if (month < 1 || month > 12) return {};
  return DateFormat(L"MMMM", 2010, month, 1);
}

std::u16string SystemDateMask() {
  wchar_t buffer[128];
  const int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SSHORTDATE, buffer, 128);
  if (n <= 1) return {};
  // The picture's letters turned into mask tokens; quoted text stays literal.
  const std::wstring picture(buffer, static_cast<size_t>(n - 1));
  std::u16string mask;
  for (size_t i = 0; i < picture.size();) {
    const wchar_t c = picture[i];
    size_t run = 1;
    while (i + run < picture.size() && picture[i + run] == c) ++run;
    if (c == L'\'') {
      const size_t close = picture.find(L'\'', i + 1);
      const size_t stop = close == std::wstring::npos ? picture.size() : close;
      mask += u'\'';
      for (size_t k = i + 1; k < stop; ++k) mask.push_back(static_cast<char16_t>(picture[k]));
      mask += u'\'';
      i = stop + 1;
      continue;
    }
    if (c == L'd') mask += run == 1 ? u"J" : run == 2 ? u"JJ" : run == 3 ? u"JJJ" : u"JJJJ";
    else if (c == L'M') mask += run == 1 ? u"M" : run == 2 ? u"MM" : run == 3 ? u"MMM" : u"MMMM";
    else if (c == L'y') mask += run <= 2 ? u"AA" : u"AAAA";
    else if (c == L'g') {}  // era: not shown
    else mask.append(run, static_cast<char16_t>(c));
    i += run;
  }
  return mask;
}

}  // namespace kp::platform
