// kp160std — reading and setting the device clock (DateSys, HeureSys, ...).
#pragma once

#include <string>

#include "kp160std/abi.h"

namespace kp::datetime {

// Today's local date as "AAAAMMJJ".
std::u16string SystemDate(ExecContext* context);

}  // namespace kp::datetime
