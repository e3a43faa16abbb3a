#pragma once

#include <kestrova/kestrova.h>

/// The chroma planes of a picture at full size (CV_16UC1, zero at 32768), Dr first.
struct Chroma {
    cv::Mat dr, db;
};

/// As the detail engine takes it up from the half-size planes: enlarged along the edges of luminance.
Chroma enlargedChroma(const TPImage& picture);

/// The same, then smoothed by the domain transform, as every view is rendered from.
Chroma smoothedChroma(const TPImage& picture);
