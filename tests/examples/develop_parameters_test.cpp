#include <algorithm>
#include <cmath>
#include <vector>

#include "develop.h"

TEST_F(DevelopTest, EachScaleBoostsAndSoftensItsOwnDetail) {
    const QString in = saved(crop(), "in.png");
    const QImage neutral = developed(in, {});
    const struct {
        const char* option;
        int distance;  // of the pixels between which the scale's detail shows
    } scales[] = {{"--small", 1}, {"--medium", 4}, {"--large", 20}};
    for (const auto& scale : scales) {
        SCOPED_TRACE(scale.option);
        const double before = detailOf(neutral, scale.distance);
        EXPECT_GT(detailOf(developed(in, {scale.option, "0.5"}), scale.distance), 1.1 * before);
        EXPECT_LT(detailOf(developed(in, {scale.option, "-1"}), scale.distance), 0.95 * before);
    }
}

// The two halves are flat: whatever the scales make of them is a halo. Every scale at 0.5 more than doubles its detail,
// and still the halo stays within a sixteenth of the step, where blurs would leave more than half of it.
TEST_F(DevelopTest, StrongSettingsShowNoHaloWhateverTakesTheScalesApart) {
    QImage step(300, 200, QImage::Format_RGB32);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x) step.setPixel(x, y, x < 150 ? qRgb(64, 64, 64) : qRgb(192, 192, 192));
    const QString in = saved(step, "in.png");
    for (const char* detail : {"guided", "bilateral", "laplacian", "wls"}) {
        const QImage out = developed(in, {"--detail", detail, "--small", "0.5", "--medium", "0.5", "--large", "0.5"});
        int halo = 0;
        for (int x = 0; x < 300; ++x)
            halo = std::max(halo, std::abs(qGray(out.pixel(x, 100)) - qGray(step.pixel(x, 100))));
        EXPECT_LE(halo, 128 / 16) << detail;
    }
}

TEST_F(DevelopTest, EveryDetailFilterGivesGreyPhotographsBackExactlyAndBoostsInItsOwnWay) {
    const QImage grey = crop().convertToFormat(QImage::Format_Grayscale8).convertToFormat(QImage::Format_RGB32);
    const QString in = saved(grey, "in.png");
    std::vector<QImage> boosted;
    for (const char* detail : {"guided", "bilateral", "laplacian", "wls"}) {
        EXPECT_EQ(developed(in, {"--detail", detail}), grey) << detail;
        boosted.push_back(developed(in, {"--detail", detail, "--medium", "0.4", "--large", "0.4"}));
        EXPECT_GT(contrastOf(boosted.back()), 1.01 * contrastOf(grey)) << detail;
        for (std::size_t other = 0; other + 1 < boosted.size(); ++other) EXPECT_NE(boosted.back(), boosted[other]);
    }
    EXPECT_EQ(developed(in, {"--medium", "0.4", "--large", "0.4"}), boosted[0]);
}

TEST_F(DevelopTest, ThresholdsLiftAndRemoveFaintDetail) {
    const QString in = saved(crop(), "in.png");
    const double neutral = detailOf(developed(in, {}), 1);
    EXPECT_GT(detailOf(developed(in, {"--small", "0,0.3"}), 1), 1.1 * neutral);
    EXPECT_LT(detailOf(developed(in, {"--small", "0,-0.5"}), 1), 0.9 * neutral);
}

TEST_F(DevelopTest, ZonesOfAScaleChangeTheirOwnTones) {
    const QString in = saved(QImage(photo("dandelion_768x512.png")), "in.png");
    const QImage neutral = developed(in, {});
    const auto changeWhere = [&](const QImage& out, int low, int high) {
        double sum = 0;
        int count = 0;
        for (int y = 0; y < out.height(); ++y)
            for (int x = 0; x < out.width(); ++x) {
                const int before = qGray(neutral.pixel(x, y));
                if (before < low || before >= high) continue;
                sum += std::abs(qGray(out.pixel(x, y)) - before);
                ++count;
            }
        return sum / count;
    };
    for (const QString scale : {"--small", "--medium", "--large"}) {
        SCOPED_TRACE(scale.toStdString());
        const QImage shadows = developed(in, {scale + "-shadows", "1"});
        EXPECT_GT(changeWhere(shadows, 0, 60), 2 * changeWhere(shadows, 190, 256));
        const QImage midtones = developed(in, {scale + "-midtones", "1"});
        EXPECT_GT(changeWhere(midtones, 100, 150), 2 * changeWhere(midtones, 240, 256));
    }
}

TEST_F(DevelopTest, LightParametersBrightenUpwardsAndDarkenDownwardsTheirOwnTones) {
    const struct {
        const char* name;
        int grey;
    } tones[] = {{"brightness", 128}, {"highlights", 190}, {"shadows", 60}, {"whites", 230}, {"blacks", 25}};
    for (const auto& tone : tones) {
        SCOPED_TRACE(tone.name);
        const QString in = saved(patch(32, 32, qRgb(tone.grey, tone.grey, tone.grey)), "in.png");
        const auto shown = [&](const char* value) {
            return qGray(developed(in, {"--light", QString(tone.name) + "=" + value}).pixel(16, 16));
        };
        EXPECT_GT(shown("0.5"), tone.grey + 4);
        EXPECT_LT(shown("-0.5"), tone.grey - 4);
    }
}

TEST_F(DevelopTest, ContrastSpreadsTheTones) {
    const QString in = saved(crop(), "in.png");
    const double neutral = contrastOf(developed(in, {}));
    EXPECT_GT(contrastOf(developed(in, {"--light", "contrast=0.6"})), 1.05 * neutral);
    EXPECT_LT(contrastOf(developed(in, {"--light", "contrast=-0.6"})), 0.95 * neutral);
}

TEST_F(DevelopTest, LightParametersCanStandTogetherOrApart) {
    const QString in = saved(crop(), "in.png");
    EXPECT_EQ(developed(in, {"--light", "brightness=0.4,blacks=-0.5"}),
              developed(in, {"--light=blacks=-0.5", "--light", "brightness=+0.4"}, "apart.png"));
}

TEST_F(DevelopTest, TheMixTurnsColourIntoLight) {
    const QRgb red = qRgb(150, 80, 80), green = qRgb(80, 150, 80), blue = qRgb(80, 80, 150), grey = qRgb(100, 100, 100);
    const struct {
        const char* mix;
        QRgb lighter, darker;
    } cases[] = {{"0.5,0,0", red, green}, {"0,0.5,0", green, blue}, {"0,0,0.5", blue, green}};
    const auto change = [&](QRgb colour, const char* mix) {
        const QString in = saved(patch(64, 64, colour), "in.png");
        return meanLuminance(developed(in, {"--mix", mix})) - meanLuminance(developed(in, {}));
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mix);
        EXPECT_GT(change(c.lighter, c.mix), 1000);
        EXPECT_LT(change(c.darker, c.mix), -1000);
        EXPECT_NEAR(change(grey, c.mix), 0, 1);
    }
}

TEST_F(DevelopTest, TemperatureAndTintShiftTheirWay) {
    const QString in = saved(crop(), "in.png");
    const QImage neutral = developed(in, {});
    EXPECT_GT(meanWarmth(developed(in, {"--temperature", "0.5"})), meanWarmth(neutral) + 1000);
    EXPECT_LT(meanWarmth(developed(in, {"--temperature", "-0.5"})), meanWarmth(neutral) - 1000);
    EXPECT_GT(meanMagenta(developed(in, {"--tint", "0.5"})), meanMagenta(neutral) + 1000);
    EXPECT_LT(meanMagenta(developed(in, {"--tint", "-0.5"})), meanMagenta(neutral) - 1000);
}

TEST_F(DevelopTest, SaturationAndVibranceGiveAndTakeColour) {
    const QString in = saved(crop(), "in.png");
    const double neutral = meanChroma(developed(in, {}));
    EXPECT_GT(meanChroma(developed(in, {"--saturation", "0.3"})), 1.1 * neutral);
    EXPECT_LT(meanChroma(developed(in, {"--saturation", "-0.5"})), 0.7 * neutral);
    EXPECT_GT(meanChroma(developed(in, {"--vibrance", "0.6"})), 1.05 * neutral);
    EXPECT_LT(meanChroma(developed(in, {"--vibrance", "-0.6"})), 0.95 * neutral);
}

TEST_F(DevelopTest, WithoutSaturationAllIsGrey) {
    const QImage out = developed(crop(), {"--saturation", "-1"});
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const QRgb p = out.pixel(x, y);
            ASSERT_LE(std::abs(qRed(p) - qGreen(p)), 1) << x << "," << y;
            ASSERT_LE(std::abs(qBlue(p) - qGreen(p)), 1) << x << "," << y;
        }
}
