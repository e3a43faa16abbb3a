#pragma once

#include <opencv2/core.hpp>

#include <climits>
#include <vector>

#include "kestrova/frame/failure.h"

// What every operation asks of a plane before it looks at its pixels. Internal.

namespace kestrova::frame {

/// Fails if `plane` is no plane of rows and columns: arrays of three dimensions and more have -1 of each.
inline void checkPlane(const cv::Mat& plane) {
    if (plane.dims > 2) fail("ERROR - plane - dims>2");
    if (plane.rows < 0 || plane.cols < 0) fail("ERROR - plane - rows<0 || cols<0");
}
inline void checkPlanes(const std::vector<cv::Mat>& planes) {
    for (const cv::Mat& plane : planes) checkPlane(plane);
}
template <class... Planes>
void checkPlanes(const Planes&... planes) {
    (checkPlane(planes), ...);
}

/// The bytes from one row of `plane` to the next, as the primitives take them. Fails as `checkPlane`, and for steps of
/// 2^31 bytes and more.
inline int stepOf(const cv::Mat& plane) {
    checkPlane(plane);
    if (plane.step[0] > INT_MAX) fail("ERROR - plane - step>INT_MAX");
    return static_cast<int>(plane.step[0]);
}

}  // namespace kestrova::frame
