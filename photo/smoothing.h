#pragma once

#include <opencv2/core.hpp>

#include "photo/engine.h"
#include "photo/settings.h"

namespace kestrova::photo {

/// Smooths a part of a luminance plane with its edges kept, so that parts fit each other exactly: by a guided filter or
/// on a bilateral grid. Pixels nearer to the part's border than `margin`, other than to the picture's, are not right.
class TileSmoother {
public:
    /// `amplitude`: what is detail rather than an edge, in parts of white.
    TileSmoother(bool bilateral, int radius, float amplitude);

    int margin() const;
    /// `Y`: CV_16UC1, the part that begins at `origin` of the picture; a new plane.
    cv::Mat smoothed(const cv::Mat& Y, cv::Point origin) const;

private:
    cv::Mat guided(const cv::Mat& Y) const;
    cv::Mat onGrid(const cv::Mat& Y, cv::Point origin) const;

    bool m_bilateral;
    int m_radius;
    float m_amplitude;
};

/// A smoothing of a plane (CV_32FC1, 0 to 1) as slope x plane + offset.
struct Model {
    cv::Mat slope, offset;
};

/// The filter that takes a scale apart under the chosen one: 1 medium, 2 large.
DetailFilter filterFor(DetailFilter chosen, int scale);

/// The smoothing of a reduced plane by `filter`, as a model: that of the guided filter, or the plane plus what another
/// filter has changed.
Model modelOf(const cv::Mat& plane, DetailFilter filter, int radius, float amplitude, Steps& steps);

}  // namespace kestrova::photo
