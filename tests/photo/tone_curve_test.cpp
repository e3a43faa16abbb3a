#include "photo/tone_curve.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "photo/error.h"

namespace kestrova::photo {
namespace {

TEST(ToneCurve, IsTheStraightLineWhereNothingIsAskedFor) {
    const std::vector<float> curve = toneCurve({}, 65);
    for (int i = 0; i < 65; ++i) EXPECT_NEAR(curve[i], i / 64.0, 1.0 / 65535);
}

TEST(ToneCurve, MovesWhatItsSliderNames) {
    Light light;
    light.shadows = 0.5f;
    const std::vector<float> shadows = toneCurve(light, 9);
    EXPECT_GT(shadows[2], 0.25f + 0.02f);
    EXPECT_NEAR(shadows[7], 0.875f, 0.02f);
    light = {};
    light.brightness = -0.5f;
    EXPECT_LT(toneCurve(light, 9)[4], 0.5f - 0.05f);
}

TEST(ToneCurve, RisesAndKeepsBlackAndWhiteUnderBrightness) {
    for (float brightness : {-1.0f, -0.4f, 0.4f, 1.0f}) {
        Light light;
        light.brightness = brightness;
        const std::vector<float> curve = toneCurve(light, 257);
        EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end())) << brightness;
        EXPECT_NEAR(curve.front(), 0, 0.02f);
        EXPECT_NEAR(curve.back(), 1, 0.02f);
    }
}

TEST(ToneCurve, RefusesFewerThanTwoTones) { EXPECT_THROW(toneCurve({}, 1), Error); }

}  // namespace
}  // namespace kestrova::photo
