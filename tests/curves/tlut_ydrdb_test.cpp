#include <gtest/gtest.h>

#include <memory>

#include "kestrova/primitives/primitives.h"
#include "tests/curves/tlut_ydrdb_reference.h"
#include "tests/support/failures.h"
#include "tests/support/regions.h"
#include "tests/support/threads.h"

namespace {

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

TEST(TLutYDrDbTest, AllTablesAreComputedInOneRegionByAnyNumberOfThreads) {
    const KeepThreadSettings keep;
    omp_set_num_threads(1);
    Ruled expected(wildRule, 3);
    expected.computeLUT();
    withThreadCounts([&](int threads) {
        Ruled lut(wildRule, 3);
        const Regions regions = regionsOf([&] { lut.computeLUT(); });
        if (kRegionsAreCounted) {
            EXPECT_EQ(regions.count, threads == 1 ? 0 : 1);
        }
        EXPECT_EQ(tableOf(lut.m_lutY_p), tableOf(expected.m_lutY_p));
        for (int c = 0; c < 8; ++c) EXPECT_EQ(tableOf(lut.m_CLUT_p[c]), tableOf(expected.m_CLUT_p[c])) << c;
    });
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

TEST(TLutYDrDbTest, SetupFillsASlotThatIsNullWhoeverMadeItSo) {
    Ruled lut(wildRule, 2);
    lut.m_CLUT_p[1] = lut.m_CLUT_p[3] = nullptr;
    EXPECT_FAILURE(lut.computeLUT(), "ERROR - TLutYDrDb - m_CLUT_p==NULL");
    EXPECT_EQ(lut.setupCLUT(2), 4);
    lut.computeLUT();
    EXPECT_EQ(tableOf(lut.m_CLUT_p[1]), naiveChromaTable(wildRule, 16384 + 8192));
    EXPECT_NE(lut.m_CLUT_p[3], nullptr);
}

}  // namespace
