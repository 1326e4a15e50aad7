// kp160std — randomness from the platform: the runtime generator behind
// Hasard/InitHasard and unique identifiers for DonneGUID.
//
// Rand/Srand are the runtime's rand/srand interface (values 0 to 32767,
// re-seedable), implemented once here with one fixed algorithm so that a
// seed replays the same sequence on every backend and every build: the
// linear congruential generator of the classic Microsoft C runtime,
//   state = state * 214013 + 2531011 (mod 2^32), value = (state >> 16) & 0x7fff,
// starting from state 1 as that runtime does before any srand. The host C
// library's rand is never used: its sequence differs between systems.
//
// Thread-safety: the generator is process-wide and not locked, as the
// runtime's was; concurrent draws interleave (each step is an atomic load
// and store, so there is no data race, but two threads may draw the same
// value). CreateGuid may be called from any thread.
#pragma once

#include <cstdint>

namespace kp::platform {

constexpr int32_t kRandMax = 32767;

int32_t Rand();
void Srand(uint32_t seed);

// A globally unique identifier in the platform's field layout.
struct Guid {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  uint8_t data4[8] = {};
};

// A new random (version 4) identifier. False when the platform could not make
// one (the kernel's random source failed, or ole32/CoCreateGuid is missing or
// failed).
bool CreateGuid(Guid& out);

}  // namespace kp::platform
