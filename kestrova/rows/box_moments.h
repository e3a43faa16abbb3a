#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_span.h"
#include "kestrova/rows/scratch.h"

namespace kestrova::rows {

/// Means over windows of 2r + 1 pixels a side, of planes of one size, eight rows at a time, from one sweep of their
/// column sums: neither products nor borders are stored. Of each plane but the last, in turn, there are its own mean
/// and those of its products with itself and with each plane behind it; then comes the mean of the last plane. The
/// constructor takes all memory and throws `std::bad_alloc`. Internal.
class BoxMoments {
public:
    /// The number of means of so many planes.
    static constexpr int count(int planes) { return planes * (planes + 3) / 2 - 1; }

    /// An object that gives column sums alone takes less memory: `moveTo` is all it is asked for.
    enum class Give { kMeans, kColumnSums };
    /// CV_32FC1 planes, two or four, and where windows lie on them; at most `columns` columns of means at a time.
    BoxMoments(std::vector<cv::Mat> planes, const BoxAxis& down, const BoxAxis& across, int columns,
               Give give = Give::kMeans);

    BoxAxis down() const { return m_down; }
    BoxAxis across() const { return m_across; }

    /// Takes up the columns [first, end) of means.
    void span(int first, int end) noexcept;
    /// Blocks of `boxBlockRows` rows, at whose first rows the column sums begin anew, are counted from row `top` of
    /// means on.
    void countBlocksFrom(int top) noexcept { m_top = top; }
    /// How many rows from `y` on, all above `end`, are done together: up to `kRowsAtOnce`, of one block.
    int rowsTogether(int y, int end) const noexcept;
    /// Takes the column sums to the last of `rows` rows of means from `y` on, the first of which is the one after the
    /// row before or the first of a block.
    void moveTo(int y, int rows) noexcept;
    /// The same, and gives the means of these rows: means[k][8 x + i] is mean k at column x of the span and row y + i.
    const float* const* means(int y, int rows) noexcept;

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
    template <bool kMeans>
    void move(int y, int rows) noexcept;
    /// Moves the sums of mean `k`: `rowAt(i)` is row i under the window of the first of the rows, a `ValueRow` or a
    /// `ProductRow`, and `prefetchNext(first, end)` asks for these columns of the rows after them. If `anew`, the sums
    /// may be those of any row before.
    template <bool kMeans, class RowAt, class PrefetchNext>
    void moveMean(std::size_t k, int rows, bool anew, const RowAt& rowAt, const PrefetchNext& prefetchNext) noexcept;

    std::vector<cv::Mat> m_planes;
    BoxAxis m_down, m_across;
    BoxSpan m_span;
    int m_first = 0, m_count = 0;         ///< columns of means of the span
    int m_top = 0;                        ///< the first row of a block
    std::vector<FloatColumns> m_columns;  ///< for each mean the sums of the columns under the windows of a row
    Scratch<double> m_turned;             ///< the sums of the columns of one mean under the windows of eight rows
    Scratch<float> m_means;
    std::vector<const float*> m_meanRows;
};

}  // namespace kestrova::rows
