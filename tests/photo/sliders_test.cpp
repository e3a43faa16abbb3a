#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include "photo/colour_table.h"
#include "photo/engine.h"
#include "photo/settings.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

/// What becomes of a grey of each of 256 values, as 16-bit greens: wide patches, so that detail plays no part.
std::vector<int> greysUnder(const Settings& settings) {
    constexpr int kWidth = 8;
    cv::Mat pixels(64, 256 * kWidth, CV_16UC4);
    for (int y = 0; y < pixels.rows; ++y)
        for (int x = 0; x < pixels.cols; ++x) {
            const auto v = static_cast<ushort>(x / kWidth * 257);
            pixels.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    const cv::Mat out = rendered16(pixels, settings);
    std::vector<int> greys;
    for (int i = 0; i < 256; ++i) {
        const auto p = out.at<cv::Vec4w>(32, i * kWidth + kWidth / 2);
        EXPECT_LE(std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]}), 40) << "grey " << i << " is coloured";
        greys.push_back(p[1]);
    }
    return greys;
}

Settings light(float Light::*slider, float value) {
    Settings settings;
    settings.light.*slider = value;
    return settings;
}

bool rises(const std::vector<int>& greys) { return std::is_sorted(greys.begin(), greys.end()); }

TEST(LightSliders, RiseEverywhereAloneAndTogether) {
    for (auto slider :
         {&Light::brightness, &Light::contrast, &Light::highlights, &Light::shadows, &Light::whites, &Light::blacks})
        for (float value : {-1.0f, -0.5f, 0.5f, 1.0f}) EXPECT_TRUE(rises(greysUnder(light(slider, value)))) << value;
    for (int corner = 0; corner < 64; ++corner) {
        Settings settings;
        float* const sliders[] = {&settings.light.brightness, &settings.light.contrast, &settings.light.highlights,
                                  &settings.light.shadows,    &settings.light.whites,   &settings.light.blacks};
        for (int i = 0; i < 6; ++i) *sliders[i] = corner >> i & 1 ? 1.0f : -1.0f;
        const std::vector<int> greys = greysUnder(settings);
        int largestFall = 0;
        for (int i = 1; i < 256; ++i) largestFall = std::max(largestFall, greys[i - 1] - greys[i]);
        // With all sliders at their ends at once, brightness and contrast of which work on a root that the spline's
        // 64 nodes follow in straight lines, a tone may fall by a third of a step of 8 bits: three corners of 64 do.
        EXPECT_LE(largestFall, 100) << "corner " << corner;
    }
}

TEST(LightSliders, DoMoreTheFurtherTheyAreMoved) {
    struct Reach {
        float Light::*slider;
        int first, last;  ///< the greys that it is for
    };
    for (const Reach& reach :
         {Reach{&Light::brightness, 0, 246}, Reach{&Light::highlights, 143, 255}, Reach{&Light::shadows, 0, 80},
          Reach{&Light::whites, 143, 255}, Reach{&Light::blacks, 0, 80}}) {
        std::vector<int> before = greysUnder(light(reach.slider, -1));
        for (float value : {-0.5f, 0.0f, 0.5f, 1.0f}) {
            const std::vector<int> greys = greysUnder(light(reach.slider, value));
            for (int i = 0; i < 256; ++i) {
                // The engine's spline bends back a little in the other half.
                const bool inReach = i >= reach.first && i <= reach.last;
                EXPECT_GE(greys[i], before[i] - (inReach ? 80 : 5 * 257)) << "grey " << i << " at " << value;
            }
            before = greys;
        }
    }
}

TEST(LightSliders, BrightnessKeepsBlackAndWhiteAndTheHighlightsApart) {
    for (float value : {-1.0f, -0.5f, 0.5f, 1.0f}) {
        const std::vector<int> greys = greysUnder(light(&Light::brightness, value));
        EXPECT_LE(greys[0], 2 * 257) << value;
        EXPECT_GE(greys[255], 65535 - 2 * 257) << value;
        std::set<int> brightest;
        for (int i = 192; i < 256; ++i) brightest.insert((greys[i] + 128) / 257);
        EXPECT_GE(brightest.size(), 24u) << "levels of the brightest quarter at " << value;
    }
    const int middle = greysUnder(light(&Light::brightness, 1))[128] / 257;
    EXPECT_GT(middle, 160);
    EXPECT_LT(greysUnder(light(&Light::brightness, -1))[128] / 257, 91);
}

TEST(LightSliders, ContrastBelowZeroIsSmooth) {
    for (float value : {-0.25f, -0.5f, -1.0f, 0.5f, 1.0f}) {
        const std::vector<int> greys = greysUnder(light(&Light::contrast, value));
        EXPECT_LE(greys[0], 257);
        EXPECT_GE(greys[255], 65535 - 257);
        EXPECT_NEAR(greys[128], 128 * 257, 600);
        // The engine's curve has 64 entries and reaches white within one of them.
        for (int i = 4; i < 246; ++i) {
            const int slope = greys[i + 1] - greys[i - 1], next = greys[i + 3] - greys[i + 1];
            EXPECT_LE(std::abs(next - slope), 80) << "bend at " << i << " at " << value;
        }
    }
}

/// A colour's chroma through the table: (dr, db) as offsets, at luminance y of 0..1.
cv::Point2d through(const Colour& colour, double y, cv::Point2d chroma) {
    const CoreScope scope(1);
    ColourTable table;
    table.set(colour);
    const auto plane = [](double v) { return cv::Mat(1, 1, CV_16UC1, cv::Scalar(cv::saturate_cast<ushort>(v))); };
    const cv::Mat Y = plane(y * 65535);
    cv::Mat dr, db;
    table.proc(Y, Y, plane(chroma.x + 32768), plane(chroma.y + 32768), dr, db);
    return {dr.at<ushort>(0, 0) - 32768.0, db.at<ushort>(0, 0) - 32768.0};
}

TEST(ColourSliders, NeutralTableKeepsColours) {
    for (double y : {0.05, 0.3, 0.7, 0.95})
        for (cv::Point2d c : {cv::Point2d(0, 0), cv::Point2d(3000, -5000), cv::Point2d(-12000, 9000)})
            // The core lets chroma shrink by up to 1 of 1025 in the dark.
            EXPECT_LE(cv::norm(through({}, y, c) - c), 2 + cv::norm(c) / 1000);
}

TEST(ColourSliders, VibranceLeavesGreysAndNeverTripls) {
    Colour vibrance;
    for (float value : {0.3f, 1.0f}) {
        vibrance.vibrance = value;
        double largest = 0;
        for (double y : {0.1, 0.3, 0.5, 0.8})
            for (double angle = 0; angle < 6.28; angle += 0.3)
                for (double size = 60; size < 20000; size *= 1.3) {
                    const cv::Point2d c(size * std::cos(angle), size * std::sin(angle));
                    const double factor = cv::norm(through(vibrance, y, c)) / size;
                    if (size <= 0.02 * 32768 && value == 0.3f) {
                        EXPECT_LE(factor, 1.1) << size << " at " << angle;
                    }
                    EXPECT_GE(factor, 0.97);
                    largest = std::max(largest, factor);
                }
        EXPECT_LE(largest, 3);
        EXPECT_GE(largest, 1 + value / 2) << "it does something";
    }
}

TEST(ColourSliders, TemperatureLeavesBlackAndWhite) {
    for (float value : {-1.0f, -0.5f, 0.5f, 1.0f}) {
        cv::Mat pixels(64, 192, CV_16UC4, cv::Scalar(65535, 65535, 65535, 65535));
        pixels.colRange(0, 64).setTo(cv::Scalar(0, 0, 0, 65535));
        pixels.colRange(64, 128).setTo(cv::Scalar(32768, 32768, 32768, 65535));
        Settings settings;
        settings.colour.temperature = value;
        const cv::Mat out = rendered16(pixels, settings);
        const cv::Vec4w black = out.at<cv::Vec4w>(32, 32), grey = out.at<cv::Vec4w>(32, 96),
                        white = out.at<cv::Vec4w>(32, 160);
        for (int c = 0; c < 3; ++c) {
            EXPECT_LE(black[c], 20) << value;
            EXPECT_GE(white[c], 65535 - 2 * 257) << value;
        }
        EXPECT_GT((grey[2] - grey[0]) * value, 1500) << "warm is red, cool is blue";
    }
}

TEST(ColourSliders, TintIsSymmetric) {
    Colour magenta, green;
    magenta.tint = 0.6f;
    green.tint = -0.6f;
    for (double y : {0.2, 0.4, 0.6, 0.8}) {
        const cv::Point2d one = through(magenta, y, {0, 0}), other = through(green, y, {0, 0});
        EXPECT_LE(cv::norm(one + other), 4) << y;
        EXPECT_GT(one.x, 300);
        EXPECT_GT(one.y, 300);
    }
}

TEST(ColourSliders, SaturationGoesFromGreyToFourTimes) {
    Colour grey, strong;
    grey.saturation = -1;
    strong.saturation = 1;
    for (double size : {500.0, 3000.0, 8000.0}) {
        EXPECT_LE(cv::norm(through(grey, 0.5, {size, -size})), 2);
        EXPECT_GT(cv::norm(through(strong, 0.5, {size, 0})), 1.3 * size);
    }
    EXPECT_LE(cv::norm(through(strong, 0.5, {0, 0})), 2) << "greys stay grey";
    double before = 0;
    for (int i = -10; i <= 10; ++i) {
        Colour colour;
        colour.saturation = 0.1f * static_cast<float>(i);
        const double now = cv::norm(through(colour, 0.5, {3000, 1000}));
        EXPECT_GE(now, before) << i;
        before = now;
    }
}

TEST(MixSliders, MoveTheirColourAndLeaveGrey) {
    cv::Mat pixels(64, 128, CV_16UC4, cv::Scalar(30000, 30000, 30000, 65535));
    pixels.colRange(0, 64).setTo(cv::Scalar(10000, 15000, 50000, 65535));
    const auto greenOf = [&](float red, int x) {
        Settings settings;
        settings.mix.red = red;
        return rendered16(pixels, settings).at<cv::Vec4w>(32, x)[1];
    };
    EXPECT_GT(greenOf(0.3f, 32), greenOf(0, 32) + 1000);
    EXPECT_LT(greenOf(-0.3f, 32), greenOf(0, 32) - 1000);
    EXPECT_NEAR(greenOf(0.3f, 100), 30000, 30);
}

}  // namespace
}  // namespace kestrova::photo
