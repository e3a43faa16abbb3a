#pragma once

#include <opencv2/core.hpp>

namespace kestrova::photo {

/// What a scale of detail is like in cells of some pixels. CV_32FC1, white being 1.
struct CellEnergies {
    cv::Mat detail;  ///< mean squares of the detail
    cv::Mat bends;   ///< mean squares of how luminance bends at this scale, taken as detail or not; may be empty
    cv::Mat level;   ///< mean luminance
};

/// Noise is the same all over, in each tonal zone; whatever else there is comes on top. So the quiet cells of each of
/// 16 zones of luminance, the lowest tenth, say how strong it is there, within what cameras do. A cell counts as
/// texture from 1.2 times that on, in full from 1.6 times, in its detail or in its bends. Returns how much of each
/// cell's detail is no noise, 0 to 1: CV_32FC1.
cv::Mat measureTexture(const CellEnergies& cells, int scale, int sourceBits);

}  // namespace kestrova::photo
