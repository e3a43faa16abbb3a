#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

//! [use]
// Paints a soft stroke into an empty mask, and takes it back if the user thinks better of it.
cv::Mat paint(TPImage& picture, const std::vector<cv::Point>& points, bool keep) {
    TDrawMask mask;
    mask.setInImage(&picture);
    mask.setValue(0);
    mask.drawStart(0, 1);
    for (const cv::Point& point : points) mask.drawADot(point, 255, 20, 8, 0.9f, 0);
    mask.drawEnd();
    mask.proc();
    if (!keep) mask.undo();
    mask.proc();
    return mask.getMaskRoi(cv::Rect(0, 0, picture.width(), picture.height()), 1);
}
//! [use]

namespace {

TEST(DocumentedUse, OfTheMask) {
    TPImage picture(100, 80);
    picture.m_Y.setTo(30000);
    picture.m_Dr.setTo(32768);
    picture.m_Db.setTo(32768);
    picture.m_mask.setTo(255);
    const std::vector<cv::Point> points = {{30, 40}, {40, 40}, {50, 40}};
    const cv::Mat painted = paint(picture, points, true), undone = paint(picture, points, false);
    EXPECT_EQ(painted.size(), cv::Size(50, 40));
    EXPECT_NEAR(painted.at<uchar>(20, 20), 0.9 * 255, 2);
    EXPECT_EQ(painted.at<uchar>(2, 2), 0);
    EXPECT_EQ(cv::countNonZero(undone), 0);
}

}  // namespace
