// kp — the interactive prompt: KL statements typed one at a time, with GNU
// readline's line editing, history (~/.kp_history, or $KP_HISTORY) and
// completion of names. A block (IF, WHILE, FOR, PROCEDURE) or an unclosed
// parenthesis continues on the next lines. Each result and each error record
// is shown; an error does not end the session. Ctrl-C abandons the line
// being typed or stops the running statement; Ctrl-D or :quit leaves.
// Calls posted by the library (PostProcedure) run while the prompt waits.
#pragma once

#include "vm.h"

namespace kphost {

// Returns the exit status of the session (0).
int Prompt(Library& library);

}  // namespace kphost
