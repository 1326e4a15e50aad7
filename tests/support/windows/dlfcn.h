// dlopen and friends for the Windows test executables: LoadLibrary under the
// POSIX names the tests use (null path: this program).
#pragma once

#include <windows.h>
#include <stdio.h>

#define RTLD_NOW 2
#define RTLD_LOCAL 0

static inline void* dlopen(const char* path, int) {
  return path ? (void*)LoadLibraryA(path) : (void*)GetModuleHandleA(NULL);
}
static inline void* dlsym(void* module, const char* name) { return (void*)GetProcAddress((HMODULE)module, name); }
static inline int dlclose(void* module) { return FreeLibrary((HMODULE)module) ? 0 : -1; }
static inline const char* dlerror(void) {
  static char text[64];
  snprintf(text, sizeof text, "Windows error %lu", (unsigned long)GetLastError());
  return text;
}
