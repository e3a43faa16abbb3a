// What the colour adjustment makes of pixels.

#include <gtest/gtest.h>

#include <algorithm>

#include "kestrova/detail/tcoloradjvl.h"
#include "tests/detail/tcoloradjvl_objects.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

float mixed(float a, float b, float f) { return (1 - f) * a + b * f; }

// The reference: the pixels one by one.
void referencePixels(const TColorAdjVL& o, const cv::Mat& y0, const cv::Mat& y1, const cv::Mat& drIn,
                     const cv::Mat& dbIn, cv::Mat& drOut, cv::Mat& dbOut) {
    drOut.create(y0.size(), CV_16UC1);
    dbOut.create(y0.size(), CV_16UC1);
    const float inv = 1.0f / 2048.0f;
    for (int row = 0; row < y0.rows; ++row) {
        for (int col = 0; col < y0.cols; ++col) {
            const int y = y1.at<ushort>(row, col);
            float ratio = static_cast<float>(y + 1024) / static_cast<float>(y0.at<ushort>(row, col) + 1025);
            ratio = std::min(std::max(ratio, 0.5f), 1.2f);
            const int dr = naiveSat16(static_cast<float>(drIn.at<ushort>(row, col) - 32768) * ratio + 32768.0f);
            const int db = naiveSat16(static_cast<float>(dbIn.at<ushort>(row, col) - 32768) * ratio + 32768.0f);
            const int i = y >> 11, j = dr >> 11, k = db >> 11;
            const float fi = static_cast<float>(y - (i << 11)) * inv;
            const float fj = static_cast<float>(dr - (j << 11)) * inv;
            const float fk = static_cast<float>(db - (k << 11)) * inv;
            const auto lookUp = [&](const ushort* lut) {
                const ushort* n = lut + (i * 33 + j) * 33 + k;
                const float first = mixed(mixed(n[0], n[1], fk), mixed(n[33], n[34], fk), fj);
                const float second = mixed(mixed(n[1089], n[1090], fk), mixed(n[1122], n[1123], fk), fj);
                return naiveSat16(mixed(first, second, fi));
            };
            drOut.at<ushort>(row, col) = lookUp(o.m_lutDr);
            dbOut.at<ushort>(row, col) = lookUp(o.m_lutDb);
        }
    }
}

cv::Mat pixel(int value) { return cv::Mat(1, 1, CV_16UC1, cv::Scalar(value)); }

struct Chroma {
    int dr, db;
};

Chroma procPixel(TColorAdjVL& adjust, int y0, int y1, int dr, int db) {
    cv::Mat drOut, dbOut;
    procQuietly(adjust, pixel(y0), pixel(y1), pixel(dr), pixel(db), drOut, dbOut);
    return {drOut.at<ushort>(0, 0), dbOut.at<ushort>(0, 0)};
}

TEST(TColorAdjVLTest, PixelsAreThoseOfTheReferenceAtEverySize) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.4f, -0.3f, 0.6f, 0.5f);
    rebuildQuietly(adjust);
    for (cv::Size size : testSizes()) {
        const ColourPlanes in(size);
        cv::Mat wantedDr, wantedDb, dr, db;
        referencePixels(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
        EXPECT_TRUE(procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db));
        EXPECT_TRUE(samePixels(wantedDr, dr)) << size;
        EXPECT_TRUE(samePixels(wantedDb, db)) << size;
    }
}

TEST(TColorAdjVLTest, PixelsOfUnrelatedTablesComeFromTheRightNodes) {
    TColorAdjVL adjust;
    const cv::Mat dr16 = randomPlane(33 * 33, 33, CV_16UC1, 8), db16 = randomPlane(33 * 33, 33, CV_16UC1, 9);
    std::copy_n(dr16.ptr<ushort>(), 35937, adjust.m_lutDr);
    std::copy_n(db16.ptr<ushort>(), 35937, adjust.m_lutDb);
    const ColourPlanes in({301, 227});
    cv::Mat wantedDr, wantedDb, dr, db;
    referencePixels(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db);
    EXPECT_TRUE(samePixels(wantedDr, dr));
    EXPECT_TRUE(samePixels(wantedDb, db));
}

TEST(TColorAdjVLTest, ChangesOfTheTablesAreSeenWhoeverMadeThem) {
    TColorAdjVL adjust;
    const ColourPlanes in({301, 227});
    const auto expectPixelsOfItsTables = [&](TColorAdjVL& object) {
        cv::Mat wantedDr, wantedDb, dr, db;
        referencePixels(object, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
        procQuietly(object, in.y0, in.y1, in.dr, in.db, dr, db);
        EXPECT_TRUE(samePixels(wantedDr, dr));
        EXPECT_TRUE(samePixels(wantedDb, db));
    };
    expectPixelsOfItsTables(adjust);
    for (float v : {0.3f, -0.6f}) {
        setParameters(adjust, v, -v, v, 0.2f);
        rebuildQuietly(adjust);
        expectPixelsOfItsTables(adjust);
    }
    for (const int node : {0, 17000, 35936}) {
        adjust.m_lutDr[node] ^= 0x4000;
        expectPixelsOfItsTables(adjust);
        adjust.m_lutDb[node] ^= 0x4000;
        expectPixelsOfItsTables(adjust);
    }
    TColorAdjVL other;
    expectPixelsOfItsTables(other);
    other = adjust;
    expectPixelsOfItsTables(other);
    TColorAdjVL copy(adjust);
    expectPixelsOfItsTables(copy);
}

TEST(TColorAdjVLTest, PixelsAreTheSameForEveryNumberOfThreads) {
    TColorAdjVL adjust;
    setParameters(adjust, -0.4f, 0.3f, -0.2f, 0.9f);
    rebuildQuietly(adjust);
    const ColourPlanes in({301, 227});
    cv::Mat wantedDr, wantedDb;
    referencePixels(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
    withThreadCounts([&](int threads) {
        cv::Mat dr, db;
        procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db);
        EXPECT_TRUE(samePixels(wantedDr, dr)) << threads;
        EXPECT_TRUE(samePixels(wantedDb, db)) << threads;
    });
}

TEST(TColorAdjVLTest, SubPlanesAreReadAndWrittenInPlaceAndTheirMarginsKept) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.4f, 0.3f, 0.2f, 0.1f);
    rebuildQuietly(adjust);
    const ColourPlanes in({131, 9});
    cv::Mat wantedDr, wantedDb;
    referencePixels(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);

    cv::Mat larger = randomPlane(20, 150, CV_16UC1, 5);
    const cv::Mat before = larger.clone();
    const cv::Rect inner(9, 4, 131, 9);
    cv::Mat dr = larger(inner), db;
    const uchar* const data = dr.data;
    procQuietly(adjust, asSubPlane(in.y0), asSubPlane(in.y1), asSubPlane(in.dr), asSubPlane(in.db), dr, db);
    EXPECT_EQ(dr.data, data) << "a plane that fits is kept";
    EXPECT_TRUE(samePixels(wantedDr, dr));
    EXPECT_TRUE(samePixels(wantedDb, db));
    before(inner).copyTo(larger(inner));
    EXPECT_TRUE(samePixels(before, larger)) << "written outside the sub-plane";
}

TEST(TColorAdjVLTest, WorksInPlace) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.4f, 0.3f, 0.2f, 0.1f);
    const ColourPlanes in({301, 227});
    cv::Mat wantedDr, wantedDb;
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
    cv::Mat dr = in.dr.clone(), db = in.db.clone();
    const uchar *const drData = dr.data, *const dbData = db.data;
    procQuietly(adjust, in.y0, in.y1, dr, db, dr, db);
    EXPECT_EQ(dr.data, drData);
    EXPECT_EQ(db.data, dbData);
    EXPECT_TRUE(samePixels(wantedDr, dr));
    EXPECT_TRUE(samePixels(wantedDb, db));
}

TEST(TColorAdjVLTest, LeavesItsInputsAloneAndRecreatesOutputsThatDoNotFit) {
    TColorAdjVL adjust;
    const ColourPlanes in({33, 17}), same({33, 17});
    cv::Mat dr(3, 3, CV_8UC1), db(17, 33, CV_32FC1);
    EXPECT_TRUE(procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db));
    EXPECT_EQ(dr.type(), CV_16UC1);
    EXPECT_EQ(db.type(), CV_16UC1);
    EXPECT_EQ(dr.size(), in.dr.size());
    EXPECT_EQ(db.size(), in.db.size());
    EXPECT_TRUE(samePixels(same.y0, in.y0));
    EXPECT_TRUE(samePixels(same.y1, in.y1));
    EXPECT_TRUE(samePixels(same.dr, in.dr));
    EXPECT_TRUE(samePixels(same.db, in.db));
}

TEST(TColorAdjVLTest, NeutralPictureStaysWithinTheRoundingOfTheGrid) {
    // Node 16 of the identity stands at trunc(16 x 2047.96875) = 32767.
    TColorAdjVL adjust;
    for (int y : {0, 1, 1000, 32768, 65535}) {
        const Chroma out = procPixel(adjust, y, y, 32768, 32768);
        EXPECT_NEAR(out.dr, 32768, 1) << y;
        EXPECT_NEAR(out.db, 32768, 1) << y;
    }
}

TEST(TColorAdjVLTest, IdentityKeepsEveryChromaWithinTheRoundingOfTheGrid) {
    // The grid puts value v at v x 65535 / 65536; the ratio of equal luminances is 1024 / 1025 at the least.
    TColorAdjVL adjust;
    cv::Mat all(1, 65536, CV_16UC1), top(1, 65536, CV_16UC1, cv::Scalar(65535)), dr, db;
    for (int v = 0; v < 65536; ++v) all.at<ushort>(0, v) = static_cast<ushort>(v);
    procQuietly(adjust, top, top, all, all, dr, db);
    EXPECT_TRUE(closePixels(all, dr, 3));
    EXPECT_TRUE(closePixels(all, db, 3));
}

TEST(TColorAdjVLTest, RatioIsLimitedBelowAtAHalf) {
    TColorAdjVL adjust;
    EXPECT_NEAR(procPixel(adjust, 65535, 0, 52768, 12768).dr, 42768, 2);
    EXPECT_NEAR(procPixel(adjust, 65535, 0, 52768, 12768).db, 22768, 2);
}

TEST(TColorAdjVLTest, RatioIsLimitedAboveAtSixFifths) {
    TColorAdjVL adjust;
    EXPECT_NEAR(procPixel(adjust, 0, 65535, 42768, 22768).dr, 44768, 2);
    EXPECT_NEAR(procPixel(adjust, 0, 65535, 42768, 22768).db, 20768, 2);
}

TEST(TColorAdjVLTest, ChromaFollowsTheRatioOfTheLuminancesBetweenTheLimits) {
    TColorAdjVL adjust;
    const double ratio = (18000.0 + 1024) / (20000.0 + 1025);
    const Chroma out = procPixel(adjust, 20000, 18000, 42768, 22768);
    EXPECT_NEAR(out.dr, 32768 + 10000 * ratio, 2);
    EXPECT_NEAR(out.db, 32768 - 10000 * ratio, 2);
}

TEST(TColorAdjVLTest, LargestValuesReadTheLastNodesAndNoFurther) {
    // 65535 lies 2047/2048 of the way from node 31, at 63487, to node 32, at 65535.
    TColorAdjVL adjust;
    for (int y0 : {0, 65535}) {
        const Chroma top = procPixel(adjust, y0, 65535, 65535, 65535);
        EXPECT_EQ(top.dr, 65534);
        EXPECT_EQ(top.db, 65534);
    }
    const Chroma bottom = procPixel(adjust, 0, 65535, 0, 0);
    EXPECT_EQ(bottom.dr, 0);
    EXPECT_EQ(bottom.db, 0);
}

TEST(TColorAdjVLTest, ParametersPullMidGreyTowardsTheirColours) {
    struct {
        float temperature, tint;
        int drSign, dbSign;
    } const cases[] = {{1, 0, 1, -1}, {-1, 0, -1, 1}, {0, 1, 1, 1}, {0, -1, -1, -1}};
    for (const auto& c : cases) {
        TColorAdjVL adjust;
        setParameters(adjust, c.temperature, c.tint, 0, 0);
        const Chroma out = procPixel(adjust, 30000, 30000, 32768, 32768);
        EXPECT_GT((out.dr - 32768) * c.drSign, 200) << c.temperature << ' ' << c.tint << ": " << out.dr;
        EXPECT_GT((out.db - 32768) * c.dbSign, 200) << c.temperature << ' ' << c.tint << ": " << out.db;
    }
}

}  // namespace
