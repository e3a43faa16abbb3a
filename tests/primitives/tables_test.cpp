#include "kestrova/primitives/tables.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "tests/primitives/region.h"
#include "tests/support/threads.h"

namespace {

template <class From, class To>
using LookUp = IppStatus (*)(const From*, int, To*, int, IppiSize, const To*, int);

template <class From, class To>
void expectLooksUp(LookUp<From, To> lookUp, int from, int to, int maxBits) {
    const cv::Mat table = randomPlane(1, 1 << maxBits, to, 21);
    std::vector<cv::Size> sizes = testSizes();
    sizes.push_back({1001, 203});
    for (cv::Size size : sizes) {
        const cv::Mat src = asSubPlane(randomPlane(size.height, size.width, from));
        for (int bits : {1, maxBits - 1, maxBits}) {
            cv::Mat expected(size, to);
            for (int y = 0; y < size.height; ++y)
                for (int x = 0; x < size.width; ++x)
                    expected.at<To>(y, x) = table.ptr<To>()[src.at<From>(y, x) & ((1 << bits) - 1)];
            withThreadCounts([&](int) {
                cv::Mat dst = asSubPlane(cv::Mat(size, to, cv::Scalar(0)));
                ASSERT_EQ(lookUp(src.ptr<From>(), stepOf(src), dst.ptr<To>(), stepOf(dst), sizeOf(src), table.ptr<To>(),
                                 bits),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels(expected, dst));
            });
        }
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, from)), asSubPlane(randomPlane(3, 5, to))},
                       [&](const auto& p, IppiSize size) {
                           return lookUp(p[0], p[0].step, p[1], p[1].step, size, table.ptr<To>(), maxBits);
                       });
    const From src[1] = {3};
    To dst[1] = {99};
    for (int bits : {0, -1, maxBits + 1, 32})
        EXPECT_EQ(lookUp(src, sizeof src, dst, sizeof dst, {1, 1}, table.ptr<To>(), bits), ippStsBadArgErr);
    EXPECT_EQ(lookUp(src, sizeof src, dst, sizeof dst, {1, 1}, nullptr, maxBits), ippStsNullPtrErr);
    EXPECT_EQ(dst[0], 99);
}

TEST(LutPaletteTest, ReplacesPixelsByTableEntries) {
    expectLooksUp<uchar, uchar>(ippiLUTPalette_8u_C1R, CV_8UC1, CV_8UC1, 8);
    expectLooksUp<ushort, ushort>(ippiLUTPalette_16u_C1R, CV_16UC1, CV_16UC1, 16);
    expectLooksUp<ushort, uchar>(ippiLUTPalette_16u8u_C1R, CV_16UC1, CV_8UC1, 16);
}

TEST(LutPaletteTest, WorksInPlace) {
    const cv::Mat table = randomPlane(1, 65536, CV_16UC1, 21);
    cv::Mat plane = randomPlane(203, 307, CV_16UC1);
    cv::Mat expected(plane.size(), plane.type());
    ippiLUTPalette_16u_C1R(plane.ptr<ushort>(), stepOf(plane), expected.ptr<ushort>(), stepOf(expected), sizeOf(plane),
                           table.ptr<ushort>(), 16);
    ippiLUTPalette_16u_C1R(plane.ptr<ushort>(), stepOf(plane), plane.ptr<ushort>(), stepOf(plane), sizeOf(plane),
                           table.ptr<ushort>(), 16);
    EXPECT_TRUE(samePixels(expected, plane));

    cv::Mat bytes = randomPlane(203, 307, CV_8UC1), expectedBytes(bytes.size(), bytes.type());
    const cv::Mat byteTable = randomPlane(1, 256, CV_8UC1, 22);
    ippiLUTPalette_8u_C1R(bytes.data, stepOf(bytes), expectedBytes.data, stepOf(expectedBytes), sizeOf(bytes),
                          byteTable.data, 8);
    ippiLUTPalette_8u_C1R(bytes.data, stepOf(bytes), bytes.data, stepOf(bytes), sizeOf(bytes), byteTable.data, 8);
    EXPECT_TRUE(samePixels(expectedBytes, bytes));
}

TEST(LutPaletteTest, EightBitsReadOnlyTheFirst256EntriesForWords) {
    const std::vector<uchar> table(256, 7);  // reading further is a sanitizer's finding
    const cv::Mat src = randomPlane(20, 30, CV_16UC1);
    cv::Mat dst(src.size(), CV_8UC1);
    ippiLUTPalette_16u8u_C1R(src.ptr<ushort>(), stepOf(src), dst.data, stepOf(dst), sizeOf(src), table.data(), 8);
    EXPECT_TRUE(samePixels(cv::Mat(src.size(), CV_8UC1, cv::Scalar(7)), dst));
}

/// Entry i of the curve, looked for level by level in the documented arithmetic.
int curveEntry(int i, const std::vector<int>& values, const std::vector<int>& levels) {
    for (std::size_t k = 0; k + 1 < levels.size(); ++k) {
        const int first = std::clamp(levels[k], 0, 65536), end = std::clamp(levels[k + 1], 0, 65536);
        if (i < first || i >= end) continue;
        if (end - first == 1) return std::clamp(values[k], 0, 65535);
        const double slope = (double(values[k + 1]) - double(values[k])) / (double(levels[k + 1]) - double(levels[k]));
        const double v = std::trunc(i * slope + values[k] + 0.5 - levels[k] * slope);
        return static_cast<int>(std::min(std::max(v, 0.0), 65535.0));
    }
    return i;
}

void expectCurve(const std::vector<int>& values, const std::vector<int>& levels) {
    cv::Mat plane(256, 256, CV_16UC1), expected(256, 256, CV_16UC1);
    for (int i = 0; i < 65536; ++i) {
        plane.ptr<ushort>()[i] = static_cast<ushort>(i);
        expected.ptr<ushort>()[i] = static_cast<ushort>(curveEntry(i, values, levels));
    }
    ASSERT_EQ(ippiLUT_Linear_16u_C1IR(plane.ptr<ushort>(), stepOf(plane), sizeOf(plane), values.data(), levels.data(),
                                      static_cast<int>(levels.size())),
              ippStsNoErr);
    EXPECT_TRUE(samePixels(expected, plane)) << testing::PrintToString(levels) << testing::PrintToString(values);
}

TEST(LutLinearTest, DrawsTheLinesBetweenLevels) {
    expectCurve({0, 65535}, {0, 65535});
    expectCurve({65535, 0}, {0, 65535});
    expectCurve({1000, 2000, 1500}, {100, 30000, 60001});
    expectCurve({32768, 32768, 32768 + 5000, 32768, 32768 - 5000, 32768, 32768},
                {0, 32768 - 10000, 32768 - 5000, 32768, 32768 + 5000, 32768 + 10000, 65535});
}

TEST(LutLinearTest, TheTermsAreAddedInTheirOrder) {
    // Entry 36576 is half a unit up, which slope * (i - level) would round the other way.
    expectCurve({22410, 9810}, {-2792, 58008});
    EXPECT_EQ(curveEntry(36576, {22410, 9810}, {-2792, 58008}), 14251);
    EXPECT_EQ(curveEntry(11088, {19082, 1445}, {9413, 11423}), 4385);
    expectCurve({19082, 1445}, {9413, 11423});
}

TEST(LutLinearTest, OutsideTheLevelsEntriesStay) {
    expectCurve({7, 9}, {1000, 1010});
    EXPECT_EQ(curveEntry(999, {7, 9}, {1000, 1010}), 999);
    EXPECT_EQ(curveEntry(1010, {7, 9}, {1000, 1010}), 1010);
}

TEST(LutLinearTest, ResultsAreClamped) {
    expectCurve({-30000, 90000}, {0, 65535});
    expectCurve({INT_MIN, INT_MAX}, {0, 65536});
    expectCurve({INT_MAX, INT_MIN}, {INT_MIN, INT_MAX});
}

TEST(LutLinearTest, LevelsMayLieOutsideTheTable) {
    expectCurve({0, 40000, 65535}, {-20000, 30000, 80000});
    expectCurve({5, 6}, {70000, 80000});
    expectCurve({5, 6}, {-70000, -60000});
}

TEST(LutLinearTest, LevelsThatDescendDrawNothing) {
    for (const std::vector<int>& levels :
         {std::vector<int>{INT_MAX, INT_MIN}, {60000, 100}, {INT_MAX, INT_MIN, INT_MIN}}) {
        cv::Mat plane(256, 256, CV_16UC1), expected(256, 256, CV_16UC1);
        for (int i = 0; i < 65536; ++i) plane.ptr<ushort>()[i] = expected.ptr<ushort>()[i] = static_cast<ushort>(i);
        const std::vector<int> values = {5, 6, 7};
        ASSERT_EQ(ippiLUT_Linear_16u_C1IR(plane.ptr<ushort>(), stepOf(plane), sizeOf(plane), values.data(),
                                          levels.data(), static_cast<int>(levels.size())),
                  ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, plane));
    }
}

TEST(LutLinearTest, ASpanOfOneEntryHoldsItsValue) {
    expectCurve({500, 70000, -3, 9}, {10, 11, 12, 13});
    // Of the line from -10 only entry 0 lies inside; its own height there would be 1409.
    ushort first = 0;
    const int values[] = {500, 1500}, levels[] = {-10, 1};
    ippiLUT_Linear_16u_C1IR(&first, sizeof first, {1, 1}, values, levels, 2);
    EXPECT_EQ(first, 500);
    expectCurve({500, 1500}, {-10, 1});
    expectCurve({500, 1500}, {65535, 65600});
}

TEST(LutLinearTest, EmptySpansDrawNothing) {
    expectCurve({1, 2, 3, 4, 5, 6, 7}, {0, 32768, 32768, 32768, 32768, 32768, 65535});
}

TEST(LutLinearTest, ChecksItsArguments) {
    const int values[] = {0, 1}, levels[] = {0, 65536};
    expectRegionChecks({asSubPlane(randomPlane(3, 5, CV_16UC1))}, [&](const auto& p, IppiSize size) {
        return ippiLUT_Linear_16u_C1IR(p[0], p[0].step, size, values, levels, 2);
    });
    ushort pixel = 9;
    EXPECT_EQ(ippiLUT_Linear_16u_C1IR(&pixel, 2, {1, 1}, nullptr, levels, 2), ippStsNullPtrErr);
    EXPECT_EQ(ippiLUT_Linear_16u_C1IR(&pixel, 2, {1, 1}, values, nullptr, 2), ippStsNullPtrErr);
    for (int count : {1, 0, -1})
        EXPECT_EQ(ippiLUT_Linear_16u_C1IR(&pixel, 2, {1, 1}, values, levels, count), ippStsBadArgErr);
    EXPECT_EQ(pixel, 9);
}

template <class Element>
Element rampReference(float offset, float slope, double i) {
    const float top = std::numeric_limits<Element>::max();
    const float v = slope * static_cast<float>(i) + offset;
    if (v >= top - 0.5f) return std::numeric_limits<Element>::max();
    if (!(v >= 0.0f)) return 0;
    return static_cast<Element>(std::trunc(v + 0.5f));
}

template <class Element>
void expectRamps(IppStatus (*ramp)(Element*, int, IppiSize, float, float, IppiAxis), int type) {
    const float lines[][2] = {{0, 1}, {-32768, 2}, {0.3f, 0.01f}, {200, -0.7f}, {-3, 0.1f}, {1e9f, -1e7f}, {70000, -3}};
    std::vector<cv::Size> sizes = testSizes();
    sizes.push_back({65536, 2});
    for (cv::Size size : sizes) {
        for (const auto& line : lines) {
            for (IppiAxis axis : {ippAxsHorizontal, ippAxsVertical, ippAxsBoth}) {
                cv::Mat expected(size, type);
                for (int y = 0; y < size.height; ++y)
                    for (int x = 0; x < size.width; ++x)
                        expected.at<Element>(y, x) = rampReference<Element>(line[0], line[1],
                                                                            axis == ippAxsHorizontal ? x
                                                                            : axis == ippAxsVertical ? y
                                                                                                     : double(x) * y);
                cv::Mat dst = asSubPlane(cv::Mat(size, type, cv::Scalar(1)));
                ASSERT_EQ(ramp(dst.ptr<Element>(), stepOf(dst), sizeOf(dst), line[0], line[1], axis), ippStsNoErr);
                EXPECT_TRUE(samePixels(expected, dst)) << line[0] << " + " << line[1] << " i, axis " << axis;
            }
        }
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, type))}, [&](const auto& p, IppiSize size) {
        return ramp(p[0], p[0].step, size, 0, 1, ippAxsHorizontal);
    });
    Element pixel = 9;
    EXPECT_EQ(ramp(&pixel, sizeof pixel, {1, 1}, 0, 1, static_cast<IppiAxis>(3)), ippStsBadArgErr);
    EXPECT_EQ(pixel, 9);
    EXPECT_EQ(ramp(&pixel, sizeof pixel, {1, 1}, std::nanf(""), 1, ippAxsHorizontal), ippStsNoErr);
    EXPECT_EQ(pixel, 0);
}

TEST(ImageRampTest, DrawsALineAlongEachAxis) {
    expectRamps<uchar>(ippiImageRamp_8u_C1R, CV_8UC1);
    expectRamps<ushort>(ippiImageRamp_16u_C1R, CV_16UC1);
}

TEST(ImageRampTest, SlopeOneIsTheIdentity) {
    std::vector<ushort> table(65536);
    ippiImageRamp_16u_C1R(table.data(), 131072, {65536, 1}, 0, 1, ippAxsHorizontal);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(table[i], i);
}

TEST(ImageRampTest, SlopeTwoAroundTheMiddle) {
    std::vector<ushort> table(65536);
    ippiImageRamp_16u_C1R(table.data(), 131072, {65536, 1}, -32768, 2, ippAxsHorizontal);
    EXPECT_EQ(table[32768], 32768);
    EXPECT_EQ(table[16384], 0);
    for (int i = 49152; i < 65536; ++i) ASSERT_EQ(table[i], 65535);
}

TEST(ImageRampTest, TheHalfIsAddedInFloat) {
    uchar byte = 9;
    ippiImageRamp_8u_C1R(&byte, 1, {1, 1}, 0x1.fffffep-2f, 0, ippAxsHorizontal);  // just below a half; the sum is 1
    EXPECT_EQ(byte, 1);
}

TEST(ImageRampTest, WithinHalfOfTheTopItIsTheTop) {
    uchar bytes[2];
    ippiImageRamp_8u_C1R(bytes, 2, {2, 1}, 254.5f, -0.001f, ippAxsHorizontal);
    EXPECT_EQ(bytes[0], 255);
    EXPECT_EQ(bytes[1], 254);
    ushort words[2];
    ippiImageRamp_16u_C1R(words, 4, {2, 1}, 65534.5f, -0.01f, ippAxsHorizontal);
    EXPECT_EQ(words[0], 65535);
    EXPECT_EQ(words[1], 65534);
}

}  // namespace
