#pragma once

#include <opencv2/core.hpp>

namespace kestrova::image {

/// The rectangle (x, y, w scale, h scale) of `in`, cut off at its right and its bottom edge, as a header on the pixels
/// of `in`. A rectangle that starts outside or is turned inside out, and a scale below 1, is a failure. Internal.
cv::Mat regionOf(const cv::Mat& in, int x, int y, int w, int h, int scale);

}  // namespace kestrova::image
