#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kestrova/filters/twls_filter.h"
#include "tests/primitives/sparse_system.h"

namespace {

constexpr int kWidth = 40, kHeight = 30, kPixels = kWidth * kHeight;

std::vector<float> smoothed(std::vector<float> plane, float lambda) {
    std::vector<float> guide = randomVector(kPixels, 3);
    EXPECT_EQ(TWLSFilter().Proc(plane.data(), kWidth, kHeight, lambda, 1.2f, guide.data(), false), 1);
    return plane;
}

// Between 1/2 and 1, times 2^exponent: the solution lies there too, being made of means.
std::vector<float> planeAt(int exponent) {
    std::vector<float> plane = randomVector(kPixels, 5);
    for (float& v : plane) v = std::ldexp(0.5f + v / 2, exponent);
    return plane;
}

}  // namespace

TEST(SparseScale, TheSolutionOfAScaledRightHandSideIsTheScaledSolution) {
    const std::vector<float> expected = smoothed(planeAt(0), 1.0f);
    for (int exponent : {-124, -100, 60, 127}) {
        const std::vector<float> result = smoothed(planeAt(exponent), 1.0f);
        for (int i = 0; i < kPixels; ++i)
            ASSERT_EQ(result[i], std::ldexp(expected[i], exponent)) << exponent << " " << i;
    }
}

TEST(SparseScale, ASubnormalRightHandSideIsSolvedToItsLastBit) {
    const std::vector<float> expected = smoothed(planeAt(0), 1.0f), result = smoothed(planeAt(-140), 1.0f);
    // The plane itself keeps 9 bits of each pixel at this scale, half a unit of the last of them being 2^-150.
    for (int i = 0; i < kPixels; ++i)
        ASSERT_NEAR(static_cast<double>(result[i]), std::ldexp(static_cast<double>(expected[i]), -140), 0x1p-149) << i;
}

TEST(SparseScale, LambdaOfZeroGivesEveryValueBack) {
    std::vector<float> plane = randomVector(kPixels, 5);
    plane[3] = std::numeric_limits<float>::denorm_min();
    plane[4] = -0x1.8p-130f;
    plane[5] = std::numeric_limits<float>::max();
    plane[6] = 0.0f;
    EXPECT_EQ(smoothed(plane, 0.0f), plane);
}
