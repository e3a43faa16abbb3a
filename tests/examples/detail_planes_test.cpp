#include "detail_planes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <ostream>
#include <vector>

#include "refusal.h"

namespace {

struct Named {
    DetailFilter filter;
    const char* name;
    friend std::ostream& operator<<(std::ostream& out, const Named& named) { return out << named.name; }
};

class DetailPlanesTest : public testing::TestWithParam<Named> {
protected:
    static DetailPlanes planesOf(const cv::Mat& Y) {
        TProgress progress;
        return computeDetailPlanes(Y, GetParam().filter, progress);
    }
};

INSTANTIATE_TEST_SUITE_P(Filters, DetailPlanesTest,
                         testing::Values(Named{DetailFilter::guided, "guided"},
                                         Named{DetailFilter::bilateral, "bilateral"},
                                         Named{DetailFilter::laplacian, "laplacian"}, Named{DetailFilter::wls, "wls"}),
                         [](const auto& info) { return std::string(info.param.name); });

cv::Mat plane(int width, int height, const std::function<double(int x, int y)>& value) {
    cv::Mat out(height, width, CV_16UC1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) out.at<ushort>(y, x) = cv::saturate_cast<ushort>(value(x, y));
    return out;
}

cv::Mat noise(int width, int height, int amplitude) {
    unsigned random = 1;
    return plane(width, height, [&](int, int) {
        random = random * 1664525u + 1013904223u;
        return 32768 + (static_cast<int>(random >> 16) - 32768) * static_cast<double>(amplitude) / 32768;
    });
}

/// What a detail plane stands for at a pixel.
int difference(const cv::Mat& detail, int y, int x) { return 2 * (detail.at<ushort>(y, x) - 32768); }

double rms(const cv::Mat& detail) {
    double sum = 0;
    for (int y = 0; y < detail.rows; ++y)
        for (int x = 0; x < detail.cols; ++x) sum += std::pow(difference(detail, y, x), 2);
    return std::sqrt(sum / static_cast<double>(detail.total()));
}

void expectRecomposes(const cv::Mat& Y, const DetailPlanes& planes) {
    for (const cv::Mat& detail : {planes.small, planes.medium, planes.large}) {
        ASSERT_EQ(detail.type(), CV_16UC1);
        ASSERT_EQ(detail.size(), Y.size());
    }
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x)
            ASSERT_EQ(planes.base.at<ushort>(y, x) + difference(planes.small, y, x) + difference(planes.medium, y, x) +
                          difference(planes.large, y, x),
                      Y.at<ushort>(y, x))
                << x << "," << y;
}

}  // namespace

TEST_P(DetailPlanesTest, BaseAndDetailsAreTheLuminanceExactly) {
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(9, 1), cv::Size(1, 9), cv::Size(33, 65), cv::Size(201, 133)}) {
        SCOPED_TRACE(testing::Message() << size.width << "x" << size.height);
        const cv::Mat loud = noise(size.width, size.height, 32768), quiet = noise(size.width, size.height, 2000);
        expectRecomposes(loud, planesOf(loud));
        expectRecomposes(quiet, planesOf(quiet));
    }
}

TEST_P(DetailPlanesTest, AFlatPlaneHasNoDetail) {
    for (const int level : {0, 1, 32768, 65280, 65535}) {
        const cv::Mat flat = plane(120, 90, [level](int, int) { return level; });
        const DetailPlanes planes = planesOf(flat);
        // Float planes and the solver's single precision leave some units: fivefold, less than half a level of 8 bits.
        EXPECT_LE(rms(planes.small) + rms(planes.medium) + rms(planes.large), 25) << level;
    }
}

// A halo is detail along an edge that has none. The step stands in the middle of two flat halves, so that all there is
// in the detail planes is halo; relative to the height of the step it has to stay below 5 percent for steps of half the
// range, which a setting of 1 makes no more than a faint seam.
TEST_P(DetailPlanesTest, AStepHasNextToNoHalo) {
    constexpr int kWidth = 300, kHeight = 60;
    constexpr double kMostOfLargeStep = 0.05, kMostOfStep = 0.15;
    const struct {
        int height;
        double most;
    } steps[] = {{50000, kMostOfLargeStep}, {32768, kMostOfLargeStep}, {16384, kMostOfStep}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.height);
        const cv::Mat Y =
            plane(kWidth, kHeight, [&](int x, int) { return 32768 + (x < kWidth / 2 ? -0.5 : 0.5) * step.height; });
        const DetailPlanes planes = planesOf(Y);
        int halo = 0;
        for (int x = 0; x < kWidth; ++x) {
            const int y = kHeight / 2;
            const int parts[] = {difference(planes.small, y, x), difference(planes.medium, y, x),
                                 difference(planes.large, y, x)};
            for (const int part : parts) halo = std::max(halo, std::abs(part));
            halo = std::max(halo, std::abs(parts[0] + parts[1] + parts[2]));
        }
        EXPECT_LT(halo, step.most * step.height);
    }
}

// Without faint texture in the detail planes there would be no halo either.
TEST_P(DetailPlanesTest, FaintTextureIsDetailOfItsOwnScale) {
    constexpr int kWidth = 400, kHeight = 96;
    const struct {
        int period;
        cv::Mat DetailPlanes::*plane;
    } scales[] = {{3, &DetailPlanes::small}, {10, &DetailPlanes::medium}, {64, &DetailPlanes::large}};
    for (const auto& scale : scales) {
        SCOPED_TRACE(scale.period);
        const cv::Mat waves =
            plane(kWidth, kHeight, [&](int x, int) { return 32768 + 600 * std::sin(2 * CV_PI * x / scale.period); });
        const DetailPlanes planes = planesOf(waves);
        const double own = rms(planes.*scale.plane), whole = 600 / std::sqrt(2);
        EXPECT_GT(own, 0.4 * whole) << rms(planes.small) << " " << rms(planes.medium) << " " << rms(planes.large);
    }
}

// A filter that made textures darker or brighter would turn a boost of detail into a change of tone.
TEST_P(DetailPlanesTest, TextureKeepsItsTone) {
    const cv::Mat texture = noise(300, 200, 2600);
    const DetailPlanes planes = planesOf(texture);
    EXPECT_GT(rms(planes.small), 300);
    for (const cv::Mat& detail : {planes.small, planes.medium, planes.large})
        EXPECT_NEAR(2 * (cv::mean(detail)[0] - 32768), 0, 0.02 * 2600);
}

TEST(LargeDetailPlanesTest, LeastSquaresRefusesMoreThanFourMegapixels) {
    TProgress progress;
    EXPECT_THROW(computeDetailPlanes(cv::Mat(2001, 2000, CV_16UC1, cv::Scalar(0)), DetailFilter::wls, progress),
                 Refusal);
}
