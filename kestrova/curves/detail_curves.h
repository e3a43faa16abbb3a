#pragma once

#include <opencv2/core/hal/interface.h>

#include <vector>

/// Several curves of `TLut16U::setupLinearThreshold` in one go. Internal.

constexpr int kDetailCurveEntries = 65536;

/// All that a curve depends on: the arguments of `setupLinearThreshold`, then those of `setKRange`.
struct DetailCurve {
    float k, t, baseK, baseT;
    float kMin, kMax;
    int threshold;
    float blurScale;
};

/// Draws the curve into the 65536 entries of `table`, up to but not with the smoothing. Returns the sigma that it is
/// yet to be smoothed with, in 2 steps, or 0 if it is not to be smoothed.
float drawDetailCurve(const DetailCurve& curve, ushort* table);

/// The finished tables of a list of curves, the same bits as `setupLinearThreshold` gives one by one: equal curves are
/// built once and share a table, and the smoothing runs over all tables side by side.
///
///     const DetailCurves curves({shadows, midtones, base});
///     const ushort* shadowTable = curves[0];
class DetailCurves {
public:
    explicit DetailCurves(const std::vector<DetailCurve>& curves);
    /// The 65536 entries of curve `i` of the list.
    const ushort* operator[](int i) const { return m_tables.data() + m_tableOf[i] * kDetailCurveEntries; }

private:
    std::vector<ushort> m_tables;
    std::vector<std::size_t> m_tableOf;
};
