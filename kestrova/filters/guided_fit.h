#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/rows/box_means.h"
#include "kestrova/rows/box_moments.h"

namespace kestrova::filters {

/// The least-squares fit of a plane to its guide in the window around each pixel, p = a I + b or
/// p = a0 I0 + a1 I1 + a2 I2 + b, and the box means of its coefficients, row after row over CV_32FC1 planes of one
/// size. Of the coefficients only the rows under one window are kept. Where the system of three slopes cannot be solved
/// they are 0 and b is the mean of p. One object serves one thread; only the constructor allocates. Internal.
class GuidedFit {
public:
    /// The window's area, (2r + 1)^2, has 32 bits.
    static bool isRadius(int r) { return r >= 0 && r <= 32767; }
    /// Sums down the columns begin anew every so many rows: where the work is divided.
    static int blockRows(int r) { return rows::boxBlockRows(2 * r + 1); }
    /// As many pixels of a row are worked on at a time.
    static constexpr int kStretch = rows::BoxMoments::kStretch;

    /// `guide`: one plane, or three.
    GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, rows::BoxBorder border);

    /// Begins anew at row `y` of means, a whole number of blocks below `top`, from which blocks are counted.
    void begin(int y, int top) noexcept;
    /// Goes to row `y`: the one to begin at, then the next one each time.
    void moveTo(int y) noexcept;
    /// Of n pixels of the row from x on, n <= kStretch: means[k][i] is the mean of slope k at column x + i, and of b
    /// after the slopes.
    const float* const* means(int x, int n) noexcept { return m_smoothed.means(x, n); }

private:
    float* coefficientRow(int k, int y) const;
    void fitRow(int y) noexcept;

    int m_count;  ///< of the coefficients: the slopes, then b
    int m_blockRows;
    float m_eps;
    cv::Size m_fitSize;                       ///< of the planes of coefficients
    int m_keptRows;                           ///< the rows under a window, and the one that has just left it
    std::unique_ptr<float[]> m_coefficients;  ///< so many rows of each coefficient
    rows::BoxMoments m_moments;               ///< what the coefficients are made of
    rows::BoxMoments m_smoothed;              ///< their means
    int m_firstNeeded = 0;                    ///< of the rows of coefficients
    int m_next = 0;                           ///< the first row of coefficients that is still to come
};

}  // namespace kestrova::filters
