#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "kestrova/curves/tlut1d.h"
#include "kestrova/curves/tspline.h"

namespace {

struct Light {
    float brightness, contrast, shadows, highlights;
    float kMin = 0, kMax = 6;
};

const Light kLights[] = {{0, 0, 0, 0},
                         {1, 0, 0, 0},
                         {-1, 0, 0, 0},
                         {0, 1, 0, 0},
                         {0, -1, 0, 0},
                         {0, -1, 0, 0, 0.25f, 3},
                         {0, 0, 1, 0},
                         {0, 0, -1, 0},
                         {0, 0, 0, 1},
                         {0, 0, 0, -1},
                         {0.3f, 0.2f, -0.4f, 0.7f, 0.1f, 4},
                         {-0.13f, -0.61f, 0.91f, -0.35f, 0.2f, 2},
                         {0, -2, 0, 0},
                         {0, 0, 0.42f, -0.58f},
                         {0.131954402f, 0, 0, 0},  // 32767 x 0.4 first would round the offset down by a level
                         {3, 5, 40, -40}};

std::vector<float> naiveCurve(const Light& light) {
    TSpline spline(5);
    spline.setCtrPoint(0, 0, 0);
    spline.setCtrPoint(1, 0.25f, (light.shadows * 0.35f + 0.5f) * 0.5f);
    spline.setCtrPoint(2, 0.5f, 0.5f);
    spline.setCtrPoint(3, 0.75f, 1 - (0.5f - light.highlights * 0.35f) * 0.5f);
    spline.setCtrPoint(4, 1, 1);
    spline.update();
    std::vector<float> curve;
    for (int i = 0; i < 64; ++i) {
        const float u = static_cast<float>(i) * 0.015873017f;
        curve.push_back(u > 1 ? 1.0f : std::min(std::max(spline.value(u), 0.0f), 1.0f));
    }
    return curve;
}

std::vector<int> naiveTable(const Light& light) {
    const std::vector<float> curve = naiveCurve(light);
    const float s = light.contrast >= 0 ? light.kMax - 1 : 1 - light.kMin;
    const float slope = s * light.contrast + 1;
    const float offset = (1 - slope) * 32768 + light.brightness * 32767 * 0.4f;
    std::vector<int> table;
    for (int i = 0; i < 65536; ++i) {
        const float v = slope * static_cast<float>(i) + offset;
        const int entry = v >= 65534.5f ? 65535 : v < 0 ? 0 : static_cast<int>(v + 0.5f);
        const float f = static_cast<float>(entry) * 1.5259022e-05f * 63;
        const int i0 = static_cast<int>(std::trunc(f)), i1 = i0 + 1, i2 = std::min(i1, 63);
        float r = (static_cast<float>(i1) - f) * curve[i0] + (f - static_cast<float>(i0)) * curve[i2];
        r = r * 65535;
        table.push_back(static_cast<int>(std::clamp(std::nearbyint(static_cast<double>(r)), 0.0, 65535.0)));
    }
    return table;
}

std::vector<int> tableOf(TLut16U& lut) { return {lut.lut16U(), lut.lut16U() + 65536}; }

TEST(LightAdjustTest, IsALineThroughAToneCurve) {
    for (const Light& light : kLights) {
        TLut16U lut(light.kMin, light.kMax);
        lut.setupLightAdjust(light.brightness, light.contrast, light.shadows, light.highlights);
        EXPECT_EQ(std::vector<float>(lut.m_curve, lut.m_curve + 64), naiveCurve(light));
        EXPECT_EQ(tableOf(lut), naiveTable(light)) << light.brightness << ' ' << light.contrast << ' ' << light.shadows;
    }
}

TEST(LightAdjustTest, WithoutAdjustmentIsTheIdentityUpToTheSamplingOfTheCurve) {
    TLut16U lut;
    lut.setupLightAdjust(0, 0, 0, 0);
    // The spline through points on the diagonal is the diagonal up to a few units in the last place of a float, each
    // 65535 * 2^-24 of a level; one level covers their sum and the rounding.
    for (int i = 0; i < 65536; ++i) ASSERT_NEAR(lut.lut16U()[i], i, 1);
    for (int i = 0; i < 64; ++i) ASSERT_NEAR(lut.m_curve[i], i / 63.0, 1e-6);
    EXPECT_EQ(lut.lut16U()[0], 0);
    EXPECT_EQ(lut.lut16U()[65535], 65535);
}

TEST(LightAdjustTest, ShadowsMoveTheCurveAtAQuarterAndHighlightsAtThreeQuarters) {
    TLut16U neutral, shadows, highlights;
    neutral.setupLightAdjust(0, 0, 0, 0);
    shadows.setupLightAdjust(0, 0, 1, 0);
    highlights.setupLightAdjust(0, 0, 0, 1);
    // (0.35 + 0.5) / 2 and 1 - (0.5 - 0.35) / 2; between two of 64 samples the curve sags below by some 1e-4.
    EXPECT_NEAR(shadows.lut16U()[16384] / 65535.0, 0.425, 5e-4);
    EXPECT_NEAR(highlights.lut16U()[49151] / 65535.0, 0.925, 5e-4);
    for (const TLut16U* lut : {&shadows, &highlights})
        EXPECT_NEAR(const_cast<TLut16U*>(lut)->lut16U()[32768], neutral.lut16U()[32768], 40);
}

TEST(LightAdjustTest, BrightnessRaisesTheLineByAFifthOfTheScale) {
    TLut16U lut;
    lut.setupLightAdjust(1, 0, 0, 0);
    EXPECT_NEAR(lut.lut16U()[0], 13107, 1);
    EXPECT_NEAR(lut.lut16U()[30000], 43107, 1);
    EXPECT_EQ(lut.lut16U()[60000], 65535);
    lut.setupLightAdjust(-1, 0, 0, 0);
    EXPECT_EQ(lut.lut16U()[10000], 0);
    EXPECT_NEAR(lut.lut16U()[60000], 46893, 1);
}

TEST(LightAdjustTest, TheSlopeRangeIsThatOfSetKRange) {
    TLut16U lut;
    lut.setKRange(0.5f, 3, 0, 0);
    lut.setupLightAdjust(0, 1, 0, 0);
    EXPECT_NEAR(lut.lut16U()[32768 + 1000], 32768 + 3000, 2);
    lut.setupLightAdjust(0, -1, 0, 0);
    EXPECT_NEAR(lut.lut16U()[32768 + 1000], 32768 + 500, 2);
    // The parameter is not stretched to 1.5 first, as that of the linear threshold is.
    lut.setupLightAdjust(0, 0.5f, 0, 0);
    EXPECT_NEAR(lut.lut16U()[32768 + 1000], 32768 + 2000, 2);
}

TEST(LightAdjustTest, ThresholdAndBlurHaveNoPart) {
    TLut16U one(0, 6, 1, 0), other(0, 6, 30000, 5);
    one.setupLightAdjust(0.1f, 0.2f, 0.3f, 0.4f);
    other.setupLightAdjust(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_EQ(tableOf(one), tableOf(other));
}

TEST(LightAdjustTest, TheSamplesAreClamped) {
    TLut16U lut;
    lut.setupLightAdjust(0, 0, -8, 8);
    EXPECT_EQ(*std::min_element(lut.m_curve, lut.m_curve + 64), 0.0f);
    EXPECT_EQ(*std::max_element(lut.m_curve, lut.m_curve + 64), 1.0f);
    EXPECT_EQ(lut.lut16U()[12000], 0);
    EXPECT_EQ(lut.lut16U()[52000], 65535);
}

TEST(LightAdjustTest, ALineThatIsNotANumberIsBlackAndAnInfiniteBrightnessWhite) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    TLut16U lut;
    lut.setupLightAdjust(nan, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), std::vector<int>(65536, 0));
    lut.setupLightAdjust(0, nan, 0, 0);
    EXPECT_EQ(tableOf(lut), std::vector<int>(65536, 0));
    lut.setupLightAdjust(infinity, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), std::vector<int>(65536, 65535));
    lut.setupLightAdjust(0, 0, nan, 0);
    EXPECT_EQ(tableOf(lut)[40000], 0);
}

}  // namespace
