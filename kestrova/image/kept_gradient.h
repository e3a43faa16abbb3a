#pragma once

#include <opencv2/core.hpp>

namespace kestrova::image {

/// How much of a plane's gradients a change has kept. Internal.
///
/// At each pixel a = (smooth(grad after . grad before) + e) / (smooth(|grad before|^2) + e) with forward differences, 0
/// beyond the last column and row, and e = 65535 epsilon; `smooth` is the 5 by 5 Gaussian filter. It is stored in bytes
/// of 6/256, saturated, and smoothed once more.
class KeptGradient {
public:
    /// `before` and `after` are `CV_16UC1` of one size.
    KeptGradient(const cv::Mat& before, const cv::Mat& after, float epsilon);

    /// Row `y` of the plane enlarged by 2, linearly. `out` has room for an even number of pixels, `n` rounded up, and n
    /// is at most one more than twice the columns.
    void enlargedRow(int y, uchar* out, int n) const noexcept;

private:
    cv::Mat m_weight;  // with the last column twice more
    int m_rows;
};

}  // namespace kestrova::image
