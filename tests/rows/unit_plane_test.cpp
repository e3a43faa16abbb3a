#include "kestrova/rows/unit_plane.h"

#include <gtest/gtest.h>

#include "tests/support/planes.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

cv::Mat converted(const cv::Mat& plane) {
    cv::Mat unit;
    plane.convertTo(unit, CV_32FC1, plane.depth() == CV_8U ? 0.00392156862745098 : 1.5259021896696422e-05);
    return unit;
}

TEST(UnitPlaneTest, ScalesEveryValueAsOpenCVConvertsIt) {
    cv::Mat every(256, 256, CV_16UC1), everyByte(16, 16, CV_8UC1);
    for (int i = 0; i < 65536; ++i) every.at<ushort>(i / 256, i % 256) = static_cast<ushort>(i);
    for (int i = 0; i < 256; ++i) everyByte.at<uchar>(i / 16, i % 16) = static_cast<uchar>(i);
    EXPECT_TRUE(samePixels(converted(every), unitPlane(every)));
    EXPECT_TRUE(samePixels(converted(everyByte), unitPlane(everyByte)));
    EXPECT_EQ(unitPlane(every).at<float>(255, 255), 1.0f);
    EXPECT_EQ(unitPlane(everyByte).at<float>(15, 15), 1.0f);
}

TEST(UnitPlaneTest, ScalesPlanesOfAnySize) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat plane = randomPlane(size.height, size.width, type), expected = converted(plane);
            withThreadCounts([&](int) { EXPECT_TRUE(samePixels(expected, unitPlane(asSubPlane(plane)))) << size; });
        }
    }
}

TEST(UnitPlaneTest, HasNoScaleForOtherTypes) {
    for (int type : {CV_32FC1, CV_16SC1, CV_8UC3, CV_16UC2}) {
        const cv::Mat plane = randomPlane(5, 7, type);
        EXPECT_FALSE(hasUnitScale(plane));
        EXPECT_TRUE(samePixels(cv::Mat::zeros(5, 7, CV_32FC1), unitPlane(plane)));
    }
    EXPECT_TRUE(hasUnitScale(cv::Mat(5, 7, CV_8UC1)));
    EXPECT_TRUE(hasUnitScale(cv::Mat(5, 7, CV_16UC1)));
}

}  // namespace
