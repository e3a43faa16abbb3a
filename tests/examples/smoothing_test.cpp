#include "smoothing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace {

cv::Mat plane(int width, int height, const std::function<double(int x, int y)>& value) {
    cv::Mat out(height, width, CV_16UC1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) out.at<ushort>(y, x) = cv::saturate_cast<ushort>(value(x, y));
    return out;
}

double weave(int x, int y) { return std::sin(0.9 * x) * std::sin(0.7 * y); }

double largestDifference(const cv::Mat& a, const cv::Mat& b) { return cv::norm(a, b, cv::NORM_INF); }

double psnr(const cv::Mat& a, const cv::Mat& b) {
    return 20 * std::log10(65535 * std::sqrt(static_cast<double>(a.total())) / cv::norm(a, b, cv::NORM_L2));
}

}  // namespace

// Cells of the reduced plane are wider than the edge, which falls somewhere within one; what is lost there would be a
// halo, and stays within the bound that holds for one.
TEST(SmoothingTest, AReducedFilterKeepsAnEdgeWhereverItFallsInACell) {
    constexpr double kHeight = 40000, kMostOfStep = 0.05;
    for (const int n : {2, 4}) {
        for (int edge = 150; edge < 150 + n; ++edge) {
            const cv::Mat step = plane(301, 63, [edge](int x, int) { return x < edge ? 12000 : 12000 + kHeight; });
            const int radius = 16 * n;
            EXPECT_LT(largestDifference(smoothGuidedReduced(step, radius, 0.0016f, n), step), kMostOfStep * kHeight);
        }
    }
}

TEST(SmoothingTest, AReducedFilterIsCloseToThatOfFullSize) {
    const cv::Mat picture = plane(331, 221, [](int x, int y) {
        return (x + y < 260 ? 16000 : 42000) + 900 * std::sin(0.05 * x) + 700 * std::cos(0.06 * y);
    });
    const cv::Mat guided = smoothGuided(picture, 32, 0.0016f);
    EXPECT_LT(psnr(guided, picture), 45) << "there is something to smooth";
    EXPECT_GT(psnr(smoothGuidedReduced(picture, 32, 0.0016f, 2), guided), 45);
}

TEST(SmoothingTest, AReductionByOneIsNone) {
    const cv::Mat picture = plane(70, 50, [](int x, int y) { return 30000 + 900 * weave(x, y); });
    EXPECT_EQ(largestDifference(smoothGuidedReduced(picture, 5, 0.001f, 1), smoothGuided(picture, 5, 0.001f)), 0);
}

// Above its top reference level the filter extrapolates, and what leaves the scale there would come back as black.
TEST(SmoothingTest, TheLocalLaplacianKeepsTheEndsOfTheScale) {
    for (const double end : {0.0, 65535.0}) {
        const cv::Mat picture = plane(96, 64, [end](int x, int y) { return end + 3000 * weave(x, y); });
        for (const float amplitude : {0.1f, -0.1f, 0.3f, -0.3f}) {
            const cv::Mat out = smoothLaplacian(picture, amplitude, 0.3f, 4);
            EXPECT_LT(largestDifference(out, picture), 6000) << end << " " << amplitude;
        }
    }
}

TEST(SmoothingTest, ALocalLaplacianOfNegativeAmplitudeBoostsFaintDetail) {
    const cv::Mat picture = plane(96, 64, [](int x, int y) { return 30000 + 1000 * weave(x, y); });
    const auto contrast = [](const cv::Mat& out) {
        cv::Scalar mean, deviation;
        cv::meanStdDev(out(cv::Rect(16, 16, 64, 32)), mean, deviation);
        return deviation[0];
    };
    EXPECT_GT(contrast(smoothLaplacian(picture, -0.1f, 0.3f, 4)), 1.5 * contrast(picture));
    EXPECT_LT(contrast(smoothLaplacian(picture, 0.1f, 0.3f, 4)), 0.5 * contrast(picture));
}
