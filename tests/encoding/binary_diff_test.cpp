#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "encoding/binary_diff.h"
#include "files/files_fixture.h"
#include "support/fake_context.h"

namespace {

using kp::Bytes;
namespace enc = kp::encoding;

Bytes RandomBytes(std::mt19937& rng, size_t n) {
  Bytes v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng() % 4 == 0 ? rng() : rng() % 8);  // some repetition
  return v;
}

// A few random edits: changed bytes, inserted and removed runs, a moved block.
Bytes Edit(std::mt19937& rng, Bytes v) {
  const int edits = 1 + static_cast<int>(rng() % 6);
  for (int e = 0; e < edits; ++e) {
    const size_t at = v.empty() ? 0 : rng() % (v.size() + 1);
    const size_t len = 1 + rng() % 40;
    switch (rng() % 4) {
      case 0:
        if (at < v.size()) v[at] ^= static_cast<uint8_t>(1 + rng() % 255);
        break;
      case 1: {
        Bytes ins = RandomBytes(rng, len);
        v.insert(v.begin() + static_cast<ptrdiff_t>(at), ins.begin(), ins.end());
        break;
      }
      case 2:
        v.erase(v.begin() + static_cast<ptrdiff_t>(at),
                v.begin() + static_cast<ptrdiff_t>(std::min(v.size(), at + len)));
        break;
      default:
        if (v.size() > 200) {
          const size_t from = rng() % (v.size() - 100);
          Bytes block(v.begin() + static_cast<ptrdiff_t>(from), v.begin() + static_cast<ptrdiff_t>(from + 100));
          v.insert(v.begin() + static_cast<ptrdiff_t>(rng() % v.size()), block.begin(), block.end());
        }
    }
  }
  return v;
}

TEST(diffApplique, ThousandsOfRandomEditsRoundTrip) {
  std::mt19937 rng(2024);
  for (int round = 0; round < 3000; ++round) {
    const Bytes a = RandomBytes(rng, rng() % 3000);
    const Bytes b = round % 10 == 0 ? RandomBytes(rng, rng() % 100) : Edit(rng, a);
    const bool packed = round % 3 == 0;
    kp::test::FakeContext context;
    const Bytes patch = enc::DiffCreate(context, a, b, packed ? enc::kDiffMax : enc::kDiffBinary);
    ASSERT_FALSE(context.hasError());
    ASSERT_EQ(enc::DiffApply(context, a, patch), b) << "round " << round;
    ASSERT_FALSE(context.hasError());
  }
}

// 1 MiB with 1 % of its bytes changed: the patch stays a small fraction.
TEST(diffCree, SmallEditsInALargeBufferGiveASmallPatch) {
  std::mt19937 rng(5);
  Bytes a(1 << 20);
  for (auto& x : a) x = static_cast<uint8_t>(rng());
  Bytes b = a;
  for (int i = 0; i < (1 << 20) / 100; ++i) b[rng() % b.size()] ^= 0x5a;
  const Bytes plain = enc::MakePatch(a, b, false);
  const Bytes packed = enc::MakePatch(a, b, true);
  EXPECT_LT(plain.size(), b.size() / 12) << plain.size();
  EXPECT_LT(packed.size(), plain.size());
  Bytes out;
  ASSERT_EQ(enc::ApplyPatch(a, packed, &out), enc::PatchStatus::kOk);
  EXPECT_EQ(out, b);
  // The documented example: header, one copy of 31, the 8 new bytes.
  const std::string o = "Bonjour tout le monde, comment allez-vous ?", r = "Bonjour tout le monde, comment vas-tu ?";
  const Bytes example = enc::MakePatch(Bytes(o.begin(), o.end()), Bytes(r.begin(), r.end()), false);
  EXPECT_EQ(example.size(), 37u);
  EXPECT_EQ(Bytes(example.begin() + 24, example.begin() + 29), (Bytes{1, 0, 31, 0, 8}));
  // A byte changed near the end: the last bytes are still copied.
  Bytes nearEnd = a;
  nearEnd[nearEnd.size() - 12] ^= 1;
  EXPECT_LT(enc::MakePatch(a, nearEnd, false).size(), 24u + 4 + 3 + 4 + 8);
  // Identical buffers: the header and one copy.
  EXPECT_LT(enc::MakePatch(a, a, false).size(), 40u);
}

TEST(diffApplique, WrongOriginalOrDamagedPatchIsAnError) {
  std::mt19937 rng(6);
  const Bytes a = RandomBytes(rng, 5000);
  const Bytes b = Edit(rng, a);
  const Bytes patch = enc::MakePatch(a, b, false);
  Bytes other = a;
  other[100] ^= 1;
  Bytes out;
  EXPECT_EQ(enc::ApplyPatch(other, patch, &out), enc::PatchStatus::kWrongOriginal);
  EXPECT_EQ(enc::ApplyPatch(Bytes(a.begin(), a.end() - 1), patch, &out), enc::PatchStatus::kWrongOriginal);
  EXPECT_TRUE(out.empty());
  for (size_t at = 24; at < patch.size(); at += 7) {
    Bytes bad = patch;
    bad[at] ^= 0x21;
    EXPECT_NE(enc::ApplyPatch(a, bad, &out), enc::PatchStatus::kOk) << at;
  }
  for (size_t cut = 1; cut < patch.size(); cut += 11)
    EXPECT_NE(enc::ApplyPatch(a, Bytes(patch.begin(), patch.end() - static_cast<ptrdiff_t>(cut)), &out),
              enc::PatchStatus::kOk);
  kp::test::FakeContext context;
  EXPECT_TRUE(enc::DiffApply(context, other, patch).empty());
  EXPECT_EQ(context.errorId(), kp::kErrFileDifferenceFailed);
  EXPECT_NE(context.message().find(u"original"), std::u16string::npos);
  kp::test::FakeContext empty;
  EXPECT_TRUE(enc::DiffApply(empty, a, {}).empty());
  EXPECT_EQ(empty.errorId(), kp::kErrFileDifferenceFailed);
  kp::test::FakeContext otl;
  EXPECT_TRUE(enc::DiffCreate(otl, a, b, enc::kDiffFileOtl).empty());
  EXPECT_EQ(otl.errorId(), kp::kErrValueOutOfRange);
}

class diffFiles : public kp::test::FilesTest {};

TEST_F(diffFiles, FileNamesGiveThePatchOfTheirContents) {
  PutFile("a.txt", "line one\nline two\nline three\n");
  PutFile("b.txt", "line one\nline 2\nline three\nline four\n");
  const Bytes patch = enc::DiffCreateFiles(ctx_, u"\\a.txt", u"\\b.txt");
  ASSERT_FALSE(ctx_.hasError());
  const std::string a = GetFile("a.txt"), b = GetFile("b.txt");
  EXPECT_EQ(enc::DiffApply(ctx_, Bytes(a.begin(), a.end()), patch), Bytes(b.begin(), b.end()));
  EXPECT_TRUE(enc::DiffCreateFiles(ctx_, u"\\a.txt", u"\\missing").empty());
  EXPECT_EQ(ctx_.errorId(), kp::kErrFileDifferenceFailed);
  EXPECT_EQ(ctx_.systemError(), 2u);
}

}  // namespace
