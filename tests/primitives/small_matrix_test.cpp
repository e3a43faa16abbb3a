#include "kestrova/primitives/small_matrix.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/planes.h"

namespace {

constexpr int kElement = sizeof(float);

IppStatus invert(const std::vector<float>& m, std::vector<float>& inverse, int order) {
    return ippmInvert_m_32f(m.data(), order * kElement, kElement, nullptr, inverse.data(), order * kElement, kElement,
                            order);
}

std::vector<float> randomMatrix(int order, std::uint32_t seed) {
    const cv::Mat plane = randomPlane(order, order, CV_32FC1, -1, 1, seed);
    return std::vector<float>(plane.begin<float>(), plane.end<float>());
}

/// The largest element of |m inverse - 1|.
double residual(const std::vector<float>& m, const std::vector<float>& inverse, int order) {
    double worst = 0;
    for (int r = 0; r < order; ++r) {
        for (int c = 0; c < order; ++c) {
            double sum = r == c ? -1 : 0;
            for (int k = 0; k < order; ++k) sum += double(m[r * order + k]) * inverse[k * order + c];
            worst = std::max(worst, std::abs(sum));
        }
    }
    return worst;
}

TEST(InvertTest, TheProductWithTheInverseIsTheUnitMatrix) {
    for (int order = 1; order <= 12; ++order) {
        for (std::uint32_t seed = 1; seed <= 50; ++seed) {
            std::vector<float> m = randomMatrix(order, seed);
            for (int i = 0; i < order; ++i) m[i * order + i] += static_cast<float>(order);  // well conditioned
            std::vector<float> inverse(m.size());
            ASSERT_EQ(invert(m, inverse, order), ippStsNoErr);
            // Each of the inverse's elements, below 2, is rounded once to float; the rest is in double.
            ASSERT_LT(residual(m, inverse, order), order * (order + 1) * 0x1p-24) << "order " << order;
        }
    }
}

TEST(InvertTest, IntegersGiveTheirExactInverse) {
    const std::vector<float> m = {2, 0, 1, 1, 1, 0, 0, 3, 1};  // determinant 5
    const std::vector<float> expected = {1 / 5.0f, 3 / 5.0f, -1 / 5.0f, -1 / 5.0f, 2 / 5.0f,
                                         1 / 5.0f, 3 / 5.0f, -6 / 5.0f, 2 / 5.0f};
    std::vector<float> inverse(9);
    ASSERT_EQ(invert(m, inverse, 3), ippStsNoErr);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(inverse[i], expected[i]) << i;
    EXPECT_EQ(invert({4}, inverse, 1), ippStsNoErr);
    EXPECT_EQ(inverse[0], 0.25f);
    EXPECT_EQ(invert({0, 2, 4, 0}, inverse, 2), ippStsNoErr);  // needs a row exchange
    EXPECT_EQ(inverse[0], 0.0f);
    EXPECT_EQ(inverse[1], 0.25f);
    EXPECT_EQ(inverse[2], 0.5f);
    EXPECT_EQ(inverse[3], 0.0f);
}

TEST(InvertTest, ASingularMatrixIsReportedAndTheDestinationLeftAlone) {
    const std::vector<std::vector<float>> singular = {
        {0},
        {1, 2, 2, 4},
        {0, 0, 0, 0, 0, 0, 0, 0, 0},
        {1, 2, 3, 4, 5, 6, 7, 8, 9},
        {0.1f, 0.2f, 0.3f, 0.1f, 0.2f, 0.3f, 0.7f, 0.8f, 0.95f},
        // the third row is the sum of the others, the determinant in double 2^-54
        {0x1.a3b888p-1f, 0x1.d7582p-2f, 0x1.66a818p-1f, 0x1.b4e44p-4f, 0x1.af7bdp-1f, 0x1.9cc178p-1f, 0x1.da551p-1f,
         0x1.4d93fp+0f, 0x1.81b4c8p+0f},
        {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
        {std::nanf(""), 0, 0, 0, 1, 0, 0, 0, 1},
        {std::numeric_limits<float>::infinity(), 0, 0, 0, 1, 0, 0, 0, 1},
    };
    for (const std::vector<float>& m : singular) {
        const int order = static_cast<int>(std::lround(std::sqrt(m.size())));
        std::vector<float> inverse(m.size(), 77.0f);
        EXPECT_EQ(invert(m, inverse, order), ippStsSingularErr) << "order " << order;
        for (float element : inverse) EXPECT_EQ(element, 77.0f);
    }
}

TEST(InvertTest, SmallElementsAreNotSingular) {
    std::vector<float> inverse(16);
    ASSERT_EQ(invert({1, 0, 0, 0, 1e-15f, 0, 0, 0, 1e-18f}, inverse, 3), ippStsNoErr);
    EXPECT_EQ(inverse[4], static_cast<float>(1 / double(1e-15f)));
    EXPECT_EQ(inverse[8], static_cast<float>(1 / double(1e-18f)));
    ASSERT_EQ(invert({1, 0, 0, 0, 0, 1e-15f, 0, 0, 0, 0, 1e-18f, 0, 0, 0, 0, 1e9f}, inverse, 4), ippStsNoErr);
    EXPECT_EQ(inverse[10], static_cast<float>(1 / double(1e-18f)));
}

TEST(InvertTest, AlmostSingularCovariancesOfEqualPlanesAreInverted) {
    for (float eps : {1e-2f, 1e-4f, 1e-6f}) {
        const float v = 0.07f;
        const std::vector<float> m = {v + eps, v, v, v, v + eps, v, v, v, v + eps};
        std::vector<float> inverse(9);
        ASSERT_EQ(invert(m, inverse, 3), ippStsNoErr);
        // With the diagonal d as rounded: 1 / (d - v) (1 - v / (2 v + d)) and - v / (d - v) / (2 v + d).
        const double d = m[0], e = d - double(v), s = 2 * double(v) + d;
        for (int i = 0; i < 9; ++i)
            EXPECT_NEAR(inverse[i], i % 4 == 0 ? (1 - v / s) / e : -v / s / e, 1e-6 / e) << eps << ' ' << i;
    }
}

TEST(InvertTest, TheLeastDeterminantOfFloatsIsNotSingular) {
    constexpr float kUnit = 0x1p-23f;
    const std::vector<float> m = {1 + kUnit, 1, 0, 1, 1 - kUnit, 0, 0, 0, 1};  // determinant -kUnit^2
    const std::vector<float> expected = {
        -0x1p46f * (1 - kUnit), 0x1p46f, 0, 0x1p46f, -0x1p46f * (1 + kUnit), 0, 0, 0, 1};
    std::vector<float> inverse(9);
    ASSERT_EQ(invert(m, inverse, 3), ippStsNoErr);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(inverse[i], expected[i]) << i;
}

TEST(InvertTest, StridesReachAnyLayout) {
    const std::vector<float> m = {2, 0, 1, 1, 1, 0, 0, 3, 1};
    std::vector<float> inverse(9);
    invert(m, inverse, 3);
    std::vector<float> spread(3 * 20, 55.0f), result(3 * 20, 66.0f);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) spread[r * 2 + c * 20] = m[r * 3 + c];  // by columns, with gaps
    ASSERT_EQ(ippmInvert_m_32f(spread.data(), 2 * kElement, 20 * kElement, nullptr, result.data(), 20 * kElement,
                               3 * kElement, 3),
              ippStsNoErr);
    int untouched = 0;
    for (int i = 0; i < 60; ++i) {
        const int r = i / 20, c = i % 20 / 3;
        if (i % 20 % 3 == 0 && c < 3)
            EXPECT_EQ(result[i], inverse[r * 3 + c]);
        else
            untouched += result[i] == 66.0f;
    }
    EXPECT_EQ(untouched, 51);
}

TEST(InvertTest, AMatrixMayBeInvertedInPlace) {
    for (int order : {1, 2, 3, 5}) {
        std::vector<float> m = randomMatrix(order, 9), inverse(m.size());
        ASSERT_EQ(invert(m, inverse, order), ippStsNoErr);
        ASSERT_EQ(invert(m, m, order), ippStsNoErr);
        EXPECT_EQ(m, inverse);
    }
}

TEST(InvertTest, ThreadsMayShareOneBuffer) {
    constexpr int kMatrices = 2000;
    std::vector<std::vector<float>> matrices, expected(kMatrices, std::vector<float>(9)), actual = expected;
    for (int i = 0; i < kMatrices; ++i) {
        matrices.push_back(randomMatrix(3, i));
        invert(matrices[i], expected[i], 3);
    }
    std::vector<float> buffer(64, 1.0f);
#pragma omp parallel for num_threads(4)
    for (int i = 0; i < kMatrices; ++i)
        ippmInvert_m_32f(matrices[i].data(), 12, 4, buffer.data(), actual[i].data(), 12, 4, 3);
    EXPECT_EQ(expected, actual);
}

TEST(InvertTest, ChecksItsArguments) {
    const std::vector<float> m = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<float> inverse(9, 5.0f);
    EXPECT_EQ(ippmInvert_m_32f(nullptr, 12, 4, nullptr, inverse.data(), 12, 4, 3), ippStsNullPtrErr);
    EXPECT_EQ(ippmInvert_m_32f(m.data(), 12, 4, nullptr, nullptr, 12, 4, 3), ippStsNullPtrErr);
    for (int order : {0, -1})
        EXPECT_EQ(ippmInvert_m_32f(m.data(), 12, 4, nullptr, inverse.data(), 12, 4, order), ippStsSizeErr);
    for (int bad : {0, -4, 6}) {
        EXPECT_EQ(ippmInvert_m_32f(m.data(), bad, 4, nullptr, inverse.data(), 12, 4, 3), ippStsStepErr);
        EXPECT_EQ(ippmInvert_m_32f(m.data(), 12, bad, nullptr, inverse.data(), 12, 4, 3), ippStsStepErr);
        EXPECT_EQ(ippmInvert_m_32f(m.data(), 12, 4, nullptr, inverse.data(), bad, 4, 3), ippStsStepErr);
        EXPECT_EQ(ippmInvert_m_32f(m.data(), 12, 4, nullptr, inverse.data(), 12, bad, 3), ippStsStepErr);
    }
    EXPECT_EQ(inverse, std::vector<float>(9, 5.0f));
}

}  // namespace
