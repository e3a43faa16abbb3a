#pragma once

#include <opencv2/core.hpp>

namespace kestrova::image {

/// The rectangle (x, y, w scale, h scale) of `in`, cut off at its right and its bottom edge, as a header on the pixels
/// of `in`. A rectangle that starts outside or has a negative side, and a scale below 1, is a failure; an empty one may
/// start right at the edge. Internal.
cv::Mat regionOf(const cv::Mat& in, int x, int y, int w, int h, int scale);

}  // namespace kestrova::image
