#pragma once

#include <opencv2/core/hal/interface.h>

#include <functional>
#include <memory>
#include <vector>

// The curves of `setupLinearThreshold`, drawn, and several of them in one go. Internal.

namespace kestrova::curves {

/// All that a curve depends on: the arguments of `setupLinearThreshold`, then those of `setKRange`.
struct DetailCurve {
    float k, t, baseK, baseT;
    float kMin, kMax;
    int threshold;
    float blurScale;
};

/// Slope of the line through the middle for K in -1..1: `kMax` at 1, 1 at 0, `kMin` at -1.
inline float lineSlope(float K, float kMin, float kMax) { return (K >= 0 ? kMax - 1.0f : 1.0f - kMin) * K + 1.0f; }

/// Where the line of that slope through (middle, middle) begins.
inline float lineOffset(float slope, int middle) { return (1.0f - slope) * static_cast<float>(middle); }

/// Draws the curve of `TLut8U` into 256 entries: all but the smoothing. Returns the sigma to smooth the table with, in
/// 2 steps, or 0 if it is finished as it is.
float drawDetailCurve(const DetailCurve& curve, uchar* table);
/// The same of the curve of `TLut16U`, into 65536 entries. The two forms differ on purpose, in their ranges and in how
/// they treat dead zones.
float drawDetailCurve(const DetailCurve& curve, ushort* table);

/// The finished 16-bit tables of a list of curves, the same bits as `TLut16U::setupLinearThreshold` gives one by one.
/// Equal curves are built once and share a table, and the smoothing, which is nearly all of the time, runs over several
/// tables side by side: nine curves take little longer than one.
///
///     const DetailCurves curves({base, shadows, midtones});
///     const ushort* shadowTable = curves[1];
class DetailCurves {
public:
    /// `beside`, if there is one, is called on one of the threads that build the tables; it must not throw.
    explicit DetailCurves(const std::vector<DetailCurve>& curves, const std::function<void()>& beside = {});
    /// The 65536 entries of curve `i` of the list.
    const ushort* operator[](int i) const { return m_table[i]; }

private:
    std::unique_ptr<ushort[]> m_entries;
    std::vector<const ushort*> m_table;
};

}  // namespace kestrova::curves
