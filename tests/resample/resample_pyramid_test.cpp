#include "kestrova/resample/resample.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "tests/resample/resample_planes.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

TEST(ResamplePyramidTest, ThePyramidStepIsThatOfOpenCV) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            cv::Mat down = filled(roundedUp(in, 2), type), up = filled({2 * in.cols, 2 * in.rows}, type);
            cv::Mat expectedDown, expectedUp;
            cv::pyrDown(in, expectedDown, down.size(), cv::BORDER_REFLECT_101);
            cv::pyrUp(in, expectedUp, up.size(), cv::BORDER_REFLECT_101);
            downSize2X(in, down, 257);
            upSize2X(in, up, 257);
            EXPECT_TRUE(samePixels(withRightColumns(expectedDown, down.cols - in.cols / 2), down)) << size;
            EXPECT_TRUE(samePixels(expectedUp, up)) << size;
        }
    }
}

TEST(ResamplePyramidTest, ThePyramidStepUpwardsIsThatOfOpenCVForEverySizeThatItTakes) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = asSubPlane(randomPlane(size.height, size.width, type));
            for (int rows : {2 * in.rows - 1, 2 * in.rows, 2 * in.rows + 1})
                for (int cols : {2 * in.cols - 1, 2 * in.cols, 2 * in.cols + 1}) {
                    cv::Mat expected;
                    cv::pyrUp(in, expected, {cols, rows}, cv::BORDER_REFLECT_101);
                    withThreadCounts([&](int) {
                        cv::Mat up = asSubPlane(filled({cols, rows}, type));
                        upSize2X(in, up, 257);
                        ASSERT_TRUE(samePixels(withRightColumns(expected, cols - 2 * in.cols), up)) << up.size();
                    });
                }
        }
    }
}

// No two rows of OpenCV's share one of an even number.
TEST(ResamplePyramidTest, TheLastOfAnOddNumberOfRowsIsMadeOfTheTwoAroundIt) {
    for (int type : {CV_8UC1, CV_16UC1, CV_16SC1}) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            for (int cols : {2 * in.cols - 1, 2 * in.cols, 2 * in.cols + 1}) {
                cv::Mat even = filled({cols, 2 * in.rows}, type), expected;
                upSize2X(in, even, 257);
                const int foursEnd = cols / 4 * 4;
                even.row(even.rows - 2).copyTo(expected);
                cv::Mat more = filled({cols, 2 * in.rows + 1}, type);
                upSize2X(in, more, 257);
                EXPECT_TRUE(samePixels(expected, more.row(more.rows - 1))) << size;

                if (foursEnd > 0) even(cv::Rect(0, even.rows - 1, foursEnd, 1)).copyTo(expected.colRange(0, foursEnd));
                withRightColumns(expected, cols - 2 * in.cols);
                cv::Mat fewer = filled({cols, 2 * in.rows - 1}, type);
                upSize2X(in, fewer, 257);
                EXPECT_TRUE(samePixels(expected, fewer.row(fewer.rows - 1))) << size;
            }
        }
    }
}

TEST(ResamplePyramidTest, ThePyramidStepWritesIntoTheCallersPlane) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1);
    cv::Mat out = filled({4, 4}, CV_16UC1);
    const uchar* before = out.data;
    downSize2X(in, out, 257);
    EXPECT_EQ(out.data, before);
}

TEST(ResamplePyramidTest, ThePyramidStepTakesOtherTypesAsFarAsOpenCVDoes) {
    const cv::Mat in = randomPlane(8, 8, CV_64FC1);
    cv::Mat out = filled({4, 4}, CV_64FC1), expected;
    cv::pyrDown(in, expected, {4, 4}, cv::BORDER_REFLECT_101);
    downSize2X(in, out, 257);
    EXPECT_TRUE(samePixels(expected, out));
    const cv::Mat in32s(8, 8, CV_32SC1, cv::Scalar(1));
    cv::Mat out32s = filled({4, 4}, CV_32SC1);
    EXPECT_THROW(downSize2X(in32s, out32s, 257), cv::Exception);
}

}  // namespace
