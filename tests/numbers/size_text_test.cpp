#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "abi/error_ids.h"
#include "numbers/size_text.h"
#include "support/fake_context.h"

namespace {

using namespace kp::numbers;
using kp::test::Utf8;

const Separators kEnglish{u".", u","};
const Separators kFrench{u",", u"\u202f"};

std::string Size(int64_t size, bool french, std::u16string_view mask = {}) {
  kp::test::FakeContext context;
  const std::u16string out = LengthToStringWith(context, size, mask, french, french ? kFrench : kEnglish);
  EXPECT_FALSE(context.hasError()) << Utf8(context.message());
  return Utf8(out);
}

// Worked out by hand: size / 1024^k to a tenth, halves up.
TEST(SizeText, TableByHand) {
  struct Row {
    int64_t size;
    const char* english;
    const char* french;
  };
  const Row rows[] = {
      {0, "0 bytes", "0 octet"},
      {1, "1 byte", "1 octet"},
      {2, "2 bytes", "2 octets"},
      {1000, "1000 bytes", "1000 octets"},
      {1023, "1023 bytes", "1023 octets"},
      {1024, "1 KB", "1 Ko"},
      {1075, "1 KB", "1 Ko"},      // 1.0498
      {1076, "1.1 KB", "1,1 Ko"},  // 1.0508
      {1280, "1.3 KB", "1,3 Ko"},  // 1.25 exactly: halves up, not to even
      {1536, "1.5 KB", "1,5 Ko"},
      {10240, "10 KB", "10 Ko"},
      {1000000, "976.6 KB", "976,6 Ko"},    // 976.5625
      {1048063, "1023.5 KB", "1023,5 Ko"},  // 1023.4990
      {1048524, "1023.9 KB", "1023,9 Ko"},  // 1023.9492
      {1048525, "1 MB", "1 Mo"},            // 1023.9502 rounds to 1024.0: the next unit
      {1048576, "1 MB", "1 Mo"},
      {1572864, "1.5 MB", "1,5 Mo"},
      {123456789, "117.7 MB", "117,7 Mo"},  // 117.7376
      {1073741824, "1 GB", "1 Go"},
      {5000000000, "4.7 GB", "4,7 Go"},  // 4.6566
      {1099511627776, "1 TB", "1 To"},
      {1125899906842623, "1 PB", "1 Po"},  // 2^50 - 1: 1023.99999 TB
      {1125899906842624, "1 PB", "1 Po"},
      {1152921504606846976, "1 EB", "1 Eo"},
      {std::numeric_limits<int64_t>::max(), "8 EB", "8 Eo"},  // 7.99999 EB
  };
  for (const Row& r : rows) {
    EXPECT_EQ(Size(r.size, false), r.english) << r.size;
    EXPECT_EQ(Size(r.size, true), r.french) << r.size;
  }
}

TEST(SizeText, MaskFormatsTheValueInItsUnit) {
  EXPECT_EQ(Size(1536, false, u"%.2f"), "1.50 KB");
  EXPECT_EQ(Size(1536, true, u"%.2f"), "1,50 Ko");
  EXPECT_EQ(Size(512, false, u"%.1f"), "512.0 bytes");
  EXPECT_EQ(Size(1, false, u"%d"), "1 byte");
  EXPECT_EQ(Size(0, true, u"%.1f"), "0,0 octet");
  EXPECT_EQ(Size(1048575, false, u"%.0f"), "1024 KB");  // the unit comes from the size alone
  EXPECT_EQ(Size(5000000000, false, u"%'.3f"), "4.657 GB");
  EXPECT_EQ(Size(1023, false, u"%'d"), "1,023 bytes");
  EXPECT_EQ(Size(1536, false, u"[%6.1f]"), "[   1.5] KB");
}

TEST(SizeText, BadInputFails) {
  {
    kp::test::FakeContext context;
    EXPECT_EQ(LengthToStringWith(context, -5, {}, false, kEnglish), u"");
    EXPECT_EQ(context.errorId(), kp::kErrNegativeSize);
    EXPECT_NE(Utf8(context.message()).find("-5"), std::string::npos);
  }
  {
    kp::test::FakeContext context;
    EXPECT_EQ(LengthToStringWith(context, std::numeric_limits<int64_t>::min(), u"%d", false, kEnglish), u"");
    EXPECT_EQ(context.errorId(), kp::kErrNegativeSize);
    EXPECT_NE(Utf8(context.message()).find("-9223372036854775808"), std::string::npos);
  }
  {
    kp::test::FakeContext context;
    EXPECT_EQ(LengthToStringWith(context, 1024, u"%s", false, kEnglish), u"");
    EXPECT_EQ(context.errorId(), kp::kErrBadNumberMask);
  }
}

TEST(SizeText, LanguageOfTheProgram) {
  kp::test::FakeContext context;
  context.language.code = 9;  // English
  EXPECT_EQ(Utf8(LengthToString(context, 2)), "2 bytes");
  context.language.code = KL_LANGUAGE_FRENCH;
  EXPECT_EQ(Utf8(LengthToString(context, 2)), "2 octets");
}

}  // namespace
