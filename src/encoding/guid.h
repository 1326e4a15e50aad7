// kp160std — DonneGUID/GetGUID: a new globally unique identifier as text.
//
// Thread-safety: any thread.
#pragma once

#include <string>

#include "kp160std/abi.h"
#include "platform/random.h"

namespace kp::encoding {

std::u16string GetGuid(ExecContext* context, bool braces);

// 38 characters "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" with braces, else 32
// hexadecimal digits; lower case.
std::u16string FormatGuid(const platform::Guid& guid, bool braces);

}  // namespace kp::encoding
