#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace kestrova::rows {

/// e^x, less than 1 unit in the last place from it, the same bits on every processor; for loops that are vectorised.
/// Below the smallest normal float it is 0. Internal.
///
/// With k the integer nearest x / ln 2 it is 2^k e^r, r = x - k ln 2, and e^r is a polynomial. Adding 1.5 * 2^23 leaves
/// no bits for a fraction: the adder does the rounding, and k stands in the low bits of the sum. The upper part of ln 2
/// is so short that its product with k is exact. With a relative error of 2^-32 the polynomial is no more than the
/// roundings; the largest error of all is 0.966 units.
inline float exponential(float x) {
    constexpr float kLowest = -0x1.5d589ep+6f;  // the logarithm of 2^-126, rounded up
    constexpr float kHighest = 0x1.62e42ep+6f;  // the logarithm of 2^128, rounded down
    constexpr float kUpperLn2 = 0x1.63p-1f;     // 0.693359375
    constexpr float kLowerLn2 = -0x1.bd0106p-13f;
    constexpr float kPerLn2 = 0x1.715476p+0f;
    constexpr float kInteger = 0x1.8p23f;

    const float sum = x * kPerLn2 + kInteger, k = sum - kInteger;
    const float r = (x - k * kUpperLn2) - k * kLowerLn2;
    const float r2 = r * r;
    const float upper = (0x1.5554eap-5f + 0x1.1110ep-7f * r) + (0x1.6d432ap-10f + 0x1.a124f6p-13f * r) * r2;
    const float power = 1.0f + (r + ((0.5f + 0x1.555556p-3f * r) + upper * r2) * r2);

    std::uint32_t bits, bitsOfSum;
    std::memcpy(&bits, &power, sizeof bits);
    std::memcpy(&bitsOfSum, &sum, sizeof bitsOfSum);
    bits += bitsOfSum << 23;
    float result;
    std::memcpy(&result, &bits, sizeof result);
    result = x < kLowest ? 0.0f : result;
    return x <= kHighest ? result : x * std::numeric_limits<float>::infinity();
}

}  // namespace kestrova::rows
