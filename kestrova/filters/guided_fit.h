#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kestrova/rows/box_across.h"
#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/box_moments.h"
#include "kestrova/rows/scratch.h"

// The least-squares fit of a plane to its guide in the window of 2r + 1 pixels a side around each pixel, p = a I + b or
// p = a0 I0 + a1 I1 + a2 I2 + b, over CV_32FC1 planes of one size, and the box means of its coefficients: sums across,
// rounded to float, then means down; under windows that are wider than 129, means across and down. Where the system of
// three slopes cannot be solved they are 0 and b is the mean of p. One object serves one thread and a range of columns
// at a time; only the constructors allocate. Internal.

namespace kestrova::filters {

/// The planes of `guide`, then `p`.
std::vector<cv::Mat> guideThen(const std::vector<cv::Mat>& guide, const cv::Mat& p);

/// Rows of coefficients: the sums across of each slope and, last, of b, or their means.
class FittedRows {
public:
    /// What makes means of sums of these rows down a window.
    static rows::MeanOfFloats meanDown(int r) {
        const int side = 2 * r + 1;
        return rows::MeanOfFloats(rows::boxArea(r <= kLargestRadiusInFloat ? side : 1, side));
    }

    /// `guide`: one plane, or three. At most `columns` columns of means at a time.
    FittedRows(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, rows::BoxBorder border,
               int columns);

    int count() const { return m_count; }
    /// Where the windows of the means lie among the coefficients.
    rows::BoxAxis down() const { return m_down; }

    /// Takes up the columns [first, end) of means.
    void span(int first, int end) noexcept;
    /// Begins anew at row `y` of coefficients; blocks of rows are counted from row `top`.
    void begin(int y, int top) noexcept;
    /// Begins anew below a row of coefficients of whose moments the sums of the columns are given.
    void begin(int top, const rows::Scratch<double>& sumsAbove) noexcept;
    /// Writes row `y` of coefficient k to `out[k]`: the row to begin at, then the next one each time.
    void compute(int y, float* const out[]) noexcept;

private:
    static constexpr int kLargestRadiusInFloat = 64;

    void sumOrMeanAcross(const float* coefficients, float* out) noexcept;

    float m_eps;
    rows::BoxMoments m_moments;
    rows::BoxAxis m_down, m_across;
    rows::BoxSpan m_span;
    int m_first = 0, m_columns = 0;       ///< of means
    rows::Scratch<float> m_coefficients;  ///< of a row, with margins
    rows::Scratch<float> m_halves;        ///< two rows for sums across
    rows::Scratch<double> m_wide;         ///< a row of coefficients and two for sums across, where they are in double
    int m_count;
};

/// Slides sums of `FittedRows` under windows of radius `r` and writes the means: `rowAt` and `anew` as in
/// `FloatColumns::moveTo`.
template <class RowAt>
void meansDown(rows::FloatColumns& sums, const RowAt& rowAt, int r, bool anew, float* out, int n) noexcept {
    const rows::MeanOfFloats mean = FittedRows::meanDown(r);
    const int height = 2 * r + 1;
    if (!anew && sums.finite()) {
        const rows::box_columns::SlidingColumns stream{sums.sums(), rowAt(height - 1).values, rowAt(-1).values};
        if (!rows::box_columns::slideAndFinish(stream, out, n, mean)) return;
        sums.mend(rowAt, height);
    } else {
        sums.moveTo(rowAt, height, anew);
    }
    rows::sumAcross<double>(sums.sums(), 1, nullptr, nullptr, out, n, mean);
}

/// Rows of means, across and down. Of the coefficients only the rows under one window are kept.
class GuidedFit {
public:
    /// The window's area, (2r + 1)^2, has 32 bits.
    static bool isRadius(int r) { return r >= 0 && r <= 32767; }
    /// Sums down the columns begin anew every so many rows: where the work is divided.
    static int blockRows(int r) { return rows::boxBlockRows(2 * r + 1); }

    /// A plane is fitted in panels of so many columns, swept from top to bottom: the rows that are kept of a panel's
    /// coefficients take 2.5 MiB at most. 0 if panels would be narrow beside the 2r columns more on both sides that
    /// each has to fit.
    static int panelColumns(int cols, int r, std::size_t coefficients) {
        constexpr std::size_t kMostKept = 5 << 19;
        const std::size_t keptOfColumn = sizeof(float) * coefficients * (2 * static_cast<std::size_t>(r) + 2);
        const int most = static_cast<int>(std::max<std::size_t>(kMostKept / keptOfColumn, 1));
        const int panels = (cols - 1) / most + 1, columns = (cols - 1) / panels + 1;
        return panels > 1 && columns < 28 * r ? 0 : columns;
    }

    /// As `FittedRows`.
    GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, rows::BoxBorder border,
              int columns);

    int count() const { return m_rows.count(); }
    void span(int first, int end) noexcept;
    /// Begins anew at row `y` of means, a whole number of blocks below `top`, from which blocks are counted.
    void begin(int y, int top) noexcept;
    /// Writes row `y` of the means of coefficient k to `out[k]`: the row to begin at, then the next one each time.
    void compute(int y, float* const out[]) noexcept;

private:
    float* kept(int k, int y) const noexcept;

    FittedRows m_rows;
    int m_keptRows;  ///< the rows under a window, and the one that has just left it
    rows::Scratch<float> m_kept;
    std::vector<rows::FloatColumns> m_sums;  ///< of each coefficient, down the columns
    int m_columns = 0;
    int m_top = 0;
    int m_next = 0;  ///< the first row of coefficients that is still to come
};

}  // namespace kestrova::filters
