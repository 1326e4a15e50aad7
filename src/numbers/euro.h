// kp160std — the euro family: the legacy currencies that joined the euro,
// their irrevocable rates, and conversions between them through the euro.
//
// Amounts are exact decimals (an integer and a count of decimals, as the
// VM's currency cell holds them); no binary floating point takes part in a
// conversion. A real amount is first read as the shortest decimal that
// gives the same real back. Each conversion is computed exactly (the
// intermediate euro amount of a legacy-to-legacy conversion is never
// rounded, and no inverse rate is ever used) and the result is rounded half
// away from zero to the target currency's smallest unit.
//
// Per program (per ExecContext): the default storage and display
// currencies, rates a program set for itself, and the rounding difference
// of its last conversion. eInitDevise puts all of them back.
//
// Thread-safety: the functions without a context are pure. A program's state
// is used on the thread that runs it; a lock guards only the table of
// programs (a program's first call takes it, and so does a call after
// another program with the same hash was served: see StateOf).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "abi/error_ids.h"
#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::numbers {

// A rate: `digits` (six significant figures) times ten to the power -`scale`
// units of the currency for one euro: 6.55957 is {655957, 5}.
struct EuroRate {
  int64_t digits = 1;
  int32_t scale = 0;
};

struct CurrencyInfo {
  const char16_t* code;  // ISO 4217
  EuroRate rate;
  int16_t decimals;  // of the smallest unit in use
  const char16_t* french;
  const char16_t* english;
  const char16_t* since;  // "YYYYMMDD", the day the rate took effect
};

// The euro first, then the legacy currencies in the order they joined.
std::span<const CurrencyInfo> Currencies();
// By ISO code, whatever the case; null when unknown.
const CurrencyInfo* FindCurrency(std::u16string_view code);

// The exact core, with no program state: `amount` in the currency whose rate
// is `from`, to the currency whose rate is `to` and whose smallest unit has
// `decimals` decimals. False when the amount or the result is outside what a
// currency cell holds. `difference` (optional) gets rounded minus exact, to
// six more decimals than the result.
enum class ConversionStatus { Ok, AmountOutOfRange, ResultOutOfRange };
ConversionStatus ConvertThroughEuro(Currency amount, EuroRate from, EuroRate to, int16_t decimals, Currency* result,
                                    Currency* difference);
// The shortest decimal that reads back as `value`; false for NaN, infinities
// and values past what an amount may be.
bool RealToDecimal(double value, Currency* out);

// The KL functions.
double ExchangeRate(ExecContext* context, std::u16string_view code);
double SetExchangeRate(ExecContext* context, std::u16string_view code, double rate);
Currency ToEuro(ExecContext* context, Currency amount);
Currency ToEuroFrom(ExecContext* context, Currency amount, std::u16string_view code);
Currency RealToEuro(ExecContext* context, double amount);
Currency RealToEuroFrom(ExecContext* context, double amount, std::u16string_view code);
Currency ToCurrency(ExecContext* context, Currency amount);
Currency ToCurrencyCode(ExecContext* context, Currency amount, std::u16string_view code);
Currency RealToCurrency(ExecContext* context, double amount);
Currency RealToCurrencyCode(ExecContext* context, double amount, std::u16string_view code);
Currency ChangeCurrency(ExecContext* context, Currency amount, std::u16string_view from, std::u16string_view to);
Currency ChangeCurrencyReal(ExecContext* context, double amount, std::u16string_view from, std::u16string_view to);
Currency ChangeCurrencyInt(ExecContext* context, int32_t amount, std::u16string_view from, std::u16string_view to);
std::u16string DefaultStorageCurrency(ExecContext* context);
void SetDefaultStorageCurrency(ExecContext* context, std::u16string_view code);
std::u16string DefaultDisplayCurrency(ExecContext* context);
void SetDefaultDisplayCurrency(ExecContext* context, std::u16string_view code);
// form 0: in the program's language; 1 French; 2 English.
std::u16string CurrencyName(ExecContext* context, std::u16string_view code);
std::u16string CurrencyNameIn(ExecContext* context, std::u16string_view code, int32_t form);
bool InitCurrency(ExecContext* context);
Currency RoundDifference(ExecContext* context);

// Forgets a program's state (tests do; a program's state otherwise lasts as
// long as the library is loaded).
void ForgetCurrencyState(ExecContext* context);

}  // namespace kp::numbers
