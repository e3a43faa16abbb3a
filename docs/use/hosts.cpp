#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

#include <stdexcept>
#include <string>
#include <vector>

//! [use]
// Edits one picture: takes it apart once, then renders views of it while sliders move and a brush paints where they
// have an effect. For one thread.
class Editor {
public:
    Editor(const unsigned char* bgra, int width, int height, int step) {
        m_picture.convertFrom(bgra, width, height, step);
        cv::Mat base = m_picture.m_Y;
        const cv::Mat small = takeDetail(base, 4), medium = takeDetail(base, 16), large = takeDetail(base, 64);
        m_engine.setup(m_picture.m_Y, small, medium, large, m_picture.m_Dr, m_picture.m_Db, nullptr);
        m_engine.m_Y = base;  // otherwise the details would count twice
        m_brush.setInImage(&m_picture);
        m_brush.setValue(0);
    }

    void setClarity(float strength) {  // of the medium scale, in all tonal zones
        for (TVelline::Zone zone : {TVelline::ZoneBase, TVelline::ZoneShadows, TVelline::ZoneMidtones})
            m_engine.m_k[TVelline::index(TVelline::ScaleMedium, zone)] = strength;
        m_engine.m_bChangedM = true;
    }

    void setShadows(float light) {
        m_engine.m_light[TVelline::LightShadows] = light;
        m_engine.m_bChangedY = true;
    }

    void dab(const cv::Point& at) {
        m_brush.drawStart(0, 1);
        m_brush.drawADot(at, 255, 40, 20, 1, 0);
        m_brush.drawEnd();
    }

    // Red, green and blue (CV_16UC1) of every `step`-th pixel of a part of the picture.
    std::vector<cv::Mat> view(const cv::Rect& part, int step) {
        const cv::Rect r(part.x, part.y, part.width / step, part.height / step);
        m_engine.proc(r, step, cv::Mat());
        const cv::Mat before = sample(m_picture.m_Y, r, step), dr = sample(m_engine.m_Dr, r, step),
                      db = sample(m_engine.m_Db, r, step);

        m_brush.proc();
        cv::Mat mask(r.size(), CV_8UC1), y;
        upSize2X(m_brush.getMaskRoi(r, step), mask, kInterpLinear);  // the mask has half of the picture's size
        blendAlpha(before, m_engine.getRoiY(), mask, y, 1);

        cv::Mat newDr, newDb;
        m_colour.proc(before, y, dr, db, newDr, newDb);  // chroma follows luminance
        std::vector<cv::Mat> rgb;
        for (int c = 0; c < 3; ++c) rgb.emplace_back(r.size(), CV_16UC1);
        TPImage::YDRDB2RGB(y, newDr, newDb, rgb[0], rgb[1], rgb[2]);
        return rgb;
    }

private:
    static cv::Mat takeDetail(cv::Mat& y, int radius) {
        cv::Mat scaled, smooth, detail;
        y.convertTo(scaled, CV_32F, 1.0 / 65535);
        TGuidedFilter filter;
        filter.setup({scaled}, scaled, radius, 0.001f);
        filter.proc({y}, smooth);
        cv::addWeighted(y, 0.5, smooth, -0.5, 32768, detail);
        y = smooth;
        return detail;
    }

    cv::Mat sample(const cv::Mat& plane, const cv::Rect& r, int step) const {  // as the engine samples its details
        return TPImage::MatRoi(plane, r.x, r.y, r.width, r.height, step, false, step > m_engine.m_maxPlainLevel);
    }

    TPImage m_picture;
    TVelline m_engine;
    TColorAdjVL m_colour;
    TDrawMask m_brush;
};
//! [use]

//! [failures]
// Runs a call of the library; the reason why it failed, empty for success.
template <class Call>
std::string failureOf(const Call& call) try {
    call();
    return "";
} catch (const char* text) {  // the library's own, traced texts among them
    return text;              // as a copy: the next traced failure of this thread writes over the text
} catch (int) {               // some conversions of TImage
    return "kestrova failed";
} catch (const std::exception& failure) {  // cv::Exception and std::bad_alloc
    return failure.what();
}
//! [failures]

namespace {

constexpr int kWidth = 300, kHeight = 240;

// A grey ground with a weave, darker on the left.
std::vector<unsigned char> photograph() {
    std::vector<unsigned char> pixels;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const int x = i % kWidth, y = i / kWidth, v = (x < 150 ? 50 : 140) + (x / 12 + y / 12) % 2 * 10;
        for (int c = 0; c < 3; ++c) pixels.push_back(static_cast<unsigned char>(v));
        pixels.push_back(255);
    }
    return pixels;
}

TEST(DocumentedUse, OfAHost) {
    const std::vector<unsigned char> pixels = photograph();
    Editor editor(pixels.data(), kWidth, kHeight, 4 * kWidth);
    const cv::Rect part(30, 30, 240, 180);
    const auto green = [&](int step) { return editor.view(part, step)[1]; };
    const auto spread = [](const cv::Mat& plane) {
        cv::Scalar mean, deviation;
        cv::meanStdDev(plane, mean, deviation);
        return deviation[0];
    };

    const cv::Mat neutral = green(3);
    ASSERT_EQ(neutral.size(), cv::Size(80, 60));
    EXPECT_NEAR(neutral.at<ushort>(30, 10), 256 * pixels[4 * ((30 + 90) * kWidth + 30 + 30)], 256 * 11);

    editor.setClarity(1);
    editor.setShadows(0.5f);
    EXPECT_EQ(cv::norm(green(3), neutral, cv::NORM_INF), 0) << "nothing is painted yet";

    const cv::Point spot(60, 120);  // (10, 30) of the view
    editor.dab(spot);
    const cv::Mat painted = green(3);
    EXPECT_GT(painted.at<ushort>(30, 10), neutral.at<ushort>(30, 10) + 1000);
    EXPECT_EQ(painted.at<ushort>(30, 70), neutral.at<ushort>(30, 70)) << "outside of the dab";

    const cv::Rect within(5, 25, 10, 10);
    EXPECT_GT(spread(painted(within)), 1.3 * spread(neutral(within)));
    EXPECT_EQ(green(1).size(), part.size());
}

TEST(DocumentedUse, OfTheFourKindsOfFailures) {
    cv::Mat plane(4, 4, CV_16UC1, cv::Scalar(1)), none;
    EXPECT_EQ(failureOf([&] { downSize2X(plane, none, kInterpCubic); }),
              "ERROR - downSize2X - outHalf must be allocated!");
    const std::string traced = failureOf([&] { upSize2X(plane, none, kInterpCubic); });
    EXPECT_NE(traced.find("upSize2X : out2X is not allocated"), std::string::npos);
    EXPECT_EQ(failureOf([] { TImage(TImage::IM_M8U, TSize(2, 2)).halfY8U(); }), "kestrova failed");
    EXPECT_NE(failureOf([] { throw std::bad_alloc(); }), "");
    EXPECT_EQ(failureOf([&] { extremeSharpen(plane, none); }), "");
}

}  // namespace
