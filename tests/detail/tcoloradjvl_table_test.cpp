#include "kestrova/detail/tcoloradjvl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "kestrova/curves/table_smoothing.h"
#include "tests/detail/tcoloradjvl_objects.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

// ---- The reference: the tables node by node. ----

struct Tables {
    std::vector<uchar> rows = std::vector<uchar>(33 * 256);
    std::vector<ushort> dr = std::vector<ushort>(33 * 33 * 33);
    std::vector<ushort> db = std::vector<ushort>(33 * 33 * 33);
};

Tables referenceTables(const TColorAdjVL& o) {
    Tables out;
    float g = o.m_saturation + 1.0f;
    if (o.m_saturation >= 0) g = (o.m_maxSatGain - 1.0f) * o.m_saturation + 1.0f;
    float a = o.m_tint * o.m_tintNegScale * 0.4f;
    if (o.m_tint > 0) a = o.m_tint * o.m_tintPosScale * 0.5f;
    float w = o.m_temperature * o.m_coolScale * 0.5f;
    if (o.m_temperature > 0) w = o.m_temperature * o.m_warmScale * 0.5f;

    for (int i = 0; i < 33; ++i) {
        uchar* row = &out.rows[i * 256];
        for (int n = 0; n < 256; ++n) {
            const float v = g * static_cast<float>(n);
            row[n] = static_cast<uchar>(v >= 254.5f ? 255 : v < 0 ? 0 : static_cast<int>(v + 0.5f));
        }
        int T = static_cast<int>((static_cast<float>(i) * o.m_vibSlope + 64.0f) * (o.m_vibScale * o.m_vibrance));
        if (g > 1) T = static_cast<int>(static_cast<float>(T) / g);
        T = std::min(std::max(T, -256), 255);
        for (int n = 0; n < T; ++n) row[n] = row[T];
        for (int n = 0; n < -T; ++n) row[n] = 0;
        const float sigma = static_cast<float>(std::abs(T)) * 0.3f;
        if (sigma > 1) smoothLUT8U(row, 256, sigma, 2);

        for (int j = 0; j < 33; ++j) {
            for (int k = 0; k < 33; ++k) {
                const int Y = i * 65535 / 32, Dr = j * 65535 / 32, Db = k * 65535 / 32;
                const float R = static_cast<float>((Dr - 32768) * 2 + Y);
                const float B = static_cast<float>((Db - 32768) * 2 + Y);
                const float t = static_cast<float>(Y) - R * 0.299f - B * 0.114f;
                const double G = static_cast<double>(t) * 1.7036;
                float r = static_cast<float>(naiveSat16(R)) * 1.5259022e-5f;
                float gr = static_cast<float>(naiveSat16(G)) * 1.5259022e-5f;
                float b = static_cast<float>(naiveSat16(B)) * 1.5259022e-5f;
                float tr, tg, tb, weight;
                if (w >= 0) {
                    tr = 1.5f * r + 0.4f, tg = 1.35f * gr + 0.28f, tb = b, weight = w;
                } else {
                    tr = r, tg = 1.15f * gr + 0.12f, tb = 1.6f * b + 0.48f, weight = -w;
                }
                r = (1 - weight) * r + weight * tr;
                gr = (1 - weight) * gr + weight * tg;
                b = (1 - weight) * b + weight * tb;
                if (a >= 0) {
                    tr = 1.25f * r + 0.2f, tg = gr, tb = 1.5f * b + 0.4f, weight = a;
                } else {
                    tr = r, tg = 1.5f * gr + 0.4f, tb = b, weight = -a;
                }
                r = (1 - weight) * r + weight * tr;
                gr = (1 - weight) * gr + weight * tg;
                b = (1 - weight) * b + weight * tb;
                const float R1 = 65535.0f * r, G1 = 65535.0f * gr, B1 = 65535.0f * b;
                const float Y1 = 0.587f * G1 + 0.299f * R1 + 0.114f * B1;
                const float u = static_cast<float>(naiveSat16((R1 - Y1) * 0.5f + 32768.0f) - 32768);
                const float v = static_cast<float>(naiveSat16((B1 - Y1) * 0.5f + 32768.0f) - 32768);
                const int m = static_cast<int>(sqrtf(2.0f * (u * u + v * v)) * 0.00390625f);
                const int s = row[std::min(std::max(m, 0), 255)];
                float f = static_cast<float>(s + 4) / static_cast<float>(m + 4);
                if (s == 0) f = 0;
                if (f > 4) f = 4;
                const int node = (i * 33 + j) * 33 + k;
                out.dr[node] = naiveSat16(f * u + 32768.0f);
                out.db[node] = naiveSat16(f * v + 32768.0f);
            }
        }
    }
    return out;
}

cv::Mat asPlane(const ushort* lut) { return cv::Mat(33 * 33, 33, CV_16UC1, const_cast<ushort*>(lut)); }

void expectReferenceTables(const TColorAdjVL& adjust) {
    const Tables expected = referenceTables(adjust);
    for (int i = 0; i < 33; ++i) {
        for (int n = 0; n < 256; ++n)
            ASSERT_EQ(adjust.m_satLUT_p[i][n], expected.rows[i * 256 + n]) << "saturation row " << i << " entry " << n;
    }
    EXPECT_TRUE(samePixels(asPlane(expected.dr.data()), asPlane(adjust.m_lutDr)));
    EXPECT_TRUE(samePixels(asPlane(expected.db.data()), asPlane(adjust.m_lutDb)));
}

// ---- The tables ----

TEST(TColorAdjVLTableTest, TablesAreThoseOfTheReferenceForEverySignOfEveryParameter) {
    for (float temperature : {-0.7f, 0.0f, 0.8f}) {
        for (float tint : {-0.6f, 0.0f, 0.9f}) {
            for (float saturation : {-0.4f, 0.0f, 0.5f}) {
                for (float vibrance : {-0.8f, 0.0f, 0.7f}) {
                    SCOPED_TRACE(testing::Message()
                                 << temperature << ' ' << tint << ' ' << saturation << ' ' << vibrance);
                    TColorAdjVL adjust;
                    setParameters(adjust, temperature, tint, saturation, vibrance);
                    rebuildQuietly(adjust);
                    expectReferenceTables(adjust);
                    if (testing::Test::HasFailure()) return;
                }
            }
        }
    }
}

TEST(TColorAdjVLTableTest, TablesAreThoseOfTheReferenceAtTheEndsAndBeyond) {
    for (float p : {-1.0f, 1.0f, -2.5f, 2.5f, 0.004f, -0.004f}) {
        SCOPED_TRACE(p);
        TColorAdjVL adjust(0.5f, 0.9f, 0.6f, 1.1f, 6.0f, 1.3f);
        setParameters(adjust, p, -p, p, p);
        rebuildQuietly(adjust);
        expectReferenceTables(adjust);
        setParameters(adjust, -p, p, -p, p);
        rebuildQuietly(adjust);
        expectReferenceTables(adjust);
    }
}

TEST(TColorAdjVLTableTest, TablesAreTheSameForEveryNumberOfThreads) {
    withThreadCounts([](int) {
        TColorAdjVL adjust;
        setParameters(adjust, 0.3f, -0.2f, 0.4f, 0.5f);
        rebuildQuietly(adjust);
        expectReferenceTables(adjust);
    });
}

TEST(TColorAdjVLTableTest, RebuildForgetsTheTablesBefore) {
    TColorAdjVL fresh, used;
    setParameters(used, -1, 1, -1, 1);
    rebuildQuietly(used);
    setParameters(fresh, 0.1f, 0.2f, 0.3f, -0.4f);
    setParameters(used, 0.1f, 0.2f, 0.3f, -0.4f);
    rebuildQuietly(fresh);
    rebuildQuietly(used);
    EXPECT_TRUE(sameTables(fresh, used));
}

TEST(TColorAdjVLTableTest, ZeroParametersKeepColoursWithinTheGamut) {
    TColorAdjVL adjust;
    setParameters(adjust, 0, 0, 0, 0);
    rebuildQuietly(adjust);
    int kept = 0;
    for (int i = 0; i < 33; ++i) {
        for (int j = 0; j < 33; ++j) {
            for (int k = 0; k < 33; ++k) {
                const int y = i * 65535 / 32, dr = j * 65535 / 32, db = k * 65535 / 32;
                const int r = (dr - 32768) * 2 + y, b = (db - 32768) * 2 + y;
                const double g = 1.7036 * (y - 0.299 * r - 0.114 * b);
                if (r < 0 || r > 65535 || b < 0 || b > 65535 || g < 0 || g > 65535) continue;
                ++kept;
                const int node = adjust.get3DLUTIdx(i, j, k);
                const int m = static_cast<int>(std::hypot(dr - 32768, db - 32768) * std::sqrt(2.0) / 256);
                // Colours within a 256th of grey have the magnitude 0, and what has the magnitude 0 becomes grey.
                const int wantedDr = m == 0 ? 32768 : dr, wantedDb = m == 0 ? 32768 : db;
                ASSERT_NEAR(adjust.m_lutDr[node], wantedDr, 2) << i << ' ' << j << ' ' << k;
                ASSERT_NEAR(adjust.m_lutDb[node], wantedDb, 2) << i << ' ' << j << ' ' << k;
            }
        }
    }
    EXPECT_GT(kept, 4500) << "the gamut fills a seventh of the cube";
}

TEST(TColorAdjVLTableTest, SaturationOfMinusOneIsGrey) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.5f, 0.5f, -1, 0);
    rebuildQuietly(adjust);
    for (int i = 0; i < 33; ++i)
        for (int n = 0; n < 256; ++n) ASSERT_EQ(adjust.m_satLUT_p[i][n], 0);
    EXPECT_TRUE(std::all_of(adjust.m_lutDr, adjust.m_lutDr + 35937, [](ushort v) { return v == 32768; }));
    EXPECT_TRUE(std::all_of(adjust.m_lutDb, adjust.m_lutDb + 35937, [](ushort v) { return v == 32768; }));
}

TEST(TColorAdjVLTableTest, SaturationRowIsALineThatEndsAtTheTop) {
    TColorAdjVL adjust;
    setParameters(adjust, 0, 0, 1, 0);  // slope 4
    rebuildQuietly(adjust);
    for (int i : {0, 32})
        for (int n = 0; n < 256; ++n) ASSERT_EQ(adjust.m_satLUT_p[i][n], std::min(4 * n, 255));
    setParameters(adjust, 0, 0, -0.5f, 0);  // slope 1/2, halves up
    rebuildQuietly(adjust);
    for (int n = 0; n < 256; ++n) ASSERT_EQ(adjust.m_satLUT_p[7][n], (n + 1) / 2);
}

TEST(TColorAdjVLTableTest, PositiveVibranceLiftsTheFootAndMoreForBrightNodes) {
    TColorAdjVL adjust;
    adjust.m_vibScale = 1;
    setParameters(adjust, 0, 0, 0, 0.046875f);  // T = 3 for Y node 0, too little to be smoothed; 9 for node 32
    rebuildQuietly(adjust);
    const int bottom[] = {3, 3, 3, 3, 4, 5};
    for (int n = 0; n < 6; ++n) EXPECT_EQ(adjust.m_satLUT_p[0][n], bottom[n]);
    EXPECT_NEAR(adjust.m_satLUT_p[32][0], 9, 1);
}

TEST(TColorAdjVLTableTest, NegativeVibranceCutsTheFootOff) {
    TColorAdjVL adjust;
    adjust.m_vibScale = 1;
    setParameters(adjust, 0, 0, 0, -0.046875f);
    rebuildQuietly(adjust);
    const int bottom[] = {0, 0, 0, 3, 4, 5};
    for (int n = 0; n < 6; ++n) EXPECT_EQ(adjust.m_satLUT_p[0][n], bottom[n]);
}

TEST(TColorAdjVLTableTest, GainAboveOneDividesTheVibranceThreshold) {
    TColorAdjVL adjust;
    adjust.m_vibScale = 1;
    setParameters(adjust, 0, 0, 1, 0.125f);  // T = trunc(8 / 4) for Y node 0: the first two take entry 2, 8
    rebuildQuietly(adjust);
    const int bottom[] = {8, 8, 8, 12, 16};
    for (int n = 0; n < 5; ++n) EXPECT_EQ(adjust.m_satLUT_p[0][n], bottom[n]);
    setParameters(adjust, 0, 0, -0.5f, 0.046875f);  // a gain below one does not
    rebuildQuietly(adjust);
    const int flat[] = {2, 2, 2, 2, 2, 3};
    for (int n = 0; n < 6; ++n) EXPECT_EQ(adjust.m_satLUT_p[0][n], flat[n]);
}

TEST(TColorAdjVLTableTest, VibranceIsScaledBeforeItMeetsTheNode) {
    // 80 * (0.9f * 0.75f) stays below 54 in float, 80 * 0.9f * 0.75f does not.
    ASSERT_EQ(static_cast<int>(80.0f * (0.9f * 0.75f)), 53);
    ASSERT_EQ(static_cast<int>(80.0f * 0.9f * 0.75f), 54);
    TColorAdjVL adjust;
    setParameters(adjust, 0, 0, 0, 0.75f);
    rebuildQuietly(adjust);
    expectReferenceTables(adjust);
}

TEST(TColorAdjVLTableTest, VibranceBeyondTheRowTakesTheWholeRow) {
    for (float vibrance : {10.0f, 1e6f, 1e30f, std::numeric_limits<float>::infinity()}) {
        TColorAdjVL adjust;
        setParameters(adjust, 0, 0, 0, vibrance);
        rebuildQuietly(adjust);
        for (int n = 0; n < 256; ++n) ASSERT_EQ(adjust.m_satLUT_p[0][n], 255) << vibrance << ' ' << n;
        setParameters(adjust, 0, 0, 0, -vibrance);
        rebuildQuietly(adjust);
        for (int n = 0; n < 256; ++n) ASSERT_EQ(adjust.m_satLUT_p[0][n], 0) << vibrance << ' ' << n;
    }
}

TEST(TColorAdjVLTableTest, ScaleOfTheSidesBelongsToTheSignOfTheParameter) {
    // With the scale of a side at 0 the parameter has no effect on that side, and one on the other.
    TColorAdjVL neutral;
    setParameters(neutral, 0, 0, 0, 0);
    rebuildQuietly(neutral);
    for (int which = 0; which < 4; ++which) {
        TColorAdjVL adjust(which == 0 ? 0 : 1, which == 1 ? 0 : 1, which == 2 ? 0 : 1, which == 3 ? 0 : 1);
        const float temperature[] = {0.5f, -0.5f, 0, 0}, tint[] = {0, 0, 0.5f, -0.5f};
        setParameters(adjust, temperature[which], tint[which], 0, 0);
        rebuildQuietly(adjust);
        EXPECT_TRUE(sameTables(adjust, neutral)) << which;
        setParameters(adjust, -temperature[which], -tint[which], 0, 0);
        rebuildQuietly(adjust);
        EXPECT_FALSE(sameTables(adjust, neutral)) << which;
    }
}

}  // namespace
