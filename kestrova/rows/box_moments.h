#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/scratch.h"

namespace kestrova::rows {

enum class BoxBorder {
    kReplicated,  ///< a mean for every pixel, the outermost pixels being repeated
    kInside,      ///< a mean where the window lies inside the planes: 2r pixels fewer each way
};

/// Along one side of planes: where the windows of 2r + 1 pixels lie.
struct BoxAxis {
    int planeLength, r;
    BoxBorder border;

    int side() const { return 2 * r + 1; }
    int length() const { return border == BoxBorder::kInside ? planeLength - 2 * r : planeLength; }
    /// What all windows cover begins so many pixels before the plane.
    int margin() const { return border == BoxBorder::kInside ? 0 : r; }
    /// The pixel of the plane at pixel `i` of what all windows cover: the windows of mean y cover y to y + 2r.
    int inPlane(int i) const {
        const int at = i - margin();
        return at < 0 ? 0 : at < planeLength ? at : planeLength - 1;
    }
};

/// The pixels of a plane under the windows of the means [first, end), and how often the outermost ones are repeated.
struct BoxSpan {
    int first, end;  ///< of the plane
    int before, behind;

    BoxSpan(const BoxAxis& axis, int firstMean, int endMean)
        : first(axis.inPlane(firstMean)),
          end(axis.inPlane(endMean - 1 + 2 * axis.r) + 1),
          before(first + axis.margin() - firstMean),
          behind(endMean + 2 * axis.r - axis.margin() - end) {}
    int count() const { return end - first; }
    /// Gives elements next to `values`, those of the plane, the values of the outermost ones.
    template <class Value>
    void repeatEnds(Value* values) const {
        for (int i = 1; i <= before; ++i) values[-i] = values[0];
        for (int i = 0; i < behind; ++i) values[count() + i] = values[count() - 1];
    }
};

/// Means over windows of 2r + 1 pixels a side, of planes of one size, row by row, from one sweep of their column sums:
/// neither products nor borders are stored. Of each plane but the last, in turn, there are its own mean and those of
/// its products with itself and with each plane behind it; then comes the mean of the last plane. Each mean has the
/// bits that `ippiFilterBox_32f_C1R` gives on the stored product. The constructor takes all memory and throws
/// `std::bad_alloc`. Internal.
class BoxMoments {
public:
    static constexpr int count(int planes) { return planes * (planes + 3) / 2 - 1; }

    /// CV_32FC1 planes, two or four, and where windows lie on them; at most `columns` columns of means at a time.
    BoxMoments(std::vector<cv::Mat> planes, const BoxAxis& down, const BoxAxis& across, int columns);

    BoxAxis down() const { return m_down; }
    BoxAxis across() const { return m_across; }

    /// Takes up the columns [first, end) of means.
    void span(int first, int end) noexcept;
    /// Blocks of `boxBlockRows` rows, at whose first rows the column sums begin anew, are counted from row `top` of
    /// means on.
    void countBlocksFrom(int top) noexcept { m_top = top; }
    /// Takes the column sums to row `y` of means: the one after the row before, or the first of a block.
    void moveTo(int y) noexcept;
    /// Of n means of that row from column `x` of the span on, n <= `stretch()`: means[k][i] is mean k at column x + i.
    const float* const* means(int x, int n) noexcept;
    /// So many columns at a time: what they are worked out from stays in the first-level cache, if windows are narrow.
    int stretch() const { return std::max(1024, 4 * m_across.side()); }

    /// Whether all that is under the windows is finite: then sums of columns may be copied.
    bool finite() const noexcept;
    /// Copies the sums of the columns under the span to the places of these columns in the rows of `all`.
    void copyTo(Scratch<double>& all) const noexcept;
    /// Takes over the sums of another object at the same row.
    void copyFrom(const Scratch<double>& all) noexcept;

private:
    /// Row `i` of what all windows cover.
    const float* row(std::size_t plane, int i) const {
        return m_planes[plane].ptr<float>(m_down.inPlane(i)) + m_span.first;
    }
    template <std::size_t... factors>
    void movePlane(std::size_t plane, int y, bool anew, std::index_sequence<factors...>) noexcept;

    std::vector<cv::Mat> m_planes;
    BoxAxis m_down, m_across;
    BoxSpan m_span;
    int m_first = 0;                      ///< column of means of the span
    int m_top = 0;                        ///< the first row of a block
    std::vector<FloatColumns> m_columns;  ///< for each mean the sums of the columns under the windows of a row
    Scratch<double> m_halves;             ///< two rows for sums across
    Scratch<float> m_means;
    std::vector<const float*> m_meanRows;
};

}  // namespace kestrova::rows
