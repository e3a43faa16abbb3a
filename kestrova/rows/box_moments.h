#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/scratch.h"

namespace kestrova::rows {

/// What a box mean is taken of: a plane, or the product of two planes. Planes are named by their number.
struct Moment {
    static constexpr int kNone = -1;
    int plane = kNone, factor = kNone;
};

enum class BoxBorder {
    kReplicated,  ///< a mean for every pixel, the outermost pixels being repeated
    kInside,      ///< a mean where the window lies inside the planes: 2r pixels fewer each way
};

/// The rows of a plane, or the latest `kept` of them, each in the place of the one that many rows above.
struct KeptRows {
    const float* first;
    std::ptrdiff_t step;  ///< in elements
    int kept;

    const float* row(int y) const { return first + step * (y % kept); }
};

/// Means over windows of 2r + 1 pixels a side, of several moments of planes of one size, row by row from one sweep of
/// their column sums: neither products nor borders are stored. Each mean has the bits that `ippiFilterBox_32f_C1R`
/// gives on the stored product. The constructor takes all memory and throws `std::bad_alloc`. Internal.
class BoxMoments {
public:
    BoxMoments(std::vector<KeptRows> planes, cv::Size planeSize, std::vector<Moment> moments, int r, BoxBorder border);

    /// The size of the planes of means.
    cv::Size size() const { return m_size; }
    /// The first and the last row of the planes under the windows of row `y` of means.
    int firstRowUnder(int y) const { return planeRow(y); }
    int lastRowUnder(int y) const { return planeRow(y + 2 * m_r); }

    /// Blocks of `boxBlockRows` rows, at whose first rows the column sums begin anew, are counted from row `top` of
    /// means on.
    void countBlocksFrom(int top) noexcept { m_top = top; }
    /// Takes the column sums to row `y` of means: the one after the row before, or the first of a block.
    void moveTo(int y) noexcept;
    /// Of n pixels of that row from column x on, n <= kStretch and x a multiple of it: means[k][i] is the mean of
    /// moment k at column x + i.
    const float* const* means(int x, int n) noexcept;

    /// So many columns at a time: their sums stay in the first-level cache.
    static constexpr int kStretch = 1024;

private:
    int side() const { return 2 * m_r + 1; }
    int margin() const { return (m_size.width + 2 * m_r - m_planeSize.width) / 2; }
    /// The row of the planes at row `i` of what all windows cover.
    int planeRow(int i) const;
    const float* row(int plane, int i) const { return m_planes[static_cast<std::size_t>(plane)].row(planeRow(i)); }
    void moveColumns(Moment moment, FloatColumns& columns, int y) const noexcept;

    std::vector<KeptRows> m_planes;
    cv::Size m_planeSize;
    std::vector<Moment> m_moments;
    int m_r;
    BoxBorder m_border;
    cv::Size m_size;
    int m_top = 0;                        ///< the first row of a block
    std::vector<FloatColumns> m_columns;  ///< for each moment the sums of the columns under the windows of a row
    Scratch<double> m_halves;             ///< two rows for sums across
    Scratch<float> m_means;               ///< for each moment a stretch
    std::vector<const float*> m_stretches;
};

}  // namespace kestrova::rows
