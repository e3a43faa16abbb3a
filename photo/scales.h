#pragma once

#include <memory>
#include <opencv2/core.hpp>

#include "photo/engine.h"
#include "photo/reduced.h"
#include "photo/settings.h"
#include "photo/source.h"

namespace kestrova::photo {

/// A smoothing of luminance as a linear function of it, a Y + b, whose coefficients stand at a reduced size: Y on the
/// scale of 0 to 1. It is read at full size with edges where those of Y are.
struct SmoothModel {
    Reduced slope, offset;
};

/// What is computed once of a photograph to take its luminance apart: luminance = base + 2 (small + medium + large),
/// each detail plane holding half of its part. Not changed once it is made; read by several threads.
struct Scales {
    DetailFilter filter = DetailFilter::guided;
    cv::Mat luminance;   ///< CV_16UC1, of the photograph's size
    cv::Mat small;       ///< CV_16UC1, zero at 32768
    SmoothModel medium;  ///< of luminance without small detail
    SmoothModel large;   ///< of that without medium detail
    Reduced texture[3];  ///< CV_32FC1, of each scale: how much of the detail is no noise, 0 to 1
};

/// The radius of a scale: 1/1000 of the mean side, 5 pixels at 24 megapixels, and four times that a scale.
int radiusOf(int scale, cv::Size picture);

/// Luminance alone; `steps` gets 1 in all.
cv::Mat computeLuminance(const Source& source, Steps& steps);
/// The rest; `steps` gets 2 in all.
std::shared_ptr<const Scales> computeScales(const cv::Mat& luminance, DetailFilter filter, int sourceBits,
                                            Steps& steps);

/// Rectangles of at most 1024 x 512 pixels that cover a picture, always the same ones for its size. Their edges are
/// multiples of 64.
std::vector<cv::Rect> tilesOf(cv::Size picture);

}  // namespace kestrova::photo
