#include "kestrova/resample/resample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/resample/resample_planes.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

void setPixel(cv::Mat& m, int y, int x, double value) {
    // Halves up; sums of sixteenths are exact in double.
    const auto whole = [value](double top) { return std::min(std::max(std::floor(value + 0.5), 0.0), top); };
    switch (m.depth()) {
        case CV_8U: m.at<uchar>(y, x) = static_cast<uchar>(whole(255)); break;
        case CV_16U: m.at<ushort>(y, x) = static_cast<ushort>(whole(65535)); break;
        default: m.at<float>(y, x) = static_cast<float>(value);
    }
}

// Between pixel `s` and the next on an axis: on it, or half-way.
struct HalfStep {
    int s;
    bool half;
};

// A sample at whole and half-way positions, rows first, the edge repeated.
double sample(const cv::Mat& in, HalfStep y, HalfStep x, int interp) {
    const auto along = [interp](HalfStep at, auto value) {
        if (!at.half) return value(at.s);
        if (interp == kLinear) return 0.5 * value(at.s) + 0.5 * value(at.s + 1);
        return -0.0625 * value(at.s - 1) + 0.5625 * value(at.s) + 0.5625 * value(at.s + 1) - 0.0625 * value(at.s + 2);
    };
    return along(y, [&](int row) { return along(x, [&](int col) { return pixel(in, row, col); }); });
}

template <class Position>
cv::Mat sampled(const cv::Mat& in, cv::Size size, int interp, const Position& position) {
    cv::Mat out(size, in.type());
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x) setPixel(out, y, x, sample(in, position(y), position(x), interp));
    return out;
}

// ---- Grids

TEST(ResampleTest, DownSize2XTakesEverySecondPixel) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            for (int interp : {kLinear, kCubic}) {
                cv::Mat out = filled(roundedUp(in, 2), type);
                const cv::Mat expected = sampled(in, out.size(), interp, [](int d) { return HalfStep{2 * d, false}; });
                downSize2X(in, out, interp);
                EXPECT_TRUE(samePixels(withRightColumns(expected, out.cols - in.cols / 2), out)) << size;
            }
        }
    }
}

TEST(ResampleTest, DownSizeNXTakesWholePixelsForEvenNAndHalfwayOnesForOddN) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            for (int n : {2, 3, 4, 5, 6, 7, 8, 9, 16}) {
                for (int interp : {kLinear, kCubic}) {
                    cv::Mat out = filled(roundedUp(in, n), type);
                    const cv::Mat expected = sampled(in, out.size(), interp, [n](int d) {
                        return HalfStep{n * d + (n - (n % 2 == 0 ? 2 : 3)) / 2, n % 2 != 0};
                    });
                    downSizeNX(in, out, n, interp);
                    EXPECT_TRUE(samePixels(withRightColumns(expected, out.cols - in.cols / n), out)) << size << n;
                }
            }
        }
    }
}

TEST(ResampleTest, UpSize2XFallsOnWholeAndHalfPixels) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            for (int interp : {kLinear, kCubic}) {
                for (int additional : {0, 1}) {
                    cv::Mat out = filled({2 * in.cols + additional, 2 * in.rows + additional}, type);
                    const cv::Mat expected = sampled(in, out.size(), interp, [](int d) {
                        return HalfStep{d / 2, d % 2 != 0};
                    });
                    upSize2X(in, out, interp);
                    EXPECT_TRUE(samePixels(withRightColumns(expected, additional), out)) << size;
                }
            }
        }
    }
}

TEST(ResampleTest, UpSizeNXForTwoIsUpSize2X) {
    for (int type : kTypes) {
        const cv::Mat in = randomPlane(17, 33, type);
        cv::Mat two = filled({67, 35}, type), n = filled({67, 35}, type);
        upSize2X(in, two, kCubic);
        upSizeNX(in, n, 2, kCubic);
        EXPECT_TRUE(samePixels(two, n));
    }
}

// A ramp shows where each pixel was taken: x/n + (1/2 + 1/n)/n - 1/2, lower than pixel centres would have it.
TEST(ResampleTest, UpSizeNXKeepsItsOwnGrid) {
    cv::Mat ramp(40, 40, CV_32FC1);
    for (int y = 0; y < ramp.rows; ++y)
        for (int x = 0; x < ramp.cols; ++x) ramp.at<float>(y, x) = static_cast<float>(x + 100 * y);
    for (int n = 2; n <= 12; ++n) {
        cv::Mat out = filled({40 * n, 40 * n}, CV_32FC1);
        for (int interp : {kLinear, kCubic}) {
            upSizeNX(ramp, out, n, interp);
            const auto source = [n](int d) { return (d + 0.5 + 1.0 / n) / n - 0.5; };
            for (int y = 2 * n; y < 37 * n; ++y)
                for (int x = 2 * n; x < 37 * n; ++x)
                    ASSERT_NEAR(static_cast<double>(out.at<float>(y, x)), source(x) + 100 * source(y), 3e-4) << n;
        }
    }
}

TEST(ResampleTest, NearestTakesThePixelThatHoldsThePosition) {
    const cv::Mat in = randomPlane(9, 11, CV_16UC1);
    cv::Mat down = filled({5, 4}, CV_16UC1), up = filled({33, 27}, CV_16UC1);
    downSize2X(in, down, kNearest);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(down.at<ushort>(y, x), in.at<ushort>(2 * y, 2 * x));
    upSizeNX(in, up, 3, kNearest);
    const auto holding = [](int d) { return (6 * d + 5) / 18; };  // (d + 1/2 + 1/3) / 3
    for (int y = 0; y < 27; ++y)
        for (int x = 0; x < 33; ++x) EXPECT_EQ(up.at<ushort>(y, x), in.at<ushort>(holding(y), holding(x)));
}

TEST(ResampleTest, SubPlanesAndThreadsGiveTheSameBits) {
    for (int type : kTypes) {
        const cv::Mat in = randomPlane(227, 301, type), wide = asSubPlane(in);
        for (int interp : {kNearest, kLinear, kCubic}) {
            cv::Mat expected[4];
            withThreadCounts([&](int threads) {
                const cv::Mat plane = threads == 2 ? wide : in;
                cv::Mat out[] = {filled({151, 114}, type), filled({603, 455}, type), filled({101, 76}, type),
                                 filled({904, 682}, type)};
                if (threads == 2)
                    for (cv::Mat& m : out) m = asSubPlane(m);
                downSize2X(plane, out[0], interp);
                upSize2X(plane, out[1], interp);
                downSizeNX(plane, out[2], 3, interp);
                upSizeNX(plane, out[3], 3, interp);
                for (int k = 0; k < 4; ++k) {
                    if (threads == 1) expected[k] = out[k];
                    EXPECT_TRUE(samePixels(expected[k], out[k])) << threads << " threads, " << k;
                }
            });
        }
    }
}

}  // namespace
