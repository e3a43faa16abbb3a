#pragma once

#include <memory>

#include "photo/engine.h"
#include "photo/scales.h"
#include "photo/source.h"

namespace kestrova::photo {

/// What is computed once of a photograph to take noise out of its colours: chroma smoothed along the edges of
/// luminance, as a model, and where the rest is no noise.
struct ChromaNoise {
    SmoothModel dr, db;  ///< chroma, 0 to 1, as a function of luminance
    Reduced texture;     ///< CV_32FC1: how much of what the smoothing takes away is no noise, 0 to 1

    /// Chroma planes of a chunk that begins at pixel `origin` of the photograph, each pixel of the chunk `step` of it
    /// wide, with `share` of the noise taken away.
    void smooth(cv::Point origin, int step, float share, const cv::Mat& Y, const cv::Mat& drIn, const cv::Mat& dbIn,
                cv::Mat& drOut, cv::Mat& dbOut) const;
};

/// `steps` gets 2 in all.
std::shared_ptr<const ChromaNoise> computeChromaNoise(const Source& source, const cv::Mat& luminance, int sourceBits,
                                                      Steps& steps);

}  // namespace kestrova::photo
