#include "kestrova/frame/saturate.h"
#include "tests/support/rooms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

template <class T>
T roundedThenClamped(T v, T top) {
    return std::fmin(std::fmax(std::nearbyint(v), T(0)), top);
}

TEST(SaturateTest, RoundsToNearestWithTiesToEvenThenClamps) {
    for (int i = -40; i <= 4 * 65600; ++i) {
        const float v = static_cast<float>(i) * 0.25f;
        ASSERT_EQ(sat16(v), roundedThenClamped(v, 65535.0f)) << v;
        ASSERT_EQ(sat8(v), roundedThenClamped(v, 255.0f)) << v;
        const double d = v;
        ASSERT_EQ(sat16(d), roundedThenClamped(d, 65535.0)) << d;
        ASSERT_EQ(sat8(d), roundedThenClamped(d, 255.0)) << d;
    }
}

TEST(SaturateTest, NeighboursOfHalvesFallOnTheirOwnSide) {
    for (int i = 0; i < 65536; ++i) {
        const float half = static_cast<float>(i) + 0.5f;
        const float below = std::nextafter(half, 0.0f), above = std::nextafter(half, 1e9f);
        ASSERT_EQ(sat16(below), roundedThenClamped(below, 65535.0f)) << below;
        ASSERT_EQ(sat16(above), roundedThenClamped(above, 65535.0f)) << above;
    }
}

TEST(SaturateTest, FarAndUndefinedValuesAreClamped) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(sat16(1e30f), 65535);
    EXPECT_EQ(sat16(-1e30f), 0);
    EXPECT_EQ(sat8(infinity), 255);
    EXPECT_EQ(sat8(-infinity), 0);
    EXPECT_EQ(sat16(std::nanf("")), 0);
    EXPECT_EQ(sat16(std::nan("")), 0);
    EXPECT_EQ(sat16(1e300), 65535);
    for (double v : {infinity * 1.0, 0x1p23, 0x1p24 + 2, 0x1p31, 0x1p32, 0x1p52, 0x1p53, 0x1p63, 65535.5, 65536.0}) {
        EXPECT_EQ(sat16(v), 65535) << v;
        EXPECT_EQ(sat16(static_cast<float>(v)), 65535) << v;
        EXPECT_EQ(sat8(v), 255) << v;
        EXPECT_EQ(sat8(static_cast<float>(v)), 255) << v;
        EXPECT_EQ(sat16(-v), 0) << v;
        EXPECT_EQ(sat16(static_cast<float>(-v)), 0) << v;
    }
}

TEST(SaturateTest, NearestRoundsTiesToEvenOverItsRange) {
    for (int i = -4 * 65600; i <= 4 * 65600; ++i) {
        const float v = static_cast<float>(i) * 0.25f;
        ASSERT_EQ(nearest(static_cast<double>(v)), std::nearbyint(v)) << v;
        ASSERT_EQ(clamp16(nearest(static_cast<double>(v))), sat16(v)) << v;
    }
    for (double v : {2147483647.0, 2147483646.5, 0.49999999999999994}) {
        EXPECT_EQ(nearest(v), std::nearbyint(v)) << v;
        EXPECT_EQ(nearest(-v), std::nearbyint(-v)) << v;
    }
}

TEST(SaturateTest, ClampsIntegers) {
    EXPECT_EQ(clamp16(-1), 0);
    EXPECT_EQ(clamp16(65536), 65535);
    EXPECT_EQ(clamp16(1234), 1234);
    EXPECT_EQ(clamp8(-1), 0);
    EXPECT_EQ(clamp8(256), 255);
}

}  // namespace
