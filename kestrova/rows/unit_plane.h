#pragma once

#include <opencv2/core.hpp>

// Planes on the scale 0..1. Internal.

namespace kestrova::rows {

/// Whether the pixels of `plane` have a scale from 0 to 1: `CV_8UC1` and `CV_16UC1`.
inline bool hasUnitScale(const cv::Mat& plane) { return plane.type() == CV_8UC1 || plane.type() == CV_16UC1; }

/// The plane as `CV_32FC1` on the scale 0..1, with the bits of `cv::Mat::convertTo`; zeros for types without that
/// scale.
cv::Mat unitPlane(const cv::Mat& plane);

}  // namespace kestrova::rows
