#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "kestrova/detail/domain_transform_passes.h"
#include "kestrova/rows/exponential.h"

using kestrova::detail::domain_transform::weightRow;
using kestrova::rows::exponential;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kRow = 4096;

float weightOf(float x) {
    float weight;
    weightRow(&x, 1.0f, &weight, 1);
    return weight;
}

std::uint32_t bitsOf(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}
float floatOf(std::uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// Of floats of the size of `v`.
double unitInTheLastPlace(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits &= 0x7ff0000000000000u;
    std::memcpy(&v, &bits, sizeof v);
    return v * 0x1p-23;
}

// `kRow` floats from the one of sign and exponent with mantissa `first` on.
std::vector<float> floatsFrom(float sign, int exponent, int first) {
    const std::uint32_t begin = bitsOf(sign * std::ldexp(1.0f, exponent)) + static_cast<std::uint32_t>(first);
    std::vector<float> floats(kRow);
    for (std::uint32_t i = 0; i < kRow; ++i) floats[i] = floatOf(begin + i);
    return floats;
}

// The largest error of the weights, in units in the last place of e^x, over the floats of a row that have a weight. The
// powers of neighbours differ by one factor. A row of them is at most 4096 roundings of a long double off, 2^-52.
double largestErrorOf(const std::vector<float>& x, const std::vector<float>& weights) {
    const long double factor = std::exp(static_cast<long double>(x[1]) - static_cast<long double>(x[0]));
    long double power = std::exp(static_cast<long double>(x[0]));
    double largest = 0;
    for (std::size_t i = 0; i < x.size(); ++i, power *= factor) {
        if (power < 0x1p-126L || power >= 0x1.ffffffp127L) continue;
        const double error = static_cast<double>(std::abs(static_cast<long double>(weights[i]) - power));
        largest = std::max(largest, error / unitInTheLastPlace(static_cast<double>(power)));
    }
    return largest;
}

// Over every `step`-th row of the mantissas; the weights have to be those of single numbers, too.
double largestError(float sign, int firstExponent, int lastExponent, int step) {
    double largest = 0;
    int different = 0;
    for (int exponent = firstExponent; exponent <= lastExponent; ++exponent) {
#pragma omp parallel for reduction(max : largest) reduction(+ : different)
        for (int first = 0; first < 1 << 23; first += step * kRow) {
            const std::vector<float> x = floatsFrom(sign, exponent, first);
            std::vector<float> weights(kRow), single(kRow);
            weightRow(x.data(), 1.0f, weights.data(), kRow);
            std::transform(x.begin(), x.end(), single.begin(), exponential);
            different += std::memcmp(weights.data(), single.data(), sizeof(float) * kRow) != 0;
            largest = std::max(largest, largestErrorOf(x, weights));
        }
    }
    EXPECT_EQ(different, 0);
    return largest;
}

TEST(DomainTransformWeights, AreWithinOneUnitInTheLastPlaceForEveryNegativeExponent) {
    const double error = largestError(-1.0f, -26, 6, 1);
    EXPECT_LT(error, 0.966);
    EXPECT_GT(error, 0.5);  // or nothing was compared
}

TEST(DomainTransformWeights, AreAsCloseForPositiveExponents) { EXPECT_LT(largestError(1.0f, -26, 6, 16), 0.966); }

TEST(DomainTransformWeights, OfTheSmallestExponentsAreOne) {
    for (float x = 0x1p-25f; x > 0; x /= 2) {
        EXPECT_EQ(weightOf(-x), 1.0f);
        EXPECT_EQ(weightOf(x), 1.0f);
    }
    EXPECT_EQ(weightOf(-0.0f), 1.0f);
    EXPECT_EQ(weightOf(0.0f), 1.0f);
}

TEST(DomainTransformWeights, BelowTheSmallestNormalFloatAreZero) {
    const float lowest = -0x1.5d589ep+6f;
    EXPECT_GE(weightOf(lowest), std::numeric_limits<float>::min());
    EXPECT_LT(weightOf(lowest), 1.00001f * std::numeric_limits<float>::min());
    for (float x :
         {std::nextafter(lowest, -kInfinity), -100.0f, -1e10f, -std::numeric_limits<float>::max(), -kInfinity})
        EXPECT_EQ(weightOf(x), 0.0f) << x;
}

TEST(DomainTransformWeights, BeyondTheLargestFloatAreInfinite) {
    const float highest = 0x1.62e42ep+6f;
    EXPECT_GT(weightOf(highest), 3.4e38f);
    EXPECT_LT(weightOf(highest), kInfinity);
    for (float x : {std::nextafter(highest, kInfinity), 100.0f, std::numeric_limits<float>::max(), kInfinity})
        EXPECT_EQ(weightOf(x), kInfinity) << x;
}

TEST(DomainTransformWeights, OfEveryNaNAreNaN) {
    for (std::uint32_t payload = 1; payload < 1u << 22; payload = 2 * payload + 1)
        for (std::uint32_t nan : {0x7fc00000u | payload, 0xffc00000u | payload, 0x7fc00000u}) {
            EXPECT_TRUE(std::isnan(weightOf(floatOf(nan))));
        }
}

TEST(DomainTransformWeights, TakeTheProductWithTheFactorInFloat) {
    const std::vector<float> distances = floatsFrom(1.0f, 2, 12345);
    std::vector<float> weights(kRow);
    weightRow(distances.data(), -0.2026423f, weights.data(), kRow);
    for (int i = 0; i < kRow; ++i) {
        const float x = -0.2026423f * distances[static_cast<std::size_t>(i)];
        ASSERT_EQ(weights[static_cast<std::size_t>(i)], exponential(x)) << i;
    }
}

}  // namespace
