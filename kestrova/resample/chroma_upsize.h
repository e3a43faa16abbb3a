#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// Enlarges the plane `low` by 2 to the size of `guide`: each new pixel is the copy of that neighbour whose guide value
/// is nearest its own, the first of equals, so that edges of colour follow edges of luminance. The outermost rows and
/// columns repeat their inner neighbours; a picture of fewer than three rows repeats the last row of `low`.
///
/// `guide` and `low` are `CV_16UC1` of any values; `low` has at least half the size of `guide`, rounded up. Of a larger
/// one its own last row stands for the guide's last row, and its own last column for the last one of an odd width: this
/// is intentional. `out` is made `CV_16UC1` of the size of `guide` unless it is already; it may be, or overlap, either
/// of the inputs. A guide without pixels gives an empty `out`.
///
/// Throws, with `out` as it was, "ERROR - upSize2XGuidedByYSimple - guide.type()!=CV_16UC1",
/// "ERROR - upSize2XGuidedByYSimple - low.type()!=CV_16UC1",
/// "ERROR - upSize2XGuidedByYSimple - low is smaller than half of guide",
/// "ERROR - upSize2XGuidedByYSimple - not enough memory", and "ERROR - plane - dims>2" for three dimensions.
KESTROVA_EXPORT void upSize2XGuidedByYSimple(cv::Mat guide, const cv::Mat& low, cv::Mat& out);
