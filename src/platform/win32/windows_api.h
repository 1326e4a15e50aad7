// kp160std — <windows.h> for the Win32 backend, included first in every
// win32/ file, before any seam header. windows.h defines the API's names as
// macros that pick the ANSI or Unicode function (CreateFile becomes
// CreateFileW); the seam declares functions of the same names, so those
// macros are undone here, once, and the backend calls the W functions by
// their own names.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX  // std::min and std::max, not the macros
#endif
#include <windows.h>

// Files and directories (platform/filesystem.h).
#undef CreateFile
#undef CopyFile
#undef MoveFile
#undef DeleteFile
#undef CreateDirectory
#undef RemoveDirectory
#undef FindFirstFile
#undef FindNextFile
#undef GetTempPath
#undef GetTempFileName
#undef GetFileAttributes
#undef SetFileAttributes
// Processes (platform/process.h).
#undef CreateProcess
#undef ShellExecute
// Named objects (platform/named_objects.h).
#undef CreateMutex
#undef OpenMutex
#undef CreateSemaphore
#undef OpenSemaphore
#undef CreateEvent
#undef OpenEvent
// The desktop (platform/display.h).
#undef FindWindow
#undef GetWindowText
#undef SetWindowText
#undef VkKeyScan
