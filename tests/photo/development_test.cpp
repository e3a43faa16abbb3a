#include "photo/development.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "photo/profile_data.h"
#include "photo/read.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

TEST(Development, GivesThePixelsBackWhenNothingIsAskedFor) {
    const cv::Mat pixels = scene({301, 203});
    for (const Profile& profile : {Profile::srgb(), Profile::displayP3(), Profile::working()}) {
        Development development(photographOf(pixels, profile));
        EXPECT_TRUE(sameValues(rendered16(development), pixels));
    }
    for (const char* name : {"dandelion_768x512", "dandelion_768x512_16bit", "u76c0g_bliznaca_srgb8"}) {
        const Photograph photograph = bundled(name);
        const cv::Mat original = photograph.pixels.clone();
        Development development(photograph);
        EXPECT_TRUE(sameValues(rendered16(development), original)) << name;
        if (photograph.sourceBits > 8) continue;
        const cv::Mat bytes = development.render().pixels;
        for (int y = 0; y < bytes.rows; ++y)
            for (int i = 0; i < 4 * bytes.cols; ++i) ASSERT_EQ(bytes.ptr(y)[i] * 257, original.ptr<ushort>(y)[i]);
    }
}

TEST(Development, KeepsEveryPixelOfAnIdleLayerAndOfATurnedAndCroppedPhotograph) {
    const cv::Mat pixels = scene({120, 90});
    Settings settings;
    settings.layers.resize(1);
    settings.layers[0].mask.strokes = {strokeAcross()};
    EXPECT_TRUE(sameValues(rendered16(pixels, settings), pixels));

    settings.rotate = 90;
    settings.crop = {0.1, 0.2, 0.5, 0.5};
    const cv::Mat out = rendered16(pixels, settings);
    ASSERT_EQ(out.size(), cv::Size(45, 60));
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x)
            ASSERT_EQ(out.at<cv::Vec4w>(y, x), pixels.at<cv::Vec4w>(89 - (x + 9), y + 24)) << x << ", " << y;
}

TEST(Development, BeginsContinuouslyAtNeutral) {
    cv::Mat pixels = scene({200, 150});
    for (int y = 0; y < pixels.rows; ++y)  // muted, so that strong colours do not meet the end of the range
        for (int x = 0; x < pixels.cols; ++x) {
            auto& p = pixels.at<cv::Vec4w>(y, x);
            for (int c : {0, 2}) p[c] = static_cast<ushort>(p[1] + 0.25 * (p[c] - p[1]));
        }
    for (const Slider& slider : sliders()) {
        const auto change = [&](float value) {
            Settings settings;
            slider.of(settings) = value;
            return largestDifference(rendered16(pixels, settings), pixels);
        };
        // To the working space and back costs some units. On a straight line 0.01 does 2 % of what 0.5 does; the engine
        // counts thresholds from 0.01 on, and lifts the faintest detail first.
        const int half = change(0.5f);
        const double share = std::string(slider.name).find("threshold") == std::string::npos ? 0.03 : 0.06;
        EXPECT_LE(change(1e-4f), 20) << slider.name;
        EXPECT_LE(change(0.01f), share * half + 20) << slider.name;
    }
}

TEST(Development, RendersAnyRectangleAsTheCutOutOfTheWhole) {
    const cv::Mat pixels = scene({1403, 811});
    for (bool local : {false, true}) {
        Development development(photographOf(pixels));
        development.set(local ? withLayers() : lively());
        for (int step : {1, 2, 3, 7}) {
            const cv::Mat whole = rendered16(development, {0, 0, 1403, 811}, step);
            for (const cv::Rect& view : {cv::Rect(0, 0, 100, 80), cv::Rect(977, 401, 200, 300),
                                         cv::Rect(1390, 800, 13, 11), cv::Rect(21 * 7, 3 * 42, 700, 420)}) {
                const cv::Rect aligned(view.x / step, view.y / step, std::max(1, view.width / step),
                                       std::max(1, view.height / step));
                EXPECT_TRUE(sameValues(rendered16(development, view, step), whole(aligned)))
                    << view << " at step " << step;
            }
        }
    }
}

TEST(Development, RendersTheSameWhenTurnedStraightenedAndResized) {
    Settings settings = withLayers();
    for (int variant = 0; variant < 4; ++variant) {
        settings.rotate = variant * 90;
        settings.straighten = variant % 2 ? 3.3 : 0;
        settings.size = variant > 1 ? 500 : 0;
        settings.crop = {0.05, 0.1, 0.8, 0.7};
        Development development(photographOf(scene({1100, 700})));
        development.set(settings);
        for (int step : {1, 2, 3}) {
            const cv::Mat whole = rendered16(development, {cv::Point(), development.size()}, step);
            const cv::Rect part(60, 90, 150, 120);
            const cv::Rect aligned(part.x / step, part.y / step, part.width / step, part.height / step);
            EXPECT_TRUE(sameValues(rendered16(development, part, step), whole(aligned)))
                << "variant " << variant << " step " << step;
        }
    }
}

TEST(Development, IsTheSameWhetherSettingsCameAtOnceOrOneByOne) {
    const cv::Mat pixels = scene({330, 240});
    Development incremental(photographOf(pixels));
    Settings settings = withLayers();
    incremental.set(settings);
    rendered16(incremental);
    const auto expectFresh = [&](const std::string& what) {
        incremental.set(settings);
        EXPECT_TRUE(sameValues(rendered16(incremental), rendered16(pixels, settings))) << what;
    };
    for (const Slider& slider : sliders()) {
        slider.of(settings) = slider.value(settings) > 0.5f ? 0.1f : 0.75f;
        expectFresh(slider.name);
    }
    for (const Slider& slider : sliders()) {
        slider.of(settings.layers[0].adjustments) = 0.2f;
        expectFresh(std::string("local ") + slider.name);
    }
    settings.layers[0].mask.strokes.push_back(strokeAcross(1));
    expectFresh("another stroke");
    settings.layers.erase(settings.layers.begin());
    expectFresh("a layer less");
    settings.filter = DetailFilter::bilateral;
    expectFresh("another filter");
    settings.rotate = 180;
    expectFresh("turned");
    settings = Settings();
    expectFresh("back to neutral");
}

TEST(Development, KeepsColoursThatDifferInNothingElse) {
    // Red lines of one pixel on grey of the same luminance.
    cv::Mat pixels(200, 300, CV_16UC4, cv::Scalar(30000, 30000, 30000, 65535));
    for (int y = 0; y < pixels.rows; ++y)
        for (int x = 5; x < pixels.cols; x += 10) pixels.at<cv::Vec4w>(y, x) = cv::Vec4w(20000, 23500, 50000, 65535);
    const auto contrast = [](const cv::Mat& out) {
        const cv::Vec4w line = out.at<cv::Vec4w>(100, 105), ground = out.at<cv::Vec4w>(100, 101);
        return (line[2] - line[0]) - (ground[2] - ground[0]);
    };
    const int before = contrast(pixels);
    Settings settings;
    for (int variant = 0; variant < 6; ++variant) {
        settings = Settings();
        if (variant == 0) settings.small = allZones(1);
        if (variant == 1) settings.light.shadows = 1;
        if (variant == 2) settings.colour.vibrance = 0.5f;
        if (variant == 3) settings.noise.colour = 1;
        if (variant == 4) settings.noise.luminance = 1;
        if (variant == 5) settings.medium = settings.large = allZones(-1);
        EXPECT_GT(contrast(rendered16(pixels, settings)), 0.9 * before) << "variant " << variant;
    }
}

TEST(Development, LooksAlikeWhateverTheProfile) {
    const Photograph photograph = bundled("tmshre_riaphotographs_srgb8");
    cv::Mat inP3;
    ColourTransform(Profile::srgb(), Profile::displayP3()).apply(photograph.pixels, inP3, 1);
    cv::Mat inProPhoto;
    const Profile proPhoto = profileOfRaw();
    ColourTransform(Profile::srgb(), proPhoto).apply(photograph.pixels, inProPhoto, 1);
    Development::Output output;
    output.bits = 16;
    output.profile = Profile::srgb();
    for (const Preset& preset : presets()) {
        const auto developed = [&](const cv::Mat& pixels, const Profile& profile) {
            Development development(photographOf(pixels, profile));
            development.set(preset.settings);
            return development.render(output).pixels;
        };
        const cv::Mat one = developed(photograph.pixels, Profile::srgb());
        for (const cv::Mat& other : {developed(inP3, Profile::displayP3()), developed(inProPhoto, proPhoto)}) {
            double squares = 0;
            for (int y = 0; y < one.rows; ++y)
                for (int i = 0; i < 4 * one.cols; ++i)
                    squares += std::pow(one.ptr<ushort>(y)[i] - other.ptr<ushort>(y)[i], 2);
            const double mean = squares / (3.0 * static_cast<double>(one.total()));
            EXPECT_GT(10 * std::log10(65535.0 * 65535.0 / (mean + 1e-9)), 45) << preset.name;
        }
    }
}

TEST(Development, RendersPicturesOfAPixelAndOfALine) {
    for (cv::Size size : {cv::Size(1, 1), cv::Size(1, 40), cv::Size(50, 1), cv::Size(2, 3), cv::Size(17, 9)}) {
        for (DetailFilter filter :
             {DetailFilter::guided, DetailFilter::bilateral, DetailFilter::laplacian, DetailFilter::wls}) {
            Settings settings = withLayers();
            settings.filter = filter;
            Development development(photographOf(scene(size)));
            development.set(settings);
            EXPECT_EQ(rendered16(development).size(), size);
            rendered16(development, {cv::Point(), size}, 5);
            settings.straighten = 10;
            settings.size = 5;
            development.set(settings);
            EXPECT_NO_THROW(rendered16(development)) << size;
        }
    }
}

TEST(Development, RendersTheMaskOfALayerAtTheSizeOfThePixels) {
    Development development(photographOf(scene({400, 300})));
    development.set(withLayers());
    Development::Output output;
    output.maskOfLayer = 0;
    const Development::Rendering rendering = development.render({0, 0, 400, 300}, 2, output);
    ASSERT_EQ(rendering.mask.size(), cv::Size(200, 150));
    EXPECT_EQ(rendering.mask.type(), CV_8UC1);
    EXPECT_GT(rendering.mask.at<uchar>(75, 100), 200) << "on the stroke";
    EXPECT_EQ(rendering.mask.at<uchar>(140, 10), 0) << "off it";
}

TEST(Development, BlendsALayerUnderItsMask) {
    const cv::Mat pixels = scene({400, 300});
    Settings settings;
    settings.layers.resize(1);
    settings.layers[0].adjustments.light.brightness = 0.8f;
    settings.layers[0].mask.strokes = {strokeAcross()};
    Settings everywhere;
    everywhere.light.brightness = 0.8f;
    const cv::Mat out = rendered16(pixels, settings), full = rendered16(pixels, everywhere);
    EXPECT_EQ(out.at<cv::Vec4w>(280, 20), pixels.at<cv::Vec4w>(280, 20));
    EXPECT_EQ(out.at<cv::Vec4w>(135, 180), full.at<cv::Vec4w>(135, 180));
}

TEST(Development, PaintsAStrokeThatGrowsAsOneThatWasThereAtOnce) {
    for (double tolerance : {0.0, 0.5})
        for (bool inverted : {false, true}) {
            Settings whole;
            whole.layers.resize(1);
            Mask& mask = whole.layers[0].mask;
            mask.inverted = inverted;
            mask.strokes = {strokeAcross(tolerance), strokeAcross(tolerance), strokeAcross(tolerance)};
            mask.strokes[0].opacity = 0.6;
            mask.strokes[1].points = {{0.5, 0.2}, {0.6, 0.3}, {0.3, 0.8}, {0.1, 0.9}};
            mask.strokes[1].erase = true;
            mask.strokes[2].points = {{0.9, 0.9}};
            Development::Output output;
            output.maskOfLayer = 0;
            const auto maskOf = [&](Development& development, const Settings& settings) {
                development.set(settings);
                return development.render({0, 0, 400, 300}, 1, output).mask;
            };
            Development grown(photographOf(scene({400, 300})));
            Settings part = whole;
            for (std::size_t strokes = 0; strokes < 3; ++strokes)
                for (std::size_t points = 1; points <= mask.strokes[strokes].points.size(); ++points) {
                    part.layers[0].mask.strokes = {mask.strokes.begin(), mask.strokes.begin() + 1 + strokes};
                    part.layers[0].mask.strokes[strokes].points.resize(points);
                    Development fresh(photographOf(scene({400, 300})));
                    EXPECT_TRUE(sameValues(maskOf(grown, part), maskOf(fresh, part))) << strokes << ' ' << points;
                }
            part.layers[0].mask.strokes.pop_back();  // undone
            Development fresh(photographOf(scene({400, 300})));
            EXPECT_TRUE(sameValues(maskOf(grown, part), maskOf(fresh, part)));
        }
}

TEST(Development, GivesTheSamePixelsForViewsThatAlternate) {
    const cv::Mat pixels = scene({500, 400});
    Development alternating(photographOf(pixels));
    Settings settings = withLayers();
    for (int i = 0; i < 4; ++i) {
        settings.light.shadows = 0.2f * static_cast<float>(i);
        alternating.set(settings);
        for (const auto& [view, step] :
             {std::pair(cv::Rect(0, 0, 500, 400), 4), std::pair(cv::Rect(40, 60, 200, 200), 1)}) {
            Development fresh(photographOf(pixels));
            fresh.set(settings);
            EXPECT_TRUE(sameValues(rendered16(alternating, view, step), rendered16(fresh, view, step)));
        }
    }
}

TEST(Development, GivesTheSamePixelsAfterARenderingToAnotherProfileOfTheSameSpace) {
    const Photograph photograph = readPhotograph(KESTROVA_PHOTOS "/tmshre_riaphotographs_srgb8.png");
    ASSERT_EQ(photograph.profile, Profile::srgb());
    ASSERT_NE(photograph.profile.bytes(), Profile::srgb().bytes());
    Development::Output output;
    output.profile = Profile::srgb();
    Development fresh(photograph), used(photograph);
    fresh.set(lively());
    used.set(lively());
    used.render();
    EXPECT_TRUE(sameValues(used.render(output).pixels, fresh.render(output).pixels));
}

}  // namespace
}  // namespace kestrova::photo
