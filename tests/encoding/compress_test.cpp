#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "encoding/compress.h"
#include "encoding/reference.h"
#include "files/files_fixture.h"
#include "support/fake_context.h"

extern "C" int16_t nfCompacte(const char16_t* source, const char16_t* destination);

namespace {

using kp::Bytes;
using kp::test::Capture;
using kp::test::TempDir;

// Text-like data (compresses) followed by random bytes (does not).
Bytes Sample(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  const std::string words[] = {"alpha ", "beta ", "gamma ", "delta\r\n", "epsilon ", "zêta "};
  Bytes v;
  while (v.size() < n / 2) {
    const std::string& w = words[rng() % 6];
    v.insert(v.end(), w.begin(), w.end());
  }
  while (v.size() < n) v.push_back(static_cast<uint8_t>(rng()));
  v.resize(n);
  return v;
}

uint32_t Adler(const Bytes& d) { return static_cast<uint32_t>(adler32(1, d.data(), static_cast<uInt>(d.size()))); }
uint32_t Crc(const Bytes& d) { return static_cast<uint32_t>(crc32(0, d.data(), static_cast<uInt>(d.size()))); }

void PutLe32(Bytes* v, uint32_t x) {
  for (int i = 0; i < 4; ++i) v->push_back(static_cast<uint8_t>(x >> (8 * i)));
}

// Every method, decompressed by Python's zlib module.
TEST(Compresse, PythonZlibReadsEveryMethod) {
#ifdef _WIN32
  GTEST_SKIP() << "the references (Python, uuencode) are the Linux machine's tools";
#endif

  TempDir dir;
  for (int32_t method : {0, 1, 2}) {
    for (size_t n : {size_t{0}, size_t{1}, size_t{1000}, size_t{300000}}) {
      const Bytes data = Sample(n, static_cast<uint32_t>(n + method));
      kp::test::FakeContext context;
      const Bytes packed = kp::encoding::Compress(context, data, method);
      ASSERT_FALSE(context.hasError());
      ASSERT_TRUE(kp::test::WriteAll(dir / "z", packed.data(), packed.size()));
      int status;
      const std::string theirs = Capture(
          "python3 -c 'import zlib,sys; sys.stdout.buffer.write(zlib.decompress(open(sys.argv[1],\"rb\").read()))' " +
              (dir / "z"),
          &status);
      ASSERT_EQ(status, 0);
      EXPECT_EQ(Bytes(theirs.begin(), theirs.end()), data) << "method " << method << ", " << n << " bytes";
    }
  }
}

// gzip has a deflate coder of its own: its deflate data in our zlib frame
// must read back, and our deflate data in a gzip frame must read in gzip.
TEST(Compresse, DeflateDataAgreesWithGzip) {
  if (!kp::test::HaveCommand("gzip")) GTEST_SKIP() << "gzip is not installed";
  TempDir dir;
  const Bytes data = Sample(200000, 3);
  ASSERT_TRUE(kp::test::WriteAll(dir / "in", data.data(), data.size()));
  int status;
  std::string gz = Capture("gzip -n -9 -c " + (dir / "in"), &status);
  ASSERT_EQ(status, 0);
  ASSERT_GT(gz.size(), 18u);
  ASSERT_EQ(static_cast<uint8_t>(gz[3]), 0);  // no optional fields: the header is 10 bytes
  Bytes framed = {0x78, 0xda};
  framed.insert(framed.end(), gz.begin() + 10, gz.end() - 8);
  const uint32_t a = Adler(data);
  for (int i = 3; i >= 0; --i) framed.push_back(static_cast<uint8_t>(a >> (8 * i)));
  kp::test::FakeContext context;
  EXPECT_EQ(kp::encoding::Uncompress(context, framed), data);
  EXPECT_FALSE(context.hasError());

  const Bytes packed = kp::encoding::Compress(context, data, 2);
  Bytes gzip = {0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 3};
  gzip.insert(gzip.end(), packed.begin() + 2, packed.end() - 4);
  PutLe32(&gzip, Crc(data));
  PutLe32(&gzip, static_cast<uint32_t>(data.size()));
  ASSERT_TRUE(kp::test::WriteAll(dir / "ours.gz", gzip.data(), gzip.size()));
  const std::string back = Capture("gzip -dc " + (dir / "ours.gz"), &status);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(Bytes(back.begin(), back.end()), data);
}

TEST(Compresse, LevelsAreThoseOfZlibAndUnknownMethodsRefused) {
  const Bytes data = Sample(50000, 4);
  for (auto [method, level] : {std::pair{0, 0}, std::pair{1, Z_DEFAULT_COMPRESSION}, std::pair{2, 9}}) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    Bytes expected(size);
    ASSERT_EQ(compress2(expected.data(), &size, data.data(), static_cast<uLong>(data.size()), level), Z_OK);
    expected.resize(size);
    EXPECT_EQ(kp::encoding::Compress(nullptr, data, method), expected) << method;
  }
  kp::test::FakeContext context;
  EXPECT_TRUE(kp::encoding::Compress(context, data, 3).empty());
  EXPECT_EQ(context.errorId(), kp::kErrValueOutOfRange);
}

TEST(Decompresse, DamagedTruncatedEmptyOrTrailingInputIsAnError) {
  const Bytes data = Sample(4000, 5);
  const Bytes packed = kp::encoding::Compress(nullptr, data, 1);
  std::vector<Bytes> bad = {{}, {0x78}, {0x78, 0x9c}};
  for (size_t cut = 1; cut < packed.size(); cut += 37) bad.emplace_back(packed.begin(), packed.end() - cut);
  for (size_t at = 0; at < packed.size(); at += 53) {
    Bytes flipped = packed;
    flipped[at] ^= 0x10;
    bad.push_back(flipped);
  }
  Bytes trailing = packed;
  trailing.push_back(0);
  bad.push_back(trailing);
  for (const Bytes& b : bad) {
    kp::test::FakeContext context;
    EXPECT_TRUE(kp::encoding::Uncompress(context, b).empty());
    EXPECT_EQ(context.errorId(), kp::kErrCompressedDataDamaged) << b.size() << " bytes";
  }
}

// 300 MiB of zeros deflate to about 300 KB: refused past the 256 MiB limit,
// and exactly at a limit the stream still reads.
TEST(Decompresse, BombStopsAtTheDocumentedLimit) {
  z_stream z{};
  ASSERT_EQ(deflateInit(&z, 9), Z_OK);
  const Bytes zeros(1 << 20, 0);
  Bytes bomb(1 << 20);
  z.next_out = bomb.data();
  z.avail_out = static_cast<uInt>(bomb.size());
  for (int mib = 0; mib < 300; ++mib) {
    z.next_in = const_cast<Bytef*>(zeros.data());
    z.avail_in = static_cast<uInt>(zeros.size());
    ASSERT_EQ(deflate(&z, mib == 299 ? Z_FINISH : Z_NO_FLUSH), mib == 299 ? Z_STREAM_END : Z_OK);
  }
  bomb.resize(z.total_out);
  deflateEnd(&z);
  kp::test::FakeContext context;
  EXPECT_TRUE(kp::encoding::Uncompress(context, bomb).empty());
  EXPECT_EQ(context.errorId(), kp::kErrBufferTooSmall);

  const Bytes data = Sample(10000, 6);
  const Bytes packed = kp::encoding::Compress(nullptr, data, 1);
  Bytes out;
  EXPECT_EQ(kp::encoding::Inflate(packed, data.size(), &out), kp::encoding::InflateStatus::kOk);
  EXPECT_EQ(out, data);
  EXPECT_EQ(kp::encoding::Inflate(packed, data.size() - 1, &out), kp::encoding::InflateStatus::kTooLarge);
}

class Compacte : public kp::test::FilesTest {};

// The export writes the zlib stream of the source and gives its size in
// percent of the original.
TEST_F(Compacte, ExportWritesTheStreamAndItsRatio) {
  const Bytes data = Sample(100000, 7);
  PutFile("d/in.bin", std::string(data.begin(), data.end()));
  PutFile("d/out.z", "old content");
  const int16_t percent = nfCompacte(u"\\d\\in.bin", u"\\d\\out.z");
  const std::string written = GetFile("d/out.z");
  Bytes back;
  ASSERT_EQ(kp::encoding::Inflate(Bytes(written.begin(), written.end()), 1 << 20, &back),
            kp::encoding::InflateStatus::kOk);
  EXPECT_EQ(back, data);
  EXPECT_EQ(percent, static_cast<int16_t>((written.size() * 100 + data.size() - 1) / data.size()));
  EXPECT_GT(percent, 0);
  EXPECT_LT(percent, 100);

  PutFile("d/empty", "");
  EXPECT_EQ(nfCompacte(u"\\d\\empty", u"\\d\\empty.z"), 0);
  EXPECT_TRUE(HostExists("d/empty.z"));
}

TEST_F(Compacte, ExportFailuresLeaveNothingBehind) {
  PutFile("d/in.bin", "some text some text");
  EXPECT_EQ(nfCompacte(nullptr, u"\\d\\x"), -1);
  EXPECT_EQ(nfCompacte(u"d\\in.bin", u"\\d\\x"), -1);
  EXPECT_EQ(nfCompacte(u"\\d\\missing", u"\\d\\x"), -2);
  EXPECT_FALSE(HostExists("d/x"));
  EXPECT_EQ(nfCompacte(u"\\d\\in.bin", u"\\nodir\\x"), -3);
  EXPECT_FALSE(HostExists("nodir"));
  for (auto& e : std::filesystem::directory_iterator(Host("d")))
    EXPECT_EQ(e.path().filename().string().find("partial"), std::string::npos) << e.path();
}

}  // namespace
