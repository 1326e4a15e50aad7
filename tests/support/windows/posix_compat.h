// The few POSIX calls the tests make, on Windows (mingw-w64): force-included
// in the Windows test executables only, so the tests keep one source.
// Environment changes reach both the C runtime and the process environment.
#pragma once

#ifdef _WIN32
#include <direct.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifndef R_OK
#define R_OK 4
#endif

#include <time.h>

#define WIFEXITED(status) 1
#define WEXITSTATUS(status) (status)

static inline struct tm* localtime_r(const time_t* t, struct tm* out) { return localtime_s(out, t) == 0 ? out : NULL; }
static inline struct tm* gmtime_r(const time_t* t, struct tm* out) { return gmtime_s(out, t) == 0 ? out : NULL; }

// Declared here rather than through <windows.h>, whose macros (CopyFile,
// CreateFile, ...) would rename the functions the tests call.
#ifdef __cplusplus
extern "C"
#endif
__declspec(dllimport) int __stdcall SetEnvironmentVariableA(const char* name, const char* value);

static inline int setenv(const char* name, const char* value, int overwrite) {
  if (!overwrite && getenv(name)) return 0;
  // Both the C runtime's copy and the process's own, which the library reads.
  return _putenv_s(name, value) == 0 && SetEnvironmentVariableA(name, value) ? 0 : -1;
}
static inline int unsetenv(const char* name) {
  return _putenv_s(name, "") == 0 && SetEnvironmentVariableA(name, NULL) ? 0 : -1;
}

// The page size only (GetSystemInfo's), defined in posix_compat.cpp, where
// <windows.h> may be included.
#define _SC_PAGESIZE 30
#ifdef __cplusplus
extern "C"
#endif
long sysconf(int name);

// The trailing XXXXXX replaced until a new directory can be made.
static inline char* mkdtemp(char* pattern) {
  const size_t n = strlen(pattern);
  if (n < 6 || strcmp(pattern + n - 6, "XXXXXX") != 0) return NULL;
  static unsigned counter = 0;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    // The time too: Wine's process ids repeat from run to run, and a device
    // prefix's registry key outlives its directory.
    unsigned v = (unsigned)_getpid() * 7919u + (++counter) * 104729u + (unsigned)attempt +
                 (unsigned)time(NULL) * 2654435761u;
    for (int i = 0; i < 6; ++i, v /= 36) pattern[n - 6 + i] = "0123456789abcdefghijklmnopqrstuvwxyz"[v % 36];
    if (_mkdir(pattern) == 0) return pattern;
  }
  return NULL;
}
#endif
