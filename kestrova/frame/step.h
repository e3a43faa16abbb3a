#pragma once

#include <opencv2/core.hpp>

#include <climits>

#include "kestrova/frame/failure.h"

namespace kestrova::frame {

/// The bytes from one row of `plane` to the next, as the primitives take them. Steps of 2^31 bytes and more are a
/// failure.
inline int stepOf(const cv::Mat& plane) {
    if (plane.step[0] > INT_MAX) fail("ERROR - plane - step>INT_MAX");
    return static_cast<int>(plane.step[0]);
}

}  // namespace kestrova::frame
