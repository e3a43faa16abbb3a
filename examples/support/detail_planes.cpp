#include "detail_planes.h"

#include <algorithm>
#include <cmath>

#include "refusal.h"
#include "smoothing.h"

namespace {

constexpr int kZeroDetail = 32768;

enum Scale { small, medium, large };

// The radius of the small scale is 1/1000 of the mean side of the picture, 4 pixels at 16 megapixels: hair and grain.
// Each scale is four times as coarse as the one before: 16 pixels for leaves and folds, 64 for light and shade.
int radiusOf(Scale scale, const cv::Mat& Y) {
    constexpr double kSmallRadiusOfSide = 1.0 / 1000;
    const double meanSide = std::sqrt(static_cast<double>(Y.rows) * Y.cols);
    return std::max(1, static_cast<int>(std::lround(meanSide * kSmallRadiusOfSide))) << 2 * scale;
}

/// How far a filter of that radius may reduce its plane. At an edge the models of neighbouring cells mix, one of whose
/// windows in 2 r + 1 misses what lies across: a radius of 16 pixels or more keeps that below what an eye can see.
int reductionFor(int radius) {
    constexpr int kLeastRadius = 16;
    int n = 1;
    while (radius / (2 * n) >= kLeastRadius) n *= 2;
    return n;
}

// What counts as detail rather than an edge is a question of amplitude; larger scales hold larger ones.
constexpr float kAmplitude[] = {0.025f, 0.03f, 0.04f};

cv::Mat guided(const cv::Mat& Y, Scale scale) {
    const int radius = radiusOf(scale, Y);
    return smoothGuidedReduced(Y, radius, kAmplitude[scale] * kAmplitude[scale], reductionFor(radius));
}

cv::Mat bilateral(const cv::Mat& Y, Scale scale) {
    return smoothBilateral(Y, std::max(2, radiusOf(scale, Y)), kAmplitude[scale]);
}

cv::Mat laplacian(const cv::Mat& Y) {
    constexpr float kLargest = 0.08f, kBlur = 0.3f;
    const int radius = radiusOf(large, Y), n = reductionFor(radius);
    const int levels = 1 + static_cast<int>(std::lround(std::log2(radius / n)));
    return smoothLaplacianReduced(Y, kLargest, kBlur, levels, n);
}

cv::Mat leastSquares(const cv::Mat& Y, Scale scale) {
    constexpr float kLambdaOfUnitArea = 0.004f, kAlpha = 1.2f;
    const auto radius = static_cast<float>(radiusOf(scale, Y));
    return smoothLeastSquares(Y, kLambdaOfUnitArea * radius * radius, kAlpha);
}

cv::Mat smoothed(const cv::Mat& Y, Scale scale, DetailFilter filter) {
    switch (filter) {
        case DetailFilter::guided: break;
        case DetailFilter::bilateral:
            if (scale != large) return bilateral(Y, scale);
            break;
        case DetailFilter::laplacian:
            if (scale == large) return laplacian(Y);
            break;
        case DetailFilter::wls: return leastSquares(Y, scale);
    }
    return guided(Y, scale);
}

/// Moves half of what `rest` has above `smooth` into a detail plane. The division truncates, so `rest` keeps the
/// odd unit and stays between its old value and the smooth one.
cv::Mat takeDetail(cv::Mat& rest, const cv::Mat& smooth) {
    cv::Mat detail(rest.size(), CV_16UC1);
    for (int y = 0; y < rest.rows; ++y) {
        const auto* s = smooth.ptr<ushort>(y);
        auto* r = rest.ptr<ushort>(y);
        auto* d = detail.ptr<ushort>(y);
        for (int x = 0; x < rest.cols; ++x) {
            const int half = (r[x] - s[x]) / 2;
            d[x] = static_cast<ushort>(half + kZeroDetail);
            r[x] = static_cast<ushort>(r[x] - 2 * half);
        }
    }
    return detail;
}

}  // namespace

DetailPlanes computeDetailPlanes(const cv::Mat& Y, DetailFilter filter, TProgress& progress) {
    DetailPlanes planes;
    planes.base = Y.clone();
    // Each scale smooths what the finer ones have left: their detail no longer counts against an edge.
    planes.small = takeDetail(planes.base, smoothed(planes.base, small, filter));
    proceed(progress.prog(1, 3));
    planes.medium = takeDetail(planes.base, smoothed(planes.base, medium, filter));
    proceed(progress.prog(2, 3));
    planes.large = takeDetail(planes.base, smoothed(planes.base, large, filter));
    proceed(progress.prog(3, 3));
    return planes;
}
