// The mask engine both ways, for dates and durations: the first line of the
// input is the mask, the rest the text. Invariants: a date formatted with a
// mask of numeric tokens and separators parses back to the same date, and
// durations formatted with a mask holding every unit parse back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "datetime/calendar.h"
#include "datetime/mask.h"

using namespace kp::datetime;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string input(data, data + size);
  const size_t cut = input.find(u'\n');
  const std::u16string mask = input.substr(0, cut);
  const std::u16string text = cut == std::u16string::npos ? std::u16string() : input.substr(cut + 1);

  if (const auto d = ParseDateMask(nullptr, text, mask)) {
    DateParts checked;
    if (!ParseDate(FormatDate(*d), checked, nullptr)) std::abort();  // the engine only gives real dates
  }
  const DateParts day{static_cast<int32_t>(1583 + (size * 37) % 8000), static_cast<int32_t>(1 + size % 12),
                      static_cast<int32_t>(1 + size % 28)};
  FormatDateMask(nullptr, day, mask);
  if (mask.size() < 64) {
    const std::u16string round = u"JJ" + mask.substr(0, 1) + u"MM" + mask.substr(0, 1) + u"AAAA";
    // Any literal but a token letter or a quote separates the fields.
    const bool separator = mask.empty() || (!(mask[0] >= u'A' && mask[0] <= u'Z') && mask[0] != u'\'');
    if (separator) {
      const auto back = ParseDateMask(nullptr, FormatDateMask(nullptr, day, round), round);
      if (!back || back->year != day.year || back->month != day.month || back->day != day.day) std::abort();
    }
  }

  ParseDurationMask(text, mask);
  int64_t v = 0;
  for (size_t i = 0; i < size && i < 8; ++i) v |= static_cast<int64_t>(data[i]) << (8 * i);
  v %= int64_t{1} << 50;
  FormatDurationMask(v, mask);
  const auto back = ParseDurationMask(FormatDurationMask(v, u"J:HH:MM:SS.LLL"), u"J:HH:MM:SS.LLL");
  if (!back || *back != v) std::abort();
  return 0;
}
