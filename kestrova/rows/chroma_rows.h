#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <vector>

namespace kestrova::rows {

/// The enlarging of `upSize2XGuidedByYSimple` row by row, for one or more planes under one guide.
///
/// The new pixels form a checkerboard at each of two levels. Those at even rows and columns are the low plane's own. A
/// *diagonal* cell, at an odd row and column, takes the value of one of its four diagonal neighbours; then a *cross*
/// cell, of mixed parity, that of one of its four direct neighbours. In planes of half the width:
///
///     row 2k      low[k][0]    cross        low[k][1]    cross
///     row 2k + 1  cross        diagonal[k][0]   cross    diagonal[k][1]
///
/// So row 2k + 1 needs the low rows k and k + 1 and the diagonals k, row 2k the diagonals k - 1 and k: a window of two
/// rows each, which fills itself from whatever row comes next. One object serves one thread. Internal.
class ChromaRows {
public:
    /// Fails unless guide and planes are `CV_16UC1` and the planes have half the guide's size, rounded up, or more. A
    /// guide without pixels asks nothing.
    static void check(const cv::Mat& guide, const std::vector<cv::Mat>& lows);

    /// The planes are checked.
    ChromaRows(const cv::Mat& guide, const std::vector<cv::Mat>& lows);
    ChromaRows(ChromaRows&&) = default;

    /// Writes row `y` of each plane p to `out[p]`; cheap if the row before was the last one.
    void compute(int y, ushort* const out[]) noexcept;

    /// The columns of a row of a plane, even and odd ones apart.
    struct Halves {
        const ushort *even, *odd;
    };
    /// Whether rows of a plane under this guide have halves.
    static bool hasHalves(const cv::Mat& guide) { return guide.rows > 2; }
    /// `compute`, as far as the inner columns are concerned: the first column and the last are left open, which repeat
    /// their inner neighbours. What `halves[p]` points to lasts until the next row is computed.
    void computeHalves(int y, Halves halves[]) noexcept;

private:
    // Rows 2k and 2k + 1 of the guide, their even and odd columns apart, each with what the planes hold there: the low
    // row k at the even columns of row 2k, the diagonals k at the odd columns of row 2k + 1.
    struct Row {
        int k = -1;
        ushort* guideEven;
        ushort* guideOdd;
        std::vector<ushort*> values;
    };

    ushort* takeRow();
    Row newRow();
    void split(Row& row, int y) noexcept;
    const Row& lowRow(int k) noexcept;
    const Row& diagonalRow(int k) noexcept;
    void evenRow(int k, Halves halves[]) noexcept;
    void oddRow(int k, Halves halves[]) noexcept;
    void repeatLastRow(ushort* const out[]) const noexcept;

    cv::Mat m_guide;
    std::vector<cv::Mat> m_lows;
    int m_n;      // columns of half the width, rounded up
    int m_cells;  // cells of a row that are chosen: those beyond it fill the last vector, and nobody reads them
    std::vector<ushort> m_scratch;
    ushort* m_free;
    std::array<Row, 2> m_low, m_diagonal;  // row k in slot k % 2
    std::vector<ushort*> m_cross;          // the cross cells of a row, for each plane
    std::vector<Halves> m_halves;
};

}  // namespace kestrova::rows
