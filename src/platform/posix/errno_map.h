// kp160std — the one translation of errno values into the Win32 error
// numbers that KL programs see, for every part of the POSIX backend. Every
// code it gives has a text in both languages (SystemErrorText); an errno it
// does not know gives 31 (a device not functioning), never a registry code.
//
// Thread-safety: a pure function.
#pragma once

#include <cstdint>

namespace kp::platform {

uint32_t Win32FromErrno(int error);

}  // namespace kp::platform
