// kp160std — names of weekdays and months in letters.
#include "datetime/names.h"

#include "abi/messages.h"
#include "abi/vm.h"
#include "datetime/calendar.h"
#include "datetime/values.h"
#include "platform/timezone.h"

namespace kp::datetime {
namespace {

constexpr size_t kDayNameMax = 50;
constexpr size_t kMonthNameMax = 249;
constexpr uint32_t kMondayMessage = 28204;  // .. 28209 Saturday, 28210 Sunday

// Last resort when neither the language nor the VM gives a name. Monday and
// January first, like the language object's lists.
const char16_t* const kDaysFr[7] = {u"lundi", u"mardi", u"mercredi", u"jeudi", u"vendredi", u"samedi", u"dimanche"};
const char16_t* const kDaysEn[7] = {u"Monday", u"Tuesday", u"Wednesday", u"Thursday",
                                    u"Friday", u"Saturday", u"Sunday"};
const char16_t* const kShortDaysFr[7] = {u"lun.", u"mar.", u"mer.", u"jeu.", u"ven.", u"sam.", u"dim."};
const char16_t* const kShortDaysEn[7] = {u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat", u"Sun"};
const char16_t* const kMonthsFr[12] = {u"janvier", u"février", u"mars",      u"avril",   u"mai",      u"juin",
                                       u"juillet", u"août",    u"septembre", u"octobre", u"novembre", u"décembre"};
const char16_t* const kMonthsEn[12] = {u"January", u"February", u"March",     u"April",   u"May",      u"June",
                                       u"July",    u"August",   u"September", u"October", u"November", u"December"};
const char16_t* const kShortMonthsFr[12] = {u"janv.", u"févr.", u"mars",  u"avr.", u"mai",  u"juin",
                                            u"juil.", u"août",  u"sept.", u"oct.", u"nov.", u"déc."};
const char16_t* const kShortMonthsEn[12] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                            u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};

bool French(const KLLanguage* language) { return !language || language->code == KL_LANGUAGE_FRENCH; }

// Position in a Monday-first list of a Sunday-first index.
int32_t MondayFirst(int32_t weekday) { return weekday == 0 ? 6 : weekday - 1; }

std::u16string Cut(std::u16string name, size_t max) {
  if (name.size() > max) name.resize(max);
  return name;
}

}  // namespace

std::u16string DayName(ExecContext* context, int32_t weekday) {
  if (weekday < 0 || weekday > 6) return {};
  const KLLanguage* language = Language(context);
  const int32_t k = MondayFirst(weekday);
  if (language && !language->useSystemNames && language->dayNames[k])
    return Cut(language->dayNames[k], kDayNameMax);
  if (language && language->useSystemNames) {
    auto name = platform::LocaleDayName(weekday);
    if (!name.empty()) return Cut(std::move(name), kDayNameMax);
  }
  auto name = MessageText(kMondayMessage + static_cast<uint32_t>(k));
  if (name.empty()) name = (French(language) ? kDaysFr : kDaysEn)[k];
  return Cut(std::move(name), kDayNameMax);
}

std::u16string MonthName(ExecContext* context, int32_t month) {
  if (month < 1 || month > 12) return {};
  const KLLanguage* language = Language(context);
  if (language && !language->useSystemNames && language->monthNames[month - 1])
    return Cut(language->monthNames[month - 1], kMonthNameMax);
  if (language && language->useSystemNames) {
    auto name = platform::LocaleMonthName(month);
    if (!name.empty()) return Cut(std::move(name), kMonthNameMax);
  }
  return (French(language) ? kMonthsFr : kMonthsEn)[month - 1];
}

std::u16string ShortDayName(ExecContext* context, int32_t weekday) {
  if (weekday < 0 || weekday > 6) return {};
  const KLLanguage* language = Language(context);
  const int32_t k = MondayFirst(weekday);
  if (language && !language->useSystemNames && language->shortDayNames[0] && language->shortDayNames[k])
    return Cut(language->shortDayNames[k], kDayNameMax);
  return (French(language) ? kShortDaysFr : kShortDaysEn)[k];
}

std::u16string ShortMonthName(ExecContext* context, int32_t month) {
  if (month < 1 || month > 12) return {};
  const KLLanguage* language = Language(context);
  if (language && !language->useSystemNames && language->shortMonthNames[0] && language->shortMonthNames[month - 1])
    return Cut(language->shortMonthNames[month - 1], kMonthNameMax);
  return (French(language) ? kShortMonthsFr : kShortMonthsEn)[month - 1];
}

std::u16string IntegerToDayInAlpha(ExecContext* context, int32_t n) { return DayName(context, RawWeekdayIndex(n)); }

std::u16string DateToDayInAlpha(ExecContext* context, std::u16string_view date) {
  const auto n = DateDayNumber(context, date);
  return n ? IntegerToDayInAlpha(context, *n) : std::u16string();
}

std::u16string IntegerToMonthInAlpha(ExecContext* context, int32_t n) {
  const auto d = DateFromDayNumber(n);
  if (!d) return {};
  return MonthName(context, d->month);
}

std::u16string DateToMonthInAlpha(ExecContext* context, std::u16string_view date) {
  const auto n = DateDayNumber(context, date);
  return n ? IntegerToMonthInAlpha(context, *n) : std::u16string();
}

}  // namespace kp::datetime
