#pragma once

#include <opencv2/core.hpp>

namespace kestrova::filters {

/// Where the values of a guide stand along the third axis of a bilateral grid: `alpha` v + `beta`. It is what OpenCV's
/// `convertTo` gives on its baseline path, bit for bit, on every processor: scale, product and sum are each rounded to
/// float, those of a guide in double to double, if the depth is to be a float. On processors that have it, OpenCV fuses
/// product and sum: a depth then differs by their rounding, half a unit in the last place of the product, and a byte
/// by 1 where that crosses the middle between two. Internal.
class GuideDepths {
public:
    /// `guide`: one channel of any depth. Where a float cannot hold product and sum well enough (large integers, or
    /// floats far from 0 for their span) depths are wrong, but as bytes no larger than `most`.
    GuideDepths(const cv::Mat& guide, double alpha, double beta, int most = 255)
        : m_guide(guide), m_alpha(alpha), m_beta(beta), m_most(most) {}

    /// Of `n` pixels of row `y` from column `x` on, rounded to nearest, ties to even, and clamped to a byte.
    void nearest(int y, int x, int n, uchar* depths) const noexcept;
    /// Of one value of a guide of up to 16 bits, likewise.
    uchar nearestOf(int value) const noexcept;
    /// The largest value up to 65535 whose `nearestOf` is `depth` at most, 0 if there is none; `alpha` is positive.
    int lastValue(int depth) const noexcept;
    /// As they are.
    void exact(int y, int x, int n, float* depths) const noexcept;

private:
    cv::Mat m_guide;
    double m_alpha, m_beta;
    int m_most;
};

}  // namespace kestrova::filters
