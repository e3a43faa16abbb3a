#include <gtest/gtest.h>

//! [use]
#include <kestrova/kestrova.h>

// Takes the detail finer than about `radius` pixels out of luminance, edges excepted. `y` keeps the rest; the result
// holds half of the difference, zero at 32768, as TVelline takes it.
cv::Mat takeDetail(cv::Mat& y, int radius) {
    cv::Mat scaled, smooth, detail;
    y.convertTo(scaled, CV_32F, 1.0 / 65535);
    TGuidedFilter filter;
    filter.setup({scaled}, scaled, radius, 0.001f);
    filter.proc({y}, smooth);
    cv::addWeighted(y, 0.5, smooth, -0.5, 32768, detail);
    y = smooth;
    return detail;
}

// Develops a packed 8-bit picture (B, G, R, A in memory) in place: stronger fine detail in the midtones, lifted
// shadows, livelier colours. False, with the picture as it was, if `report` says so.
bool develop(unsigned char* pixels, int width, int height, int step, bool (*report)(int thousandths, void* user),
             void* user) {
    TPImage picture;
    picture.convertFrom(pixels, width, height, step);
    cv::Mat base = picture.m_Y;
    const cv::Mat small = takeDetail(base, 4), medium = takeDetail(base, 16), large = takeDetail(base, 64);

    TVelline engine;
    TProgress progress(report, user);
    if (!engine.setup(picture.m_Y, small, medium, large, picture.m_Dr, picture.m_Db, &progress)) return false;
    engine.m_Y = base;  // setup needs the whole luminance; the details are added to what is left of it
    engine.m_k[TVelline::index(TVelline::ScaleSmall, TVelline::ZoneMidtones)] = 0.8f;
    engine.m_light[TVelline::LightShadows] = 0.4f;
    engine.m_bChangedS = engine.m_bChangedY = true;
    engine.proc(cv::Rect(0, 0, width, height), 1, cv::Mat());

    TColorAdjVL colour;
    colour.m_vibrance = 0.3f;
    colour.m_bChanged = true;
    cv::Mat dr, db;
    colour.proc(picture.m_Y, engine.getRoiY(), engine.m_Dr, engine.m_Db, dr, db);

    cv::Mat red(dr.size(), CV_16UC1), green(dr.size(), CV_16UC1), blue(dr.size(), CV_16UC1);
    TPImage::YDRDB2RGB(engine.getRoiY(), dr, db, red, green, blue);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c)
                pixels[y * step + 4 * x + c] = (c == 0 ? blue : c == 1 ? green : red).at<ushort>(y, x) >> 8;
    return true;
}
//! [use]

namespace {

constexpr int kWidth = 160, kHeight = 120;

// Columns of two levels of grey, the left half dark, the right half in the midtones, with a blue cast.
std::vector<unsigned char> stripes() {
    std::vector<unsigned char> pixels;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const int x = i % kWidth, grey = (x < kWidth / 2 ? 40 : 130) + x % 2 * 8;
        for (int v : {grey + 20, grey, grey, 7}) pixels.push_back(static_cast<unsigned char>(v));
    }
    return pixels;
}

TEST(DocumentedUse, OfTheReadme) {
    const std::vector<unsigned char> before = stripes();
    std::vector<unsigned char> after = before;
    ASSERT_TRUE(develop(after.data(), kWidth, kHeight, 4 * kWidth, nullptr, nullptr));

    const auto green = [](const std::vector<unsigned char>& pixels, int x) {
        return static_cast<int>(pixels[4 * (kHeight / 2 * kWidth + x) + 1]);
    };
    const auto shadow = [&](const std::vector<unsigned char>& pixels) { return green(pixels, 40) + green(pixels, 41); };
    EXPECT_GT(shadow(after), shadow(before) + 4);  // shadows are lifted
    const auto contrast = [&](const std::vector<unsigned char>& pixels) {
        return green(pixels, 121) - green(pixels, 120);
    };
    EXPECT_GT(contrast(after), contrast(before) + 2);  // fine detail is stronger in the midtones
    const auto blueness = [&](const std::vector<unsigned char>& pixels) {
        return pixels[4 * (kHeight / 2 * kWidth + 120)] - green(pixels, 120);
    };
    EXPECT_GT(blueness(after), blueness(before));  // colours are livelier
    EXPECT_EQ(after[3], before[3]);
}

TEST(DocumentedUse, OfTheReadmeCancelled) {
    const std::vector<unsigned char> before = stripes();
    std::vector<unsigned char> after = before;
    int calls = 0;
    const auto cancel = [](int, void* user) { return ++*static_cast<int*>(user) < 2; };
    EXPECT_FALSE(develop(after.data(), kWidth, kHeight, 4 * kWidth, cancel, &calls));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(after, before);
}

}  // namespace
