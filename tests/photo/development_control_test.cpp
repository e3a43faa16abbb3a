#include <gtest/gtest.h>
#include <kestrova/kestrova.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

#include "photo/development.h"
#include "photo/error.h"
#include "tests/photo/pictures.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

// Threads, progress, cancel and refusals; what is rendered is tested in development_test.cpp.

namespace kestrova::photo {
namespace {

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
