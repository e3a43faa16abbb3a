#include "smoothing.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "refusal.h"

namespace {

//! [scale]
constexpr double kFullScale = 65535;

cv::Mat toFloat(const cv::Mat& plane) {
    cv::Mat out;
    plane.convertTo(out, CV_32F, 1 / kFullScale);
    return out;
}

cv::Mat to16Bits(const cv::Mat& plane) {
    cv::Mat out;
    plane.convertTo(out, CV_16U, kFullScale);
    return out;
}
//! [scale]

/// A guided filter whose model may be smaller than the plane that it is applied to. `proc` gives each cell of the model
/// a block of pixels, whose seams a strong detail setting would show; here the cells are interpolated.
class SmoothModel : public TGuidedFilter {
public:
    cv::Mat appliedTo(const cv::Mat& plane) {
        cv::Mat out;
        gFc1_apply(toFloat(plane), out);
        return to16Bits(out);
    }
};

/// The plane continued to the right and below by its own edge, to sides that `n` divides without a rest.
cv::Mat continued(const cv::Mat& plane, int n) {
    const auto missing = [n](int side) { return (n - side % n) % n; };
    cv::Mat out;
    cv::copyMakeBorder(plane, out, 0, missing(plane.rows), 0, missing(plane.cols), cv::BORDER_REPLICATE);
    return out;
}

cv::Mat reduced(const cv::Mat& plane, int n) {
    return TPImage::MatRoi(plane, 0, 0, plane.cols / n, plane.rows / n, n, false, false);
}

/// The local Laplacian filter has reference levels from 0 to 62790 and extrapolates above, without a clamp. Here it
/// works on the scale from 1/16 to 15/16 of them, where it interpolates alone.
constexpr double kHeadroomScale = 0.875, kHeadroomShift = 4096;

}  // namespace

//! [guided]
cv::Mat smoothGuided(const cv::Mat& Y, int radius, float eps) {
    const cv::Mat guide = toFloat(Y);
    TGuidedFilter filter;
    filter.setup({guide}, guide, radius, eps);
    cv::Mat out;
    filter.proc({Y}, out);
    return out;
}
//! [guided]

cv::Mat smoothGuidedByColour(const TPImage& picture, int radius, float eps) {
    std::vector<cv::Mat> colours;
    for (int i = 0; i < 3; ++i) colours.emplace_back(picture.m_Y.size(), CV_16UC1);
    ushort* const pointers[] = {colours[0].ptr<ushort>(), colours[1].ptr<ushort>(), colours[2].ptr<ushort>()};
    picture.convertTopRGB(pointers, static_cast<int>(colours[0].step));
    cv::Mat out = picture.m_Y.clone();
    filterGuidedByRGB(colours, out, radius, eps);
    return out;
}

cv::Mat smoothGuidedReduced(const cv::Mat& Y, int radius, float eps, int n) {
    if (n == 1) return smoothGuided(Y, radius, eps);
    const cv::Mat full = continued(Y, n);
    const cv::Mat guide = toFloat(reduced(full, n));
    SmoothModel model;
    model.setup({guide}, guide, std::max(1, radius / n), eps);
    return model.appliedTo(full)(cv::Rect(0, 0, Y.cols, Y.rows));
}

//! [bilateral]
// The grid is read half a cell of luminance lower than it is written, which darkens texture; on the negative the same
// brightens it. The mean of both does neither.
cv::Mat smoothBilateral(const cv::Mat& Y, int sampling, float range) {
    const auto onGrid = [&](cv::Mat& plane) {
        BilateralFilter().proc(cv::Mat(), plane, sampling, static_cast<int>(std::lround(range * kFullScale)), nullptr);
    };
    cv::Mat darker = Y.clone(), brighter, mean;
    onGrid(darker);
    cv::bitwise_not(Y, brighter);
    onGrid(brighter);
    cv::bitwise_not(brighter, brighter);
    cv::addWeighted(darker, 0.5, brighter, 0.5, 0, mean);
    return mean;
}
//! [bilateral]

//! [laplacian]
cv::Mat smoothLaplacian(const cv::Mat& Y, float amplitude, float blur, int levels) {
    cv::Mat in, filtered, out;
    Y.convertTo(in, CV_16U, kHeadroomScale, kHeadroomShift);
    // The filter's alpha counts in halves of the full scale.
    const auto alpha = static_cast<float>(2 * kHeadroomScale * amplitude);
    LocalLaplacian().proc24K(in, filtered, alpha, blur, levels);
    filtered.convertTo(out, CV_16U, 1 / kHeadroomScale, -kHeadroomShift / kHeadroomScale);
    return out;
}
//! [laplacian]

//! [wls]
cv::Mat smoothLeastSquares(const cv::Mat& Y, float lambda, float alpha) {
    constexpr std::size_t kMostPixels = 4'000'000;
    if (Y.total() > kMostPixels) throw Refusal("the picture has more than 4 megapixels, too many for wls");
    cv::Mat plane = toFloat(Y), guide = plane.clone();
    TWLSFilter filter;
    filter.Proc(plane.ptr<float>(), Y.cols, Y.rows, lambda, alpha, guide.ptr<float>(), true);
    if (!filter.solved()) throw std::bad_alloc();
    return to16Bits(plane);
}
//! [wls]
