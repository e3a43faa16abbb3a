#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/primitives/box_means.h"
#include "kestrova/primitives/window.h"

/// What a box mean is taken of: a plane, or the product of two planes.
struct Moment {
    static constexpr int kNone = -1;
    int plane, factor = kNone;
};

enum class BoxBorder {
    kReplicated,  ///< a mean for every pixel, the outermost pixels being repeated
    kInside,      ///< a mean where the window lies inside the planes: 2r pixels fewer each way
};

/// Means over windows of 2r + 1 pixels a side, of several moments of CV_32FC1 planes of one size, in one sweep of their
/// column sums: neither products nor borders are stored. Each mean has the bits that `ippiFilterBox_32f_C1R` gives on
/// the stored product.
class BoxMoments {
public:
    BoxMoments(std::vector<cv::Mat> planes, std::vector<Moment> moments, int r, BoxBorder border);

    /// The size of the planes of means.
    cv::Size size() const { return m_size; }

    /// Calls `use(y, x, n, means)` for each stretch of at most `kStretch` pixels, on any thread: means[k][i] is the
    /// mean of moment k at (y, x + i), i < n.
    template <class Use>
    void sweep(const Use& use) const;

private:
    static constexpr int kStretch = 1024;

    /// What one thread works on.
    struct Scratch {
        std::unique_ptr<double[]> columns;  ///< for each moment the sums of the columns under the windows of a row
        std::unique_ptr<double[]> halves;   ///< two stretches of sums across columns
        std::unique_ptr<float[]> means;     ///< for each moment a stretch
        std::vector<const float*> stretches;
    };

    int windowSide() const { return 2 * m_r + 1; }
    int columnsCovered() const { return m_size.width + 2 * m_r; }
    double* columns(const Scratch& scratch, int moment) const {
        return scratch.columns.get() + static_cast<std::ptrdiff_t>(moment) * columnsCovered();
    }
    Scratch makeScratch() const;
    /// Takes the column sums of a row from those of the row above, or makes them anew.
    void moveColumns(const Scratch& scratch, int y, bool anew) const noexcept;
    void meansAcross(const Scratch& scratch, int x, int n) const noexcept;
    /// Row i counts from the first row of the windows of the first row of means.
    const float* row(int plane, int i) const noexcept;

    std::vector<cv::Mat> m_planes;
    std::vector<Moment> m_moments;
    int m_r;
    BoxBorder m_border;
    cv::Size m_size;
};

template <class Use>
void BoxMoments::sweep(const Use& use) const {
    static_assert(noexcept(use(0, 0, 0, nullptr)), "no throw may cross the boundary of a parallel region");
    const int block = boxBlockRows(windowSide());
    const Strips strips({m_size.width, m_size.height}, block);
    std::vector<Scratch> scratches;
    for (int s = 0; s < strips.count(); ++s) scratches.push_back(makeScratch());
    parallelStrips(strips.count(), strips.count(), [&](int s, int, int) noexcept {
        const Scratch& scratch = scratches[static_cast<std::size_t>(s)];
        for (int y = strips.first(s); y < strips.end(s); ++y) {
            moveColumns(scratch, y, y % block == 0);
            for (int x = 0; x < m_size.width; x += kStretch) {
                const int n = std::min(kStretch, m_size.width - x);
                meansAcross(scratch, x, n);
                use(y, x, n, scratch.stretches.data());
            }
        }
    });
}
