#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

//! [use]
// Renders the part of a picture that a view shows, every second pixel of it, with stronger fine detail in the midtones
// and lifted shadows. The three detail planes are the host's: CV_16UC1 of full size, zero at 32768.
cv::Mat renderView(TPImage& picture, const cv::Mat& base, const cv::Mat& small, const cv::Mat& medium,
                   const cv::Mat& large, const cv::Rect& view) {
    TVelline engine;
    TProgress progress;
    engine.setup(picture.m_Y, small, medium, large, picture.m_Dr, picture.m_Db, &progress);
    engine.m_Y = base;  // what is left of luminance without the details
    engine.m_k[TVelline::index(TVelline::ScaleSmall, TVelline::ZoneMidtones)] = 0.8f;
    engine.m_light[TVelline::LightShadows] = 0.4f;
    engine.m_bChangedS = engine.m_bChangedY = true;
    engine.proc(view, 2, cv::Mat());
    return engine.getRoiY();
}
//! [use]

namespace {

TEST(DocumentedUse, OfTheDetailEngine) {
    TPImage picture(64, 48);
    picture.m_Y.setTo(12000);
    picture.m_Dr.setTo(32768);
    picture.m_Db.setTo(32768);
    const cv::Mat none(48, 64, CV_16UC1, cv::Scalar(32768));
    const cv::Mat view = renderView(picture, picture.m_Y, none, none, none, cv::Rect(8, 8, 20, 16));
    EXPECT_FALSE(view.empty());
    EXPECT_GT(view.at<ushort>(4, 4), 12000);
}

}  // namespace
