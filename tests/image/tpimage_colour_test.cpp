#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kestrova/image/tpimage.h"

namespace {

float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double fromBits(std::uint64_t bits) {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

int rounded(double v, int top) { return static_cast<int>(std::fmin(std::fmax(std::nearbyint(v), 0.0), top)); }

const float k299 = fromBits(0x3e991687u), k587 = fromBits(0x3f1645a2u), k114 = fromBits(0x3de978d5u);
const double k17036 = fromBits(std::uint64_t{0x3ffb41f212d77319});
const float k17035775 = fromBits(0x3fda0ed4u);

// Values about 0..1 with its borders, beyond them, and between; then random ones within, at the border and beyond.
const std::vector<float> kComponents = {-70000.0f, -1.5f, -0.5f, -0.0f, 0.0f, 1e-6f, 0.1f,    0.25f,
                                        0.5f,      0.75f, 0.99f, 1.0f,  1.2f, 2.0f,  70000.0f};

template <class Work>
void forColours(const Work& work) {
    for (float r : kComponents)
        for (float g : kComponents)
            for (float b : kComponents) work(r, g, b);
    std::uint32_t state = 12345;
    const auto next = [&] {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * 0x1p-24f;
    };
    for (int i = 0; i < 20000; ++i) {
        const float r = next(), g = next(), b = next();
        work(r, g, b);
        work(r, 1.0f, b);
        work(3.0f * r - 1.0f, 3.0f * g - 1.0f, 3.0f * b - 1.0f);
        work(0.3f * r, 2.0f * g, 3.0f * b);
    }
}

template <class Work>
void forCodes(int top, const Work& work) {
    const int step = top == 255 ? 15 : 4369;
    for (int y = 0; y <= top; y += step)
        for (int u = 0; u <= top; u += step)
            for (int v = 0; v <= top; v += step) work(y, u, v);
    std::uint32_t state = 99;
    const auto next = [&] {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 8) % static_cast<unsigned>(top + 1));
    };
    for (int i = 0; i < 20000; ++i) {
        const int y = next(), u = next(), v = next();
        work(y, u, v);
    }
}

TEST(TPImageColourTest, OneColourInIsTheStatedSum) {
    forColours([](float r, float g, float b) {
        const float R = r * 65535.0f, G = g * 65535.0f, B = b * 65535.0f;
        float v = G * k587;
        v = v + R * k299;
        v = v + B * k114;
        unsigned short y, dr, db;
        TPImage::RGB2YdRdB(r, g, b, y, dr, db);
        ASSERT_EQ(y, rounded(v, 65535)) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(dr, rounded((R - v) * 0.5f + 32768.0f, 65535)) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(db, rounded((B - v) * 0.5f + 32768.0f, 65535)) << r << ' ' << g << ' ' << b;
    });
}

TEST(TPImageColourTest, PureRedIn) {
    unsigned short y, dr, db;
    TPImage::RGB2YdRdB(1, 0, 0, y, dr, db);
    EXPECT_EQ(y, 19595);
    EXPECT_EQ(dr, 55738);
    EXPECT_EQ(db, 22971);  // 32768 - 19594.965 / 2, the luminance not yet rounded
}

TEST(TPImageColourTest, OneColourOutIsTheStatedSum) {
    forCodes(65535, [](int y, int dr, int db) {
        const float yf = static_cast<float>(y);
        const float R = (static_cast<float>(dr) - 32768.0f) * 2.0f + yf;
        const float B = (static_cast<float>(db) - 32768.0f) * 2.0f + yf;
        float t = yf - R * k299;
        t = t - B * k114;
        const float k = fromBits(0x37800080u);
        float r, g, b;
        TPImage::YdRdB2RGB(static_cast<ushort>(y), static_cast<ushort>(dr), static_cast<ushort>(db), r, g, b);
        ASSERT_EQ(r, static_cast<float>(rounded(R, 65535)) * k) << y << ' ' << dr << ' ' << db;
        ASSERT_EQ(g, static_cast<float>(rounded(static_cast<double>(t) * k17036, 65535)) * k)
            << y << ' ' << dr << ' ' << db;
        ASSERT_EQ(b, static_cast<float>(rounded(B, 65535)) * k) << y << ' ' << dr << ' ' << db;
    });
}

void gamutStep(float& r, float& g, float& b) {
    const float lo = std::fmin(r, std::fmin(g, b)), hi = std::fmax(r, std::fmax(g, b));
    const double d = static_cast<double>(hi - lo) + 1e-7;
    if (lo >= 0 && hi <= 1) return;
    if (lo >= 0 && lo >= 1) {
        r = g = b = 1;
    } else if (lo >= 0) {
        const float s = static_cast<float>(static_cast<double>(1 - lo) / d);
        r = (r - lo) * s + lo;
        g = (g - lo) * s + lo;
        b = (b - lo) * s + lo;
    } else if (hi > 0) {
        const float s = static_cast<float>(static_cast<double>(hi) / d);
        r = (r - hi) * s + hi;
        g = (g - hi) * s + hi;
        b = (b - hi) * s + hi;
    } else {
        r = g = b = 0;
    }
}

TEST(TPImageColourTest, YuvInOfAllDepthsIsGamutStepAndStatedSum) {
    forColours([](float r, float g, float b) {
        unsigned char y8, u8, v8, u168, v168;
        unsigned short y16, u16, v16, y168;
        TPImage::RGB2YUV(r, g, b, y8, u8, v8);
        TPImage::RGB2YUV(r, g, b, y16, u16, v16);
        TPImage::RGB2YUV(r, g, b, y168, u168, v168);

        const std::string colour = std::to_string(r) + " " + std::to_string(g) + " " + std::to_string(b);
        gamutStep(r, g, b);
        float yf = r * k299;
        yf = yf + g * k587;
        yf = yf + b * k114;
        float u = (r - yf) * 128.0f;
        u = u * fromBits(0x3fb698a7u);
        u = u + 128.0f;
        float v = (b - yf) * 128.0f;
        v = v * fromBits(0x3f907833u);
        v = v + 128.0f;
        ASSERT_EQ(y8, rounded(yf * 255.0f, 255)) << colour;
        ASSERT_EQ(u8, rounded(u, 255)) << colour;
        ASSERT_EQ(v8, rounded(v, 255)) << colour;
        ASSERT_EQ(y168, rounded(yf * 65535.0f, 65535)) << colour;
        ASSERT_EQ(u168, u8) << colour;
        ASSERT_EQ(v168, v8) << colour;
        ASSERT_EQ(y16, y168) << colour;
        ASSERT_EQ(u16, rounded(((r - yf) * 0.5f + 1.0f) * 32768.0f, 65535)) << colour;
        ASSERT_EQ(v16, rounded(((b - yf) * 0.5f + 1.0f) * 32768.0f, 65535)) << colour;
    });
}

TEST(TPImageColourTest, TheByteDifferencesStepAtTheStatedThresholds) {
    const auto difference = [](float c, float weight, float inverse) {
        float d = (c - c * weight) * 128.0f;
        d = d * inverse;
        return rounded(d + 128.0f, 255);
    };
    for (int code = 128; code < 255; ++code)
        for (bool red : {true, false}) {
            const float weight = red ? k299 : k114, inverse = fromBits(red ? 0x3fb698a7u : 0x3f907833u);
            float below = 0.0f, above = 1.0f;
            for (int i = 0; i < 40; ++i) {
                const float middle = 0.5f * (below + above);
                (difference(middle, weight, inverse) > code ? above : below) = middle;
            }
            float c = below;
            for (int i = 0; i < 8; ++i) c = std::nextafter(c, 0.0f);
            for (int i = 0; i < 16; ++i, c = std::nextafter(c, 2.0f)) {
                unsigned char y, u, v;
                TPImage::RGB2YUV(red ? c : 0.0f, 0.0f, red ? 0.0f : c, y, u, v);
                ASSERT_EQ(red ? u : v, difference(c, weight, inverse)) << c;
            }
        }
}

TEST(TPImageColourTest, AColourAboveOneIsCompressedTowardsItsMinimum) {
    unsigned short y, u, v, expectedY, expectedU, expectedV;
    TPImage::RGB2YUV(2.0f, 0.5f, 0.5f, y, u, v);
    TPImage::RGB2YUV(1.0f, 0.5f, 0.5f, expectedY, expectedU, expectedV);
    EXPECT_NEAR(y, expectedY, 1);  // 1e-7 in the divisor
    EXPECT_NEAR(u, expectedU, 1);
    EXPECT_NEAR(v, expectedV, 1);
}

TEST(TPImageColourTest, AColourBelowZeroIsCompressedTowardsItsMaximum) {
    unsigned short y, u, v, expectedY, expectedU, expectedV;
    TPImage::RGB2YUV(-0.5f, 0.5f, 0.5f, y, u, v);
    TPImage::RGB2YUV(0.0f, 0.5f, 0.5f, expectedY, expectedU, expectedV);
    EXPECT_NEAR(y, expectedY, 1);
    EXPECT_NEAR(u, expectedU, 1);
    EXPECT_NEAR(v, expectedV, 1);
}

TEST(TPImageColourTest, AColourOutAtBothEndsKeepsItsMaximum) {
    float r = -1.0f, g = 3.0f, b = 1.0f;
    gamutStep(r, g, b);
    EXPECT_GT(g, 1.0f);
    unsigned short y, u, v;
    TPImage::RGB2YUV(-1.0f, 3.0f, 1.0f, y, u, v);
    EXPECT_EQ(y, 65535);
}

TEST(TPImageColourTest, ColoursWhollyOutsideBecomeWhiteOrBlack) {
    unsigned char y, u, v;
    TPImage::RGB2YUV(1.5f, 7.0f, 1.0f, y, u, v);
    EXPECT_EQ(y, 255);
    EXPECT_EQ(u, 128);
    EXPECT_EQ(v, 128);
    TPImage::RGB2YUV(-1.5f, -7.0f, 0.0f, y, u, v);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(u, 128);
    EXPECT_EQ(v, 128);
}

TEST(TPImageColourTest, YuvOutIsTheStatedSumAndNotClamped) {
    const auto expectColour = [](float yf, float r, float b, float actualR, float actualG, float actualB) {
        float t = yf - r * k299;
        t = t - b * k114;
        return r == actualR && t * k17035775 == actualG && b == actualB;
    };
    const float k701 = fromBits(0x3f3374bcu), k886 = fromBits(0x3f62d0e5u);
    const float per255 = fromBits(0x3b808081u), per65535 = fromBits(0x37800080u);
    float r, g, b;
    forCodes(255, [&](int y, int u, int v) {
        const uchar y8 = static_cast<uchar>(y), u8 = static_cast<uchar>(u), v8 = static_cast<uchar>(v);
        const float yf = static_cast<float>(y) * per255;
        TPImage::YUV2RGB(y8, u8, v8, r, g, b);
        ASSERT_TRUE(expectColour(yf, (static_cast<float>(u) - 128.0f) * 0.0078125f * k701 + yf,
                                 (static_cast<float>(v) - 128.0f) * 0.0078125f * k886 + yf, r, g, b));
        const ushort y16 = static_cast<ushort>(y * 257);
        const float yf16 = static_cast<float>(y16) * per65535;
        TPImage::YUV2RGB(y16, u8, v8, r, g, b);
        ASSERT_TRUE(expectColour(yf16, (static_cast<float>(u) - 128.0f) * 0.0078125f * k701 + yf16,
                                 (static_cast<float>(v) - 128.0f) * 0.0078125f * k886 + yf16, r, g, b));
    });
    forCodes(65535, [&](int y, int u, int v) {
        const float yf = static_cast<float>(y) * per65535;
        TPImage::YUV2RGB(static_cast<ushort>(y), static_cast<ushort>(u), static_cast<ushort>(v), r, g, b);
        ASSERT_TRUE(expectColour(yf, (static_cast<float>(u) - 32768.0f) * 2.0f * 3.0517578e-5f + yf,
                                 (static_cast<float>(v) - 32768.0f) * 2.0f * 3.0517578e-5f + yf, r, g, b));
    });
    TPImage::YUV2RGB(ushort{0}, ushort{0}, ushort{65535}, r, g, b);
    EXPECT_LT(r, 0.0f);
    EXPECT_LT(g, 1.0f);
    EXPECT_GT(b, 0.9f);
    TPImage::YUV2RGB(ushort{65535}, ushort{65535}, ushort{32768}, r, g, b);
    EXPECT_GT(r, 1.0f);
}

TEST(TPImageColourTest, ARoundTripKeepsColoursInGamut) {
    for (float r : {0.0f, 0.3f, 1.0f})
        for (float g : {0.0f, 0.4f, 1.0f})
            for (float b : {0.0f, 0.7f, 1.0f}) {
                unsigned short y, dr, db;
                float r2, g2, b2;
                TPImage::RGB2YdRdB(r, g, b, y, dr, db);
                TPImage::YdRdB2RGB(y, dr, db, r2, g2, b2);
                // A unit of Dr is two of R; 1.7036 x 0.587 is 1 + 1.3e-5; the error of R and B comes 0.7-fold to G.
                EXPECT_NEAR(r, r2, 2.0f / 65535);
                EXPECT_NEAR(g, g2, 4.0f / 65535);
                EXPECT_NEAR(b, b2, 2.0f / 65535);
            }
}

}  // namespace
