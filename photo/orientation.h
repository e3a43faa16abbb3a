#pragma once

#include <opencv2/core.hpp>

namespace kestrova::photo {

/// `stored` as it is to be looked at under EXIF's orientation 1 to 8, of 16 bits and four channels; the same pixels for
/// 1 and for values that EXIF does not know.
cv::Mat upright(const cv::Mat& stored, int orientation, int threads);

}  // namespace kestrova::photo
