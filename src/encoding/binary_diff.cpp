// kp160std — binary differences (see binary_diff.h for the patch format).
//
// Finding the copies: the original is indexed by the hash of each aligned
// 16-byte block; the result is scanned position by position, first trying
// to continue the previous copy's diagonal (a changed byte leaves the rest
// where it was), then the index. A candidate is checked byte for byte, then
// grown backwards over the pending literal bytes and forwards as far as it
// matches. Each position costs at most one 16-byte comparison per candidate:
// linear time.
#include "encoding/binary_diff.h"

#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "abi/error.h"
#include "encoding/compress.h"
#include "encoding/crc.h"
#include "encoding/whole_file.h"
#include "files/path_rule.h"
#include "platform/platform.h"

namespace kp::encoding {
namespace {

constexpr uint8_t kMagic[4] = {'K', 'P', 'D', 'F'};
constexpr uint8_t kVersion = 1;
constexpr size_t kHeader = 24;
constexpr size_t kBlock = 16;
constexpr uint8_t kAdd = 0, kCopy = 1;

void PutLe32(Bytes* out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out->push_back(static_cast<uint8_t>(v >> (8 * i)));
}
uint32_t GetLe32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24; }

void PutVarint(Bytes* out, uint64_t v) {
  while (v >= 0x80) {
    out->push_back(static_cast<uint8_t>(v | 0x80));
    v >>= 7;
  }
  out->push_back(static_cast<uint8_t>(v));
}

bool GetVarint(std::span<const uint8_t> in, size_t* at, uint64_t* v) {
  *v = 0;
  for (int shift = 0; shift < 64; shift += 7) {
    if (*at >= in.size()) return false;
    const uint8_t b = in[(*at)++];
    *v |= uint64_t{b & 0x7fu} << shift;
    if (!(b & 0x80)) return true;
  }
  return false;
}

uint64_t Block(const uint8_t* p) {
  uint64_t a, b;
  std::memcpy(&a, p, 8);
  std::memcpy(&b, p + 8, 8);
  uint64_t h = (a ^ (b * 0x9E3779B97F4A7C15ull)) * 0xFF51AFD7ED558CCDull;
  return h ^ (h >> 29);
}

size_t CommonForward(const uint8_t* a, const uint8_t* b, size_t limit) {
  size_t n = 0;
  while (n + 8 <= limit) {
    uint64_t x, y;
    std::memcpy(&x, a + n, 8);
    std::memcpy(&y, b + n, 8);
    if (x != y) return n + static_cast<size_t>(__builtin_ctzll(x ^ y) / 8);  // little-endian targets only
    n += 8;
  }
  while (n < limit && a[n] == b[n]) ++n;
  return n;
}

class Instructions {
 public:
  void Add(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return;
    out_.push_back(kAdd);
    PutVarint(&out_, bytes.size());
    out_.insert(out_.end(), bytes.begin(), bytes.end());
  }
  void Copy(size_t from, size_t length) {
    out_.push_back(kCopy);
    const int64_t d = static_cast<int64_t>(from) - static_cast<int64_t>(copyEnd_);
    PutVarint(&out_, (static_cast<uint64_t>(d) << 1) ^ static_cast<uint64_t>(d >> 63));  // zigzag
    PutVarint(&out_, length);
    copyEnd_ = from + length;
  }
  Bytes& bytes() { return out_; }

 private:
  Bytes out_;
  size_t copyEnd_ = 0;
};

}  // namespace

Bytes MakePatch(std::span<const uint8_t> original, std::span<const uint8_t> result, bool compressed) {
  if (original.size() > std::numeric_limits<uint32_t>::max() || result.size() > std::numeric_limits<uint32_t>::max())
    throw std::bad_alloc();
  const uint8_t* o = original.data();
  const uint8_t* r = result.data();
  const size_t m = original.size(), n = result.size();

  // Index of the aligned blocks; the first block of a hash wins.
  size_t slots = 1024;
  while (slots < 2 * (m / kBlock)) slots <<= 1;
  std::vector<int64_t> table(slots, -1);
  for (size_t q = 0; q + kBlock <= m; q += kBlock) {
    int64_t& slot = table[Block(o + q) & (slots - 1)];
    if (slot < 0) slot = static_cast<int64_t>(q);
  }

  Instructions ins;
  size_t p = 0, literal = 0;
  int64_t diagonal = std::numeric_limits<int64_t>::min();  // original position minus result position of the last copy
  while (p + kBlock <= n) {
    int64_t q = -1;
    if (diagonal != std::numeric_limits<int64_t>::min()) {
      const int64_t d = static_cast<int64_t>(p) + diagonal;
      if (d >= 0 && static_cast<size_t>(d) + kBlock <= m && std::memcmp(o + d, r + p, kBlock) == 0) q = d;
    }
    if (q < 0) {
      const int64_t c = table[Block(r + p) & (slots - 1)];
      if (c >= 0 && std::memcmp(o + c, r + p, kBlock) == 0) q = c;
    }
    if (q < 0) {
      ++p;
      continue;
    }
    size_t start = p, from = static_cast<size_t>(q);
    while (start > literal && from > 0 && r[start - 1] == o[from - 1]) --start, --from;
    const size_t length =
        (p - start) + kBlock +
        CommonForward(r + p + kBlock, o + q + kBlock, std::min(n - p - kBlock, m - static_cast<size_t>(q) - kBlock));
    ins.Add(result.subspan(literal, start - literal));
    ins.Copy(from, length);
    diagonal = static_cast<int64_t>(from) - static_cast<int64_t>(start);
    p = start + length;
    literal = p;
  }
  // The tail is too short to index: a change near the end leaves the
  // original's last bytes there, which a copy takes for a few bytes.
  size_t suffix = 0;
  while (suffix < n - literal && suffix < m && r[n - 1 - suffix] == o[m - 1 - suffix]) ++suffix;
  if (suffix >= 8) {
    ins.Add(result.subspan(literal, n - literal - suffix));
    ins.Copy(m - suffix, suffix);
  } else {
    ins.Add(result.subspan(literal));
  }

  Bytes patch(kMagic, kMagic + 4);
  patch.push_back(kVersion);
  patch.push_back(compressed ? 1 : 0);
  patch.push_back(0);
  patch.push_back(0);
  PutLe32(&patch, static_cast<uint32_t>(m));
  PutLe32(&patch, Crc32(0, original));
  PutLe32(&patch, static_cast<uint32_t>(n));
  PutLe32(&patch, Crc32(0, result));
  if (compressed) {
    const Bytes packed = *Deflate(ins.bytes(), kCompressShortString);
    patch.insert(patch.end(), packed.begin(), packed.end());
  } else {
    patch.insert(patch.end(), ins.bytes().begin(), ins.bytes().end());
  }
  return patch;
}

PatchStatus ApplyPatch(std::span<const uint8_t> original, std::span<const uint8_t> patch, Bytes* result) {
  result->clear();
  if (patch.size() < kHeader || std::memcmp(patch.data(), kMagic, 4) != 0 || patch[4] != kVersion || patch[5] > 1 ||
      patch[6] != 0 || patch[7] != 0)
    return PatchStatus::kDamaged;
  const uint32_t m = GetLe32(&patch[8]), oldCrc = GetLe32(&patch[12]);
  const uint32_t n = GetLe32(&patch[16]), newCrc = GetLe32(&patch[20]);
  if (original.size() != m || Crc32(0, original) != oldCrc) return PatchStatus::kWrongOriginal;
  if (n > kMaxUncompressed) return PatchStatus::kDamaged;

  Bytes inflated;
  std::span<const uint8_t> body = patch.subspan(kHeader);
  if (patch[5] & 1) {
    // Every instruction makes at least one byte and takes at most 21: a
    // bound that stops a bomb without refusing any patch of ours.
    const size_t limit = std::min<size_t>(kMaxUncompressed, size_t{n} * 21 + 64);
    if (Inflate(body, limit, &inflated) != InflateStatus::kOk) return PatchStatus::kDamaged;
    body = inflated;
  }
  Bytes out;
  out.reserve(n);
  size_t at = 0, copyEnd = 0;
  while (at < body.size()) {
    const uint8_t op = body[at++];
    uint64_t a, b;
    if (op == kAdd) {
      if (!GetVarint(body, &at, &a) || a == 0 || a > body.size() - at || a > n - out.size())
        return PatchStatus::kDamaged;
      out.insert(out.end(), body.begin() + static_cast<ptrdiff_t>(at), body.begin() + static_cast<ptrdiff_t>(at + a));
      at += a;
    } else if (op == kCopy) {
      if (!GetVarint(body, &at, &a) || !GetVarint(body, &at, &b)) return PatchStatus::kDamaged;
      const int64_t d = static_cast<int64_t>(a >> 1) ^ -static_cast<int64_t>(a & 1);
      const int64_t from = static_cast<int64_t>(copyEnd) + d;
      if (b == 0 || from < 0 || static_cast<uint64_t>(from) > m || b > m - static_cast<uint64_t>(from) ||
          b > n - out.size())
        return PatchStatus::kDamaged;
      out.insert(out.end(), original.begin() + from, original.begin() + from + static_cast<ptrdiff_t>(b));
      copyEnd = static_cast<size_t>(from + static_cast<int64_t>(b));
    } else {
      return PatchStatus::kDamaged;
    }
  }
  if (out.size() != n || Crc32(0, out) != newCrc) return PatchStatus::kDamaged;
  *result = std::move(out);
  return PatchStatus::kOk;
}

Bytes DiffCreate(ExecContext* context, std::span<const uint8_t> original, std::span<const uint8_t> result,
                 int32_t options) {
  if (options & ~(kDiffBinary | kDiffText | kDiffMax)) {
    // diffFichierOTL and unknown bits: no such patch format here.
    Raise(context, kErrValueOutOfRange, {options});
    return {};
  }
  return MakePatch(original, result, (options & kDiffMax) != 0);
}

Bytes DiffCreateFiles(ExecContext* context, std::u16string_view original, std::u16string_view result) {
  if (!files::CheckName(context, original) || !files::CheckName(context, result)) return {};
  Bytes a, b;
  if (!ReadWholeFile(original, &a) || !ReadWholeFile(result, &b)) {
    RaiseSystem(context, kErrFileDifferenceFailed, platform::LastError());
    return {};
  }
  return MakePatch(a, b, false);
}

Bytes DiffApply(ExecContext* context, std::span<const uint8_t> original, std::span<const uint8_t> patch) {
  Bytes out;
  switch (ApplyPatch(original, patch, &out)) {
    case PatchStatus::kOk: return out;
    // No identifier names these two cases apart yet: the difference one,
    // with an internal text that tells which.
    case PatchStatus::kWrongOriginal:
      Raise(context, kErrFileDifferenceFailed);
      AddInternalMessage(ErrorRecord(context), u"##(diffApplique)-Le patch ne correspond pas à l'original##");
      break;
    case PatchStatus::kDamaged:
      Raise(context, kErrFileDifferenceFailed);
      AddInternalMessage(ErrorRecord(context), u"##(diffApplique)-Patch endommagé##");
      break;
  }
  return {};
}

}  // namespace kp::encoding
