#pragma once

#include <memory>

#include "photo/engine.h"
#include "photo/scales.h"
#include "photo/source.h"

namespace kestrova::photo {

/// Chroma without noise of some pixels, and how much of what is there besides is noise.
struct SmoothChroma {
    cv::Mat dr, db;  ///< CV_32FC1, on the scale of the planes
    cv::Mat noise;   ///< CV_32FC1, 0 to 1

    /// The planes with `share` of their noise taken away.
    void apply(float share, const cv::Mat& drIn, const cv::Mat& dbIn, cv::Mat& drOut, cv::Mat& dbOut) const;
};

/// What is computed once of a photograph to take noise out of its colours: chroma smoothed along the edges of
/// luminance, as a model, and where the rest is no noise.
struct ChromaNoise {
    SmoothModel dr, db;  ///< chroma, 0 to 1, as a function of luminance
    Reduced texture;     ///< CV_32FC1: how much of what the smoothing takes away is no noise, 0 to 1

    /// For a chunk that begins at pixel `origin` of the photograph and is `step` of it wide a pixel, with luminance
    /// `Y`.
    SmoothChroma smooth(cv::Point origin, int step, const cv::Mat& Y) const;
};

/// `steps` gets 2 in all.
std::shared_ptr<const ChromaNoise> computeChromaNoise(const Source& source, const cv::Mat& luminance, int sourceBits,
                                                      Steps& steps);

}  // namespace kestrova::photo
