#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// Enlarges the plane `low` by 2 to the size of `guide`: each new pixel is the copy of that neighbour whose guide value
/// is nearest its own, the first of equals, so that edges of colour follow edges of luminance. The outermost rows and
/// columns repeat their inner neighbours; a picture of fewer than three rows repeats the last row of `low`.
///
/// `guide` and `low` are `CV_16UC1`, and `low` has at least half the size of `guide`, rounded up; other types and
/// smaller sizes are failures before anything is written. `out` is created as `CV_16UC1` of the size of `guide`; it may
/// be the very object `low`. A guide without pixels gives an empty `out`.
KESTROVA_EXPORT void upSize2XGuidedByYSimple(cv::Mat guide, const cv::Mat& low, cv::Mat& out);
