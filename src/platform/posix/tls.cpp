// kp160std — the VM's thread-local slot on POSIX: the index is a pthread key.
#include <pthread.h>

#include "platform/tls.h"

namespace kp::platform {

void* ThreadSlotValue(uint32_t index) { return pthread_getspecific(static_cast<pthread_key_t>(index)); }

}  // namespace kp::platform
