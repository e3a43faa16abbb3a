#include "kestrova/curves/tlut_y.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "kestrova/primitives/primitives.h"
#include "tests/curves/sampled_tables.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const char kProcText[] = "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1";
const char kProcTypesText[] =
    "ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1";
const char kProcSizesText[] = "ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size";
const char kNoTableText[] = "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p";
const char kYTypeText[] = "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1";
const char kNoTablesText[] = "ERROR - TLutYDrDb::applyCLUT - m_NC<1 ";
const char kCTypeText[] = "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1";

using Rule = std::function<void(ushort&, uchar&, uchar&)>;

class Ruled final : public TLutYDrDb {
public:
    explicit Ruled(const Rule& rule, int nc = 4) : TLutYDrDb(nc), m_rule(rule) {}
    void mapPixel(ushort& y, uchar& dr, uchar& db) override { m_rule(y, dr, db); }
    Rule m_rule;
};

void identityRule(ushort&, uchar&, uchar&) {}

// Scattered, and different for every luminance; the luminance that is left behind must not matter to chroma.
void wildRule(ushort& y, uchar& dr, uchar& db) {
    const unsigned mixed = (dr * 2654435761u) ^ (db * 40503u) ^ (y * 2246822519u);
    dr = static_cast<uchar>(mixed >> 11);
    db = static_cast<uchar>(mixed >> 19);
    y = static_cast<ushort>(mixed >> 7);
}

std::vector<int> naiveEnlarge2(const std::vector<int>& grid) {
    const auto at = [&](int y, int x) { return grid[std::clamp(y, 0, 127) * 128 + std::clamp(x, 0, 127)]; };
    std::vector<int> full;
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            const double py = (y + 0.5) / 2 - 0.5, px = (x + 0.5) / 2 - 0.5;
            const int iy = static_cast<int>(std::floor(py)), ix = static_cast<int>(std::floor(px));
            const double fy = py - iy, fx = px - ix;
            const double upper = at(iy, ix) * (1 - fx) + at(iy, ix + 1) * fx;
            const double lower = at(iy + 1, ix) * (1 - fx) + at(iy + 1, ix + 1) * fx;
            full.push_back(static_cast<int>(std::floor(upper * (1 - fy) + lower * fy + 0.5)));
        }
    }
    return full;
}

struct Grids {
    std::vector<int> dr, db;
};

Grids sampleChroma(const Rule& rule, int luminance) {
    Grids grids;
    for (int i = 0; i < 128; ++i) {
        for (int j = 0; j < 128; ++j) {
            ushort y = static_cast<ushort>(luminance);
            uchar dr = static_cast<uchar>(2 * i), db = static_cast<uchar>(2 * j);
            rule(y, dr, db);
            grids.dr.push_back(dr);
            grids.db.push_back(db);
        }
    }
    return grids;
}

std::vector<int> naiveChromaTable(const Rule& rule, int luminance) {
    const Grids grids = sampleChroma(rule, luminance);
    const std::vector<int> dr = naiveEnlarge2(grids.dr), db = naiveEnlarge2(grids.db);
    std::vector<int> table;
    for (int i = 0; i < 65536; ++i) table.push_back(dr[i] << 8 | db[i]);
    return table;
}

// Fills the chroma tables with scattered pairs, without any rule.
void fillChromaTables(TLutYDrDb& lut) {
    for (int c = 0; c < lut.numCLUT(); ++c) {
        const cv::Mat values = randomPlane(1, 65536, CV_16UC1, 50 + c);
        std::copy_n(values.ptr<ushort>(), 65536, lut.m_CLUT_p[c]);
    }
}

// The pixel rule of the several tables in the plain, with its division in integers and its floats.
void naiveBands(const TLutYDrDb& lut, int nc, int Y, int dr, int db, uchar& outDr, uchar& outDb) {
    const int shift = 16 - nc, step = 1 << shift, last = (1 << nc) - 1;
    int i0 = Y >> shift, i1 = i0 + 1;
    if (i1 > last) i1 = last, i0 = last - 1;
    const float w = static_cast<float>(((i1 + 1) * step - Y) / step);
    const int a = lut.m_CLUT_p[i0][dr << 8 | db], b = lut.m_CLUT_p[i1][dr << 8 | db];
    const float r = static_cast<float>(b >> 8) * (1 - w) + static_cast<float>(a >> 8) * w;
    const float s = static_cast<float>(b & 0xFF) * (1 - w) + static_cast<float>(a & 0xFF) * w;
    outDr = static_cast<uchar>(static_cast<int>(r) & 0xFF);
    outDb = static_cast<uchar>(static_cast<int>(s) & 0xFF);
}

// Luminance with many pixels at the very start of a band.
cv::Mat luminanceOfBands(const cv::Size& size, unsigned seed) {
    cv::Mat y = randomPlane(size.height, size.width, CV_16UC1, seed);
    for (int r = 0; r < y.rows; ++r)
        for (int c = r % 3; c < y.cols; c += 3) y.at<ushort>(r, c) &= 0xF800;
    return y;
}

TEST(TLutYDrDbTest, TheNumberOfTablesIsAPowerOfTwoUpTo32) {
    for (const auto& [nc, stored, count] : {std::tuple(7, 5, 32), std::tuple(5, 5, 32), std::tuple(4, 4, 16),
                                            std::tuple(1, 1, 2), std::tuple(0, 0, 1), std::tuple(-1, -1, 0)}) {
        const std::unique_ptr<Ruled> lut(new Ruled(identityRule, nc));
        EXPECT_EQ(lut->m_NC, stored);
        EXPECT_EQ(lut->numCLUT(), count);
        for (int s = 0; s < 32; ++s) EXPECT_EQ(lut->m_CLUT_p[s] != nullptr, s < count) << nc << ' ' << s;
        EXPECT_NE(lut->m_lutY_p, nullptr);
    }
    struct ByDefault final : TLutYDrDb {
        void mapPixel(ushort&, uchar&, uchar&) override {}
    };
    ByDefault lut;
    EXPECT_EQ(lut.numCLUT(), 16);
}

TEST(TLutYDrDbTest, FewerTablesLeaveStalePointersThatAreNeverUsedAgain) {
    Ruled lut(wildRule, 2);
    ushort* const stale = lut.m_CLUT_p[3];
    EXPECT_EQ(lut.setupCLUT(0), 1);
    EXPECT_EQ(lut.m_CLUT_p[3], stale);
    lut.computeLUT();
    EXPECT_EQ(lut.setupCLUT(-1), 0);
    EXPECT_EQ(lut.setupCLUT(2), 4);
    lut.computeLUT();
    const cv::Mat y = luminanceOfBands({64, 48}, 1), dr = randomPlane(48, 64, CV_8UC1, 2),
                  db = randomPlane(48, 64, CV_8UC1, 3);
    cv::Mat outDr, outDb;
    lut.applyCLUT(y, dr, db, outDr, outDb);
    EXPECT_EQ(tableOf(lut.m_CLUT_p[0]), naiveChromaTable(wildRule, 8192));
}

TEST(TLutYDrDbTest, TheLuminanceTableIsSampledAtNeutralChroma) {
    std::vector<int> samples;
    for (int i = 0; i < 4096; ++i) {
        ushort y = static_cast<ushort>(16 * i);
        uchar dr = 0x80, db = 0x80;
        wildRule(y, dr, db);
        samples.push_back(y);
    }
    const std::vector<int> expected = naiveEnlarge16(samples);
    withThreadCounts([&](int) {
        Ruled lut(wildRule, -1);
        lut.computeLUT();
        ASSERT_EQ(tableOf(lut.m_lutY_p), expected);
    });
}

TEST(TLutYDrDbTest, OneChromaTableIsSampledAtMiddleLuminance) {
    const std::vector<int> expected = naiveChromaTable(wildRule, 0x7FFF);
    withThreadCounts([&](int) {
        Ruled lut(wildRule, 0);
        lut.computeLUT();
        ASSERT_EQ(tableOf(lut.m_CLUT_p[0]), expected);
    });
}

TEST(TLutYDrDbTest, SeveralChromaTablesAreSampledInTheMiddleOfTheirBands) {
    for (const auto& [nc, step, offset] : {std::tuple(1, 32768, 16384), std::tuple(2, 16384, 8192),
                                           std::tuple(4, 4096, 2048), std::tuple(5, 2048, 1024)}) {
        const int count = 1 << nc;
        EXPECT_EQ(step, std::nearbyint(static_cast<double>(65535.0f / static_cast<float>(count))));
        EXPECT_EQ(offset, std::nearbyint(static_cast<double>(32767.0f / static_cast<float>(count))));
        Ruled lut(wildRule, nc);
        lut.computeLUT();
        for (int c : {0, count / 2, count - 1})
            ASSERT_EQ(tableOf(lut.m_CLUT_p[c]), naiveChromaTable(wildRule, c * step + offset)) << nc << ' ' << c;
    }
}

TEST(TLutYDrDbTest, ChromaTablesAreThoseOfTheResizeOperation) {
    Ruled lut(wildRule, 0);
    lut.computeLUT();
    const Grids grids = sampleChroma(wildRule, 0x7FFF);
    for (const auto& [grid, shift] : {std::pair(grids.dr, 8), std::pair(grids.db, 0)}) {
        const std::vector<uchar> small(grid.begin(), grid.end());
        std::vector<uchar> full(65536);
        ASSERT_EQ(ippiResizeSqrPixel_8u_C1R(small.data(), {128, 128}, 128, {0, 0, 128, 128}, full.data(), 256,
                                            {0, 0, 256, 256}, 2.0, 2.0, 0, 0, IPPI_INTER_LINEAR, nullptr),
                  ippStsNoErr);
        for (int i = 0; i < 65536; ++i) ASSERT_EQ(lut.m_CLUT_p[0][i] >> shift & 0xFF, full[i]) << i;
    }
}

TEST(TLutYDrDbTest, TheIdentityGivesNearlyTheIdentityOfChroma) {
    Ruled lut(identityRule, 0);
    lut.computeLUT();
    for (int dr = 0; dr < 256; ++dr) {
        for (int db = 0; db < 256; ++db) {
            const int pair = lut.m_CLUT_p[0][dr << 8 | db];
            ASSERT_NEAR(pair >> 8, dr, 1);
            ASSERT_NEAR(pair & 0xFF, db, 1);
        }
    }
    EXPECT_EQ(lut.m_CLUT_p[0][65535], 254 << 8 | 254);
}

TEST(TLutYDrDbTest, WithoutALuminanceTableOneChromaTableIsComputedAndSeveralAreNot) {
    Ruled one(wildRule, 0), two(wildRule, 1);
    std::fill_n(two.m_CLUT_p[0], 65536, ushort(9));
    one.m_lutY_p = two.m_lutY_p = nullptr;
    one.computeLUT();
    two.computeLUT();
    EXPECT_EQ(tableOf(one.m_CLUT_p[0]), naiveChromaTable(wildRule, 0x7FFF));
    EXPECT_EQ(tableOf(two.m_CLUT_p[0]), std::vector<int>(65536, 9));
    two.setupYLUT();
    EXPECT_NE(two.m_lutY_p, nullptr);
}

TEST(TLutYDrDbTest, OneTableLooksUpThePairInPlaceToo) {
    Ruled lut(identityRule, 0);
    fillChromaTables(lut);
    for (const cv::Size& size : testSizes()) {
        const cv::Mat dr = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 1));
        const cv::Mat db = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 2));
        cv::Mat expectedDr(size, CV_8UC1), expectedDb(size, CV_8UC1);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const int e = lut.m_CLUT_p[0][dr.at<uchar>(y, x) << 8 | db.at<uchar>(y, x)];
                expectedDr.at<uchar>(y, x) = static_cast<uchar>(e >> 8);
                expectedDb.at<uchar>(y, x) = static_cast<uchar>(e & 0xFF);
            }
        }
        withThreadCounts([&](int) {
            cv::Mat outDr, outDb(2, 2, CV_16UC1);
            lut.applyCLUT(dr, db, outDr, outDb);
            ASSERT_TRUE(samePixels(expectedDr, outDr));
            ASSERT_TRUE(samePixels(expectedDb, outDb));
            cv::Mat sameDr = dr.clone(), sameDb = db.clone();
            lut.applyCLUT(sameDr, sameDb, sameDr, sameDb);
            ASSERT_TRUE(samePixels(expectedDr, sameDr));
            ASSERT_TRUE(samePixels(expectedDb, sameDb));
            cv::Mat first = dr.clone(), second = db.clone();
            lut.applyCLUT(first, second, second, first);
            ASSERT_TRUE(samePixels(expectedDr, second));
            ASSERT_TRUE(samePixels(expectedDb, first));
        });
    }
}

TEST(TLutYDrDbTest, SeveralTablesAreChosenAndMixedByLuminance) {
    for (int nc : {1, 2, 4, 5}) {
        Ruled lut(identityRule, nc);
        fillChromaTables(lut);
        for (const cv::Size& size : testSizes()) {
            const cv::Mat y = asSubPlane(luminanceOfBands(size, 7));
            const cv::Mat dr = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 1));
            const cv::Mat db = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 2));
            cv::Mat expectedDr(size, CV_8UC1), expectedDb(size, CV_8UC1);
            for (int r = 0; r < size.height; ++r)
                for (int x = 0; x < size.width; ++x)
                    naiveBands(lut, nc, y.at<ushort>(r, x), dr.at<uchar>(r, x), db.at<uchar>(r, x),
                               expectedDr.at<uchar>(r, x), expectedDb.at<uchar>(r, x));
            withThreadCounts([&](int) {
                cv::Mat outDr, outDb;
                lut.applyCLUT(y, dr, db, outDr, outDb);
                ASSERT_TRUE(samePixels(expectedDr, outDr)) << nc;
                ASSERT_TRUE(samePixels(expectedDb, outDb)) << nc;
            });
        }
    }
}

TEST(TLutYDrDbTest, AChromaOutputMayTakeThePlaceOfTheLuminance) {
    Ruled lut(identityRule, 2);
    fillChromaTables(lut);
    const cv::Mat y = luminanceOfBands({33, 17}, 3);
    const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
    cv::Mat expectedDr, expectedDb;
    lut.applyCLUT(y, dr, db, expectedDr, expectedDb);
    cv::Mat yThenDr = y.clone(), outDb;
    lut.applyCLUT(yThenDr, dr, db, yThenDr, outDb);
    EXPECT_TRUE(samePixels(expectedDr, yThenDr));
    EXPECT_TRUE(samePixels(expectedDb, outDb));
}

TEST(TLutYDrDbTest, EveryLuminanceFollowsTheDivisionInIntegers) {
    for (int nc : {1, 3, 5}) {
        Ruled lut(identityRule, nc);
        fillChromaTables(lut);
        cv::Mat y(256, 256, CV_16UC1), outDr, outDb;
        for (int i = 0; i < 65536; ++i) y.ptr<ushort>()[i] = static_cast<ushort>(i);
        const cv::Mat dr = randomPlane(256, 256, CV_8UC1, 1), db = randomPlane(256, 256, CV_8UC1, 2);
        cv::Mat expectedDr(256, 256, CV_8UC1), expectedDb(256, 256, CV_8UC1);
        for (int i = 0; i < 65536; ++i)
            naiveBands(lut, nc, i, dr.data[i], db.data[i], expectedDr.data[i], expectedDb.data[i]);
        lut.applyCLUT(y, dr, db, outDr, outDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr)) << nc;
        EXPECT_TRUE(samePixels(expectedDb, outDb)) << nc;
    }
}

TEST(TLutYDrDbTest, TheStartOfABandIsTwiceItLessTheNextCutToEightBits) {
    Ruled lut(identityRule, 4);
    for (int c = 0; c < 16; ++c)
        std::fill_n(lut.m_CLUT_p[c], 65536, static_cast<ushort>((10 * c + 3) << 8 | (250 - 10 * c)));
    const cv::Mat dr(1, 1, CV_8UC1, cv::Scalar(7)), db(1, 1, CV_8UC1, cv::Scalar(8));
    cv::Mat outDr, outDb;
    const auto at = [&](int luminance) {
        lut.applyCLUT(cv::Mat(1, 1, CV_16UC1, cv::Scalar(luminance)), dr, db, outDr, outDb);
        return std::pair<int, int>(outDr.at<uchar>(0), outDb.at<uchar>(0));
    };
    EXPECT_EQ(at(8192), std::pair(2 * 23 - 33, 2 * 230 - 220));
    EXPECT_EQ(at(8193), std::pair(23, 230));
    EXPECT_EQ(at(4095), std::pair(3, 250));
    EXPECT_EQ(at(0), std::pair(2 * 3 - 13 + 256, 2 * 250 - 240 - 256));
    EXPECT_EQ(at(61440), std::pair(143, 110));
    EXPECT_EQ(at(61441), std::pair(153, 100));
    EXPECT_EQ(at(65535), std::pair(153, 100));
}

TEST(TLutYDrDbTest, WithOneTableLuminanceIsNotRead) {
    Ruled lut(identityRule, 0);
    fillChromaTables(lut);
    const cv::Mat dr = randomPlane(5, 6, CV_8UC1, 1), db = randomPlane(5, 6, CV_8UC1, 2);
    cv::Mat expectedDr, expectedDb, outDr, outDb;
    lut.applyCLUT(dr, db, expectedDr, expectedDb);
    lut.applyCLUT(cv::Mat(), dr, db, outDr, outDb);
    EXPECT_TRUE(samePixels(expectedDr, outDr));
    EXPECT_TRUE(samePixels(expectedDb, outDb));
}

TEST(TLutYDrDbTest, ProcMapsChromaAgainstTheLuminanceBefore) {
    for (int nc : {0, 2}) {
        Ruled lut(wildRule, nc);
        const cv::Mat y = luminanceOfBands({33, 17}, 3);
        const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
        cv::Mat outY, outDr, outDb;
        EXPECT_TRUE(lut.proc(y, dr, db, outY, outDr, outDb));
        EXPECT_TRUE(samePixels(naiveLookUp(y, tableOf(lut.m_lutY_p)), outY));
        cv::Mat expectedDr, expectedDb;
        lut.applyCLUT(y, dr, db, expectedDr, expectedDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr));
        EXPECT_TRUE(samePixels(expectedDb, outDb));
        cv::Mat sameY = y.clone(), sameDr = dr.clone(), sameDb = db.clone();
        EXPECT_TRUE(lut.proc(sameY, sameDr, sameDb, sameY, sameDr, sameDb));
        EXPECT_TRUE(samePixels(outY, sameY));
        EXPECT_TRUE(samePixels(outDr, sameDr));
        EXPECT_TRUE(samePixels(outDb, sameDb));
    }
}

TEST(TLutYDrDbTest, ProcSurvivesAnOutputThatIsAnotherInput) {
    Ruled lut(wildRule, 2);
    const cv::Mat y = luminanceOfBands({33, 17}, 3);
    const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
    cv::Mat outY, outDr, outDb;
    lut.proc(y, dr, db, outY, outDr, outDb);
    cv::Mat a = y.clone(), b = dr.clone(), c = db.clone();
    lut.proc(a, b, c, b, a, c);
    EXPECT_TRUE(samePixels(outY, b));
    EXPECT_TRUE(samePixels(outDr, a));
    EXPECT_TRUE(samePixels(outDb, c));
}

TEST(TLutYDrDbTest, ProcComputesAnewOnEveryCall) {
    int offset = 100;
    Ruled lut([&offset](ushort& y, uchar& dr, uchar&) { y = static_cast<ushort>(offset), dr = uchar(offset); }, 1);
    cv::Mat plane(2, 2, CV_16UC1, cv::Scalar(5));
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_EQ(plane.at<ushort>(0, 0), 100);
    EXPECT_EQ(lut.m_CLUT_p[1][0] >> 8, 100);
    offset = 50;
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_EQ(plane.at<ushort>(1, 1), 50);
    EXPECT_EQ(lut.m_CLUT_p[1][0] >> 8, 50);
}

TEST(TLutYDrDbTest, WithoutChromaTablesProcLeavesTheChromaOutputs) {
    Ruled lut(wildRule, -1);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), dr = randomPlane(5, 6, CV_8UC1), db = randomPlane(5, 6, CV_8UC1, 2);
    cv::Mat outY, outDr, outDb = randomPlane(3, 2, CV_32FC1);
    const cv::Mat before = outDb.clone();
    EXPECT_TRUE(lut.proc(y, dr, db, outY, outDr, outDb));
    EXPECT_EQ(outY.size(), y.size());
    EXPECT_TRUE(outDr.empty());
    EXPECT_TRUE(samePixels(before, outDb));
}

TEST(TLutYDrDbTest, FailuresCarryTheirTextsAndWriteNothing) {
    Ruled lut(wildRule, 2), none(wildRule, -1);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), c = randomPlane(5, 6, CV_8UC1);
    const cv::Mat otherY = randomPlane(6, 5, CV_16UC1), other = randomPlane(6, 5, CV_8UC1);
    cv::Mat outY, outDr, outDb, eight = c.clone();
    EXPECT_FAILURE(lut.proc(eight), kProcText);
    EXPECT_FAILURE(lut.proc(c, c, c, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(y, y, c, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(y, c, y, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(otherY, c, c, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(lut.proc(y, other, c, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(lut.proc(y, c, other, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(none.applyCLUT(c, c, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(none.applyCLUT(y, c, c, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(none.applyCLUT(y, y, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(lut.applyCLUT(y, c, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyCLUT(c, y, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyCLUT(y, y, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyYLUT(c, outY), kYTypeText);
    lut.m_lutY_p = nullptr;
    EXPECT_FAILURE(lut.applyYLUT(y, outY), kNoTableText);
    EXPECT_TRUE(outY.empty() && outDr.empty() && outDb.empty());
}

TEST(TLutYDrDbTest, PlanesThatWouldBeReadBeyondTheirEndsAreRefused) {
    Ruled lut(wildRule, 2);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), c = randomPlane(5, 6, CV_8UC1), other = randomPlane(6, 5, CV_8UC1);
    cv::Mat outDr, outDb;
    const char sizes[] = "ERROR - TLutYDrDb::applyCLUT - inY.size != inDr.size || inDb.size != inDr.size";
    EXPECT_FAILURE(lut.applyCLUT(c, other, outDr, outDb), "ERROR - TLutYDrDb::applyCLUT - inDr.size != inDb.size");
    EXPECT_FAILURE(lut.applyCLUT(y, other, other, outDr, outDb), sizes);
    EXPECT_FAILURE(lut.applyCLUT(y, c, other, outDr, outDb), sizes);
    EXPECT_FAILURE(lut.applyCLUT(c, c, c, outDr, outDb), "ERROR - TLutYDrDb::applyCLUT - inY.elemSize()<2");
    EXPECT_TRUE(outDr.empty() && outDb.empty());
}

TEST(TLutYDrDbTest, CopiesShareTheTablesAndReleaseThemOnce) {
    auto first = std::make_unique<Ruled>(wildRule, 2);
    Ruled assigned(identityRule, -1);
    assigned = *first;
    const Ruled copied(*first);
    EXPECT_EQ(assigned.m_NC, 2);
    EXPECT_EQ(assigned.m_lutY_p, first->m_lutY_p);
    for (int s = 0; s < 32; ++s) {
        EXPECT_EQ(assigned.m_CLUT_p[s], first->m_CLUT_p[s]);
        EXPECT_EQ(copied.m_CLUT_p[s], first->m_CLUT_p[s]);
    }
    first->computeLUT();
    const std::vector<int> table = tableOf(first->m_CLUT_p[3]);
    first->setupCLUT(-1);
    EXPECT_EQ(tableOf(copied.m_CLUT_p[3]), table);
    first.reset();
    EXPECT_EQ(tableOf(assigned.m_CLUT_p[3]), table);
}

TEST(TLutYDrDbTest, EmptyPlanesAreLetPass) {
    Ruled lut(wildRule, 1);
    cv::Mat plane(0, 0, CV_16UC1), chroma(0, 0, CV_8UC1), outY, outDr, outDb;
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_TRUE(lut.proc(plane, chroma, chroma, outY, outDr, outDb));
}

}  // namespace
