// kp160std — syntaxes of the datetime functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "datetime/arithmetic.h"
#include "datetime/clock.h"
#include "datetime/format.h"
#include "datetime/names.h"
#include "datetime/values.h"

namespace kp::syn {

// Texts arrive through a cell. The 8-byte date-time and the duration
// parameters are read as 8-byte integers (low word first), which is their
// layout.
inline constexpr uint32_t kDtText = KL_T_TEXT_CELL;

  // DateSys/DateSys
inline constexpr KLSyntax kDateSys[] = {
    Syntax<datetime::SystemDate, KL_T_TEXT>(),
    Syntax<datetime::SetSystemDate, KL_T_BOOL, kDtText>()};
  // HeureSys/TimeSys
inline constexpr KLSyntax kTimeSys[] = {
    Syntax<datetime::SystemTime, KL_T_TEXT>(),
    Syntax<datetime::SetSystemTime, KL_T_BOOL, kDtText>()};
  // EntierVersDate/IntegerToDate
inline constexpr KLSyntax kIntegerToDate[] = {
    Syntax<[](ExecContext* c, int32_t n) { return datetime::IntegerToDate(c, n, {}); }, KL_T_TEXT, KL_T_INT>(),
    Syntax<datetime::IntegerToDate, KL_T_TEXT, KL_T_INT, kDtText>()};
  // EntierVersJour/IntegerToDay
inline constexpr KLSyntax kIntegerToDay[] = {
    Syntax<datetime::IntegerToDay, KL_T_INT, KL_T_INT>()};
  // EntierVersHeure/IntegerToTime
inline constexpr KLSyntax kIntegerToTime[] = {
    Syntax<datetime::IntegerToTime, KL_T_TEXT, KL_T_INT>()};
  // HeureVersEntier/TimeToInteger
inline constexpr KLSyntax kTimeToInteger[] = {
    Syntax<datetime::TimeToInteger, KL_T_INT, kDtText>()};
  // HeureVersChaîne/TimeToString
inline constexpr KLSyntax kTimeToString[] = {
    Syntax<[](ExecContext* c, std::u16string_view t) { return datetime::TimeToString(c, t, {}); }, KL_T_TEXT, kDtText>(),
    Syntax<datetime::TimeToString, KL_T_TEXT, kDtText, kDtText>()};
  // DateVersEntier/DateToInteger
inline constexpr KLSyntax kDateToInteger[] = {
    Syntax<[](ExecContext* c, std::u16string_view d) { return datetime::DateToInteger(c, d, 0); }, KL_T_INT, kDtText>(),
    Syntax<datetime::DateToInteger, KL_T_INT, kDtText, KL_T_INT>()};
  // DateVersChaîne/DateToString
inline constexpr KLSyntax kDateToString[] = {
    Syntax<[](ExecContext* c, std::u16string_view d) { return datetime::DateToString(c, d, {}); }, KL_T_TEXT, kDtText>(),
    Syntax<datetime::DateToString, KL_T_TEXT, kDtText, kDtText>()};
  // DateValide/DateValid
inline constexpr KLSyntax kDateValid[] = {
    Syntax<datetime::DateValid, KL_T_BOOL, kDtText>()};
  // NuméroDeSemaine/WeekNumber
inline constexpr KLSyntax kWeekNumber[] = {
    Syntax<datetime::WeekNumber, KL_T_INT, kDtText>()};
  // EntierVersJourEnLettre/IntegerToDayInAlpha
inline constexpr KLSyntax kIntegerToDayInAlpha[] = {
    Syntax<datetime::IntegerToDayInAlpha, KL_T_TEXT, KL_T_INT>()};
  // EntierVersNuméroDeSemaine/IntegerToWeekNumber
inline constexpr KLSyntax kIntegerToWeekNumber[] = {
    Syntax<datetime::IntegerToWeekNumber, KL_T_INT, KL_T_INT>()};
  // EntierVersMoisEnLettre/IntegerToMonthInAlpha
inline constexpr KLSyntax kIntegerToMonthInAlpha[] = {
    Syntax<datetime::IntegerToMonthInAlpha, KL_T_TEXT, KL_T_INT>()};
  // HeureValide/TimeValid
inline constexpr KLSyntax kTimeValid[] = {
    Syntax<datetime::TimeValid, KL_T_BOOL, kDtText>()};
  // DateDifférence/DateDifference
inline constexpr KLSyntax kDateDifference[] = {
    Syntax<datetime::DateDifference, KL_T_INT, kDtText, kDtText>()};
  // HeureDifférence/TimeDifference
inline constexpr KLSyntax kTimeDifference[] = {
    Syntax<datetime::TimeDifference, KL_T_INT, kDtText, kDtText>()};
  // DateHeureDifférence/DateTimeDifference
inline constexpr KLSyntax kDateTimeDifference[] = {
    Syntax<datetime::DateTimeDifference, KL_T_TEXT, kDtText, kDtText>()};
  // ChaîneVersDate/StringToDate
inline constexpr KLSyntax kStringToDate[] = {
    Syntax<[](ExecContext* c, std::u16string_view s) { return datetime::StringToDate(c, s, {}); }, KL_T_TEXT, kDtText>(),
    Syntax<datetime::StringToDate, KL_T_TEXT, kDtText, kDtText>()};
  // DateDuJour/Today
inline constexpr KLSyntax kToday[] = {
    Syntax<datetime::SystemDate, KL_T_TEXT>(),
    Syntax<datetime::SetSystemDate, KL_T_BOOL, kDtText>()};
  // Maintenant/Now
inline constexpr KLSyntax kNow[] = {
    Syntax<datetime::SystemTime, KL_T_TEXT>(),
    Syntax<datetime::SetSystemTime, KL_T_BOOL, kDtText>()};
  // DateEstValide/DateIsValid
inline constexpr KLSyntax kDateIsValid[] = {
    Syntax<datetime::DateValid, KL_T_BOOL, kDtText>()};
  // HeureEstValide/TimeIsValid
inline constexpr KLSyntax kTimeIsValid[] = {
    Syntax<datetime::TimeValid, KL_T_BOOL, kDtText>()};
  // DateVersJour/DateToDay
inline constexpr KLSyntax kDateToDay[] = {
    Syntax<datetime::DateToDay, KL_T_INT, kDtText>()};
  // DateVersJourEnLettre/DateToDayInAlpha
inline constexpr KLSyntax kDateToDayInAlpha[] = {
    Syntax<datetime::DateToDayInAlpha, KL_T_TEXT, kDtText>()};
  // DateVersMoisEnLettre/DateToMonthInAlpha
inline constexpr KLSyntax kDateToMonthInAlpha[] = {
    Syntax<datetime::DateToMonthInAlpha, KL_T_TEXT, kDtText>()};
  // DateVersNuméroDeSemaine/DateToWeekNumber
inline constexpr KLSyntax kDateToWeekNumber[] = {
    Syntax<datetime::DateToWeekNumber, KL_T_INT, kDtText>()};
  // ChaîneVersDurée/StringToDuration
inline constexpr KLSyntax kStringToDuration[] = {
    Syntax<datetime::StringToDuration, KL_T_DURATION, kDtText, KL_T_INT>(),
    Syntax<datetime::StringToDurationMask, KL_T_DURATION, kDtText, kDtText>()};
  // DuréeVersChaîne/DurationToString
inline constexpr KLSyntax kDurationToString[] = {
    Syntax<datetime::DurationToString, KL_T_TEXT, KL_T_INT64, KL_T_INT>(),
    Syntax<datetime::DurationToStringMask, KL_T_TEXT, KL_T_INT64, kDtText>()};
  // Age/Age
inline constexpr KLSyntax kAge[] = {
    Syntax<[](ExecContext* c, std::u16string_view b) { return datetime::Age(c, b, {}); }, KL_T_TEXT, kDtText>(),
    Syntax<datetime::Age, KL_T_TEXT, kDtText, kDtText>()};
  // Pâques/Easter
inline constexpr KLSyntax kEaster[] = {
    Syntax<datetime::EasterOfText, KL_T_TEXT, kDtText>(),
    Syntax<datetime::Easter, KL_T_TEXT, KL_T_INT>()};
  // DateHeureUTCVersLocale/DateTimeUTCToLocal
inline constexpr KLSyntax kDateTimeUTCToLocal[] = {
    Syntax<datetime::DateTimeUTCToLocal, KL_T_TEXT, KL_T_INT64>()};
  // DateHeureLocaleVersUTC/DateTimeLocalToUTC
inline constexpr KLSyntax kDateTimeLocalToUTC[] = {
    Syntax<datetime::DateTimeLocalToUTC, KL_T_TEXT, KL_T_INT64>()};

}  // namespace kp::syn
