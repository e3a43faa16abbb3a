#include <gtest/gtest.h>

#include <algorithm>

#include "kestrova/filters/local_laplacian.h"

// Even areas, filtered at one level: every pixel stands for a picture of its own value.

namespace {

using Filter = bool (LocalLaplacian::*)(const cv::Mat&, cv::Mat&, float, float, int);

/// The limits that the header states.
struct Limits {
    Filter filter;
    float leastAlpha, greatestAlpha;  ///< sizes
    int leastValue;
};

constexpr Limits kLimits[] = {{&LocalLaplacian::proc10K, 0.028f, 0.207f, 61694},
                              {&LocalLaplacian::proc16K, 0.017f, 0.130f, 63127},
                              {&LocalLaplacian::proc24K, 0.012f, 0.087f, 63927}};

constexpr int kLeastLooked = 49152;

cv::Mat allValues() {
    cv::Mat values(1, 65536, CV_16UC1);
    for (int v = 0; v < 65536; ++v) values.at<ushort>(0, v) = static_cast<ushort>(v);
    return values.colRange(kLeastLooked, 65536);
}

/// The smallest near-white value that comes out dark, 65536 for none.
int leastWrapped(Filter filter, float alpha, float blur) {
    static const cv::Mat in = allValues();
    cv::Mat out;
    LocalLaplacian laplacian;
    (laplacian.*filter)(in, out, alpha, blur, 1);
    const ushort* const first = out.ptr<ushort>();
    const ushort* const wrapped = std::find_if(first, first + out.cols, [](ushort v) { return v < 16384; });
    return kLeastLooked + static_cast<int>(wrapped - first);
}

TEST(LocalLaplacianWhite, WrapsToBlackInsideTheStatedLimits) {
    for (const Limits& limits : kLimits) {
        const float middle = 0.5f * limits.greatestAlpha + 0.05f * limits.leastAlpha;
        EXPECT_LT(leastWrapped(limits.filter, -middle, 0.0f), limits.leastValue + 100);
        EXPECT_LT(leastWrapped(limits.filter, -0.98f * limits.greatestAlpha, 0.4f), 65536);
        EXPECT_LT(leastWrapped(limits.filter, -1.3f * limits.leastAlpha, 1.0f), 65536);
    }
}

TEST(LocalLaplacianWhite, NeverWrapsOutsideTheStatedLimits) {
    for (const Limits& limits : kLimits) {
        for (float blur : {0.0f, 0.3f, 0.45f, 1.0f}) {
            for (float part : {0.4f, 0.5f, 0.9f})
                EXPECT_GE(leastWrapped(limits.filter, -part * limits.greatestAlpha, blur), limits.leastValue);
            for (float alpha :
                 {limits.greatestAlpha, 1.1f * limits.greatestAlpha, 2 * limits.greatestAlpha, 0.6f, 1.0f})
                EXPECT_EQ(leastWrapped(limits.filter, -alpha, blur), 65536) << alpha << ' ' << blur;
            for (float alpha : {0.0f, 0.5f * limits.leastAlpha, 0.95f * limits.leastAlpha})
                EXPECT_EQ(leastWrapped(limits.filter, -alpha, blur), 65536) << alpha << ' ' << blur;
        }
    }
}

TEST(LocalLaplacianWhite, WrapsNoMoreThanTheLastFewValuesWithAPositiveAlpha) {
    for (const Limits& limits : kLimits)
        for (float blur : {0.0f, 0.3f, 1.0f})
            for (float alpha : {0.01f, 0.03f, 0.08f, 0.12f, 0.2f, 0.4f})
                EXPECT_GE(leastWrapped(limits.filter, alpha, blur), 65500) << alpha << ' ' << blur;
}

TEST(LocalLaplacianWhite, NeverWrapsWithTheHeadroomThatTheHeaderProposes) {
    const double headroom = 0.875 * 65535 + 4096;
    for (const Limits& limits : kLimits) EXPECT_LT(headroom, limits.leastValue);
}

}  // namespace
