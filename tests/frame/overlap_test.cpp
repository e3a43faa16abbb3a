#include "kestrova/frame/overlap.h"
#include "tests/support/rooms.h"

#include <gtest/gtest.h>

TEST(Overlap, IsThatOfTheMemoryFromTheFirstPixelToTheLast) {
    const cv::Mat around(10, 10, CV_16UC1);
    const auto overlapBothWays = [&](cv::Rect a, cv::Rect b) {
        EXPECT_EQ(overlap(around(a), around(b)), overlap(around(b), around(a))) << a << b;
        return overlap(around(a), around(b));
    };
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {2, 2, 4, 4}));
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {5, 5, 4, 4}));   // one pixel
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {6, 2, 4, 4}));   // pixels of their own, rows in turn
    EXPECT_FALSE(overlapBothWays({2, 2, 4, 4}, {6, 5, 4, 4}));  // the last row's end is the other's beginning
    EXPECT_FALSE(overlapBothWays({0, 0, 10, 5}, {0, 5, 10, 5}));
    EXPECT_FALSE(overlap(around, around.clone()));
}

TEST(Overlap, AcrossRowsIsThatOfPlanesWhoseRowsDoNotCoincide) {
    const cv::Mat around(10, 10, CV_16UC1);
    const cv::Mat in = around(cv::Rect(2, 2, 4, 4));
    EXPECT_FALSE(overlapAcrossRows(in, in));
    EXPECT_FALSE(overlapAcrossRows(in, in.clone()));
    EXPECT_TRUE(overlapAcrossRows(in, around(cv::Rect(2, 3, 4, 4))));
    EXPECT_TRUE(overlapAcrossRows(in, around(cv::Rect(3, 2, 4, 4))));
    const cv::Mat narrow(4, 4, CV_16UC1, in.data, in.step[0] / 2);  // the same beginning, another step
    EXPECT_TRUE(overlapAcrossRows(in, narrow));
}
