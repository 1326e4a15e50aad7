// kp160std — time zone and locale on POSIX: the C library with the host's TZ
// and the locale named by the environment (LC_ALL, LC_TIME, LANG).
#include "platform/timezone.h"

#include <langinfo.h>
#include <locale.h>
#include <time.h>

#include <chrono>
#include <string_view>

#include "platform/posix/broken_down_time.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

// The environment's LC_TIME locale, opened once; the C locale when the
// environment names none that exists.
locale_t TimeLocale() {
  static const locale_t locale = [] {
    locale_t l = newlocale(LC_TIME_MASK, "", static_cast<locale_t>(0));
    return l ? l : newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(0));
  }();
  return locale;
}

// Locale texts are UTF-8 in any modern locale; other codesets are read as
// Latin-1, which is right for the 8-bit French and English locales.
std::u16string Decode(const char* text) {
  std::u16string out;
  if (!text) return out;
  const std::string_view codeset = nl_langinfo_l(CODESET, TimeLocale());
  const bool utf8 = codeset == "UTF-8" || codeset == "utf8";
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  while (*s) {
    char32_t c = *s++;
    if (utf8 && c >= 0x80) {
      int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
      c &= more == 3 ? 0x07 : more == 2 ? 0x0F : 0x1F;
      for (; more > 0 && (*s & 0xC0) == 0x80; --more) c = (c << 6) | (*s++ & 0x3F);
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

bool ValidMoment(const SystemTime& t) {
  using namespace std::chrono;
  const year_month_day ymd{year{t.year}, month{t.month}, day{t.day}};
  return t.year >= 1601 && ymd.ok() && t.hour < 24 && t.minute < 60 && t.second < 60 && t.milliseconds < 1000;
}

}  // namespace

std::optional<int32_t> ZoneBias(const SystemTime& t, bool asUniversal) {
  if (!ValidMoment(t)) {
    SetLastError(win32::kInvalidParameter);
    return std::nullopt;
  }
  tzset();
  time_t when = 0;
  if (asUniversal) {
    using namespace std::chrono;
    const sys_days days{year_month_day{year{t.year}, month{t.month}, day{t.day}}};
    when = static_cast<time_t>(days.time_since_epoch().count()) * 86400 + t.hour * 3600 + t.minute * 60 + t.second;
  } else {
    tm local = ToLocalTm(t);
    when = mktime(&local);
    if (when == static_cast<time_t>(-1) && !(local.tm_year == 69 && local.tm_mon == 11 && local.tm_mday == 31)) {
      SetLastError(win32::kInvalidParameter);
      return std::nullopt;
    }
  }
  tm local{};
  if (!localtime_r(&when, &local)) {
    SetLastError(win32::kInvalidParameter);
    return std::nullopt;
  }
  return static_cast<int32_t>(-local.tm_gmtoff / 60);
}

std::u16string LocaleDayName(int32_t weekday) {
  if (weekday < 0 || weekday > 6) return {};
  return Decode(nl_langinfo_l(static_cast<nl_item>(DAY_1 + weekday), TimeLocale()));
}

std::u16string LocaleMonthName(int32_t month) {
  if (month < 1 || month > 12) return {};
  return Decode(nl_langinfo_l(static_cast<nl_item>(MON_1 + month - 1), TimeLocale()));
}

std::u16string SystemDateMask() {
  // strftime conversions turned into mask tokens; anything unknown is kept
  // as literal text.
  const std::u16string format = Decode(nl_langinfo_l(D_FMT, TimeLocale()));
  std::u16string mask;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != u'%' || i + 1 == format.size()) {
      mask.push_back(format[i]);
      continue;
    }
    switch (format[++i]) {
      case u'd': mask += u"JJ"; break;
      case u'e': mask += u"J"; break;
      case u'm': mask += u"MM"; break;
      case u'b':
      case u'h': mask += u"MMM"; break;
      case u'B': mask += u"MMMM"; break;
      case u'Y': mask += u"AAAA"; break;
      case u'y': mask += u"AA"; break;
      case u'a': mask += u"JJJ"; break;
      case u'A': mask += u"JJJJ"; break;
      case u'D': mask += u"MM/JJ/AA"; break;
      case u'F': mask += u"AAAA-MM-JJ"; break;
      case u'%': mask += u"%"; break;
      default: break;
    }
  }
  return mask;
}

}  // namespace kp::platform
