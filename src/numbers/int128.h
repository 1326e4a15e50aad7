// kp160std — a signed 128-bit integer for the exact currency arithmetic.
//
// GCC and Clang give __int128 on 64-bit targets, and that is what is used
// there. The 32-bit Windows build has no such type, so this header gives a
// small two's-complement class with the few operations the euro family
// needs (+, -, *, /, %, comparisons, checked multiplication). It is slow
// (division is bit by bit) but exact; the everyday conversions take the
// 64-bit path before they get here. PortableInt128 is always defined, so the
// tests check it against __int128 on the 64-bit build.
//
// Thread-safety: values only.
#pragma once

#include <concepts>
#include <cstdint>

namespace kp::numbers {

class PortableInt128 {
 public:
  constexpr PortableInt128() = default;
  template <std::integral T>
  constexpr PortableInt128(T v)  // NOLINT: converts like a built-in integer
      : lo_(static_cast<uint64_t>(v)), hi_(std::is_signed_v<T> && v < 0 ? ~uint64_t{0} : 0) {}

  template <std::integral T>
  constexpr explicit operator T() const {
    return static_cast<T>(lo_);
  }

  constexpr PortableInt128 operator-() const { return PortableInt128(~lo_ + 1, ~hi_ + (lo_ == 0 ? 1 : 0)); }
  friend constexpr PortableInt128 operator+(PortableInt128 a, PortableInt128 b) {
    const uint64_t lo = a.lo_ + b.lo_;
    return PortableInt128(lo, a.hi_ + b.hi_ + (lo < a.lo_ ? 1 : 0));
  }
  friend constexpr PortableInt128 operator-(PortableInt128 a, PortableInt128 b) { return a + -b; }
  friend constexpr PortableInt128 operator*(PortableInt128 a, PortableInt128 b) {
    uint64_t high = 0;
    const uint64_t low = MulWide(a.lo_, b.lo_, &high);
    return PortableInt128(low, high + a.lo_ * b.hi_ + a.hi_ * b.lo_);
  }
  // Truncating division and its remainder, as the built-in types do.
  friend constexpr PortableInt128 operator/(PortableInt128 a, PortableInt128 b) {
    PortableInt128 q, r;
    DivMod(a.Magnitude(), b.Magnitude(), &q, &r);
    return a.Negative() != b.Negative() ? -q : q;
  }
  friend constexpr PortableInt128 operator%(PortableInt128 a, PortableInt128 b) {
    PortableInt128 q, r;
    DivMod(a.Magnitude(), b.Magnitude(), &q, &r);
    return a.Negative() ? -r : r;
  }
  constexpr PortableInt128& operator*=(PortableInt128 b) { return *this = *this * b; }
  constexpr PortableInt128& operator++() { return *this = *this + 1; }

  friend constexpr bool operator==(PortableInt128 a, PortableInt128 b) { return a.lo_ == b.lo_ && a.hi_ == b.hi_; }
  friend constexpr bool operator<(PortableInt128 a, PortableInt128 b) {
    const auto ah = static_cast<int64_t>(a.hi_), bh = static_cast<int64_t>(b.hi_);
    return ah != bh ? ah < bh : a.lo_ < b.lo_;
  }
  friend constexpr bool operator>(PortableInt128 a, PortableInt128 b) { return b < a; }
  friend constexpr bool operator<=(PortableInt128 a, PortableInt128 b) { return !(b < a); }
  friend constexpr bool operator>=(PortableInt128 a, PortableInt128 b) { return !(a < b); }

  // a * b into *out; true when the product does not fit, as
  // __builtin_mul_overflow answers.
  friend constexpr bool MulOverflow(PortableInt128 a, PortableInt128 b, PortableInt128* out) {
    const PortableInt128 ua = a.Magnitude(), ub = b.Magnitude();
    *out = a * b;
    if (ua == 0 || ub == 0) return false;
    // |a| * |b| <= limit, with limit 2^127 for a negative product, else 2^127 - 1.
    const bool negative = a.Negative() != b.Negative();
    const PortableInt128 limit(negative ? 0 : ~uint64_t{0}, negative ? uint64_t{1} << 63 : ~uint64_t{0} >> 1);
    PortableInt128 q, r;
    DivMod(limit, ua, &q, &r);
    return UnsignedLess(q, ub);
  }

 private:
  constexpr PortableInt128(uint64_t lo, uint64_t hi) : lo_(lo), hi_(hi) {}
  constexpr bool Negative() const { return (hi_ >> 63) != 0; }
  // |v| as an unsigned 128-bit pattern (2^127 for the most negative value).
  constexpr PortableInt128 Magnitude() const { return Negative() ? -*this : *this; }
  static constexpr bool UnsignedLess(PortableInt128 a, PortableInt128 b) {
    return a.hi_ != b.hi_ ? a.hi_ < b.hi_ : a.lo_ < b.lo_;
  }

  // The full product of two 64-bit numbers from 32-bit halves.
  static constexpr uint64_t MulWide(uint64_t a, uint64_t b, uint64_t* high) {
    const uint64_t a0 = a & 0xFFFFFFFFu, a1 = a >> 32, b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
    const uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
    const uint64_t middle = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
    *high = p11 + (p01 >> 32) + (p10 >> 32) + (middle >> 32);
    return (middle << 32) | (p00 & 0xFFFFFFFFu);
  }

  // Unsigned long division, one bit at a time; d != 0.
  static constexpr void DivMod(PortableInt128 n, PortableInt128 d, PortableInt128* q, PortableInt128* r) {
    PortableInt128 quotient, rest;
    for (int bit = 127; bit >= 0; --bit) {
      rest = PortableInt128(rest.lo_ << 1 | ((bit >= 64 ? n.hi_ >> (bit - 64) : n.lo_ >> bit) & 1),
                            rest.hi_ << 1 | rest.lo_ >> 63);
      if (!UnsignedLess(rest, d)) {
        rest = rest - d;
        if (bit >= 64) quotient.hi_ |= uint64_t{1} << (bit - 64);
        else quotient.lo_ |= uint64_t{1} << bit;
      }
    }
    *q = quotient;
    *r = rest;
  }

  uint64_t lo_ = 0;
  uint64_t hi_ = 0;
};

#ifdef __SIZEOF_INT128__
using Int128 = __int128;
constexpr bool MulOverflow(Int128 a, Int128 b, Int128* out) { return __builtin_mul_overflow(a, b, out); }
#else
using Int128 = PortableInt128;
#endif

}  // namespace kp::numbers
