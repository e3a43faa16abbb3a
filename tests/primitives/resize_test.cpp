#include "kestrova/primitives/resize.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/primitives/resize_reference.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

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
            for (int type : kResizeTypes) {
                const cv::Mat src = randomPlane(size.height, size.width, type);
                for (int code : kResizeCodes) {
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
    for (int type : kResizeTypes) {
        const cv::Mat src = randomPlane(227, 301, type, 3);
        for (Resize r : kGrids) {
            for (int code : kResizeCodes) {
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
        for (int code : kResizeCodes) {
            r.code = code;
            const cv::Mat src = randomPlane(3, 2500, CV_16UC1, 9);
            ASSERT_TRUE(samePixels(referenceResized(src, {5003, 2}, r), resized(src, {5003, 2}, r)));
        }
    }
}

// ---- Regions

TEST(ResizeTest, TilesOfTheDestinationMakeUpTheWhole) {
    for (int type : kResizeTypes) {
        const cv::Mat src = randomPlane(48, 64, type);
        for (Resize r : kGrids) {
            for (int code : kResizeCodes) {
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
    for (int code : kResizeCodes) {
        cv::Mat dst = randomPlane(77, 101, CV_16UC1, 5);
        const cv::Mat before = dst.clone();
        resize(src, {0, 0, 64, 48}, dst, {11, 7, 50, 40}, 1.5, 1.5, 0, 0, code);
        before(cv::Rect(11, 7, 50, 40)).copyTo(dst(cv::Rect(11, 7, 50, 40)));
        EXPECT_TRUE(samePixels(before, dst));
    }
}

TEST(ResizeTest, SamplesComeFromTheSourceRegionAloneItsEdgeRepeated) {
    const IppiRect roi = {5, 4, 20, 13};
    for (int type : kResizeTypes) {
        const cv::Mat src = randomPlane(40, 50, type);
        for (Resize r : kGrids) {
            for (int code : kResizeCodes) {
                r.code = code;
                cv::Mat expected(60, 80, type, cv::Scalar(0)), actual = expected.clone();
                referenceResize(src, roi, expected, {0, 0, 80, 60}, r);
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

// ---- Pixels

TEST(ResizeTest, NearestTakesThePixelThatHoldsThePosition) {
    const cv::Mat row = randomPlane(1, 6, CV_16UC1);
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
    for (int type : kResizeTypes) {
        const cv::Mat src(17, 23, type, cv::Scalar(type == CV_32FC1 ? 0.1 : 201));
        for (Resize r : kGrids) {
            for (int code : kResizeCodes) {
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
