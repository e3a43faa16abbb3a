#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "kestrova/filters/guided_upsize.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/resample/resample.h"
#include "tests/filters/guided_upsize_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace {

constexpr int kNearest = 1, kLinear = 2, kCubic = 4;
constexpr int kRadius = 2;
constexpr float kEps = 0.01f;
// The filter's single precision loses some 1e-6 of the scale, which may tip the rounding of a pixel.
constexpr double kRounding = 1;

const int kTypes[] = {CV_8UC1, CV_16UC1};
using Planes = std::vector<cv::Mat>;

Planes colours(int rows, int cols, int type) {
    return {randomPlane(rows, cols, type, 1), randomPlane(rows, cols, type, 2), randomPlane(rows, cols, type, 3)};
}

cv::Mat lowFor(const Planes& guide, int n, int type) {
    return randomPlane((guide[0].rows + n - 1) / n, (guide[0].cols + n - 1) / n, type, 7);
}

Planes cut(const Planes& planes, cv::Size size) {
    Planes result;
    for (const cv::Mat& plane : planes) result.push_back(plane(cv::Rect({0, 0}, size)).clone());
    return result;
}

Planes cloned(const Planes& planes) { return cut(planes, planes[0].size()); }

Planes reduced(const Planes& guide, cv::Size size, int n, int interp) {
    Planes small;
    for (const cv::Mat& plane : guide) {
        small.emplace_back(size, plane.type());
        downSizeNX(plane, small.back(), n, interp);
    }
    return small;
}

cv::Mat unitPlane(const cv::Mat& plane) {
    cv::Mat unit;
    plane.convertTo(unit, CV_32FC1, plane.depth() == CV_8U ? 0.00392156862745098 : 1.5259021896696422e-05);
    return unit;
}

cv::Mat byTheFilter(const Planes& guide, const Planes& small, const cv::Mat& low) {
    TGuidedFilter filter;
    cv::Mat out;
    filter.setup({unitPlane(small[0]), unitPlane(small[1]), unitPlane(small[2])}, unitPlane(low), kRadius, kEps);
    filter.proc(guide, out);
    return out;
}

// Without its lines.
cv::Mat enlarged(Planes guide, const cv::Mat& low, int n, int interp = kCubic) {
    cv::Mat out;
    printed([&] { upSizeNXGuidedByRGB(guide, low, out, n, true, interp, kRadius, kEps); });
    return out;
}

// ---- Enlarging

TEST(GuidedUpsizeRgbTest, FitsAtTheSmallSizeAndAppliesAtTheLarge) {
    for (int guideType : kTypes) {
        for (int lowType : kTypes) {
            for (int n : {1, 2, 3}) {
                const Planes guide = colours(11, 18, guideType);
                const cv::Mat low = lowFor(guide, n, lowType);
                const Planes small = reduced(guide, low.size(), n, kCubic);
                const auto model = guided_reference::fitted(small, low, kRadius, static_cast<double>(kEps));
                EXPECT_TRUE(closePixels(guided_reference::applied(model, guide), enlarged(guide, low, n), kRounding));
            }
        }
    }
}

TEST(GuidedUpsizeRgbTest, GivesTheBitsOfTheFilterWithGuidesReducedByTheCallersCode) {
    for (int guideType : kTypes) {
        for (int lowType : kTypes) {
            const Planes guide = colours(47, 61, guideType);
            const Planes wide = {asSubPlane(guide[0]), asSubPlane(guide[1]), asSubPlane(guide[2])};
            const cv::Mat low = lowFor(guide, 3, lowType);
            std::vector<cv::Mat> results;
            for (int interp : {kNearest, kLinear, kCubic}) {
                const cv::Mat expected = byTheFilter(guide, reduced(guide, low.size(), 3, interp), low);
                results.push_back(enlarged(guide, low, 3, interp));
                EXPECT_EQ(expected.type(), guideType);
                EXPECT_TRUE(samePixels(expected, results.back()));
                EXPECT_TRUE(samePixels(expected, enlarged(wide, asSubPlane(low), 3, interp)));
            }
            EXPECT_FALSE(samePixels(results[0], results[1]));
            EXPECT_FALSE(samePixels(results[1], results[2]));
        }
    }
}

TEST(GuidedUpsizeRgbTest, FiltersAtOneSizeForAFactorOfOne) {
    for (const auto& [guideSize, lowSize] : std::vector<std::pair<cv::Size, cv::Size>>{
             {{30, 20}, {30, 20}}, {{30, 20}, {25, 22}}, {{30, 20}, {33, 9}}, {{30, 20}, {40, 40}}}) {
        const Planes guide = colours(guideSize.height, guideSize.width, CV_16UC1);
        const cv::Mat low = randomPlane(lowSize.height, lowSize.width, CV_8UC1, 7), before = low.clone();
        const cv::Size shared(std::min(guideSize.width, lowSize.width), std::min(guideSize.height, lowSize.height));
        const Planes part = cut(guide, shared);
        EXPECT_TRUE(samePixels(byTheFilter(part, part, cut({low}, shared)[0]), enlarged(guide, low, 1)));
        EXPECT_TRUE(samePixels(before, low));
    }
}

TEST(GuidedUpsizeRgbTest, EnlargesPlainlyWithoutTheGuide) {
    Planes guide = colours(23, 41, CV_8UC1);
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const cv::Mat low = lowFor(guide, 3, type);
        cv::Mat expected(guide[0].size(), type), out, same = low.clone();
        upSizeNX(low, expected, 3, kLinear);
        upSizeNXGuidedByRGB(guide, low, out, 3, false, kLinear, -1, -1.0f);
        upSizeNXGuidedByRGB(guide, same, same, 3, false, kLinear, -1, -1.0f);
        EXPECT_TRUE(samePixels(expected, out));
        EXPECT_TRUE(samePixels(expected, same));
        upSizeNXGuidedByRGB(guide, low, out, 1, false, kLinear, -1, -1.0f);
        EXPECT_TRUE(samePixels(low, out));
        EXPECT_NE(low.data, out.data);
    }
}

TEST(GuidedUpsizeRgbTest, LeavesTheOutputForFactorsBelowOne) {
    Planes guide = colours(20, 30, CV_8UC1);
    cv::Mat out(3, 4, CV_8UC1, cv::Scalar(9));
    const cv::Mat low = lowFor(guide, 2, CV_8UC1), before = out.clone();
    for (int n : {0, -1})
        for (bool useGuide : {false, true}) upSizeNXGuidedByRGB(guide, low, out, n, useGuide, kCubic, 2, kEps);
    EXPECT_TRUE(samePixels(before, out));
}

TEST(GuidedUpsizeRgbTest, CopiesTheFirstPlaneOfAGuideOfFloats) {
    const Planes guide = colours(20, 30, CV_32FC1);
    for (int lowType : {CV_8UC1, CV_32FC1}) {
        EXPECT_TRUE(samePixels(guide[0], enlarged(guide, lowFor(guide, 1, lowType), 1)));
        EXPECT_TRUE(samePixels(guide[0], enlarged(guide, lowFor(guide, 2, lowType), 2)));
    }
}

TEST(GuidedUpsizeRgbTest, MayWriteOverAPlaneOfTheGuideOrTheLowPlane) {
    const Planes guide = colours(21, 34, CV_16UC1);
    for (int n : {1, 2}) {
        const cv::Mat low = lowFor(guide, n, CV_16UC1), expected = enlarged(guide, low, n);
        for (std::size_t plane : {0, 1, 2}) {
            Planes over = cloned(guide);
            printed([&] { upSizeNXGuidedByRGB(over, low, over[plane], n, true, kCubic, kRadius, kEps); });
            EXPECT_TRUE(samePixels(expected, over[plane]));
        }
        Planes same = cloned(guide);
        cv::Mat overLow = low.clone();
        printed([&] { upSizeNXGuidedByRGB(same, overLow, overLow, n, true, kCubic, kRadius, kEps); });
        EXPECT_TRUE(samePixels(expected, overLow));
        for (std::size_t plane : {0, 1, 2}) EXPECT_TRUE(samePixels(guide[plane], same[plane]));
    }
}

TEST(GuidedUpsizeRgbTest, GivesTheSameBitsWithAnyNumberOfThreads) {
    const Planes guide = colours(402, 311, CV_16UC1);
    const cv::Mat low = lowFor(guide, 2, CV_16UC1), expected = enlarged(guide, low, 2);
    withThreadCounts([&](int threads) { EXPECT_TRUE(samePixels(expected, enlarged(guide, low, 2))) << threads; });
}

// ---- Lines

/// Takes what standard output is written to, and remembers what had come at each flush.
class FlushedOutput : std::stringbuf {
public:
    FlushedOutput() : m_before(std::cout.rdbuf(this)) {}
    ~FlushedOutput() override { std::cout.rdbuf(m_before); }
    std::vector<std::string> atFlushes;
    std::function<void()> onFlush = [] {};

private:
    int sync() override {
        atFlushes.push_back(str());
        onFlush();
        return 0;
    }
    std::streambuf* m_before;
};

TEST(GuidedUpsizeRgbTest, PrintsALineAroundEachHalfOfTheFilterAndFlushesIt) {
    const std::string one = "Kestrova::upSizeNXGuidedByRGB: Before guidefilter setup...\n",
                      two = one + "Kestrova::upSizeNXGuidedByRGB: After guidefilter setup...\n",
                      three = two + "Kestrova::upSizeNXGuidedByRGB: After guidefilter proc...\n";
    Planes guide = colours(20, 30, CV_8UC1);
    cv::Mat out;
    std::vector<bool> enlargedAtFlushes;
    FlushedOutput output;
    output.onFlush = [&] { enlargedAtFlushes.push_back(!out.empty()); };
    upSizeNXGuidedByRGB(guide, lowFor(guide, 2, CV_8UC1), out, 2, true, kCubic, kRadius, kEps);
    EXPECT_EQ(output.atFlushes, (std::vector<std::string>{one, two, three}));
    EXPECT_EQ(enlargedAtFlushes, (std::vector<bool>{false, false, true}));
}

TEST(GuidedUpsizeRgbTest, PrintsNothingAtOneSizeOrWithoutTheGuide) {
    EXPECT_EQ(printed([] {
                  Planes guide = colours(20, 30, CV_8UC1);
                  cv::Mat out, p = randomPlane(20, 30, CV_8UC1);
                  upSizeNXGuidedByRGB(guide, p, out, 1, true, kCubic, kRadius, kEps);
                  upSizeNXGuidedByRGB(guide, p, out, 2, false, kCubic, kRadius, kEps);
                  upSizeNXGuidedByRGB(guide, p, out, 0, true, kCubic, kRadius, kEps);
                  filterGuidedByRGB(guide, p, kRadius, kEps);
              }),
              "");
}

TEST(GuidedUpsizeRgbTest, HasPrintedTheFirstLineWhereTheFilterRefuses) {
    Planes guide = colours(20, 30, CV_8UC1);
    cv::Mat out;
    const std::string lines = printed([&] {
        EXPECT_ANY_THROW(upSizeNXGuidedByRGB(guide, lowFor(guide, 2, CV_8UC1), out, 2, true, kCubic, -1, kEps));
    });
    EXPECT_EQ(lines, "Kestrova::upSizeNXGuidedByRGB: Before guidefilter setup...\n");
    EXPECT_TRUE(out.empty());
}

TEST(GuidedUpsizeRgbTest, HasPrintedNothingWhereTheReductionRefuses) {
    Planes guide = colours(20, 30, CV_64FC1);
    cv::Mat out, none;
    EXPECT_EQ(printed([&] {
                  EXPECT_FAILURE(
                      upSizeNXGuidedByRGB(guide, randomPlane(10, 15, CV_8UC1), out, 2, true, kCubic, 2, kEps),
                      "ERROR - downSizeNX - type");
                  EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, none, out, 2, true, kCubic, 2, kEps),
                                 "downSizeNX - out is not allocated");
              }),
              "");
    EXPECT_TRUE(out.empty());
}

// ---- In place

TEST(FilterGuidedByRgbTest, FiltersInPlace) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            if (size.area() > 10000) continue;
            Planes guide = colours(size.height, size.width, type);
            cv::Mat p = asSubPlane(randomPlane(size.height, size.width, type, 7));
            const cv::Mat expected = byTheFilter(guide, guide, p.clone());
            const uchar* before = p.data;
            filterGuidedByRGB(guide, p, kRadius, kEps);
            EXPECT_EQ(p.data, before);
            EXPECT_TRUE(samePixels(expected, p)) << size;
        }
    }
}

TEST(FilterGuidedByRgbTest, MayWriteOverRowsOfTheGuideThatItStillReads) {
    for (std::size_t plane : {0, 1, 2}) {
        cv::Mat larger = randomPlane(303, 201, CV_16UC1, 7), p = larger.rowRange(3, 303);
        Planes guide = colours(300, 201, CV_16UC1);
        guide[plane] = larger.rowRange(0, 300);
        const Planes apart = cloned(guide);
        const cv::Mat expected = byTheFilter(apart, apart, p.clone());
        filterGuidedByRGB(guide, p, kRadius, kEps);
        EXPECT_TRUE(samePixels(expected, larger.rowRange(3, 303)));
    }
}

TEST(FilterGuidedByRgbTest, FiltersTheRectangleThatTheFirstGuidePlaneShares) {
    Planes guide = {randomPlane(20, 30, CV_8UC1, 1), randomPlane(20, 35, CV_8UC1, 2), randomPlane(26, 30, CV_8UC1, 3)};
    const cv::Mat before = randomPlane(24, 27, CV_8UC1, 7);
    const Planes part = cut(guide, {27, 20});
    cv::Mat p = before.clone();
    filterGuidedByRGB(guide, p, kRadius, kEps);
    EXPECT_TRUE(samePixels(byTheFilter(part, part, cut({before}, {27, 20})[0]), p.rowRange(0, 20)));
    EXPECT_TRUE(samePixels(before.rowRange(20, 24), p.rowRange(20, 24)));
}

TEST(FilterGuidedByRgbTest, LeavesAPlaneOfAnotherDepthThanTheGuide) {
    Planes guide = colours(20, 30, CV_8UC1);
    for (int type : {CV_16UC1, CV_32FC1}) {
        cv::Mat p = randomPlane(20, 30, type, 7);
        const cv::Mat before = p.clone();
        filterGuidedByRGB(guide, p, kRadius, kEps);
        EXPECT_TRUE(samePixels(before, p));
    }
}

TEST(FilterGuidedByRgbTest, CopiesTheFirstPlaneOfAGuideOfFloats) {
    Planes guide = colours(20, 30, CV_32FC1);
    cv::Mat p = randomPlane(20, 30, CV_32FC1, 7);
    filterGuidedByRGB(guide, p, kRadius, kEps);
    EXPECT_TRUE(samePixels(guide[0], p));
}

// ---- Failures

TEST(GuidedUpsizeRgbTest, RefusesAnythingButThreeGuidePlanesOfOneType) {
    cv::Mat out, p = randomPlane(20, 30, CV_8UC1);
    const cv::Mat before = p.clone();
    for (int count : {0, 1, 2, 4}) {
        Planes guide(static_cast<std::size_t>(count), p.clone());
        const char* text = "ERROR - upSizeNXGuidedByRGB - Guide data need to be RGB...";
        for (int n : {-1, 0, 1, 2})
            EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, p, out, n, false, kCubic, kRadius, kEps), text);
        EXPECT_FAILURE(filterGuidedByRGB(guide, p, kRadius, kEps), text);
    }
    for (std::size_t odd : {0, 1, 2}) {
        Planes guide = colours(20, 30, CV_8UC1);
        guide[odd] = randomPlane(20, 30, CV_16UC1);
        const char* text = "ERROR - upSizeNXGuidedByRGB - Guide data need to use same data type...";
        for (int n : {-1, 0, 1, 2})
            EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, p, out, n, false, kCubic, kRadius, kEps), text);
        EXPECT_FAILURE(filterGuidedByRGB(guide, p, kRadius, kEps), text);
    }
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(samePixels(before, p));
}

TEST(GuidedUpsizeRgbTest, RefusesGuidePlanesOfDifferentSizesBeforeItPrintsOrWrites) {
    cv::Mat out;
    for (std::size_t odd : {1, 2}) {
        for (const cv::Size& size : {cv::Size(29, 20), cv::Size(31, 20), cv::Size(30, 19), cv::Size(30, 21)}) {
            Planes guide = colours(20, 30, CV_8UC1);
            guide[odd] = randomPlane(size.height, size.width, CV_8UC1);
            EXPECT_EQ(printed([&] {
                          EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, randomPlane(10, 15, CV_8UC1), out, 2, true, kCubic,
                                                             kRadius, kEps),
                                         "ERROR - upSizeNXGuidedByRGB - Guide data need to have the same size...");
                      }),
                      "");
        }
    }
    EXPECT_TRUE(out.empty());
    Planes floats = colours(20, 30, CV_32FC1);
    floats[1] = randomPlane(21, 33, CV_32FC1);
    EXPECT_TRUE(samePixels(floats[0], enlarged(floats, lowFor(floats, 2, CV_8UC1), 2)));
}

TEST(GuidedUpsizeRgbTest, RefusesPlanesThatDoNotFit) {
    cv::Mat out, p = randomPlane(20, 30, CV_8UC1);
    const cv::Mat before = p.clone();
    Planes guide = colours(20, 30, CV_8UC1), narrow = colours(20, 2, CV_8UC1), flat = cloned(guide), slim = flat;
    Planes narrowFloats = colours(20, 30, CV_32FC1);
    narrowFloats[2] = randomPlane(20, 2, CV_32FC1);
    flat[1] = randomPlane(19, 30, CV_8UC1);
    slim[2] = randomPlane(20, 29, CV_8UC1);
    const cv::Mat low = lowFor(guide, 3, CV_8UC1);
    const auto run = [&](Planes& planes, const cv::Mat& plane, int n, int interp) {
        upSizeNXGuidedByRGB(planes, plane, out, n, true, interp, kRadius, kEps);
    };
    const cv::Mat none;
    EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, none, out, 2, false, kCubic, kRadius, kEps),
                   "ERROR - upSizeNXGuidedByRGB - low.empty()");
    EXPECT_FAILURE(run(guide, none, 1, kCubic), "ERROR - TGuidedFilter::setup - p.empty()");
    EXPECT_FAILURE(filterGuidedByRGB(guide, out, kRadius, kEps), "ERROR - TGuidedFilter::setup - p.empty()");
    for (Planes* planes : {&narrow, &narrowFloats})
        EXPECT_FAILURE(run(*planes, low, 3, kCubic), "ERROR - upSizeNXGuidedByRGB - guide.cols < n");
    for (Planes* planes : {&flat, &slim}) {
        const char* text = "ERROR - upSizeNXGuidedByRGB - Guide data need to cover the same rectangle...";
        EXPECT_FAILURE(run(*planes, p, 1, kCubic), text);
        EXPECT_FAILURE(filterGuidedByRGB(*planes, p, kRadius, kEps), text);
    }
    EXPECT_TRUE(samePixels(before, p));
    for (int n : {1, 3})
        EXPECT_FAILURE(run(guide, lowFor(guide, n, CV_32FC1), n, kCubic),
                       "ERROR - upSizeNXGuidedByRGB - low.type() != CV_8UC1 && low.type() != CV_16UC1");
    EXPECT_TRUE(out.empty());
}

TEST(GuidedUpsizeRgbTest, OtherInterpolationCodesLeaveTheReducedGuideAtZero) {
    Planes guide = colours(20, 30, CV_8UC1);
    const cv::Mat low = lowFor(guide, 3, CV_8UC1);
    const cv::Mat expected = byTheFilter(guide, Planes(3, cv::Mat::zeros(low.size(), CV_8UC1)), low);
    for (int interp : {0, 3, 257}) EXPECT_TRUE(samePixels(expected, enlarged(guide, low, 3, interp))) << interp;
}

TEST(GuidedUpsizeRgbTest, ThreeDimensionsAreRefused) {
    const cv::Mat cube(std::vector<int>{4, 4, 4}, CV_8UC1);
    Planes guide = colours(20, 30, CV_8UC1), cubes(3, cube);
    cv::Mat out, p = cube;
    EXPECT_FAILURE(upSizeNXGuidedByRGB(guide, cube, out, 2, true, kCubic, kRadius, kEps), "ERROR - plane - dims>2");
    EXPECT_FAILURE(upSizeNXGuidedByRGB(cubes, guide[0], out, 2, false, kCubic, kRadius, kEps),
                   "ERROR - plane - dims>2");
    EXPECT_FAILURE(filterGuidedByRGB(guide, p, kRadius, kEps), "ERROR - plane - dims>2");
    EXPECT_FAILURE(upSize2XGuidedByY(cube, guide[0], out, true, kCubic, kRadius, kEps), "ERROR - plane - dims>2");
    EXPECT_FAILURE(upSizeNXGuidedByY(guide[0], cube, out, 1, true, kCubic, kRadius, kEps), "ERROR - plane - dims>2");
    EXPECT_TRUE(out.empty());
}

}  // namespace
