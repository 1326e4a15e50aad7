// kp160std — TailleVersChaîne/LengthToString.
#include "numbers/size_text.h"

#include <string>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "abi/vm.h"

namespace kp::numbers {
namespace {

constexpr const char16_t* kUnitsEn[] = {u"bytes", u"KB", u"MB", u"GB", u"TB", u"PB", u"EB"};
constexpr const char16_t* kUnitsFr[] = {u"octets", u"Ko", u"Mo", u"Go", u"To", u"Po", u"Eo"};

// The largest unit (power of 1024) not above `size`.
int Unit(int64_t size) {
  int k = 0;
  while (k < 6 && (size >> (10 * (k + 1))) > 0) ++k;
  return k;
}

std::u16string Decimal(uint64_t n) {
  char16_t buf[24];
  char16_t* p = buf + 24;
  do *--p = static_cast<char16_t>(u'0' + n % 10);
  while (n /= 10);
  return std::u16string(p, buf + 24);
}

// "byte"/"octet" for counts the language says are singular: 1 in English,
// 0 and 1 in French.
std::u16string ByteUnit(int64_t size, bool french) {
  if (size == 1 || (french && size == 0)) return french ? u"octet" : u"byte";
  return french ? kUnitsFr[0] : kUnitsEn[0];
}

bool French(ExecContext* context) {
  const KLLanguage* language = Language(context);
  return !language || language->code == KL_LANGUAGE_FRENCH;
}

}  // namespace

std::u16string SizeText(int64_t size, bool french, std::u16string_view decimal) {
  int k = Unit(size);
  if (k == 0) return Decimal(static_cast<uint64_t>(size)) + u' ' + ByteUnit(size, french);
  // Tenths of the unit, halves up: floor(10 size / unit + 1/2), exact in 64
  // bits by taking the whole units and the rest apart (10 rest + unit / 2 <
  // 10 * 2^60 + 2^59 fits).
  const auto tenths = [&](int unit) {
    const int shift = 10 * unit;
    const auto s = static_cast<uint64_t>(size);
    const uint64_t rest = s & ((uint64_t{1} << shift) - 1);
    return 10 * (s >> shift) + ((10 * rest + (uint64_t{1} << (shift - 1))) >> shift);
  };
  uint64_t t = tenths(k);
  if (t >= 10240 && k < 6) t = tenths(++k);
  std::u16string out = Decimal(t / 10);
  if (t % 10) {
    out += decimal;
    out.push_back(static_cast<char16_t>(u'0' + t % 10));
  }
  out.push_back(u' ');
  out += (french ? kUnitsFr : kUnitsEn)[k];
  return out;
}

std::u16string LengthToStringWith(ExecContext* context, int64_t size, std::u16string_view mask, bool french,
                                  const Separators& separators) {
  if (size < 0) {
    Raise(context, kErrNegativeSize, {Decimal(0 - static_cast<uint64_t>(size)).insert(0, 1, u'-')});
    return {};
  }
  if (mask.empty()) return SizeText(size, french, separators.decimal);
  const MaskParse parsed = ParseNumberMask(mask);
  if (!parsed.mask) {
    NumToStringWith(context, 0, mask, separators);  // raises the mask's error, as NumériqueVersChaîne does
    return {};
  }
  const int k = Unit(size);
  const double value = static_cast<double>(size) / static_cast<double>(int64_t{1} << (10 * k));
  std::u16string out;
  AppendFormatted(*parsed.mask, value, separators, out);
  out.push_back(u' ');
  out += k == 0 ? ByteUnit(size, french) : std::u16string((french ? kUnitsFr : kUnitsEn)[k]);
  return out;
}

std::u16string LengthToString(ExecContext* context, int64_t size) {
  return LengthToStringWith(context, size, {}, French(context), DeviceSeparators());
}

std::u16string LengthToStringMask(ExecContext* context, int64_t size, std::u16string_view mask) {
  return LengthToStringWith(context, size, mask, French(context), DeviceSeparators());
}

}  // namespace kp::numbers
