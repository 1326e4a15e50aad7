// kp160std — syntaxes of the euro family and of the table export, in the
// table order of their syntaxes.
//
// Amounts are taken as currency (code 10) or real, currencies as their ISO
// codes (texts); conversions hand back currency cells.
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "numbers/euro.h"
#include "numbers/table_export.h"

namespace kp::syn {

  // eTauxDeChange/eExchangeRate: (currency), (currency, new rate).
inline constexpr KLSyntax keExchangeRate[] = {
    Syntax<numbers::ExchangeRate, KL_T_REAL, KL_T_TEXT_CELL>(),
    Syntax<numbers::SetExchangeRate, KL_T_REAL, KL_T_TEXT_CELL, KL_T_REAL>()};
  // eVersEuro/eToEuro: (amount) in the default storage currency, (amount,
  // currency); the amount as currency or as real.
inline constexpr KLSyntax keToEuro[] = {
    Syntax<numbers::ToEuro, KL_T_CURRENCY, KL_T_CURRENCY>(),
    Syntax<numbers::ToEuroFrom, KL_T_CURRENCY, KL_T_CURRENCY, KL_T_TEXT_CELL>(),
    Syntax<numbers::RealToEuro, KL_T_CURRENCY, KL_T_REAL>(),
    Syntax<numbers::RealToEuroFrom, KL_T_CURRENCY, KL_T_REAL, KL_T_TEXT_CELL>()};
  // eVersDevise/eToCurrency: a euro amount to the default display currency,
  // or to the currency named.
inline constexpr KLSyntax keToCurrency[] = {
    Syntax<numbers::ToCurrency, KL_T_CURRENCY, KL_T_CURRENCY>(),
    Syntax<numbers::ToCurrencyCode, KL_T_CURRENCY, KL_T_CURRENCY, KL_T_TEXT_CELL>(),
    Syntax<numbers::RealToCurrency, KL_T_CURRENCY, KL_T_REAL>(),
    Syntax<numbers::RealToCurrencyCode, KL_T_CURRENCY, KL_T_REAL, KL_T_TEXT_CELL>()};
  // eChangeDevise/eChangeCurrency: (amount, from, to) with the amount as
  // currency, real or integer.
inline constexpr KLSyntax keChangeCurrency[] = {
    Syntax<numbers::ChangeCurrency, KL_T_CURRENCY, KL_T_CURRENCY, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::ChangeCurrencyReal, KL_T_CURRENCY, KL_T_REAL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::ChangeCurrencyInt, KL_T_CURRENCY, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
  // eDeviseMemParDéfaut/eDefaultMemCurrency: read (), set (currency).
inline constexpr KLSyntax keDefaultMemCurrency[] = {
    Syntax<numbers::DefaultStorageCurrency, KL_T_TEXT>(),
    Syntax<numbers::SetDefaultStorageCurrency, KL_T_NONE, KL_T_TEXT_CELL>()};
  // eDeviseAffParDéfaut/eDefaultViewCurrency: read (), set (currency).
inline constexpr KLSyntax keDefaultViewCurrency[] = {
    Syntax<numbers::DefaultDisplayCurrency, KL_T_TEXT>(),
    Syntax<numbers::SetDefaultDisplayCurrency, KL_T_NONE, KL_T_TEXT_CELL>()};
  // eNomDevise/eCurrencyName: (currency), (currency, form of the name).
inline constexpr KLSyntax keCurrencyName[] = {
    Syntax<numbers::CurrencyName, KL_T_TEXT, KL_T_TEXT_CELL>(),
    Syntax<numbers::CurrencyNameIn, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>()};
  // eInitDevise/eInitCurrency: ().
inline constexpr KLSyntax keInitCurrency[] = {
    Syntax<numbers::InitCurrency, KL_T_BOOL>()};
  // eDifférenceArrondi/eRoundDifference: the rounding difference of the last
  // conversion.
inline constexpr KLSyntax keRoundDifference[] = {
    Syntax<numbers::RoundDifference, KL_T_CURRENCY>()};

  // TableVersTexte/TableToText: (table), then options, a column list, a
  // separator; or (table, column list[, separator]).
inline constexpr KLSyntax kTableToText[] = {
    Syntax<numbers::TableToText, KL_T_TEXT, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToTextOptions, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<numbers::TableToTextOptionsColumns, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToTextFull, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToTextColumns, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToTextColumnsSeparator, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
  // TableVersPressePapier/TableToClipboard: the arguments of TableVersTexte,
  // the text put on the clipboard, a success result.
inline constexpr KLSyntax kTableToClipboard[] = {
    Syntax<numbers::TableToClipboard, KL_T_BOOL, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToClipboardOptions, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<numbers::TableToClipboardOptionsColumns, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToClipboardFull, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToClipboardColumns, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<numbers::TableToClipboardColumnsSeparator, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};

}  // namespace kp::syn
