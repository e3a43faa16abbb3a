#pragma once

#include <opencv2/core.hpp>

namespace kestrova::photo {

/// What a scale of detail is like in cells of some pixels. CV_32FC1, white being 1.
struct CellEnergies {
    cv::Mat detail;       ///< mean squares of the detail
    cv::Mat level;        ///< mean luminance
    cv::Mat bends;        ///< mean squares of how luminance bends at this scale, taken as detail or not; may be empty
    float amplitude = 0;  ///< with bends: what the filter that took the detail starts to take for an edge
};

/// How noise grows towards the corners, where cameras brighten what their lenses darken: at the share r of the way from
/// the middle to a corner it is 1 + falloff r^2 times what it is in the middle. 0 to 1, from small detail.
float measureFalloff(const CellEnergies& cells);

/// Apart from that, noise is the same all over, in each tonal zone; whatever else there is comes on top. So the quiet
/// cells of each of 16 zones of luminance, the lowest tenth, say how strong it is there, within what cameras do.
///
/// A cell alone is texture where its detail, or its bends, are far above that: from 2.2 times on, in full from 3 times;
/// at the larger scales from 1.4 and from 2 times. Where much around it is above twice the noise, it counts from 1.2
/// times on, in full from 1.6 times. So grain that is stronger here and there is not boosted in patches, and texture
/// has no holes. Returns how much of each cell's detail is no noise, 0 to 1: CV_32FC1.
cv::Mat measureTexture(const CellEnergies& cells, float falloff, int scale, int sourceBits);

}  // namespace kestrova::photo
