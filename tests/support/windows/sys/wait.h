// <sys/wait.h> on Windows: WEXITSTATUS and WIFEXITED come from
// posix_compat.h (the exit status of _pclose is the command's exit code).
#pragma once
