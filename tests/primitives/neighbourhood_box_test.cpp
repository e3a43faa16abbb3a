#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "kestrova/primitives/neighbourhood.h"
#include "tests/primitives/neighbourhood.h"
#include "tests/support/threads.h"

namespace {

struct Mask {
    IppiSize size;
    IppiPoint anchor;
};
const Mask kMasks[] = {{{1, 1}, {0, 0}},   {{3, 3}, {1, 1}},   {{2, 2}, {0, 0}},  {{2, 2}, {1, 1}}, {{1, 5}, {0, 2}},
                       {{5, 1}, {4, 0}},   {{7, 5}, {0, 4}},   {{6, 4}, {5, 0}},  {{9, 9}, {4, 4}}, {{33, 2}, {16, 1}},
                       {{2, 40}, {1, 39}}, {{17, 17}, {8, 8}}, {{12, 35}, {3, 0}}};

template <class Element>
using Box = IppStatus (*)(const Element*, int, Element*, int, IppiSize, IppiSize, IppiPoint);
template <class Element>
using BoxInPlace = IppStatus (*)(Element*, int, IppiSize, IppiSize, IppiPoint);

template <class Element>
cv::Mat filtered(Box<Element> box, const Surrounded& src, Mask mask) {
    cv::Mat dst = asSubPlane(cv::Mat(src.region.size(), src.region.type(), cv::Scalar(0)));
    EXPECT_EQ(box(src.region.ptr<Element>(), stepOf(src.region), dst.ptr<Element>(), stepOf(dst), sizeOf(dst),
                  mask.size, mask.anchor),
              ippStsNoErr);
    return dst;
}

/// Holds that the form in place gives `expected` and leaves the surroundings alone.
template <class Element>
void expectInPlace(BoxInPlace<Element> box, const Surrounded& src, Mask mask, const cv::Mat& expected) {
    Surrounded plane = src.clone();
    cv::Mat expectedFrame = src.clone().frame;
    expected.copyTo(expectedFrame(cv::Rect(mask.anchor.x, mask.anchor.y, expected.cols, expected.rows)));
    ASSERT_EQ(box(plane.region.ptr<Element>(), stepOf(plane.region), sizeOf(plane.region), mask.size, mask.anchor),
              ippStsNoErr);
    EXPECT_TRUE(samePixels(expectedFrame, plane.frame));
}

template <class Element>
cv::Mat roundedMeans(const Surrounded& src, Mask mask) {
    cv::Mat means(src.region.size(), src.region.type());
    const std::uint64_t area = static_cast<std::uint64_t>(mask.size.width) * mask.size.height;
    for (int y = 0; y < means.rows; ++y) {
        for (int x = 0; x < means.cols; ++x) {
            std::uint64_t sum = 0;
            for (int i = 0; i < mask.size.height; ++i)
                for (int j = 0; j < mask.size.width; ++j) sum += src.frame.at<Element>(y + i, x + j);
            means.at<Element>(y, x) = static_cast<Element>((2 * sum + area) / (2 * area));
        }
    }
    return means;
}

template <class Element>
void expectRoundedMeans(Box<Element> box, BoxInPlace<Element> inPlace, int type) {
    for (cv::Size size : testSizes()) {
        for (Mask mask : kMasks) {
            if (size.area() * mask.size.width * mask.size.height > 10000000) continue;
            SCOPED_TRACE(testing::Message() << size << " mask " << mask.size.width << "x" << mask.size.height);
            const Surrounded src(size, mask.size, mask.anchor, type);
            const cv::Mat expected = roundedMeans<Element>(src, mask);
            EXPECT_TRUE(samePixels(expected, filtered(box, src, mask)));
            expectInPlace(inPlace, src, mask, expected);
        }
    }
}

TEST(FilterBoxTest, BytesGiveTheMeanRoundedToNearestHalvesUp) {
    expectRoundedMeans<uchar>(ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR, CV_8UC1);
}

TEST(FilterBoxTest, WordsGiveTheMeanRoundedToNearestHalvesUp) {
    expectRoundedMeans<ushort>(ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR, CV_16UC1);
}

TEST(FilterBoxTest, HalvesRoundUp) {
    const uchar bytes[] = {0, 1, 254, 255};
    uchar means[3];
    ippiFilterBox_8u_C1R(bytes, 4, means, 3, {3, 1}, {2, 1}, {0, 0});
    EXPECT_EQ(means[0], 1);
    EXPECT_EQ(means[1], 128);
    EXPECT_EQ(means[2], 255);
}

/// One window of `mask` that holds only the highest value, then one with half a unit less in the mean, and a unit more.
template <class Element>
void expectExactLargeWindow(Box<Element> box, int type, IppiSize mask) {
    SCOPED_TRACE(testing::Message() << mask.width << "x" << mask.height);
    const Element top = std::numeric_limits<Element>::max();
    cv::Mat plane(mask.height, mask.width, type, cv::Scalar(top));
    const auto mean = [&] {
        Element value = 0;
        EXPECT_EQ(box(plane.ptr<Element>(), stepOf(plane), &value, sizeof value, {1, 1}, mask, {0, 0}), ippStsNoErr);
        return value;
    };
    EXPECT_EQ(mean(), top);
    // The sum may fall by half the area before the mean does.
    std::int64_t taken = static_cast<std::int64_t>(mask.width) * mask.height / 2;
    for (int y = 0; taken > 0; ++y) {
        for (int x = 0; x < mask.width && taken > 0; ++x) {
            const int part = static_cast<int>(std::min<std::int64_t>(taken, top));
            plane.at<Element>(y, x) = static_cast<Element>(top - part);
            taken -= part;
        }
    }
    EXPECT_EQ(mean(), top);
    plane.at<Element>(mask.height - 1, mask.width - 1) -= 1;
    EXPECT_EQ(mean(), top - 1);
}

TEST(FilterBoxTest, LargeWindowsAreExactOnBothSidesOfThirtyTwoBits) {
    // In 166x295, 184x207, 304x223 and 2936x2901 cells a quotient that is rounded a little differently shows.
    const IppiSize wordMasks[] = {{181, 181}, {182, 181}, {256, 128}, {256, 129}, {1, 40000},
                                  {401, 400}, {166, 295}, {184, 207}, {304, 223}};
    for (IppiSize mask : wordMasks) expectExactLargeWindow<ushort>(ippiFilterBox_16u_C1R, CV_16UC1, mask);
    for (IppiSize mask : {IppiSize{2899, 2899}, {2900, 2899}, {2048, 2048}, {2936, 2901}})
        expectExactLargeWindow<uchar>(ippiFilterBox_8u_C1R, CV_8UC1, mask);
}

TEST(FilterBoxTest, SumsBeyondThirtyTwoBitsGiveRoundedMeans) {
    const Mask mask{{190, 181}, {95, 90}};
    const Surrounded src({40, 30}, mask.size, mask.anchor, CV_16UC1);
    const cv::Mat expected = roundedMeans<ushort>(src, mask);
    EXPECT_TRUE(samePixels(expected, filtered(ippiFilterBox_16u_C1R, src, mask)));
    expectInPlace(ippiFilterBox_16u_C1IR, src, mask, expected);
}

/// The documented order of sums: column sums slide by one row and begin anew at every block of rows; across, sums of
/// half as many columns are added, and one column more for an odd width.
double sumOfHalves(const std::vector<double>& columns, int x, int width) {
    if (width == 1) return columns[x];
    const double both = sumOfHalves(columns, x, width / 2) + sumOfHalves(columns, x + width / 2, width / 2);
    return width % 2 ? both + columns[x + width - 1] : both;
}

/// From 192 columns on they are sums of eight columns each, and of what is left. Those that follow at distances of
/// eight are grouped by as many as there are under the mask: those up to the end of the group are added from the last
/// one down, those behind it from the first one up, then both.
double sumAcross(const std::vector<double>& columns, int x, int width) {
    if (width < 192) return sumOfHalves(columns, x, width);
    const int count = width / 8, first = x / 8, groupEnd = (first / count + 1) * count, left = width % 8;
    const auto eight = [&](int i) { return sumOfHalves(columns, 8 * i + x % 8, 8); };
    double rest = 0, beginning = 0;
    for (int i = groupEnd - 1; i >= first; --i) rest += eight(i);
    for (int i = groupEnd; i < first + count; ++i) beginning += eight(i);
    double sum = rest + beginning;
    const int last = x + width;
    if (left >= 4) sum += sumOfHalves(columns, last - left, 4);
    for (int i = last - left % 4; i < last; ++i) sum += columns[i];
    return sum;
}

Surrounded cancelling(cv::Size size, Mask mask) {
    return Surrounded(cancellingFloats(size.height + mask.size.height - 1, size.width + mask.size.width - 1), size,
                      mask.anchor);
}

cv::Mat slidingMeans(const Surrounded& src, Mask mask) {
    cv::Mat means(src.region.size(), CV_32FC1);
    const int block = mask.size.height == 1 ? 1 : std::max(2 * mask.size.height, 64);
    const double reciprocal = 1 / (double(mask.size.width) * mask.size.height);
    std::vector<double> columns(src.frame.cols);
    for (int y = 0; y < means.rows; ++y) {
        for (int x = 0; x < src.frame.cols; ++x) {
            const auto pixel = [&](int row) { return double(src.frame.at<float>(row, x)); };
            if (y % block == 0) {
                columns[x] = 0;
                for (int i = 0; i < mask.size.height; ++i) columns[x] += pixel(y + i);
            } else {
                columns[x] += pixel(y + mask.size.height - 1) - pixel(y - 1);
            }
        }
        for (int x = 0; x < means.cols; ++x)
            means.at<float>(y, x) = static_cast<float>(sumAcross(columns, x, mask.size.width) * reciprocal);
    }
    return means;
}

TEST(FilterBoxTest, FloatsAreSummedInTheDocumentedOrder) {
    for (cv::Size size : testSizes()) {
        for (Mask mask : kMasks) {
            if (size.area() * mask.size.width * mask.size.height > 10000000) continue;
            SCOPED_TRACE(testing::Message() << size << " mask " << mask.size.width << "x" << mask.size.height);
            const Surrounded src = cancelling(size, mask);
            const cv::Mat expected = slidingMeans(src, mask);
            EXPECT_TRUE(samePixels(expected, filtered(ippiFilterBox_32f_C1R, src, mask)));
            expectInPlace(ippiFilterBox_32f_C1IR, src, mask, expected);
        }
    }
}

TEST(FilterBoxTest, FloatsUnderWideWindowsAreSummedInTheDocumentedOrder) {
    std::vector<int> widths = {1001, 1600};
    for (int width = 189; width < 202; ++width) widths.push_back(width);
    for (int width : widths) {
        for (int cols : {1, 7, 8, 9, 250, 3500}) {
            SCOPED_TRACE(testing::Message() << cols << " columns, width " << width);
            const Mask mask{{width, 2}, {width / 3, 1}};
            const Surrounded src = cancelling({cols, 3}, mask);
            EXPECT_TRUE(samePixels(slidingMeans(src, mask), filtered(ippiFilterBox_32f_C1R, src, mask)));
        }
    }
}

// A value that is not finite, or too large beside the others, is in the sums of its own windows alone.
TEST(FilterBoxTest, ALargeFloatUnderWideWindowsIsInNoOtherSum) {
    const Mask mask{{301, 1}, {0, 0}};
    for (float large : {std::numeric_limits<float>::infinity(), std::nanf(""), 1e38f}) {
        cv::Mat plane(1, 2000, CV_32FC1, cv::Scalar(1)), means(1, 1700, CV_32FC1);
        plane.at<float>(0, 900) = large;
        ASSERT_EQ(ippiFilterBox_32f_C1R(plane.ptr<float>(), stepOf(plane), means.ptr<float>(), stepOf(means),
                                        {means.cols, 1}, mask.size, mask.anchor),
                  ippStsNoErr);
        for (int x = 0; x < means.cols; ++x) {
            const bool inWindow = x <= 900 && x + 301 > 900;
            ASSERT_EQ(means.at<float>(0, x) == 1.0f, !inWindow) << large << " at " << x;
        }
    }
}

TEST(FilterBoxTest, AnyNumberOfThreadsGivesTheSame) {
    for (Mask mask :
         {Mask{{3, 3}, {1, 1}}, Mask{{21, 41}, {10, 20}}, Mask{{4, 200}, {3, 199}}, Mask{{5, 200}, {3, 0}}}) {
        const cv::Size size(211, 160);
        const Surrounded bytes(size, mask.size, mask.anchor, CV_8UC1), words(size, mask.size, mask.anchor, CV_16UC1),
            floats = cancelling(size, mask);
        const cv::Mat expected8u = roundedMeans<uchar>(bytes, mask), expected16u = roundedMeans<ushort>(words, mask),
                      expected32f = slidingMeans(floats, mask);
        withThreadCounts([&](int) {
            EXPECT_TRUE(samePixels(expected8u, filtered(ippiFilterBox_8u_C1R, bytes, mask)));
            EXPECT_TRUE(samePixels(expected16u, filtered(ippiFilterBox_16u_C1R, words, mask)));
            EXPECT_TRUE(samePixels(expected32f, filtered(ippiFilterBox_32f_C1R, floats, mask)));
            expectInPlace(ippiFilterBox_8u_C1IR, bytes, mask, expected8u);
            expectInPlace(ippiFilterBox_16u_C1IR, words, mask, expected16u);
            expectInPlace(ippiFilterBox_32f_C1IR, floats, mask, expected32f);
        });
    }
}

/// The mean of the window at (y, x), summed in long double.
float directMean(const Surrounded& src, Mask mask, int y, int x) {
    long double sum = 0;
    for (int i = 0; i < mask.size.height; ++i)
        for (int j = 0; j < mask.size.width; ++j) sum += src.frame.at<float>(y + i, x + j);
    return static_cast<float>(sum / mask.size.width / mask.size.height);
}

TEST(FilterBoxTest, FloatsAreWithinAUnitOfTheDirectMean) {
    const Mask mask{{25, 31}, {12, 15}};
    const Surrounded src(randomPlane(230, 324, CV_32FC1, 0.001, 1), {300, 200}, mask.anchor);
    const cv::Mat means = filtered(ippiFilterBox_32f_C1R, src, mask);
    for (int y = 0; y < 200; y += 7)
        for (int x = 0; x < 300; x += 11) ASSERT_FLOAT_EQ(means.at<float>(y, x), directMean(src, mask, y, x));
}

TEST(FilterBoxTest, FarFromABrightHalfADarkHalfIsExact) {
    const Mask mask{{9, 9}, {4, 4}};
    for (bool transposed : {false, true}) {
        cv::Mat pixels = randomPlane(600, 208, CV_32FC1, 1e-6, 2e-6);
        pixels.rowRange(0, 300) = randomPlane(300, 208, CV_32FC1, 1e9, 2e9);
        if (transposed) pixels = pixels.t();
        const Surrounded src(pixels, {pixels.cols - 8, pixels.rows - 8}, mask.anchor);
        const cv::Mat means = filtered(ippiFilterBox_32f_C1R, src, mask);
        for (int along = 340; along < 592; along += 13) {
            for (int across = 0; across < 200; across += 17) {
                const int y = transposed ? across : along, x = transposed ? along : across;
                ASSERT_FLOAT_EQ(means.at<float>(y, x), directMean(src, mask, y, x)) << y << ' ' << x;
            }
        }
    }
}

TEST(FilterBoxTest, AMaskOfOnePixelCopies) {
    const Mask mask{{1, 1}, {0, 0}};
    const Surrounded src = cancelling({40, 70}, mask);
    EXPECT_TRUE(samePixels(src.region, filtered(ippiFilterBox_32f_C1R, src, mask)));
    expectInPlace(ippiFilterBox_32f_C1IR, src, mask, src.region.clone());
}

TEST(FilterBoxTest, AConstantStaysItself) {
    for (float value : {0.1f, 1.0f / 3.0f, 123456.7f, 1e-30f}) {
        const Mask mask{{11, 7}, {5, 3}};
        const Surrounded src(cv::Mat(206, 310, CV_32FC1, cv::Scalar(value)), {300, 200}, mask.anchor);
        EXPECT_TRUE(
            samePixels(cv::Mat(200, 300, CV_32FC1, cv::Scalar(value)), filtered(ippiFilterBox_32f_C1R, src, mask)));
    }
}

TEST(FilterBoxTest, AValueThatIsNotFiniteReachesOnlyItsWindows) {
    const Mask mask{{5, 7}, {2, 3}};
    for (float value :
         {std::nanf(""), std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()}) {
        Surrounded src({60, 90}, mask.size, mask.anchor, CV_32FC1);
        src.region.at<float>(40, 20) = value;
        src.region.at<float>(41, 50) = value;
        const cv::Mat means = filtered(ippiFilterBox_32f_C1R, src, mask);
        for (int y = 0; y < means.rows; ++y) {
            for (int x = 0; x < means.cols; ++x) {
                const bool reached = (std::abs(y - 40) <= 3 && std::abs(x - 20) <= 2) ||
                                     (std::abs(y - 41) <= 3 && std::abs(x - 50) <= 2);
                ASSERT_EQ(std::isfinite(means.at<float>(y, x)), !reached) << y << ' ' << x;
                if (reached) continue;
                ASSERT_NEAR(means.at<float>(y, x), directMean(src, mask, y, x), 1e-4);
            }
        }
        expectInPlace(ippiFilterBox_32f_C1IR, src, mask, means);
        withThreadCounts([&](int) { EXPECT_TRUE(samePixels(means, filtered(ippiFilterBox_32f_C1R, src, mask))); });
    }
}

TEST(FilterBoxTest, WorksWithinAParallelRegion) {
    const Mask mask{{7, 7}, {3, 3}};
    const Surrounded src({301, 227}, mask.size, mask.anchor, CV_16UC1);
    const cv::Mat expected = roundedMeans<ushort>(src, mask);
    std::vector<cv::Mat> results(4);
    std::vector<Surrounded> inPlace;
    for (int i = 0; i < 4; ++i) inPlace.push_back(src.clone()), results[i].create(src.region.size(), CV_16UC1);
#pragma omp parallel for num_threads(4)
    for (int i = 0; i < 4; ++i) {
        ippiFilterBox_16u_C1R(src.region.ptr<ushort>(), stepOf(src.region), results[i].ptr<ushort>(),
                              stepOf(results[i]), sizeOf(expected), mask.size, mask.anchor);
        ippiFilterBox_16u_C1IR(inPlace[i].region.ptr<ushort>(), stepOf(inPlace[i].region), sizeOf(expected), mask.size,
                               mask.anchor);
    }
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(samePixels(expected, results[i]));
        EXPECT_TRUE(samePixels(expected, inPlace[i].region.clone()));
    }
}

TEST(FilterBoxTest, RefusesMasksAndAnchorsThatDoNotFit) {
    const cv::Mat src = randomPlane(9, 9, CV_8UC1);
    cv::Mat dst(3, 3, CV_8UC1, cv::Scalar(7));
    const auto filter = [&](IppiSize mask, IppiPoint anchor) {
        return ippiFilterBox_8u_C1R(src.ptr(3) + 3, stepOf(src), dst.data, stepOf(dst), {3, 3}, mask, anchor);
    };
    const auto inPlace = [&](IppiSize mask, IppiPoint anchor) {
        return ippiFilterBox_8u_C1IR(dst.ptr(1) + 1, stepOf(dst), {1, 1}, mask, anchor);
    };
    for (IppiSize mask : {IppiSize{0, 3}, {3, 0}, {-1, 3}, {3, -1}, {INT_MAX, 1}, {65537, 65536}}) {
        EXPECT_EQ(filter(mask, {0, 0}), ippStsMaskSizeErr);
        EXPECT_EQ(inPlace(mask, {0, 0}), ippStsMaskSizeErr);
    }
    for (IppiPoint anchor : {IppiPoint{-1, 0}, {0, -1}, {3, 0}, {0, 3}}) {
        EXPECT_EQ(filter({3, 3}, anchor), ippStsAnchorErr);
        EXPECT_EQ(inPlace({3, 3}, anchor), ippStsAnchorErr);
    }
    EXPECT_TRUE(samePixels(cv::Mat(3, 3, CV_8UC1, cv::Scalar(7)), dst));
}

template <class Element>
void expectBoxRegionChecks(Box<Element> box, BoxInPlace<Element> inPlace, int type) {
    expectRegionChecks({randomPlane(3, 5, type), randomPlane(3, 5, type)}, [&](const auto& p, IppiSize size) {
        return box(p[0], p[0].step, p[1], p[1].step, size, {1, 1}, {0, 0});
    });
    expectRegionChecks({randomPlane(3, 5, type)}, [&](const auto& p, IppiSize size) {
        return inPlace(p[0], p[0].step, size, {1, 1}, {0, 0});
    });
}

TEST(FilterBoxTest, RefusesRegionsThatDoNotFit) {
    expectBoxRegionChecks<uchar>(ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR, CV_8UC1);
    expectBoxRegionChecks<ushort>(ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR, CV_16UC1);
    expectBoxRegionChecks<float>(ippiFilterBox_32f_C1R, ippiFilterBox_32f_C1IR, CV_32FC1);
}

}  // namespace
