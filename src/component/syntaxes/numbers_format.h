// kp160std — syntaxes of the number texts: Min, Max, EstNumérique,
// NumériqueVersChaîne and TailleVersChaîne (numbers/numeric.h,
// numbers/number_format.h, numbers/size_text.h).
//
// Thread-safety: constant declarations; see frame.h for the entry functions.
#pragma once

#include "component/frame.h"
#include "numbers/number_format.h"
#include "numbers/numeric.h"
#include "numbers/size_text.h"

namespace kp::syn {

// NumériqueVersChaîne/NumToString: (number), (number, mask).
inline constexpr KLSyntax kNumToString[] = {Syntax<numbers::NumToString, KL_T_TEXT, KL_T_REAL>(),
                                            Syntax<numbers::NumToStringMask, KL_T_TEXT, KL_T_REAL, KL_T_TEXT_CELL>()};
// Max/Max: a real result; two reals, or one variant (a number, or a text
// listing numbers by tabs or line breaks).
inline constexpr KLSyntax kMax[] = {Syntax<numbers::Max, KL_T_REAL, KL_T_REAL, KL_T_REAL>(),
                                    Syntax<numbers::MaxOfArg, KL_T_REAL, KL_T_VARIANT>()};
// Min/Min: as Max.
inline constexpr KLSyntax kMin[] = {Syntax<numbers::Min, KL_T_REAL, KL_T_REAL, KL_T_REAL>(),
                                    Syntax<numbers::MinOfArg, KL_T_REAL, KL_T_VARIANT>()};
// EstNumérique/IsNumeric: (value).
inline constexpr KLSyntax kIsNumeric[] = {Syntax<numbers::IsNumeric, KL_T_BOOL, KL_T_VARIANT>()};
// TailleVersChaîne/LengthToString: (size in bytes), (size, mask of the number).
inline constexpr KLSyntax kLengthToString[] = {
    Syntax<numbers::LengthToString, KL_T_TEXT, KL_T_INT64>(),
    Syntax<numbers::LengthToStringMask, KL_T_TEXT, KL_T_INT64, KL_T_TEXT_CELL>()};

}  // namespace kp::syn
