#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/box_moments.h"
#include "kestrova/rows/window.h"

namespace kestrova::filters {

/// The least-squares fit of a plane to its guide in the window around each pixel, p = a I + b or
/// p = a0 I0 + a1 I1 + a2 I2 + b, and the box means of its coefficients, in one sweep over CV_32FC1 planes of one size:
/// of the coefficients only the rows under one window are kept. Where the system of three slopes cannot be solved they
/// are 0 and b is the mean of p.
class GuidedFit {
public:
    /// The window's area, (2r + 1)^2, has 32 bits.
    static bool isRadius(int r) { return r >= 0 && r <= 32767; }

    /// `guide`: one plane, or three. Allocates all that `sweep` works on.
    GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, rows::BoxBorder border);

    /// The size of the planes of means.
    cv::Size size() const;

    /// Calls `use(y, x, n, means)` for each stretch of pixels, on any thread: means[k][i], i < n, is the mean of slope
    /// k at (y, x + i), and of b after the slopes.
    template <class Use>
    void sweep(const Use& use);

private:
    /// What one thread works on.
    struct Worker {
        rows::BoxMoments moments;
        std::unique_ptr<float[]> coefficients;  ///< `m_keptRows` rows of each coefficient
        rows::BoxMoments smoothed;
        int next = 0;  ///< the first row of coefficients that has not been made
    };

    int coefficientCount() const { return static_cast<int>(m_planes.size()); }
    Worker makeWorker() const;
    float* coefficientRow(const Worker& worker, int k, int y) const;
    /// Makes the rows of coefficients up to `last`; of those above `first` none will be needed.
    void makeCoefficients(Worker& worker, int first, int last) const noexcept;

    std::vector<cv::Mat> m_planes;  ///< the guide's, then p
    int m_r;
    float m_eps;
    rows::BoxBorder m_border;
    cv::Size m_fitSize;  ///< of the planes of coefficients
    int m_keptRows;      ///< the rows of coefficients under a window, and the one that has just left it
    int m_blockRows;     ///< column sums of coefficients begin anew every so many rows
    rows::Strips m_strips;
    std::vector<Worker> m_workers;  ///< one a strip
};

template <class Use>
void GuidedFit::sweep(const Use& use) {
    static_assert(noexcept(use(0, 0, 0, nullptr)), "no throw may cross the boundary of a parallel region");
    frame::parallelStrips(m_strips.count(), m_strips.count(), [&](int s, int, int) noexcept {
        Worker& worker = m_workers[static_cast<std::size_t>(s)];
        rows::BoxMoments& smoothed = worker.smoothed;
        const int first = smoothed.firstRowUnder(m_strips.first(s));
        worker.next = first / m_blockRows * m_blockRows;
        for (int y = m_strips.first(s); y < m_strips.end(s); ++y) {
            makeCoefficients(worker, first, smoothed.lastRowUnder(y));
            smoothed.moveTo(y);
            smoothed.eachStretch([&](int x, int n, const float* const* means) noexcept { use(y, x, n, means); });
        }
    });
}

}  // namespace kestrova::filters
