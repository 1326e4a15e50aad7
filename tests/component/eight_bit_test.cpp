// 8-bit text goes through the VM's conversion services once
// bInitKLConvFromVM bound them, and through the platform's code page
// otherwise or when the VM refuses. A counting stand-in plays the VM.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "abi/state.h"
#include "abi/strings.h"

namespace kp {
namespace {

struct Calls {
  int convert = 0, convertEx = 0, end = 0;
  uint32_t codePage = 0;
  bool refuse = false;
};
Calls gCalls;

// Marks what it produced so a test can tell it from the platform's result:
// every unit becomes '#' (to 8-bit) or u'#' (to UTF-16).
int32_t Produce(int32_t direction, int32_t length, void** result) {
  if (gCalls.refuse) return -1;
  if (direction == KL_CONV_FROM_UTF16) {
    auto* out = static_cast<char*>(std::malloc(length + 1));
    std::memset(out, '#', length);
    out[length] = 0;
    *result = out;
  } else {
    auto* out = static_cast<char16_t*>(std::malloc((length + 1) * sizeof(char16_t)));
    for (int32_t i = 0; i < length; ++i) out[i] = u'#';
    out[length] = 0;
    *result = out;
  }
  return length;
}
int32_t KL_CALL Convert(int32_t direction, const void*, int32_t length, void** result) {
  ++gCalls.convert;
  return Produce(direction, length, result);
}
int32_t KL_CALL ConvertEx(int32_t direction, uint32_t codePage, const void*, int32_t length, void** result) {
  ++gCalls.convertEx;
  gCalls.codePage = codePage;
  return Produce(direction, length, result);
}
void KL_CALL End(void* result) {
  ++gCalls.end;
  std::free(result);
}

class EightBit : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = State().conversion;
    if (const char* v = std::getenv("KP_CODEPAGE")) savedCodePage_ = v;
    unsetenv("KP_CODEPAGE");  // the platform's default: Windows-1252
    gCalls = Calls{};
  }
  void TearDown() override {
    State().conversion = saved_;
    if (savedCodePage_) setenv("KP_CODEPAGE", savedCodePage_->c_str(), 1);
  }
  void Bind(bool withEx) {
    auto& c = State().conversion;
    c.convert = &Convert;
    c.convertEx = withEx ? &ConvertEx : nullptr;
    c.end = &End;
    c.ready = true;
  }
  ConversionServices saved_;
  std::optional<std::string> savedCodePage_;
};

TEST_F(EightBit, PlatformCodePageWhileNothingIsBound) {
  State().conversion = ConversionServices{};
  EXPECT_EQ(ToEightBit(u"caf\u00e9 \u20ac"), "caf\xe9 \x80");
  EXPECT_EQ(FromEightBit("caf\xe9 \x80"), u"caf\u00e9 \u20ac");
  EXPECT_EQ(gCalls.convert + gCalls.convertEx + gCalls.end, 0);
}

TEST_F(EightBit, TheVMConvertsOnceBoundAndEveryResultIsEnded) {
  Bind(false);
  EXPECT_EQ(ToEightBit(u"abc"), "###");
  EXPECT_EQ(FromEightBit("abcd"), u"####");
  EXPECT_EQ(gCalls.convert, 2);
  EXPECT_EQ(gCalls.end, 2) << "each conversion's result goes back to FinConversion";
  // The extended form, when the VM has it, is told the code page.
  Bind(true);
  EXPECT_EQ(ToEightBit(u"xy"), "##");
  EXPECT_EQ(gCalls.convertEx, 1);
  EXPECT_EQ(gCalls.codePage, 1252u);
  EXPECT_EQ(gCalls.end, 3);
  EXPECT_EQ(ToEightBit(u""), "");
}

TEST_F(EightBit, ARefusalFallsBackToThePlatform) {
  Bind(false);
  gCalls.refuse = true;
  EXPECT_EQ(ToEightBit(u"\u00e9"), "\xe9");
  EXPECT_EQ(FromEightBit("\xe9"), u"\u00e9");
  EXPECT_EQ(gCalls.convert, 2);
  EXPECT_EQ(gCalls.end, 0) << "nothing was produced, nothing to end";
}

}  // namespace
}  // namespace kp
