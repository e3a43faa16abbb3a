#pragma once

#include <opencv2/core.hpp>

#include <cstddef>

namespace kestrova::frame {

/// Whether the memory spanned by two planes, neither of them empty, has a part in common.
inline bool overlap(const cv::Mat& a, const cv::Mat& b) {
    const auto end = [](const cv::Mat& m) {
        return m.ptr(m.rows - 1) + static_cast<std::size_t>(m.cols) * m.elemSize();
    };
    return a.data < end(b) && b.data < end(a);
}

/// Whether writing a row of `out` may change another row of `in`: they overlap other than row upon row.
inline bool overlapAcrossRows(const cv::Mat& in, const cv::Mat& out) {
    return overlap(in, out) && (in.data != out.data || in.step[0] != out.step[0]);
}

}  // namespace kestrova::frame
