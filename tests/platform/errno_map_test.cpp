// The one errno map of the POSIX backend: every code it gives has a system
// text in both languages, and no file-system errno becomes a registry code.
#include <gtest/gtest.h>

#include <cerrno>

#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

TEST(ErrnoMap, EveryCodeItGivesHasBothTexts) {
  for (int e = 0; e < 200; ++e) {
    const uint32_t code = Win32FromErrno(e);
    EXPECT_FALSE(SystemErrorText(code, 12).empty()) << "errno " << e << " gives " << code;
    EXPECT_FALSE(SystemErrorText(code, 9).empty()) << "errno " << e << " gives " << code;
    EXPECT_TRUE(code < win32::kBadKey || code > win32::kKeyDeleted) << "errno " << e << " gives a registry code";
  }
}

TEST(ErrnoMap, TheCodesWindowsGives) {
  EXPECT_EQ(Win32FromErrno(ENOENT), win32::kFileNotFound);
  EXPECT_EQ(Win32FromErrno(ENOTDIR), win32::kPathNotFound);
  EXPECT_EQ(Win32FromErrno(ELOOP), win32::kPathNotFound);
  EXPECT_EQ(Win32FromErrno(EACCES), win32::kAccessDenied);
  EXPECT_EQ(Win32FromErrno(EEXIST), win32::kAlreadyExists);
  EXPECT_EQ(Win32FromErrno(ENOSPC), 112u);
  EXPECT_EQ(Win32FromErrno(EMFILE), 4u);
  EXPECT_EQ(Win32FromErrno(EXDEV), 17u);
  EXPECT_EQ(Win32FromErrno(EIO), 1117u);
  EXPECT_EQ(Win32FromErrno(12345), 31u);
}

}  // namespace
}  // namespace kp::platform
