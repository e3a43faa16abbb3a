#pragma once

#include <kestrova/kestrova.h>

/// A luminance plane taken apart: what the detail engine renders from. All planes are CV_16UC1 of the picture's size.
/// A detail plane holds half of the luminance difference that it stands for, zero at 32768, so that at every pixel
/// luminance = base + 2 (small + medium + large - 3 x 32768), exactly.
struct DetailPlanes {
    cv::Mat base;
    cv::Mat small;
    cv::Mat medium;
    cv::Mat large;
};

/// The edge-aware filters that take luminance apart. Edges stay in the base whatever the filter: what they leave in a
/// detail plane would become a halo.
enum class DetailFilter {
    guided,     ///< guided filters, the large ones at a reduced size
    bilateral,  ///< bilateral grids for the small and the medium scale, as `guided` for the large one
    laplacian,  ///< as `guided` for the small and the medium scale, a local Laplacian filter for the large one
    wls,        ///< weighted least squares; pictures of up to 4 megapixels
};

/// Takes the luminance Y (CV_16UC1) apart. The scales follow the size of the picture: what is small detail in it stays
/// small detail when the same picture comes at twice the resolution. Cancels through `progress`; throws Refusal for a
/// picture that is too large for `wls`.
DetailPlanes computeDetailPlanes(const cv::Mat& Y, DetailFilter filter, TProgress& progress);
