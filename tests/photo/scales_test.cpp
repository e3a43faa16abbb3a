#include "photo/scales.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>

#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

constexpr DetailFilter kFilters[] = {DetailFilter::guided, DetailFilter::bilateral, DetailFilter::laplacian,
                                     DetailFilter::wls};

/// Grey, of a function of the place.
template <class Value>
cv::Mat greyOf(cv::Size size, const Value& value) {
    cv::Mat out(size, CV_16UC4);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const auto v = cv::saturate_cast<ushort>(65535 * value(x, y));
            out.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    return out;
}

Settings strong(DetailFilter filter) {
    Settings settings;
    settings.small = settings.medium = settings.large = allZones(0.5f);
    settings.filter = filter;
    return settings;
}

TEST(Scales, LeaveFlatAndStraightSurfacesAsTheyAre) {
    for (DetailFilter filter : kFilters) {
        const cv::Mat flat = greyOf({1200, 800}, [](int, int) { return 0.4; });
        EXPECT_LE(largestDifference(rendered16(flat, strong(filter)), flat), 60) << static_cast<int>(filter);
        const cv::Mat slope = greyOf({1200, 800}, [](int x, int y) { return 0.2 + 0.0003 * x + 0.0002 * y; });
        const cv::Mat out = rendered16(slope, strong(filter));
        const cv::Rect inside(300, 200, 600, 400);
        EXPECT_LE(largestDifference(out(inside), slope(inside)), 0.01 * 65535) << static_cast<int>(filter);
    }
}

TEST(Scales, HaveNoHalosAtStrongEdges) {
    // All three scales at 0.5, which more than doubles them, beside an edge of half the range. What the guided filters
    // leave adds up over the scales, two thirds of it from the large one, over 16 times the width of hair; the others
    // have one such filter fewer.
    for (DetailFilter filter : kFilters) {
        const double most = filter == DetailFilter::guided ? 0.032 : 0.023;
        const cv::Mat edge = greyOf({1600, 900}, [](int x, int) { return x < 803 ? 0.25 : 0.75; });
        const cv::Mat out = rendered16(edge, strong(filter));
        double dark = 1, bright = 0;
        for (int x = 0; x < 1600; ++x) {
            const double v = out.at<cv::Vec4w>(450, x)[1] / 65535.0;
            (x < 803 ? dark : bright) = x < 803 ? std::min(dark, v) : std::max(bright, v);
        }
        EXPECT_GT(dark, 0.25 - most) << static_cast<int>(filter);
        EXPECT_LT(bright, 0.75 + most) << static_cast<int>(filter);
    }
}

TEST(Scales, HaveNoSeamsBetweenTilesAndParts) {
    // The same waves everywhere: what differs from one period to the next is a seam. 32 divides all tiles and cells.
    for (DetailFilter filter : kFilters) {
        const cv::Mat in = greyOf({1536, 1280}, [](int x, int y) {
            return 0.5 + 0.02 * std::sin(2 * CV_PI * x / 16) + 0.02 * std::sin(2 * CV_PI * y / 32);
        });
        const cv::Mat out = rendered16(in, strong(filter));
        int largest = 0;
        for (int y = 256; y < 1024; ++y)
            for (int x = 256; x < 1248; ++x)
                largest = std::max(largest, std::abs(out.at<cv::Vec4w>(y, x)[1] - out.at<cv::Vec4w>(y, x + 32)[1]));
        EXPECT_LE(largest, 257 / 2) << static_cast<int>(filter);
    }
}

TEST(Scales, BoostEachItsOwnSize) {
    // Waves of 3, 14 and 60 pixels in a picture of a megapixel: radii 1, 4 and 16.
    const double period[3] = {3, 14, 60};
    for (int s = 0; s < 3; ++s) {
        const cv::Mat in =
            greyOf({1000, 1000}, [&](int x, int) { return 0.5 + 0.01 * std::sin(2 * CV_PI * x / period[s]); });
        const cv::Rect inside(200, 200, 600, 600);
        double gains[3];
        for (int boosted = 0; boosted < 3; ++boosted) {
            Settings settings;
            (boosted == 0 ? settings.small : boosted == 1 ? settings.medium : settings.large) = allZones(0.5f);
            Development development(photographOf(in));
            development.set(settings);
            rendered16(development, {0, 0, 10, 10});
            gains[boosted] =
                meanAndDeviation(rendered16(development), inside, 1)[1] / meanAndDeviation(in, inside, 1)[1];
        }
        for (int other = 0; other < 3; ++other) EXPECT_GE(gains[s] + 0.02, gains[other]) << "wave " << s;
    }
}

std::size_t statusBytes(const std::string& what) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(what, 0) == 0) return std::stoul(line.substr(what.size() + 1)) * 1024;
    return 0;
}

TEST(Scales, WholeRenderingStaysWithinTheStatedMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer keeps what is freed";
#endif
    const cv::Size size(4200, 3200);
    Settings settings = strong(DetailFilter::guided);
    settings.light.shadows = 0.3f;
    settings.noise.colour = 0.5f;
    Development::Options options;
    options.threads = 2;
    options.keptForView = 0;
    Development development(photographOf(scene(size)), options);
    development.set(settings);
    std::ofstream("/proc/self/clear_refs") << 5;
    const std::size_t before = statusBytes("VmRSS:");
    const Development::Rendering rendering = development.render();
    const std::size_t peak = statusBytes("VmHWM:");
    const std::size_t stated = Development::memoryFor(size, settings, Development::Output(), options);
    EXPECT_LE(peak - before, stated);
    EXPECT_LE(static_cast<double>(stated) / size.area(), 26);
    EXPECT_EQ(rendering.pixels.size(), size);
}

}  // namespace
}  // namespace kestrova::photo
