#pragma once

#include <kestrova/kestrova.h>

/// Luminance (CV_16UC1) without its faint gradients: differences between neighbours of less than `threshold`, a part of
/// the full scale, are taken away, and a convolution pyramid puts together what they had added up to.
cv::Mat withoutFaintGradients(const cv::Mat& Y, float threshold);
