// kp160std — reading a thread-local slot the VM allocated.
//
// The VM keeps its per-thread string manager in a thread-local slot and hands
// the library the slot's index (a TlsAlloc index on Windows, a pthread key on
// POSIX). The library only reads the slot, on the calling thread.
//
// Thread-safety: reads the calling thread's own slot; any thread.
#pragma once

#include <cstdint>

namespace kp::platform {

// The calling thread's value in the VM's slot; null when it holds none.
void* ThreadSlotValue(uint32_t index);

}  // namespace kp::platform
