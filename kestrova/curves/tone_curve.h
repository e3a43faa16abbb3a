#pragma once

#include <algorithm>

class TSpline;

// Tone curves: a function of 0..1 by its values at evenly spaced nodes, read linearly between them. Internal.

namespace kestrova::curves {

/// Node i stands at i / (`kToneNodes` - 1).
constexpr int kToneNodes = 64;

/// The spline of five control points at the nodes, clamped to 0..1: 0 before its first control point, 1 beyond its
/// last.
void sampleToneCurve(const TSpline& spline, float* curve);

/// The curve between the nodes, at 0 <= `position` < 64; beyond the last node it keeps the value there.
inline float toneAt(const float* curve, float position) {
    const int i = static_cast<int>(position);
    const float next = curve[std::min(i + 1, kToneNodes - 1)];
    return (static_cast<float>(i + 1) - position) * curve[i] + (position - static_cast<float>(i)) * next;
}

}  // namespace kestrova::curves
