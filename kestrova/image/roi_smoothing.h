#pragma once

#include <opencv2/core.hpp>

namespace kestrova::image {

/// The low-passed form of `region`, a plane with pixels, before it is reduced by `scale`: one to three box means of a
/// radius that grows with the scale and, from scale 5 on, with the region. `region` stays as it is. Throws "ERROR
/// TPImage::MatRoi - input type" unless its type is `CV_8UC1`, `CV_16UC1` or `CV_32FC1`, and a text for radii above
/// 32767. Internal.
cv::Mat smoothed(const cv::Mat& region, int scale);

}  // namespace kestrova::image
