#include "kestrova/curves/detail_curves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <tuple>
#include <vector>

#include "kestrova/curves/table_smoothing.h"
#include "kestrova/curves/tlut1d.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// The builders in the plain: one entry at a time, in the documented order.

int naiveRamp(float offset, float slope, int i, int top) {
    const float v = slope * static_cast<float>(i) + offset;
    if (v >= static_cast<float>(top) - 0.5f) return top;
    if (v < 0) return 0;
    return static_cast<int>(v + 0.5f);
}

struct NaiveCurve {
    std::vector<int> drawn;  // before the smoothing
    std::vector<int> table;
    int n;
    float slope;
};

template <class Entry>
NaiveCurve naiveFinish(float K, float T, float kMin, float kMax, int threshold, float blurScale) {
    const int top = std::numeric_limits<Entry>::max(), entries = top + 1, middle = entries / 2;
    NaiveCurve curve;
    const float s = K >= 0 ? kMax - 1 : 1 - kMin;
    curve.slope = s * K + 1;
    const float w = static_cast<float>(threshold) * T;
    curve.n = static_cast<int>(std::trunc(w));
    if (curve.slope > 1) curve.n = static_cast<int>(std::trunc(w / curve.slope));
    const int n = curve.n;
    const float offset = (1 - curve.slope) * static_cast<float>(middle);
    for (int i = 0; i < entries; ++i) curve.drawn.push_back(naiveRamp(offset, curve.slope, i, top));
    const std::vector<int> line = curve.drawn;
    for (int i = 0; i < n; ++i) curve.drawn[middle + i] = line[middle + n];
    for (int i = 0; i < n; ++i) curve.drawn[middle - n + i] = line[middle - n];
    if (n < 0)
        for (int i = n; i <= -n; ++i) curve.drawn[middle + i] = middle;

    std::vector<Entry> table(curve.drawn.begin(), curve.drawn.end());
    const float sigma = static_cast<float>(std::abs(n)) * blurScale;
    if (n != 0 && sigma > 1) {
        std::vector<float> work(table.begin(), table.end());
        gaussSmooth1D(work.data(), entries, sigma, 2);
        for (int i = 0; i < entries; ++i)
            table[i] = static_cast<Entry>(
                std::min(std::max(std::nearbyint(static_cast<double>(work[i])), 0.0), static_cast<double>(top)));
    }
    curve.table.assign(table.begin(), table.end());
    return curve;
}

float naiveDamped(float t) { return static_cast<float>(static_cast<double>(t) * 0.4); }

float naiveThreshold16(float t, float baseT) {
    const float bt = baseT < 0 ? naiveDamped(baseT) : baseT;
    if (t >= 0) return (1.5f - bt) * t * 0.6666667f + bt;
    return naiveDamped(t) * (bt + 1.5f) * 0.6666667f + bt;
}

NaiveCurve naive16(float k, float t, float baseK, float baseT, float kMin, float kMax, int threshold, float blur) {
    const float K = (k >= 0 ? 1.5f - baseK : baseK + 1.5f) * k * 0.6666667f + baseK;
    const float T = naiveThreshold16(t, baseT);
    return naiveFinish<ushort>(K, T, kMin, kMax, threshold, blur);
}

NaiveCurve naive8(float k, float t, float baseK, float baseT, float kMin, float kMax, int threshold, float blur) {
    const float K = (k >= 0 ? 1 - baseK : baseK + 1) * k + baseK;
    const float T = (t >= 0 ? 1 - baseT : baseT + 1) * t + baseT;
    return naiveFinish<uchar>(K, T, kMin, kMax, threshold, blur);
}

std::vector<int> tableOf(TLut8U& lut) { return {lut.lut8U(), lut.lut8U() + 256}; }
std::vector<int> tableOf(TLut16U& lut) { return {lut.lut16U(), lut.lut16U() + 65536}; }

std::vector<int> identity(int entries) {
    std::vector<int> table(entries);
    std::iota(table.begin(), table.end(), 0);
    return table;
}

struct Parameters {
    float k, t, baseK, baseT;
};

const Parameters kParameters[] = {{0, 0, 0, 0},
                                  {0.5f, 0, 0, 0},
                                  {0, 0.5f, 0, 0},
                                  {0, -0.5f, 0, 0},
                                  {1, 1, 0, 0},
                                  {-1, -1, 0, 0},
                                  {-0.7f, 0.3f, 0, 0},
                                  {0.2f, 0.9f, 0.4f, 0.3f},
                                  {0.2f, -0.9f, 0.4f, -0.3f},
                                  {0, 0, -0.6f, -0.8f},
                                  {-0.3f, 0.6f, -0.5f, -1},
                                  {0.45f, -1, -0.25f, 0.85f},
                                  {-2, 0.1f, 0, 0},
                                  {0.01f, 0.004f, 0, 0}};

TEST(TLut16UTest, DefaultsAndRange) {
    TLut16U lut;
    EXPECT_EQ(lut.m_inType, 2);
    EXPECT_EQ(lut.m_outType, 2);
    EXPECT_EQ(lut.m_kMin, 0.0f);
    EXPECT_EQ(lut.m_kMax, 6.0f);
    EXPECT_EQ(lut.m_threshold, 8191);
    EXPECT_EQ(lut.m_blurScale, 0.35f);
    lut.setupLinearThreshold(0.5f, 0.25f, 0, 0);
    const std::vector<int> before = tableOf(lut);
    lut.setKRange(0.5f, 5, 9830, 0.25f);
    EXPECT_EQ(lut.m_kMin, 0.5f);
    EXPECT_EQ(lut.m_kMax, 5.0f);
    EXPECT_EQ(lut.m_threshold, 9830);
    EXPECT_EQ(lut.m_blurScale, 0.25f);
    EXPECT_EQ(tableOf(lut), before);
    EXPECT_EQ(sizeof lut.m_curve, 64 * sizeof(float));
    const TLut16U own(0.25f, 3, 7372, 0.5f);
    EXPECT_EQ(own.m_kMin, 0.25f);
    EXPECT_EQ(own.m_kMax, 3.0f);
    EXPECT_EQ(own.m_threshold, 7372);
    EXPECT_EQ(own.m_blurScale, 0.5f);
}

TEST(TLut8UTest, DefaultsAndRange) {
    TLut8U lut;
    EXPECT_EQ(lut.m_inType, 0);
    EXPECT_EQ(lut.m_outType, 0);
    EXPECT_EQ(lut.m_kMin, 0.0f);
    EXPECT_EQ(lut.m_kMax, 6.0f);
    EXPECT_EQ(lut.m_threshold, 32);
    EXPECT_EQ(lut.m_blurScale, 0.35f);
    lut.setupLinearThreshold(0.5f, 0.25f, 0, 0);
    const std::vector<int> before = tableOf(lut);
    lut.setKRange(0.5f, 5, 16, 0.25f);
    EXPECT_EQ(lut.m_threshold, 16);
    EXPECT_EQ(tableOf(lut), before);
    const TLut8U own(0.25f, 3, 40, 0.5f);
    EXPECT_EQ(own.m_threshold, 40);
    EXPECT_EQ(own.m_blurScale, 0.5f);
}

TEST(TLut16UTest, EveryCurveIsThePlainOneToTheBit) {
    for (const auto& [kMin, kMax, threshold] :
         {std::tuple(0.0f, 6.0f, 8191), std::tuple(0.0f, 5.0f, 9830), std::tuple(0.25f, 3.5f, 7372)}) {
        TLut16U lut(kMin, kMax, threshold, 0.35f);
        for (const Parameters& p : kParameters) {
            lut.setupLinearThreshold(p.k, p.t, p.baseK, p.baseT);
            const NaiveCurve expected = naive16(p.k, p.t, p.baseK, p.baseT, kMin, kMax, threshold, 0.35f);
            ASSERT_EQ(tableOf(lut), expected.table) << p.k << ' ' << p.t << ' ' << p.baseK << ' ' << p.baseT;
        }
    }
}

TEST(TLut8UTest, EveryCurveIsThePlainOneToTheBit) {
    for (int threshold : {32, 100}) {
        TLut8U lut(0.0f, 6.0f, threshold, 0.35f);
        for (const Parameters& p : kParameters) {
            lut.setupLinearThreshold(p.k, p.t, p.baseK, p.baseT);
            const NaiveCurve expected = naive8(p.k, p.t, p.baseK, p.baseT, 0.0f, 6.0f, threshold, 0.35f);
            ASSERT_EQ(tableOf(lut), expected.table) << p.k << ' ' << p.t << ' ' << p.baseK << ' ' << p.baseT;
        }
    }
}

TEST(TLut16UTest, ParametersOfZeroGiveTheIdentity) {
    TLut16U lut;
    lut.setupLinearThreshold(0, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), identity(65536));
}

TEST(TLut8UTest, ParametersOfZeroGiveTheIdentity) {
    TLut8U lut;
    lut.setupLinearThreshold(0, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), identity(256));
}

TEST(TLut16UTest, FullSofteningFlattensAndMoreFalls) {
    TLut16U lut;
    lut.setupLinearThreshold(-1, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), std::vector<int>(65536, 32768));
    lut.setupLinearThreshold(-1.25f, 0, 0, 0);
    EXPECT_GT(lut.lut16U()[0], lut.lut16U()[65535]);
    EXPECT_EQ(lut.lut16U()[32768], 32768);
}

TEST(TLut16UTest, APositiveThresholdIsAStepOfTwoFlats) {
    ushort table[65536];
    for (float k : {0.0f, 0.4f, -0.5f}) {
        const DetailCurve curve = {k, 0.5f, 0, 0, 0, 6, 8191, 0.35f};
        const float sigma = drawDetailCurve(curve, table);
        const NaiveCurve expected = naive16(k, 0.5f, 0, 0, 0, 6, 8191, 0.35f);
        const int n = expected.n;
        ASSERT_GT(n, 0);
        EXPECT_EQ(std::vector<int>(table, table + 65536), expected.drawn);
        EXPECT_EQ(sigma, static_cast<float>(n) * 0.35f);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(table[32768 + i], table[32768 + n]);
            ASSERT_EQ(table[32768 - n + i], table[32768 - n]);
        }
        EXPECT_NEAR(table[32768] - table[32767], 2 * static_cast<float>(n) * expected.slope, 1);
    }
}

TEST(TLut16UTest, ANegativeThresholdIsADeadZoneThatDoesNotShiftTheLines) {
    ushort table[65536];
    const DetailCurve curve = {0, -0.5f, 0, 0, 0, 6, 8191, 0.35f};
    drawDetailCurve(curve, table);
    const int m = static_cast<int>(8191 * (static_cast<float>(-0.5 * 0.4) * 1.5f * 0.6666667f)) * -1;
    EXPECT_NEAR(m, 8191 * 0.2, 1);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(table[i], std::abs(i - 32768) <= m ? 32768 : i) << i;
}

TEST(TLut8UTest, StepAndDeadZoneBeforeTheSmoothing) {
    uchar table[256];
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, 0.5f, 0, 0, 0, 6, 32, 0.35f}, table), 16 * 0.35f);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(table[i], i >= 112 && i < 128 ? 112 : i >= 128 && i < 144 ? 144 : i) << i;
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, -0.5f, 0, 0, 0, 6, 32, 0.35f}, table), 16 * 0.35f);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(table[i], std::abs(i - 128) <= 16 ? 128 : i) << i;
}

TEST(TLut16UTest, TheDampingOfDeadZonesIsInDoubleAndNotIn8Bits) {
    // A base of -1 is damped to -0.4 of 8191 levels, a threshold of -1 on no base likewise.
    ushort wide[65536];
    uchar narrow[256];
    for (const DetailCurve& curve :
         {DetailCurve{0, 0, 0, -1, 0, 6, 8191, 0.35f}, DetailCurve{0, -1, 0, 0, 0, 6, 8191, 0.35f}}) {
        EXPECT_EQ(drawDetailCurve(curve, wide), 3276 * 0.35f);
        EXPECT_EQ(wide[32768 - 3276], 32768);
        EXPECT_EQ(wide[32768 - 3277], 32768 - 3277);
    }
    for (const DetailCurve& curve :
         {DetailCurve{0, 0, 0, -1, 0, 6, 32, 0.35f}, DetailCurve{0, -1, 0, 0, 0, 6, 32, 0.35f}}) {
        EXPECT_EQ(drawDetailCurve(curve, narrow), 32 * 0.35f);
        EXPECT_EQ(narrow[128 - 32], 128);
        EXPECT_EQ(narrow[128 - 33], 128 - 33);
    }
    // Where a product in float would give another half width, that of the product in double stands.
    int differing = 0;
    for (float t = -1.0f; t < 0; t += 0x1p-14f) {
        const auto halfWidth = [](float dampedT) {
            return static_cast<int>(std::trunc(32000 * (dampedT * 1.5f * 0.6666667f)));
        };
        const int n = halfWidth(static_cast<float>(static_cast<double>(t) * 0.4));
        if (n == halfWidth(t * 0.4f)) continue;
        ++differing;
        EXPECT_EQ(drawDetailCurve(DetailCurve{0, t, 0, 0, 0, 6, 32000, 1}, wide), static_cast<float>(-n)) << t;
    }
    EXPECT_GT(differing, 0);
}

TEST(TLut16UTest, TheThresholdIsMultipliedInItsOrder) {
    ushort table[65536];
    int differing = 0;
    for (const float baseT : {0.3f, -0.7f}) {
        const float bt = baseT < 0 ? naiveDamped(baseT) : baseT;
        for (float t = -1.5f; t <= 1.5f; t += 0x1p-10f) {
            // Another order gives another half width now and then.
            const float other =
                t >= 0 ? (1.5f - bt) * (t * 0.6666667f) + bt : naiveDamped(t) * ((bt + 1.5f) * 0.6666667f) + bt;
            const int n = static_cast<int>(20000 * naiveThreshold16(t, baseT));
            if (n == static_cast<int>(20000 * other)) continue;
            ++differing;
            const float sigma = drawDetailCurve(DetailCurve{0, t, 0, baseT, 0, 6, 20000, 1}, table);
            EXPECT_EQ(sigma, static_cast<float>(std::abs(n))) << t << ' ' << baseT;
        }
    }
    EXPECT_GT(differing, 1);
}

TEST(TLut16UTest, TheFullPositiveThresholdReachesOneAndAHalfTimesTheWidth) {
    ushort table[65536];
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, 1.5f, 0, 0, 0, 6, 9830, 0.35f}, table), 14745 * 0.35f);
}

TEST(TLut16UTest, OnlyASlopeAboveOneNarrowsTheCentre) {
    ushort table[65536];
    // Slope 6 at k = 1.5, where K is 1.5 * 1.5 * 0.6666667 = 1.5 and the slope 5 * 1.5 + 1 = 8.5.
    EXPECT_EQ(drawDetailCurve(DetailCurve{1.5f, 1, 0, 0, 0, 6, 8191, 1}, table), std::trunc(8191 / 8.5f));
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, 1, 0, 0, 0, 6, 8191, 1}, table), 8191.0f);
    EXPECT_EQ(drawDetailCurve(DetailCurve{-0.5f, 1, 0, 0, 0, 6, 8191, 1}, table), 8191.0f);
}

TEST(TLut16UTest, ASigmaOfExactlyOneDoesNotSmooth) {
    // Half width 4 levels: sigma 1 at a blur scale of 0.25.
    TLut16U lut(0, 6, 4, 0.25f);
    lut.setupLinearThreshold(0, 1, 0, 0);
    std::vector<int> expected = identity(65536);
    for (int i = 0; i < 4; ++i) expected[32768 + i] = 32772, expected[32764 + i] = 32764;
    EXPECT_EQ(tableOf(lut), expected);
    lut.setKRange(0, 6, 4, 0.26f);
    lut.setupLinearThreshold(0, 1, 0, 0);
    EXPECT_NE(tableOf(lut), expected);

    TLut8U small(0, 6, 4, 0.25f);
    small.setupLinearThreshold(0, 1, 0, 0);
    expected = identity(256);
    for (int i = 0; i < 4; ++i) expected[128 + i] = 132, expected[124 + i] = 124;
    EXPECT_EQ(tableOf(small), expected);
}

TEST(TLut16UTest, AHalfWidthBeyondTheTableEndsAtItsEnds) {
    ushort table[65536];
    for (int threshold : {32768, 70000, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(drawDetailCurve(DetailCurve{0, 1, 0, 0, 0, 6, threshold, 1}, table), 32767.0f);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ(table[i], i == 0 ? 0 : i < 32768 ? 1 : 65535) << i;
        EXPECT_EQ(drawDetailCurve(DetailCurve{0, 1, 0, 0, 0, 6, -threshold, 1}, table), 32767.0f);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ(table[i], i == 0 ? 0 : 32768) << i;
    }
    uchar narrow[256];
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, 1, 0, 0, 0, 6, 128, 1}, narrow), 127.0f);
    EXPECT_EQ(drawDetailCurve(DetailCurve{0, -1, 0, 0, 0, 6, 1000, 1}, narrow), 127.0f);
    EXPECT_EQ(narrow[0], 0);
    EXPECT_EQ(narrow[1], 128);
}

TEST(TLut16UTest, InfinitiesAndNotANumbersStillGiveATable) {
    const float odd[] = {kNaN, kInf, -kInf, 1e30f};
    for (float v : odd) {
        for (int which = 0; which < 7; ++which) {
            float a[7] = {0.5f, 0.5f, 0, 0, 0, 6, 0.35f};
            a[which] = v;
            TLut16U wide(a[4], a[5], 8191, a[6]);
            wide.setupLinearThreshold(a[0], a[1], a[2], a[3]);
            TLut8U narrow(a[4], a[5], 32, a[6]);
            narrow.setupLinearThreshold(a[0], a[1], a[2], a[3]);
        }
    }
    // A width that is not a number is none; a line that is not a number lies at 0.
    TLut16U lut;
    lut.setupLinearThreshold(0, kNaN, 0, 0);
    EXPECT_EQ(tableOf(lut), identity(65536));
    lut.setupLinearThreshold(kNaN, 0, 0, 0);
    EXPECT_EQ(tableOf(lut), std::vector<int>(65536, 0));
}

TEST(DetailCurvesTest, ABatchHoldsTheBitsOfEachCurveAndBuildsEqualOnesOnce) {
    const std::vector<DetailCurve> curves = {
        {0.3f, 0.5f, 0.1f, -0.2f, 0, 5, 9830, 0.35f}, {0, 0, 0, 0, 0, 5, 9830, 0.35f},
        {0.1f, -0.2f, 0, 0, 0, 5, 9830, 0.35f},       {0.3f, 0.5f, 0.1f, -0.2f, 0, 4, 8191, 0.35f},
        {0.3f, 0.5f, 0.1f, -0.2f, 0, 5, 9830, 0.35f}, {-1, 1.5f, 0, 0, 0, 4, 8191, 0.35f},
        {1.5f, -1.5f, 0, 0, 0, 3.5f, 7372, 0.35f},    {0, 0, 0, 0, 0, 5, 9830, 0.35f},
        {0.2f, 0.001f, 0, 0, 0, 3.5f, 7372, 0.35f},   {0.2f, 0.1f, 0, 0, 0, 3.5f, 7372, 0.35f}};
    withThreadCounts([&](int threads) {
        const DetailCurves batch(curves);
        for (int i = 0; i < static_cast<int>(curves.size()); ++i) {
            const DetailCurve& c = curves[i];
            TLut16U lut(c.kMin, c.kMax, c.threshold, c.blurScale);
            lut.setupLinearThreshold(c.k, c.t, c.baseK, c.baseT);
            ASSERT_EQ(tableOf(lut), std::vector<int>(batch[i], batch[i] + 65536)) << i << ", " << threads << " threads";
        }
        EXPECT_EQ(batch[0], batch[4]);
        EXPECT_EQ(batch[1], batch[7]);
        EXPECT_NE(batch[0], batch[3]);
    });
    const DetailCurves none({});
}

TEST(DetailCurvesTest, OtherWorkIsDoneOnceBesideTheTables) {
    const DetailCurve curve = {0.3f, 0.5f, 0.1f, -0.2f, 0, 5, 9830, 0.35f};
    withThreadCounts([&](int) {
        for (const std::vector<DetailCurve>& curves : {std::vector<DetailCurve>{}, {curve}, {curve, {}}}) {
            std::atomic<int> calls{0};
            const DetailCurves batch(curves, [&] { ++calls; });
            EXPECT_EQ(calls, 1);
        }
    });
}

}  // namespace
