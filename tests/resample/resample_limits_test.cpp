#include "kestrova/resample/resample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tests/resample/resample_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

// ---- Sizes that do not fit the factor

TEST(ResampleLimitsTest, AnOddPlaneRepeatsItsLastColumnButNotItsLastRow) {
    const cv::Mat in = randomPlane(5, 7, CV_16UC1);
    cv::Mat out = filled({4, 3}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(2 * y, 2 * x));
        EXPECT_EQ(out.at<ushort>(y, 3), out.at<ushort>(y, 2));
    }
    EXPECT_NE(out.at<ushort>(2, 0), out.at<ushort>(1, 0));
}

TEST(ResampleLimitsTest, AnOutputOfExactlyHalfSizeIsLeftAsResampled) {
    const cv::Mat in = randomPlane(6, 8, CV_16UC1);
    cv::Mat out = filled({4, 3}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(2 * y, 2 * x));
}

TEST(ResampleLimitsTest, RowsBeyondTheInputRepeatItsLastRow) {
    const cv::Mat in = randomPlane(6, 8, CV_16UC1);
    cv::Mat out = filled({6, 7}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(std::min(2 * y, 5), 2 * x));
        EXPECT_EQ(out.at<ushort>(y, 4), out.at<ushort>(y, 3));
        EXPECT_EQ(out.at<ushort>(y, 5), out.at<ushort>(y, 3));
    }
}

// Two columns too many after a resize, one after a pyramid step, which takes no more.
TEST(ResampleLimitsTest, ColumnsBeyondTheInputRepeatTheLastRegularOneInEveryFunction) {
    const cv::Mat in = randomPlane(12, 12, CV_16UC1);
    const auto expectRepeated = [](const cv::Mat& out, int additional) {
        for (int y = 0; y < out.rows; ++y)
            for (int i = 1; i <= additional; ++i)
                EXPECT_EQ(out.at<ushort>(y, out.cols - i), out.at<ushort>(y, out.cols - additional - 1)) << out.size();
    };
    for (int interp : {kNearest, kLinear, kCubic}) {
        cv::Mat half = filled({8, 6}, CV_16UC1), twice = filled({26, 24}, CV_16UC1);
        downSize2X(in, half, interp);
        upSize2X(in, twice, interp);
        expectRepeated(half, 2);
        expectRepeated(twice, 2);
        for (int n : {3, 4, 5}) {
            cv::Mat reduced = filled({12 / n + 2, 12 / n}, CV_16UC1), enlarged = filled({12 * n + 2, 12 * n}, CV_16UC1);
            downSizeNX(in, reduced, n, interp);
            upSizeNX(in, enlarged, n, interp);
            expectRepeated(reduced, 2);
            expectRepeated(enlarged, 2);
        }
    }
    cv::Mat half = filled({7, 6}, CV_16UC1), twice = filled({25, 24}, CV_16UC1);
    downSize2X(in, half, 257);
    upSize2X(in, twice, 257);
    expectRepeated(half, 1);
    expectRepeated(twice, 1);
}

TEST(ResampleLimitsTest, AnOutputThatIsTooSmallGetsTheUpperLeftPart) {
    const cv::Mat in = randomPlane(20, 20, CV_8UC1);
    cv::Mat whole = filled({40, 40}, CV_8UC1), part = filled({23, 11}, CV_8UC1);
    upSize2X(in, whole, kCubic);
    upSize2X(in, part, kCubic);
    EXPECT_TRUE(samePixels(whole(cv::Rect(0, 0, 23, 11)), part));
    cv::Mat half = filled({10, 10}, CV_8UC1), third = filled({3, 2}, CV_8UC1);
    downSize2X(in, half, kCubic);
    downSize2X(in, third, kCubic);
    EXPECT_TRUE(samePixels(half(cv::Rect(0, 0, 3, 2)), third));
}

TEST(ResampleLimitsTest, PlanesOnePixelWideOrHighWork) {
    for (int type : kTypes) {
        for (const cv::Size& size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1)}) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            cv::Mat half = filled(roundedUp(in, 2), type), third = filled(roundedUp(in, 3), type);
            downSize2X(in, half, kCubic);
            EXPECT_EQ(pixel(half, 0, 0), pixel(in, 0, 0));
            downSizeNX(in, third, 3, kNearest);
            EXPECT_EQ(pixel(third, 0, 0), pixel(in, 1, 1));
            cv::Mat up = filled({2 * size.width + 1, 2 * size.height + 1}, type);
            upSize2X(in, up, kLinear);
            EXPECT_EQ(pixel(up, 0, 0), pixel(in, 0, 0));
            EXPECT_EQ(pixel(up, up.rows - 1, up.cols - 1), pixel(in, size.height - 1, size.width - 1));
        }
    }
}

TEST(ResampleLimitsTest, AFactorBeyondThePlaneReadsItsEdge) {
    const cv::Mat in = randomPlane(3, 4, CV_16UC1);
    cv::Mat out = filled({1, 1}, CV_16UC1);
    downSizeNX(in, out, 1000, kCubic);
    EXPECT_EQ(out.at<ushort>(0, 0), in.at<ushort>(2, 3));
    downSizeNX(in, out, INT_MAX, kCubic);
    EXPECT_EQ(out.at<ushort>(0, 0), in.at<ushort>(2, 3));
    cv::Mat up = filled({5, 5}, CV_16UC1);
    upSizeNX(in, up, INT_MAX, kLinear);
    EXPECT_EQ(up.at<ushort>(4, 4), in.at<ushort>(0, 0));
}

TEST(ResampleLimitsTest, ASourceWithoutPixelsIsRefusedAndTheOutputUnwritten) {
    for (int type : kTypes) {
        const cv::Mat before = randomPlane(4, 5, type);
        for (const cv::Mat& in : {cv::Mat(0, 0, type), cv::Mat(0, 3, type), cv::Mat(3, 0, type)}) {
            cv::Mat out = before.clone();
            for (int interp : {kNearest, kLinear, kCubic, kPyramidStep}) {
                EXPECT_FAILURE(downSize2X(in, out, interp), "ERROR - downSize2X - in.empty()");
                EXPECT_FAILURE(upSize2X(in, out, interp), "ERROR - upSize2X - in.empty()");
                EXPECT_FAILURE(downSizeNX(in, out, 3, interp), "ERROR - downSizeNX - in.empty()");
                EXPECT_FAILURE(upSizeNX(in, out, 3, interp), "ERROR - upSizeNX - in.empty()");
            }
            EXPECT_TRUE(samePixels(before, out));
        }
    }
}

TEST(ResampleLimitsTest, RowsOfTwoToThe31BytesAndMoreAreRefused) {
    uchar pixels[4] = {1, 2, 3, 4};
    for (std::size_t step : {std::size_t{1} << 31, (std::size_t{1} << 32) + 2}) {
        const cv::Mat in(1, 2, CV_8UC1, pixels);
        cv::Mat out(1, 2, CV_8UC1, pixels + 2);
        for (cv::Mat far : {cv::Mat(2, 2, CV_8UC1, pixels, step), cv::Mat(2, 2, CV_8UC1, pixels + 2, step)}) {
            EXPECT_FAILURE(downSize2X(far, out, kCubic), "ERROR - plane - step>INT_MAX");
            EXPECT_FAILURE(upSizeNX(in, far, 2, kCubic), "ERROR - plane - step>INT_MAX");
        }
    }
    EXPECT_EQ(pixels[0] + pixels[1] + pixels[2] + pixels[3], 10);
}

TEST(ResampleLimitsTest, ThreeDimensionsAreRefused) {
    const cv::Mat cube(std::vector<int>{4, 4, 4}, CV_8UC1), plane(4, 4, CV_8UC1);
    cv::Mat out = cube.clone(), planeOut = plane.clone();
    for (int interp : {kCubic, kPyramidStep}) {
        EXPECT_FAILURE(downSize2X(plane, out, interp), "ERROR - plane - dims>2");
        EXPECT_FAILURE(upSize2X(cube, planeOut, interp), "ERROR - plane - dims>2");
        EXPECT_FAILURE(downSizeNX(cube, planeOut, 2, interp), "ERROR - plane - dims>2");
        EXPECT_FAILURE(upSizeNX(plane, out, 2, interp), "ERROR - plane - dims>2");
    }
}

TEST(ResampleLimitsTest, AnUnknownCodeLeavesTheOutputUnwrittenWithoutAMessage) {
    const cv::Mat in = randomPlane(12, 12, CV_16UC1), small = randomPlane(6, 6, CV_16UC1, 2);
    const cv::Mat large = randomPlane(24, 24, CV_16UC1, 3), third = randomPlane(4, 4, CV_16UC1, 4);
    for (int interp : {0, 3, 8, 256, -1}) {
        cv::Mat half = small.clone(), twice = large.clone();
        downSize2X(in, half, interp);
        upSize2X(in, twice, interp);
        EXPECT_TRUE(samePixels(small, half));
        EXPECT_TRUE(samePixels(large, twice));
    }
    // the pyramid step is unknown to the forms by n
    cv::Mat reduced = third.clone(), enlarged = large.clone();
    downSizeNX(in, reduced, 3, 257);
    upSizeNX(in, enlarged, 2, 257);
    EXPECT_TRUE(samePixels(third, reduced));
    EXPECT_TRUE(samePixels(large, enlarged));
}

// ---- n of 1 and below

TEST(ResampleLimitsTest, NOfOneIsAPlainCopy) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1, CV_32SC1}) {
        const cv::Mat in = randomPlane(7, 9, type);
        cv::Mat down = filled({9, 7}, type), up = filled({3, 2}, type);
        downSizeNX(in, down, 1, 8);
        upSizeNX(in, up, 1, 8);
        EXPECT_TRUE(samePixels(in, down));
        EXPECT_TRUE(samePixels(in, up));
    }
}

TEST(ResampleLimitsTest, NBelowOneLeavesTheOutputUnchanged) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1), before = randomPlane(5, 5, CV_16UC1, 2);
    for (int n : {0, -1, INT_MIN}) {
        cv::Mat out = before.clone();
        downSizeNX(in, out, n, kCubic);
        upSizeNX(in, out, n, kCubic);
        EXPECT_TRUE(samePixels(before, out));
    }
}

// ---- Failures

TEST(ResampleLimitsTest, AnOutputThatIsEmptyOrOfAnotherTypeIsRefused) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1);
    const uchar byte = 0;
    cv::Mat noRows(0, 4, CV_16UC1, const_cast<uchar*>(&byte));
    for (cv::Mat out : {cv::Mat(), cv::Mat(4, 4, CV_8UC1), cv::Mat(4, 4, CV_16UC3), noRows}) {
        for (int interp : {kCubic, 257}) {
            EXPECT_FAILURE(downSize2X(in, out, interp), "ERROR - downSize2X - outHalf must be allocated!");
            EXPECT_TRACED_FAILURE(upSize2X(in, out, interp), " - 103 - upSize2X : out2X is not allocated - ");
        }
        for (int n : {3, 1, 0, -1}) {
            EXPECT_FAILURE(downSizeNX(in, out, n, kCubic), "downSizeNX - out is not allocated");
            EXPECT_FAILURE(upSizeNX(in, out, n, kCubic), "ERROR - upSizeNX - outNX is not allocated");
        }
    }
}

TEST(ResampleLimitsTest, OtherTypesAreRefused) {
    for (int type : {CV_32SC1, CV_8SC1, CV_64FC1, CV_8UC3}) {
        const cv::Mat in(8, 8, type, cv::Scalar(1));
        cv::Mat out = filled({4, 4}, type);
        for (int interp : {kCubic, 8}) {
            EXPECT_FAILURE(downSize2X(in, out, interp), "ERROR - down2X - type");
            EXPECT_FAILURE(upSize2X(in, out, interp), "ERROR - up2X - type");
            EXPECT_FAILURE(downSizeNX(in, out, 2, interp), "ERROR - downSizeNX - type");
            EXPECT_FAILURE(upSizeNX(in, out, 2, interp), "ERROR - upNX - type");
        }
        EXPECT_EQ(cv::countNonZero(out.reshape(1) != filled({4, 4}, type).reshape(1)), 0);
    }
}

}  // namespace
