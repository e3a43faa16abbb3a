#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "kestrova/filters/bilateral_filter.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const char kTypeText[] = "ERROR - BilateralFilter::gradientGuide - in image type";

bool bInDisc(int y, int x, int radius) {
    if (x == 0 || y == 0) return true;
    return !(std::sqrt(static_cast<float>(x * x + y * y)) > static_cast<float>(radius) + 0.5f);
}

template <class Pixel>
cv::Mat naive(const cv::Mat& guide, const cv::Mat& plane, int radius) {
    cv::Mat result = plane.clone();
    for (int y = 0; y < plane.rows; ++y) {
        for (int x = 0; x < plane.cols; ++x) {
            const int s = plane.at<Pixel>(y, x), g = guide.at<Pixel>(y, x);
            int highest = s, lowest = s;
            if (x >= radius && y >= radius && x < plane.cols - radius && y < plane.rows - radius) {
                for (int dy = -radius; dy <= radius; ++dy) {
                    for (int dx = -radius; dx <= radius; ++dx) {
                        if (!bInDisc(dy, dx, radius)) continue;
                        highest = std::max<int>(highest, plane.at<Pixel>(y + dy, x + dx));
                        lowest = std::min<int>(lowest, plane.at<Pixel>(y + dy, x + dx));
                    }
                }
            }
            int low = s, high = highest;
            if (highest - s <= s - lowest) {
                low = lowest;
                high = s;
            }
            if (low < g && g < high) result.at<Pixel>(y, x) = static_cast<Pixel>(g);
        }
    }
    return result;
}

cv::Mat naive(const cv::Mat& guide, const cv::Mat& plane, int radius) {
    return plane.depth() == CV_8U ? naive<uchar>(guide, plane, radius) : naive<ushort>(guide, plane, radius);
}

TEST(GradientGuideTest, MovesPixelsOfAllSizesAndTypesWithAnyNumberOfThreads) {
    for (const cv::Size size : testSizes()) {
        for (int type : {CV_8UC1, CV_16UC1}) {
            const cv::Mat plane = randomPlane(size.height, size.width, type, 1);
            const cv::Mat guide = randomPlane(size.height, size.width, type, 2);
            for (int radius : {1, 2, 3}) {
                const cv::Mat expected = naive(guide, plane, radius);
                withThreadCounts([&](int threads) {
                    cv::Mat inOut = plane.clone();
                    ASSERT_TRUE(BilateralFilter::gradientGuide(guide, inOut, radius));
                    EXPECT_TRUE(samePixels(expected, inOut))
                        << size << ", type " << type << ", radius " << radius << ", " << threads << " threads";
                });
            }
        }
    }
}

TEST(GradientGuideTest, TheDiscIsThatOfItsRadius) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (int radius : {4, 5, 7, 8, 11}) {
            // Few extremes, so that cells at the rim of the disc decide.
            cv::Mat plane(40, 44, type, cv::Scalar(100));
            for (int i = 0; i < 8; ++i) {
                const int y = 7 * i % 40, x = 19 * i % 44, v = i % 2 ? 200 - i : 50 + i;
                if (type == CV_8UC1)
                    plane.at<uchar>(y, x) = static_cast<uchar>(v);
                else
                    plane.at<ushort>(y, x) = static_cast<ushort>(v);
            }
            const cv::Mat guide = randomPlane(40, 44, type, 40, 210, 3);
            cv::Mat inOut = asSubPlane(plane);
            ASSERT_TRUE(BilateralFilter::gradientGuide(asSubPlane(guide), inOut, radius));
            EXPECT_TRUE(samePixels(naive(guide, plane, radius), inOut)) << radius;
        }
    }
}

/// A plane of 3 x 3 with the centre `s` between a maximum and a minimum, and what becomes of the centre.
int centreAfter(int s, int highest, int lowest, int g) {
    cv::Mat plane(3, 3, CV_8UC1, cv::Scalar(s)), guide(3, 3, CV_8UC1, cv::Scalar(g));
    plane.at<uchar>(0, 1) = static_cast<uchar>(highest);
    plane.at<uchar>(2, 1) = static_cast<uchar>(lowest);
    BilateralFilter::gradientGuide(guide, plane, 1);
    return plane.at<uchar>(1, 1);
}

TEST(GradientGuideTest, APixelNearerItsMaximumMovesDownOnly) {
    EXPECT_EQ(centreAfter(100, 110, 50, 51), 51);
    EXPECT_EQ(centreAfter(100, 110, 50, 99), 99);
    EXPECT_EQ(centreAfter(100, 110, 50, 50), 100) << "strictly between the bounds";
    EXPECT_EQ(centreAfter(100, 110, 50, 100), 100);
    EXPECT_EQ(centreAfter(100, 110, 50, 105), 100);
}

TEST(GradientGuideTest, APixelNearerItsMinimumMovesUpOnly) {
    EXPECT_EQ(centreAfter(100, 200, 90, 101), 101);
    EXPECT_EQ(centreAfter(100, 200, 90, 199), 199);
    EXPECT_EQ(centreAfter(100, 200, 90, 200), 100);
    EXPECT_EQ(centreAfter(100, 200, 90, 95), 100);
}

TEST(GradientGuideTest, APixelInTheMiddleMovesDown) {
    EXPECT_EQ(centreAfter(100, 150, 50, 70), 70);
    EXPECT_EQ(centreAfter(100, 150, 50, 120), 100);
}

TEST(GradientGuideTest, ARadiusBelowOneLooksAtNothing) {
    cv::Mat plane = randomPlane(5, 5, CV_32FC3);
    const cv::Mat before = plane.clone();
    for (int radius : {0, -1, INT_MIN})
        EXPECT_TRUE(BilateralFilter::gradientGuide(randomPlane(4, 4, CV_8UC1), plane, radius));
    EXPECT_TRUE(samePixels(before, plane));
}

TEST(GradientGuideTest, ARadiusThatLeavesNoPixelInsideChangesNothing) {
    const cv::Mat guide = randomPlane(8, 11, CV_16UC1, 2);
    for (int radius : {4, 5, 100, INT_MAX}) {
        cv::Mat plane = randomPlane(8, 11, CV_16UC1, 1);
        EXPECT_TRUE(BilateralFilter::gradientGuide(guide, plane, radius));
        EXPECT_TRUE(samePixels(randomPlane(8, 11, CV_16UC1, 1), plane)) << radius;
    }
    cv::Mat none;
    EXPECT_TRUE(BilateralFilter::gradientGuide(none, none, 1));
}

TEST(GradientGuideTest, APlaneGuidedByItselfStays) {
    cv::Mat plane = randomPlane(20, 21, CV_16UC1);
    const cv::Mat before = plane.clone();
    EXPECT_TRUE(BilateralFilter::gradientGuide(plane, plane, 2));
    EXPECT_TRUE(samePixels(before, plane));
}

TEST(GradientGuideTest, AGuideThatLiesAcrossThePlaneIsReadBeforeItChanges) {
    const cv::Mat whole = randomPlane(300, 200, CV_16UC1);
    const cv::Range upper(0, 297), lower(3, 300);
    for (const auto& [planeRows, guideRows] : {std::pair(upper, lower), std::pair(lower, upper)}) {
        const cv::Mat expected = naive(whole.rowRange(guideRows), whole.rowRange(planeRows), 2);
        withThreadCounts([&, planeRows = planeRows, guideRows = guideRows](int) {
            const cv::Mat copy = whole.clone();
            cv::Mat inOut = copy.rowRange(planeRows);
            ASSERT_TRUE(BilateralFilter::gradientGuide(copy.rowRange(guideRows), inOut, 2));
            EXPECT_TRUE(samePixels(expected, inOut));
        });
    }
}

TEST(GradientGuideTest, RefusesPlanesThatDoNotFit) {
    for (int type : {CV_8SC1, CV_16SC1, CV_32FC1, CV_8UC3, CV_16UC3}) {
        cv::Mat plane = randomPlane(9, 9, type);
        EXPECT_FAILURE(BilateralFilter::gradientGuide(plane, plane, 1), kTypeText);
    }
    const int volume[] = {9, 9, 9};
    cv::Mat block(3, volume, CV_8UC1);
    EXPECT_FAILURE(BilateralFilter::gradientGuide(block, block, 1), kTypeText);
    cv::Mat plane = randomPlane(9, 9, CV_8UC1);
    const cv::Mat before = plane.clone();
    EXPECT_FAILURE(BilateralFilter::gradientGuide(randomPlane(9, 9, CV_16UC1), plane, 1), kTypeText);
    EXPECT_FAILURE(BilateralFilter::gradientGuide(randomPlane(9, 8, CV_8UC1), plane, 1),
                   "ERROR - BilateralFilter::gradientGuide - guide.size() != inOut.size()");
    EXPECT_TRUE(samePixels(before, plane));
}

}  // namespace
