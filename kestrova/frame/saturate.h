#pragma once

#include <opencv2/core/hal/interface.h>

/// Roundings and clamps of pixel values, written so that a loop of them is vectorised on every instruction set.

inline int clampInt(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }
inline uchar clamp8(int v) { return static_cast<uchar>(clampInt(v, 0, 255)); }
inline ushort clamp16(int v) { return static_cast<ushort>(clampInt(v, 0, 65535)); }

/// `v` clamped to 0..`top` and rounded to the nearest integer, ties to even; not-a-number gives 0. Clamping first gives
/// the same as clamping last, and adding 2^23 (2^52) leaves no bits for a fraction: the adder does the rounding.
inline int roundClamped(float v, float top) {
    v = v > 0.0f ? v : 0.0f;
    v = v < top ? v : top;
    return static_cast<int>((v + 0x1p23f) - 0x1p23f);
}
inline int roundClamped(double v, double top) {
    v = v > 0.0 ? v : 0.0;
    v = v < top ? v : top;
    return static_cast<int>((v + 0x1p52) - 0x1p52);
}

inline uchar sat8(float v) { return static_cast<uchar>(roundClamped(v, 255.0f)); }
inline uchar sat8(double v) { return static_cast<uchar>(roundClamped(v, 255.0)); }
inline ushort sat16(float v) { return static_cast<ushort>(roundClamped(v, 65535.0f)); }
inline ushort sat16(double v) { return static_cast<ushort>(roundClamped(v, 65535.0)); }

/// `v` rounded to the nearest integer, ties to even; |v| is at most 2^22 (float) or 2^31 - 1 (double). Where the range
/// is known, `clamp16(nearest(v))` gives `sat16(v)` at a lower price: its clamp is one of integers.
inline int nearest(float v) { return static_cast<int>((v + 0x1.8p23f) - 0x1.8p23f); }
inline int nearest(double v) { return static_cast<int>((v + 0x1.8p52) - 0x1.8p52); }
