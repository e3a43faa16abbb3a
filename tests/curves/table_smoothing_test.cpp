#include "kestrova/curves/table_smoothing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <opencv2/core.hpp>
#include <vector>

#include "tests/support/planes.h"
#include "tests/support/rooms.h"

namespace {

using Floats = std::vector<float>;

double naivePower(double x, int e) {
    unsigned u = static_cast<unsigned>(e < 0 ? -e : e);
    double r = 1.0;
    while (true) {
        if (u % 2 == 1) r *= x;
        u /= 2;
        if (u == 0) return e < 0 ? 1 / r : r;
        x *= x;
    }
}

void naiveGauss(Floats& data, float sigma, int steps) {
    const int n = static_cast<int>(data.size());
    const float square = sigma * sigma;
    const double lambda = static_cast<double>(square) / (2.0 * steps);
    const double dnu = (2 * lambda + 1 - std::sqrt(4 * lambda + 1)) / (2 * lambda);
    const float nu = static_cast<float>(dnu);
    const float boundary = static_cast<float>(1.0 / (1.0 - dnu));
    const float post = static_cast<float>(naivePower(dnu / lambda, steps));
    for (int s = 0; s < steps; ++s) {
        data[0] = data[0] * boundary;
        for (int i = 1; i <= n - 1; ++i) data[i] = data[i] + nu * data[i - 1];
        data[n - 1] = data[n - 1] * boundary;
        for (int i = n - 1; i >= 1; --i) data[i - 1] = data[i - 1] + nu * data[i];
    }
    for (float& v : data) v = v * post;
}

double naiveSaturate(float v, double top) {
    return std::min(std::max(std::nearbyint(static_cast<double>(v)), 0.0), top);
}

template <class Entry>
std::vector<Entry> naiveSmooth(const std::vector<Entry>& table, float sigma, int steps) {
    Floats work(table.begin(), table.end());
    naiveGauss(work, sigma, steps);
    std::vector<Entry> result;
    for (float v : work) result.push_back(static_cast<Entry>(naiveSaturate(v, std::numeric_limits<Entry>::max())));
    return result;
}

template <class T>
cv::Mat asRow(const std::vector<T>& v) {
    return cv::Mat(1, static_cast<int>(v.size()), cv::DataType<T>::type, const_cast<T*>(v.data()));
}

std::vector<ushort> wildTable(int n, unsigned seed) {
    const cv::Mat row = randomPlane(1, n, CV_16UC1, seed);
    return {row.ptr<ushort>(), row.ptr<ushort>() + n};
}

TEST(TableSmoothingTest, GaussFollowsItsRecurrenceToTheBit) {
    for (int n : {1, 2, 3, 17, 256, 5000}) {
        for (float sigma : {0.25f, 1.0f, 3.7f, 120.0f, 3440.5f}) {
            for (int steps : {1, 2, 3, 4, 7}) {
                const cv::Mat row = randomPlane(1, n, CV_32FC1, 5);
                Floats expected(row.ptr<float>(), row.ptr<float>() + n), actual = expected;
                naiveGauss(expected, sigma, steps);
                gaussSmooth1D(actual.data(), n, sigma, steps);
                ASSERT_TRUE(samePixels(asRow(expected), asRow(actual))) << n << ' ' << sigma << ' ' << steps;
            }
        }
    }
}

TEST(TableSmoothingTest, GaussKeepsConstantsAndSpreadsAnImpulseBySigma) {
    Floats flat(4096, 1000.0f);
    gaussSmooth1D(flat.data(), 4096, 12.0f, 4);
    for (float v : flat) EXPECT_NEAR(v, 1000.0f, 0.5f);

    Floats impulse(1001, 0.0f);
    impulse[500] = 1.0f;
    gaussSmooth1D(impulse.data(), 1001, 12.0f, 4);
    double sum = 0, variance = 0;
    for (int i = 0; i < 1001; ++i) sum += impulse[i], variance += impulse[i] * (i - 500.0) * (i - 500.0);
    EXPECT_NEAR(sum, 1.0, 1e-4);
    EXPECT_NEAR(std::sqrt(variance), 12.0, 0.05);
}

TEST(TableSmoothingTest, GaussReturnsAtOnceForWhatItCannotSmooth) {
    const Floats before = {1, 5, 2, 8};
    Floats data = before;
    gaussSmooth1D(nullptr, 4, 2.0f, 2);
    gaussSmooth1D(data.data(), 0, 2.0f, 2);
    gaussSmooth1D(data.data(), -3, 2.0f, 2);
    gaussSmooth1D(data.data(), 4, 0.0f, 2);
    gaussSmooth1D(data.data(), 4, -1.0f, 2);
    gaussSmooth1D(data.data(), 4, std::numeric_limits<float>::quiet_NaN(), 2);
    gaussSmooth1D(data.data(), 4, 2.0f, -1);
    EXPECT_EQ(data, before);
}

TEST(TableSmoothingTest, NoStepsRunThroughAndLeaveTheData) {
    // lambda is infinite and the feedback not a number, but the gain to the power of 0 is 1 and nothing else is used.
    const Floats before = {1, -5, 2.5f, 8};
    Floats data = before;
    gaussSmooth1D(data.data(), 4, 2.0f, 0);
    EXPECT_EQ(data, before);
    std::vector<ushort> table = {9, 65535, 0, 77};
    const std::vector<ushort> tableBefore = table;
    smoothLUT16U(table.data(), 4, 2.0f, 0);
    EXPECT_EQ(table, tableBefore);
}

TEST(TableSmoothingTest, AnInfiniteSigmaNeitherCrashesNorReadsAstray) {
    Floats data = {1, 2, 3};
    gaussSmooth1D(data.data(), 3, std::numeric_limits<float>::infinity(), 2);
    for (float v : data) EXPECT_TRUE(std::isnan(v));
    std::vector<uchar> table = {1, 2, 3};
    smoothLUT8U(table.data(), 3, std::numeric_limits<float>::infinity(), 2);
    EXPECT_EQ(table, std::vector<uchar>(3, 0));
}

TEST(TableSmoothingTest, Tables8AreSmoothedRoundedAndSaturated) {
    for (int n : {1, 2, 256}) {
        for (float sigma : {0.4f, 1.5f, 11.2f, 30.0f}) {
            const cv::Mat row = randomPlane(1, n, CV_8UC1, 9);
            std::vector<uchar> table(row.ptr(), row.ptr() + n);
            const std::vector<uchar> expected = naiveSmooth(table, sigma, 2);
            smoothLUT8U(table.data(), n, sigma, 2);
            ASSERT_TRUE(samePixels(asRow(expected), asRow(table))) << n << ' ' << sigma;
        }
    }
}

TEST(TableSmoothingTest, Tables16AreSmoothedRoundedAndSaturated) {
    for (int n : {1, 2, 300, 65536}) {
        for (float sigma : {0.4f, 20.0f, 2866.85f}) {
            std::vector<ushort> table = wildTable(n, 3);
            const std::vector<ushort> expected = naiveSmooth(table, sigma, 2);
            smoothLUT16U(table.data(), n, sigma, 2);
            ASSERT_TRUE(samePixels(asRow(expected), asRow(table))) << n << ' ' << sigma;
        }
    }
}

TEST(TableSmoothingTest, NullAndEmptyTablesAreIgnored) {
    uchar byte = 7;
    ushort word = 7;
    smoothLUT8U(nullptr, 4, 2.0f, 2);
    smoothLUT16U(nullptr, 4, 2.0f, 2);
    smoothLUT8U(&byte, 0, 2.0f, 2);
    smoothLUT16U(&word, -1, 2.0f, 2);
    smoothLUTs16U(nullptr, 0, 65536, 2, nullptr);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(word, 7);
}

TEST(TableSmoothingTest, SeveralTablesSideBySideGiveTheBitsOfEachAlone) {
    constexpr int kEntries = 20000;
    for (int count = 1; count <= kTablesSideBySide; ++count) {
        std::vector<std::vector<ushort>> expected, actual;
        std::vector<TableToSmooth> batch;
        for (int i = 0; i < count; ++i) {
            const float sigma = 1.0f + 37.25f * static_cast<float>(i);
            actual.push_back(wildTable(kEntries, 100 + i));
            expected.push_back(naiveSmooth(actual.back(), sigma, 2));
            batch.push_back({actual.back().data(), sigma});
        }
        Floats work(static_cast<std::size_t>(count) * smoothingRoom(kEntries));
        smoothLUTs16U(batch.data(), count, kEntries, 2, work.data());
        for (int i = 0; i < count; ++i) ASSERT_EQ(actual[i], expected[i]) << "table " << i << " of " << count;
    }
}

TEST(TableSmoothingTest, TablesOfABatchThatNeedNoSmoothingAreLeftAlone) {
    std::vector<ushort> smooth = wildTable(256, 1), still = wildTable(256, 2);
    const std::vector<ushort> expected = naiveSmooth(smooth, 4.0f, 2), before = still;
    const TableToSmooth batch[] = {{still.data(), 0.0f}, {smooth.data(), 4.0f}, {nullptr, 2.0f}};
    float work[3 * smoothingRoom(256)];
    smoothLUTs16U(batch, 3, 256, 2, work);
    EXPECT_EQ(smooth, expected);
    EXPECT_EQ(still, before);
}

}  // namespace
