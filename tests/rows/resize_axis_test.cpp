#include "kestrova/rows/resize_axis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/primitives/resize_reference.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"

// The positions that the rest of the library stands on, whose pixels show them.

namespace {

cv::Mat row16(int width, std::uint32_t seed = 1) { return randomPlane(1, width, CV_16UC1, seed); }

TEST(ResizeAxisTest, ReducingByAnEvenNumberCopiesSinglePixels) {
    const cv::Mat row = row16(10000);
    for (int n = 2; n <= 40; n += 2) {
        cv::Mat expected(1, 10000 / n, CV_16UC1);
        for (int x = 0; x < expected.cols; ++x) expected.at<ushort>(x) = row.at<ushort>(n * x + n / 2 - 1);
        for (int code : {IPPI_INTER_LINEAR, IPPI_INTER_CUBIC})
            ASSERT_TRUE(samePixels(expected, resizedRow(row, expected.cols, 1.0 / n, (1.0 / n) * 0.5, code))) << n;
    }
}

TEST(ResizeAxisTest, ReducingByAnOddNumberFallsHalfwayBetweenTwoPixels) {
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

TEST(ResizeAxisTest, EnlargingByTwoFallsOnWholeAndHalfPixels) {
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

TEST(ResizeAxisTest, LinearEnlargingBySixteenIsTheIntegerFormula) {
    const cv::Mat row = row16(4096);
    cv::Mat expected(1, 65536, CV_16UC1);
    for (int x = 0; x < 65536; ++x) {
        const int q = (x + 8) / 16 - 1, k = (x + 8) % 16;
        const int s0 = row.at<ushort>(std::max(q, 0)), s1 = row.at<ushort>(std::min(q + 1, 4095));
        expected.at<ushort>(x) = static_cast<ushort>((s0 * (31 - 2 * k) + s1 * (2 * k + 1) + 16) >> 5);
    }
    EXPECT_TRUE(samePixels(expected, resizedRow(row, 65536, 16.0, 0, IPPI_INTER_LINEAR)));
}

TEST(ResizeAxisTest, EnlargingByNIsExactForEveryNAndWidth) {
    for (int n = 2; n <= 40; ++n) {
        const cv::Mat row = row16(10000 / n + 1, static_cast<std::uint32_t>(n));
        for (int code : kResizeCodes) {
            const Resize r = {{n}, {1}, {-1, n}, {0}, code};
            ASSERT_TRUE(samePixels(referenceResized(row, {10000, 1}, r), resized(row, {10000, 1}, r))) << n;
        }
    }
}

TEST(ResizeAxisTest, PositionsOfEveryIntegerFactorAreExact) {
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

TEST(ResizeAxisTest, RatiosOfPlaneSizesAreRecovered) {
    const ResizeAxis axis(1000.0 / 1999.0, 0, false, 0, 1999);
    EXPECT_EQ(axis.period(), 1000);
    EXPECT_EQ(axis.advance(), 1999);
    const ResizeAxis missed(0.1 * 3, 0, false, 0, 100);  // the double after 0.3
    EXPECT_EQ(missed.period(), 3);
    EXPECT_EQ(missed.advance(), 10);
    EXPECT_EQ(ResizeAxis(std::sqrt(2.0), 0, false, 0, 100).period(), 0);
    EXPECT_EQ(ResizeAxis(2.0, std::acos(-1.0), false, 0, 100).period(), 0);
}

TEST(ResizeAxisTest, FactorsThatAreNoRatioFollowTheFormula) {
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

TEST(ResizeAxisTest, ExtremeFactorsAndShiftsReadTheEdge) {
    const cv::Mat src = randomPlane(5, 7, CV_16UC1);
    for (int code : kResizeCodes) {
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

}  // namespace
