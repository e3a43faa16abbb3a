#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/filters/box_moments.h"

/// The least-squares fit of a plane to its guide in the window around each pixel: CV_32FC1 planes of one size in, the
/// coefficients before their box means out.
namespace guided_fit {

/// The window's area, (2r + 1)^2, has 32 bits.
inline bool isRadius(int r) { return r >= 0 && r <= 32767; }

/// {a, b} of p = a I + b
std::vector<cv::Mat> oneGuide(const cv::Mat& I, const cv::Mat& p, int r, float eps, BoxBorder border);

/// {a0, a1, a2, b} of p = a0 I0 + a1 I1 + a2 I2 + b, with replicated borders. Where the system cannot be solved the
/// slopes are 0 and b is the mean of p.
std::vector<cv::Mat> threeGuides(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps);

}  // namespace guided_fit
