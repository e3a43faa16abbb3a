#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/rows/box_span.h"
#include "kestrova/rows/narrow_box.h"
#include "kestrova/rows/scratch.h"

namespace kestrova::filters {

/// A `GuidedFit` under windows so narrow that no sums are kept: what is under a window is added anew for each.
/// Internal.
class NarrowGuidedFit {
public:
    static bool isRadius(int r) { return 2 * r + 1 <= rows::kNarrowSide; }

    NarrowGuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, rows::BoxBorder border,
                    int columns);

    void span(int first, int end) noexcept;
    void begin(int y, int) noexcept { m_next = m_down.inPlane(y); }
    int rowsTogether(int y, int end) const noexcept { return std::min(rows::kRowsAtOnce, end - y); }
    void compute(int y, int count, CoefficientRows out) noexcept;

private:
    static constexpr int kStretch = 128;  ///< what is worked on of so many columns stays in the first-level cache
    static constexpr int kRoom = kStretch + 2 * rows::kNarrowSide + rows::narrow_box::kReadBeyond;

    template <int kSide>
    void computeUnder(int y, int count, CoefficientRows out) noexcept;
    /// Writes means across of the coefficients of `rows` rows from `y` on to the rows that are kept, in the columns
    /// [x, x + n).
    template <int kSide>
    void fit(int y, int rows, int x, int n) noexcept;
    /// Writes the rows of moment `k` that `fit` solves: n columns, the windows of which lie on those of `span`.
    template <int kSide, class Rows>
    void writeMeans(std::size_t k, const Rows& under, const rows::BoxSpan& span, int n) noexcept;
    /// Asks for what the next stretch reads first.
    void prefetchBehind(int y, int x, const rows::BoxSpan& span) const noexcept;

    const float* planeRow(std::size_t plane, int i) const noexcept {
        return m_planes[plane].ptr<float>(m_planeDown.inPlane(i));
    }
    float* kept(std::size_t k, int y) const noexcept;

    std::vector<cv::Mat> m_planes;
    float m_eps;
    rows::BoxAxis m_planeDown, m_planeAcross;  ///< where the windows of the fit lie on the planes
    rows::BoxAxis m_down, m_across;            ///< where those of the means lie on the coefficients
    int m_keptRows;
    rows::Scratch<double> m_sums;   ///< of the columns of a moment, under eight rows
    rows::Scratch<float> m_means;   ///< of the moments, eight rows of each
    rows::Scratch<float> m_fitted;  ///< coefficients, eight rows of each
    rows::Scratch<float> m_unused;  ///< takes the place of rows that are not asked for
    rows::Scratch<float> m_kept;
    int m_first = 0, m_columns = 0;  ///< of means
    int m_next = 0;                  ///< the first row of coefficients that is still to come
};

}  // namespace kestrova::filters
