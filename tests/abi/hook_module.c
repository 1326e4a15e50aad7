/* A hook module for the tests: records what the library forwards to its
 * "Execution" export. */
#include <stdint.h>

#if defined(_WIN32)
#define HOOK_EXPORT __declspec(dllexport)
#else
#define HOOK_EXPORT __attribute__((visibility("default")))
#endif

static int gStarts, gStops, gEvents;
static uintptr_t gLastWords[2];
static uint32_t gLastMessage;
static uintptr_t gAnswer = 1;

HOOK_EXPORT uintptr_t Execution(uint32_t message, uintptr_t* block) {
  gLastMessage = message;
  if (message == 3985) {
    ++gStarts;
    gLastWords[0] = block ? block[0] : 0;
    gLastWords[1] = block ? block[1] : 0;
  } else if (message == 4875) {
    ++gStops;
  } else {
    ++gEvents;
  }
  return gAnswer;
}

HOOK_EXPORT int hook_starts(void) { return gStarts; }
HOOK_EXPORT int hook_stops(void) { return gStops; }
HOOK_EXPORT int hook_events(void) { return gEvents; }
HOOK_EXPORT uint32_t hook_last_message(void) { return gLastMessage; }
HOOK_EXPORT uintptr_t hook_last_word(int i) { return gLastWords[i & 1]; }
HOOK_EXPORT void hook_set_answer(uintptr_t answer) { gAnswer = answer; }
