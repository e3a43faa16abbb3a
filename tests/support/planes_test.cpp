#include "tests/support/planes.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

TEST(PlanesTest, RandomPixelsCoverTheRangeOfTheirTypeAndStayWithinTheirPlane) {
    for (const auto& [type, low, high] :
         {std::tuple(CV_8UC1, 0, 255), std::tuple(CV_8SC1, -128, 127), std::tuple(CV_16UC1, 0, 65535),
          std::tuple(CV_16SC1, -32768, 32767), std::tuple(CV_32SC1, -1000, 1000), std::tuple(CV_32FC1, -1000, 1000),
          std::tuple(CV_64FC1, -1000, 1000)}) {
        const cv::Mat plane = asSubPlane(randomPlane(61, 67, type, 3));
        double least, most;
        cv::minMaxIdx(plane, &least, &most);
        const double hundredth = (high - low) / 100.0;
        EXPECT_GE(least, low) << type;
        EXPECT_LT(least, low + hundredth) << type;
        EXPECT_LE(most, high) << type;
        EXPECT_GT(most, high - hundredth) << type;
        EXPECT_TRUE(samePixels(plane, randomPlane(61, 67, type, 3))) << type;
        EXPECT_FALSE(samePixels(plane, randomPlane(61, 67, type, 4))) << type;
    }
    EXPECT_THROW(randomPlane(2, 2, CV_16FC1), cv::Exception);
}

}  // namespace
