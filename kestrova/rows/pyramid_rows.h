#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace kestrova::rows {

/// The sums 1 6 1 down the columns for an even row of a plane enlarged by a step of the Gaussian pyramid. Pixels may
/// have several channels side by side.
void sumEvenRow(const ushort* above, const ushort* centre, const ushort* below, int* sums, int n) noexcept;
/// The sums 4 4 for an odd row.
void sumOddRow(const ushort* above, const ushort* below, int* sums, int n) noexcept;

/// The last row of `in` enlarged to an odd number of rows; an additional column is a copy of the one before. A row more
/// than twice as many repeats the last even one. Where there is a row less, OpenCV writes the odd row that would follow
/// over the even one, four elements at a time, and then the even one over the one to three elements that are left: this
/// is what the 128-bit vectors of its baseline do, of the pixels of integers that it enlarges.
cv::Mat lastOddRow(const cv::Mat& in, cv::Size out);

/// A 16-bit plane enlarged by a step of the Gaussian pyramid, row by row: what `cv::pyrUp` gives, an additional column
/// being a copy of the one before. Internal.
///
/// Zeros are put between the pixels, and the filter 1 4 6 4 1 over 8 goes over rows and columns; over 8, not 16, since
/// half of what it covers is zero. Where zeros fall, nothing is added: an even row or column is 1 6 1 over 8 of the
/// nearest three pixels, an odd one 4 4 over 8 of the nearest two. At the edges, the second row or column stands before
/// the first one, and the last one is repeated after itself. The last row of an odd number is `lastOddRow`. One
/// object serves one thread; `forEachStrip` gets a copy for each.
class PyramidRows {
public:
    /// Whether `in` can be enlarged to `out` row by row: pixels of 16 bits, and sizes that make a step.
    static bool fit(const cv::Mat& in, const cv::Mat& out);
    /// Fails as `upSize2X` does if `out` is empty or one of the planes is not `CV_16UC1`; throws OpenCV's exception if
    /// the sizes are not those of a step.
    static void check(const cv::Mat& in, const cv::Mat& out);
    /// Enlarges the whole of a plane; the planes are checked.
    static void enlarge(const cv::Mat& in, cv::Mat& out);

    /// The planes are checked; `out` is the size of the enlarged one.
    PyramidRows(const cv::Mat& in, cv::Size out);

    /// Writes row `y` of the enlarged plane.
    void compute(int y, ushort* out) noexcept;

private:
    cv::Mat m_in, m_lastRow;
    cv::Size m_out;
    std::vector<int> m_column;  // sums down the columns, with one more column at either side
};

}  // namespace kestrova::rows
