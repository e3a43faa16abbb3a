#include "kestrova/frame/plane_checks.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/support/failures.h"
#include "tests/support/rooms.h"

namespace {

uchar pixel;

// Headers alone: nothing is read through them.
cv::Mat withStep(std::size_t step) { return cv::Mat(2, 1, CV_8UC1, &pixel, step); }

TEST(Step, IsThatOfThePlane) {
    const cv::Mat around(5, 7, CV_16UC1);
    EXPECT_EQ(stepOf(around), 14);
    EXPECT_EQ(stepOf(around(cv::Rect(1, 1, 2, 2))), 14);
    EXPECT_EQ(stepOf(withStep(INT_MAX)), INT_MAX);
    EXPECT_EQ(stepOf(cv::Mat()), 0);
}

TEST(Step, OfTwoToThe31BytesAndMoreIsRefused) {
    EXPECT_FAILURE(stepOf(withStep(std::size_t{INT_MAX} + 1)), "ERROR - plane - step>INT_MAX");
    EXPECT_FAILURE(stepOf(withStep((std::size_t{1} << 32) + 8)), "ERROR - plane - step>INT_MAX");
}

TEST(CheckPlane, RefusesThreeDimensions) {
    const cv::Mat cube(std::vector<int>{2, 2, 2}, CV_8UC1);
    EXPECT_FAILURE(checkPlane(cube), "ERROR - plane - dims>2");
    EXPECT_FAILURE(stepOf(cube), "ERROR - plane - dims>2");
    const cv::Mat plane(2, 2, CV_8UC1);
    EXPECT_FAILURE(checkPlanes(plane, cube), "ERROR - plane - dims>2");
    EXPECT_FAILURE(checkPlanes(std::vector<cv::Mat>{plane, cube}), "ERROR - plane - dims>2");
}

TEST(CheckPlane, RefusesSizesBelowZero) {
    cv::Mat plane(2, 2, CV_8UC1);
    plane.rows = -1;
    EXPECT_FAILURE(checkPlane(plane), "ERROR - plane - rows<0 || cols<0");
    plane.rows = 2, plane.cols = -1;
    EXPECT_FAILURE(checkPlane(plane), "ERROR - plane - rows<0 || cols<0");
    plane.cols = 2;
}

TEST(CheckPlane, AcceptsPlanesWithAndWithoutPixels) {
    checkPlanes(cv::Mat(), cv::Mat(0, 5, CV_8UC1), cv::Mat(5, 5, CV_32FC1), withStep(std::size_t{1} << 33));
}

}  // namespace
