#pragma once

#include <opencv2/core/hal/interface.h>

#include <cstdint>
#include <cstring>
#include <limits>

// Roundings and clamps of pixel values, written so that a loop of them is vectorised on every instruction set.
// Internal.

namespace kestrova::frame {

inline int clampInt(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }
inline uchar clamp8(int v) { return static_cast<uchar>(clampInt(v, 0, 255)); }
inline ushort clamp16(int v) { return static_cast<ushort>(clampInt(v, 0, 65535)); }

/// `v` clamped to 0..`top` and rounded to the nearest integer, ties to even; NaN gives 0. Adding 2^23 (2^52) leaves no
/// bits for a fraction: the adder does the rounding, and the integer stands in the low bits of the sum. Sums of what
/// lies above stay in order as integers, so that the upper clamp is one of integers, which is the cheaper one.
inline int roundClamped(float v, int top) {
    constexpr std::int32_t kBitsOfZero = 0x4b000000;
    const float sum = (v > 0.0f ? v : 0.0f) + 0x1p23f;
    std::int32_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return (bits < kBitsOfZero + top ? bits : kBitsOfZero + top) - kBitsOfZero;
}
inline int roundClamped(double v, int top) {
    constexpr std::int64_t kBitsOfZero = 0x4330000000000000;
    const double sum = (v > 0.0 ? v : 0.0) + 0x1p52;
    std::int64_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return static_cast<int>((bits < kBitsOfZero + top ? bits : kBitsOfZero + top) - kBitsOfZero);
}

/// `v` rounded and clamped to the range of `Pixel`, `uchar` or `ushort`.
template <class Pixel, class Real>
Pixel sat(Real v) {
    return static_cast<Pixel>(roundClamped(v, std::numeric_limits<Pixel>::max()));
}
inline uchar sat8(float v) { return sat<uchar>(v); }
inline uchar sat8(double v) { return sat<uchar>(v); }
inline ushort sat16(float v) { return sat<ushort>(v); }
inline ushort sat16(double v) { return sat<ushort>(v); }

/// `v` rounded to the nearest integer, ties to even, within +-(2^31 - 1). Where the range is known,
/// `clamp16(nearest(v))` gives `sat16(v)` in two thirds of the time.
inline int nearest(double v) {
    const double sum = v + 0x1.8p52;
    std::int64_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return static_cast<std::int32_t>(bits);
}

/// The same in float, for `v` within +-2^22.
inline int nearestFloat(float v) {
    const float sum = v + 0x1.8p23f;
    std::int32_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return bits - 0x4b400000;
}

}  // namespace kestrova::frame
