#pragma once

#include <opencv2/core.hpp>

/// Whether writing a row of `plane` may change another row of `guide`: their memory overlaps other than row by row.
inline bool bRowsMixed(const cv::Mat& plane, const cv::Mat& guide) {
    if (plane.data == guide.data && plane.step[0] == guide.step[0]) return false;
    const auto end = [](const cv::Mat& m) { return m.ptr(m.rows - 1) + m.cols * m.elemSize(); };
    return plane.data < end(guide) && guide.data < end(plane);
}
