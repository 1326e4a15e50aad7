#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "numbers/colour.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;

TEST(Rgb, PacksWithoutMaskingAndSplits) {
  EXPECT_EQ(Rgb(nullptr, 255, 255, 255), 16777215);
  EXPECT_EQ(Rgb(nullptr, 256, 0, 0), Rgb(nullptr, 0, 1, 0));
  EXPECT_EQ(Rgb(nullptr, 0, 0, 256), 1 << 24);
  EXPECT_EQ(Rgb(nullptr, -1, 0, 0), -1);
  EXPECT_EQ(Rgb(nullptr, 0x12, 0x34, 0x56), 0x563412);
  const int32_t c = static_cast<int32_t>(0x7f563412);  // high byte ignored by the splitters
  EXPECT_EQ(RgbRed(nullptr, c), 0x12);
  EXPECT_EQ(RgbGreen(nullptr, c), 0x34);
  EXPECT_EQ(RgbBlue(nullptr, c), 0x56);
  EXPECT_EQ(RgbBlue(nullptr, -1), 0xff);
}

// Half away from zero of num / den, both non-negative; *tie tells whether
// the value is exactly k + 0.5 (where floating point may land either side).
int32_t RoundExact(int64_t num, int64_t den, bool* tie) {
  *tie = (2 * num) % den == 0 && ((2 * num) / den) % 2 == 1;
  return static_cast<int32_t>((2 * num + den) / (2 * den));
}

// Hue, saturation and lightness in exact integer arithmetic.
HslValue Reference(int R, int G, int B, bool* anyTie) {
  const int mx = std::max({R, G, B}), mn = std::min({R, G, B});
  bool tie;
  HslValue out;
  out.lightness = std::min(RoundExact(int64_t{100} * (mx + mn), 510, &tie), 100);
  *anyTie = tie;
  if (mx == mn) return out;
  const int d = mx - mn;
  const int sden = mx + mn <= 255 ? mx + mn : 510 - mx - mn;
  out.saturation = std::min(RoundExact(int64_t{100} * d, sden, &tie), 100);
  *anyTie |= tie;
  int64_t hnum;
  if (R == mx)
    hnum = 60 * (G - B) + 360 * d;
  else if (G == mx)
    hnum = 60 * (B - R) + 120 * d;
  else
    hnum = 60 * (R - G) + 240 * d;
  out.hue = RoundExact(hnum, d, &tie) % 360;
  *anyTie |= tie;
  return out;
}

// All 2^24 colours against the exact reference. At an exact tie (x.5) the
// floating-point form may round either way, so a tie is checked against
// both neighbours.
TEST(ColourToHsl, AllColoursMatchExactReference) {
  int ties = 0;
  for (uint32_t c = 0; c < (1u << 24); ++c) {
    const int R = c & 0xff, G = (c >> 8) & 0xff, B = c >> 16;
    bool tie;
    const HslValue want = Reference(R, G, B, &tie);
    const HslValue got = ToHsl(c);
    if (got.hue == want.hue && got.saturation == want.saturation && got.lightness == want.lightness) continue;
    ASSERT_TRUE(tie) << "colour " << c << ": got " << got.hue << "/" << got.saturation << "/" << got.lightness
                     << ", want " << want.hue << "/" << want.saturation << "/" << want.lightness;
    ++ties;
    ASSERT_LE(std::abs(got.hue - want.hue) % 358, 1) << c;
    ASSERT_LE(std::abs(got.saturation - want.saturation), 1) << c;
    ASSERT_LE(std::abs(got.lightness - want.lightness), 1) << c;
  }
  RecordProperty("tie_differences", ties);
}

TEST(ColourToHsl, KlFunctionsAndNamedColours) {
  const int32_t grey = Rgb(nullptr, 128, 128, 128);
  EXPECT_EQ(ColorHue(nullptr, grey), 0);
  EXPECT_EQ(ColorSaturation(nullptr, grey), 0);
  EXPECT_EQ(ColorLightness(nullptr, grey), 50);
  const int32_t orange = Rgb(nullptr, 255, 128, 0);  // hue 30.1
  EXPECT_EQ(ColorHue(nullptr, orange), 30);
  EXPECT_EQ(ColorSaturation(nullptr, orange), 100);
  EXPECT_EQ(ColorLightness(nullptr, orange), 50);
  // Just below red: hue 359.76 rounds to 360 and wraps to 0.
  EXPECT_EQ(ColorHue(nullptr, Rgb(nullptr, 255, 0, 1)), 0);
  // The bits above blue are ignored.
  EXPECT_EQ(ColorHue(nullptr, orange | 0x7f000000), 30);
}

TEST(Hsl, NamedColoursAndGreys) {
  EXPECT_EQ(Hsl(nullptr, 0, 100, 50), 255);
  EXPECT_EQ(Hsl(nullptr, 120, 100, 50), 65280);
  EXPECT_EQ(Hsl(nullptr, 240, 100, 50), 0xff0000);
  EXPECT_EQ(Hsl(nullptr, 360, 100, 50), 255);
  EXPECT_EQ(Hsl(nullptr, 60, 100, 50), 0x00ffff);
  EXPECT_EQ(Hsl(nullptr, 0, 0, 50), 0x7f7f7f);  // 50 * 255 / 100 truncated
  EXPECT_EQ(Hsl(nullptr, 200, 0, 100), 0xffffff);
  EXPECT_EQ(Hsl(nullptr, 200, 100, 0), 0);
}

TEST(Hsl, RangeErrorsInOrder) {
  struct Case {
    int32_t h, s, l, error;
  } cases[] = {{361, 50, 50, kErrorHue},        {-1, 50, 50, kErrorHue},
               {361, 101, 101, kErrorHue},      {0, 101, 50, kErrorSaturation},
               {0, 101, 101, kErrorSaturation}, {0, -5, 50, kErrorSaturation},
               {0, 50, 101, kErrorLightness},   {0, 50, -1, kErrorLightness}};
  for (const auto& c : cases) {
    kp::test::FakeContext ctx;
    EXPECT_EQ(Hsl(ctx, c.h, c.s, c.l), 0);
    EXPECT_EQ(ctx.errorId(), c.error) << c.h << "," << c.s << "," << c.l;
  }
  kp::test::FakeContext ok;
  Hsl(ok, 360, 100, 100);
  EXPECT_FALSE(ok.hasError());
}

// One channel in exact arithmetic: value * 255 as num / den.
int ChannelExact(int64_t m1, int64_t m2, int h, bool* integral) {
  // m1, m2 in units of 1/10000.
  if (h > 360) h -= 360;
  if (h < 0) h += 360;
  int64_t num, den;
  if (h < 60) {
    num = 60 * m1 + (m2 - m1) * h, den = 600000;
  } else if (h < 180) {
    num = m2, den = 10000;
  } else if (h < 240) {
    num = 60 * m1 + (m2 - m1) * (240 - h), den = 600000;
  } else {
    num = m1, den = 10000;
  }
  *integral = (num * 255) % den == 0;
  return static_cast<int>(num * 255 / den);
}

// Every accepted (hue, saturation, lightness) against exact arithmetic with
// truncation. Where the exact channel is a whole number, floating point may
// land one ulp below it and truncate to one less.
TEST(Hsl, AllArgumentsMatchExactTruncation) {
  for (int h = 0; h <= 360; ++h) {
    for (int s = 0; s <= 100; ++s) {
      for (int l = 0; l <= 100; ++l) {
        const auto got = static_cast<uint32_t>(Hsl(nullptr, h, s, l));
        ASSERT_EQ(got >> 24, 0u);
        if (s == 0) {
          ASSERT_EQ(got, 0x010101u * static_cast<uint32_t>(l * 255 / 100));
          continue;
        }
        const int64_t m2 = l <= 50 ? int64_t{l} * (100 + s) : int64_t{100} * l + 100 * s - l * s;
        const int64_t m1 = 200 * l - m2;
        const int hues[3] = {h + 120, h, h - 120};
        for (int k = 0; k < 3; ++k) {
          bool integral;
          const int want = ChannelExact(m1, m2, hues[k], &integral) & 0xff;
          const int have = (got >> (8 * k)) & 0xff;
          ASSERT_TRUE(have == want || (integral && have == ((want - 1) & 0xff)))
              << "hsl " << h << "," << s << "," << l << " channel " << k << ": " << have << " vs " << want;
        }
      }
    }
  }
}

int WorstComponent(uint32_t a, uint32_t b) {
  int w = 0;
  for (int k = 0; k < 3; ++k) w = std::max(w, std::abs(int((a >> 8 * k) & 0xff) - int((b >> 8 * k) & 0xff)));
  return w;
}

uint32_t RoundTrip(uint32_t c) {
  const HslValue x = ToHsl(c);
  return static_cast<uint32_t>(Hsl(nullptr, x.hue, x.saturation, x.lightness));
}

// Rounding forward and truncating back loses up to one percent of lightness
// (2.55 steps), so a component may come back two lower, not just one: grey
// 14 has lightness 5.49 -> 5, and 5 * 255 / 100 = 12.
TEST(ColourRoundTrip, ComponentsStayWithinTwo) {
  EXPECT_EQ(RoundTrip(0x808080), 0x7f7f7fu);
  EXPECT_EQ(RoundTrip(0x0e0e0e), 0x0c0c0cu);
  for (uint32_t exact : {0x000000u, 0xffffffu, 0x0000ffu, 0x00ff00u, 0xff0000u, 0x00ffffu, 0xff00ffu, 0xffff00u})
    EXPECT_EQ(RoundTrip(exact), exact);
  for (uint32_t v = 0; v < 256; ++v) ASSERT_LE(WorstComponent(0x010101u * v, RoundTrip(0x010101u * v)), 2) << v;
  int overOne = 0, total = 0;
  for (int h = 0; h < 360; h += 3)
    for (int s = 0; s <= 100; ++s)
      for (int l = 0; l <= 100; ++l) {
        const auto c = static_cast<uint32_t>(Hsl(nullptr, h, s, l));
        const int w = WorstComponent(c, RoundTrip(c));
        ASSERT_LE(w, 2) << h << "," << s << "," << l;
        overOne += w > 1;
        ++total;
      }
  EXPECT_LT(overOne * 100, total) << "off by two should stay rare";
}

}  // namespace
