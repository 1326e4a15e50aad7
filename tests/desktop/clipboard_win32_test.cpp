// The clipboard's Win32 backend under Wine (or Windows): what the family
// writes is read back through the system's own calls, and an image put there
// with SetClipboardData is measured.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "abi/error_ids.h"
#include "desktop/clipboard.h"
#include "platform/clipboard.h"
#include "support/fake_context.h"

namespace kp::desktop {
namespace {

// The Unicode text on the clipboard as the system gives it.
std::u16string SystemText() {
  std::u16string out;
  if (!OpenClipboard(nullptr)) return u"<not opened>";
  if (HANDLE h = GetClipboardData(CF_UNICODETEXT)) {
    if (const auto* p = static_cast<const char16_t*>(GlobalLock(h))) {
      out = p;
      GlobalUnlock(h);
    }
  }
  CloseClipboard();
  return out;
}

bool PutDib(LONG width, LONG height) {
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT,
                              sizeof(BITMAPINFOHEADER) + 4 * width * (height < 0 ? -height : height));
  if (!block) return false;
  auto* h = static_cast<BITMAPINFOHEADER*>(GlobalLock(block));
  h->biSize = sizeof *h;
  h->biWidth = width;
  h->biHeight = height;
  h->biPlanes = 1;
  h->biBitCount = 32;
  GlobalUnlock(block);
  if (!OpenClipboard(nullptr)) return false;
  const bool ok = EmptyClipboard() && SetClipboardData(CF_DIB, block);
  CloseClipboard();
  return ok;
}

TEST(ClipboardWin32, TextRoundTripsThroughTheSystem) {
  test::FakeContext ctx;
  for (const std::u16string text : {u"héllo ÀÉÎ", u"clef 𝄞 😀", u""}) {
    ASSERT_TRUE(SetClipboardText(ctx, text));
    EXPECT_EQ(SystemText(), text);
    EXPECT_EQ(ClipboardText(ctx), text);
  }
  EXPECT_TRUE(ClipboardHasFormat(ctx, platform::clipboard::kCfUnicodeText));
  EXPECT_EQ(ClipboardWidth(ctx), 0);
  const uint8_t bytes[] = {'A', 0, 'B', 0, 0, 0, 'C', 0};
  ASSERT_TRUE(SetClipboardBytes(ctx, bytes));
  EXPECT_EQ(SystemText(), u"AB");
  EXPECT_EQ(ClipboardText(ctx), u"AB");
  EXPECT_FALSE(ctx.hasError());
}

TEST(ClipboardWin32, ImageGivesNoTextButItsSize) {
  test::FakeContext ctx;
  ASSERT_TRUE(PutDib(37, -21));  // top-down
  EXPECT_EQ(ClipboardText(ctx), u"");
  EXPECT_EQ(ClipboardWidth(ctx), 37);
  EXPECT_EQ(ClipboardHeight(ctx), 21);
  EXPECT_TRUE(ClipboardHasFormat(ctx, platform::clipboard::kCfDib));
  EXPECT_FALSE(ClipboardHasFormat(ctx, platform::clipboard::kCfUnicodeText));
  EXPECT_FALSE(ctx.hasError());
  EXPECT_FALSE(ClipboardHasFormat(ctx, 0));
  EXPECT_EQ(ctx.errorId(), kErrClipboardFormatUnsupported);
}

}  // namespace
}  // namespace kp::desktop
