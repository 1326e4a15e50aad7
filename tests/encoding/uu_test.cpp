#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "encoding/reference.h"
#include "encoding/uu.h"
#include "support/fake_context.h"
#include "support/random_bytes.h"

namespace {

using kp::test::Capture;
using kp::test::RandomBytes;
using kp::test::TempDir;

// Lengths across the line (45) and group (3) boundaries, and the empty buffer.
const size_t kLengths[] = {0, 1, 2, 3, 4, 44, 45, 46, 89, 90, 91, 1000, 4099};

// sharutils' uuencode writes "begin 644 x\n", our body, then "end\n".
TEST(UUEncode, SameBytesAsSharutilsUuencode) {
  if (!kp::test::HaveCommand("uuencode")) GTEST_SKIP() << "sharutils' uuencode is not installed";
  TempDir dir;
  std::mt19937 rng(7);
  for (size_t n : kLengths) {
    const auto data = RandomBytes(rng, n);
    ASSERT_TRUE(kp::test::WriteAll(dir / "in", data.data(), data.size()));
    int status;
    const std::string theirs = Capture("uuencode " + (dir / "in") + " x", &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(theirs, "begin 644 x\n" + kp::encoding::UuEncodeBody(data) + "end\n") << n << " bytes";
  }
}

// binascii.b2a_uu encodes one line of at most 45 bytes; the body is those
// lines, then the line of an empty chunk.
TEST(UUEncode, SameBytesAsPythonBinascii) {
#ifdef _WIN32
  GTEST_SKIP() << "the references (Python, uuencode) are the Linux machine's tools";
#endif

  TempDir dir;
  std::mt19937 rng(8);
  for (size_t n : kLengths) {
    const auto data = RandomBytes(rng, n);
    ASSERT_TRUE(kp::test::WriteAll(dir / "in", data.data(), data.size()));
    int status;
    const std::string theirs = Capture(
        "python3 -c 'import binascii,sys; d=open(sys.argv[1],\"rb\").read(); "
        "sys.stdout.write(\"\".join(binascii.b2a_uu(d[i:i+45],backtick=True).decode() for i in range(0,len(d),45)) + "
        "binascii.b2a_uu(b\"\",backtick=True).decode())' " +
            (dir / "in"),
        &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(theirs, kp::encoding::UuEncodeBody(data)) << n << " bytes";
  }
}

// Their output decoded by us: the whole file with begin/end lines, with
// "\r\n" line ends, and binascii's default spaces for zero.
TEST(UUDecode, ReadsWhatTheReferencesWrite) {
#ifdef _WIN32
  GTEST_SKIP() << "the references (Python, uuencode) are the Linux machine's tools";
#endif

  TempDir dir;
  std::mt19937 rng(9);
  const auto data = RandomBytes(rng, 1000);
  ASSERT_TRUE(kp::test::WriteAll(dir / "in", data.data(), data.size()));
  int status;
  std::string spaces = Capture(
      "python3 -c 'import binascii,sys; d=open(sys.argv[1],\"rb\").read(); "
      "sys.stdout.write(\"\".join(binascii.b2a_uu(d[i:i+45]).decode() for i in range(0,len(d),45)))' " +
          (dir / "in"),
      &status);
  ASSERT_EQ(status, 0);
  ASSERT_NE(spaces.find(' '), std::string::npos);  // the case is really there
  auto fromSpaces = kp::encoding::UuDecodeBody(std::u16string(spaces.begin(), spaces.end()));
  ASSERT_TRUE(fromSpaces);
  EXPECT_EQ(*fromSpaces, data);

  std::string crlf = "begin 600 name\r\n";
  for (char c : kp::encoding::UuEncodeBody(data)) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  crlf += "end\r\n";
  auto fromCrlf = kp::encoding::UuDecodeBody(std::u16string(crlf.begin(), crlf.end()));
  ASSERT_TRUE(fromCrlf);
  EXPECT_EQ(*fromCrlf, data);
}

TEST(UUDecode, RoundTripsEveryLength) {
  std::mt19937 rng(10);
  for (size_t n = 0; n < 200; ++n) {
    const auto data = RandomBytes(rng, n);
    const std::u16string text = kp::encoding::UUEncode(nullptr, data);
    kp::test::FakeContext context;
    EXPECT_EQ(kp::encoding::UUDecode(context, text), data) << n;
    EXPECT_FALSE(context.hasError());
  }
}

TEST(UUDecode, BadTextIsAnErrorWithAnEmptyBuffer) {
  for (std::u16string bad : {u"", u"\r\n", u"begin 644 x\n", u"M" /* says 45 bytes, has none */, u"#0V)\u00e9\n",
                             u"\x01\x02\n", u"$86)C\n" /* 4 bytes need 8 */}) {
    kp::test::FakeContext context;
    EXPECT_TRUE(kp::encoding::UUDecode(context, bad).empty());
    EXPECT_EQ(context.errorId(), kp::kErrNotUuEncoded) << kp::test::Utf8(bad);
  }
  kp::test::FakeContext context;
  EXPECT_TRUE(kp::encoding::UUDecode(context, u"`\n").empty());  // the encoding of nothing
  EXPECT_FALSE(context.hasError());
}

}  // namespace
