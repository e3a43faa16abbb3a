#pragma once

#include <opencv2/core.hpp>

namespace kestrova::photo {

/// Resampling of CV_16UC4 and CV_8UC1 pictures, with a result that does not depend on how much of one is at hand.

/// The first and the last pixel that pixel `at` of a picture reads which is `scale` times smaller (1 or more): Lanczos
/// with three lobes, as wide as a pixel of the result.
int firstTap(int at, double scale);
int lastTap(int at, double scale);

/// Resizes: `area` of the result, from `part` of the picture, which begins at `origin` of it and holds every tap; the
/// picture has `size` pixels, and is continued by its edge.
cv::Mat resizedByTaps(const cv::Mat& part, cv::Point origin, cv::Size size, const cv::Rect& area, double scaleX,
                      double scaleY);

/// The value at (x, y), pixel centres at halves, by a cubic through the 4 x 4 pixels around, written to `out`. `part`
/// is what is at hand of a picture of `size` pixels, which is continued by its edge.
void sampleCubic(const cv::Mat& part, const cv::Rect& place, cv::Size size, double x, double y, void* out);

}  // namespace kestrova::photo
