#include "kestrova/frame/sole_header.h"

#include <gtest/gtest.h>

#include "tests/support/rooms.h"

namespace {

TEST(SoleHeader, IsTheOnlyOneOnItsPixels) {
    cv::Mat plane(4, 5, CV_16UC1);
    EXPECT_TRUE(isSoleHeader(plane));
    {
        const cv::Mat other = plane.row(2);
        EXPECT_FALSE(isSoleHeader(plane));
        EXPECT_FALSE(isSoleHeader(other));
    }
    EXPECT_TRUE(isSoleHeader(plane));
}

TEST(SoleHeader, IsNoneOnPixelsThatOpenCVDoesNotOwn) {
    ushort pixels[20] = {};
    EXPECT_FALSE(isSoleHeader(cv::Mat(4, 5, CV_16UC1, pixels)));
    EXPECT_FALSE(isSoleHeader(cv::Mat()));
}

}  // namespace
