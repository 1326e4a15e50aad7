// kp160std — the euro family: fixed rates, exact conversions through the
// euro, and the per-program currency settings.
//
// In this file, in order: the rates table and the exact decimal arithmetic
// (128-bit, half away from zero); the per-program state (defaults, own
// rates, the last conversion for eDifférenceArrondi) and the exact
// conversion; finding a program's state (a lock-free table of recent
// programs in front of a locked map); looking a code up (a perfect hash of
// its three letters) and the everyday 64-bit conversion inlined before the
// exact one; then the KL functions themselves, as euro.h lists them.
#include "numbers/euro.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "abi/error.h"
#include "abi/state.h"
#include "abi/vm.h"
#include "numbers/int128.h"

namespace kp::numbers {
namespace {

// The irrevocable rates: units of each currency for one euro, six
// significant figures, as published when each currency joined.
constexpr CurrencyInfo kCurrencies[] = {
    {u"EUR", {1, 0}, 2, u"euro", u"euro", u"19990101"},
    {u"BEF", {403399, 4}, 0, u"franc belge", u"Belgian franc", u"19990101"},
    {u"DEM", {195583, 5}, 2, u"mark allemand", u"German mark", u"19990101"},
    {u"ESP", {166386, 3}, 0, u"peseta espagnole", u"Spanish peseta", u"19990101"},
    {u"FRF", {655957, 5}, 2, u"franc français", u"French franc", u"19990101"},
    {u"IEP", {787564, 6}, 2, u"livre irlandaise", u"Irish pound", u"19990101"},
    {u"ITL", {193627, 2}, 0, u"lire italienne", u"Italian lira", u"19990101"},
    {u"LUF", {403399, 4}, 0, u"franc luxembourgeois", u"Luxembourg franc", u"19990101"},
    {u"NLG", {220371, 5}, 2, u"florin néerlandais", u"Dutch guilder", u"19990101"},
    {u"ATS", {137603, 4}, 2, u"schilling autrichien", u"Austrian schilling", u"19990101"},
    {u"PTE", {200482, 3}, 0, u"escudo portugais", u"Portuguese escudo", u"19990101"},
    {u"FIM", {594573, 5}, 2, u"mark finlandais", u"Finnish markka", u"19990101"},
    {u"GRD", {340750, 3}, 0, u"drachme grecque", u"Greek drachma", u"20010101"},
    {u"SIT", {239640, 3}, 2, u"tolar slovène", u"Slovenian tolar", u"20070101"},
    {u"CYP", {585274, 6}, 2, u"livre chypriote", u"Cypriot pound", u"20080101"},
    {u"MTL", {429300, 6}, 2, u"lire maltaise", u"Maltese lira", u"20080101"},
    {u"SKK", {301260, 4}, 2, u"couronne slovaque", u"Slovak koruna", u"20090101"},
    {u"EEK", {156466, 4}, 2, u"couronne estonienne", u"Estonian kroon", u"20110101"},
    {u"LVL", {702804, 6}, 2, u"lats letton", u"Latvian lats", u"20140101"},
    {u"LTL", {345280, 5}, 2, u"litas lituanien", u"Lithuanian litas", u"20150101"},
    {u"HRK", {753450, 5}, 2, u"kuna croate", u"Croatian kuna", u"20230101"},
    {u"BGN", {195583, 5}, 2, u"lev bulgare", u"Bulgarian lev", u"20260101"},
};
constexpr size_t kCurrencyCount = std::size(kCurrencies);

using Int = Int128;

// Amounts keep at most this many decimals: finer digits cannot reach any
// currency's smallest unit, even through the largest rate a program may set.
constexpr int kMaxAmountDecimals = 18;
// Rates a program sets: six significant figures, from 0.000001 to
// 999999000000, so every product below fits 128 bits.
constexpr int kMinRateScale = -6;
constexpr int kMaxRateScale = 11;
// The rounding difference carries six decimals more than the result.
constexpr int kDifferenceExtraDecimals = 6;

constexpr std::array<Int, 39> kPowers = [] {
  std::array<Int, 39> out{};
  out[0] = 1;
  for (size_t i = 1; i < out.size(); ++i) out[i] = out[i - 1] * 10;
  return out;
}();
constexpr std::array<int64_t, 19> kPowers64 = [] {
  std::array<int64_t, 19> out{};
  out[0] = 1;
  for (size_t i = 1; i < out.size(); ++i) out[i] = out[i - 1] * 10;
  return out;
}();
Int Pow10(int n) { return kPowers[static_cast<size_t>(n)]; }  // 0 <= n <= 38

// Half away from zero, as the conversion rules ask (a half goes up in
// magnitude). den > 0.
Int DivRound(Int num, Int den) {
  const bool negative = num < 0;
  const Int magnitude = negative ? -num : num;
  Int q;
  if (magnitude <= UINT64_MAX && den <= UINT64_MAX) {
    // Most amounts: one 64-bit division instead of a 128-bit one.
    const auto m = static_cast<uint64_t>(magnitude), d = static_cast<uint64_t>(den);
    const uint64_t r = m % d;
    q = m / d + (r >= d - r ? 1 : 0);
  } else {
    q = magnitude / den;
    const Int r = magnitude % den;
    if (r >= den - r) ++q;
  }
  return negative ? -q : q;
}

bool FitsInt64(Int v) { return v >= INT64_MIN && v <= INT64_MAX; }

// An amount brought to 0..kMaxAmountDecimals decimals; nullopt when the
// whole part does not fit a currency cell.
std::optional<Currency> Normalised(Currency amount) {
  if (amount.scale > kMaxAmountDecimals) {
    const int drop = amount.scale - kMaxAmountDecimals;
    if (drop > 20) return Currency{0, kMaxAmountDecimals};  // |value| < 10^19: rounds to 0
    return Currency{static_cast<int64_t>(DivRound(amount.value, Pow10(drop))), kMaxAmountDecimals};
  }
  if (amount.scale < 0) {
    if (amount.value == 0) return Currency{0, 0};
    if (amount.scale < -19) return std::nullopt;
    const Int v = Int{amount.value} * Pow10(-amount.scale);
    if (!FitsInt64(v)) return std::nullopt;
    return Currency{static_cast<int64_t>(v), 0};
  }
  return amount;
}

std::u16string Ascii(std::string_view s) { return {s.begin(), s.end()}; }

std::u16string DecimalText(Currency c) {
  const uint64_t magnitude = c.value < 0 ? 0 - static_cast<uint64_t>(c.value) : static_cast<uint64_t>(c.value);
  std::string digits = std::to_string(magnitude);
  std::string out;
  if (c.scale < -19) {
    out = digits + "e" + std::to_string(-c.scale);
  } else if (c.scale <= 0) {
    out = digits + (c.value != 0 ? std::string(static_cast<size_t>(-c.scale), '0') : "");
  } else {
    const auto scale = static_cast<size_t>(c.scale);
    if (digits.size() <= scale) digits.insert(0, scale - digits.size() + 1, '0');
    out = digits.substr(0, digits.size() - scale) + "." + digits.substr(digits.size() - scale);
  }
  return Ascii((c.value < 0 ? "-" : "") + out);
}

std::u16string RealText(double value) {
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  return Ascii(std::string_view(buffer, static_cast<size_t>(end - buffer)));
}

double RateValue(EuroRate r) {
  // The only binary floating point of the family: the real result of
  // eTauxDeChange. Dividing by an exact power of ten gives the real nearest
  // the decimal rate.
  double v = static_cast<double>(r.digits);
  return r.scale >= 0 ? v / std::pow(10.0, r.scale) : v * std::pow(10.0, -r.scale);
}

// --- per-program state -------------------------------------------------------
// The exact fraction of the last conversion: its rounding difference is
// worked out only when the program asks for it.
struct LastConversion {
  Int num = 0, den = 1, rounded = 0;
  int16_t decimals = 0;
  bool any = false;
};

struct ProgramCurrencies {
  size_t storage = 0;  // index in kCurrencies: the euro
  size_t display = 0;
  std::array<EuroRate, kCurrencyCount> rates = [] {
    std::array<EuroRate, kCurrencyCount> out{};
    for (size_t i = 0; i < kCurrencyCount; ++i) out[i] = kCurrencies[i].rate;
    return out;
  }();
  LastConversion last;
};

// The 128-bit side of Exact (below), for what overflows 64 bits.
ConversionStatus ExactWide(Currency amount, EuroRate from, EuroRate to, int16_t decimals, LastConversion* out) {
  out->decimals = decimals;
  out->any = true;
  const auto a = Normalised(amount);
  if (!a) return ConversionStatus::AmountOutOfRange;
  const int e = from.scale + decimals - a->scale - to.scale;
  Int num = Int{a->value} * to.digits;
  Int den = from.digits;
  if (e >= 0) {
    if (MulOverflow(num, Pow10(e), &num)) return ConversionStatus::ResultOutOfRange;
  } else if (e < -37 || MulOverflow(den, Pow10(-e), &den)) {
    // The amount is below 10^-25 units of the target: result and difference
    // are both 0 at their precision.
    out->num = 0;
    out->den = 1;
    out->rounded = 0;
    return ConversionStatus::Ok;
  }
  out->num = num;
  out->den = den;
  out->rounded = DivRound(num, den);
  return FitsInt64(out->rounded) ? ConversionStatus::Ok : ConversionStatus::ResultOutOfRange;
}

// amount / from * to, in units of 10^-decimals, as one exact fraction
// num / den = value * to.digits * 10^e / from.digits, and its rounding.
//
// Everyday amounts fit 64 bits all the way: checked 64-bit products and one
// 64-bit division, the signs handled without a branch. False, with nothing
// written, where a product does not fit (ExactWide then does it all).
inline bool Exact64(Currency amount, EuroRate from, EuroRate to, int16_t decimals, LastConversion* out,
                    int64_t* rounded) {
  if (amount.scale < 0 || amount.scale > kMaxAmountDecimals) return false;
  const int e = from.scale + decimals - amount.scale - to.scale;
  int64_t num64, den64 = from.digits;
  if (__builtin_mul_overflow(amount.value, to.digits, &num64)) return false;
  if (e >= 0 ? e > 18 || __builtin_mul_overflow(num64, kPowers64[e], &num64)
             : e < -12 || __builtin_mul_overflow(den64, kPowers64[-e], &den64))
    return false;
  // The magnitude in unsigned arithmetic, right for INT64_MIN as well.
  const bool negative = num64 < 0;
  const uint64_t m = negative ? 0 - static_cast<uint64_t>(num64) : static_cast<uint64_t>(num64);
  const auto d = static_cast<uint64_t>(den64);
  const uint64_t r = m % d;
  const uint64_t q = m / d + (r >= d - r ? 1 : 0);
  *rounded = static_cast<int64_t>(negative ? 0 - q : q);
  out->num = num64;
  out->den = den64;
  out->rounded = *rounded;
  out->decimals = decimals;
  out->any = true;
  return true;
}

ConversionStatus Exact(Currency amount, EuroRate from, EuroRate to, int16_t decimals, LastConversion* out) {
  int64_t rounded;
  if (Exact64(amount, from, to, decimals, out, &rounded)) [[likely]]
    return ConversionStatus::Ok;
  return ExactWide(amount, from, to, decimals, out);
}

// rounded - exact = (rounded * den - num) / den, to six more decimals.
// Where the product overflows, den exceeds 10^32 while num stays below
// 10^25, so the difference is below 10^-7 units: 0 at this precision.
Currency DifferenceOf(const LastConversion& last) {
  const auto scale = static_cast<int16_t>(last.decimals + kDifferenceExtraDecimals);
  if (!last.any) return {};
  const Int gap = last.rounded * last.den - last.num;  // |gap| <= den / 2
  Int scaled = 0;
  if (!MulOverflow(gap, Pow10(kDifferenceExtraDecimals), &scaled))
    scaled = DivRound(scaled, last.den);
  else
    scaled = 0;
  return {static_cast<int64_t>(scaled), scale};
}

// --- finding a program's state -----------------------------------------------
// A program's record lives as long as the library. A forgotten program's
// record is not freed but kept for the next new program, so that a pointer
// read from the recent table below always points at a record, whatever
// another thread does meanwhile.
struct ProgramRecord {
  std::atomic<const ExecContext*> context{nullptr};
  ProgramCurrencies state;
};

// A spare record's context: its own address, where no program's context is.
const ExecContext* NoContext(const ProgramRecord* record) { return reinterpret_cast<const ExecContext*>(record); }

// Guarded by gMutex. A program's own state is used on the thread that runs it.
struct ProgramTable {
  std::map<const ExecContext*, ProgramRecord*> byContext;
  std::vector<std::unique_ptr<ProgramRecord>> owned;  // every record, in use or spare
  std::vector<ProgramRecord*> spare;
};
std::mutex gMutex;
ProgramTable& Programs() {
  // Destroyed with the library: nothing of it is left behind at unload.
  static ProgramTable programs;
  return programs;
}

// The records of the programs seen lately, by a hash of their context: a
// call finds its program with two loads and a comparison, with no lock and
// no thread-local variable (whose access is a function call in a shared
// library). A program's first call takes the lock, and so does a call whose
// slot another program took since (two programs with the same hash, taking
// turns).
constexpr size_t kRecentSlots = 64;
std::atomic<ProgramRecord*> gRecent[kRecentSlots];

size_t RecentSlot(const ExecContext* context) {
  const auto v = reinterpret_cast<uintptr_t>(context);
  return (v >> 4 ^ v >> 10) % kRecentSlots;
}

inline ProgramCurrencies* RecentState(const ExecContext* context) {
  ProgramRecord* record = gRecent[RecentSlot(context)].load(std::memory_order_acquire);
  return record && record->context.load(std::memory_order_relaxed) == context ? &record->state : nullptr;
}

[[gnu::noinline]] ProgramCurrencies& FindState(const ExecContext* context) {
  std::lock_guard lock(gMutex);
  ProgramTable& table = Programs();
  ProgramRecord*& record = table.byContext[context];
  if (!record) {
    if (table.spare.empty()) {
      record = table.owned.emplace_back(std::make_unique<ProgramRecord>()).get();
    } else {
      record = table.spare.back();
      table.spare.pop_back();
      record->state = ProgramCurrencies{};
    }
    record->context.store(context, std::memory_order_relaxed);
  }
  gRecent[RecentSlot(context)].store(record, std::memory_order_release);
  return record->state;
}

inline ProgramCurrencies& StateOf(const ExecContext* context) {
  if (ProgramCurrencies* state = RecentState(context)) [[likely]]
    return *state;
  return FindState(context);
}

template <typename F>
auto WithProgram(ExecContext* context, F f) {
  return f(StateOf(context));
}

// --- look-up by code -----------------------------------------------------------
// A code of three ASCII letters as a number below 2^15, whatever their case:
// five bits a letter ('A' and 'a' are 0). Or-ing 0x20 folds the upper case
// onto the lower; a character then outside 'a'..'a'+31 (digits, '@', '[',
// anything beyond ASCII) gives kNotACode. The five characters after 'z'
// ('{' to DEL) still get a key, but one no table code has (their five bits
// are 26 to 31), so a single test serves all three.
constexpr uint32_t kNotACode = UINT32_MAX;
constexpr uint32_t CodeKey(char16_t a, char16_t b, char16_t c) {
  const uint32_t x = (a | 0x20u) - 0x61u, y = (b | 0x20u) - 0x61u, z = (c | 0x20u) - 0x61u;
  if ((x | y | z) >= 32) return kNotACode;
  return x << 10 | y << 5 | z;
}

// A perfect hash of the table's codes: (key * multiplier) >> 26 gives each
// code its own slot of 64; the multiplier is searched for at compile time.
// A look-up is then one product, one byte and one comparison.
constexpr int kHashBits = 6;
struct CodeHash {
  uint32_t multiplier = 0;
  std::array<uint8_t, size_t{1} << kHashBits> slots{};  // an index; kCurrencyCount when empty
  std::array<uint32_t, kCurrencyCount + 1> keys{};      // by index; the last matches no key
};
constexpr uint32_t Slot(uint32_t key, uint32_t multiplier) { return (key * multiplier) >> (32 - kHashBits); }
constexpr CodeHash kCodeHash = [] {
  CodeHash h;
  for (size_t i = 0; i < kCurrencyCount; ++i) {
    const char16_t* code = kCurrencies[i].code;
    h.keys[i] = CodeKey(code[0], code[1], code[2]);
  }
  h.keys[kCurrencyCount] = kNotACode - 1;  // neither a code nor kNotACode
  // Odd multipliers from a simple generator: neighbouring ones would place
  // the small keys almost alike.
  for (uint32_t m = 0x9E3779B1u;; m = (m * 0x2545F491u + 0x6A09E667u) | 1) {
    h.multiplier = m;
    h.slots.fill(kCurrencyCount);
    bool distinct = true;
    for (size_t i = 0; i < kCurrencyCount && distinct; ++i) {
      uint8_t& slot = h.slots[Slot(h.keys[i], m)];
      distinct = slot == kCurrencyCount;
      slot = static_cast<uint8_t>(i);
    }
    if (distinct) return h;
  }
}();

// The index in kCurrencies of a code, whatever its case; -1 when unknown.
inline int IndexOfCode(std::u16string_view code) {
  if (code.size() != 3) return -1;
  const uint32_t key = CodeKey(code[0], code[1], code[2]);
  // A non-code's key, kNotACode, differs from every key of the table,
  // the empty slots' included.
  const uint8_t index = kCodeHash.slots[Slot(key, kCodeHash.multiplier)];
  return kCodeHash.keys[index] == key ? index : -1;
}

// The error paths stay out of line, so that a conversion's own path keeps a
// small frame (the inserts are texts built on the stack).
[[gnu::noinline, gnu::cold]] void RaiseUnknown(ExecContext* context, std::u16string_view code) {
  Raise(context, kErrUnknownCurrency, {code});
}

[[gnu::noinline, gnu::cold]] void RaiseOutOfRange(ExecContext* context, Currency amount, int from, int to) {
  if (from >= 0)
    Raise(context, kErrCurrencyAmountOutOfRange,
          {DecimalText(amount) + u" " + kCurrencies[from].code + u" → " + kCurrencies[to].code});
  else
    Raise(context, kErrCurrencyAmountOutOfRange, {DecimalText(amount)});
}

// The index of a code; -1 with the error recorded when unknown.
inline int Known(ExecContext* context, std::u16string_view code) {
  const int index = IndexOfCode(code);
  if (index < 0) [[unlikely]]
    RaiseUnknown(context, code);
  return index;
}

Currency Fail(ExecContext* context) {
  WithProgram(context, [](ProgramCurrencies& p) { p.last.any = false; });
  return {};
}

[[gnu::noinline, gnu::cold]] Currency ConversionFailed(ExecContext* context, ConversionStatus status, Currency amount,
                                                       int from, int to) {
  if (status == ConversionStatus::AmountOutOfRange)
    RaiseOutOfRange(context, amount, -1, -1);
  else
    RaiseOutOfRange(context, amount, from, to);
  return Fail(context);
}

// From and to are indices in kCurrencies, -1 for a code already reported.
[[gnu::noinline]] Currency ConvertInFull(ExecContext* context, Currency amount, int from, int to) {
  if ((from | to) < 0) return Fail(context);
  ProgramCurrencies& p = StateOf(context);
  const int16_t decimals = kCurrencies[to].decimals;
  const ConversionStatus status = Exact(amount, p.rates[from], p.rates[to], decimals, &p.last);
  if (status == ConversionStatus::Ok) return {static_cast<int64_t>(p.last.rounded), decimals};
  return ConversionFailed(context, status, amount, from, to);
}

// The everyday call: the program's last on this thread, two known
// currencies and an amount whose products fit 64 bits. No call, no frame;
// false, with nothing done, for anything else.
inline bool ConvertQuickly(ExecContext* context, Currency amount, int from, int to, Currency* out) {
  if ((from | to) < 0) return false;
  ProgramCurrencies* state = RecentState(context);
  if (!state) return false;
  ProgramCurrencies& p = *state;
  const int16_t decimals = kCurrencies[to].decimals;
  int64_t rounded;
  if (!Exact64(amount, p.rates[from], p.rates[to], decimals, &p.last, &rounded)) return false;
  *out = {rounded, decimals};
  return true;
}

inline Currency Convert(ExecContext* context, Currency amount, int from, int to) {
  Currency out;
  if (ConvertQuickly(context, amount, from, to, &out)) [[likely]]
    return out;
  return ConvertInFull(context, amount, from, to);
}

std::optional<Currency> FromReal(ExecContext* context, double amount) {
  Currency c;
  if (RealToDecimal(amount, &c)) return c;
  Raise(context, kErrCurrencyAmountOutOfRange, {RealText(amount)});
  Fail(context);
  return std::nullopt;
}

int Storage(ExecContext* context) {
  return static_cast<int>(WithProgram(context, [](ProgramCurrencies& p) { return p.storage; }));
}
int Display(ExecContext* context) {
  return static_cast<int>(WithProgram(context, [](ProgramCurrencies& p) { return p.display; }));
}

}  // namespace

std::span<const CurrencyInfo> Currencies() { return kCurrencies; }

const CurrencyInfo* FindCurrency(std::u16string_view code) {
  const int index = IndexOfCode(code);
  return index < 0 ? nullptr : &kCurrencies[index];
}

ConversionStatus ConvertThroughEuro(Currency amount, EuroRate from, EuroRate to, int16_t decimals, Currency* result,
                                    Currency* difference) {
  LastConversion last;
  const ConversionStatus status = Exact(amount, from, to, decimals, &last);
  if (status == ConversionStatus::Ok) {
    *result = {static_cast<int64_t>(last.rounded), decimals};
    if (difference) *difference = DifferenceOf(last);
  }
  return status;
}

bool RealToDecimal(double value, Currency* out) {
  if (!std::isfinite(value)) return false;
  if (value == 0) {
    *out = {0, 0};
    return true;
  }
  // Scientific form of the shortest round trip: "-d.ddde+XX".
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific).ptr;
  std::string_view text(buffer, static_cast<size_t>(end - buffer));
  const bool negative = text.front() == '-';
  if (negative) text.remove_prefix(1);
  const size_t ePos = text.find('e');
  int exponent = 0;
  std::from_chars(text.data() + ePos + 1 + (text[ePos + 1] == '+'), text.data() + text.size(), exponent);
  int64_t digits = 0;
  int count = 0;
  for (char ch : text.substr(0, ePos))
    if (ch != '.') {
      digits = digits * 10 + (ch - '0');
      ++count;
    }
  const int scale = count - 1 - exponent;
  if (scale < -19) return false;
  const auto n = Normalised(Currency{negative ? -digits : digits, static_cast<int16_t>(std::min(scale, 400))});
  if (!n) return false;
  *out = *n;
  return true;
}

double ExchangeRate(ExecContext* context, std::u16string_view code) {
  const int c = Known(context, code);
  if (c < 0) return 0;
  return RateValue(WithProgram(context, [&](ProgramCurrencies& p) { return p.rates[c]; }));
}

double SetExchangeRate(ExecContext* context, std::u16string_view code, double rate) {
  const int c = Known(context, code);
  if (c < 0) return 0;
  if (!(rate > 0)) {
    Raise(context, kErrExchangeRateNotPositive);
    return 0;
  }
  if (c == 0) {
    Raise(context, kErrEuroRateIsFixed);
    return 0;
  }
  if (!std::isfinite(rate)) {
    Raise(context, kErrExchangeRateOutOfRange, {RealText(rate)});
    return 0;
  }
  // Six significant figures, rounded half away from zero from the shortest
  // decimal of the real (so 6.559574 gives 6.55957, never a binary artefact).
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, rate, std::chars_format::scientific).ptr;
  std::string_view text(buffer, static_cast<size_t>(end - buffer));
  const size_t ePos = text.find('e');
  int exponent = 0;
  std::from_chars(text.data() + ePos + 1 + (text[ePos + 1] == '+'), text.data() + text.size(), exponent);
  Int digits = 0;
  int count = 0;
  for (char ch : text.substr(0, ePos))
    if (ch != '.') {
      digits = digits * 10 + (ch - '0');
      ++count;
    }
  if (count > 6) {
    digits = DivRound(digits, Pow10(count - 6));
  } else {
    digits *= Pow10(6 - count);
  }
  if (digits == 1000000) {  // 9.999995 rounds up to 10.0000
    digits = 100000;
    ++exponent;
  }
  const EuroRate r{static_cast<int64_t>(digits), 5 - exponent};
  if (r.scale < kMinRateScale || r.scale > kMaxRateScale) {
    Raise(context, kErrExchangeRateOutOfRange, {RealText(rate)});
    return 0;
  }
  WithProgram(context, [&](ProgramCurrencies& p) { p.rates[c] = r; });
  return RateValue(r);
}

Currency ToEuro(ExecContext* context, Currency amount) { return Convert(context, amount, Storage(context), 0); }
Currency ToEuroFrom(ExecContext* context, Currency amount, std::u16string_view code) {
  return Convert(context, amount, Known(context, code), 0);
}
Currency RealToEuro(ExecContext* context, double amount) {
  const auto a = FromReal(context, amount);
  return a ? ToEuro(context, *a) : Currency{};
}
Currency RealToEuroFrom(ExecContext* context, double amount, std::u16string_view code) {
  const auto a = FromReal(context, amount);
  return a ? ToEuroFrom(context, *a, code) : Currency{};
}

Currency ToCurrency(ExecContext* context, Currency amount) { return Convert(context, amount, 0, Display(context)); }
Currency ToCurrencyCode(ExecContext* context, Currency amount, std::u16string_view code) {
  return Convert(context, amount, 0, Known(context, code));
}
Currency RealToCurrency(ExecContext* context, double amount) {
  const auto a = FromReal(context, amount);
  return a ? ToCurrency(context, *a) : Currency{};
}
Currency RealToCurrencyCode(ExecContext* context, double amount, std::u16string_view code) {
  const auto a = FromReal(context, amount);
  return a ? ToCurrencyCode(context, *a, code) : Currency{};
}

namespace {
// Everything but the everyday call (ChangeCurrency's first lines), from the start.
[[gnu::noinline]] Currency ChangeCurrencyInFull(ExecContext* context, Currency amount, std::u16string_view from,
                                                std::u16string_view to) {
  const int f = Known(context, from);
  const int t = f >= 0 ? Known(context, to) : -1;
  return ConvertInFull(context, amount, f, t);
}
}  // namespace

Currency ChangeCurrency(ExecContext* context, Currency amount, std::u16string_view from, std::u16string_view to) {
  // The other path takes the same arguments, so that reaching it is a plain
  // jump and the everyday path needs no stack frame.
  Currency out;
  if (ConvertQuickly(context, amount, IndexOfCode(from), IndexOfCode(to), &out)) [[likely]]
    return out;
  return ChangeCurrencyInFull(context, amount, from, to);
}
Currency ChangeCurrencyReal(ExecContext* context, double amount, std::u16string_view from, std::u16string_view to) {
  const auto a = FromReal(context, amount);
  return a ? ChangeCurrency(context, *a, from, to) : Currency{};
}
Currency ChangeCurrencyInt(ExecContext* context, int32_t amount, std::u16string_view from, std::u16string_view to) {
  return ChangeCurrency(context, Currency{amount, 0}, from, to);
}

std::u16string DefaultStorageCurrency(ExecContext* context) { return kCurrencies[Storage(context)].code; }
void SetDefaultStorageCurrency(ExecContext* context, std::u16string_view code) {
  if (const int c = Known(context, code); c >= 0)
    WithProgram(context, [&](ProgramCurrencies& p) { p.storage = static_cast<size_t>(c); });
}
std::u16string DefaultDisplayCurrency(ExecContext* context) { return kCurrencies[Display(context)].code; }
void SetDefaultDisplayCurrency(ExecContext* context, std::u16string_view code) {
  if (const int c = Known(context, code); c >= 0)
    WithProgram(context, [&](ProgramCurrencies& p) { p.display = static_cast<size_t>(c); });
}

std::u16string CurrencyName(ExecContext* context, std::u16string_view code) { return CurrencyNameIn(context, code, 0); }
std::u16string CurrencyNameIn(ExecContext* context, std::u16string_view code, int32_t form) {
  if (form < 0 || form > 2) {
    Raise(context, kErrUnknownCurrencyNameForm, {form});
    return {};
  }
  const int c = Known(context, code);
  if (c < 0) return {};
  const KLLanguage* language = Language(context);
  const bool programFrench = language ? language->code == KL_LANGUAGE_FRENCH : French();
  const bool french = form == 1 || (form == 0 && programFrench);
  return french ? kCurrencies[c].french : kCurrencies[c].english;
}

bool InitCurrency(ExecContext* context) {
  WithProgram(context, [](ProgramCurrencies& p) { p = ProgramCurrencies{}; });
  return true;
}

Currency RoundDifference(ExecContext* context) { return DifferenceOf(StateOf(context).last); }

void ForgetCurrencyState(ExecContext* context) {
  std::lock_guard lock(gMutex);
  ProgramTable& table = Programs();
  const auto it = table.byContext.find(context);
  if (it == table.byContext.end()) return;
  ProgramRecord* record = it->second;
  ProgramRecord* expected = record;  // the only slot it can be in
  gRecent[RecentSlot(context)].compare_exchange_strong(expected, nullptr, std::memory_order_acq_rel);
  record->context.store(NoContext(record), std::memory_order_relaxed);
  table.spare.push_back(record);
  table.byContext.erase(it);
}

}  // namespace kp::numbers
