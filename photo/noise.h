#pragma once

#include <opencv2/core.hpp>

namespace kestrova::photo {

/// What is noise in a scale of detail, from the energy of its cells (mean squares of luminance, white being 1) and
/// their mean luminance.
struct NoiseMeasure {
    cv::Mat texture;  ///< CV_32FC1, a cell each: how much of its detail is no noise, 0 to 1
    float mean = 0;   ///< mean standard deviation of the noise, white being 1
};

/// Noise is the same all over, in each tonal zone; whatever else there is comes on top. So the quiet cells of each of
/// 16 zones of luminance, the lowest tenth, say how strong it is there, within what cameras do. A cell counts as
/// texture from 1.5 times that on, in full from 2.2 times.
NoiseMeasure measureNoise(const cv::Mat& energy, const cv::Mat& level, int scale, int sourceBits);

}  // namespace kestrova::photo
