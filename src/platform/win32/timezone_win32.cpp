// kp160std — time zone and locale on Windows: the zone record from
// GetTimeZoneInformation (its bias decision is common/zone_record.cpp),
// GetDateFormatW and GetLocaleInfoW.
#include "platform/win32/windows_api.h"

#include <string>

#include "platform/timezone.h"

namespace kp::platform {
namespace {

// A transition of GetTimeZoneInformation: "day-in-month" form (wYear 0:
// occurrence wDay, 5 = the last, of wDayOfWeek) or an absolute date.
ZoneTransition FromSystemTime(const SYSTEMTIME& rule) {
  ZoneTransition t;
  t.form = rule.wYear == 0 ? ZoneTransition::Form::kWeekOfMonth : ZoneTransition::Form::kDate;
  t.month = rule.wMonth;
  t.week = rule.wDay;
  t.weekday = rule.wDayOfWeek;
  t.day = rule.wDay;
  t.seconds = (rule.wHour * 60 + rule.wMinute) * 60 + rule.wSecond;
  return t;
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

std::optional<ZoneRecord> CurrentZone() {
  TIME_ZONE_INFORMATION info{};
  if (GetTimeZoneInformation(&info) == TIME_ZONE_ID_INVALID) return std::nullopt;
  ZoneRecord zone;
  zone.bias = info.Bias;
  zone.standardBias = info.StandardBias;
  zone.daylightBias = info.DaylightBias;
  zone.daylight = info.DaylightDate.wMonth != 0 && info.StandardDate.wMonth != 0;
  if (zone.daylight) {
    zone.daylightStart = FromSystemTime(info.DaylightDate);
    zone.standardStart = FromSystemTime(info.StandardDate);
  }
  return zone;
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
