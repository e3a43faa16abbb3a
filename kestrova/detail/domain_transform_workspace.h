#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/pair_smoothing.h"

/// What a filter keeps from call to call. Internal.
struct DomainTransformFilter::Workspace {
    cv::Mat dH, dV;  ///< distances along rows and columns
    cv::Mat V;       ///< weights of a pass

    // Of filterPair.
    kestrova::detail::domain_transform::WeightTables tables;  ///< weights by the sum of differences, empty at first
    std::vector<kestrova::detail::domain_transform::PairSmoothing> smoothings;  ///< of the blocks filtered at once
    std::vector<kestrova::detail::domain_transform::PairScratch> scratch;       ///< of each thread

    /// Makes the distances of an image of floats: 1 + `ratio` times the differences of neighbours.
    void measure(const cv::Mat& in, float ratio);
    /// Makes the weight tables.
    void makeTables(float sigmaS, float ratio);
    /// Provides for `atOnce` blocks of that size, filtered at once by `workers` threads.
    void provideForBlocks(cv::Size block, int atOnce, int workers);
};
