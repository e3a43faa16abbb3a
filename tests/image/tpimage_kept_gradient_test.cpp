#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "kestrova/image/tpimage.h"
#include "kestrova/primitives/neighbourhood.h"
#include "kestrova/resample/resample.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

// Edge maps put back under a gain that follows the gradients.

namespace {

class Edges : public TPImage {
public:
    Edges() { provideEdgeTables(); }
    using TPImage::edgeToFull;
};

cv::Size halfOf(cv::Size size) { return {TPImage::half(size.width), TPImage::half(size.height)}; }

cv::Mat naiveSmooth(const cv::Mat& plane) {
    cv::Mat bordered, out(plane.size(), plane.type());
    cv::copyMakeBorder(plane, bordered, 2, 2, 2, 2, cv::BORDER_REPLICATE);
    const int step = static_cast<int>(bordered.step), outStep = static_cast<int>(out.step);
    if (plane.type() == CV_32FC1)
        ippiFilterGauss_32f_C1R(&bordered.at<float>(2, 2), step, out.ptr<float>(), outStep, {out.cols, out.rows},
                                ippMskSize5x5);
    else
        ippiFilterGauss_8u_C1R(&bordered.at<uchar>(2, 2), step, out.ptr(), outStep, {out.cols, out.rows},
                               ippMskSize5x5);
    return out;
}

cv::Mat difference(const cv::Mat& plane, int dy, int dx) {
    cv::Mat out(plane.size(), CV_32FC1, cv::Scalar(0));
    for (int y = 0; y + dy < plane.rows; ++y)
        for (int x = 0; x + dx < plane.cols; ++x)
            out.at<float>(y, x) =
                static_cast<float>(plane.at<ushort>(y + dy, x + dx)) - static_cast<float>(plane.at<ushort>(y, x));
    return out;
}

cv::Mat product(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat out(a.size(), CV_32FC1);
    for (int y = 0; y < a.rows; ++y)
        for (int x = 0; x < a.cols; ++x) out.at<float>(y, x) = a.at<float>(y, x) * b.at<float>(y, x);
    return out;
}

cv::Mat naiveEdgeToFull(const cv::Mat& edge, const cv::Mat& halfOld, const cv::Mat& halfNew, float epsilon,
                        float gain) {
    const cv::Mat gx = difference(halfOld, 0, 1), gy = difference(halfOld, 1, 0);
    const cv::Mat nx = difference(halfNew, 0, 1), ny = difference(halfNew, 1, 0);
    const cv::Mat varX = naiveSmooth(product(gx, gx)), varY = naiveSmooth(product(gy, gy));
    const cv::Mat covX = naiveSmooth(product(nx, gx)), covY = naiveSmooth(product(ny, gy));
    cv::Mat a(halfOld.size(), CV_32FC1), weight, big(edge.size(), CV_8UC1), full(edge.size(), CV_16UC1);
    for (int y = 0; y < a.rows; ++y)
        for (int x = 0; x < a.cols; ++x)
            a.at<float>(y, x) = (covX.at<float>(y, x) + covY.at<float>(y, x) + epsilon * 65535.0f) /
                                (varX.at<float>(y, x) + varY.at<float>(y, x) + epsilon * 65535.0f);
    a.convertTo(weight, CV_8UC1, 42.666666666666664);
    weight = naiveSmooth(weight);
    upSize2X(weight, big, 2);
    cv::pyrUp(halfNew, full, full.size(), cv::BORDER_REFLECT_101);
    if (full.cols > 2 * halfNew.cols) full.col(full.cols - 2).copyTo(full.col(full.cols - 1));
    const float k = gain * 6.0f * 0.00390625f;
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x) {
            const float residual = static_cast<float>(TPImage::m_lutEdgeToFull_p[edge.at<uchar>(y, x)]) - 32768.0f;
            const float v =
                residual * static_cast<float>(big.at<uchar>(y, x)) * k + static_cast<float>(full.at<ushort>(y, x));
            full.at<ushort>(y, x) = cv::saturate_cast<ushort>(static_cast<double>(v));
        }
    return full;
}

cv::Mat flattened(const cv::Mat& plane, double factor) {
    cv::Mat out;
    plane.convertTo(out, CV_16UC1, factor, 32768 * (1 - factor));
    return out;
}

TEST(KeptGradientTest, TheResidualFollowsWhatBecameOfTheGradients) {
    const Edges edges;
    for (const cv::Size& size : testSizes()) {
        const cv::Size half = halfOf(size);
        const cv::Mat edge = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 8));
        const cv::Mat before = randomPlane(half.height, half.width, CV_16UC1, 4);
        const cv::Mat soft = randomPlane(half.height, half.width, CV_16UC1, 30000, 30050, 4);
        const std::pair<cv::Mat, cv::Mat> changes[] = {{before, randomPlane(half.height, half.width, CV_16UC1, 5)},
                                                       {before, flattened(before, 0.4)},
                                                       {soft, flattened(soft, 9)},
                                                       {soft, soft}};
        for (const auto& [old, now] : changes) {
            for (float epsilon : {0.0f, 0.001f, 0.5f}) {
                const cv::Mat expected = naiveEdgeToFull(edge, old, now, epsilon, 1.7f);
                withThreadCounts([&, old = old, now = now](int) {
                    cv::Mat full;
                    Edges::edgeToFull(edge, asSubPlane(old), asSubPlane(now), full, epsilon, 1.7f);
                    ASSERT_TRUE(samePixels(expected, full)) << size << ' ' << epsilon;
                });
            }
        }
    }
}

cv::Mat ramp(int right, int down) {
    cv::Mat plane(8, 8, CV_16UC1);
    for (int y = 0; y < plane.rows; ++y)
        for (int x = 0; x < plane.cols; ++x) plane.at<ushort>(y, x) = static_cast<ushort>(x * right + y * down);
    return plane;
}

// Ramps that show it: another order of the sums, a factor in double and one a bit less each give another weight.
TEST(KeptGradientTest, TheWeightIsFormedInFloatInOrder) {
    const Edges edges;
    struct Ramps {
        int right, down, rightAfter, downAfter;
        float epsilon;
    };
    for (const Ramps& r : {Ramps{2419, 2390, 2480, 161, 476.25f},
                           {587, 872, 4884, 1865, 0},
                           {1772, 1140, 3811, 2864, 463.75f},
                           {2465, 2280, 4795, 3507, 341.25f},
                           {1061, 333, 2645, 1809, 480.25f},
                           {525, 1383, 2622, 3415, 339.25f},
                           {801, 209, 4736, 2585, 396.75f}}) {
        const cv::Mat edge(16, 16, CV_8UC1, cv::Scalar(140));
        const cv::Mat before = ramp(r.right, r.down), after = ramp(r.rightAfter, r.downAfter);
        cv::Mat full;
        Edges::edgeToFull(edge, before, after, full, r.epsilon, 1);
        EXPECT_TRUE(samePixels(naiveEdgeToFull(edge, before, after, r.epsilon, 1), full)) << r.right;
    }
}

TEST(KeptGradientTest, HalfPlanesOfTruncatedSizeServeAsWell) {
    const Edges edges;
    const cv::Mat edge = randomPlane(21, 31, CV_8UC1);
    const cv::Mat before = randomPlane(10, 15, CV_16UC1, 4), after = flattened(before, 0.7);
    cv::Mat full;
    Edges::edgeToFull(edge, before, after, full, 0.01f, 1);
    EXPECT_TRUE(samePixels(naiveEdgeToFull(edge, before, after, 0.01f, 1), full));
}

TEST(KeptGradientTest, WithoutAChangeTheGainIsTheGivenOneInBytes) {
    const Edges edges;
    const cv::Mat edge = randomPlane(40, 60, CV_8UC1), half = randomPlane(20, 30, CV_16UC1, 20000, 40000);
    cv::Mat up(edge.size(), CV_16UC1), full;
    upSize2X(half, up, 257);
    for (float epsilon : {0.0f, 0.1f, 100.0f}) {
        Edges::edgeToFull(edge, half, half, full, epsilon, 0.5f);
        for (int y = 0; y < full.rows; ++y)
            for (int x = 0; x < full.cols; ++x) {
                const double residual = TPImage::m_lutEdgeToFull_p[edge.at<uchar>(y, x)] - 32768.0;
                const double expected = up.at<ushort>(y, x) + residual * (43 * 6 / 256.0) * 0.5;
                ASSERT_NEAR(full.at<ushort>(y, x), std::clamp(expected, 0.0, 65535.0), 0.51) << epsilon;
            }
    }
}

TEST(KeptGradientTest, WhereGradientsAreFlattenedOrTurnedNothingIsAdded) {
    const Edges edges;
    const cv::Mat edge = randomPlane(40, 60, CV_8UC1), before = randomPlane(20, 30, CV_16UC1, 20000, 40000);
    for (double factor : {0.0, -1.0}) {
        const cv::Mat after = flattened(before, factor);
        cv::Mat up(edge.size(), CV_16UC1), full;
        upSize2X(after, up, 257);
        Edges::edgeToFull(edge, before, after, full, 0, 1);
        EXPECT_TRUE(samePixels(up, full)) << factor;
    }
}

TEST(KeptGradientTest, TheGainIsAtMostNearlySix) {
    const Edges edges;
    const cv::Mat edge(20, 20, CV_8UC1, cv::Scalar(130)), before = randomPlane(10, 10, CV_16UC1, 32700, 32800);
    const cv::Mat after = flattened(before, 50);
    cv::Mat up(edge.size(), CV_16UC1), full;
    upSize2X(after, up, 257);
    Edges::edgeToFull(edge, before, after, full, 0, 1);
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x)  // 8 * 255 * 6 / 256
            ASSERT_NEAR(full.at<ushort>(y, x), up.at<ushort>(y, x) + 47.8125, 0.51);
}

TEST(KeptGradientTest, FlatPlanesWithoutEpsilonHaveNoGainAndWithItTheFullOne) {
    const Edges edges;
    const cv::Mat edge(8, 8, CV_8UC1, cv::Scalar(140)), half(4, 4, CV_16UC1, cv::Scalar(20000));
    cv::Mat full;
    Edges::edgeToFull(edge, half, half, full, 0, 1);  // 0 / 0
    EXPECT_TRUE(samePixels(cv::Mat(8, 8, CV_16UC1, cv::Scalar(20000)), full));
    Edges::edgeToFull(edge, half, half, full, 1e-6f, 1);  // 288 * 43 * 6 / 256
    EXPECT_TRUE(samePixels(cv::Mat(8, 8, CV_16UC1, cv::Scalar(20290)), full));
}

TEST(KeptGradientTest, TheResultMayTakeThePlaceOfAHalfPlane) {
    const Edges edges;
    const cv::Mat edge = randomPlane(20, 20, CV_8UC1), before = randomPlane(10, 10, CV_16UC1, 1);
    const cv::Mat after = randomPlane(10, 10, CV_16UC1, 2), expected = naiveEdgeToFull(edge, before, after, 0.1f, 1);
    cv::Mat first = before.clone(), second = after.clone();
    Edges::edgeToFull(edge, first, after, first, 0.1f, 1);
    EXPECT_TRUE(samePixels(expected, first));
    Edges::edgeToFull(edge, before, second, second, 0.1f, 1);
    EXPECT_TRUE(samePixels(expected, second));
}

TEST(KeptGradientTest, AnyEpsilonAndGainIsAccepted) {
    const Edges edges;
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const cv::Mat edge = randomPlane(20, 20, CV_8UC1), half = randomPlane(10, 10, CV_16UC1, 1);
    cv::Mat up(edge.size(), CV_16UC1), full;
    upSize2X(half, up, 257);
    for (float epsilon : {nan, infinity}) {  // no weight
        Edges::edgeToFull(edge, half, half, full, epsilon, 1);
        EXPECT_TRUE(samePixels(up, full)) << epsilon;
    }
    Edges::edgeToFull(edge, half, half, full, 0.1f, nan);
    EXPECT_EQ(cv::countNonZero(full), 0);
}

}  // namespace
