#include "kestrova/rows/box_columns.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <ctime>
#include <limits>
#include <vector>

#include "kestrova/rows/box_means.h"
#include "kestrova/rows/window.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
const float kNan = std::nanf("");

double wide(float v) { return static_cast<double>(v); }

/// A plane of which each value may be infinite or NaN, in some rows none, in some all of them.
cv::Mat spoiltPlane(int rows, int cols) {
    cv::Mat plane = randomPlane(rows, cols, CV_32FC1, -1, 1);
    const cv::Mat kind = randomPlane(rows, cols, CV_8UC1, 0, 99, 7);
    for (int y = 0; y < rows; ++y) {
        const int spoilt = y % 40 < 20 ? 0 : y % 40 == 30 ? 100 : 4;
        for (int x = 0; x < cols; ++x) {
            if (kind.at<uchar>(y, x) >= spoilt) continue;
            const float values[] = {kNan, kInfinity, -kInfinity, kInfinity};
            plane.at<float>(y, x) = values[kind.at<uchar>(y, x) % 4];
        }
    }
    return plane;
}

bool same(double a, double b) { return a == b || (a != a && b != b); }

TEST(FloatColumnsTest, AColumnIsWhatAdditionMakesOfItsValues) {
    constexpr int kRows = 200, kCols = 37, kHeight = 9;
    const cv::Mat plane = spoiltPlane(kRows, kCols);
    FloatColumns columns(kCols);
    for (int y = 0; y + kHeight <= kRows; ++y) {
        columns.moveTo([&](int i) { return ValueRow{plane.ptr<float>(y + i)}; }, kHeight, y % 64 == 0);
        for (int x = 0; x < kCols; ++x) {
            double sum = 0;
            for (int i = 0; i < kHeight; ++i) sum += wide(plane.at<float>(y + i, x));
            if (std::isfinite(sum))
                ASSERT_NEAR(columns.sums()[x], sum, 1e-12) << y << ' ' << x;
            else
                ASSERT_TRUE(same(columns.sums()[x], sum)) << y << ' ' << x << ": " << columns.sums()[x];
        }
    }
}

TEST(FloatColumnsTest, SumsBeginAnewWhereAValueThatIsNotFiniteEntersAndSlideWithItAsZero) {
    constexpr int kRows = 300, kCols = 11, kHeight = 7;
    const cv::Mat plane = spoiltPlane(kRows, kCols);
    const auto finite = [&](int y, int x) {
        const float v = plane.at<float>(y, x);
        return std::isfinite(v) ? wide(v) : 0.0;
    };
    const auto spoilt = [&](int y) {
        bool any = false;
        for (int x = 0; x < kCols; ++x) any = any || !std::isfinite(plane.at<float>(y, x));
        return any;
    };
    FloatColumns columns(kCols);
    std::vector<double> sums(kCols);
    for (int y = 0; y + kHeight <= kRows; ++y) {
        columns.moveTo([&](int i) { return ValueRow{plane.ptr<float>(y + i)}; }, kHeight, y % 64 == 0);
        bool held = false, holds = false;
        for (int i = 0; y > 0 && i < kHeight; ++i) held = held || spoilt(y - 1 + i);
        for (int i = 0; i < kHeight; ++i) holds = holds || spoilt(y + i);
        for (int x = 0; x < kCols; ++x) {
            if (y % 64 == 0 || (!held && holds)) {
                sums[x] = 0;
                for (int i = 0; i < kHeight; ++i) sums[x] += finite(y + i, x);
            } else {
                sums[x] += finite(y + kHeight - 1, x) - finite(y - 1, x);
            }
            bool columnHolds = false;
            for (int i = 0; i < kHeight; ++i) columnHolds = columnHolds || !std::isfinite(plane.at<float>(y + i, x));
            if (columnHolds) continue;
            ASSERT_EQ(columns.sums()[x], sums[x]) << y << ' ' << x;
        }
    }
}

TEST(FloatColumnsTest, AProductThatIsNotFiniteCountsLikeAValue) {
    std::vector<float> large(8, 1e30f), small(8, 0.5f), infinite(8, 2e30f);
    const float* factors[] = {small.data(), small.data(), infinite.data(), small.data(), small.data(), small.data()};
    FloatColumns columns(8);
    for (int y = 0; y < 4; ++y) {
        columns.moveTo([&](int i) { return ProductRow{large.data(), factors[y + i]}; }, 2, y == 0);
        EXPECT_EQ(std::isinf(columns.sums()[5]), y == 1 || y == 2) << y;
    }
    EXPECT_EQ(columns.sums()[5], 2 * wide(1e30f * 0.5f));
}

TEST(FloatColumnsTest, AMoveThatBringsInAValueThatIsNotFiniteIsTakenBack) {
    const cv::Mat plane = randomPlane(3, 5, CV_32FC1, -1, 1);
    FloatColumns columns(5);
    columns.moveTo([&](int i) { return ValueRow{plane.ptr<float>(i)}; }, 3, true);
    const std::vector<double> before(columns.sums(), columns.sums() + 5);
    for (const float value : {1.0f, kNan, kInfinity}) {
        EXPECT_EQ(columns.moveFinite([&] { columns.sums()[3] += wide(value); }), value == 1.0f);
        EXPECT_TRUE(columns.finite());
        for (std::size_t x = 0; x < 5; ++x) EXPECT_EQ(columns.sums()[x], before[x] + (x == 3 ? 1 : 0));
    }
}

/// Processor time of a sweep over windows of `height` rows.
double sweepSeconds(const cv::Mat& plane, int height) {
    FloatColumns columns(plane.cols);
    const std::clock_t start = std::clock();
    for (int y = 0; y + height <= plane.rows; ++y)
        columns.moveTo([&](int i) { return ValueRow{plane.ptr<float>(y + i)}; }, height, y % boxBlockRows(height) == 0);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Anew for every such row, the sweep would take a thousand times as long.
TEST(FloatColumnsTest, ValuesThatAreNotFiniteCostTheSameUnderAHighWindow) {
    cv::Mat plane = randomPlane(40000, 16, CV_32FC1, 0, 1);
    const double finite = sweepSeconds(plane, 20001);
    for (int y = 0; y < plane.rows; ++y) plane.at<float>(y, y % 16) = y % 3 == 0 ? kNan : kInfinity;
    EXPECT_LT(sweepSeconds(plane, 20001), 30 * finite + 0.2);
}

TEST(BoxBlockRowsTest, AreTwiceTheHeightOfAnyMask) {
    EXPECT_EQ(boxBlockRows(1), 1);
    EXPECT_EQ(boxBlockRows(2), 64);
    EXPECT_EQ(boxBlockRows(33), 66);
    EXPECT_EQ(boxBlockRows((1 << 30) - 1), 2147483646);
    EXPECT_EQ(boxBlockRows(1 << 30), INT_MAX);
    EXPECT_EQ(boxBlockRows(INT_MAX), INT_MAX);
}

TEST(CheckWindowTest, RefusesWindowsThatCoverMoreThanAnIntOfColumnsOrRows) {
    EXPECT_EQ(checkWindow({3, INT_MAX - 4}, {0, 0}, {5, 4}), ippStsNoErr);
    EXPECT_EQ(checkWindow({3, INT_MAX - 3}, {0, 0}, {5, 4}), ippStsMaskSizeErr);
    EXPECT_EQ(checkWindow({INT_MAX - 5, 3}, {0, 0}, {5, 4}), ippStsNoErr);
    EXPECT_EQ(checkWindow({INT_MAX - 4, 3}, {0, 0}, {5, 4}), ippStsMaskSizeErr);
}

}  // namespace
