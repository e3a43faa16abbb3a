#include "kestrova/detail/tlightadjlutvl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <type_traits>
#include <vector>

#include "kestrova/curves/tspline.h"
#include "kestrova/image/tpimage.h"
#include "tests/curves/sampled_tables.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

struct Sliders {
    float brightness, contrast, highlights, shadows, whites, blacks;
};

const Sliders kSliders[] = {{0, 0, 0, 0, 0, 0},
                            {1, 0, 0, 0, 0, 0},
                            {-1, 0, 0, 0, 0, 0},
                            {0, 1, 0, 0, 0, 0},
                            {0, -1, 0, 0, 0, 0},
                            {0, 0, 1, -1, 0, 0},
                            {0, 0, -1, 1, 0, 0},
                            {0, 0, 0, 0, 1, 1},
                            {0, 0, 0, 0, -1, -1},
                            {0.5f, 1, -1, 0, -1, 0},
                            {0.3f, 0.6f, -0.4f, 0.7f, 0.5f, -0.2f},
                            {-0.8f, -0.3f, 0.9f, 0.2f, -0.6f, 0.9f},
                            {1, 1, 1, 1, 1, 1}};

// Sliders anywhere in their ranges.
std::vector<Sliders> scatteredSliders(int count) {
    const cv::Mat v = randomPlane(count, 6, CV_32FC1, -1, 1, 11);
    std::vector<Sliders> all;
    for (int i = 0; i < count; ++i) {
        const float* p = v.ptr<float>(i);
        all.push_back({p[0], p[1], p[2], p[3], p[4], p[5]});
    }
    return all;
}

std::vector<Sliders> namedAndScatteredSliders(int count) {
    std::vector<Sliders> all = scatteredSliders(count);
    all.insert(all.end(), std::begin(kSliders), std::end(kSliders));
    return all;
}

void setup(TLightAdjLUTvl& light, const Sliders& s) {
    light.setupCurve(s.brightness, s.contrast, s.highlights, s.shadows, s.whites, s.blacks);
}

// The whole of the light curve in the plain.
struct NaiveLight {
    float bright, contrast;
    float curve[64];

    explicit NaiveLight(const Sliders& s) {
        const double b = static_cast<double>(s.brightness);
        bright = static_cast<float>(0.343 * (b * b * b));
        const float c = s.contrast * s.contrast * s.contrast;
        if (c > 0)
            contrast = 2 * c + 1;
        else
            contrast = 1 / (1 - 5 * c);
        const float k = 0.71428573f;
        const float lo = static_cast<float>(static_cast<double>(s.blacks) * -0.2);
        const float hi = static_cast<float>(1.0 - static_cast<double>(s.whites) * 0.2);
        const float w = hi - 0.5f;
        const float x0 = (lo - 0.5f) * k + 0.5f, x4 = w * k + 0.5f;
        TSpline spline(5);
        spline.setCtrPoint(0, x0, 0);
        spline.setCtrPoint(1, ((0.5f - lo) * 0.5f + lo - 0.5f) * k + 0.5f, (s.shadows * 0.25f + 0.5f) * 0.5f);
        spline.setCtrPoint(2, 0.5f, 0.5f);
        spline.setCtrPoint(3, (hi - w * 0.5f - 0.5f) * k + 0.5f, 1 - (0.5f - s.highlights * 0.25f) * 0.5f);
        spline.setCtrPoint(4, x4, 1);
        spline.update();
        for (int i = 0; i < 64; ++i) {
            const float t = static_cast<float>(i) * 0.015873017f;
            if (t < x0)
                curve[i] = 0;
            else if (t > x4)
                curve[i] = 1;
            else
                curve[i] = std::min(std::max(spline.value(t), 0.0f), 1.0f);
        }
    }

    static float reference(int i) {
        const float r = static_cast<float>(i - 9) / 45.0f;
        return std::min(std::max(r, 0.0f), 1.0f);
    }

    void mapPixel(ushort& y, ushort& dr, ushort& db) const {
        const float v = static_cast<float>(y) * 1.5259022e-5f;
        float r, g, b;
        TPImage::YdRdB2RGB(y, dr, db, r, g, b);

        float pa = v * 0.703125f + 0.1484375f;
        pa = std::min(std::max(pa, 0.0078125f), 0.9921875f) * 64;
        const int ia = static_cast<int>(pa);

        const float root = std::sqrt(v);
        float u = static_cast<float>((static_cast<double>(root) - 0.707) * static_cast<double>(contrast) + 0.707 +
                                     static_cast<double>(bright));
        if (u > 0)
            u = u * u;
        else
            u = 2 * u;
        float pb = u * 0.703125f + 0.1484375f;
        pb = std::min(std::max(pb, 0.0078125f), 0.9921875f) * 64;
        const int ib = static_cast<int>(pb);

        const int jb = std::min(ib + 1, 63), ja = std::min(ia + 1, 63);
        const float above =
            (static_cast<float>(ib + 1) - pb) * curve[ib] + (pb - static_cast<float>(ib)) * curve[jb] + 0.001f;
        const float below =
            (static_cast<float>(ia + 1) - pa) * reference(ia) + (pa - static_cast<float>(ia)) * reference(ja) + 0.001f;
        float gain = above / below;
        if (std::isnan(gain) || gain < 0) gain = 0;
        if (gain > 8) gain = 8;

        float* const colour[] = {&r, &g, &b};
        for (float* c : colour) {
            *c *= gain;
            if (*c > 4) *c = 4;
            if (*c < 0) *c = 0;
        }
        const float mx = std::max(r, std::max(g, b)), mn = std::min(r, std::min(g, b));
        if (mx > 1) {
            if (mn >= 1) {
                r = g = b = 1;
            } else {
                const double range = static_cast<double>(mx - mn) + 1e-7;
                const float s = static_cast<float>(static_cast<double>(1 - mn) / range);
                for (float* c : colour) *c = (*c - mn) * s + mn;
            }
        }
        TPImage::RGB2YdRdB(r, g, b, y, dr, db);
    }
};

TEST(TLightAdjLUTvlTest, EveryMemberIsDerivedAsInThePlain) {
    for (const Sliders& s : namedAndScatteredSliders(500)) {
        TLightAdjLUTvl light;
        setup(light, s);
        const NaiveLight expected(s);
        EXPECT_EQ(light.m_bright, expected.bright);
        EXPECT_EQ(light.m_contrast, expected.contrast);
        EXPECT_EQ(light.m_highlights, s.highlights);
        EXPECT_EQ(light.m_shadows, s.shadows);
        EXPECT_EQ(light.m_whites, s.whites);
        EXPECT_EQ(light.m_blacks, s.blacks);
        for (int i = 0; i < 64; ++i) ASSERT_EQ(light.m_curve[i], expected.curve[i]) << i;
    }
}

TEST(TLightAdjLUTvlTest, BrightnessAndContrastHaveTheirFactors) {
    TLightAdjLUTvl light;
    setup(light, {1, 1, 0, 0, 0, 0});
    EXPECT_EQ(light.m_bright, 0.343f);
    EXPECT_EQ(light.m_contrast, 3.0f);
    setup(light, {-1, -1, 0, 0, 0, 0});
    EXPECT_EQ(light.m_bright, -0.343f);
    EXPECT_EQ(light.m_contrast, 1.0f / 6.0f);
    setup(light, {0, 0, 0, 0, 0, 0});
    EXPECT_EQ(light.m_contrast, 1.0f);
}

TEST(TLightAdjLUTvlTest, ParametersOfZeroGiveTheReferenceCurve) {
    TLightAdjLUTvl light;
    setup(light, {0, 0, 0, 0, 0, 0});
    for (int i = 0; i < 64; ++i) EXPECT_NEAR(light.m_curve[i], NaiveLight::reference(i), 1e-6f) << i;
}

TEST(TLightAdjLUTvlTest, EveryPixelIsMappedAsInThePlain) {
    for (const Sliders& s : namedAndScatteredSliders(40)) {
        TLightAdjLUTvl light;
        setup(light, s);
        const NaiveLight expected(s);
        for (int i = 0; i < 65536; i += 29) {
            const ushort scattered = static_cast<ushort>(i * 40503u);
            for (const auto& [dr, db] :
                 {std::pair<int, int>(0x7FFF, 0x7FFF), std::pair<int, int>(scattered, scattered ^ 0x5A5A)}) {
                ushort y = static_cast<ushort>(i), r = static_cast<ushort>(dr), b = static_cast<ushort>(db);
                ushort ey = y, er = r, eb = b;
                light.mapPixel(y, r, b);
                expected.mapPixel(ey, er, eb);
                ASSERT_EQ(y, ey) << i << ' ' << dr << ' ' << db;
                ASSERT_EQ(r, er) << i << ' ' << dr << ' ' << db;
                ASSERT_EQ(b, eb) << i << ' ' << dr << ' ' << db;
            }
        }
    }
}

TEST(TLightAdjLUTvlTest, ParametersOfZeroMapLuminanceToItself) {
    TLightAdjLUTvl light;
    setup(light, {0, 0, 0, 0, 0, 0});
    // Neutral chroma is one step below no difference and green comes back through 1.7036: some 2 levels.
    for (int i = 0; i < 65536; ++i) {
        ushort y = static_cast<ushort>(i), dr = 0x7FFF, db = 0x7FFF;
        light.mapPixel(y, dr, db);
        ASSERT_NEAR(y, i, 2) << i;
    }
    cv::Mat plane = (cv::Mat_<ushort>(1, 3) << 100, 30000, 65000);
    EXPECT_TRUE(light.proc(plane, true));
    EXPECT_TRUE(closePixels((cv::Mat_<ushort>(1, 3) << 100, 30000, 65000), plane, 10));
}

TEST(TLightAdjLUTvlTest, BrightnessMovesTheSquareRoot) {
    TLightAdjLUTvl light;
    setup(light, {1, 0, 0, 0, 0, 0});
    // A quarter: root 0.5, u = (0.5 + 0.343)^2. The curve at level v is v + 0.5 / 45, and 0.001 keeps it from 0.
    const double u = 0.843 * 0.843, rest = 0.5 / 45 + 0.001;
    ushort y = 16384, dr = 0x7FFF, db = 0x7FFF;
    light.mapPixel(y, dr, db);
    EXPECT_NEAR(y / 65535.0, 0.25 * (u + rest) / (0.25 + rest), 0.0002);
}

TEST(TLightAdjLUTvlTest, BlackStaysBlackAndTheDarkestPositionsAreLimited) {
    for (const Sliders& s : kSliders) {
        TLightAdjLUTvl light;
        setup(light, s);
        ushort y = 0, dr = 0x8000, db = 0x8000;
        light.mapPixel(y, dr, db);
        EXPECT_EQ(y, 0);
    }
}

TEST(TLightAdjLUTvlTest, AStrongGainIsBroughtBackWithItsHue) {
    TLightAdjLUTvl light;
    setup(light, {1, 0, 0, 0, 0, 0});
    // A gain of some 2.7 takes red to 1.6; it comes back to 1, and the others move up towards it.
    ushort y, dr, db;
    TPImage::RGB2YdRdB(0.6f, 0.1f, 0.05f, y, dr, db);
    light.mapPixel(y, dr, db);
    float r, g, b;
    TPImage::YdRdB2RGB(y, dr, db, r, g, b);
    EXPECT_NEAR(r, 1.0f, 0.001f);
    EXPECT_GT(g, 0.1f * 1.5f);
    EXPECT_GT(b, 0.05f * 1.5f);
    EXPECT_GT(r, g);
    EXPECT_GT(g, b);
}

TEST(TLightAdjLUTvlTest, AColourWhoseLeastComponentReachesOneIsWhite) {
    // No curve of the sliders lifts so far; one of 3 everywhere does, by a gain of some 5.
    TLightAdjLUTvl light;
    setup(light, {0, 0, 0, 0, 0, 0});
    std::fill_n(light.m_curve, 64, 3.0f);
    ushort y, dr, db;
    TPImage::RGB2YdRdB(0.7f, 0.5f, 0.3f, y, dr, db);
    ASSERT_GT(dr, 32768 + 5000);
    light.mapPixel(y, dr, db);
    ushort whiteY, whiteDr, whiteDb;
    TPImage::RGB2YdRdB(1.0f, 1.0f, 1.0f, whiteY, whiteDr, whiteDb);
    EXPECT_EQ(y, whiteY);
    EXPECT_EQ(dr, whiteDr);
    EXPECT_EQ(db, whiteDb);
}

TEST(TLightAdjLUTvlTest, AGainAboveEightIsLimited) {
    // A tone curve of 1 everywhere against the reference of 0 at the dark end: 1.001 / 0.001.
    TLightAdjLUTvl light;
    setup(light, {0, 0, 0, 0, 0, 0});
    std::fill_n(light.m_curve, 64, 1.0f);
    ushort y = 40, dr = 0x8000, db = 0x8000;
    light.mapPixel(y, dr, db);
    EXPECT_NEAR(y, 320, 1);
    std::fill_n(light.m_curve, 64, kNaN);
    y = 40000, dr = 0x8000, db = 0x8000;
    light.mapPixel(y, dr, db);
    EXPECT_EQ(y, 0);
}

TEST(TLightAdjLUTvlTest, TheTableIsTheSameForEveryNumberOfThreads) {
    cv::Mat ramp(256, 256, CV_16UC1);
    for (int i = 0; i < 65536; ++i) ramp.ptr<ushort>()[i] = static_cast<ushort>(i);
    for (const Sliders& s : {kSliders[0], kSliders[9]}) {
        const NaiveLight naive(s);
        std::vector<int> samples;
        for (int i = 0; i < 4096; ++i) {
            ushort y = static_cast<ushort>(16 * i), dr = 0x7FFF, db = 0x7FFF;
            naive.mapPixel(y, dr, db);
            samples.push_back(y);
        }
        const std::vector<int> expectedTable = naiveEnlarge16(samples);
        const cv::Mat expected = naiveLookUp(ramp, expectedTable);
        withThreadCounts([&](int) {
            TLightAdjLUTvl light;
            setup(light, s);
            cv::Mat plane = ramp.clone();
            EXPECT_TRUE(light.proc(plane, true));
            ASSERT_TRUE(samePixels(expected, plane));
            TLightAdjLUTvl other;
            setup(other, s);
            ASSERT_EQ(tableOf(other.table()), expectedTable);
        });
    }
}

TEST(TLightAdjLUTvlTest, AbsurdParametersNeitherCrashNorReadAstray) {
    for (float v : {kNaN, kInf, -kInf, 1e30f, -1e30f, 2.5f, -2.5f}) {
        for (int which = 0; which < 6; ++which) {
            float p[6] = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f};
            p[which] = v;
            TLightAdjLUTvl light;
            light.setupCurve(p[0], p[1], p[2], p[3], p[4], p[5]);
            cv::Mat plane = randomPlane(3, 3, CV_16UC1);
            EXPECT_TRUE(light.proc(plane, true));
        }
    }
}

TEST(TLightAdjLUTvlTest, AnotherTypeOfPlaneIsRefused) {
    TLightAdjLUTvl light;
    setup(light, {0, 0, 0, 0, 0, 0});
    cv::Mat plane(2, 2, CV_8UC1);
    EXPECT_FAILURE(light.proc(plane, true), "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1");
    static_assert(std::is_base_of<TLutY16U, TLightAdjLUTvl>::value, "the table is that of the base");
}

}  // namespace
