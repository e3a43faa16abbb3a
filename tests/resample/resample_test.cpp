#include "kestrova/resample/resample.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};
constexpr int kNearest = 1, kLinear = 2, kCubic = 4;

double pixel(const cv::Mat& m, int y, int x) {
    y = std::min(std::max(y, 0), m.rows - 1);
    x = std::min(std::max(x, 0), m.cols - 1);
    switch (m.depth()) {
        case CV_8U: return m.at<uchar>(y, x);
        case CV_16U: return m.at<ushort>(y, x);
        default: return static_cast<double>(m.at<float>(y, x));
    }
}

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

// The additional columns on the right repeat the last regular one; the rows below stay.
cv::Mat withRightColumns(cv::Mat m, int additional) {
    for (int i = 0; additional > 0 && additional < m.cols && i < additional; ++i)
        m.col(m.cols - additional - 1).copyTo(m.col(m.cols - additional + i));
    return m;
}

cv::Size roundedUp(const cv::Mat& in, int n) { return {(in.cols + n - 1) / n, (in.rows + n - 1) / n}; }

cv::Mat filled(cv::Size size, int type) { return cv::Mat(size, type, cv::Scalar(77)); }

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

TEST(ResampleTest, ThePyramidStepIsThatOfOpenCV) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            cv::Mat down = filled(roundedUp(in, 2), type), up = filled({2 * in.cols, 2 * in.rows}, type);
            cv::Mat expectedDown, expectedUp;
            cv::pyrDown(in, expectedDown, down.size(), cv::BORDER_REFLECT_101);
            cv::pyrUp(in, expectedUp, up.size(), cv::BORDER_REFLECT_101);
            downSize2X(in, down, 257);
            upSize2X(in, up, 257);
            EXPECT_TRUE(samePixels(withRightColumns(expectedDown, down.cols - in.cols / 2), down)) << size;
            EXPECT_TRUE(samePixels(expectedUp, up)) << size;
        }
    }
}

TEST(ResampleTest, ThePyramidStepUpwardsIsThatOfOpenCVForEverySizeThatItTakes) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = asSubPlane(randomPlane(size.height, size.width, type));
            for (int rows : {2 * in.rows - 1, 2 * in.rows, 2 * in.rows + 1})
                for (int cols : {2 * in.cols - 1, 2 * in.cols, 2 * in.cols + 1}) {
                    cv::Mat expected;
                    cv::pyrUp(in, expected, {cols, rows}, cv::BORDER_REFLECT_101);
                    withThreadCounts([&](int) {
                        cv::Mat up = asSubPlane(filled({cols, rows}, type));
                        upSize2X(in, up, 257);
                        ASSERT_TRUE(samePixels(withRightColumns(expected, cols - 2 * in.cols), up)) << up.size();
                    });
                }
        }
    }
}

TEST(ResampleTest, ThePyramidStepWritesIntoTheCallersPlane) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1);
    cv::Mat out = filled({4, 4}, CV_16UC1);
    const uchar* before = out.data;
    downSize2X(in, out, 257);
    EXPECT_EQ(out.data, before);
}

TEST(ResampleTest, ThePyramidStepTakesOtherTypesAsFarAsOpenCVDoes) {
    const cv::Mat in = randomPlane(8, 8, CV_64FC1);
    cv::Mat out = filled({4, 4}, CV_64FC1), expected;
    cv::pyrDown(in, expected, {4, 4}, cv::BORDER_REFLECT_101);
    downSize2X(in, out, 257);
    EXPECT_TRUE(samePixels(expected, out));
    const cv::Mat in32s(8, 8, CV_32SC1, cv::Scalar(1));
    cv::Mat out32s = filled({4, 4}, CV_32SC1);
    EXPECT_THROW(downSize2X(in32s, out32s, 257), cv::Exception);
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

// ---- Sizes that do not fit the factor

TEST(ResampleTest, AnOddPlaneRepeatsItsLastColumnButNotItsLastRow) {
    const cv::Mat in = randomPlane(5, 7, CV_16UC1);
    cv::Mat out = filled({4, 3}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(2 * y, 2 * x));
        EXPECT_EQ(out.at<ushort>(y, 3), out.at<ushort>(y, 2));
    }
    EXPECT_NE(out.at<ushort>(2, 0), out.at<ushort>(1, 0));
}

TEST(ResampleTest, AnOutputOfExactlyHalfSizeIsLeftAsResampled) {
    const cv::Mat in = randomPlane(6, 8, CV_16UC1);
    cv::Mat out = filled({4, 3}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(2 * y, 2 * x));
}

TEST(ResampleTest, RowsBeyondTheInputRepeatItsLastRow) {
    const cv::Mat in = randomPlane(6, 8, CV_16UC1);
    cv::Mat out = filled({6, 7}, CV_16UC1);
    downSize2X(in, out, kCubic);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out.at<ushort>(y, x), in.at<ushort>(std::min(2 * y, 5), 2 * x));
        EXPECT_EQ(out.at<ushort>(y, 4), out.at<ushort>(y, 3));
        EXPECT_EQ(out.at<ushort>(y, 5), out.at<ushort>(y, 3));
    }
}

// Two columns too many after a resize, one after a pyramid step, which takes no more.
TEST(ResampleTest, ColumnsBeyondTheInputRepeatTheLastRegularOneInEveryFunction) {
    const cv::Mat in = randomPlane(12, 12, CV_16UC1);
    const auto expectRepeated = [](const cv::Mat& out, int additional) {
        for (int y = 0; y < out.rows; ++y)
            for (int i = 1; i <= additional; ++i)
                EXPECT_EQ(out.at<ushort>(y, out.cols - i), out.at<ushort>(y, out.cols - additional - 1)) << out.size();
    };
    for (int interp : {kNearest, kLinear, kCubic}) {
        cv::Mat half = filled({8, 6}, CV_16UC1), twice = filled({26, 24}, CV_16UC1);
        downSize2X(in, half, interp);
        upSize2X(in, twice, interp);
        expectRepeated(half, 2);
        expectRepeated(twice, 2);
        for (int n : {3, 4, 5}) {
            cv::Mat reduced = filled({12 / n + 2, 12 / n}, CV_16UC1), enlarged = filled({12 * n + 2, 12 * n}, CV_16UC1);
            downSizeNX(in, reduced, n, interp);
            upSizeNX(in, enlarged, n, interp);
            expectRepeated(reduced, 2);
            expectRepeated(enlarged, 2);
        }
    }
    cv::Mat half = filled({7, 6}, CV_16UC1), twice = filled({25, 24}, CV_16UC1);
    downSize2X(in, half, 257);
    upSize2X(in, twice, 257);
    expectRepeated(half, 1);
    expectRepeated(twice, 1);
}

TEST(ResampleTest, AnOutputThatIsTooSmallGetsTheUpperLeftPart) {
    const cv::Mat in = randomPlane(20, 20, CV_8UC1);
    cv::Mat whole = filled({40, 40}, CV_8UC1), part = filled({23, 11}, CV_8UC1);
    upSize2X(in, whole, kCubic);
    upSize2X(in, part, kCubic);
    EXPECT_TRUE(samePixels(whole(cv::Rect(0, 0, 23, 11)), part));
    cv::Mat half = filled({10, 10}, CV_8UC1), third = filled({3, 2}, CV_8UC1);
    downSize2X(in, half, kCubic);
    downSize2X(in, third, kCubic);
    EXPECT_TRUE(samePixels(half(cv::Rect(0, 0, 3, 2)), third));
}

TEST(ResampleTest, PlanesOnePixelWideOrHighWork) {
    for (int type : kTypes) {
        for (const cv::Size& size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1)}) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            cv::Mat half = filled(roundedUp(in, 2), type), third = filled(roundedUp(in, 3), type);
            downSize2X(in, half, kCubic);
            EXPECT_EQ(pixel(half, 0, 0), pixel(in, 0, 0));
            downSizeNX(in, third, 3, kNearest);
            EXPECT_EQ(pixel(third, 0, 0), pixel(in, 1, 1));
            cv::Mat up = filled({2 * size.width + 1, 2 * size.height + 1}, type);
            upSize2X(in, up, kLinear);
            EXPECT_EQ(pixel(up, 0, 0), pixel(in, 0, 0));
            EXPECT_EQ(pixel(up, up.rows - 1, up.cols - 1), pixel(in, size.height - 1, size.width - 1));
        }
    }
}

TEST(ResampleTest, AFactorBeyondThePlaneReadsItsEdge) {
    const cv::Mat in = randomPlane(3, 4, CV_16UC1);
    cv::Mat out = filled({1, 1}, CV_16UC1);
    downSizeNX(in, out, 1000, kCubic);
    EXPECT_EQ(out.at<ushort>(0, 0), in.at<ushort>(2, 3));
    downSizeNX(in, out, INT_MAX, kCubic);
    EXPECT_EQ(out.at<ushort>(0, 0), in.at<ushort>(2, 3));
    cv::Mat up = filled({5, 5}, CV_16UC1);
    upSizeNX(in, up, INT_MAX, kLinear);
    EXPECT_EQ(up.at<ushort>(4, 4), in.at<ushort>(0, 0));
}

TEST(ResampleTest, AnEmptyInputLeavesTheOutputUnwritten) {
    const cv::Mat in, before = randomPlane(4, 5, CV_8UC1);
    for (int interp : {kNearest, kLinear, kCubic}) {
        cv::Mat out = before.clone();
        downSize2X(in, out, interp);
        upSize2X(in, out, interp);
        downSizeNX(in, out, 3, interp);
        upSizeNX(in, out, 3, interp);
        EXPECT_TRUE(samePixels(before, out));
    }
}

TEST(ResampleTest, AnUnknownCodeLeavesTheOutputUnwrittenWithoutAMessage) {
    const cv::Mat in = randomPlane(12, 12, CV_16UC1), small = randomPlane(6, 6, CV_16UC1, 2);
    const cv::Mat large = randomPlane(24, 24, CV_16UC1, 3), third = randomPlane(4, 4, CV_16UC1, 4);
    for (int interp : {0, 3, 8, 256, -1}) {
        cv::Mat half = small.clone(), twice = large.clone();
        downSize2X(in, half, interp);
        upSize2X(in, twice, interp);
        EXPECT_TRUE(samePixels(small, half));
        EXPECT_TRUE(samePixels(large, twice));
    }
    // the pyramid step is unknown to the forms by n
    cv::Mat reduced = third.clone(), enlarged = large.clone();
    downSizeNX(in, reduced, 3, 257);
    upSizeNX(in, enlarged, 2, 257);
    EXPECT_TRUE(samePixels(third, reduced));
    EXPECT_TRUE(samePixels(large, enlarged));
}

// ---- n of 1 and below

TEST(ResampleTest, NOfOneIsAPlainCopy) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1, CV_32SC1}) {
        const cv::Mat in = randomPlane(7, 9, type);
        cv::Mat down = filled({9, 7}, type), up = filled({3, 2}, type);
        downSizeNX(in, down, 1, 8);
        upSizeNX(in, up, 1, 8);
        EXPECT_TRUE(samePixels(in, down));
        EXPECT_TRUE(samePixels(in, up));
    }
}

TEST(ResampleTest, NBelowOneLeavesTheOutputUnchanged) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1), before = randomPlane(5, 5, CV_16UC1, 2);
    for (int n : {0, -1, INT_MIN}) {
        cv::Mat out = before.clone();
        downSizeNX(in, out, n, kCubic);
        upSizeNX(in, out, n, kCubic);
        EXPECT_TRUE(samePixels(before, out));
    }
}

// ---- Failures

TEST(ResampleTest, AnOutputThatIsEmptyOrOfAnotherTypeIsRefused) {
    const cv::Mat in = randomPlane(8, 8, CV_16UC1);
    const uchar byte = 0;
    cv::Mat noRows(0, 4, CV_16UC1, const_cast<uchar*>(&byte));
    for (cv::Mat out : {cv::Mat(), cv::Mat(4, 4, CV_8UC1), cv::Mat(4, 4, CV_16UC3), noRows}) {
        for (int interp : {kCubic, 257}) {
            EXPECT_FAILURE(downSize2X(in, out, interp), "ERROR - downSize2X - outHalf must be allocated!");
            EXPECT_TRACED_FAILURE(upSize2X(in, out, interp), " - 103 - upSize2X : out2X is not allocated - ");
        }
        for (int n : {3, 1, 0, -1}) {
            EXPECT_FAILURE(downSizeNX(in, out, n, kCubic), "downSizeNX - out is not allocated");
            EXPECT_FAILURE(upSizeNX(in, out, n, kCubic), "ERROR - upSizeNX - outNX is not allocated");
        }
    }
}

TEST(ResampleTest, OtherTypesAreRefused) {
    for (int type : {CV_32SC1, CV_8SC1, CV_64FC1, CV_8UC3}) {
        const cv::Mat in(8, 8, type, cv::Scalar(1));
        cv::Mat out = filled({4, 4}, type);
        for (int interp : {kCubic, 8}) {
            EXPECT_FAILURE(downSize2X(in, out, interp), "ERROR - down2X - type");
            EXPECT_FAILURE(upSize2X(in, out, interp), "ERROR - up2X - type");
            EXPECT_FAILURE(downSizeNX(in, out, 2, interp), "ERROR - downSizeNX - type");
            EXPECT_FAILURE(upSizeNX(in, out, 2, interp), "ERROR - upNX - type");
        }
        EXPECT_EQ(cv::countNonZero(out.reshape(1) != filled({4, 4}, type).reshape(1)), 0);
    }
}

}  // namespace
