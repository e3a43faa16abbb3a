#include "photo/development.h"

#include <gtest/gtest.h>
#include <kestrova/kestrova.h>
#include <omp.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <ctime>
#include <thread>
#include <vector>

#include "photo/error.h"
#include "photo/profile_data.h"
#include "photo/read.h"
#include "tests/photo/pictures.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace kestrova::photo {
namespace {

Settings lively() {
    Settings settings;
    settings.small = allZones(0.4f);
    settings.medium = {{0.3f, 0.1f}, {-0.2f, 0}, {0.2f, -0.2f}};
    settings.large = allZones(0.2f);
    settings.light.shadows = 0.4f;
    settings.light.brightness = 0.2f;
    settings.mix.red = 0.2f;
    settings.colour.vibrance = 0.4f;
    settings.colour.temperature = -0.2f;
    settings.noise.luminance = 0.3f;
    settings.noise.colour = 0.5f;
    return settings;
}

Stroke strokeAcross(double tolerance = 0) {
    Stroke stroke;
    stroke.points = {{0.2, 0.3}, {0.7, 0.6}};
    stroke.radius = 0.1;
    stroke.tolerance = tolerance;
    return stroke;
}

Settings withLayers() {
    Settings settings = lively();
    Layer light, colour;
    light.adjustments.light.brightness = -0.5f;
    light.mask.strokes = {strokeAcross()};
    colour.adjustments.colour.saturation = -1;
    colour.adjustments.small = allZones(-0.5f);
    colour.mask.strokes = {strokeAcross(0.5)};
    colour.mask.inverted = true;
    settings.layers = {light, colour};
    return settings;
}

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

TEST(Development, GivesTheSameBitsWithAnyNumberOfThreads) {
    const cv::Mat pixels = scene({1500, 700});
    for (DetailFilter filter :
         {DetailFilter::guided, DetailFilter::bilateral, DetailFilter::laplacian, DetailFilter::wls}) {
        Settings settings = withLayers();
        settings.filter = filter;
        cv::Mat first;
        for (int threads : {1, 2, 4}) {
            Development::Options options;
            options.threads = threads;
            Development development(photographOf(pixels), options);
            development.set(settings);
            const cv::Mat out = rendered16(development);
            if (first.empty()) first = out;
            EXPECT_TRUE(sameValues(out, first)) << threads << " threads, filter " << static_cast<int>(filter);
        }
    }
}

TEST(Development, RunsSideBySideOnSeveralThreads) {
    const cv::Mat expected = rendered16(scene({900, 600}), withLayers());
    std::vector<cv::Mat> results(4);
    std::vector<std::thread> threads;
    for (cv::Mat& result : results) threads.emplace_back([&] { result = rendered16(scene({900, 600}), withLayers()); });
    for (std::thread& thread : threads) thread.join();
    for (const cv::Mat& result : results) EXPECT_TRUE(sameValues(result, expected));
}

TEST(Development, LeavesTheHostsOpenMpSettingsAndItsOutputAlone) {
    const KeepThreadSettings keep;
    omp_set_num_threads(3);
    omp_set_dynamic(1);
    omp_set_max_active_levels(2);
    EXPECT_EQ(printed([] { rendered16(scene({200, 100}), withLayers()); }), "");
    EXPECT_EQ(omp_get_max_threads(), 3);
    EXPECT_EQ(omp_get_dynamic(), 1);
    EXPECT_EQ(omp_get_max_active_levels(), 2);
    EXPECT_TRUE(Kestrova::printing());
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

TEST(Development, ReportsItsProgressUpToTheWhole) {
    Control control;
    std::vector<double> shares;
    const auto thread = std::this_thread::get_id();
    control.progress = [&](double share) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        shares.push_back(share);
    };
    Development development(photographOf(scene({1500, 1200})));
    development.set(withLayers());
    development.render(Development::Output(), &control);
    ASSERT_GT(shares.size(), 5u);
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_GT(shares.back(), 0.9);
    EXPECT_LE(shares.back(), 1.0);
}

TEST(Development, CancelledGoesOnLaterWithTheSameResult) {
    const cv::Mat pixels = scene({1500, 1200});
    const cv::Mat expected = rendered16(pixels, withLayers());
    for (double when : {0.0, 0.1, 0.3, 0.5, 0.7, 0.9}) {
        Development development(photographOf(pixels));
        development.set(withLayers());
        Control control;
        control.progress = [&](double share) {
            if (share >= when) control.cancel();
        };
        if (when == 0) control.cancel();
        Development::Output output;
        output.bits = 16;
        try {
            development.render(output, &control);
            ADD_FAILURE() << "not cancelled at " << when;
        } catch (const Error& error) {
            EXPECT_EQ(error.kind(), Error::Kind::cancelled);
        }
        EXPECT_TRUE(sameValues(development.render(output).pixels, expected));
    }
}

double milliseconds(std::clock_t from, std::clock_t to) {
    return 1e3 * static_cast<double>(to - from) / CLOCKS_PER_SEC;
}

/// Renders, and cancels from another thread when this process has worked for `delay` milliseconds. Returns how long it
/// worked on, -1 if the rendering was done by then. Time is this process' own: others of a busy machine do not count.
double latency(Development& development, double delay) {
    Control control;
    std::atomic<bool> done{false};
    std::atomic<std::clock_t> cancelled{0};
    const std::clock_t began = std::clock();
    std::thread host([&] {
        while (!done && milliseconds(began, std::clock()) < delay)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        cancelled = std::clock();
        control.cancel();
    });
    double result = -1;
    try {
        development.render(Development::Output(), &control);
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::cancelled);
        result = milliseconds(cancelled, std::clock());
    }
    done = true;
    host.join();
    return result;
}

TEST(Development, EndsSoonAfterACancelAt24Megapixels) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "sanitizers take their time";
#endif
    cv::Mat pixels(4000, 6000, CV_16UC4);
    const cv::Mat part = scene({1000, 1000});
    for (int y = 0; y < 4000; y += 1000)
        for (int x = 0; x < 6000; x += 1000) part.copyTo(pixels(cv::Rect(x, y, 1000, 1000)));
    for (DetailFilter filter :
         {DetailFilter::guided, DetailFilter::bilateral, DetailFilter::laplacian, DetailFilter::wls}) {
        Settings settings = lively();
        settings.filter = filter;
        Development::Options options;
        options.threads = 1;
        Development development(photographOf(pixels), options);
        development.set(settings);
        // Each goes on with what the one before has prepared.
        for (double delay = 15, late = 0; late >= 0; delay *= 1.45) {
            late = latency(development, delay);
            EXPECT_LE(late, 50) << "filter " << static_cast<int>(filter) << " after " << delay;
        }
    }
}

TEST(Development, RefusesWhatMakesNoSense) {
    const auto kindOf = [](auto work) {
        try {
            work();
        } catch (const Error& error) {
            return error.kind();
        }
        return Error::Kind::file;
    };
    EXPECT_EQ(kindOf([] { Development development{Photograph()}; }), Error::Kind::input);
    Development development(photographOf(scene({100, 80})));
    Settings wrong;
    wrong.light.shadows = 7;
    EXPECT_EQ(kindOf([&] { development.set(wrong); }), Error::Kind::input);
    EXPECT_EQ(development.settings(), Settings());
    Development::Output output;
    EXPECT_EQ(kindOf([&] { development.render({0, 0, 100, 80}, 0, output); }), Error::Kind::programming);
    EXPECT_EQ(kindOf([&] { development.render({200, 0, 10, 10}, 1, output); }), Error::Kind::programming);
    output.bits = 12;
    EXPECT_EQ(kindOf([&] { development.render(output); }), Error::Kind::programming);
    output = Development::Output();
    output.maskOfLayer = 0;
    EXPECT_EQ(kindOf([&] { development.render(output); }), Error::Kind::programming);
    Development::Options little;
    little.mostMemory = 1000;
    Development poor(photographOf(scene({100, 80})), little);
    EXPECT_EQ(kindOf([&] { poor.render(); }), Error::Kind::memory);
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

TEST(Development, GivesTheSamePixelsWhereverTheRenderingBeforeWasCancelled) {
    const cv::Mat pixels = scene({1100, 700});
    Settings settings = withLayers();
    Development fresh(photographOf(pixels));
    fresh.set(settings);
    const cv::Mat wanted = rendered16(fresh);
    Development::Output output;
    output.bits = 16;
    Development used(photographOf(pixels));
    used.set(lively());
    rendered16(used);
    int cancelled = 0;
    for (double share : {0.1, 0.3, 0.5, 0.7, 0.9}) {
        settings.light.contrast = static_cast<float>(share);
        used.set(settings);
        Control control;
        control.progress = [&](double done) {
            if (done >= share) control.cancel();
        };
        try {
            used.render(output, &control);
        } catch (const Error& error) {  // unless all of it was under way by then
            EXPECT_EQ(error.kind(), Error::Kind::cancelled);
            ++cancelled;
        }
        settings.light.contrast = withLayers().light.contrast;
        used.set(settings);
        EXPECT_TRUE(sameValues(rendered16(used), wanted)) << share;
    }
    EXPECT_GT(cancelled, 0);
}

}  // namespace
}  // namespace kestrova::photo
