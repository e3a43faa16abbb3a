#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/local_laplacian_stages.h"
#include "tests/filters/local_laplacian_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

std::vector<ushort> remapOf(float alpha, float blur) {
    LocalLaplacian filter;
    filter.m_alpha = alpha;
    filter.m_blur = blur;
    filter.calRemapLut();
    return {filter.m_remap_p, filter.m_remap_p + 65536};
}

cv::Mat everyValue() {
    cv::Mat every(256, 256, CV_16UC1);
    for (int i = 0; i < 65536; ++i) every.at<ushort>(i / 256, i % 256) = static_cast<ushort>(i);
    return every;
}

}  // namespace

TEST(LocalLaplacianTable, StartsWithTheDocumentedDefaults) {
    const LocalLaplacian filter;
    EXPECT_EQ(filter.m_alpha, 0.15f);
    EXPECT_EQ(filter.m_blur, 0.3f);
    EXPECT_EQ(filter.m_levels, 2);
    EXPECT_NE(filter.m_remap_p, nullptr);
}

TEST(LocalLaplacianTable, EqualsItsDefinition) {
    for (float alpha :
         {-0.99f, -0.5f, -0.15f, -0.0001f, -0.00004f, 0.0f, 0.00003f, 0.0001f, 0.15f, 0.333f, 0.5f, 0.99f}) {
        for (float blur : {0.0f, 0.1f, 0.3f, 1.0f, 5.0f})
            EXPECT_EQ(remapOf(alpha, blur), expectedRemap(alpha, blur)) << alpha << ", " << blur;
    }
}

TEST(LocalLaplacianTable, IsBuiltAnewForOtherParametersAlone) {
    LocalLaplacian filter;
    const auto build = [&](float alpha, float blur) {
        filter.m_alpha = alpha;
        filter.m_blur = blur;
        filter.calRemapLut();
        return std::vector<ushort>(filter.m_remap_p, filter.m_remap_p + 65536);
    };
    for (auto [alpha, blur] : {std::pair{0.2f, 0.3f}, {0.2f, 0.4f}, {-0.2f, 0.4f}, {0.2f, 0.3f}, {kNan, 0.3f}})
        EXPECT_EQ(build(alpha, blur), remapOf(alpha, blur)) << alpha << ", " << blur;
    build(0.2f, 0.3f);
    filter.m_remap_p[7] = 1;
    EXPECT_EQ(build(0.2f, 0.3f)[7], 1);
    EXPECT_NE(build(0.3f, 0.3f)[7], 1);
}

TEST(LocalLaplacianTable, AlphaOfOneHalfDrawsTheZigzagOfTheDocumentedLevels) {
    const std::vector<ushort> soft = remapOf(0.5f, 0.0f);
    for (int i : {0, 1000, 16383, 16384, 32768, 49152, 60000, 65534}) EXPECT_EQ(soft[i], 32768) << i;
    EXPECT_EQ(soft[24576], 32768 + 8192);
    EXPECT_EQ(soft[40960], 32768 - 8192);
    for (int d = 0; d <= 8192; d += 64) {
        EXPECT_EQ(soft[32768 + d], 32768 - d) << d;  // the offset that flattens
        EXPECT_EQ(soft[32768 - d], 32768 + d) << d;
        EXPECT_EQ(soft[40960 + d], 24576 + d) << d;  // and its fading
        EXPECT_EQ(soft[24576 - d], 40960 - d) << d;
    }
}

TEST(LocalLaplacianTable, NegativeAlphaSwapsTheSignOfTheZigzag) {
    const std::vector<ushort> soft = remapOf(0.5f, 0.0f), strong = remapOf(-0.5f, 0.0f);
    for (int i = 0; i < 65535; ++i) ASSERT_EQ(soft[i] + strong[i], 65536) << i;
}

TEST(LocalLaplacianTable, TheLastEntryStaysTheIdentity) {
    for (float alpha : {-0.5f, 0.0f, 0.5f}) EXPECT_EQ(remapOf(alpha, 0.0f)[65535], 65535);
}

TEST(LocalLaplacianTable, AlphaZeroIsTheConstant) {
    const std::vector<ushort> table = remapOf(0.0f, 0.3f);
    for (int i = 0; i < 65535; ++i) ASSERT_EQ(table[i], 32768) << i;
}

TEST(LocalLaplacianTable, SigmaOfExactlyOneDoesNotSmooth) {
    EXPECT_EQ(remapOf(0.5f, 1.0f / 16384), remapOf(0.5f, 0.0f));
    EXPECT_NE(remapOf(0.5f, 1.5f / 16384), remapOf(0.5f, 0.0f));
}

TEST(LocalLaplacianTable, SizesBeyondAnIntSaturate) {
    for (float alpha : {1.0f, 2.0f, 65536.0f, 1e9f, kInf}) {
        const std::vector<ushort> soft = remapOf(alpha, 0.0f), strong = remapOf(-alpha, 0.0f);
        // The table ends within the flattening part, or at its tip: offsets are the differences themselves.
        if (alpha >= 2) {
            for (int i = 1; i < 65535; ++i) {
                ASSERT_NEAR(soft[i], 65536 - i, 1) << alpha;
                ASSERT_NEAR(strong[i], i, 1) << alpha;
            }
        }
        EXPECT_EQ(soft[32768], 32768) << alpha;
    }
    EXPECT_EQ(remapOf(kNan, 0.3f), remapOf(0.0f, 0.3f));
    EXPECT_EQ(remapOf(0.5f, kNan), remapOf(0.5f, 0.0f));
}

TEST(LocalLaplacianTable, RemappedChannelsFollowEveryValueAndReference) {
    const std::vector<ushort> remap = expectedRemap(-0.37f, 0.05f);
    const cv::Mat every = everyValue();
    const auto expectChannels = [&](const auto& plane, int k, int step) {
        for (int i = 0; i < 65536; ++i) {
            const ushort* const pixel = plane.row(i / 256)(i % 256);
            for (int c = 0; c < k; ++c) {
                const float index = std::nearbyint(static_cast<float>(i - c * step) * 0.5f + 32768.0f);
                const int offset = 2 * remap[static_cast<int>(std::min(index, 65535.0f))] - 65536;
                ASSERT_EQ(pixel[c], std::min(std::max(i + offset, 0), 65535)) << i << ", channel " << c;
            }
        }
    };
    expectChannels(remapped<TenReferences>(every, remap.data()), 10, 6553);
    expectChannels(remapped<SixteenReferences>(every, remap.data()), 16, 4095);
    expectChannels(remapped<TwentyFourReferences>(every, remap.data()), 24, 2730);
}

TEST(LocalLaplacianTable, AlphaZeroLeavesEveryChannelButAtTheEntryThatStaysTheIdentity) {
    const std::vector<ushort> remap = expectedRemap(0.0f, 0.3f);
    const cv::Mat every = everyValue();
    const auto expectChannels = [&](const auto& plane, int k) {
        // Half of 65534 is the index of the last entry, half of 65535 is clamped to it.
        for (int i = 0; i < 65536; ++i) {
            for (int c = 0; c < k; ++c)
                ASSERT_EQ(plane.row(i / 256)(i % 256)[c], i == 65534 && c == 0 ? 65535 : i) << i << ", channel " << c;
        }
    };
    expectChannels(remapped<TenReferences>(every, remap.data()), 10);
    expectChannels(remapped<SixteenReferences>(every, remap.data()), 16);
    expectChannels(remapped<TwentyFourReferences>(every, remap.data()), 24);
}

TEST(LocalLaplacianTable, CallsKeepTheirParameters) {
    LocalLaplacian filter;
    cv::Mat out;
    filter.proc16K(randomPlane(4, 5, CV_16UC1), out, -0.25f, 0.5f, 3);
    EXPECT_EQ(filter.m_alpha, -0.25f);
    EXPECT_EQ(filter.m_blur, 0.5f);
    EXPECT_EQ(filter.m_levels, 3);
}

TEST(LocalLaplacianTable, AssignmentSharesTheTableAndCopiesTheValues) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    cv::Mat out;
    LocalLaplacian kept;
    {
        LocalLaplacian first;
        first.proc10K(in, out, 0.4f, 0.1f, 3);
        kept = first;
        const LocalLaplacian copy(first);
        EXPECT_EQ(copy.m_remap_p, first.m_remap_p);
        EXPECT_EQ(kept.m_remap_p, first.m_remap_p);
        EXPECT_EQ(kept.m_alpha, 0.4f);
        EXPECT_EQ(kept.m_blur, 0.1f);
        EXPECT_EQ(kept.m_levels, 3);
        const LocalLaplacian& itself = kept;
        kept = itself;
    }
    EXPECT_EQ(std::vector<ushort>(kept.m_remap_p, kept.m_remap_p + 65536), expectedRemap(0.4f, 0.1f));
    kept.proc10K(in, out, 0.2f, 0.3f, 3);
    EXPECT_TRUE(samePixels(expectedLaplacian(10, in, 0.2f, 0.3f, 3), out));
}

TEST(LocalLaplacianTable, ObjectsThatShareATableFilterInTurn) {
    const cv::Mat in = randomPlane(20, 30, CV_16UC1);
    LocalLaplacian a, b;
    b = a;
    cv::Mat out;
    for (int turn = 0; turn < 2; ++turn) {
        a.proc10K(in, out, 0.4f, 0.1f, 3);
        EXPECT_TRUE(samePixels(expectedLaplacian(10, in, 0.4f, 0.1f, 3), out));
        b.proc10K(in, out, -0.2f, 0.3f, 3);
        EXPECT_TRUE(samePixels(expectedLaplacian(10, in, -0.2f, 0.3f, 3), out));
    }
}

TEST(LocalLaplacianTable, ClampTestsTheLowerBoundFirst) {
    EXPECT_EQ(LocalLaplacian::clamp(5, 0, 10), 5);
    EXPECT_EQ(LocalLaplacian::clamp(-5, 0, 10), 0);
    EXPECT_EQ(LocalLaplacian::clamp(15, 0, 10), 10);
    EXPECT_EQ(LocalLaplacian::clamp(0, 0, 10), 0);
    EXPECT_EQ(LocalLaplacian::clamp(10, 0, 10), 10);
    EXPECT_EQ(LocalLaplacian::clamp(4, 5, 3), 5);  // bounds in the wrong order
    EXPECT_EQ(LocalLaplacian::clamp(5, 5, 3), 3);
    EXPECT_EQ(LocalLaplacian::clamp(INT_MIN, INT_MIN, INT_MAX), INT_MIN);
}

TEST(LocalLaplacianTable, LevelJIsTheRoundedLogarithmOfTheShorterSideAndOne) {
    EXPECT_EQ(LocalLaplacian::levelJ(1024, 4096, 1.0f), 11);
    EXPECT_EQ(LocalLaplacian::levelJ(4096, 1024, 1.0f), 11);
    EXPECT_EQ(LocalLaplacian::levelJ(1024, 1024, 0.25f), 9);
    EXPECT_EQ(LocalLaplacian::levelJ(1448, 1448, 1.0f), 11);  // log2 10.49985
    EXPECT_EQ(LocalLaplacian::levelJ(1449, 1449, 1.0f), 12);  // log2 10.50085
    EXPECT_EQ(LocalLaplacian::levelJ(6000, 4000, 1.0f), 13);
    EXPECT_EQ(LocalLaplacian::levelJ(1, 9, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(2, 2, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(3, 3, 1.0f), 3);
}

TEST(LocalLaplacianTable, LevelJSaturates) {
    EXPECT_EQ(LocalLaplacian::levelJ(0, 5, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(-3, 5, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(100, 100, 0.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(100, 100, -1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(100, 100, kNan), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(100, 100, kInf), INT_MAX);
    EXPECT_EQ(LocalLaplacian::levelJ(INT_MAX, INT_MAX, 1.0f), 32);
}

TEST(LocalLaplacianTable, RefusesWhatItCannotFilterBeforeAnythingIsWritten) {
    LocalLaplacian filter;
    const cv::Mat in = randomPlane(4, 5, CV_16UC1), before = randomPlane(3, 3, CV_8UC1);
    cv::Mat out = before.clone();
    const auto expectRefusal = [&](const cv::Mat& plane, int levels, const char* text) {
        EXPECT_FAILURE(filter.proc10K(plane, out, 0.5f, 0.7f, levels), text);
        EXPECT_FAILURE(filter.proc16K(plane, out, 0.5f, 0.7f, levels), text);
        EXPECT_FAILURE(filter.proc24K(plane, out, 0.5f, 0.7f, levels), text);
        EXPECT_TRUE(samePixels(before, out));
        EXPECT_EQ(filter.m_alpha, 0.15f);
        EXPECT_EQ(filter.m_blur, 0.3f);
        EXPECT_EQ(filter.m_levels, 2);
    };
    for (int type : {CV_8UC1, CV_16SC1, CV_32FC1, CV_16UC3})
        expectRefusal(randomPlane(4, 5, type), 2, "ERROR - LocalLaplacian::proc - in.type()!=CV_16UC1");
    expectRefusal(cv::Mat(), 2, "ERROR - LocalLaplacian::proc - in.type()!=CV_16UC1");
    expectRefusal(cv::Mat(0, 5, CV_16UC1), 2, "ERROR - LocalLaplacian::proc - in.empty()");
    expectRefusal(cv::Mat(5, 0, CV_16UC1), 2, "ERROR - LocalLaplacian::proc - in.empty()");
    const int sides[] = {2, 3, 4};
    expectRefusal(cv::Mat(3, sides, CV_16UC1), 2, "ERROR - LocalLaplacian::proc - in.empty()");
    for (int levels : {0, -1, INT_MIN}) expectRefusal(in, levels, "ERROR - LocalLaplacian::proc - levels<1");
}
