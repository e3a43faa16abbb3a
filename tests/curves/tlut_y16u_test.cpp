#include "kestrova/curves/tlut_y.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "kestrova/primitives/primitives.h"
#include "tests/curves/sampled_tables.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const char kProcText[] = "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1";
const char kNoTableText[] = "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p";
const char kYTypeText[] = "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1";

// A rule that bends luminance and notes what it is called with.
class Bent final : public TLutY16U {
public:
    void mapPixel(ushort& y, ushort& dr, ushort& db) override {
        if (dr != 0x7FFF || db != 0x7FFF) bNeutral = false;
        y = bent(y);
        dr = db = 1;
    }
    static ushort bent(ushort y) { return static_cast<ushort>(y * (131070u - y) / 65535u ^ (y & 0x3F0u)); }
    bool bNeutral = true;
};

class Identity16 final : public TLutY16U {
public:
    void mapPixel(ushort&, ushort&, ushort&) override {}
};

TEST(TLutY16UTest, TheTableIsTheRuleAtEverySixteenthLevelEnlargedLinearly) {
    std::vector<int> samples;
    for (int i = 0; i < 4096; ++i) samples.push_back(Bent::bent(static_cast<ushort>(16 * i)));
    const std::vector<int> expected = naiveEnlarge16(samples);
    withThreadCounts([&](int threads) {
        Bent lut;
        lut.computeLUT16U(true);
        EXPECT_TRUE(lut.bNeutral);
        ASSERT_EQ(tableOf(lut.m_lutY_p), expected) << threads << " threads";
    });
}

TEST(TLutY16UTest, TheTableIsThatOfTheResizeOperation) {
    std::vector<ushort> samples, full(65536);
    for (int i = 0; i < 4096; ++i) samples.push_back(Bent::bent(static_cast<ushort>(16 * i)));
    ASSERT_EQ(ippiResizeSqrPixel_16u_C1R(samples.data(), {4096, 1}, 8192, {0, 0, 4096, 1}, full.data(), 131072,
                                         {0, 0, 65536, 1}, 16.0, 1.0, 0, 0, IPPI_INTER_LINEAR, nullptr),
              ippStsNoErr);
    Bent lut;
    lut.computeLUT16U(true);
    EXPECT_EQ(tableOf(lut.m_lutY_p), tableOf(full.data()));
}

TEST(TLutY16UTest, TheIdentityIsNearlyItselfAndEndsAtTheLastSample) {
    Identity16 lut;
    lut.computeLUT16U(true);
    for (int e = 8; e < 65528; ++e) ASSERT_NEAR(lut.m_lutY_p[e], e - 7.5, 0.5) << e;
    for (int e = 0; e < 8; ++e) EXPECT_EQ(lut.m_lutY_p[e], 0);
    for (int e = 65528; e < 65536; ++e) EXPECT_EQ(lut.m_lutY_p[e], 65520);
}

TEST(TLutY16UTest, ComputeDoesNothingWithoutUpdateOrTable) {
    Bent lut;
    std::fill_n(lut.m_lutY_p, 65536, ushort(7));
    lut.computeLUT16U(false);
    EXPECT_EQ(tableOf(lut.m_lutY_p), std::vector<int>(65536, 7));
    lut.m_lutY_p = nullptr;
    lut.computeLUT16U(true);
    EXPECT_EQ(lut.m_lutY_p, nullptr);
}

TEST(TLutY16UTest, SetupAllocatesAMissingTableAndKeepsOneThatIsThere) {
    Bent lut;
    ushort* const table = lut.m_lutY_p;
    ASSERT_NE(table, nullptr);
    lut.setupYLUT();
    EXPECT_EQ(lut.m_lutY_p, table);
    lut.m_lutY_p = nullptr;
    lut.setupYLUT();
    ASSERT_NE(lut.m_lutY_p, nullptr);
    lut.m_lutY_p[65535] = 5;
}

TEST(TLutY16UTest, ProcMapsInPlaceAndKeepsItsTableWithoutUpdate) {
    for (const cv::Size& size : testSizes()) {
        Bent lut;
        cv::Mat plane = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 2));
        const cv::Mat before = plane.clone();
        EXPECT_TRUE(lut.proc(plane, true));
        const std::vector<int> table = tableOf(lut.m_lutY_p);
        EXPECT_TRUE(samePixels(naiveLookUp(before, table), plane));
        lut.m_lutY_p[before.at<ushort>(0, 0)] ^= 0x55;
        cv::Mat again = before.clone();
        EXPECT_TRUE(lut.proc(again, false));
        EXPECT_EQ(again.at<ushort>(0, 0), table[before.at<ushort>(0, 0)] ^ 0x55);
    }
}

TEST(TLutY16UTest, ApplyCreatesItsOutputUnlessItFits) {
    Bent lut;
    lut.computeLUT16U(true);
    const cv::Mat in = randomPlane(17, 33, CV_16UC1);
    const cv::Mat expected = naiveLookUp(in, tableOf(lut.m_lutY_p));
    cv::Mat fresh, wrong(3, 3, CV_8UC1), fitting = asSubPlane(cv::Mat(17, 33, CV_16UC1, cv::Scalar(0)));
    const uchar* const data = fitting.data;
    for (cv::Mat* out : {&fresh, &wrong, &fitting}) {
        lut.applyYLUT(in, *out);
        EXPECT_TRUE(samePixels(expected, *out));
    }
    EXPECT_EQ(fitting.data, data);
}

TEST(TLutY16UTest, FailuresCarryTheTextsOfTheChromaClass) {
    Bent lut;
    cv::Mat eight(2, 2, CV_8UC1), out, plane = randomPlane(2, 2, CV_16UC1);
    EXPECT_FAILURE(lut.proc(eight, true), kProcText);
    EXPECT_FAILURE(lut.applyYLUT(eight, out), kYTypeText);
    lut.m_lutY_p = nullptr;
    EXPECT_FAILURE(lut.applyYLUT(plane, out), kNoTableText);
    EXPECT_FAILURE(lut.applyYLUT(eight, out), kNoTableText);
    EXPECT_FAILURE(lut.proc(plane, true), kNoTableText);
    EXPECT_TRUE(out.empty());
}

TEST(TLutY16UTest, CopiesShareTheTableAndReleaseItOnce) {
    auto first = std::make_unique<Bent>();
    Bent assigned;
    assigned = *first;
    const Bent copied(*first);
    EXPECT_EQ(assigned.m_lutY_p, first->m_lutY_p);
    EXPECT_EQ(copied.m_lutY_p, first->m_lutY_p);
    first->computeLUT16U(true);
    const std::vector<int> table = tableOf(first->m_lutY_p);
    first.reset();
    EXPECT_EQ(tableOf(assigned.m_lutY_p), table);
}

}  // namespace
