#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

//! [use]
// A plane at a quarter of its size, and a picture's red difference at full size, its edges where luminance has them.
cv::Mat thumbnail(const cv::Mat& plane) {
    cv::Mat small(plane.rows / 4, plane.cols / 4, plane.type());
    downSizeNX(plane, small, 4, kInterpCubic);
    return small;
}

cv::Mat fullSizeRed(const TPImage& picture) {
    cv::Mat dr;
    upSize2XGuidedByYSimple(picture.m_Y, picture.m_Dr, dr);
    return dr;
}
//! [use]

namespace {

TEST(DocumentedUse, OfResampling) {
    EXPECT_EQ(thumbnail(cv::Mat(40, 61, CV_16UC1, cv::Scalar(9))).size(), cv::Size(15, 10));

    TPImage picture(20, 10);
    picture.m_Y.setTo(1000);
    picture.m_Dr.setTo(30000);
    picture.m_Y.colRange(11, 20).setTo(50000);  // the edge runs between two pixels of the half-size plane
    picture.m_Dr.colRange(6, 10).setTo(40000);
    const cv::Mat dr = fullSizeRed(picture);
    EXPECT_EQ(dr.at<ushort>(5, 10), 30000);
    EXPECT_EQ(dr.at<ushort>(5, 11), 40000);
}

}  // namespace
