#include "kestrova/primitives/resize.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "kestrova/primitives/resize_axis.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

using Wide = __int128;

const int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};
const int kCodes[] = {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC};

// A factor or a shift as it is meant; the primitive gets the nearest double.
struct Fraction {
    int over, under = 1;
    double value() const { return static_cast<double>(over) / under; }
};

struct Resize {
    Fraction xFactor, yFactor, xShift, yShift;
    int code;
};

IppStatus resize(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, double xFactor, double yFactor,
                 double xShift, double yShift, int code) {
    const IppiSize srcSize = {src.cols, src.rows};
    const int srcStep = static_cast<int>(src.step), dstStep = static_cast<int>(dst.step);
    switch (src.type()) {
        case CV_8UC1:
            return ippiResizeSqrPixel_8u_C1R(src.ptr<uchar>(), srcSize, srcStep, srcROI, dst.ptr<uchar>(), dstStep,
                                             dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
        case CV_16UC1:
            return ippiResizeSqrPixel_16u_C1R(src.ptr<ushort>(), srcSize, srcStep, srcROI, dst.ptr<ushort>(), dstStep,
                                              dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
        default:
            return ippiResizeSqrPixel_32f_C1R(src.ptr<float>(), srcSize, srcStep, srcROI, dst.ptr<float>(), dstStep,
                                              dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
    }
}

cv::Mat resized(const cv::Mat& src, cv::Size size, const Resize& r) {
    cv::Mat dst(size, src.type(), cv::Scalar(77));
    EXPECT_EQ(resize(src, {0, 0, src.cols, src.rows}, dst, {0, 0, size.width, size.height}, r.xFactor.value(),
                     r.yFactor.value(), r.xShift.value(), r.yShift.value(), r.code),
              ippStsNoErr);
    return dst;
}

// ---- The reference: positions and weights in integers

Wide floorDivide(Wide a, Wide b) { return a / b - (a % b < 0); }

// The taps of one destination pixel; weights are exact fractions over `under`.
struct ReferenceTaps {
    std::vector<int> index;
    std::vector<Wide> over;
    Wide under;
};

ReferenceTaps referenceTaps(int d, Fraction factor, Fraction shift, int code, int begin, int end) {
    // position of the centre d + 1/2 - shift, divided by the factor
    const Wide under = Wide{2} * shift.under * factor.over;
    const Wide position = (Wide{2 * d + 1} * shift.under - Wide{2} * shift.over) * factor.under;
    const auto clamp = [&](Wide i) { return static_cast<int>(std::min<Wide>(std::max<Wide>(i, begin), end - 1)); };
    if (code == IPPI_INTER_NN) return {{clamp(floorDivide(position, under))}, {1}, 1};

    // from centre to centre: half a pixel less
    const Wide centre = 2 * position - under, u = 2 * under;
    const Wide pixel = floorDivide(centre, u), t = centre - pixel * u;
    if (t == 0) return {{clamp(pixel)}, {1}, 1};
    if (code == IPPI_INTER_LINEAR) return {{clamp(pixel), clamp(pixel + 1)}, {u - t, t}, u};
    // Keys' kernel for a = -1/2 at distance x: 3/2 x^3 - 5/2 x^2 + 1 within 1, -1/2 x^3 + 5/2 x^2 - 4 x + 2 from 1 to 2
    const auto keys = [u](Wide x) {
        return x <= u ? 3 * x * x * x - 5 * x * x * u + 2 * u * u * u
                      : -x * x * x + 5 * x * x * u - 8 * x * u * u + 4 * u * u * u;
    };
    return {{clamp(pixel - 1), clamp(pixel), clamp(pixel + 1), clamp(pixel + 2)},
            {keys(u + t), keys(t), keys(u - t), keys(2 * u - t)},
            2 * u * u * u};
}

// Integer planes: the exact sum, rounded to nearest with halves up, saturated.
template <class T>
T referencePixel(const cv::Mat& src, const ReferenceTaps& x, const ReferenceTaps& y, T top) {
    Wide sum = 0;
    for (std::size_t j = 0; j < y.index.size(); ++j)
        for (std::size_t i = 0; i < x.index.size(); ++i)
            sum += y.over[j] * x.over[i] * src.ptr<T>(y.index[j])[x.index[i]];
    const Wide under = x.under * y.under;
    return static_cast<T>(std::min<Wide>(std::max<Wide>(floorDivide(2 * sum + under, 2 * under), 0), top));
}

// Float planes: sums in double, along each row first, from left to right and from top to bottom.
float referencePixel(const cv::Mat& src, const ReferenceTaps& x, const ReferenceTaps& y) {
    const auto weight = [](const ReferenceTaps& taps, std::size_t k) {
        return static_cast<double>(taps.over[k]) / static_cast<double>(taps.under);
    };
    double sum = 0;
    for (std::size_t j = 0; j < y.index.size(); ++j) {
        double row = 0;
        for (std::size_t i = 0; i < x.index.size(); ++i) row += weight(x, i) * src.ptr<float>(y.index[j])[x.index[i]];
        sum += weight(y, j) * row;
    }
    return static_cast<float>(sum);
}

void reference(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, const Resize& r) {
    std::vector<ReferenceTaps> columns;
    for (int x = dstROI.x; x < dstROI.x + dstROI.width; ++x)
        columns.push_back(referenceTaps(x, r.xFactor, r.xShift, r.code, srcROI.x, srcROI.x + srcROI.width));
    for (int y = dstROI.y; y < dstROI.y + dstROI.height; ++y) {
        const ReferenceTaps row = referenceTaps(y, r.yFactor, r.yShift, r.code, srcROI.y, srcROI.y + srcROI.height);
        for (int x = dstROI.x; x < dstROI.x + dstROI.width; ++x) {
            const ReferenceTaps& column = columns[static_cast<std::size_t>(x - dstROI.x)];
            switch (src.type()) {
                case CV_8UC1: dst.at<uchar>(y, x) = referencePixel<uchar>(src, column, row, 255); break;
                case CV_16UC1: dst.at<ushort>(y, x) = referencePixel<ushort>(src, column, row, 65535); break;
                default: dst.at<float>(y, x) = referencePixel(src, column, row);
            }
        }
    }
}

cv::Mat referenceResized(const cv::Mat& src, cv::Size size, const Resize& r) {
    cv::Mat dst(size, src.type());
    reference(src, {0, 0, src.cols, src.rows}, dst, {0, 0, size.width, size.height}, r);
    return dst;
}

// Integers must be the exact result. Floats may differ from the reference in the last place, where the weights do: the
// reference takes them from integers, the primitive from the kernel's polynomials. Pixels are within 1000.
testing::AssertionResult agree(const cv::Mat& expected, const cv::Mat& actual) {
    return closePixels(expected, actual, expected.depth() == CV_32F ? 1e-4 : 0);
}

// ---- Every kind of grid, at every size

const Resize kGrids[] = {
    {{1}, {1}, {0}, {0}, 0},               // identity
    {{1, 2}, {1, 2}, {1, 4}, {1, 4}, 0},   // whole pixels
    {{1, 2}, {1, 2}, {0}, {0}, 0},         // half-way, two pixels on
    {{1, 3}, {1, 3}, {1, 6}, {1, 6}, 0},   // half-way, three pixels on
    {{2}, {2}, {-1, 2}, {-1, 2}, 0},       // whole and half-way in turn
    {{2}, {2}, {0}, {0}, 0},               // quarters
    {{6}, {6}, {-1, 6}, {-1, 6}, 0},       // eighteenths
    {{16}, {1}, {0}, {0}, 0},              // one axis alone
    {{1}, {7, 3}, {0}, {0}, 0},            // the other one
    {{41, 67}, {97, 31}, {0}, {3, 7}, 0},  // long periods
    {{1, 2}, {3}, {5}, {-9, 2}, 0},        // beyond both edges
};

TEST(ResizeTest, IsTheExactResultOnEveryGridAndSize) {
    for (const cv::Size& size : testSizes()) {
        for (Resize r : kGrids) {
            const cv::Size out = {std::min(static_cast<int>(size.width * r.xFactor.value()) + 3, 250),
                                  std::min(static_cast<int>(size.height * r.yFactor.value()) + 2, 150)};
            for (int type : kTypes) {
                const cv::Mat src = randomPlane(size.height, size.width, type);
                for (int code : kCodes) {
                    r.code = code;
                    ASSERT_TRUE(agree(referenceResized(src, out, r), resized(src, out, r)))
                        << size << " to " << out << " code " << code << " type " << type << " factors "
                        << r.xFactor.value() << " " << r.yFactor.value();
                }
            }
        }
    }
}

TEST(ResizeTest, IsTheSameForEveryNumberOfThreadsAndStep) {
    for (int type : kTypes) {
        const cv::Mat src = randomPlane(227, 301, type, 3);
        for (Resize r : kGrids) {
            for (int code : kCodes) {
                r.code = code;
                const cv::Size out(331, 149);
                cv::Mat once;
                withThreadCounts([&](int threads) {
                    if (threads == 1)
                        once = resized(src, out, r);
                    else
                        EXPECT_TRUE(samePixels(once, resized(src, out, r))) << threads;
                });
                cv::Mat dst = asSubPlane(cv::Mat(out, type, cv::Scalar(0)));
                const cv::Mat wide = asSubPlane(src);
                resize(wide, {0, 0, src.cols, src.rows}, dst, {0, 0, out.width, out.height}, r.xFactor.value(),
                       r.yFactor.value(), r.xShift.value(), r.yShift.value(), code);
                EXPECT_TRUE(samePixels(once, dst));
            }
        }
    }
}

TEST(ResizeTest, WorksInsideAParallelRegionOfTheCaller) {
    const cv::Mat src = randomPlane(227, 301, CV_16UC1);
    const Resize r = {{2}, {2}, {0}, {0}, IPPI_INTER_CUBIC};
    const cv::Mat once = resized(src, {602, 454}, r);
    std::vector<cv::Mat> results(4);
#pragma omp parallel for num_threads(4)
    for (int k = 0; k < 4; ++k) results[static_cast<std::size_t>(k)] = resized(src, {602, 454}, r);
    for (const cv::Mat& result : results) EXPECT_TRUE(samePixels(once, result));
}

TEST(ResizeTest, IsRightAcrossTheTilesOfAWideRow) {
    for (Resize r : kGrids) {
        for (int code : kCodes) {
            r.code = code;
            const cv::Mat src = randomPlane(3, 2500, CV_16UC1, 9);
            ASSERT_TRUE(samePixels(referenceResized(src, {5003, 2}, r), resized(src, {5003, 2}, r)));
        }
    }
}

// ---- Regions

TEST(ResizeTest, TilesOfTheDestinationMakeUpTheWhole) {
    for (int type : kTypes) {
        const cv::Mat src = randomPlane(48, 64, type);
        for (Resize r : kGrids) {
            for (int code : kCodes) {
                r.code = code;
                const cv::Mat whole = resized(src, {101, 77}, r);
                cv::Mat tiled(77, 101, type, cv::Scalar(0));
                for (const IppiRect& tile :
                     {IppiRect{0, 0, 40, 30}, {40, 0, 61, 30}, {0, 30, 17, 47}, {17, 30, 84, 46}, {17, 76, 84, 1}})
                    resize(src, {0, 0, 64, 48}, tiled, tile, r.xFactor.value(), r.yFactor.value(), r.xShift.value(),
                           r.yShift.value(), code);
                EXPECT_TRUE(samePixels(whole, tiled));
            }
        }
    }
}

TEST(ResizeTest, NothingOutsideTheDestinationRegionIsWritten) {
    const cv::Mat src = randomPlane(48, 64, CV_16UC1);
    for (int code : kCodes) {
        cv::Mat dst = randomPlane(77, 101, CV_16UC1, 5);
        const cv::Mat before = dst.clone();
        resize(src, {0, 0, 64, 48}, dst, {11, 7, 50, 40}, 1.5, 1.5, 0, 0, code);
        before(cv::Rect(11, 7, 50, 40)).copyTo(dst(cv::Rect(11, 7, 50, 40)));
        EXPECT_TRUE(samePixels(before, dst));
    }
}

TEST(ResizeTest, SamplesComeFromTheSourceRegionAloneItsEdgeRepeated) {
    const IppiRect roi = {5, 4, 20, 13};
    for (int type : kTypes) {
        const cv::Mat src = randomPlane(40, 50, type);
        for (Resize r : kGrids) {
            for (int code : kCodes) {
                r.code = code;
                cv::Mat expected(60, 80, type, cv::Scalar(0)), actual = expected.clone();
                reference(src, roi, expected, {0, 0, 80, 60}, r);
                resize(src, roi, actual, {0, 0, 80, 60}, r.xFactor.value(), r.yFactor.value(), r.xShift.value(),
                       r.yShift.value(), code);
                EXPECT_TRUE(agree(expected, actual));
            }
        }
    }
}

TEST(ResizeTest, ASourceRegionIsClippedToThePlane) {
    const cv::Mat src = randomPlane(9, 12, CV_8UC1);
    cv::Mat whole(18, 24, CV_8UC1), clipped(18, 24, CV_8UC1);
    resize(src, {0, 0, 12, 9}, whole, {0, 0, 24, 18}, 2, 2, 0, 0, IPPI_INTER_CUBIC);
    EXPECT_EQ(resize(src, {-3, -1, INT_MAX, 4000}, clipped, {0, 0, 24, 18}, 2, 2, 0, 0, IPPI_INTER_CUBIC), ippStsNoErr);
    EXPECT_TRUE(samePixels(whole, clipped));
}

TEST(ResizeTest, RowsMayLieGigabytesApart) {
    constexpr std::size_t step = std::size_t{1} << 30, size = 5 * step;
    void* block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED) GTEST_SKIP() << "no address space for five gigabytes";
    cv::Mat src(5, 8, CV_16UC1, block, step);
    randomPlane(5, 8, CV_16UC1).copyTo(src);
    const Resize r = {{2}, {2}, {0}, {0}, IPPI_INTER_CUBIC};
    EXPECT_TRUE(samePixels(resized(src.clone(), {16, 10}, r), resized(src, {16, 10}, r)));
    munmap(block, size);
}

// ---- The positions that the rest of the library stands on

cv::Mat row16(int width, std::uint32_t seed = 1) { return randomPlane(1, width, CV_16UC1, seed); }

cv::Mat resizedRow(const cv::Mat& row, int width, double factor, double shift, int code) {
    cv::Mat dst(1, width, row.type(), cv::Scalar(0));
    EXPECT_EQ(resize(row, {0, 0, row.cols, 1}, dst, {0, 0, width, 1}, factor, 1, shift, 0, code), ippStsNoErr);
    return dst;
}

TEST(ResizeTest, ReducingByAnEvenNumberCopiesSinglePixels) {
    const cv::Mat row = row16(10000);
    for (int n = 2; n <= 40; n += 2) {
        cv::Mat expected(1, 10000 / n, CV_16UC1);
        for (int x = 0; x < expected.cols; ++x) expected.at<ushort>(x) = row.at<ushort>(n * x + n / 2 - 1);
        for (int code : {IPPI_INTER_LINEAR, IPPI_INTER_CUBIC})
            ASSERT_TRUE(samePixels(expected, resizedRow(row, expected.cols, 1.0 / n, (1.0 / n) * 0.5, code))) << n;
    }
}

TEST(ResizeTest, ReducingByAnOddNumberFallsHalfwayBetweenTwoPixels) {
    const cv::Mat row = row16(10000);
    const auto at = [&](int x) { return static_cast<int>(row.at<ushort>(std::min(std::max(x, 0), row.cols - 1))); };
    for (int n = 3; n < 40; n += 2) {
        cv::Mat linear(1, 10000 / n, CV_16UC1), cubic(1, 10000 / n, CV_16UC1);
        for (int x = 0; x < linear.cols; ++x) {
            const int s = n * x + (n - 3) / 2;
            linear.at<ushort>(x) = static_cast<ushort>((at(s) + at(s + 1) + 1) >> 1);
            const int sum = -at(s - 1) + 9 * at(s) + 9 * at(s + 1) - at(s + 2);
            cubic.at<ushort>(x) = static_cast<ushort>(std::min(std::max((sum + 8) >> 4, 0), 65535));
        }
        ASSERT_TRUE(samePixels(linear, resizedRow(row, linear.cols, 1.0 / n, (1.0 / n) * 0.5, IPPI_INTER_LINEAR))) << n;
        ASSERT_TRUE(samePixels(cubic, resizedRow(row, cubic.cols, 1.0 / n, (1.0 / n) * 0.5, IPPI_INTER_CUBIC))) << n;
    }
}

TEST(ResizeTest, EnlargingByTwoFallsOnWholeAndHalfPixels) {
    const cv::Mat row = row16(5000);
    const auto at = [&](int x) { return static_cast<int>(row.at<ushort>(std::min(std::max(x, 0), row.cols - 1))); };
    cv::Mat linear(1, 10000, CV_16UC1), cubic(1, 10000, CV_16UC1);
    for (int x = 0; x < 10000; ++x) {
        const int s = x / 2;
        const bool half = x % 2 != 0;
        const int sum = -at(s - 1) + 9 * at(s) + 9 * at(s + 1) - at(s + 2);
        linear.at<ushort>(x) = static_cast<ushort>(half ? (at(s) + at(s + 1) + 1) >> 1 : at(s));
        cubic.at<ushort>(x) = static_cast<ushort>(half ? std::min(std::max((sum + 8) >> 4, 0), 65535) : at(s));
    }
    EXPECT_TRUE(samePixels(linear, resizedRow(row, 10000, 2.0, -0.5, IPPI_INTER_LINEAR)));
    EXPECT_TRUE(samePixels(cubic, resizedRow(row, 10000, 2.0, -0.5, IPPI_INTER_CUBIC)));
}

TEST(ResizeTest, LinearEnlargingBySixteenIsTheIntegerFormula) {
    const cv::Mat row = row16(4096);
    cv::Mat expected(1, 65536, CV_16UC1);
    for (int x = 0; x < 65536; ++x) {
        const int q = (x + 8) / 16 - 1, k = (x + 8) % 16;
        const int s0 = row.at<ushort>(std::max(q, 0)), s1 = row.at<ushort>(std::min(q + 1, 4095));
        expected.at<ushort>(x) = static_cast<ushort>((s0 * (31 - 2 * k) + s1 * (2 * k + 1) + 16) >> 5);
    }
    EXPECT_TRUE(samePixels(expected, resizedRow(row, 65536, 16.0, 0, IPPI_INTER_LINEAR)));
}

TEST(ResizeTest, EnlargingByNIsExactForEveryNAndWidth) {
    for (int n = 2; n <= 40; ++n) {
        const cv::Mat row = row16(10000 / n + 1, static_cast<std::uint32_t>(n));
        for (int code : kCodes) {
            const Resize r = {{n}, {1}, {-1, n}, {0}, code};
            ASSERT_TRUE(samePixels(referenceResized(row, {10000, 1}, r), resized(row, {10000, 1}, r))) << n;
        }
    }
}

TEST(ResizeTest, PositionsOfEveryIntegerFactorAreExact) {
    for (int n = 2; n <= 40; ++n) {
        const ResizeAxis down(1.0 / n, (1.0 / n) * 0.5, false, 0, 10000 * n), up(n, -1.0 / n, false, 0, 10000);
        for (int d = 0; d < 10000; ++d) {
            const SourcePosition reduced = down.at(d);
            ASSERT_EQ(2 * reduced.pixel + 2 * reduced.fraction, 2.0 * n * d + n - 2) << "n " << n << " d " << d;
            const SourcePosition enlarged = up.at(d);
            const Wide over = Wide{2} * n * d + n + 2 - Wide{n} * n, under = Wide{2} * n * n;
            if (over < 0) continue;
            ASSERT_EQ(enlarged.pixel, static_cast<int>(over / under)) << "n " << n << " d " << d;
            ASSERT_EQ(enlarged.fraction, static_cast<double>(over % under) / static_cast<double>(under));
        }
    }
}

TEST(ResizeTest, RatiosOfPlaneSizesAreRecovered) {
    const ResizeAxis axis(1000.0 / 1999.0, 0, false, 0, 1999);
    EXPECT_EQ(axis.period(), 1000);
    EXPECT_EQ(axis.advance(), 1999);
    EXPECT_EQ(ResizeAxis(std::sqrt(2.0), 0, false, 0, 100).period(), 0);
    EXPECT_EQ(ResizeAxis(2.0, std::acos(-1.0), false, 0, 100).period(), 0);
}

TEST(ResizeTest, FactorsThatAreNoRatioFollowTheFormula) {
    const double factor = std::sqrt(2.0), shift = std::acos(-1.0) / 10;
    const cv::Mat row = randomPlane(1, 700, CV_32FC1);
    cv::Mat linear(1, 1000, CV_32FC1), nearest(1, 1000, CV_32FC1);
    for (int d = 0; d < 1000; ++d) {
        const double position = (d + 0.5 - shift) / factor;
        const auto at = [&](double i) {
            return static_cast<double>(row.at<float>(static_cast<int>(std::min(std::max(i, 0.0), 699.0))));
        };
        const double pixel = std::floor(position - 0.5), t = position - 0.5 - pixel;
        linear.at<float>(d) = static_cast<float>((1 - t) * at(pixel) + t * at(pixel + 1));
        nearest.at<float>(d) = static_cast<float>(at(std::floor(position)));
    }
    EXPECT_TRUE(samePixels(linear, resizedRow(row, 1000, factor, shift, IPPI_INTER_LINEAR)));
    EXPECT_TRUE(samePixels(nearest, resizedRow(row, 1000, factor, shift, IPPI_INTER_NN)));
}

TEST(ResizeTest, ExtremeFactorsAndShiftsReadTheEdge) {
    const cv::Mat src = randomPlane(5, 7, CV_16UC1);
    for (int code : kCodes) {
        for (double factor : {1e-300, 1e300, 5e-324, 1e-9, 1e9}) {
            for (double shift : {0.0, 1e300, -1e300, 1e9, -1e9}) {
                cv::Mat dst(6, 6, CV_16UC1);
                EXPECT_EQ(resize(src, {0, 0, 7, 5}, dst, {0, 0, 6, 6}, factor, factor, shift, shift, code),
                          ippStsNoErr);
                if (factor > 1 || shift == 0) continue;
                EXPECT_EQ(dst.at<ushort>(5, 5), shift < 0 ? src.at<ushort>(4, 6) : src.at<ushort>(0, 0));
            }
        }
    }
}

// ---- Pixels

TEST(ResizeTest, NearestTakesThePixelThatHoldsThePosition) {
    const cv::Mat row = row16(6);
    const cv::Mat out = resizedRow(row, 12, 2.0, 0, IPPI_INTER_NN);
    for (int x = 0; x < 12; ++x) EXPECT_EQ(out.at<ushort>(x), row.at<ushort>(x / 2));
    // (xd + 1) / 2: every other position lies between two pixels
    const cv::Mat between = resizedRow(row, 11, 2.0, -0.5, IPPI_INTER_NN);
    for (int x = 0; x < 11; ++x) EXPECT_EQ(between.at<ushort>(x), row.at<ushort>((x + 1) / 2));
}

TEST(ResizeTest, HalvesRoundUpAlsoWhereNoDoubleHoldsTheWeight) {
    // multiples of 9 between eighteenths: every other pixel is a half
    cv::Mat src = randomPlane(20, 30, CV_16UC1, 0, 7000, 4);
    src *= 9;
    const Resize r = {{6}, {6}, {-1, 6}, {-1, 6}, IPPI_INTER_LINEAR};
    EXPECT_TRUE(samePixels(referenceResized(src, {180, 120}, r), resized(src, {180, 120}, r)));
    const ushort step[] = {0, 9};
    const cv::Mat edge =
        resizedRow(cv::Mat(1, 2, CV_16UC1, const_cast<ushort*>(step)), 12, 6.0, -1.0 / 6, IPPI_INTER_LINEAR);
    EXPECT_EQ(edge.at<ushort>(4), 3);  // 5/18 of 9 is 2.5
}

TEST(ResizeTest, CubicOvershootSaturates) {
    const ushort samples[] = {0, 0, 65535, 65535, 0, 0};
    const cv::Mat out =
        resizedRow(cv::Mat(1, 6, CV_16UC1, const_cast<ushort*>(samples)), 12, 2.0, -0.5, IPPI_INTER_CUBIC);
    EXPECT_EQ(out.at<ushort>(1), 0);      // -1/16 of 65535
    EXPECT_EQ(out.at<ushort>(5), 65535);  // 18/16 of 65535
    const uchar bytes[] = {0, 0, 255, 255, 0, 0};
    const cv::Mat out8 = resizedRow(cv::Mat(1, 6, CV_8UC1, const_cast<uchar*>(bytes)), 12, 2.0, -0.5, IPPI_INTER_CUBIC);
    EXPECT_EQ(out8.at<uchar>(1), 0);
    EXPECT_EQ(out8.at<uchar>(5), 255);
}

TEST(ResizeTest, AConstantPlaneStaysConstant) {
    for (int type : kTypes) {
        const cv::Mat src(17, 23, type, cv::Scalar(type == CV_32FC1 ? 0.1 : 201));
        for (Resize r : kGrids) {
            for (int code : kCodes) {
                r.code = code;
                EXPECT_TRUE(
                    samePixels(cv::Mat(40, 50, type, src.at<float>(0) == 0.1f ? cv::Scalar(0.1) : cv::Scalar(201)),
                               resized(src, {50, 40}, r)));
            }
        }
    }
}

TEST(ResizeTest, WholePixelsAreUntouchedByInfinitiesBesideThem) {
    const float inf = std::numeric_limits<float>::infinity();
    cv::Mat src = (cv::Mat_<float>(1, 6) << 1, inf, 3, -0.0f, std::nanf(""), 6);
    for (int code : {IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        const cv::Mat out = resizedRow(src, 12, 2.0, -0.5, code);
        for (int x = 0; x < 12; x += 2) {
            const float expected = src.at<float>(x / 2), actual = out.at<float>(x);
            if (std::isnan(expected))
                EXPECT_TRUE(std::isnan(actual));
            else
                EXPECT_EQ(actual, expected) << x;
            EXPECT_EQ(std::signbit(actual), std::signbit(expected)) << x;
        }
    }
}

TEST(ResizeTest, AWholePixelInALongPeriodIsUntouchedByInfinitiesBesideIt) {
    cv::Mat row = randomPlane(1, 40, CV_32FC1);
    row.at<float>(15) = row.at<float>(17) = std::numeric_limits<float>::infinity();
    for (int code : {IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        // 67/33: one pixel in 67 is whole, the 34th from the 17th
        const cv::Mat out = resizedRow(row, 80, 67.0 / 33, 0, code);
        EXPECT_EQ(out.at<float>(33), row.at<float>(16));
        EXPECT_FALSE(std::isfinite(out.at<float>(32)));
        EXPECT_FALSE(std::isfinite(out.at<float>(34)));
    }
}

// ---- Refusals

struct Call {
    const void* src;
    IppiSize srcSize = {8, 6};
    int srcStep = 16;
    IppiRect srcROI = {0, 0, 8, 6};
    void* dst;
    int dstStep = 32;
    IppiRect dstROI = {0, 0, 16, 12};
    double xFactor = 2, yFactor = 2, xShift = 0, yShift = 0;
    int code = IPPI_INTER_CUBIC;

    IppStatus operator()() const {
        return ippiResizeSqrPixel_16u_C1R(static_cast<const ushort*>(src), srcSize, srcStep, srcROI,
                                          static_cast<ushort*>(dst), dstStep, dstROI, xFactor, yFactor, xShift, yShift,
                                          code, nullptr);
    }
};

TEST(ResizeTest, RefusedCallsWriteNothing) {
    const cv::Mat src = randomPlane(6, 8, CV_16UC1), before = randomPlane(12, 16, CV_16UC1, 2);
    cv::Mat dst = before.clone();
    Call good;
    good.src = src.data;
    good.dst = dst.data;
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    const auto expect = [&](IppStatus status, auto change) {
        Call call = good;
        change(call);
        EXPECT_EQ(call(), status);
        EXPECT_TRUE(samePixels(before, dst));
    };
    expect(ippStsNullPtrErr, [](Call& c) { c.src = nullptr; });
    expect(ippStsNullPtrErr, [](Call& c) { c.dst = nullptr; });
    expect(ippStsSizeErr, [](Call& c) { c.srcSize.width = 0; });
    expect(ippStsSizeErr, [](Call& c) { c.srcSize.height = -1; });
    expect(ippStsSizeErr, [](Call& c) { c.srcROI.width = 0; });
    expect(ippStsSizeErr, [](Call& c) { c.srcROI.height = 0; });
    expect(ippStsSizeErr, [](Call& c) { c.srcROI.x = 8; });
    expect(ippStsSizeErr, [](Call& c) { c.srcROI.y = -6; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.width = 0; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.height = -2; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.x = -1; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.y = -1; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.x = INT_MAX; });
    expect(ippStsSizeErr, [](Call& c) { c.dstROI.y = INT_MAX; });
    expect(ippStsStepErr, [](Call& c) { c.srcStep = 0; });
    expect(ippStsStepErr, [](Call& c) { c.dstStep = -32; });
    expect(ippStsStepErr, [](Call& c) { c.srcStep = 17; });
    expect(ippStsStepErr, [](Call& c) { c.dstStep = 33; });
    expect(ippStsRowStepErr, [](Call& c) { c.srcStep = 14; });
    expect(ippStsRowStepErr, [](Call& c) { c.dstROI.x = 1; });
    for (double factor : {0.0, -1.0, nan, inf}) {
        expect(ippStsResizeFactorErr, [&](Call& c) { c.xFactor = factor; });
        expect(ippStsResizeFactorErr, [&](Call& c) { c.yFactor = factor; });
    }
    for (double shift : {nan, inf, -inf}) {
        expect(ippStsResizeFactorErr, [&](Call& c) { c.xShift = shift; });
        expect(ippStsResizeFactorErr, [&](Call& c) { c.yShift = shift; });
    }
    for (int code : {0, 3, 5, 6, 8, 16, 257, -1}) expect(ippStsInterpolationErr, [&](Call& c) { c.code = code; });
    EXPECT_EQ(good(), ippStsNoErr);
}

TEST(ResizeTest, TheScratchQueryAnswersAPositiveSizeForEveryCode) {
    for (int code : {1, 2, 4, 8, 257}) {
        int size = -5;
        EXPECT_EQ(ippiResizeGetBufSize({0, 0, 4096, 1}, {0, 0, 65536, 1}, 1, code, &size), ippStsNoErr);
        EXPECT_GT(size, 0);
    }
    int size = -5;
    ippiResizeGetBufSize({0, 0, 0, 0}, {0, 0, 0, 0}, 1, 4, &size);
    EXPECT_GT(size, 0);
    EXPECT_EQ(ippiResizeGetBufSize({0, 0, 8, 8}, {0, 0, 16, 16}, 1, 4, nullptr), ippStsNullPtrErr);
}

}  // namespace
