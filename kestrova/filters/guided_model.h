#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace kestrova::filters {

/// Writes the means of the coefficients of a `GuidedFit` with repeated borders to `model`, CV_32FC1 planes of the size
/// of `p` that share no pixels with the others: the slopes, then b. Throws `std::bad_alloc` before it writes. Internal.
void fitModel(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, std::vector<cv::Mat>& model);

}  // namespace kestrova::filters
