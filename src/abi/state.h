// kp160std — the library-wide state set by the exports.
//
// Plain globals, as the VM sets them.
//
// Thread-safety: set during start-up from the VM's own thread, read after;
// no export takes a lock. Everything here is reset only by unloading.
#pragma once

#include <atomic>
#include <cstdint>

#include "kp160std/abi.h"

namespace kp {

struct ConversionServices {
  uintptr_t module = 0;
  uint32_t low = 0;
  uint32_t high = 0;
  KLConversionFn convert = nullptr;
  KLConversionExFn convertEx = nullptr;  // optional
  KLEndConversionFn end = nullptr;
  bool ready = false;
};

struct LibraryState {
  KLMessageTextCallback messageCallback = nullptr;  // CommandeComposante 2
  uint32_t tlsIndex = 0;                            // GeneralParam 2005
  bool tlsIndexValid = false;
  KLStringService* stringService = nullptr;  // GeneralParam 2006
  KLStringManager* stringManager = nullptr;  // GeneralParam 2008, or our own
  bool ownsStringManager = false;
  int32_t languageCode = KL_LANGUAGE_FRENCH;  // Execution 5123
  uintptr_t settings[3] = {0, 0, 0};          // Execution 4876/4877
  KLFilter* filter = nullptr;                 // registered by the VM
  uintptr_t proxyValues[2] = {0, 0};
  ConversionServices conversion;
};

LibraryState& State();

// English speakers read English texts; 12 is French.
inline bool French() { return State().languageCode == KL_LANGUAGE_FRENCH; }

}  // namespace kp
