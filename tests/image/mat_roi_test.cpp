#include "kestrova/image/tpimage.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "kestrova/resample/resample.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

cv::Mat naiveBox(const cv::Mat& in, int radius) {
    cv::Mat padded, out(in.size(), in.type());
    cv::copyMakeBorder(in, padded, radius, radius, radius, radius, cv::BORDER_REPLICATE);
    const long long cells = (2LL * radius + 1) * (2 * radius + 1);
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x) {
            long long sum = 0;
            double floatSum = 0;
            for (int v = 0; v <= 2 * radius; ++v)
                for (int u = 0; u <= 2 * radius; ++u) switch (in.type()) {
                        case CV_8UC1: sum += padded.at<uchar>(y + v, x + u); break;
                        case CV_16UC1: sum += padded.at<ushort>(y + v, x + u); break;
                        default: floatSum += padded.at<float>(y + v, x + u);
                    }
            switch (in.type()) {
                case CV_8UC1: out.at<uchar>(y, x) = static_cast<uchar>((sum + cells / 2) / cells); break;
                case CV_16UC1: out.at<ushort>(y, x) = static_cast<ushort>((sum + cells / 2) / cells); break;
                default: out.at<float>(y, x) = static_cast<float>(floatSum / static_cast<double>(cells));
            }
        }
    return out;
}

cv::Mat naiveRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, int radius = 0, int passes = 0) {
    const cv::Rect rect = cv::Rect(x, y, w * scale, h * scale) & cv::Rect(0, 0, in.cols, in.rows);
    cv::Mat region = in(rect).clone();
    for (int pass = 0; pass < passes; ++pass) region = naiveBox(region, radius);
    if (scale == 1) return region;
    cv::Mat out(h, w, in.type());
    downSizeNX(region, out, scale, 4);
    return out;
}

const int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};
// A sum of floats in another order, or rounded once more between two passes.
double toleranceOf(int type) { return type == CV_32FC1 ? 1e-3 : 0; }

TEST(MatRoiTest, AtScaleOneIsAPrivateCopy) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1, CV_16UC3, CV_64FC1}) {
        const cv::Mat in = asSubPlane(randomPlane(227, 301, type));
        const cv::Mat roi = TPImage::MatRoi(in, 5, 7, 280, 200, 1, false, false);
        EXPECT_TRUE(samePixels(in(cv::Rect(5, 7, 280, 200)).clone().reshape(1), roi.reshape(1)));
        EXPECT_NE(roi.data, in.ptr(7) + 5 * in.elemSize());
    }
}

TEST(MatRoiTest, IsCutOffAtTheRightAndBottomEdge) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    EXPECT_TRUE(samePixels(in(cv::Rect(25, 18, 5, 2)), TPImage::MatRoi(in, 25, 18, 10, 10, 1, false, false)));
    // At other scales the result keeps its size.
    for (int scale : {2, 3, 4, 7}) {
        const cv::Mat roi = TPImage::MatRoi(in, 16, 8, 9, 8, scale, false, false);
        EXPECT_EQ(roi.size(), cv::Size(9, 8));
        EXPECT_TRUE(samePixels(naiveRoi(in, 16, 8, 9, 8, scale), roi)) << scale;
    }
}

TEST(MatRoiTest, PlainReductionIsThatOfTheRegion) {
    for (int type : kTypes) {
        const cv::Mat in = asSubPlane(randomPlane(97, 131, type));
        for (int scale = 2; scale <= 9; ++scale)
            EXPECT_TRUE(
                samePixels(naiveRoi(in, 11, 6, 12, 9, scale), TPImage::MatRoi(in, 11, 6, 12, 9, scale, false, false)))
                << scale;
    }
}

TEST(MatRoiTest, HalvesItsArgumentsForAHalfSizePlane) {
    const cv::Mat in = randomPlane(40, 50, CV_16UC1);
    EXPECT_TRUE(samePixels(in(cv::Rect(3, 4, 4, 3)), TPImage::MatRoi(in, 7, 9, 7, 5, 1, true, false)));
    EXPECT_TRUE(samePixels(naiveRoi(in, 3, 4, 4, 3, 2), TPImage::MatRoi(in, 7, 9, 7, 5, 2, true, false)));
    EXPECT_TRUE(samePixels(in(cv::Rect(0, 0, 2, 2)), TPImage::MatRoi(in, -1, -1, 4, 4, 1, true, false)));
}

TEST(MatRoiTest, SmoothsBeforeItReduces) {
    // Scale, radius, passes.
    const int rules[][3] = {{2, 1, 1}, {3, 1, 1}, {4, 1, 2}, {5, 2, 1},  {6, 2, 2},
                            {7, 2, 3}, {8, 3, 1}, {9, 3, 2}, {10, 3, 3}, {11, 4, 1}};
    for (int type : kTypes) {
        const cv::Mat in = asSubPlane(randomPlane(61, 83, type));
        for (const auto& rule : rules)
            EXPECT_TRUE(closePixels(naiveRoi(in, 9, 4, 6, 5, rule[0], rule[1], rule[2]),
                                    TPImage::MatRoi(in, 9, 4, 6, 5, rule[0], false, true), toleranceOf(type)))
                << "scale " << rule[0] << " type " << type;
    }
}

TEST(MatRoiTest, AtScaleOneStillSmoothsByOneBoxOfThree) {
    for (int type : kTypes) {
        const cv::Mat in = asSubPlane(randomPlane(31, 43, type));
        EXPECT_TRUE(closePixels(naiveRoi(in, 9, 4, 100, 5, 1, 1, 1), TPImage::MatRoi(in, 9, 4, 100, 5, 1, false, true),
                                toleranceOf(type)));
    }
}

TEST(MatRoiTest, TheRadiusGrowsWithTheShorterSideOfTheRegionFromScaleFiveOn) {
    // A shorter side of 4000 gives 3, more than the 2 of scale 5; 3999, cut off at an edge, does not, and scale 4 keeps
    // 1. What is far inside depends on its surroundings alone.
    struct Rule {
        int x, y, scale, radius, passes;
    };
    cv::Mat in(4001, 4001, CV_8UC1, cv::Scalar(0));
    randomPlane(120, 160, CV_8UC1).copyTo(in(cv::Rect(2000, 2000, 160, 120)));
    for (const Rule& rule : {Rule{0, 0, 5, 3, 1}, Rule{2, 0, 5, 2, 1}, Rule{0, 2, 5, 2, 1}, Rule{0, 0, 4, 1, 2}}) {
        const int side = 4000 / rule.scale, w = 150 / rule.scale, h = 110 / rule.scale, at = 2000 / rule.scale;
        const cv::Mat roi = TPImage::MatRoi(in, rule.x, rule.y, side, side, rule.scale, false, true);
        const cv::Rect inside(2, 2, w - 4, h - 4);
        const cv::Mat expected = naiveRoi(in, 2000 + rule.x, 2000 + rule.y, w, h, rule.scale, rule.radius, rule.passes);
        EXPECT_TRUE(samePixels(expected(inside), roi(cv::Rect(at, at, w, h))(inside)))
            << rule.x << ' ' << rule.y << ' ' << rule.scale;
    }
}

TEST(MatRoiTest, TheInputStaysAsItIsAndThreadsGiveTheSameBits) {
    const cv::Mat in = randomPlane(227, 301, CV_16UC1), before = in.clone();
    const cv::Mat plain = TPImage::MatRoi(in, 1, 2, 290, 220, 1, false, false);
    const cv::Mat smooth = TPImage::MatRoi(in, 1, 2, 60, 40, 5, false, true);
    withThreadCounts([&](int threads) {
        EXPECT_TRUE(samePixels(plain, TPImage::MatRoi(in, 1, 2, 290, 220, 1, false, false))) << threads;
        EXPECT_TRUE(samePixels(smooth, TPImage::MatRoi(in, 1, 2, 60, 40, 5, false, true))) << threads;
    });
    EXPECT_TRUE(samePixels(before, in));
}

TEST(MatRoiTest, OnePixelPlanes) {
    for (int type : kTypes) {
        const cv::Mat in = randomPlane(1, 1, type);
        for (int scale : {1, 2, 3, 8})
            for (bool smooth : {false, true}) {
                const cv::Mat roi = TPImage::MatRoi(in, 0, 0, 1, 1, scale, false, smooth);
                EXPECT_TRUE(closePixels(in, roi, toleranceOf(type))) << scale << ' ' << smooth;
            }
    }
}

TEST(MatRoiTest, ARadiusBeyondASideOfTheRegionCountsTheEdgePixelsThatItRepeats) {
    struct Rule {
        int w, h, scale, radius, passes;
    };
    // Beyond one side, beyond the other, beyond both; the last is the whole plane.
    for (const Rule& rule :
         {Rule{9, 1, 20, 7, 1}, Rule{1, 9, 21, 7, 2}, Rule{1, 1, 22, 7, 3}, Rule{40, 40, 200, 67, 1}})
        for (int type : kTypes) {
            const cv::Mat in = asSubPlane(randomPlane(61, 83, type));
            const bool bWhole = rule.w == 40;
            const int x = bWhole ? 0 : rule.w == 9 ? 3 : 78, y = bWhole ? 0 : rule.h == 9 ? 2 : 56;
            EXPECT_TRUE(closePixels(naiveRoi(in, x, y, rule.w, rule.h, rule.scale, rule.radius, rule.passes),
                                    TPImage::MatRoi(in, x, y, rule.w, rule.h, rule.scale, false, true),
                                    toleranceOf(type)))
                << "scale " << rule.scale << " type " << type;
        }
}

TEST(MatRoiTest, TheCostOfSmoothingIsThatOfThePlane) {
    for (int type : kTypes) {
        const cv::Mat in(100, 100, type, cv::Scalar(77));
        EXPECT_TRUE(
            samePixels(cv::Mat(2, 2, type, cv::Scalar(77)), TPImage::MatRoi(in, 0, 0, 2, 2, 98300, false, true)));
    }
}

TEST(MatRoiTest, ValuesThatAreNotFiniteStayWithinTheirWindows) {
    cv::Mat in(10, 200, CV_32FC1, cv::Scalar(1));
    in.at<float>(4, 20) = std::numeric_limits<float>::infinity();
    const cv::Mat roi = TPImage::MatRoi(in, 0, 0, 6, 1, 32, false, true);  // one pass of radius 11
    EXPECT_TRUE(std::isinf(roi.at<float>(0, 0)));
    for (int x = 1; x < 6; ++x) EXPECT_EQ(roi.at<float>(0, x), 1.0f);
}

TEST(MatRoiTest, AbsurdRectanglesAreCutOff) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    EXPECT_TRUE(samePixels(in(cv::Rect(3, 4, 27, 16)), TPImage::MatRoi(in, 3, 4, INT_MAX, INT_MAX, 1, false, false)));
    EXPECT_TRUE(samePixels(in, TPImage::MatRoi(in, 1, 1, INT_MAX, INT_MAX, 1, true, false)));
    EXPECT_EQ(TPImage::MatRoi(in, 3, 4, 2, 2, INT_MAX, false, false).size(), cv::Size(2, 2));
}

TEST(MatRoiTest, AbsurdScalesAreNotSmoothed) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    for (int scale : {98303, 1 << 30, INT_MAX})
        EXPECT_FAILURE(TPImage::MatRoi(in, 3, 4, 2, 2, scale, false, true),
                       "ERROR - TPImage::MatRoi - scale is too large to smooth");
}

TEST(MatRoiTest, RectanglesWithoutPixels) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    for (bool smooth : {false, true}) {
        EXPECT_TRUE(TPImage::MatRoi(in, 3, 4, 0, 5, 1, false, smooth).empty());
        EXPECT_FAILURE(TPImage::MatRoi(in, 3, 4, 0, 5, 2, false, smooth), "downSizeNX - out is not allocated");
    }
    // At the right and at the bottom edge.
    for (const cv::Rect& rect : {cv::Rect(30, 4, 0, 5), cv::Rect(3, 20, 5, 0), cv::Rect(30, 20, 0, 0)}) {
        const cv::Mat roi = TPImage::MatRoi(in, rect.x, rect.y, rect.width, rect.height, 1, false, false);
        EXPECT_TRUE(roi.empty());
        EXPECT_EQ(roi.type(), CV_16UC1);
    }
}

TEST(MatRoiTest, RectanglesThatStartOutsideOrRunBackwardsAreRefused) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    const char* const negative = "ERROR - TPImage::MatRoi - x<0 || y<0 || w<0 || h<0";
    const char* const outside = "ERROR - TPImage::MatRoi - the rectangle starts outside of the plane";
    for (int scale : {1, 2})
        for (bool smooth : {false, true}) {
            EXPECT_FAILURE(TPImage::MatRoi(in, -1, 0, 5, 5, scale, false, smooth), negative);
            EXPECT_FAILURE(TPImage::MatRoi(in, 0, -1, 5, 5, scale, false, smooth), negative);
            EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, -5, 5, scale, false, smooth), negative);
            EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, 5, INT_MIN, scale, true, smooth), negative);
            EXPECT_FAILURE(TPImage::MatRoi(in, 30, 0, 5, 5, scale, false, smooth), outside);
            EXPECT_FAILURE(TPImage::MatRoi(in, 0, INT_MAX, 5, 5, scale, false, smooth), outside);
            EXPECT_FAILURE(TPImage::MatRoi(cv::Mat(), 0, 0, 5, 5, scale, false, smooth), outside);
        }
    for (int scale : {0, -2, INT_MIN})
        EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, 5, 5, scale, false, false), "ERROR - TPImage::MatRoi - scale<1");
}

TEST(MatRoiTest, OtherTypesAreRefusedWhereTheyAreWorkedOn) {
    const cv::Mat in(20, 30, CV_32SC1, cv::Scalar(3));
    EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, 5, 5, 1, false, true), "ERROR TPImage::MatRoi - input type");
    EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, 5, 5, 2, false, true), "ERROR TPImage::MatRoi - input type");
    EXPECT_FAILURE(TPImage::MatRoi(in, 0, 0, 5, 5, 2, false, false), "ERROR - downSizeNX - type");
}

}  // namespace
