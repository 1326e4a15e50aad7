// kp160std — syntaxes of the project functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "update/update.h"

namespace kp::syn {

// AppliMAJDisponible/AppliUPDAvailable
inline constexpr KLSyntax kAppliUPDAvailable[] = {
    Syntax<[](ExecContext* c) { return update::Available(c, update::OwnApplication()); }, KL_T_INT>(),
    Syntax<update::Available, KL_T_INT, KL_T_TEXT_DIRECT>()};

// AppliParamètre/AppliParameter
inline constexpr KLSyntax kAppliParameter[] = {
    Syntax<[](ExecContext* c, int32_t p) { return update::Parameter(c, p, update::OwnApplication()); }, KL_T_TEXT,
           KL_T_INT>(),
    Syntax<update::Parameter, KL_T_TEXT, KL_T_INT, KL_T_TEXT_DIRECT>()};

// AppliChangeParamètre/AppliChangeParameter
inline constexpr KLSyntax kAppliChangeParameter[] = {
    Syntax<[](ExecContext* c, int32_t p, std::u16string_view v) {
      return update::ChangeParameter(c, p, v, update::OwnApplication());
    }, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL>(),
    Syntax<update::ChangeParameter, KL_T_BOOL, KL_T_INT, KL_T_TEXT_CELL, KL_T_TEXT_DIRECT>()};

// AppliDéclencheMAJ/AppliInstallUPD
inline constexpr KLSyntax kAppliInstallUPD[] = {
    Syntax<update::InstallUpdate, KL_T_BOOL>()};

}  // namespace kp::syn
