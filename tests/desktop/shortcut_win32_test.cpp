// Shortcuts on Windows: a real shell link, read back through IShellLinkW,
// under a device prefix of the test's own. Built into the Windows unit tests only.
#include <gtest/gtest.h>

#include <string>

#include "desktop/shortcut.h"
#include "support/fake_context.h"

// Last: windows.h's macros would clash with the headers above.
#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

namespace kp::desktop {
namespace {

// The device's files under a prefix of the test's own, as the library puts
// them with KP_PREFIX.
class ShellLinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t base[MAX_PATH + 1] = {};
    ASSERT_NE(GetTempPathW(MAX_PATH, base), 0u);
    prefix_ = std::wstring(base) + L"kp-shortcut-" + std::to_wstring(GetCurrentProcessId());
    ASSERT_TRUE(CreateDirectoryW(prefix_.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
    wchar_t old[MAX_PATH + 1] = {};
    hadPrefix_ = GetEnvironmentVariableW(L"KP_PREFIX", old, MAX_PATH) != 0;
    oldPrefix_ = old;
    SetEnvironmentVariableW(L"KP_PREFIX", prefix_.c_str());
  }
  void TearDown() override {
    SetEnvironmentVariableW(L"KP_PREFIX", hadPrefix_ ? oldPrefix_.c_str() : nullptr);
    DeleteFileW((prefix_ + L"\\fs\\Links\\sub\\Link.lnk").c_str());
    for (const wchar_t* dir : {L"\\fs\\Links\\sub", L"\\fs\\Links", L"\\fs", L""})
      RemoveDirectoryW((prefix_ + dir).c_str());
  }
  std::wstring prefix_, oldPrefix_;
  bool hadPrefix_ = false;
  test::FakeContext ctx_;
};

TEST_F(ShellLinkTest, TheLinkHoldsTargetArgumentsDirectoryAndIcon) {
  const std::u16string sub = u"\\Links\\sub";
  ASSERT_TRUE(CreateShortcut(ctx_, shortcutFree, u"Link", u"C:\\windows\\notepad.exe",
                             {.parameters = u"a.txt",
                              .subDirectory = sub,
                              .iconFile = u"C:\\windows\\notepad.exe",
                              .iconIndex = 2,
                              .workingDirectory = u"C:\\windows"}))
      << test::Utf8(ctx_.message());
  const std::wstring path = prefix_ + L"\\fs\\Links\\sub\\Link.lnk";
  ASSERT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);

  ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  IShellLinkW* link = nullptr;
  ASSERT_TRUE(SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                         reinterpret_cast<void**>(&link))));
  IPersistFile* file = nullptr;
  ASSERT_TRUE(SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))));
  ASSERT_TRUE(SUCCEEDED(file->Load(path.c_str(), STGM_READ)));
  wchar_t text[MAX_PATH] = {};
  int index = -1;
  ASSERT_TRUE(SUCCEEDED(link->GetPath(text, MAX_PATH, nullptr, 0)));
  EXPECT_EQ(CompareStringOrdinal(text, -1, L"C:\\windows\\notepad.exe", -1, TRUE), CSTR_EQUAL) << text;
  ASSERT_TRUE(SUCCEEDED(link->GetArguments(text, MAX_PATH)));
  EXPECT_EQ(std::wstring(text), L"a.txt");
  ASSERT_TRUE(SUCCEEDED(link->GetWorkingDirectory(text, MAX_PATH)));
  EXPECT_EQ(CompareStringOrdinal(text, -1, L"C:\\windows", -1, TRUE), CSTR_EQUAL) << text;
  ASSERT_TRUE(SUCCEEDED(link->GetIconLocation(text, MAX_PATH, &index)));
  EXPECT_EQ(index, 2);
  file->Release();
  link->Release();
  CoUninitialize();

  // Kept as it is when asked again for another target.
  WIN32_FILE_ATTRIBUTE_DATA before{}, after{};
  ASSERT_TRUE(GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &before));
  EXPECT_TRUE(CreateShortcut(ctx_, shortcutFree, u"Link", u"C:\\other.exe", {.subDirectory = sub}));
  ASSERT_TRUE(GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &after));
  EXPECT_EQ(before.nFileSizeLow, after.nFileSizeLow);
  EXPECT_EQ(CompareFileTime(&before.ftLastWriteTime, &after.ftLastWriteTime), 0);
  EXPECT_TRUE(DeleteShortcut(ctx_, shortcutFree, u"Link", sub));
  EXPECT_FALSE(DeleteShortcut(ctx_, shortcutFree, u"Link", sub));
}

}  // namespace
}  // namespace kp::desktop
