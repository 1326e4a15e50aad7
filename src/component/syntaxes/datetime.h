// kp160std — syntaxes of the datetime functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"
#include "datetime/clock.h"

namespace kp::syn {

  // DateSys/DateSys
inline constexpr KLSyntax kDateSys[] = {
    Syntax<datetime::SystemDate, KL_T_TEXT>(),
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL>()};
  // HeureSys/TimeSys
inline constexpr KLSyntax kTimeSys[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // EntierVersDate/IntegerToDate
inline constexpr KLSyntax kIntegerToDate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // EntierVersJour/IntegerToDay
inline constexpr KLSyntax kIntegerToDay[] = {
    Unavailable<KL_T_NONE>()};
  // EntierVersHeure/IntegerToTime
inline constexpr KLSyntax kIntegerToTime[] = {
    Unavailable<KL_T_NONE>()};
  // HeureVersEntier/TimeToInteger
inline constexpr KLSyntax kTimeToInteger[] = {
    Unavailable<KL_T_NONE>()};
  // HeureVersChaîne/TimeToString
inline constexpr KLSyntax kTimeToString[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateVersEntier/DateToInteger
inline constexpr KLSyntax kDateToInteger[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateVersChaîne/DateToString
inline constexpr KLSyntax kDateToString[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateValide/DateValid
inline constexpr KLSyntax kDateValid[] = {
    Unavailable<KL_T_NONE>()};
  // NuméroDeSemaine/WeekNumber
inline constexpr KLSyntax kWeekNumber[] = {
    Unavailable<KL_T_NONE>()};
  // EntierVersJourEnLettre/IntegerToDayInAlpha
inline constexpr KLSyntax kIntegerToDayInAlpha[] = {
    Unavailable<KL_T_NONE>()};
  // EntierVersNuméroDeSemaine/IntegerToWeekNumber
inline constexpr KLSyntax kIntegerToWeekNumber[] = {
    Unavailable<KL_T_NONE>()};
  // EntierVersMoisEnLettre/IntegerToMonthInAlpha
inline constexpr KLSyntax kIntegerToMonthInAlpha[] = {
    Unavailable<KL_T_NONE>()};
  // HeureValide/TimeValid
inline constexpr KLSyntax kTimeValid[] = {
    Unavailable<KL_T_NONE>()};
  // DateDifférence/DateDifference
inline constexpr KLSyntax kDateDifference[] = {
    Unavailable<KL_T_NONE>()};
  // HeureDifférence/TimeDifference
inline constexpr KLSyntax kTimeDifference[] = {
    Unavailable<KL_T_NONE>()};
  // DateHeureDifférence/DateTimeDifference
inline constexpr KLSyntax kDateTimeDifference[] = {
    Unavailable<KL_T_NONE>()};
  // ChaîneVersDate/StringToDate
inline constexpr KLSyntax kStringToDate[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateDuJour/Today
inline constexpr KLSyntax kToday[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Maintenant/Now
inline constexpr KLSyntax kNow[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateEstValide/DateIsValid
inline constexpr KLSyntax kDateIsValid[] = {
    Unavailable<KL_T_NONE>()};
  // HeureEstValide/TimeIsValid
inline constexpr KLSyntax kTimeIsValid[] = {
    Unavailable<KL_T_NONE>()};
  // DateVersJour/DateToDay
inline constexpr KLSyntax kDateToDay[] = {
    Unavailable<KL_T_NONE>()};
  // DateVersJourEnLettre/DateToDayInAlpha
inline constexpr KLSyntax kDateToDayInAlpha[] = {
    Unavailable<KL_T_NONE>()};
  // DateVersMoisEnLettre/DateToMonthInAlpha
inline constexpr KLSyntax kDateToMonthInAlpha[] = {
    Unavailable<KL_T_NONE>()};
  // DateVersNuméroDeSemaine/DateToWeekNumber
inline constexpr KLSyntax kDateToWeekNumber[] = {
    Unavailable<KL_T_NONE>()};
  // ChaîneVersDurée/StringToDuration
inline constexpr KLSyntax kStringToDuration[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DuréeVersChaîne/DurationToString
inline constexpr KLSyntax kDurationToString[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Age/Age
inline constexpr KLSyntax kAge[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // Pâques/Easter
inline constexpr KLSyntax kEaster[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // DateHeureUTCVersLocale/DateTimeUTCToLocal
inline constexpr KLSyntax kDateTimeUTCToLocal[] = {
    Unavailable<KL_T_NONE>()};
  // DateHeureLocaleVersUTC/DateTimeLocalToUTC
inline constexpr KLSyntax kDateTimeLocalToUTC[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
