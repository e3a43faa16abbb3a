#pragma once

#include <kestrova/kestrova.h>

/// The library's edge-aware filters, as a host calls them on luminance: each takes a plane (CV_16UC1) and returns it
/// smoothed, of the same size, with its edges where they were. Amplitudes are parts of the full scale.

/// Guided by the plane itself: a window of 2 radius + 1 pixels whose variance is well above `eps` stays as it is, one
/// well below becomes its mean.
cv::Mat smoothGuided(const cv::Mat& Y, int radius, float eps);

/// The same guided by the colours of the picture: what differs in colour alone counts as an edge, too.
cv::Mat smoothGuidedByColour(const TPImage& picture, int radius, float eps);

/// `smoothGuided` with the model estimated on the plane reduced by `n`, a power of two, and applied at full size: much
/// the same for a radius of many `n`, at a fraction of the work. `radius` counts pixels of the full size.
cv::Mat smoothGuidedReduced(const cv::Mat& Y, int radius, float eps, int n);

/// Averages pixels that are near in place (`sampling` pixels) and alike in luminance (`range`).
cv::Mat smoothBilateral(const cv::Mat& Y, int sampling, float range);

/// Flattens differences of up to `amplitude` to the local level, in `levels` octaves; those of twice that stay. A
/// negative amplitude doubles them instead. `blur` smooths the way from one to the other.
cv::Mat smoothLaplacian(const cv::Mat& Y, float amplitude, float blur, int levels);

/// As smooth as `lambda` says, with the less regard for a difference the larger it is: `alpha`. Throws Refusal for
/// pictures of more than 4 megapixels: the solver needs some 450 bytes a pixel, and its work grows faster than the
/// picture.
cv::Mat smoothLeastSquares(const cv::Mat& Y, float lambda, float alpha);
