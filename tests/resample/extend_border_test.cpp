#include <gtest/gtest.h>

#include <climits>

#include "kestrova/resample/resample.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

cv::Mat numbered(int rows, int cols) {
    cv::Mat m(rows, cols, CV_16UC1);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) m.at<ushort>(y, x) = static_cast<ushort>(100 * y + x);
    return m;
}

TEST(ExtendBorderTest, LeftAndRightTakeTheNearestInnerColumn) {
    cv::Mat m = numbered(3, 8);
    extendBorder(m, 2, 0, 3, 0);
    const int from[] = {2, 2, 2, 3, 4, 4, 4, 4};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 8; ++x) EXPECT_EQ(m.at<ushort>(y, x), 100 * y + from[x]);
}

TEST(ExtendBorderTest, TopFillsAndLetsTheBottomFillOnlyAsManyRows) {
    cv::Mat m = numbered(9, 4);
    extendBorder(m, 0, 2, 0, 3);
    const int from[] = {2, 2, 2, 3, 4, 5, 5, 5, 8};
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(m.at<ushort>(y, x), 100 * from[y] + x) << y;
}

TEST(ExtendBorderTest, ABottomWithoutATopChangesNothing) {
    cv::Mat m = numbered(9, 4);
    extendBorder(m, 0, 0, 0, 3);
    EXPECT_TRUE(samePixels(numbered(9, 4), m));
}

TEST(ExtendBorderTest, ATopWiderThanTheBottomStopsAtTheLastRow) {
    cv::Mat m = numbered(6, 2);
    extendBorder(m, 0, 3, 0, 1);
    const int from[] = {3, 3, 3, 3, 4, 4};
    for (int y = 0; y < 6; ++y) EXPECT_EQ(m.at<ushort>(y, 1), 100 * from[y] + 1);
}

TEST(ExtendBorderTest, CornersComeFromTheColumnsFilledBefore) {
    cv::Mat m = numbered(5, 5);
    extendBorder(m, 1, 1, 1, 1);
    EXPECT_EQ(m.at<ushort>(0, 0), 101);
    EXPECT_EQ(m.at<ushort>(0, 4), 103);
    EXPECT_EQ(m.at<ushort>(4, 0), 301);
    EXPECT_EQ(m.at<ushort>(4, 4), 303);
}

TEST(ExtendBorderTest, OverlappingMarginsAreCopiedInOrder) {
    cv::Mat m = numbered(1, 5);
    extendBorder(m, 3, 0, 4, 0);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(m.at<ushort>(0, x), 3);
}

TEST(ExtendBorderTest, AMarginAsLargeAsThePlaneIsRefusedBeforeAnythingIsWritten) {
    for (int width : {4, 5, INT_MAX}) {
        cv::Mat m = numbered(4, 4);
        EXPECT_FAILURE(extendBorder(m, width, 1, 1, 1), "ERROR - extendBorder - left>=m.cols");
        EXPECT_FAILURE(extendBorder(m, 1, 1, width, 1), "ERROR - extendBorder - right>=m.cols");
        EXPECT_FAILURE(extendBorder(m, 1, width, 1, 1), "ERROR - extendBorder - top>=m.rows");
        EXPECT_FAILURE(extendBorder(m, 1, 1, 1, width), "ERROR - extendBorder - bottom>=m.rows");
        EXPECT_TRUE(samePixels(numbered(4, 4), m));
        extendBorder(m, 0, 0, 0, width);  // not filled, whatever its size
        EXPECT_TRUE(samePixels(numbered(4, 4), m));
    }
    cv::Mat one = numbered(1, 1), empty;
    EXPECT_FAILURE(extendBorder(one, 0, 0, 1, 0), "ERROR - extendBorder - right>=m.cols");
    EXPECT_FAILURE(extendBorder(empty, 0, 1, 0, 0), "ERROR - extendBorder - top>=m.rows");
    extendBorder(empty, 0, 0, 0, 0);
}

TEST(ExtendBorderTest, ThreeDimensionsAreRefused) {
    cv::Mat cube(std::vector<int>{4, 4, 4}, CV_8UC1);
    EXPECT_FAILURE(extendBorder(cube, 1, 1, 1, 1), "ERROR - plane - dims>2");
}

TEST(ExtendBorderTest, NegativeWidthsFillNothing) {
    cv::Mat m = numbered(6, 6);
    extendBorder(m, -1, -2, -3, INT_MIN);
    EXPECT_TRUE(samePixels(numbered(6, 6), m));
    extendBorder(m, 0, 2, 0, -1);
    EXPECT_EQ(m.at<ushort>(5, 0), 500);
}

TEST(ExtendBorderTest, TakesPlanesOfEveryTypeAndSubPlanes) {
    for (int type : {CV_8UC1, CV_32FC1, CV_16UC3, CV_64FC1}) {
        const cv::Mat in = randomPlane(6, 7, type);
        cv::Mat m = asSubPlane(in), expected = in.clone();
        extendBorder(m, 0, 0, 2, 0);
        expected.col(4).copyTo(expected.col(5));
        expected.col(4).copyTo(expected.col(6));
        EXPECT_TRUE(samePixels(expected, m));
    }
}

}  // namespace
