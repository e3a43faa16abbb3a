#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

//! [use]
// A tone curve through five points, as a table of 16 bits.
class ToneCurve final : public TLutY16U {
public:
    explicit ToneCurve(float shadows) {
        m_spline.setCtrPoint(1, 0.25f, 0.25f + shadows);
        m_spline.update();
    }
    void mapPixel(ushort& y, ushort&, ushort&) override {
        y = cv::saturate_cast<ushort>(m_spline.value(static_cast<float>(y) / 65535) * 65535);
    }

private:
    TSpline m_spline{5};
};

void lift(cv::Mat& luminance) { ToneCurve(0.1f).proc(luminance, true); }
//! [use]

namespace {

TEST(DocumentedUse, OfCurves) {
    cv::Mat luminance(4, 4, CV_16UC1, cv::Scalar(16384));
    lift(luminance);
    EXPECT_NEAR(luminance.at<ushort>(2, 2), 0.35 * 65535, 40);
}

}  // namespace
