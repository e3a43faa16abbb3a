#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/box_moments.h"
#include "kestrova/rows/eight_rows.h"
#include "kestrova/rows/scratch.h"

// The least-squares fit of a plane to its guide in the window of 2r + 1 pixels a side around each pixel, p = a I + b or
// p = a0 I0 + a1 I1 + a2 I2 + b, over CV_32FC1 planes of one size, and the box means of its coefficients: means across,
// rounded to float, then means down. Where the system of three slopes cannot be solved they are 0 and b is the mean of
// p. All is done for up to eight rows at a time. One object serves one thread and a range of columns at a time; only
// the constructors allocate. Internal.

namespace kestrova::filters {

/// The planes of `guide`, then `p`.
std::vector<cv::Mat> guideThen(const std::vector<cv::Mat>& guide, const cv::Mat& p);

/// Where up to eight rows of each coefficient lie: slopes first, b last.
struct CoefficientRows {
    float* rows[4][rows::kRowsAtOnce];
};

/// Rows of the means across of coefficients.
class FittedRows {
public:
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
    /// How many rows from `y` on, all above `end`, are done together.
    int rowsTogether(int y, int end) const noexcept { return m_moments.rowsTogether(y, end); }
    /// Writes so many rows, the row to begin at and those behind it, then the next ones each time.
    void compute(int y, int count, CoefficientRows out) noexcept;

private:
    float m_eps;
    rows::BoxMoments m_moments;
    rows::BoxAxis m_down, m_across;
    rows::BoxSpan m_span;
    int m_first = 0, m_columns = 0;       ///< of means
    rows::Scratch<float> m_coefficients;  ///< of eight rows, turned
    rows::Scratch<double> m_turned;       ///< those of one coefficient, with the columns that are repeated
    rows::Scratch<float> m_unused;        ///< takes the place of rows that are not asked for
    int m_count;
};

/// Slides the column sums of `FittedRows` under up to eight windows of radius `r`, one below the other, and writes
/// their means. `rowAt`, `rows` and `anew` as in `rows::EightWindows`.
template <class RowAt>
void meansDown(rows::FloatColumns& sums, const RowAt& rowAt, int r, int rows, bool anew,
               float* const out[rows::kRowsAtOnce], int n) noexcept {
    using namespace kestrova::rows;
    const int height = 2 * r + 1;
    const double factor = 1 / static_cast<double>(height);
    EightWindows windows(sums, n, rowAt, height, rows, anew);
    const auto slide = [&] {
        eight_rows::slideAndScale(sums.sums(), windows.entering(), windows.leaving(), out, n, factor);
    };
    if (!sums.moveFinite(slide)) windows.slideByRow([&](int i) { box_columns::scale(sums.sums(), factor, out[i], n); });
}

/// Rows of means, across and down. Of the coefficients only the rows under one window are kept.
class GuidedFit {
public:
    /// The window's area, (2r + 1)^2, has 32 bits.
    static bool isRadius(int r) { return r >= 0 && r <= 32767; }
    /// Where the work is divided: sums down the columns begin anew every so many rows. Under narrow windows there are
    /// none, and any number will do.
    static int blockRows(int r) { return std::max(rows::boxBlockRows(2 * r + 1), 64); }

    /// Of a panel's coefficients those under eight windows are kept, and the row that has just left them; and the rows
    /// that are done together with the last one.
    static long long keptRows(int r) { return 2LL * r + 2 * rows::kRowsAtOnce; }

    /// A plane is fitted in panels of so many columns, 2048 at most, swept from top to bottom: the rows that are kept
    /// of a panel's coefficients take 2.5 MiB at most. 0 if panels would be narrow beside the 2r columns more on both
    /// sides that each has to fit.
    static int panelColumns(int cols, int r, std::size_t coefficients) {
        constexpr std::size_t kMostKept = 5 << 19, kMostColumns = 2048;
        const std::size_t keptOfColumn = sizeof(float) * coefficients * static_cast<std::size_t>(keptRows(r));
        const int most = static_cast<int>(std::clamp<std::size_t>(kMostKept / keptOfColumn, 1, kMostColumns));
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
    /// How many rows from `y` on, all above `end`, are done together.
    int rowsTogether(int y, int end) const noexcept;
    /// Writes so many rows of means, the row to begin at and those behind it, then the next ones each time.
    void compute(int y, int count, CoefficientRows out) noexcept;

private:
    float* kept(int k, int y) const noexcept;

    FittedRows m_rows;
    int m_keptRows;
    rows::Scratch<float> m_unused;  ///< takes the place of rows that are not asked for
    rows::Scratch<float> m_kept;
    std::vector<rows::FloatColumns> m_sums;  ///< of each coefficient, down the columns
    int m_columns = 0;
    int m_top = 0;
    int m_next = 0;  ///< the first row of coefficients that is still to come
};

}  // namespace kestrova::filters
