// kp160std — syntaxes of the project functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"

namespace kp::syn {

  // AppliMAJDisponible/AppliUPDAvailable
inline constexpr KLSyntax kAppliUPDAvailable[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // AppliParamètre/AppliParameter
inline constexpr KLSyntax kAppliParameter[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // AppliChangeParamètre/AppliChangeParameter
inline constexpr KLSyntax kAppliChangeParameter[] = {
    Unavailable<KL_T_NONE>(),
    Unavailable<KL_T_NONE>()};
  // AppliDéclencheMAJ/AppliInstallUPD
inline constexpr KLSyntax kAppliInstallUPD[] = {
    Unavailable<KL_T_NONE>()};

}  // namespace kp::syn
