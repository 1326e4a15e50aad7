// kp160std — the Win32 error numbers the library and both backends use.
//
// Thread-safety: constants only.
#pragma once

#include <cstdint>

namespace kp::win32 {

constexpr uint32_t kSuccess = 0;
constexpr uint32_t kInvalidFunction = 1;
constexpr uint32_t kFileNotFound = 2;
constexpr uint32_t kPathNotFound = 3;
constexpr uint32_t kTooManyOpenFiles = 4;
constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kNotEnoughMemory = 8;
constexpr uint32_t kOutOfMemory = 14;
constexpr uint32_t kNotSameDevice = 17;
constexpr uint32_t kNoMoreFiles = 18;
constexpr uint32_t kWriteProtect = 19;
constexpr uint32_t kGenFailure = 31;
constexpr uint32_t kSharingViolation = 32;
constexpr uint32_t kLockViolation = 33;
constexpr uint32_t kHandleEof = 38;
constexpr uint32_t kNotSupported = 50;
constexpr uint32_t kFileExists = 80;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kBrokenPipe = 109;
constexpr uint32_t kDiskFull = 112;
constexpr uint32_t kCallNotImplemented = 120;
constexpr uint32_t kInsufficientBuffer = 122;
constexpr uint32_t kInvalidName = 123;
constexpr uint32_t kNegativeSeek = 131;
constexpr uint32_t kDirNotEmpty = 145;
constexpr uint32_t kBadPathname = 161;
constexpr uint32_t kLockFailed = 167;
constexpr uint32_t kAlreadyExists = 183;
constexpr uint32_t kBadExeFormat = 193;
constexpr uint32_t kEnvVarNotFound = 203;
constexpr uint32_t kFilenameExcedRange = 206;
constexpr uint32_t kFileTooLarge = 223;
constexpr uint32_t kMoreData = 234;
constexpr uint32_t kStillActive = 259;
constexpr uint32_t kNoMoreItems = 259;
constexpr uint32_t kDirectory = 267;
constexpr uint32_t kIoPending = 997;
constexpr uint32_t kNoToken = 1008;
constexpr uint32_t kBadKey = 1010;
constexpr uint32_t kCantOpenKey = 1011;
constexpr uint32_t kCantRead = 1012;
constexpr uint32_t kCantWrite = 1013;
constexpr uint32_t kKeyDeleted = 1018;
constexpr uint32_t kInvalidFlags = 1004;
constexpr uint32_t kNoUnicodeTranslation = 1113;
constexpr uint32_t kIoDevice = 1117;
constexpr uint32_t kPrivilegeNotHeld = 1314;
constexpr uint32_t kInvalidWindowHandle = 1400;
constexpr uint32_t kTimeout = 1460;

}  // namespace kp::win32
