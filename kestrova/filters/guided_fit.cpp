#include "kestrova/filters/guided_fit.h"

#include "kestrova/frame/kernel.h"
#include "kestrova/primitives/invert3.h"

namespace {

/// Products of means are rounded before they are taken away, and eps is added last: the order is part of the interface.
KESTROVA_KERNEL void solveOneRow(const float* meanI, const float* meanP, const float* meanIP, const float* meanII,
                                 float eps, float* __restrict a, float* __restrict b, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float covariance = meanIP[x] - meanI[x] * meanP[x];
        const float variance = meanII[x] - meanI[x] * meanI[x];
        a[x] = covariance / (variance + eps);
        b[x] = meanP[x] - meanI[x] * a[x];
    }
}

/// Means of the guide's planes and of p, and of their products.
struct Means3 {
    const float *m0, *m1, *m2, *mp;
    const float *m0p, *m1p, *m2p;
    const float *m00, *m11, *m22, *m01, *m02, *m12;
};

KESTROVA_KERNEL void solveThreeRow(const Means3& means, float eps, float* __restrict a0, float* __restrict a1,
                                   float* __restrict a2, float* __restrict b, int n) noexcept {
    const Means3 m = means;
    for (int x = 0; x < n; ++x) {
        const float m0 = m.m0[x], m1 = m.m1[x], m2 = m.m2[x], mp = m.mp[x];
        const float c0 = m.m0p[x] - m0 * mp, c1 = m.m1p[x] - m1 * mp, c2 = m.m2p[x] - m2 * mp;
        const double v00 = (m.m00[x] - m0 * m0) + eps, v11 = (m.m11[x] - m1 * m1) + eps,
                     v22 = (m.m22[x] - m2 * m2) + eps;
        const double v01 = m.m01[x] - m0 * m1, v02 = m.m02[x] - m0 * m2, v12 = m.m12[x] - m1 * m2;
        const Inverse3 inverse(v00, v01, v02, v01, v11, v12, v02, v12, v22);
        const auto d = [&](int row, int column) {
            return inverse.singular ? 0.0f : static_cast<float>(inverse.element(row, column));
        };
        const float s0 = (d(1, 0) * c1 + d(0, 0) * c0) + d(2, 0) * c2;
        const float s1 = (d(1, 1) * c1 + d(0, 1) * c0) + d(2, 1) * c2;
        const float s2 = (d(1, 2) * c1 + d(0, 2) * c0) + d(2, 2) * c2;
        a0[x] = s0;
        a1[x] = s1;
        a2[x] = s2;
        b[x] = ((mp - m0 * s0) - m1 * s1) - m2 * s2;
    }
}

std::vector<cv::Mat> makePlanes(std::size_t count, cv::Size size) {
    std::vector<cv::Mat> planes(count);
    for (cv::Mat& plane : planes) plane.create(size, CV_32FC1);
    return planes;
}

}  // namespace

std::vector<cv::Mat> guided_fit::oneGuide(const cv::Mat& I, const cv::Mat& p, int r, float eps, BoxBorder border) {
    const BoxMoments moments({I, p}, {{0}, {1}, {0, 1}, {0, 0}}, r, border);
    std::vector<cv::Mat> fitted = makePlanes(2, moments.size());
    moments.sweep([&](int y, int x, int n, const float* const* means) noexcept {
        solveOneRow(means[0], means[1], means[2], means[3], eps, fitted[0].ptr<float>(y, x), fitted[1].ptr<float>(y, x),
                    n);
    });
    return fitted;
}

std::vector<cv::Mat> guided_fit::threeGuides(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps) {
    // In the order of `Means3`.
    const BoxMoments moments(
        {guide[0], guide[1], guide[2], p},
        {{0}, {1}, {2}, {3}, {0, 3}, {1, 3}, {2, 3}, {0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}, r,
        BoxBorder::kReplicated);
    std::vector<cv::Mat> fitted = makePlanes(4, moments.size());
    moments.sweep([&](int y, int x, int n, const float* const* m) noexcept {
        const Means3 means{m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9], m[10], m[11], m[12]};
        solveThreeRow(means, eps, fitted[0].ptr<float>(y, x), fitted[1].ptr<float>(y, x), fitted[2].ptr<float>(y, x),
                      fitted[3].ptr<float>(y, x), n);
    });
    return fitted;
}
